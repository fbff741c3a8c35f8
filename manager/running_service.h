// The running service, as its pid file tells of it: whether it runs, and the signals that it is
// sent. The pid file is only read, and only through cat.
//
// All operations take their strings in the order kav-dir, service, pid file, as every part of
// service control does; only the pid file is used.

#pragma once

#include <string>

// The pid file's whole text, the line feed included; empty when no pid file is named, when its
// status cannot be queried, or when it is empty. The read end of the capture's pipe stays open.
// Throws what checkedOutput throws, above all std::runtime_error when cat fails.
std::string readPidFile(std::string kavDir, std::string service, std::string pidFile);

// True when the pid file has any text. No check is made that the process exists. Throws as
// readPidFile.
bool isServiceRunning(std::string kavDir, std::string service, std::string pidFile);

// Sends SIGTERM to the pid in the pid file, if it names one. The outcome is deliberately
// ignored, and no wait follows. Throws as readPidFile.
void termByPidFile(std::string kavDir, std::string service, std::string pidFile);

// Sends SIGHUP to the pid in the pid file, if it names one, and gives the server 5 seconds to
// fail at its new configuration. Throws TUError "Service reloading failed" when it is gone
// after that, or may not be signalled; else as readPidFile.
void reloadByPidFile(std::string kavDir, std::string service, std::string pidFile);

// The process id at the start of a pid file's text, after white space and a sign; 0, for no
// process, when there is no number or one that an int does not hold.
int pidFromText(const std::string& text);

// The running service, as far as its pid file tells: whether it runs, and the signals that it
// is sent. The pid file is only read, and only through cat.
//
// The four operations on the pid file take kav-dir, service and pid file by value and in this
// order: this is the interface. They use only the pid file.

#pragma once

#include <string>

// The number at the start of a pid file's text, after white space and with its sign. 0, which
// stands for no process, when there is no number or one that does not fit an int.
int pidFromText(const std::string& text);

// The pid file's whole text, the line feed included; empty when no pid file is named, when its
// status cannot be queried, or when it is empty. Each call that runs cat leaves one descriptor
// open until the process ends (zarnic/sys/output.h). Throws what checkedOutput throws, above
// all std::runtime_error when cat fails.
std::string readPidFile(std::string kavDir, std::string service, std::string pidFile);

// True when the pid file has any text. No check is made that the process exists. Throws as
// readPidFile.
bool isServiceRunning(std::string kavDir, std::string service, std::string pidFile);

// Sends SIGTERM to the pid in the pid file, if it names one. The outcome is deliberately
// ignored, and no wait follows. Throws as readPidFile.
void termByPidFile(std::string kavDir, std::string service, std::string pidFile);

// Sends SIGHUP to the pid in the pid file, if it names one, waits 5 seconds and looks whether
// the process is still there: a server that cannot use its new configuration has ended by then.
// Throws TUError "Service reloading failed" when it is gone or may not be signalled, and as
// readPidFile.
void reloadByPidFile(std::string kavDir, std::string service, std::string pidFile);

// The commands that the front end dispatches to. Each takes the shared parser, claims its
// options, and returns true or throws: the option parser's errors for a wrong command line,
// before anything else is done, and otherwise as said here.
//
// A command that runs a program also throws what the runner throws: zarnic::sys::TSysCallErr
// for a failed fork or wait and, in the child, for a program that cannot be started. The child
// comes back up through the same command and ends in its own copy of the front end. A command
// that reads the pid file also throws what readPidFile throws (running_service.h).

#pragma once

#include "manager/manager.h"

// check-install: prints that the server is installed under `kav-dir`, or throws TUError.
bool checkInstall(zarnic::opt::TOParsing parser);

// start-service: starts `service` as a daemon, or in the foreground with `no-daemon`. A daemon
// start ends the calling process with exit(0), and only the detached process returns
// (daemon.h). Throws TUError when the service is running already, and what runAsDaemon throws;
// in the foreground what TStartKAVService throws (manager.h).
bool startService(zarnic::opt::TOParsing parser);

// service-started: prints that the service is started, or throws TUError.
bool serviceStarted(zarnic::opt::TOParsing parser);

// kill-service: sends SIGTERM to the running service and does not wait for its end. Throws
// TUError when it is not running.
bool killService(zarnic::opt::TOParsing parser);

// restart-service: reloads a running "aveserver" by SIGHUP, or throws TUError when it does not
// survive that for 5 seconds; sends any other running service SIGTERM and starts it again;
// starts a service that is not running, always as a daemon and as start-service does.
bool restartService(zarnic::opt::TOParsing parser);

// delete-file: removes `file`. A failed removal is deliberately not reported.
bool deleteFile(zarnic::opt::TOParsing parser);

// config-file-content: prints `file` as it is. A missing file is deliberately not an error.
bool configFileContent(zarnic::opt::TOParsing parser);

// save-to-config-file: copies `file` over `config-file` and makes root its owner. What cp and
// chown make of it is deliberately not examined.
bool saveToConfigFile(zarnic::opt::TOParsing parser);

// help: prints nothing. There is no usage text.
bool showHelp(zarnic::opt::TOParsing parser);

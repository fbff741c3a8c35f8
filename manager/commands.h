// The commands that the front end dispatches to. Each takes the shared parser, claims its
// options, and returns true or throws: the option parser's errors for a wrong command line,
// before anything else is done, and otherwise as said here.
//
// Where a command runs a program, it also throws what the runner throws:
// zarnic::sys::TSysCallErr for a failed fork or wait, and in the child, which comes back up the
// same way, for a program that cannot be started. Where it reads the pid file, also what
// readPidFile throws.

#pragma once

#include "manager/manager.h"

// check-install: prints that the server is installed under `kav-dir`, or throws TUError.
bool checkInstall(zarnic::opt::TOParsing parser);

// start-service: starts `service` as a daemon, or in the foreground with `no-daemon`. A daemon
// start ends the calling process with exit(0); what returns is the detached process. Throws
// TUError when it is running and when a fork of the daemon fails, and what the body of the
// start throws (manager.h) in the foreground.
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

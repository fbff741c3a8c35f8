// Detaches a run from the process that asked for it.

#pragma once

#include "zarnic/sys/exec.h"

// Goes on in a grandchild, runs `service` there, and returns there. The grandchild belongs to a
// new session, ignores SIGHUP and has its standard streams on /dev/null. Working directory and
// umask stay. The calling process and the child in between, the session leader, end with
// exit(0) and do not return.
//
// Throws TUError "Unable to run as daemon" when one of the two forks fails: in the calling
// process for the first, in the session leader for the second. In the grandchild, throws what
// the run throws.
void runAsDaemon(zarnic::sys::TExec service);

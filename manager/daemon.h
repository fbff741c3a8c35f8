// Detaches a run from the process that asked for it.

#pragma once

#include "zarnic/sys/exec.h"

// Runs `service` in a detached grandchild and returns there: in a session of its own, SIGHUP
// ignored, standard streams on /dev/null; working directory and umask stay. The calling process
// and the child between them end with exit(0) and do not return.
//
// Throws TUError "Unable to run as daemon" when a fork fails: from the calling process for the
// first one, from its child for the second. Throws what the run throws.
void runAsDaemon(zarnic::sys::TExec service);

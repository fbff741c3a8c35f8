// Waiting for a child, and taking its wait status apart.
//
//   const int status = waitChild(pid);
//   if (exitedNormally(status)) {
//       std::printf("exit code %d", exitCode(status));
//   }
//
// This is the only place of the library that knows the layout of a raw wait status. It is the
// kernel's (wait(2)): signal in bits 0-6, core flag in bit 7, exit code in bits 8-15.

#pragma once

#include <sys/types.h>

#include "zarnic/error/system_error.h"  // for callers, who catch it

namespace zarnic::sys {

// True when the child ended by exit or by a return from main. False when a signal ended it,
// with or without a core, or when it is only stopped: all seven bits are set then.
constexpr bool exitedNormally(int status) { return (status & 0x7f) == 0; }

// The exit code of a child that ended normally, 0 to 255.
constexpr int exitCode(int status) { return (status >> 8) & 0xff; }

// Waits once for the child's end or stop (waitpid with WUNTRACED) and returns its raw wait
// status. Throws zarnic::SystemError "waitpid() failed", of the class that its errno selects,
// when the wait fails or is interrupted; the child is then not reaped.
int waitOnce(pid_t pid);

// The same, but repeats an interrupted wait (EINTR). Returns 0, the status of a child that
// ended well, for a child that is not there to be waited for (ECHILD). Throws waitOnce's other
// errors.
int waitChild(pid_t pid);

}  // namespace zarnic::sys

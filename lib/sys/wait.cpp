#include "zarnic/sys/wait.h"

#include <sys/wait.h>

#include <cerrno>

namespace zarnic::sys {

int waitOnce(pid_t pid) {
    int status = 0;
    if (::waitpid(pid, &status, WUNTRACED) < 0) {
        const int error = errno;
        throw_system_error("waitpid() failed", error);
    }
    return status;
}

// A child that is gone already was reaped by somebody else, or the caller ignores SIGCHLD. Its
// exit code is lost, and deliberately counts as a good end.
int waitChild(pid_t pid) {
    for (;;) {
        try {
            return waitOnce(pid);
        } catch (const ExSystemError<EINTR>&) {
            continue;
        } catch (const ExSystemError<ECHILD>&) {
            return 0;
        }
    }
}

}  // namespace zarnic::sys

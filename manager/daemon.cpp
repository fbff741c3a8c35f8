#include "manager/daemon.h"

#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

#include "manager/manager.h"

namespace {

// The parent's end: deliberately exit, and status 0 before anything is known of the service.
// The panel does not wait for a server to come up; it asks later whether it runs.
void continueInChild() {
    const pid_t pid = ::fork();
    if (pid == -1) {
        throw TUError("Unable to run as daemon");
    }
    if (pid != 0) {
        std::exit(0);
    }
}

// The service's program inherits this. A reload may be asked for as soon as there is a pid
// file; a server that has not installed its handler by then would be ended by the SIGHUP.
void ignoreHangup() {
    struct sigaction ignore = {};
    ignore.sa_handler = SIG_IGN;
    ignore.sa_flags = SA_RESTART;
    ::sigemptyset(&ignore.sa_mask);
    ::sigaction(SIGHUP, &ignore, nullptr);
}

// Results are deliberately ignored: without /dev/null the service keeps the streams it has.
void nullStreams() {
    const int null = ::open("/dev/null", O_RDWR);
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        ::dup2(null, stream);
    }
    // Started with a standard stream closed, the open itself filled that place.
    if (null > STDERR_FILENO) {
        ::close(null);
    }
}

}  // namespace

void runAsDaemon(zarnic::sys::TExec service) {
    continueInChild();
    ::setsid();
    ignoreHangup();
    continueInChild();
    nullStreams();
    service.run();
}

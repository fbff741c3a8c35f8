#include "manager/daemon.h"

#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

#include "manager/manager.h"

namespace {

// Ends the parent and goes on in the child. Deliberately with status 0 before anything is known
// of the service: the panel does not wait for a server to come up, it asks later. By exit and
// not _exit, as the parent is the program itself and has its exit handlers to run.
void continueInChild() {
    const pid_t pid = ::fork();
    if (pid == -1) {
        throw TUError("Unable to run as daemon");
    }
    if (pid != 0) {
        std::exit(0);
    }
}

// The service's program inherits this through exec. A reload may be asked for as soon as there
// is a pid file. Were SIGHUP not ignored, it would end a server that has not installed its own
// handler by then. The result is ignored: sigaction does not fail with these arguments.
void ignoreHangup() {
    struct sigaction ignore = {};
    ignore.sa_handler = SIG_IGN;
    ignore.sa_flags = SA_RESTART;
    ::sigemptyset(&ignore.sa_mask);
    ::sigaction(SIGHUP, &ignore, nullptr);
}

// Results are deliberately ignored: without /dev/null the service keeps the streams it has. No
// umask or chdir here: the service keeps those of the caller.
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
    // In a child only: a process that leads its process group, as a command of an interactive
    // shell does, cannot make a session (setsid(2)).
    ::setsid();
    ignoreHangup();
    // The leader of a session gets a controlling terminal by opening one; its child does not.
    continueInChild();
    // Last: a failure until here must still reach the standard output of the panel.
    nullStreams();
    service.run();
}

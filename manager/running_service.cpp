#include "manager/running_service.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>

#include "manager/manager.h"
#include "zarnic/sys/output.h"

using zarnic::sys::el;
using zarnic::sys::TEArgs;
using zarnic::sys::TExec;

namespace {

constexpr unsigned reload_seconds = 5;

}  // namespace

int pidFromText(const std::string& text) {
    // strtol sets errno for an overflow and never clears it.
    errno = 0;
    const long pid = std::strtol(text.c_str(), nullptr, 10);
    // strtol returns the nearest long for an overflow. Where a long is as wide as an int, only
    // errno tells it from a pid, and no process must be signalled for it.
    if (errno == ERANGE || pid < INT_MIN || pid > INT_MAX) {
        return 0;
    }
    return static_cast<int>(pid);
}

std::string readPidFile(std::string /*kavDir*/, std::string /*service*/, std::string pidFile) {
    std::string text;
    struct stat status;
    // A pid file that cannot be queried is no pid file: the service has not made it yet, or has
    // removed it. One that goes away between stat and cat makes cat fail, and so the command.
    if (!pidFile.empty() && ::stat(pidFile.c_str(), &status) == 0) {
        zarnic::sys::checkedOutput(text, TExec(TEArgs(el) << "cat" << pidFile));
    }
    return text;
}

bool isServiceRunning(std::string kavDir, std::string service, std::string pidFile) {
    return !readPidFile(kavDir, service, pidFile).empty();
}

void termByPidFile(std::string kavDir, std::string service, std::string pidFile) {
    const int pid = pidFromText(readPidFile(kavDir, service, pidFile));
    // kill(2) takes 0 for the caller's own process group: the manager and its panel. A negative
    // number is deliberately passed on: docs/security.md says what that can do.
    if (pid != 0) {
        static_cast<void>(::kill(pid, SIGTERM));
    }
}

void reloadByPidFile(std::string kavDir, std::string service, std::string pidFile) {
    const int pid = pidFromText(readPidFile(kavDir, service, pidFile));
    if (pid == 0) {
        return;
    }
    // The result is ignored: the probe below finds out whether the process is there.
    static_cast<void>(::kill(pid, SIGHUP));
    // Deliberately once: a pause that a signal cuts short is not continued.
    ::sleep(reload_seconds);
    // Signal 0 only asks whether the process could be signalled. A process that has ended but
    // that its parent has not reaped yet still counts as there.
    if (::kill(pid, 0) != 0) {
        throw TUError("Service reloading failed");
    }
}

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

std::string readPidFile(std::string /*kavDir*/, std::string /*service*/, std::string pidFile) {
    std::string text;
    struct stat status;
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
    // kill(2) takes 0 for the caller's own process group: the manager and its panel.
    if (pid != 0) {
        static_cast<void>(::kill(pid, SIGTERM));
    }
}

void reloadByPidFile(std::string kavDir, std::string service, std::string pidFile) {
    const int pid = pidFromText(readPidFile(kavDir, service, pidFile));
    if (pid == 0) {
        return;
    }
    static_cast<void>(::kill(pid, SIGHUP));
    ::sleep(reload_seconds);
    if (::kill(pid, 0) != 0) {
        throw TUError("Service reloading failed");
    }
}

int pidFromText(const std::string& text) {
    errno = 0;
    const long pid = std::strtol(text.c_str(), nullptr, 10);
    // An overflow is stored as the nearest long, which is an int on some machines: no process
    // must be signalled for it.
    if (errno == ERANGE || pid < INT_MIN || pid > INT_MAX) {
        return 0;
    }
    return static_cast<int>(pid);
}

#include "manager/pid_file.h"

#include <sys/stat.h>

#include <csignal>
#include <sstream>

#include "zarnic/sys/output.h"

using zarnic::sys::el;
using zarnic::sys::TEArgs;
using zarnic::sys::TExec;

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
    if (pid != 0) {
        static_cast<void>(::kill(pid, SIGTERM));
    }
}

int pidFromText(const std::string& text) {
    std::istringstream stream(text);
    int pid = 0;
    // A number that overflows is stored as the nearest int: no process must be signalled for
    // it.
    return stream >> pid ? pid : 0;
}

#include <unistd.h>

#include "manager/manager.h"
#include "zarnic/sys/exec.h"
#include "zarnic/sys/wait.h"

using zarnic::sys::el;
using zarnic::sys::TEArgs;
using zarnic::sys::TExec;

namespace {

const char* const statistics_script = "parse_avstat.pl";
const char* const updater = "keepup2date";

// The updater's pid-file pair comes before the configuration-file pair, and is there even when
// the pid file is empty: this is the interface.
TEArgs programArguments(const std::string& kavDir, const std::string& service,
                        const std::string& configFile, const std::string& pidFile) {
    TEArgs arguments(el);
    arguments << kavDir + "/bin/" + service;
    if (service == updater) {
        arguments << "-d" << pidFile;
    }
    if (service == statistics_script) {
        for (const char* const option : {"-x", "-r", "-n=1"}) {
            arguments << option;
        }
        arguments << "-sd=" + kavDir + "/proc_avstat" << configFile;
    } else if (!configFile.empty()) {
        arguments << "-c" << configFile;
    }
    return arguments;
}

// Runs the program without the wait of the runner, which does not return when the program is
// only stopped. The toggle clears the wait bit, because the default mode has it set.
// Deliberately one wait, without a retry: an interrupted wait is a failure of the start.
//
// The child of a program that cannot be started throws from run() and so skips the wait and
// all that follows here: only this process writes the errors file.
int runAndReap(const TEArgs& arguments) {
    const TExec program(arguments);
    return zarnic::sys::waitOnce(program.withModeToggled(zarnic::sys::wait_mode).run().pid);
}

// The exit code of cat is deliberately not examined: the service's own result matters more. The
// child that becomes cat opens the file, as root, in a directory that everybody may write to:
// docs/security.md says what that allows.
void writeErrorsFile(const std::string& errorsFile, int code) {
    TExec(TEArgs(el) << "cat").fromText(std::to_string(code)).toFile(errorsFile).run();
}

}  // namespace

TStartKAVService::TStartKAVService(const std::string& kavDirectory,
                                   const std::string& serviceName,
                                   const std::string& configurationFile,
                                   const std::string& pidFileName)
    : kavDir(kavDirectory),
      service(serviceName),
      configFile(configurationFile),
      pidFile(pidFileName) {}

// Follows links, so a link that leads nowhere does not exist.
bool TStartKAVService::exists(const std::string& path) {
    return ::stat(path.c_str(), &fileStatus) == 0;
}

int TStartKAVService::operator()() {
    const std::string errorsFile = "/tmp/zrckav_" + service + "_errors";
    // Before all else: while the program runs, the code of an earlier run must not be read as
    // its own. A failed removal is deliberately no reason not to start.
    if (exists(errorsFile)) {
        ::unlink(errorsFile.c_str());
    }
    if (service == statistics_script && !exists(configFile)) {
        return 0;
    }
    const int status = runAndReap(programArguments(kavDir, service, configFile, pidFile));
    // Deliberately not a failure: a service that is told to end by a signal did as it was told,
    // and one that is only stopped lives. Removed once more, because a second start that
    // overlaps may have written it since.
    if (!zarnic::sys::exitedNormally(status)) {
        ::unlink(errorsFile.c_str());
        return 0;
    }
    const int code = zarnic::sys::exitCode(status);
    // Before the throw, and for 0 too: the file tells how the last run ended, not only
    // failures.
    writeErrorsFile(errorsFile, code);
    if (code != 0) {
        throw TUError("Service failed");
    }
    return 0;
}

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

// Runs the program without the runner's own waiting, which would hide a stop and what ended it.
// Deliberately one wait, without a retry: an interrupted wait is a failure of the start.
int runAndReap(const TEArgs& arguments) {
    TExec program(arguments);
    return zarnic::sys::waitOnce(program.withModeToggled(zarnic::sys::wait_mode).run().pid);
}

// Cat's exit code is deliberately not examined. Its forked child opens the file as root, in a
// directory that everybody may write to: docs/security.md says what that allows.
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

bool TStartKAVService::exists(const std::string& path) {
    return ::stat(path.c_str(), &fileStatus) == 0;
}

int TStartKAVService::operator()() {
    const std::string errorsFile = "/tmp/zrckav_" + service + "_errors";
    if (exists(errorsFile)) {
        ::unlink(errorsFile.c_str());
    }
    if (service == statistics_script && !exists(configFile)) {
        return 0;
    }
    const int status = runAndReap(programArguments(kavDir, service, configFile, pidFile));
    // Deliberately not a failure: a service that is told to end by a signal did as it was told.
    if (zarnic::sys::endedBySignal(status)) {
        ::unlink(errorsFile.c_str());
        return 0;
    }
    const int code = zarnic::sys::exitCode(status);
    writeErrorsFile(errorsFile, code);
    if (code != 0) {
        throw TUError("Service failed");
    }
    return 0;
}

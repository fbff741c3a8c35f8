#include "manager/answer.h"
#include "manager/commands.h"
#include "manager/daemon.h"
#include "manager/preamble.h"
#include "manager/running_service.h"
#include "zarnic/sys/function_call.h"

using zarnic::opt::TOParsing;

namespace {

// The one server that takes SIGHUP for a request to reload.
const char* const reloadable_service = "aveserver";

// The body runs in the service process, which nobody waits for.
void startAsDaemon(const TStartKAVService& service) {
    runAsDaemon(zarnic::sys::functionCall(service));
}

}  // namespace

bool startService(TOParsing parser) {
    const std::string kavDir = requiredValue(parser, "kav-dir");
    const std::string service = requiredValue(parser, "service");
    const std::string configFile = optionalValue(parser, "config-file");
    const std::string pidFile = optionalValue(parser, "service-pidfile");
    const std::string noDaemon = optionalValue(parser, "no-daemon");
    finishPreamble(parser);

    if (isServiceRunning(kavDir, service, pidFile)) {
        throw TUError("Service is running already");
    }
    TStartKAVService start(kavDir, service, configFile, pidFile);
    if (noDaemon.empty()) {
        startAsDaemon(start);
    } else {
        start();  // its result is always 0, and failures are thrown
    }
    return true;
}

bool serviceStarted(TOParsing parser) {
    const std::string kavDir = requiredValue(parser, "kav-dir");
    const std::string service = requiredValue(parser, "service");
    const std::string pidFile = optionalValue(parser, "service-pidfile");
    finishPreamble(parser);

    if (!isServiceRunning(kavDir, service, pidFile)) {
        throw TUError("Service is not running");
    }
    answer("Service is started");
    return true;
}

bool killService(TOParsing parser) {
    const std::string kavDir = requiredValue(parser, "kav-dir");
    const std::string service = requiredValue(parser, "service");
    const std::string pidFile = optionalValue(parser, "service-pidfile");
    finishPreamble(parser);

    if (!isServiceRunning(kavDir, service, pidFile)) {
        throw TUError("Service is stopped already");
    }
    // Reads the pid file once more. A service that has removed it in between gets no signal,
    // and the command succeeds all the same.
    termByPidFile(kavDir, service, pidFile);
    return true;
}

bool restartService(TOParsing parser) {
    const std::string kavDir = requiredValue(parser, "kav-dir");
    const std::string service = requiredValue(parser, "service");
    const std::string pidFile = optionalValue(parser, "service-pidfile");
    const std::string configFile = optionalValue(parser, "config-file");
    finishPreamble(parser);

    const bool running = isServiceRunning(kavDir, service, pidFile);
    if (running && service == reloadable_service) {
        reloadByPidFile(kavDir, service, pidFile);
        return true;
    }
    // Deliberately without waiting for the old process to end: one that takes long must not
    // hold up the panel. The two may overlap for a while.
    if (running) {
        termByPidFile(kavDir, service, pidFile);
    }
    startAsDaemon(TStartKAVService(kavDir, service, configFile, pidFile));
    return true;
}

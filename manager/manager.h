// The anti-virus manager's own types, shared by its commands.
//
// Reading order: front_end.cpp (which command), preamble.h (what every command does first), the
// commands (commands.h) in file_commands.cpp and service_control.cpp. Those of service control
// lead on to running_service.h, daemon.h and service_body.cpp, which defines TStartKAVService.

#pragma once

#include <sys/stat.h>

#include <string>

#include "zarnic/opt/parsing.h"

// A condition that the user is to read. Thrown and caught by value; the front end prints the
// bare message. Not a zarnic::TError: no library knows it. So TFnCall treats it as any unknown
// exception, and a service process that it ends has status 255.
class TUError {
  public:
    // Throws std::bad_alloc when the message cannot be copied.
    explicit TUError(const std::string& message) : message_(message) {}

    // Never throws, since catching by value copies, and a copy that throws there would end the
    // process. Without memory the text becomes what the front end says of refused memory.
    TUError(const TUError& other) noexcept {
        try {
            message_ = other.message_;
        } catch (...) {
            message_ = "Error";  // short enough to need no memory
        }
    }
    TUError& operator=(const TUError&) = delete;
    ~TUError() = default;

    const std::string& message() const noexcept { return message_; }

  private:
    std::string message_;
};

// A command: true means handled, false declines and lets dispatch go on. Failures are thrown.
using CommandHandler = bool (*)(zarnic::opt::TOParsing parser);

// The start parameters of a service, and the service body as its call operator.
class TStartKAVService {
  public:
    // Copies the texts. Throws std::bad_alloc.
    TStartKAVService(const std::string& kavDirectory, const std::string& serviceName,
                     const std::string& configurationFile, const std::string& pidFileName);

    // Runs the service's program once, waits for its end and records its exit code in the
    // errors file, "/tmp/zrckav_" SERVICE "_errors". Returns 0, also when a signal killed or
    // stopped the program: the errors file is removed then. Returns 0 and runs nothing when the
    // statistics script has no configuration file. A failed removal is ignored.
    //
    // Throws TUError "Service failed" for an exit code other than 0, after recording it, and
    // zarnic::SystemError "waitpid() failed", recording nothing. What the argument list and
    // the runner throw passes through. The errors file is then as the step before left it.
    int operator()();

    std::string kavDir;
    std::string service;
    std::string configFile;  // may be empty
    std::string pidFile;     // may be empty
    struct stat fileStatus;  // scratch space of the body; deliberately not initialised

  private:
    bool exists(const std::string& path);
};

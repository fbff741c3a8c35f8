// Runs of the service body and of the commands around it, against the stand-ins.

#pragma once

#include <gtest/gtest.h>

#include <string>

#include "tests/unit/manager/host.h"

namespace test {

// Calls the body, writes what comes of it, its result or the class and text of what it throws,
// and returns the number to end with: that of a TSysCallErr, else 0.
int report(TStartKAVService body);

class ServiceTest : public testing::Test {
  protected:
    ~ServiceTest() override;

    // A body of the service "other" without a configuration file.
    TStartKAVService other() const { return {host.kav(), "other", "", ""}; }

    // Runs a body on the host; a message "Service failed" is written bare.
    Outcome run(const TStartKAVService& body) const;

    // The arguments, escaped, that one run gives the service's program.
    Words vectorOf(const std::string& service, const std::string& config,
                   const std::string& pidFile) const;

    // The content of the errors file of the service "other"; "none" without one.
    static std::string recorded();

    Host host;
};

Words joined(Words words, const Words& more);

// Calls of the commands that control a service.
class ControlTest : public ServiceTest {
  protected:
    // The options that name a service, and those with its pid file, which has that text.
    Words named(const std::string& service = "other") const;
    Words withPidFile(const std::string& text, const std::string& service = "other") const;

    // A daemon start that went well: the caller ended with 0, and so did the leader of the
    // session and the feeder of the errors file's text; the handler returned true in the
    // detached process; and the service process ended as told.
    static void expectDaemon(const Outcome& outcome, int service = 0);

    // A handler that threw, and left no process behind.
    static void expectThrown(const Outcome& outcome, const std::string& message);
};

}  // namespace test

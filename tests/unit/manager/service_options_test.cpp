// What the four service commands make of their options, before they act.

#include <gtest/gtest.h>

#include "manager/commands.h"
#include "tests/unit/manager/service_runs.h"

namespace {

using test::handle;
using test::joined;
using test::Words;

using ServiceOptions = test::ControlTest;

constexpr CommandHandler handlers[] = {startService, serviceStarted, killService,
                                       restartService};

TEST_F(ServiceOptions, TheDirectoryIsAskedForFirstAndThenTheService) {
    const std::string kavDir = "--kav-dir=" + host.kav();
    for (const CommandHandler handler : handlers) {
        expectThrown(handle(host, handler, {"--bogus"}),
                     "TPError: Requires long option '--kav-dir'");
        expectThrown(handle(host, handler, {"--service=other", "--bogus"}),
                     "TPError: Requires long option '--kav-dir'");
        expectThrown(handle(host, handler, {"--service", "--kav-dir"}),
                     "TPError: Incorrect long option '--kav-dir'");
        expectThrown(handle(host, handler, {kavDir, "--bogus"}),
                     "TPError: Requires long option '--service'");
        expectThrown(handle(host, handler, {kavDir, "--service=", "--bogus"}),
                     "TPError: Incorrect long option '--service'");
    }
    EXPECT_EQ(host.calls(), Words());
}

TEST_F(ServiceOptions, OptionsOfOtherCommandsAreUnknownAndNothingRuns) {
    const std::vector<std::pair<CommandHandler, Words>> others = {
        {startService, {"file"}},
        {serviceStarted, {"file", "config-file", "no-daemon"}},
        {killService, {"file", "config-file", "no-daemon"}},
        {restartService, {"file", "no-daemon"}},
    };
    for (const auto& [handler, names] : others) {
        for (const std::string& name : names) {
            for (const char* const value : {"", "=", "=x"}) {
                expectThrown(
                    handle(host, handler, joined(withPidFile("0"), {"--" + name + value})),
                    "TPError: Unknown option '--" + name + "'");
            }
        }
    }
    EXPECT_EQ(host.calls(), Words());
}

TEST_F(ServiceOptions, AnOptionalOptionWithoutAValueIsIgnored) {
    for (const char* const value : {"", "="}) {
        const std::string pidFile = std::string("--service-pidfile") + value;
        const std::string configFile = std::string("--config-file") + value;
        const std::string noDaemon = std::string("--no-daemon") + value;
        expectThrown(handle(host, serviceStarted, joined(named(), {pidFile})),
                     "TUError: Service is not running");
        expectThrown(handle(host, killService, joined(named(), {pidFile})),
                     "TUError: Service is stopped already");
        expectDaemon(handle(host, restartService, joined(named(), {pidFile, configFile})));
        expectDaemon(
            handle(host, startService, joined(named(), {pidFile, configFile, noDaemon})));
    }
    EXPECT_EQ(host.calls(),
              Words({"other", "cat", "other", "cat", "other", "cat", "other", "cat"}));
}

}  // namespace

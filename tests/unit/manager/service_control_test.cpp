// What the commands answer to the front end. The services are the system's own.

#include "manager/commands.h"
#include "tests/unit/manager/settled.h"
#include "tests/unit/opt/command_line.h"
#include "tests/unit/sys/runs.h"

namespace {

// The answer of a command about a service whose pid file holds the text.
bool answers(CommandHandler handler, const std::string& service, const std::string& pidText,
             const std::string& more = "--") {
    const test::TempDir dir;
    test::writeFile(dir / "pid", pidText);
    return handler(test::parse(
        {"--kav-dir=/usr", "--service=" + service, "--service-pidfile=" + dir / "pid", more}));
}

TEST(ServiceControl, WhatIsDoneIsAnsweredByTrue) {
    test::isolated([] {
        EXPECT_TRUE(answers(serviceStarted, "true", "0"));
        EXPECT_TRUE(answers(killService, "true", "0"));
        EXPECT_TRUE(answers(restartService, "aveserver", "0"));
        EXPECT_TRUE(answers(startService, "true", "", "--no-daemon=1"));
    });
}

// The calling process ends with 0: it is the detached one that comes back. The service process
// and the leader of the session end beside it, and so does the feeder of the errors file's
// text.
TEST(ServiceControl, ADaemonStartAnswersTrueInTheDetachedProcess) {
    for (const CommandHandler handler : {startService, restartService}) {
        const auto outcome =
            test::settled([&] { std::exit(answers(handler, "true", "") ? 40 : 41); });
        EXPECT_EQ(outcome.ends, "0: 0 0 0 40");
    }
}

}  // namespace

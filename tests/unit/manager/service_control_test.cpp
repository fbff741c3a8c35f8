// What the commands answer to the front end. The services are the system's own `true` and
// `false`.

#include "manager/commands.h"
#include "tests/unit/manager/settled.h"
#include "tests/unit/opt/command_line.h"
#include "tests/unit/sys/runs.h"

namespace {

class ServiceControl : public test::RunTest {
  protected:
    // Calls the command on a service whose pid file holds the text.
    bool call(CommandHandler handler, const std::string& service, const std::string& pidText,
              const std::string& more = "--") {
        test::writeFile(dir / "pid", pidText);
        return handler(test::parse({"--kav-dir=/usr", "--service=" + service,
                                    "--service-pidfile=" + dir / "pid", more}));
    }

    test::TempDir dir;
};

TEST_F(ServiceControl, WhatARunningServiceIsToldIsAnsweredByTrue) {
    test::isolated([&] {
        EXPECT_TRUE(call(serviceStarted, "true", "0"));
        EXPECT_TRUE(call(killService, "true", "0"));
        EXPECT_TRUE(call(restartService, "aveserver", "0"));
        EXPECT_THROW(call(startService, "true", "0"), TUError);
    });
}

TEST_F(ServiceControl, WhatIsNotRunningIsTheUsersErrorOrIsStarted) {
    test::isolated([&] {
        EXPECT_THROW(call(serviceStarted, "true", ""), TUError);
        EXPECT_THROW(call(killService, "true", ""), TUError);
        EXPECT_TRUE(call(startService, "true", "", "--no-daemon=1"));
        EXPECT_THROW(call(startService, "false", "", "--no-daemon=1"), TUError);
    });
}

// The calling process ends with 0: it is the detached one that comes back. The service process
// and the leader of the session end beside it, and so does the feeder of the errors file's
// text.
TEST_F(ServiceControl, ADaemonStartAnswersTrueInTheDetachedProcess) {
    for (const CommandHandler handler : {startService, restartService}) {
        const test::Outcome outcome =
            test::settled([&] { std::exit(call(handler, "true", "") ? 40 : 41); });
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.orphans, std::vector<int>({0, 0, 0, 40}));
    }
}

}  // namespace

// What the commands answer to the front end. The service is the system's `true`.

#include "manager/commands.h"
#include "tests/unit/opt/command_line.h"
#include "tests/unit/sys/runs.h"

namespace {

TEST(ServiceControl, WhatIsDoneIsAnsweredByTrue) {
    const test::TempDir dir;
    test::writeFile(dir / "pid", "0");
    const auto answers = [&](CommandHandler handler, const std::string& service,
                             const std::string& more) {
        return handler(test::parse({"--kav-dir=/usr", "--service=" + service, more}));
    };
    const std::string running = "--service-pidfile=" + dir / "pid";
    test::isolated([&] {
        EXPECT_TRUE(answers(serviceStarted, "true", running));
        EXPECT_TRUE(answers(killService, "true", running));
        EXPECT_TRUE(answers(restartService, "aveserver", running));
        EXPECT_TRUE(answers(startService, "true", "--no-daemon=1"));
    });
}

}  // namespace

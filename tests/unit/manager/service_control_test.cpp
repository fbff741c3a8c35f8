#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <climits>
#include <filesystem>

#include "manager/commands.h"
#include "tests/unit/manager/service_runs.h"
#include "tests/unit/sys/runs.h"

namespace {

namespace fs = std::filesystem;
using test::answered_true;
using test::handle;
using test::joined;
using test::Outcome;
using test::Words;

using ServiceControl = test::ControlTest;

// --- service-started ---

TEST_F(ServiceControl, AServiceWithAnyPidTextIsStarted) {
    for (const char* const text : {"0\n", "2147483647", "\n", "x"}) {
        const Outcome outcome = handle(host, serviceStarted, withPidFile(text));
        EXPECT_EQ(outcome.status, answered_true);
        EXPECT_EQ(outcome.out, "Service is started\n");
        EXPECT_EQ(outcome.err, "");
    }
    EXPECT_EQ(host.calls("cat"), 4);
}

TEST_F(ServiceControl, ThatItIsStartedIsWrittenAtOnce) {
    const Outcome outcome = test::settled([&] {
        host.enter();
        serviceStarted(test::parserOf(withPidFile("1")));
        std::_Exit(0);
    });
    EXPECT_EQ(outcome.out, "Service is started\n");
}

TEST_F(ServiceControl, AServiceWithoutPidTextIsNotStarted) {
    const std::string message = "TUError: Service is not running";
    expectThrown(handle(host, serviceStarted, withPidFile("")), message);
    fs::remove(host / "pid");
    const std::string pidFile = "--service-pidfile=" + (host / "pid");
    expectThrown(handle(host, serviceStarted, joined(named(), {pidFile})), message);
    expectThrown(handle(host, serviceStarted, named()), message);
    EXPECT_EQ(host.calls("cat"), 1);
}

// --- kill-service ---

TEST_F(ServiceControl, KillingAnswersTrueInSilenceThoughNoProcessExists) {
    for (const char* const text : {"0\n", "2147483647", "\n", "x"}) {
        const Outcome outcome = handle(host, killService, withPidFile(text));
        EXPECT_EQ(outcome.status, answered_true);
        EXPECT_EQ(outcome.out + outcome.err, "");
    }
    EXPECT_EQ(host.calls("cat"), 8);
}

TEST_F(ServiceControl, KillingWhatIsNotRunningIsAnError) {
    const std::string message = "TUError: Service is stopped already";
    expectThrown(handle(host, killService, withPidFile("")), message);
    expectThrown(handle(host, killService, named()), message);
    EXPECT_EQ(host.calls("cat"), 1);
}

TEST_F(ServiceControl, ACatThatFailsAtTheSecondReadFailsTheKill) {
    host.script("cat", "[ -e \"$1.read\" ] && exit 3; : > \"$1.read\"; echo 0\n");
    expectThrown(handle(host, killService, withPidFile("0")),
                 "other: child failed (exit code=3): ");
}

// --- start-service ---

TEST_F(ServiceControl, ARunningServiceIsNotStartedAgain) {
    for (const Words& more : {Words(), Words({"--no-daemon=1"})}) {
        expectThrown(handle(host, startService, joined(withPidFile("0"), more)),
                     "TUError: Service is running already");
    }
    EXPECT_EQ(host.calls(), Words({"cat " + (host / "pid"), "cat " + (host / "pid")}));
    EXPECT_EQ(recorded(), "none");
}

TEST_F(ServiceControl, AStartIsADaemonStart) {
    expectDaemon(handle(host, startService, named()));
    EXPECT_EQ(recorded(), "0");
    const std::string report = host.report("other");
    for (int stream = 0; stream < 3; ++stream) {
        EXPECT_EQ(test::target(report, stream), "/dev/null");
    }
}

TEST_F(ServiceControl, TheServiceProcessOfADaemonStartEndsWith255WhenTheServiceFails) {
    host.act("other", "exit 3");
    expectDaemon(handle(host, startService, named()), 255);
    EXPECT_EQ(recorded(), "3");
}

TEST_F(ServiceControl, AnyValueOfNoDaemonKeepsTheServiceInTheForeground) {
    for (const char* const value : {"1", "0", "no", " "}) {
        host.act("other", "report");
        const Outcome outcome =
            handle(host, startService, joined(named(), {std::string("--no-daemon=") + value}));
        EXPECT_EQ(outcome.status, answered_true) << value;
        EXPECT_NE(outcome.out.find("\nppid "), std::string::npos);
        EXPECT_EQ(outcome.orphans, std::vector<int>({0}));
    }
}

TEST_F(ServiceControl, AServiceThatFailsInTheForegroundIsAnError) {
    host.act("other", "exit 3");
    const Outcome outcome = handle(host, startService, joined(named(), {"--no-daemon=1"}));
    EXPECT_EQ(outcome.status, test::threw);
    EXPECT_EQ(outcome.out, "TUError: Service failed\n");
}

TEST_F(ServiceControl, EachOptionReachesItsOwnPlaceInTheStart) {
    const Words files{"--service-pidfile=" + (host / "p"), "--config-file=" + (host / "c")};
    for (const CommandHandler handler : {startService, restartService}) {
        expectDaemon(handle(host, handler, joined(named("keepup2date"), files)));
    }
    const std::string call = "keepup2date -d " + (host / "p") + " -c " + (host / "c");
    EXPECT_EQ(host.calls(), Words({call, "cat", call, "cat"}));
}

// --- restart-service of any service but the server ---

TEST_F(ServiceControl, RestartingWhatIsNotRunningStartsIt) {
    for (const char* const service : {"other", "aveserver"}) {
        expectDaemon(handle(host, restartService, withPidFile("", service)));
        EXPECT_EQ(host.calls(service), 1);
    }
}

TEST_F(ServiceControl, RestartingSendsSigtermAndStartsWithoutWaiting) {
    const Outcome outcome = test::settled([&] {
        host.enter();
        const pid_t old = ::fork();
        if (old == 0) {
            ::signal(SIGTERM, SIG_DFL);
            ::raise(SIGSTOP);
            std::_Exit(9);
        }
        ASSERT_EQ(::waitpid(old, nullptr, WUNTRACED), old);
        if (::fork() == 0) {
            restartService(test::parserOf(withPidFile(std::to_string(old))));
            std::exit(0);
        }
        while (recorded() != "0") {
            ::usleep(1000);
        }
        EXPECT_EQ(::waitpid(old, nullptr, WNOHANG), 0);
        ::kill(old, SIGCONT);
        const int status = test::reap(old);
        std::exit(WIFSIGNALED(status) ? WTERMSIG(status) : 1);
    });
    EXPECT_EQ(outcome.status, SIGTERM);
    EXPECT_EQ(host.calls(),
              Words({"cat " + (host / "pid"), "cat " + (host / "pid"), "other", "cat"}));
}

TEST_F(ServiceControl, RestartingWithNothingToSignalStartsIt) {
    for (const char* const text : {"0", "x", "\n", "2147483647"}) {
        expectDaemon(handle(host, restartService, withPidFile(text)));
    }
    EXPECT_EQ(host.calls("other"), 4);
}

}  // namespace

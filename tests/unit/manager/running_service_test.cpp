#include "manager/running_service.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <climits>
#include <stdexcept>
#include <type_traits>

#include "tests/unit/manager/host.h"
#include "tests/unit/sys/runs.h"

namespace {

using test::isolated;
using test::reap;
using test::settled;

static_assert(
    std::is_same_v<decltype(readPidFile), std::string(std::string, std::string, std::string)>);
static_assert(
    std::is_same_v<decltype(isServiceRunning), bool(std::string, std::string, std::string)>);
static_assert(
    std::is_same_v<decltype(termByPidFile), void(std::string, std::string, std::string)>);

class PidFile : public test::RunTest {
  protected:
    // What happens with the host's cat, in a child; failures there are failures here.
    void onHost(const std::function<void()>& body) {
        isolated([&] {
            host.enter();
            body();
        });
    }

    std::string failure(const std::string& path) {
        try {
            readPidFile("", "", path);
        } catch (const zarnic::TError& error) {
            return "TError";
        } catch (const std::runtime_error& error) {
            return error.what();
        }
        return "none";
    }

    test::Host host;
};

// Waits to be signalled, in a process group of its own, which exists once this returns.
pid_t target() {
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::setpgid(0, 0);
        ::signal(SIGTERM, SIG_DFL);
        for (;;) {
            ::pause();
        }
    }
    ::setpgid(pid, pid);
    return pid;
}

TEST_F(PidFile, TheTextIsReadWholeAndAsItIs) {
    onHost([&] {
        for (const std::string text : {"12\n", "12", " 12 \n\n", "\n", "any text\n"}) {
            EXPECT_EQ(readPidFile("", "", host.file("pid", text)), text);
        }
        const std::string bytes("\0\xff\n\0", 4);
        EXPECT_EQ(readPidFile("", "", host.file("pid", bytes)), bytes);
        EXPECT_EQ(readPidFile("", "", host.file("pid", std::string(5000, '1'))).size(), 5000U);
    });
}

TEST_F(PidFile, ItIsReadThroughCat) {
    host.act("cat", "args printed; exit 0");
    onHost([&] { EXPECT_EQ(readPidFile("", "", host.file("pid", "12")), "printed\n"); });
    EXPECT_EQ(host.calls(), test::Words({"cat " + (host / "pid")}));
}

TEST_F(PidFile, OnlyThePidFileIsUsed) {
    onHost([&] {
        EXPECT_EQ(readPidFile("/any", "../name", host.file("pid", "12")), "12");
        EXPECT_EQ(readPidFile(host.file("a", "1"), host.file("b", "2"), ""), "");
    });
    EXPECT_EQ(host.calls("cat"), 1);
}

TEST_F(PidFile, WithoutAFileToReadTheTextIsEmptyAndNothingRuns) {
    onHost([&] {
        EXPECT_EQ(readPidFile("", "", ""), "");
        EXPECT_EQ(readPidFile("", "", host / "none"), "");
        EXPECT_EQ(readPidFile("", "", host.file("file") + "/below"), "");
        EXPECT_FALSE(isServiceRunning("", "", ""));
        EXPECT_FALSE(isServiceRunning("", "", host / "none"));
        termByPidFile("", "", "");
        termByPidFile("", "", host / "none");
    });
    EXPECT_EQ(host.calls(), test::Words());
}

TEST_F(PidFile, AFailingCatIsThrownAsNoLibraryError) {
    onHost([&] {
        const std::string pidFile = host.file("pid", "12");
        host.act("cat", "args 34; exit 3");
        EXPECT_EQ(failure(pidFile), "child failed (exit code=3): 34\n");
        host.act("cat", "args 34; die 15");
        EXPECT_EQ(failure(pidFile), "child failed (status=15): 34\n");
    });
}

TEST_F(PidFile, ADirectoryInItsPlaceIsAFailingCat) {
    onHost([&] { EXPECT_EQ(failure(host.kav()), "child failed (exit code=1): "); });
}

TEST_F(PidFile, AFailingCatIsThrownByEveryOperation) {
    host.act("cat", "exit 1");
    onHost([&] {
        const std::string pidFile = host.file("pid", "12");
        EXPECT_THROW(isServiceRunning("", "", pidFile), std::runtime_error);
        EXPECT_THROW(termByPidFile("", "", pidFile), std::runtime_error);
    });
}

TEST_F(PidFile, AnyTextMeansRunningEvenOfAProcessThatDoesNotExist) {
    onHost([&] {
        for (const char* const text : {"2147483647\n", "0", "\n", "x", "-"}) {
            EXPECT_TRUE(isServiceRunning("", "", host.file("pid", text))) << text;
        }
        EXPECT_FALSE(isServiceRunning("", "", host.file("pid", "")));
    });
}

TEST_F(PidFile, TheProcessIsSentSigterm) {
    onHost([&] {
        const pid_t pid = target();
        termByPidFile("", "", host.file("pid", std::to_string(pid) + "\n"));
        EXPECT_EQ(reap(pid), SIGTERM);
    });
    EXPECT_EQ(host.calls("cat"), 1);
}

TEST_F(PidFile, ANegativeNumberIsSentToThatProcessGroup) {
    onHost([&] {
        const pid_t pid = target();
        termByPidFile("", "", host.file("pid", "-" + std::to_string(pid)));
        EXPECT_EQ(reap(pid), SIGTERM);
    });
}

TEST_F(PidFile, NoWaitFollowsTheSignal) {
    onHost([&] {
        const pid_t pid = target();
        ASSERT_EQ(::kill(pid, SIGSTOP), 0);
        ASSERT_EQ(::waitpid(pid, nullptr, WUNTRACED), pid);
        termByPidFile("", "", host.file("pid", std::to_string(pid)));
        EXPECT_EQ(::waitpid(pid, nullptr, WNOHANG), 0);
        ASSERT_EQ(::kill(pid, SIGCONT), 0);
        EXPECT_EQ(reap(pid), SIGTERM);
    });
}

// A pid of 0 would reach the whole group of the caller, which here is the caller alone.
TEST_F(PidFile, NoProcessIsNeverSignalled) {
    for (const char* const text :
         {"0", "0\n", "x", "\n", "99999999999", "-99999999999", "0x10"}) {
        const test::Outcome outcome = settled([&] {
            ::setpgid(0, 0);
            ::signal(SIGTERM, SIG_DFL);
            host.enter();
            termByPidFile("", "", host.file("pid", text));
        });
        EXPECT_EQ(outcome.status, 0) << text;
    }
}

TEST_F(PidFile, ASignalThatCannotBeSentIsIgnored) {
    onHost([&] {
        EXPECT_NO_THROW(termByPidFile("", "", host.file("pid", std::to_string(INT_MAX))));
    });
}

}  // namespace

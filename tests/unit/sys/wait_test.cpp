#include "zarnic/sys/wait.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

namespace zarnic::sys {
namespace {

TEST(WaitStatus, EveryWordIsTakenApartIntoItsFields) {
    for (int code = 0; code < 256; ++code) {
        for (int core = 0; core < 2; ++core) {
            for (int signal = 0; signal < 128; ++signal) {
                const int word = code * 256 + core * 128 + signal;
                ASSERT_EQ(endedBySignal(word), signal != 0) << word;
                ASSERT_EQ(exitCode(word), code) << word;
            }
        }
    }
}

TEST(WaitStatus, EveryWordIsReadAsTheSystemReadsIt) {
    for (int word = 0; word < 65536; ++word) {
        ASSERT_EQ(endedBySignal(word), !WIFEXITED(word)) << word;
        ASSERT_EQ(exitCode(word), WEXITSTATUS(word)) << word;
    }
}

TEST(WaitStatus, EverySignalCountsWithAndWithoutCore) {
    for (int signal = 1; signal <= 31; ++signal) {
        EXPECT_TRUE(endedBySignal(signal));
        EXPECT_TRUE(endedBySignal(signal | 0x80));
    }
}

TEST(WaitStatus, TheCoreFlagAloneIsNoSignal) {
    EXPECT_FALSE(endedBySignal(0x80));
    EXPECT_EQ(exitCode(0x80), 0);
}

TEST(WaitStatus, AStoppedChildCountsAsEndedBySignal) {
    for (int signal = 1; signal <= 31; ++signal) {
        EXPECT_TRUE(endedBySignal(signal << 8 | 0x7f));
    }
}

TEST(WaitStatus, AContinuedChildCountsAsEndedBySignal) { EXPECT_TRUE(endedBySignal(0xffff)); }

TEST(WaitStatus, BitsAboveTheWordAreNoPartOfTheCode) {
    EXPECT_EQ(exitCode(0x10300), 3);
    EXPECT_EQ(exitCode(-1), 255);
}

TEST(WaitStatus, ItIsUsableInConstants) {
    static_assert(exitCode(0x0300) == 3);
    static_assert(endedBySignal(SIGKILL));
    SUCCEED();
}

// The fields above are those of real children too.
TEST(WaitStatus, AStoppedChildOfTheSystemHasAllSevenBitsSet) {
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::raise(SIGSTOP);
        std::_Exit(0);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(pid, &status, WUNTRACED), pid);
    EXPECT_EQ(status, SIGSTOP << 8 | 0x7f);
    EXPECT_TRUE(endedBySignal(status));
    ::kill(pid, SIGKILL);
    ASSERT_EQ(::waitpid(pid, &status, 0), pid);
    EXPECT_EQ(status, SIGKILL);
}

}  // namespace
}  // namespace zarnic::sys

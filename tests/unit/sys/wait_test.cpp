#include "zarnic/sys/wait.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <typeinfo>

#include "tests/unit/sys/runs.h"

namespace zarnic::sys {
namespace {

static_assert(exitCode(0x0300) == 3, "usable in constants");
static_assert(!exitedNormally(SIGKILL));

// A stop, which the wait reports too, is no end.
TEST(WaitStatus, EveryWordIsReadAsTheSystemReadsIt) {
    for (int word = 0; word < 65536; ++word) {
        ASSERT_EQ(exitedNormally(word), WIFEXITED(word)) << word;
        ASSERT_EQ(exitCode(word), WEXITSTATUS(word)) << word;
    }
    EXPECT_EQ(exitCode(0x10300), 3);
    EXPECT_EQ(exitCode(-1), 255);
}

class WaitChild : public test::RunTest {};

// A child that runs `body` and exits with its result.
template <class Body>
pid_t forked(const Body& body) {
    const pid_t pid = ::fork();
    if (pid == 0) {
        std::_Exit(body());
    }
    return pid;
}

TEST_F(WaitChild, TheRawWordOfTheGivenChildIsReturnedAndZeroForAMissingOne) {
    const pid_t first = forked([] { return 255; });
    const pid_t second = forked([] { return ::raise(SIGKILL); });
    EXPECT_EQ(waitChild(second), SIGKILL);
    EXPECT_EQ(waitChild(first), 255 << 8);
    EXPECT_EQ(waitChild(first), 0);
}

TEST_F(WaitChild, AStoppedChildIsReportedAsStopped) {
    const pid_t pid = forked([] { return ::raise(SIGSTOP); });
    EXPECT_EQ(waitChild(pid), SIGSTOP << 8 | 0x7f);
    ::kill(pid, SIGKILL);
    EXPECT_EQ(waitChild(pid), SIGKILL);
}

TEST_F(WaitChild, AnInterruptedWaitIsRepeatedAsOftenAsNeeded) {
    test::isolated([] {
        const test::Interrupts interrupts;
        const pid_t self = ::getpid();
        const pid_t pid = forked([&] {
            for (int round = 0; round < 3; ++round) {
                interrupts.interrupt(self);
            }
            return 7;
        });
        EXPECT_EQ(waitChild(pid), 7 << 8);
        EXPECT_EQ(interrupts.count(), 3);
    });
}

// The one process number that the system refuses for another reason.
TEST_F(WaitChild, AnyOtherErrorIsThrownWithItsNumber) {
    try {
        waitChild(INT_MIN);
        FAIL();
    } catch (const SystemError& error) {
        EXPECT_EQ(typeid(error), typeid(SystemError));
        EXPECT_EQ(error.error(), ESRCH);
        EXPECT_EQ(error.what(), std::string("waitpid() failed: ") + std::strerror(ESRCH));
    }
}

}  // namespace
}  // namespace zarnic::sys

#include "zarnic/sys/exec.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <cstdint>
#include <type_traits>

#include "tests/unit/sys/runs.h"

namespace zarnic::sys {
namespace {

using test::isolated;
using test::probe;
using test::program;
using test::reap;
using test::runOnce;

class Exec : public test::RunTest {};

TEST_F(Exec, TheModeBitsHaveFixedValues) {
    EXPECT_EQ(TExec::fork_mode, 1U);
    EXPECT_EQ(TExec::wait_mode, 2U);
    EXPECT_EQ(TExec::path_mode, 4U);
    EXPECT_EQ(TExec::def_mode, 7U);
}

TEST_F(Exec, TheNamespaceHoldsTheSameBitsForPipelines) {
    EXPECT_EQ(sys::fork_mode, 1U);
    EXPECT_EQ(sys::wait_mode, 2U);
    EXPECT_EQ(sys::path_mode, 4U);
}

TEST_F(Exec, TheMessageForUsersThatRefuseArgumentsHasItsText) {
    EXPECT_STREQ(bad_execute_arguments, "Bad execute arguments");
}

TEST_F(Exec, AResultIsTwoSigned32BitNumbers) {
    EXPECT_TRUE((std::is_same_v<decltype(TExecResult::pid), std::int32_t>));
    EXPECT_TRUE((std::is_same_v<decltype(TExecResult::code), std::int32_t>));
    const TExecResult result{1, 2};
    EXPECT_EQ(result.pid, 1);
    EXPECT_EQ(result.code, 2);
}

TEST_F(Exec, AFreshRunnerHasTheDefaultModeAndNoPreparer) {
    const TEArgs args;
    const TExec exec(args);
    EXPECT_EQ(exec.mode(), 7U);
    EXPECT_EQ(exec.preparer().get(), nullptr);
    EXPECT_EQ(&exec.args().elements(), &args.elements());
}

TEST_F(Exec, ARunnerOfAPreparerHasNoArgumentsAndTheDefaultMode) {
    const TExec::Preparer prepare(new TExec::TPrepare);
    const TExec exec(prepare);
    EXPECT_EQ(exec.args().size(), 0U);
    EXPECT_EQ(exec.mode(), 7U);
    EXPECT_EQ(exec.preparer().get(), prepare.get());
}

TEST_F(Exec, CopiesShareArgumentsAndPreparer) {
    const TExec exec = probe({"args"}).with(TExec::Preparer(new TExec::TPrepare));
    const TExec copy(exec);
    EXPECT_EQ(&copy.args().elements(), &exec.args().elements());
    EXPECT_EQ(copy.preparer().get(), exec.preparer().get());
}

TEST_F(Exec, ArgumentsChangedLaterDoNotReachTheRunner) {
    TEArgs args;
    args << "cat";
    const TExec exec(args);
    args << "later";
    EXPECT_EQ(exec.args().size(), 1U);
}

TEST_F(Exec, TheModeCanBeReplacedInACopy) {
    const TExec exec = probe({"args"}).with(TExec::Preparer(new TExec::TPrepare));
    for (std::uint64_t mode = 0; mode <= 7; ++mode) {
        const TExec changed = exec.withMode(mode);
        EXPECT_EQ(changed.mode(), mode);
        EXPECT_EQ(exec.mode(), 7U);
        EXPECT_EQ(&changed.args().elements(), &exec.args().elements());
        EXPECT_EQ(changed.preparer().get(), exec.preparer().get());
    }
}

TEST_F(Exec, TheModeHas64Bits) {
    const std::uint64_t wide = std::uint64_t{1} << 63 | 7;
    EXPECT_EQ(probe({}).withMode(wide).mode(), wide);
    EXPECT_EQ(probe({}, wide).mode(), wide);
}

TEST_F(Exec, ToggledBitsShareArgumentsAndPreparerWithACopy) {
    const TExec exec = probe({"args"}).with(TExec::Preparer(new TExec::TPrepare));
    const TExec changed = exec.withModeToggled(sys::wait_mode);
    EXPECT_EQ(exec.mode(), 7U);
    EXPECT_EQ(&changed.args().elements(), &exec.args().elements());
    EXPECT_EQ(changed.preparer().get(), exec.preparer().get());
}

TEST_F(Exec, TogglingTheWaitBitTwiceGivesTheDefaultBack) {
    const TExec toggled = probe({}).withModeToggled(sys::wait_mode);
    EXPECT_EQ(toggled.mode(), 5U);
    EXPECT_EQ(toggled.withModeToggled(sys::wait_mode).mode(), 7U);
}

TEST_F(Exec, TogglingIsAnExclusiveOrForEveryPairOfModes) {
    for (std::uint64_t mode = 0; mode <= 7; ++mode) {
        for (std::uint64_t bits = 0; bits <= 7; ++bits) {
            // Bit by bit, and not by the operator under test.
            std::uint64_t expected = 0;
            for (std::uint64_t bit = 1; bit <= 4; bit *= 2) {
                const bool was = mode / bit % 2 == 1;
                const bool toggled = bits / bit % 2 == 1;
                expected += was != toggled ? bit : 0;
            }
            EXPECT_EQ(probe({}, mode).withModeToggled(bits).mode(), expected);
        }
    }
}

TEST_F(Exec, AWaitedRunReportsTheExitCode) {
    const TExecResult result = runOnce(probe({"exit", "3"}));
    EXPECT_GT(result.pid, 0);
    EXPECT_EQ(result.code, 3);
}

TEST_F(Exec, EveryExitCodeIsReported) {
    for (int code = 0; code < 256; ++code) {
        ASSERT_EQ(runOnce(probe({"exit", std::to_string(code)})).code, code);
    }
}

TEST_F(Exec, AChildKilledByASignalIsReportedAsMinusOne) {
    EXPECT_EQ(runOnce(probe({"die", std::to_string(SIGKILL)})).code, -1);
}

TEST_F(Exec, EverySignalThatKillsIsReportedAsMinusOne) {
    const std::set<int> harmless = {SIGCHLD, SIGCONT, SIGSTOP, SIGTSTP,
                                    SIGTTIN, SIGTTOU, SIGURG,  SIGWINCH};
    const test::TempDir cores;
    isolated([&] {
        ASSERT_EQ(::chdir(cores.path().c_str()), 0);
        // Core dumps where the machine makes them: the core flag must not show either.
        rlimit limit{};
        ::getrlimit(RLIMIT_CORE, &limit);
        limit.rlim_cur = limit.rlim_max;
        ::setrlimit(RLIMIT_CORE, &limit);
        for (int signal = 1; signal <= 31; ++signal) {
            if (harmless.count(signal) == 0) {
                EXPECT_EQ(runOnce(probe({"die", std::to_string(signal)})).code, -1) << signal;
            }
        }
    });
}

TEST_F(Exec, TheChildsPidIsReportedWithItsExitCode) {
    const test::TempDir dir;
    const TExecResult result = runOnce(probe({"report"}).toFile(dir / "report"));
    EXPECT_EQ(test::reported(test::readFile(dir / "report"), "pid"),
              test::Words{std::to_string(result.pid)});
}

TEST_F(Exec, TheChildsPidIsReportedWhenASignalEndedItToo) {
    const test::TempDir dir;
    const TExecResult result =
        runOnce(program({"sh", "-c", "echo $$; kill -9 $$"}).toFile(dir / "pid"));
    EXPECT_EQ(result.code, -1);
    EXPECT_EQ(test::readFile(dir / "pid"), std::to_string(result.pid) + "\n");
}

TEST_F(Exec, AWaitedChildIsReaped) { EXPECT_EQ(reap(runOnce(probe({"exit", "3"})).pid), -1); }

TEST_F(Exec, WithoutWaitingTheChildIsNotReapedAndTheCodeIsZero) {
    const TExecResult result = runOnce(probe({"exit", "3"}, 5));
    EXPECT_GT(result.pid, 0);
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(reap(result.pid), 3 << 8);
}

// The child ends only after the run has returned: a run that waited would wait for ever.
TEST_F(Exec, WithoutWaitingTheRunReturnsWhileTheChildRuns) {
    isolated([] {
        int gate[2];
        ASSERT_EQ(::pipe(gate), 0);
        TExec exec = test::inChildDo([&] {
                         char byte = 0;
                         ::close(gate[1]);
                         return ::read(gate[0], &byte, 1) == 0 ? 3 : 4;
                     }).withMode(TExec::fork_mode);
        const TExecResult result = exec.run();
        EXPECT_EQ(result.code, 0);
        ::close(gate[1]);
        EXPECT_EQ(reap(result.pid), 3 << 8);
    });
}

TEST_F(Exec, EveryRunForksAgain) {
    TExec exec = probe({"exit", "7"});
    const TExecResult first = runOnce(exec);
    const TExecResult second = runOnce(exec);
    EXPECT_NE(first.pid, second.pid);
    EXPECT_EQ(first.code, 7);
    EXPECT_EQ(second.code, 7);
    EXPECT_EQ(exec.mode(), 7U);
}

// Lets the child stop before it is waited for, and go on when the wait has begun.
class StopsTheChild : public TExec::TPrepare {
  public:
    void beforeFork(TExec& /*exec*/) override { ASSERT_EQ(::pipe(pid_), 0); }
    void inParent(TExec& /*exec*/) override {
        const pid_t self = ::getpid();
        pid_t child = 0;
        ASSERT_EQ(::read(pid_[0], &child, sizeof child), static_cast<ssize_t>(sizeof child));
        test::waitForState(child, 'T');
        if (::fork() == 0) {
            test::waitForState(self, 'S');
            ::kill(child, SIGCONT);
            std::_Exit(0);
        }
    }
    void inChild(TExec& /*exec*/) override {
        const pid_t self = ::getpid();
        ASSERT_EQ(::write(pid_[1], &self, sizeof self), static_cast<ssize_t>(sizeof self));
        ::raise(SIGSTOP);
    }

  private:
    int pid_[2] = {};
};

// A wait that saw stops would take the child for ended.
TEST_F(Exec, AStoppedChildIsStillWaitedFor) {
    isolated([] {
        TExec exec = probe({"exit", "4"}).with(TExec::Preparer(new StopsTheChild));
        EXPECT_EQ(exec.run().code, 4);
    });
}

}  // namespace
}  // namespace zarnic::sys

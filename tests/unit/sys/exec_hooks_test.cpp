// When the runner calls which hook of its preparer.

#include <gtest/gtest.h>

#include <cerrno>

#include "tests/unit/sys/recording_preparer.h"
#include "tests/unit/sys/runs.h"
#include "zarnic/sys/exec.h"

namespace zarnic::sys {
namespace {

using test::isolated;
using test::Notes;
using test::probe;
using test::program;
using test::recorder;
using test::runOnce;

class ExecHooks : public test::RunTest {
  protected:
    const Notes notes;
};

// Changes the mode of the running program from within the parent's hook.
class SetsMode : public TExec::TPrepare {
  public:
    explicit SetsMode(std::uint64_t mode) : mode_(mode) {}
    void inParent(TExec& exec) override { exec.setMode(mode_); }

  private:
    std::uint64_t mode_;
};

TEST_F(ExecHooks, APreparerIsDestroyedThroughItsBase) {
    struct Ends : TExec::TPrepare {
        explicit Ends(bool& flag) : flag_(flag) {}
        ~Ends() override { flag_ = true; }
        bool& flag_;
    };
    bool ended = false;
    { const TExec exec{TExec::Preparer(new Ends(ended))}; }
    EXPECT_TRUE(ended);
}

TEST_F(ExecHooks, AForkedRunCallsThemInOrder) {
    EXPECT_EQ(runOnce(probe({"exit", "0"}).with(recorder(notes))).code, 0);
    EXPECT_EQ(notes.of("parent"), "beforeFork inParent");
    EXPECT_EQ(notes.of("child"), "inChild beforeExec");
}

TEST_F(ExecHooks, ARunWithoutWaitingCallsTheSame) {
    const TExecResult result = runOnce(probe({"exit", "0"}, 5).with(recorder(notes)));
    EXPECT_EQ(test::reap(result.pid), 0);
    EXPECT_EQ(notes.of("parent"), "beforeFork inParent");
    EXPECT_EQ(notes.of("child"), "inChild beforeExec");
}

TEST_F(ExecHooks, ARunInTheProcessItselfCallsOnlyBeforeExec) {
    isolated([&] { probe({"exit", "0"}, 4).with(recorder(notes)).run(); });
    EXPECT_EQ(notes.of("parent"), "");
    EXPECT_EQ(notes.of("child"), "beforeExec");
}

TEST_F(ExecHooks, AFailedForkIsAskedAboutInTheParentAndNothingFollows) {
    isolated([] {
        const test::NoNewProcesses limit;
        const Notes own;
        EXPECT_THROW(probe({"exit", "0"}).with(recorder(own)).run(), TSysCallErr);
        EXPECT_EQ(own.of("parent"), "beforeFork forkFailed");
    });
}

TEST_F(ExecHooks, AFailedExecIsAskedAboutInTheChild) {
    EXPECT_EQ(runOnce(program({"/no/such/program"}).with(recorder(notes))).code, ENOENT);
    EXPECT_EQ(notes.of("parent"), "beforeFork inParent");
    EXPECT_EQ(notes.of("child"), "inChild beforeExec execFailed");
}

TEST_F(ExecHooks, AFailedExecIsAskedAboutInTheProcessItself) {
    isolated([] {
        const Notes own;
        EXPECT_THROW(program({"/no/such/program"}, 4).with(recorder(own)).run(), TSysCallErr);
        EXPECT_EQ(own.of("parent"), "beforeExec execFailed");
    });
}

TEST_F(ExecHooks, EachHookGetsTheRunningRunner) {
    TExec exec = program({"/no/such/program"});
    auto* const recording = new test::Recorder(notes, "", true, &exec);
    exec = exec.with(TExec::Preparer(recording));
    EXPECT_EQ(runOnce(exec).code, ENOENT);
    EXPECT_EQ(notes.of("parent"), "beforeFork inParent");
    EXPECT_EQ(notes.of("child"), "inChild beforeExec execFailed");
}

TEST_F(ExecHooks, AFailedForkHandsOutTheRunningRunnerToo) {
    isolated([] {
        const test::NoNewProcesses limit;
        const Notes own;
        TExec exec = probe({});
        exec = exec.with(TExec::Preparer(new test::Recorder(own, "", false, &exec)));
        EXPECT_EQ(exec.run().pid, -1);
        EXPECT_EQ(own.of("parent"), "beforeFork forkFailed");
    });
}

TEST_F(ExecHooks, ARunAgainCallsThemAgain) {
    TExec exec = probe({"exit", "0"}).with(recorder(notes));
    runOnce(exec);
    runOnce(exec);
    EXPECT_EQ(notes.of("parent"), "beforeFork inParent beforeFork inParent");
}

TEST_F(ExecHooks, TheHookInTheParentComesBeforeTheDecisionToWait) {
    TExec exec = probe({"exit", "3"}).with(TExec::Preparer(new SetsMode(5)));
    const TExecResult result = runOnce(exec);
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(test::reap(result.pid), 3 << 8);
}

TEST_F(ExecHooks, TheHookInTheParentCanAskForWaiting) {
    TExec exec = probe({"exit", "3"}, 5).with(TExec::Preparer(new SetsMode(7)));
    EXPECT_EQ(runOnce(exec).code, 3);
}

TEST_F(ExecHooks, AModeSetByAHookStaysForLaterRuns) {
    TExec exec = probe({"exit", "3"}).with(TExec::Preparer(new SetsMode(5)));
    const TExec earlier(exec);
    test::reap(runOnce(exec).pid);
    EXPECT_EQ(exec.mode(), 5U);
    EXPECT_EQ(earlier.mode(), 7U);
    EXPECT_EQ(exec.with(TExec::Preparer(new TExec::TPrepare)).mode(), 5U);
}

// What the parent's hook says is of no concern to the child, which has its own copy.
TEST_F(ExecHooks, AModeSetInTheParentDoesNotReachTheChild) {
    TExec exec = program({"cat", "/dev/null"}).with(TExec::Preparer(new SetsMode(3)));
    EXPECT_EQ(runOnce(exec).code, 0);
}

TEST_F(ExecHooks, APathBitClearedBeforeExecCounts) {
    struct ClearsPath : TExec::TPrepare {
        void beforeExec(TExec& exec) override { exec.setMode(3); }
    };
    TExec exec = program({"cat", "/dev/null"}).with(TExec::Preparer(new ClearsPath));
    EXPECT_EQ(runOnce(exec).code, ENOENT);
}

TEST_F(ExecHooks, AnErrorOfAChildsHookTravelsUpTheChildsOwnStack) {
    struct Throws : TExec::TPrepare {
        explicit Throws(bool early) : early_(early) {}
        void inChild(TExec& /*exec*/) override {
            if (early_) {
                throw TSysCallErr(ENOSPC);
            }
        }
        void beforeExec(TExec& /*exec*/) override { throw TSysCallErr(EDOM); }
        bool early_;
    };
    EXPECT_EQ(runOnce(probe({}).with(TExec::Preparer(new Throws(true)))).code, ENOSPC);
    EXPECT_EQ(runOnce(probe({}).with(TExec::Preparer(new Throws(false)))).code, EDOM);
}

TEST_F(ExecHooks, AnErrorBeforeForkPassesThroughAndNothingIsForked) {
    struct Throws : TExec::TPrepare {
        void beforeFork(TExec& /*exec*/) override { throw TSysCallErr(ENOSPC); }
    };
    isolated([] {
        TExec exec = probe({}).with(TExec::Preparer(new Throws));
        EXPECT_EQ(test::thrownErrno([&] { exec.run(); }), ENOSPC);
        EXPECT_TRUE(test::childless());
    });
}

}  // namespace
}  // namespace zarnic::sys

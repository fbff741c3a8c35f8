#include <gtest/gtest.h>

#include <cerrno>

#include "tests/unit/sys/recording_preparer.h"
#include "tests/unit/sys/runs.h"
#include "zarnic/sys/preparers.h"

namespace zarnic::sys {
namespace {

using test::isolated;
using test::Notes;
using test::probe;
using test::program;
using test::recorder;

class PreparersUnion : public test::RunTest {
  protected:
    TUnionPrep answering(bool first, bool second) const {
        return {recorder(notes, "1.", first), recorder(notes, "2.", second)};
    }

    // All six hooks once.
    void callAll(TExec::TPrepare& prepare) {
        prepare.beforeFork(exec);
        prepare.forkFailed(exec);
        prepare.inParent(exec);
        prepare.inChild(exec);
        prepare.beforeExec(exec);
        prepare.execFailed(exec);
    }

    const Notes notes;
    const TExec::Preparer none;
    TExec exec = probe({});
};

TEST_F(PreparersUnion, EachHookCallsTheFirstAndThenTheSecond) {
    TUnionPrep both = answering(true, true);
    callAll(both);
    EXPECT_EQ(notes.of("parent"),
              "1.beforeFork 2.beforeFork 1.forkFailed 2.forkFailed 1.inParent 2.inParent "
              "1.inChild 2.inChild 1.beforeExec 2.beforeExec 1.execFailed 2.execFailed");
}

TEST_F(PreparersUnion, BothAreAskedWhateverTheFirstAnswers) {
    TUnionPrep both = answering(false, false);
    both.forkFailed(exec);
    both.execFailed(exec);
    EXPECT_EQ(notes.of("parent"), "1.forkFailed 2.forkFailed 1.execFailed 2.execFailed");
}

TEST_F(PreparersUnion, TheFirstsAnswerIsIgnored) {
    for (const bool first : {false, true}) {
        for (const bool second : {false, true}) {
            TUnionPrep both = answering(first, second);
            EXPECT_EQ(both.forkFailed(exec), second);
            EXPECT_EQ(both.execFailed(exec), second);
        }
    }
}

TEST_F(PreparersUnion, WithoutASecondTheAnswerIsTrue) {
    for (const bool first : {false, true}) {
        TUnionPrep alone(recorder(notes, "1.", first), none);
        EXPECT_TRUE(alone.forkFailed(exec));
        EXPECT_TRUE(alone.execFailed(exec));
    }
}

TEST_F(PreparersUnion, WithoutAFirstTheSecondAnswers) {
    for (const bool second : {false, true}) {
        TUnionPrep alone(none, recorder(notes, "2.", second));
        EXPECT_EQ(alone.forkFailed(exec), second);
        EXPECT_EQ(alone.execFailed(exec), second);
    }
}

TEST_F(PreparersUnion, WithoutASecondTheFirstIsCalled) {
    TUnionPrep alone(recorder(notes, "1."), none);
    callAll(alone);
    EXPECT_EQ(notes.of("parent"),
              "1.beforeFork 1.forkFailed 1.inParent 1.inChild 1.beforeExec 1.execFailed");
}

TEST_F(PreparersUnion, WithoutAFirstTheSecondIsCalled) {
    TUnionPrep alone(none, recorder(notes, "2."));
    callAll(alone);
    EXPECT_EQ(notes.of("parent"),
              "2.beforeFork 2.forkFailed 2.inParent 2.inChild 2.beforeExec 2.execFailed");
}

TEST_F(PreparersUnion, WithoutBothNothingHappensAndErrorsAreAccepted) {
    TUnionPrep empty(none, none);
    callAll(empty);
    EXPECT_TRUE(empty.forkFailed(exec));
    EXPECT_TRUE(empty.execFailed(exec));
    EXPECT_EQ(notes.of("parent"), "");
}

TEST_F(PreparersUnion, BothGetTheRunnerThatTheUnionGot) {
    TUnionPrep both(TExec::Preparer(new test::Recorder(notes, "1.", true, &exec)),
                    TExec::Preparer(new test::Recorder(notes, "2.", true, &exec)));
    callAll(both);
    EXPECT_EQ(notes.of("parent").find("foreign"), std::string::npos);
}

TEST_F(PreparersUnion, ItSharesItsParts) {
    const TExec::Preparer first = recorder(notes, "1.");
    const TExec::Preparer second = recorder(notes, "2.");
    {
        const TUnionPrep both(first, second);
        EXPECT_EQ(first.useCount(), 2);
        EXPECT_EQ(second.useCount(), 2);
    }
    EXPECT_EQ(first.useCount(), 1);
    EXPECT_EQ(second.useCount(), 1);
}

TEST_F(PreparersUnion, AFirstThatDeclinesAFailedExecIsOverruledByTheSecond) {
    TExec failing = program({"/no/such/program"})
                        .with(recorder(notes, "1.", false))
                        .with(recorder(notes, "2.", true));
    EXPECT_EQ(test::runOnce(failing).code, ENOENT);
}

TEST_F(PreparersUnion, ASecondThatDeclinesAFailedExecDecides) {
    TExec failing = program({"/no/such/program"})
                        .with(recorder(notes, "1.", true))
                        .with(recorder(notes, "2.", false));
    EXPECT_EQ(test::runOnce(failing).code, test::declined);
}

TEST_F(PreparersUnion, AFirstThatDeclinesAFailedForkIsOverruledByTheSecond) {
    isolated([] {
        const test::NoNewProcesses limit;
        const Notes own;
        TExec failing =
            probe({}).with(recorder(own, "1.", false)).with(recorder(own, "2.", true));
        EXPECT_EQ(test::thrownErrno([&] { failing.run(); }), EAGAIN);
    });
}

TEST_F(PreparersUnion, ASecondThatDeclinesAFailedForkDecides) {
    isolated([] {
        const test::NoNewProcesses limit;
        const Notes own;
        TExec failing =
            probe({}).with(recorder(own, "1.", true)).with(recorder(own, "2.", false));
        EXPECT_EQ(failing.run().pid, -1);
    });
}

}  // namespace
}  // namespace zarnic::sys

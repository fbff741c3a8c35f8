// The hooks that the preparers have in the calling process. For the child see preparers_files
// and preparers_text.

#include "zarnic/sys/preparers.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <set>

#include "tests/unit/sys/recording_preparer.h"
#include "tests/unit/sys/runs.h"

namespace zarnic::sys {
namespace {

using test::descriptors;
using test::isolated;
using test::Notes;
using test::probe;
using test::recorder;

class Preparers : public test::RunTest {
  protected:
    const std::set<int> own = descriptors();
    const SharedHandle<TPipe> pipe{new TPipe};
    TExec exec = probe({});
};

TEST_F(Preparers, TheWritingSideMakesThePipe) {
    TWriteToPipeline(pipe).beforeFork(exec);
    EXPECT_GT(pipe->readEnd, 0);
    EXPECT_GT(pipe->writeEnd, 0);
    EXPECT_EQ(descriptors().size(), own.size() + 2);
}

// The reader of the pipeline is forked later and inherits the read end from here.
TEST_F(Preparers, TheWritingSideLeavesBothEndsOpenInTheParent) {
    TWriteToPipeline writer(pipe);
    writer.beforeFork(exec);
    writer.inParent(exec);
    EXPECT_EQ(descriptors().size(), own.size() + 2);
}

TEST_F(Preparers, TheReadingSideMakesNoPipe) {
    TReadFromPipeline(pipe).beforeFork(exec);
    EXPECT_EQ(descriptors(), own);
}

TEST_F(Preparers, TheReadingSideClosesBothEndsInTheParent) {
    pipe->open();
    TReadFromPipeline(pipe).inParent(exec);
    EXPECT_EQ(descriptors(), own);
}

TEST_F(Preparers, TheEndsOfTheSidesLeaveThePipeOpen) {
    {
        TWriteToPipeline writer(pipe);
        const TReadFromPipeline reader(pipe);
        writer.beforeFork(exec);
    }
    EXPECT_EQ(descriptors().size(), own.size() + 2);
}

TEST_F(Preparers, AFailingPipeOfAPipelineIsThrown) {
    isolated([&] {
        TWriteToPipeline writer(pipe);
        EXPECT_EQ(test::errnoWithoutDescriptors([&] { writer.beforeFork(exec); }), EMFILE);
    });
}

TEST_F(Preparers, AFailingPipeOfACaptureIsThrown) {
    isolated([&] {
        TReadOut capture;
        EXPECT_EQ(test::errnoWithoutDescriptors([&] { capture.beforeFork(exec); }), EMFILE);
    });
}

TEST_F(Preparers, ACaptureMakesAPipeAndTheParentKeepsItsReadEnd) {
    TReadOut capture;
    capture.beforeFork(exec);
    EXPECT_EQ(descriptors().size(), own.size() + 2);
    capture.inParent(exec);
    std::set<int> expected = own;
    expected.insert(capture.readEnd());
    EXPECT_EQ(descriptors(), expected);
    EXPECT_EQ(::fcntl(capture.readEnd(), F_GETFL) & O_ACCMODE, O_RDONLY);
}

TEST_F(Preparers, ACaptureLeavesItsReadEndOpenWhenItIsDestroyed) {
    int readEnd = -1;
    {
        TReadOut capture;
        capture.beforeFork(exec);
        capture.inParent(exec);
        readEnd = capture.readEnd();
    }
    EXPECT_EQ(::fcntl(readEnd, F_GETFD), 0);
}

TEST_F(Preparers, ACaptureUsedAgainMakesANewPipeAndKeepsTheOldReadEndOpen) {
    TReadOut capture;
    capture.beforeFork(exec);
    capture.inParent(exec);
    const int first = capture.readEnd();
    capture.beforeFork(exec);
    capture.inParent(exec);
    EXPECT_NE(capture.readEnd(), first);
    EXPECT_EQ(descriptors().size(), own.size() + 2);
}

TEST_F(Preparers, FilesAndTextsAreOpenedOnlyInTheChild) {
    const test::TempDir dir;
    TToFile toFile(dir / "f", false);
    TRedirectToFile redirectToFile(2, dir / "f", false);
    TRedirect redirect(2, 1);
    TFromFile fromFile(dir / "f");
    TReadFromStr fromText("text");
    for (TExec::TPrepare* const prepare : std::initializer_list<TExec::TPrepare*>{
             &toFile, &redirectToFile, &redirect, &fromFile, &fromText}) {
        prepare->beforeFork(exec);
        prepare->inParent(exec);
        prepare->beforeExec(exec);
        EXPECT_TRUE(prepare->forkFailed(exec));
        EXPECT_TRUE(prepare->execFailed(exec));
    }
    EXPECT_EQ(descriptors(), own);
    EXPECT_NE(::access((dir / "f").c_str(), F_OK), 0);
}

TEST_F(Preparers, PipesAcceptErrorsAndAddNothingBeforeExec) {
    TWriteToPipeline writer(pipe);
    TReadFromPipeline reader(pipe);
    TReadOut capture;
    for (TExec::TPrepare* const prepare :
         std::initializer_list<TExec::TPrepare*>{&writer, &reader, &capture}) {
        prepare->beforeExec(exec);
        EXPECT_TRUE(prepare->forkFailed(exec));
        EXPECT_TRUE(prepare->execFailed(exec));
    }
    EXPECT_EQ(descriptors(), own);
}

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
}  // namespace
}  // namespace zarnic::sys

// The hooks that the preparers have in the calling process. What they do in the child is tested
// with after_fork.

#include "zarnic/sys/preparers.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <set>
#include <type_traits>

#include "tests/unit/sys/runs.h"

namespace zarnic::sys {
namespace {

using test::descriptors;
using test::isolated;
using test::probe;

class Preparers : public test::RunTest {
  protected:
    const std::set<int> own = descriptors();
    const SharedHandle<TPipe> pipe{new TPipe};
    TExec exec = probe({});
};

std::string readAll(int descriptor) {
    std::string text;
    char byte = 0;
    while (::read(descriptor, &byte, 1) == 1) {
        text += byte;
    }
    return text;
}

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

// Without the close in the parent this would wait for ever.
TEST_F(Preparers, ACaptureEndsWhenTheChildEnds) {
    auto* const capture = new TReadOut;
    TExec captured = probe({"args", "text"}).with(TExec::Preparer(capture));
    EXPECT_EQ(test::runOnce(captured).code, 0);
    EXPECT_EQ(readAll(capture->readEnd()), "text\n");
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

}  // namespace
}  // namespace zarnic::sys

// The named attachments of a runner and of a pipeline. What each preparer does in the child is
// tested beside it.

#include <gtest/gtest.h>

#include <functional>
#include <type_traits>

#include "tests/unit/sys/recording_preparer.h"
#include "tests/unit/sys/runs.h"
#include "zarnic/sys/exec.h"
#include "zarnic/sys/exec_list.h"
#include "zarnic/sys/preparers.h"

namespace zarnic::sys {
namespace {

using test::probe;
using test::program;
using test::readFile;
using test::runOnce;

static_assert(!std::is_default_constructible_v<TAttachments<TExec>>, "only a runner is one");

// All of them, in the spelling of a runner or of a pipeline.
template <class Runner>
std::vector<std::function<Runner(const Runner&)>> all(const std::string& path) {
    return {[path](const Runner& runner) { return runner.toFile(path); },
            [path](const Runner& runner) { return runner.appendToFile(path); },
            [path](const Runner& runner) { return runner.redirectToFile(2, path, false); },
            [](const Runner& runner) { return runner.redirect(2, 1); },
            [path](const Runner& runner) { return runner.fromFile(path); },
            [](const Runner& runner) { return runner.fromText("text"); }};
}

template <class Prepare>
bool holds(const TExec& exec) {
    return dynamic_cast<Prepare*>(exec.preparer().get()) != nullptr;
}

class Attachments : public test::RunTest {
  protected:
    const test::TempDir dir;
};

TEST_F(Attachments, EachReturnsACopyAndLeavesTheRunnerAsItWas) {
    const TExec exec = probe({"args"}, 5);
    for (const auto& attach : all<TExec>(dir / "file")) {
        const TExec attached = attach(exec);
        EXPECT_EQ(attached.mode(), 5U);
        EXPECT_EQ(&attached.args().elements(), &exec.args().elements());
        EXPECT_NE(attached.preparer().get(), nullptr);
        EXPECT_EQ(exec.preparer().get(), nullptr);
    }
}

TEST_F(Attachments, EachCreatesItsOwnKindOfPreparer) {
    const TExec exec = probe({});
    EXPECT_TRUE(holds<TToFile>(exec.toFile("f")));
    EXPECT_TRUE(holds<TToFile>(exec.appendToFile("f")));
    EXPECT_TRUE(holds<TRedirectToFile>(exec.redirectToFile(2, "f", true)));
    EXPECT_TRUE(holds<TRedirect>(exec.redirect(2, 1)));
    EXPECT_TRUE(holds<TFromFile>(exec.fromFile("f")));
    EXPECT_TRUE(holds<TReadFromStr>(exec.fromText("t")));
}

TEST_F(Attachments, TheFirstPreparerIsHeldItself) {
    const TExec::Preparer prepare(new TExec::TPrepare);
    EXPECT_EQ(probe({}).with(prepare).preparer().get(), prepare.get());
}

TEST_F(Attachments, AFurtherPreparerMakesAUnion) {
    const TExec exec = probe({}).toFile("f");
    EXPECT_TRUE(holds<TUnionPrep>(exec.fromText("t")));
    EXPECT_TRUE(holds<TToFile>(exec));
}

TEST_F(Attachments, OnePreparerCanSitInSeveralRunners) {
    const test::Notes notes;
    const TExec::Preparer shared = test::recorder(notes, "shared.");
    runOnce(probe({"exit", "0"}).with(shared));
    runOnce(probe({"exit", "0"}).with(shared));
    EXPECT_EQ(notes.of("parent"),
              "shared.beforeFork shared.inParent shared.beforeFork shared.inParent");
}

TEST_F(Attachments, EarlierOnesActBeforeLaterOnes) {
    const test::Notes notes;
    runOnce(probe({"exit", "0"})
                .with(test::recorder(notes, "1."))
                .with(test::recorder(notes, "2."))
                .with(test::recorder(notes, "3.")));
    EXPECT_EQ(notes.of("parent"),
              "1.beforeFork 2.beforeFork 3.beforeFork 1.inParent 2.inParent 3.inParent");
    EXPECT_EQ(notes.of("child"),
              "1.inChild 2.inChild 3.inChild 1.beforeExec 2.beforeExec 3.beforeExec");
}

TEST_F(Attachments, OutputToAFileReplacesItsContent) {
    test::writeFile(dir / "f", "old content");
    runOnce(probe({"args", "new"}).toFile(dir / "f"));
    EXPECT_EQ(readFile(dir / "f"), "new\n");
}

TEST_F(Attachments, OutputAppendedToAFileKeepsItsContent) {
    test::writeFile(dir / "f", "old\n");
    runOnce(probe({"args", "new"}).appendToFile(dir / "f"));
    EXPECT_EQ(readFile(dir / "f"), "old\nnew\n");
}

TEST_F(Attachments, AnyDescriptorGoesToAFileOnItsOwn) {
    runOnce(probe({"both", "out", "err"})
                .toFile(dir / "out")
                .redirectToFile(2, dir / "err", false));
    EXPECT_EQ(readFile(dir / "out"), "out\n");
    EXPECT_EQ(readFile(dir / "err"), "err\n");
}

TEST_F(Attachments, AnyDescriptorsFileIsReplacedOrAppendedTo) {
    test::writeFile(dir / "f", "old\n");
    runOnce(
        probe({"both", "out", "one"}).toFile("/dev/null").redirectToFile(2, dir / "f", true));
    EXPECT_EQ(readFile(dir / "f"), "old\none\n");
    runOnce(
        probe({"both", "out", "two"}).toFile("/dev/null").redirectToFile(2, dir / "f", false));
    EXPECT_EQ(readFile(dir / "f"), "two\n");
}

TEST_F(Attachments, ItIsReplacedOrAppendedToByAWordToo) {
    const TExec both = probe({"both", "out", "err"}).toFile("/dev/null");
    test::writeFile(dir / "f", "old\n");
    runOnce(both.redirectToFile(2, dir / "f", TWriting::append));
    EXPECT_EQ(readFile(dir / "f"), "old\nerr\n");
    runOnce(both.redirectToFile(2, dir / "f", TWriting::truncate));
    EXPECT_EQ(readFile(dir / "f"), "err\n");
}

TEST_F(Attachments, WithoutForkModeTheyDoNothing) {
    for (const auto& attach : all<TExec>(dir / "file")) {
        TExec attached = attach(probe({"both", "out", "err"}, 4));
        const test::Captured captured = test::inChild([&] { attached.run(); });
        EXPECT_EQ(captured.out, "out\n");
        EXPECT_EQ(captured.err, "err\n");
    }
    EXPECT_NE(::access((dir / "file").c_str(), F_OK), 0);
}

TEST_F(Attachments, ADescriptorCopiedAfterTheFileGoesToTheFileToo) {
    runOnce(probe({"both", "out", "err"}).toFile(dir / "f").redirect(2, 1));
    EXPECT_EQ(readFile(dir / "f"), "out\nerr\n");
}

TEST_F(Attachments, ADescriptorCopiedBeforeTheFileStaysWhereOutputWas) {
    TExec both = probe({"both", "out", "err"}).redirect(2, 1).toFile(dir / "f");
    const test::Captured captured = test::inChild([&] { runOnce(both); });
    EXPECT_EQ(readFile(dir / "f"), "out\n");
    EXPECT_EQ(captured.out, "err\n");
    EXPECT_EQ(captured.err, "");
}

TEST_F(Attachments, InputComesFromAFile) {
    test::writeFile(dir / "in", "some input");
    runOnce(program({"cat"}).fromFile(dir / "in").toFile(dir / "out"));
    EXPECT_EQ(readFile(dir / "out"), "some input");
}

TEST_F(Attachments, InputComesFromAText) {
    runOnce(program({"cat"}).fromText("3\n").toFile(dir / "out"));
    EXPECT_EQ(readFile(dir / "out"), "3\n");
}

TEST_F(Attachments, OfTwoOutputsTheLaterOneWinsAndBothFilesAreMade) {
    runOnce(probe({"args", "x"}).toFile(dir / "1").toFile(dir / "2"));
    EXPECT_EQ(::access((dir / "1").c_str(), F_OK), 0);
    EXPECT_EQ(readFile(dir / "1"), "");
    EXPECT_EQ(readFile(dir / "2"), "x\n");
}

TEST_F(Attachments, ForAPipelineTheyApplyToItsLastProgram) {
    const TExecList list = probe({"a"}) | probe({"b"});
    for (const auto& attach : all<TExecList>(dir / "file")) {
        const TExecList attached = attach(list);
        EXPECT_TRUE(holds<TWriteToPipeline>(attached.programs().front()));
        EXPECT_TRUE(holds<TUnionPrep>(attached.programs().back()));
        EXPECT_TRUE(holds<TReadFromPipeline>(list.programs().back()));
    }
}

TEST_F(Attachments, ForAPipelineOfOneTheyAreTheSameKinds) {
    const TExecList one = probe({});
    EXPECT_TRUE(holds<TToFile>(one.toFile("f").programs().back()));
    EXPECT_TRUE(holds<TToFile>(one.appendToFile("f").programs().back()));
    EXPECT_TRUE(holds<TRedirectToFile>(one.redirectToFile(2, "f", true).programs().back()));
    EXPECT_TRUE(holds<TRedirect>(one.redirect(2, 1).programs().back()));
    EXPECT_TRUE(holds<TFromFile>(one.fromFile("f").programs().back()));
    EXPECT_TRUE(holds<TReadFromStr>(one.fromText("t").programs().back()));
}

TEST_F(Attachments, ForAnEmptyPipelineTheyDoNothing) {
    for (const auto& attach : all<TExecList>(dir / "file")) {
        TExecList attached = attach(TExecList());
        EXPECT_TRUE(attached.programs().empty());
        EXPECT_EQ(runList(attached).pid, 0);
    }
    EXPECT_NE(::access((dir / "file").c_str(), F_OK), 0);
}

TEST_F(Attachments, ThePipelinesOutputAppendsOrReplaces) {
    TExecList list = probe({"args", "x"}) | program({"cat"});
    TExecList replaced = list.toFile(dir / "f");
    TExecList appended = list.appendToFile(dir / "f");
    runList(replaced);
    runList(replaced);
    EXPECT_EQ(readFile(dir / "f"), "x\n");
    runList(appended);
    EXPECT_EQ(readFile(dir / "f"), "x\nx\n");
}

}  // namespace
}  // namespace zarnic::sys

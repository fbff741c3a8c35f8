#include "zarnic/sys/exec_list.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <iterator>
#include <optional>

#include "tests/unit/sys/hooks.h"
#include "zarnic/sys/function_call.h"
#include "zarnic/sys/preparers.h"

namespace zarnic::sys {
namespace {

using test::descriptors;
using test::isolated;
using test::probe;
using test::program;
using test::readFile;
using test::target;
using test::Words;

// --- a pipeline as a value ---

template <class Prepare>
bool holds(const TExec& exec) {
    return dynamic_cast<Prepare*>(exec.preparer().get()) != nullptr;
}

TEST(ExecList, ARunnerConvertsToAListOfOne) {
    const TExec exec = probe({"args"}, 5).with(TExec::Preparer(new TExec::TPrepare));
    const TExecList list = exec;
    ASSERT_EQ(list.size(), 1U);
    EXPECT_EQ(&list.programs().front().args().elements(), &exec.args().elements());
    EXPECT_EQ(list.programs().front().preparer().get(), exec.preparer().get());
    EXPECT_EQ(list.programs().front().mode(), 5U);
    EXPECT_FALSE(list.empty());
}

// No pipe is made before it runs.
TEST(ExecList, JoiningAttachesPipesInACopy) {
    const auto own = descriptors();
    const TExecList left = TExecList(probe({"a"}, 5)) | probe({"b"}, 3);
    const TExec right = probe({"c"});
    const TExecList joined = left | right;
    ASSERT_EQ(joined.size(), 3U);
    const TExec& first = joined.programs().front();
    const TExec& middle = *std::next(joined.programs().begin());
    const TExec& last = joined.programs().back();
    EXPECT_EQ(&first.args().elements(), &left.programs().front().args().elements());
    EXPECT_EQ(&middle.args().elements(), &left.programs().back().args().elements());
    EXPECT_EQ(&last.args().elements(), &right.args().elements());
    EXPECT_EQ(first.mode(), 5U);
    EXPECT_EQ(middle.mode(), 3U);
    EXPECT_EQ(last.mode(), 7U);
    EXPECT_TRUE(holds<TWriteToPipeline>(first));
    EXPECT_TRUE(holds<TUnionPrep>(middle));
    EXPECT_TRUE(holds<TReadFromPipeline>(last));
    EXPECT_EQ(left.size(), 2U);
    EXPECT_TRUE(holds<TReadFromPipeline>(left.programs().back()));
    EXPECT_EQ(right.preparer().get(), nullptr);
    EXPECT_EQ(descriptors(), own);
}

TEST(ExecList, AnEmptyLeftSideGivesTheRightOneAlone) {
    EXPECT_TRUE(TExecList().empty());
    const TExecList list = TExecList() | probe({"a"});
    ASSERT_EQ(list.size(), 1U);
    EXPECT_EQ(list.programs().front().args().at(1), "a");
    EXPECT_EQ(list.programs().front().preparer().get(), nullptr);
}

TEST(ExecList, ToggledBitsAreThoseOfEachProgramInACopy) {
    const TExecList list = probe({"a"}, 7) | probe({"b"}, 4);
    const TExecList toggled = list.withModeToggled(sys::wait_mode);
    EXPECT_EQ(toggled.programs().front().mode(), 5U);
    EXPECT_EQ(toggled.programs().back().mode(), 6U);
    EXPECT_EQ(list.programs().front().mode(), 7U);
    EXPECT_EQ(toggled.programs().back().preparer().get(),
              list.programs().back().preparer().get());
}

// --- its run ---

class ExecListRun : public test::RunTest {
  protected:
    const std::set<int> own = descriptors();
    const test::TempDir dir;
};

TEST_F(ExecListRun, TheResultIsTheLastPrograms) {
    const TExecResult none = runList(TExecList());
    EXPECT_EQ(none.pid, 0);
    EXPECT_EQ(none.code, 0);
    EXPECT_EQ(runList(probe({"exit", "3"})).code, 3);
    EXPECT_EQ(runList(probe({"exit", "3"}) | probe({"exit", "4"})).code, 4);
    EXPECT_EQ(runList(probe({"exit", "3"}) | probe({"die", "9"})).code, -1);
}

TEST_F(ExecListRun, ItRunsAgainWithNewPipesAndLeavesNone) {
    TExecList list = probe({"args", "text"}) | program({"cat"}) | program({"cat"});
    list = list.appendToFile(dir / "out");
    runList(list);
    runList(list);
    EXPECT_EQ(readFile(dir / "out"), "text\ntext\n");
    EXPECT_EQ(descriptors(), own);
}

TEST_F(ExecListRun, WhatItChangesInAProgramOfTheListStays) {
    TExecList list = functionCall([] { return 0; });
    EXPECT_EQ(test::reap(runList(list).pid), 0);
    EXPECT_EQ(list.programs().front().mode(), 5U);
}

TEST_F(ExecListRun, AFailingLaterForkLeavesThePipeOpenAndTheFirstProgramToTheCaller) {
    isolated([this] {
        std::optional<test::NoNewProcesses> limit;
        const auto allowNoMore = [&](const std::string& hook, TExec& /*exec*/) {
            if (hook == "inParent") {
                limit.emplace();
            }
            return true;
        };
        const TExec first = probe({"exit", "0"}, 5).with(test::hooks(allowNoMore));
        TExecList list = first | probe({"exit", "0"});
        EXPECT_EQ(test::thrownErrno([&] { runList(list); }), EAGAIN);
        EXPECT_EQ(descriptors().size(), own.size() + 2);
        EXPECT_FALSE(test::childless());
    });
}

// --- who has which end open, told by the programs themselves ---

using ExecListDescriptors = ExecListRun;

TEST_F(ExecListDescriptors, EachProgramHasItsEndsAsItsStreamsAndNoMore) {
    const TExec report = probe({"report"});
    const TExec nothing = probe({"exit", "0"});
    const TExec cat = program({"cat"});
    const struct {
        TExecList list;
        bool input;
        bool output;
    } rows[] = {{report, false, false},
                {report | cat, false, true},
                {nothing | report | cat, true, true},
                {nothing | report, true, false}};
    std::string alone;  // the report of a program that is in no pipeline
    for (const auto& [list, input, output] : rows) {
        const TExecResult result = runList(list.toFile(dir / "report"));
        EXPECT_EQ(result.code, 0);
        const std::string text = readFile(dir / "report");
        EXPECT_EQ(test::inherited(text), own);
        alone = alone.empty() ? text : alone;
        EXPECT_EQ(target(text, 0) == target(alone, 0), !input);
        EXPECT_TRUE(!input || target(text, 0).starts_with("pipe:"));
        EXPECT_EQ(target(text, 1).starts_with("pipe:"), output);
        EXPECT_NE(target(text, 0), target(text, 1));
        EXPECT_EQ(target(text, 1) == dir / "report", !output);
        EXPECT_EQ(target(text, 2), target(alone, 2));
        EXPECT_EQ(descriptors(), own);
        // The result is that of the last one, which has no output end.
        EXPECT_EQ(test::reported(text, "pid") == Words{std::to_string(result.pid)}, !output);
    }
}

// The pipe's read end is number 0 then, and is closed before it could be copied there.
TEST_F(ExecListDescriptors, AReaderThatStartsWithInputClosedHasNone) {
    isolated([this] {
        ::close(STDIN_FILENO);
        runList(probe({"exit", "0"}) | probe({"report"}).toFile(dir / "report"));
    });
    EXPECT_EQ(target(readFile(dir / "report"), 0), "");
    EXPECT_EQ(target(readFile(dir / "report"), 1), dir / "report");
}

// The read end is number 1 then, and closed before the write end takes that number.
TEST_F(ExecListDescriptors, AWriterThatStartsWithOutputClosedWritesIntoThePipe) {
    isolated([this] {
        ::close(STDOUT_FILENO);
        runList(probe({"args", "text"}) | program({"sh", "-c", "cat >$0", dir / "read"}));
    });
    EXPECT_EQ(readFile(dir / "read"), "text\n");
}

// --- a writer that has more to say than a pipe holds ---

using ExecListFullPipe = ExecListRun;

TEST_F(ExecListFullPipe, ProgramsThatAreNotWaitedForPassMoreAndAreLeftToTheCaller) {
    isolated([this] {
        const TExecList list = probe({"write", "5000000"}) | probe({"count"});
        const TExecResult result =
            runList(list.toFile(dir / "count").withModeToggled(sys::wait_mode));
        EXPECT_EQ(result.code, 0);
        EXPECT_EQ(test::reap(result.pid), 0);
        EXPECT_EQ(readFile(dir / "count"), "5000000");
        EXPECT_FALSE(test::childless());
    });
}

// The writer is waited for before its reader starts: the reader finds what the pipe holds when
// somebody has ended the writer.
TEST_F(ExecListFullPipe, AWaitedPipelineBlocksForEver) {
    runList(program({"timeout", "0.5", PROBE_PATH, "write", "5000000"}) |
            probe({"count"}).toFile(dir / "count"));
    EXPECT_LT(std::stoi(readFile(dir / "count")), 5000000);
}

}  // namespace
}  // namespace zarnic::sys

#include "zarnic/sys/exec_list.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <optional>

#include "tests/unit/sys/recording_preparer.h"
#include "tests/unit/sys/runs.h"
#include "zarnic/sys/function_call.h"
#include "zarnic/sys/preparers.h"

namespace zarnic::sys {
namespace {

using test::isolated;
using test::probe;
using test::program;
using test::readFile;

class ExecList : public test::RunTest {
  protected:
    const test::TempDir dir;
};

// The first argument after the program's path, for each program.
test::Words verbs(const TExecList& list) {
    test::Words words;
    for (const TExec& exec : list.programs()) {
        words.push_back(exec.args().at(1));
    }
    return words;
}

TEST_F(ExecList, AFreshListIsEmpty) { EXPECT_TRUE(TExecList().programs().empty()); }

TEST_F(ExecList, ARunnerConvertsToAListOfOne) {
    const TExec exec = probe({"args"}, 5).with(TExec::Preparer(new TExec::TPrepare));
    const TExecList list = exec;
    ASSERT_EQ(list.programs().size(), 1U);
    EXPECT_EQ(&list.programs().front().args().elements(), &exec.args().elements());
    EXPECT_EQ(list.programs().front().preparer().get(), exec.preparer().get());
    EXPECT_EQ(list.programs().front().mode(), 5U);
}

TEST_F(ExecList, ItTellsHowManyProgramsItHolds) {
    EXPECT_TRUE(TExecList().empty());
    EXPECT_EQ(TExecList().size(), 0U);
    const TExecList list = probe({"a"}) | probe({"b"}) | probe({"c"});
    EXPECT_FALSE(list.empty());
    EXPECT_EQ(list.size(), 3U);
}

TEST_F(ExecList, ProgramsKeepTheirOrder) {
    const TExecList list = probe({"a"}) | probe({"b"}) | probe({"c"}) | probe({"d"});
    EXPECT_EQ(verbs(list), (test::Words{"a", "b", "c", "d"}));
}

TEST_F(ExecList, ProgramsKeepTheirModesAndShareTheirArguments) {
    const TExec first = probe({"a"}, 5);
    const TExec second = probe({"b"}, 3);
    const TExecList list = first | second;
    EXPECT_EQ(list.programs().front().mode(), 5U);
    EXPECT_EQ(list.programs().back().mode(), 3U);
    EXPECT_EQ(&list.programs().front().args().elements(), &first.args().elements());
    EXPECT_EQ(&list.programs().back().args().elements(), &second.args().elements());
}

TEST_F(ExecList, JoiningLeavesBothSidesAsTheyWere) {
    const TExecList left = probe({"a"});
    const TExec right = probe({"b"});
    const TExecList joined = left | right;
    EXPECT_EQ(joined.programs().size(), 2U);
    EXPECT_EQ(left.programs().size(), 1U);
    EXPECT_EQ(left.programs().front().preparer().get(), nullptr);
    EXPECT_EQ(right.preparer().get(), nullptr);
}

TEST_F(ExecList, TheEndsOfThePipeAreAttachedToItsTwoSides) {
    const TExecList list = probe({"a"}) | probe({"b"});
    EXPECT_NE(dynamic_cast<TWriteToPipeline*>(list.programs().front().preparer().get()),
              nullptr);
    EXPECT_NE(dynamic_cast<TReadFromPipeline*>(list.programs().back().preparer().get()),
              nullptr);
}

TEST_F(ExecList, AMiddleProgramHasBothEnds) {
    const TExecList list = probe({"a"}) | probe({"b"}) | probe({"c"});
    const TExec& middle = *std::next(list.programs().begin());
    EXPECT_NE(dynamic_cast<TUnionPrep*>(middle.preparer().get()), nullptr);
}

TEST_F(ExecList, EarlierPreparersActBeforeThePipe) {
    TExecList list = probe({"both", "out", "err"}).toFile(dir / "early") | program({"cat"});
    list = list.toFile(dir / "piped");
    runList(list);
    EXPECT_EQ(readFile(dir / "early"), "");
    EXPECT_EQ(readFile(dir / "piped"), "out\n");
}

TEST_F(ExecList, AnEmptyLeftSideGivesTheRightOneAlone) {
    const TExecList list = TExecList() | probe({"a"});
    EXPECT_EQ(verbs(list), test::Words{"a"});
    EXPECT_EQ(list.programs().front().preparer().get(), nullptr);
}

TEST_F(ExecList, APipeIsMadeOnlyWhenItRuns) {
    const auto own = test::descriptors();
    const TExecList list = probe({"a"}) | probe({"b"}) | probe({"c"});
    EXPECT_EQ(test::descriptors(), own);
}

TEST_F(ExecList, AnEmptyListRunsNothing) {
    isolated([] {
        TExecList list;
        const TExecResult result = runList(list);
        EXPECT_EQ(result.pid, 0);
        EXPECT_EQ(result.code, 0);
        EXPECT_TRUE(test::childless());
    });
}

TEST_F(ExecList, TheResultIsTheLastPrograms) {
    TExecList list = probe({"exit", "3"}) | probe({"exit", "4"});
    EXPECT_EQ(runList(list).code, 4);
    list = probe({"exit", "3"}) | probe({"die", "9"});
    EXPECT_EQ(runList(list).code, -1);
}

TEST_F(ExecList, TheResultHasTheLastProgramsPid) {
    TExecList list = TExecList(probe({"exit", "3"})) | probe({"report"});
    list = list.toFile(dir / "report");
    const TExecResult result = runList(list);
    EXPECT_EQ(test::reported(readFile(dir / "report"), "pid"),
              test::Words{std::to_string(result.pid)});
}

TEST_F(ExecList, ProgramsRunInListOrderEachWaitedFor) {
    const test::Notes notes;
    const auto note = [&notes](const std::string& name) {
        return test::inChildDo([&notes, name] {
            notes.add(name);
            return 0;
        });
    };
    TExecList list = note("a") | note("b") | note("c");
    runList(list);
    EXPECT_EQ(notes.of("child"), "a b c");
}

TEST_F(ExecList, ProgramsThatAreNotWaitedForAreAllLeftToTheCaller) {
    isolated([] {
        TExecList list = probe({"exit", "3"}, 5) | probe({"exit", "4"}, 5);
        const TExecResult result = runList(list);
        EXPECT_EQ(result.code, 0);
        EXPECT_EQ(test::reap(result.pid), 4 << 8);
        EXPECT_FALSE(test::childless());
    });
}

TEST_F(ExecList, ToggledBitsAreThoseOfEachProgramInACopy) {
    const TExecList list = probe({"a"}, 7) | probe({"b"}, 4);
    const TExecList toggled = list.withModeToggled(sys::wait_mode);
    EXPECT_EQ(toggled.programs().front().mode(), 5U);
    EXPECT_EQ(toggled.programs().back().mode(), 6U);
    EXPECT_EQ(list.programs().front().mode(), 7U);
    EXPECT_EQ(list.programs().back().mode(), 4U);
    EXPECT_EQ(toggled.programs().back().preparer().get(),
              list.programs().back().preparer().get());
    EXPECT_TRUE(TExecList().withModeToggled(sys::wait_mode).empty());
}

TEST_F(ExecList, AListThatNobodyKeepsRunsTheSame) {
    EXPECT_GT(runList(probe({"args", "text"}) | program({"cat"}).toFile(dir / "out")).pid, 0);
    EXPECT_EQ(readFile(dir / "out"), "text\n");
    EXPECT_EQ(runList(probe({"exit", "0"}) | probe({"exit", "3"})).code, 3);
    EXPECT_EQ(runList(probe({"exit", "4"})).code, 4);
    EXPECT_EQ(runList(TExecList()).pid, 0);
}

TEST_F(ExecList, AListRunsAgainWithNewPipes) {
    const auto own = test::descriptors();
    TExecList list = probe({"args", "text"}) | program({"cat"});
    list = list.appendToFile(dir / "out");
    runList(list);
    runList(list);
    EXPECT_EQ(readFile(dir / "out"), "text\ntext\n");
    EXPECT_EQ(test::descriptors(), own);
}

TEST_F(ExecList, AFailingPipeIsThrown) {
    isolated([] {
        TExecList list = probe({"exit", "0"}) | probe({"exit", "0"});
        EXPECT_EQ(test::errnoWithoutDescriptors([&] { runList(list); }), EMFILE);
        EXPECT_TRUE(test::childless());
    });
}

TEST_F(ExecList, AFailingForkIsThrown) {
    isolated([] {
        TExecList list = probe({"exit", "0"}) | probe({"exit", "0"});
        const test::NoNewProcesses limit;
        EXPECT_EQ(test::thrownErrno([&] { runList(list); }), EAGAIN);
    });
}

TEST_F(ExecList, AFailingLaterForkLeavesThePipeOpenAndTheFirstProgramToTheCaller) {
    class Last : public TExec::TPrepare {
      public:
        void inParent(TExec& /*exec*/) override { limit_.emplace(); }

      private:
        std::optional<test::NoNewProcesses> limit_;
    };
    isolated([] {
        const auto own = test::descriptors();
        const TExec first = probe({"exit", "0"}, 5).with(TExec::Preparer(new Last));
        TExecList list = first | probe({"exit", "0"});
        EXPECT_EQ(test::thrownErrno([&] { runList(list); }), EAGAIN);
        EXPECT_EQ(test::descriptors().size(), own.size() + 2);
        EXPECT_FALSE(test::childless());
    });
}

TEST_F(ExecList, WhatARunChangesInAProgramOfTheListStays) {
    const auto body = [] { return 0; };
    TExecList list = TExec(TExec::Preparer(new TFnCall<decltype(body)>(body)));
    const TExecResult result = runList(list);
    EXPECT_EQ(list.programs().front().mode(), 5U);
    EXPECT_EQ(test::reap(result.pid), 0);
}

}  // namespace
}  // namespace zarnic::sys

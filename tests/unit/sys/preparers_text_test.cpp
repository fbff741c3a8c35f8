// A text as the standard input, and the writer process that feeds it.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <iostream>

#include "tests/unit/sys/runs.h"
#include "zarnic/sys/function_call.h"

namespace zarnic::sys {
namespace {

using test::isolated;
using test::probe;
using test::program;
using test::readFile;
using test::runOnce;

// More than a pipe holds.
const std::string long_text(300000, 'x');

class PreparersText : public test::RunTest {
  protected:
    // What cat makes of a text.
    std::string throughCat(const std::string& text) {
        EXPECT_EQ(runOnce(program({"cat"}).fromText(text).toFile(dir / "out")).code, 0);
        return readFile(dir / "out");
    }

    const test::TempDir dir;
};

// Runs, and returns the raw status of the writer that the run leaves behind. The writer comes
// to this process because nobody else has waited for it.
int writersStatus(const TExec& exec, int expectedCode) {
    TExec running(exec);
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);
    const TExecResult result = runOnce(running);
    EXPECT_EQ(result.code, expectedCode);
    int status = -1;
    EXPECT_GT(::waitpid(-1, &status, 0), 0);
    EXPECT_TRUE(test::childless());
    return status;
}

TEST_F(PreparersText, NothingIsAddedToTheText) { EXPECT_EQ(throughCat("3"), "3"); }

TEST_F(PreparersText, EveryByteArrives) {
    std::string bytes;
    for (int round = 0; round < 10; ++round) {
        for (int byte = 0; byte < 256; ++byte) {
            bytes += static_cast<char>(byte);
        }
    }
    EXPECT_EQ(throughCat(bytes), bytes);
}

TEST_F(PreparersText, AnEmptyTextIsAnImmediateEndOfFile) {
    isolated([&] {
        EXPECT_EQ(runOnce(probe({"count"}).fromText("").toFile(dir / "count")).code, 0);
        EXPECT_EQ(readFile(dir / "count"), "0");
    });
}

TEST_F(PreparersText, MoreThanAPipeHoldsArrivesWhole) {
    isolated([&] { EXPECT_EQ(throughCat(long_text), long_text); });
}

TEST_F(PreparersText, TheProgramHasOnlyTheReadEndAsItsInput) {
    const auto own = test::descriptors();
    runOnce(probe({"report"}).fromText("text").toFile(dir / "report"));
    const std::string report = readFile(dir / "report");
    EXPECT_EQ(test::inherited(report), own);
    EXPECT_TRUE(test::target(report, 0).starts_with("pipe:"));
}

TEST_F(PreparersText, TheParentHasNoDescriptorOfIt) {
    const auto own = test::descriptors();
    throughCat("text");
    EXPECT_EQ(test::descriptors(), own);
}

TEST_F(PreparersText, TheProgramAndNotTheWriterIsTheCallersChild) {
    isolated([&] {
        ::prctl(PR_SET_CHILD_SUBREAPER, 1);
        const TExecResult result =
            runOnce(probe({"report"}, 5).fromText("text").toFile(dir / "report"));
        EXPECT_EQ(test::reap(result.pid), 0);
        EXPECT_EQ(test::reported(readFile(dir / "report"), "pid"),
                  test::Words{std::to_string(result.pid)});
    });
}

TEST_F(PreparersText, TheWriterIsNotWaitedForAndEndsWithZero) {
    isolated([&] {
        EXPECT_EQ(writersStatus(program({"cat"}).fromText("text").toFile("/dev/null"), 0), 0);
    });
}

TEST_F(PreparersText, TheWriterEndsWithZeroWhenNobodyReads) {
    isolated([] { EXPECT_EQ(writersStatus(probe({"exit", "5"}).fromText(long_text), 5), 0); });
}

TEST_F(PreparersText, TheWriterEndsWithZeroWhenTheProgramCannotStart) {
    isolated([] {
        const TExec failing = program({"/no/such/program"}).fromText(long_text);
        EXPECT_EQ(writersStatus(failing, ENOENT), 0);
    });
}

// The writer is a copy of the program and ends as the program does.
TEST_F(PreparersText, TheWriterRunsTheExitHandlers) {
    isolated([&] {
        static std::string path;
        path = dir / "handled";
        std::atexit([] { test::writeFile(path, "handled"); });
        EXPECT_EQ(writersStatus(probe({"exit", "0"}).fromText("text"), 0), 0);
        EXPECT_EQ(readFile(path), "handled");
    });
}

TEST_F(PreparersText, WhatTheCallerHasNotWrittenYetComesFirst) {
    isolated([&] {
        std::printf("pending ");
        EXPECT_EQ(throughCat("text"), "pending text");
    });
}

// Reads a line of a file of three, runs, and tells what is read after that.
std::string restAfter(const std::string& path, bool flushed, const std::function<void()>& run) {
    test::writeFile(path, "1\n2\n3\n");
    std::string rest;
    isolated([&] {
        char line[8];
        ASSERT_NE(std::freopen(path.c_str(), "r", stdin), nullptr);
        ASSERT_STREQ(std::fgets(line, sizeof line, stdin), "1\n");
        if (flushed) {
            ASSERT_EQ(std::fflush(stdin), 0);
        }
        run();
        while (std::fgets(line, sizeof line, stdin) != nullptr) {
            rest += line;
        }
        test::writeFile(path, rest);
    });
    return readFile(path);
}

// exit sets the position of an input back to what the copy of the caller has read of its
// buffer.
TEST_F(PreparersText, AnInputThatTheCallerReadsByStdioIsReadTwiceUnlessFlushed) {
    const auto text = [] { writersStatus(probe({"exit", "0"}).fromText("text"), 0); };
    const auto call = [] { test::reap(functionCall([] { return 0; }).run().pid); };
    for (const std::function<void()>& run : {std::function<void()>(text), {call}}) {
        EXPECT_EQ(restAfter(dir / "input", false, run), "2\n3\n2\n3\n");
        EXPECT_EQ(restAfter(dir / "input", true, run), "2\n3\n");
    }
}

// The caller's stream is the caller's: it neither pads the text, nor throws up the writer's
// stack, which would be a second copy of the caller.
TEST_F(PreparersText, WhatTheCallerDidToItsStreamDoesNotReachTheWriter) {
    isolated([&] {
        std::cout.width(40);
        std::cout.fill('*');
        EXPECT_EQ(throughCat("text"), "text");
        std::cout.width(0);
        std::cout.exceptions(std::ios::badbit | std::ios::failbit);
        EXPECT_EQ(writersStatus(probe({"exit", "5"}).fromText(long_text), 5), 0);
    });
}

// Only the writer ignores it: the program must die of its own broken pipes.
TEST_F(PreparersText, TheProgramDoesNotIgnoreBrokenPipes) {
    isolated([&] {
        ::signal(SIGPIPE, SIG_DFL);
        runOnce(probe({"report"}).fromText("text").toFile(dir / "report"));
        const auto ignored = test::reported(readFile(dir / "report"), "ignored").at(0);
        EXPECT_EQ(std::stoul(ignored, nullptr, 16) >> (SIGPIPE - 1) & 1U, 0U);
    });
}

TEST_F(PreparersText, TwoTextsLeaveTheLaterOne) {
    runOnce(program({"cat"}).fromText("first").fromText("second").toFile(dir / "out"));
    EXPECT_EQ(readFile(dir / "out"), "second");
}

TEST_F(PreparersText, AFailingPipeIsThrownInTheChild) {
    TExec exec = test::inChildDo([] {
        TExec unused = probe({});
        TReadFromStr text("text");
        return test::errnoWithoutDescriptors([&] { text.inChild(unused); });
    });
    EXPECT_EQ(exec.run().code, EMFILE);
}

// The limit falls in the child, after its own fork.
TEST_F(PreparersText, AFailingForkIsThrownInTheChild) {
    isolated([] {
        TExec exec = test::inChildDo([] {
            const test::NoNewProcesses limit;
            TExec unused = probe({});
            TReadFromStr text("text");
            return test::thrownErrno([&] { text.inChild(unused); });
        });
        EXPECT_EQ(exec.run().code, EAGAIN);
    });
}
}  // namespace
}  // namespace zarnic::sys

// Of the pipes in the child exec_list_test tells more.

#include "zarnic/sys/preparers.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <iostream>

#include "tests/unit/sys/hooks.h"
#include "zarnic/sys/function_call.h"

namespace zarnic::sys {
namespace {

using test::descriptors;
using test::isolated;
using test::probe;
using test::program;
using test::readFile;
using test::runOnce;
using Preparer = TExec::Preparer;

class Preparers : public test::RunTest {
  protected:
    const std::set<int> own = descriptors();
    const test::TempDir dir;
    const std::string f = dir / "f";
    TExec exec = probe({"exit", "5"});
};

using Pipe = Preparers;

TEST_F(Pipe, IsInheritedBlocksAndIsClosedByNobody) {
    isolated([this] {
        TPipe pipe;
        EXPECT_EQ(pipe.readEnd, 0);
        EXPECT_EQ(pipe.writeEnd, 0);
        EXPECT_EQ(test::errnoWithoutDescriptors([&] { pipe.open(); }), EMFILE);
        const TPipe first(pipe);
        TPipe(pipe).open();
        EXPECT_EQ(descriptors().size(), own.size() + 4);
        EXPECT_EQ(::fcntl(first.readEnd, F_GETFL), O_RDONLY);
        EXPECT_EQ(::fcntl(first.writeEnd, F_GETFL), O_WRONLY);
        EXPECT_EQ(::fcntl(first.readEnd, F_GETFD), 0);
        EXPECT_EQ(::fcntl(first.writeEnd, F_GETFD), 0);
    });
}

// The reader of a pipeline is forked after its writer and inherits the read end from here. A
// capture is used twice.
TEST_F(Preparers, OpenOnlyPipesInTheParentAndAcceptErrors) {
    const SharedHandle<TPipe> pipe(new TPipe);
    const Preparer capture(new TReadOut);
    const struct {
        const char* name;
        Preparer prepare;
        std::size_t made, kept;  // descriptors by then, those of earlier rows among them
    } rows[] = {
        {"TPrepare", Preparer(new TPrepare), 0, 0},
        {"TToFile", Preparer(new TToFile(f, false)), 0, 0},
        {"TRedirectToFile", Preparer(new TRedirectToFile(2, f, false)), 0, 0},
        {"TRedirect", Preparer(new TRedirect(2, 1)), 0, 0},
        {"TFromFile", Preparer(new TFromFile(f)), 0, 0},
        {"TReadFromStr", Preparer(new TReadFromStr("text")), 0, 0},
        {"TWriteToPipeline", Preparer(new TWriteToPipeline(pipe)), 2, 2},
        {"TReadFromPipeline", Preparer(new TReadFromPipeline(pipe)), 2, 0},
        {"TReadOut", capture, 2, 1},
        {"TReadOut again", capture, 3, 2},
    };
    for (const auto& [name, prepare, made, kept] : rows) {
        SCOPED_TRACE(name);
        prepare->beforeFork(exec);
        EXPECT_EQ(descriptors().size(), own.size() + made);
        prepare->inParent(exec);
        prepare->beforeExec(exec);
        EXPECT_TRUE(prepare->forkFailed(exec));
        EXPECT_TRUE(prepare->execFailed(exec));
        EXPECT_EQ(descriptors().size(), own.size() + kept);
        EXPECT_EQ(exec.mode(), TExec::def_mode);
    }
    EXPECT_FALSE(std::filesystem::exists(f));
}

using PreparersUnion = Preparers;

// All pairs of a part that is none, or answers with false or true.
TEST_F(PreparersUnion, TheFirstsAnswerIsIgnored) {
    const std::string parts[] = {"none", "false", "true"};
    for (const std::string& first : parts) {
        for (const std::string& second : parts) {
            SCOPED_TRACE(first + ", " + second);
            std::string calls;
            const auto made = [&](const std::string& part, const std::string& name) {
                const auto call = [&calls, this, part, name](const auto& hook, TExec& running) {
                    calls += name + hook + (&running == &exec ? " " : "(foreign) ");
                    return part == "true";
                };
                return part == "none" ? Preparer() : test::hooks(call);
            };
            TUnionPrep both(made(first, "1."), made(second, "2."));
            both.beforeFork(exec);
            EXPECT_EQ(both.forkFailed(exec), second != "false");
            both.inParent(exec);
            both.inChild(exec);
            both.beforeExec(exec);
            EXPECT_EQ(both.execFailed(exec), second != "false");
            std::string expected;
            for (const std::string hook : {"beforeFork", "forkFailed", "inParent", "inChild",
                                           "beforeExec", "execFailed"}) {
                expected += first == "none" ? "" : "1." + hook + " ";
                expected += second == "none" ? "" : "2." + hook + " ";
            }
            EXPECT_EQ(calls, expected);
        }
    }
}

// What a descriptor of this process is; empty when it is closed.
std::string target(int descriptor) {
    std::error_code closed;
    return std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor), closed);
}

class PreparersFiles : public Preparers {
  protected:
    const struct Opening {
        int stream;
        int flags;
        Preparer prepare;
    } openings[5] = {
        {1, O_WRONLY, Preparer(new TToFile(f, false))},
        {1, O_WRONLY | O_APPEND, Preparer(new TToFile(f, true))},
        {2, O_WRONLY, Preparer(new TRedirectToFile(2, f, false))},
        {2, O_WRONLY | O_APPEND, Preparer(new TRedirectToFile(2, f, true))},
        {0, O_RDONLY, Preparer(new TFromFile(f))},
    };

    // In a child for each of them. The file is there for the one that reads it.
    template <class Body>
    void forEachOpening(const Body& body) {
        for (const Opening& opening : openings) {
            std::filesystem::remove(f);
            if (opening.flags == O_RDONLY) {
                test::writeFile(f, "");
            }
            SCOPED_TRACE(testing::Message() << opening.stream << ", flags " << opening.flags);
            isolated([&] { body(opening); });
        }
    }
};

TEST_F(PreparersFiles, OpenTheFileAsThatStreamAloneWith0664LessTheUmask) {
    forEachOpening([this](const Opening& opening) {
        const auto before = descriptors();
        ::umask(040);
        opening.prepare->inChild(exec);
        EXPECT_EQ(descriptors(), before);
        EXPECT_EQ(target(opening.stream), f);
        EXPECT_EQ(::fcntl(opening.stream, F_GETFD), 0);
        EXPECT_EQ(::fcntl(opening.stream, F_GETFL) & (O_ACCMODE | O_APPEND), opening.flags);
        if (opening.flags != O_RDONLY) {
            EXPECT_EQ(std::filesystem::status(f).permissions(), std::filesystem::perms(0624));
        }
    });
}

TEST_F(PreparersFiles, AMissingDirectoryLeavesTheStreamClosed) {
    forEachOpening([this](const Opening& opening) {
        std::filesystem::rename(dir.path(), dir.path() + ".gone");
        auto expected = descriptors();
        EXPECT_EQ(runOnce(exec.with(opening.prepare)).code, 5);
        opening.prepare->inChild(exec);
        expected.erase(opening.stream);
        EXPECT_EQ(descriptors(), expected);
        std::filesystem::rename(dir.path() + ".gone", dir.path());
    });
    EXPECT_EQ(runOnce(exec.fromFile(dir / "input")).code, 5);
    EXPECT_FALSE(std::filesystem::exists(dir / "input"));
}

// The file is opened as the stream's own number then, which is closed before the copy.
TEST_F(PreparersFiles, AStreamThatWasClosedBeforeStaysClosed) {
    forEachOpening([this](const Opening& opening) {
        ::close(opening.stream);
        opening.prepare->inChild(exec);
        EXPECT_EQ(target(opening.stream), "");
        EXPECT_TRUE(std::filesystem::exists(f));
    });
}

using PreparersStreams = Preparers;

// The target is closed before it is copied, even to itself; 999 never was open.
TEST_F(PreparersStreams, Dup2IsUnchecked) {
    for (const int source : {1, 2, 999}) {
        isolated([&] {
            const std::string output = target(1);
            TRedirect(2, source).inChild(exec);
            EXPECT_EQ(target(1), output);
            EXPECT_EQ(target(2), source == 1 ? output : "");
        });
    }
}

// --- a text as the standard input. That every byte of it arrives is a row of output_test. ---

// More than a pipe holds.
const std::string long_text(300000, 'x');

using PreparersText = Preparers;

// Runs, and returns the raw status of the writer that the run leaves behind. The writer comes
// to this process because nobody else has waited for it.
int writersStatus(TExec exec, int expectedCode) {
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);
    EXPECT_EQ(runOnce(exec).code, expectedCode);
    int status = -1;
    EXPECT_GT(::waitpid(-1, &status, 0), 0);
    EXPECT_TRUE(test::childless());
    return status;
}

// Only the writer ignores SIGPIPE: the program must die of its own broken pipes.
TEST_F(PreparersText, TheProgramIsTheCallersChildWithThePipesReadEndAlone) {
    isolated([&] {
        ::signal(SIGPIPE, SIG_DFL);
        const TExecResult result = runOnce(probe({"report"}).fromText("text").toFile(f));
        EXPECT_EQ(descriptors(), own);
        const std::string report = readFile(f);
        EXPECT_EQ(test::reported(report, "pid"), test::Words{std::to_string(result.pid)});
        EXPECT_EQ(test::inherited(report), own);
        EXPECT_TRUE(test::target(report, 0).starts_with("pipe:"));
        const std::string ignored = test::reported(report, "ignored").at(0);
        EXPECT_EQ(std::stoul(ignored, nullptr, 16) >> (SIGPIPE - 1) & 1U, 0U);
    });
}

TEST_F(PreparersText, TheWriterEndsWithZeroWhenNobodyReads) {
    isolated([] {
        const TExec cat = program({"cat"}).toFile("/dev/null");
        EXPECT_EQ(writersStatus(cat.fromText("text"), 0), 0);
        EXPECT_EQ(writersStatus(probe({"exit", "5"}).fromText(long_text), 5), 0);
        EXPECT_EQ(writersStatus(program({"/no/such"}).fromText(long_text), ENOENT), 0);
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
        runOnce(program({"cat"}).fromText("text").toFile(f));
        EXPECT_EQ(readFile(f), "pending text");
    });
}

// exit sets the position of an input back to what the copy of the caller has read of its
// buffer.
TEST_F(PreparersText, AnInputThatTheCallerReadsByStdioIsReadTwiceUnlessFlushed) {
    const auto text = [] { writersStatus(probe({"exit", "0"}).fromText("text"), 0); };
    const auto call = [] { test::reap(functionCall([] { return 0; }).run().pid); };
    for (const std::function<void()>& run : {std::function<void()>(text), {call}}) {
        for (const bool flushed : {false, true}) {
            test::writeFile(dir / "input", "1\n2\n3\n");
            isolated([&] {
                char line[8];
                ASSERT_NE(std::freopen((dir / "input").c_str(), "r", stdin), nullptr);
                ASSERT_STREQ(std::fgets(line, sizeof line, stdin), "1\n");
                ASSERT_EQ(flushed ? std::fflush(stdin) : 0, 0);
                run();
                std::string rest;
                while (std::fgets(line, sizeof line, stdin) != nullptr) {
                    rest += line;
                }
                EXPECT_EQ(rest, flushed ? "2\n3\n" : "2\n3\n2\n3\n");
            });
        }
    }
}

// The caller's stream is the caller's: it neither pads the text, nor throws up the writer's
// stack, which would be a second copy of the caller.
TEST_F(PreparersText, WhatTheCallerDidToItsStreamDoesNotReachTheWriter) {
    isolated([&] {
        std::cout.width(40);
        runOnce(program({"cat"}).fromText("text").toFile(f));
        EXPECT_EQ(readFile(f), "text");
        std::cout.width(0);
        std::cout.exceptions(std::ios::badbit | std::ios::failbit);
        EXPECT_EQ(writersStatus(probe({"exit", "5"}).fromText(long_text), 5), 0);
    });
}

TEST_F(PreparersText, AFailingPipeOrForkIsThrownInTheChild) {
    isolated([] {
        const auto feed = [] {
            TExec reader = probe({});
            TReadFromStr("text").inChild(reader);
        };
        EXPECT_EQ(test::errnoWithoutDescriptors(feed), EMFILE);
        const test::NoNewProcesses limit;
        EXPECT_EQ(test::thrownErrno(feed), EAGAIN);
    });
}

}  // namespace
}  // namespace zarnic::sys

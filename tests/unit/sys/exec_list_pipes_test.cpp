// The pipes of a pipeline: who has which end open, told by the programs themselves, and what
// becomes of a writer that has more to say than a pipe holds.

#include <fcntl.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "tests/unit/sys/runs.h"
#include "zarnic/sys/exec_list.h"

namespace zarnic::sys {
namespace {

using test::isolated;
using test::probe;
using test::program;
using test::readFile;
using test::target;

class ExecListDescriptors : public test::RunTest {
  protected:
    // Runs a pipeline whose report ends in a file, and reads it.
    std::string reportOf(const TExecList& list) {
        TExecList running = list.toFile(dir / "report");
        EXPECT_EQ(runList(running).code, 0);
        return readFile(dir / "report");
    }

    const std::set<int> own = test::descriptors();
    const test::TempDir dir;
};

bool isPipe(const std::string& name) { return name.starts_with("pipe:"); }

TEST_F(ExecListDescriptors, TheParentKeepsNone) {
    reportOf(probe({"write", "5"}) | program({"cat"}) | program({"cat"}));
    EXPECT_EQ(test::descriptors(), own);
}

TEST_F(ExecListDescriptors, TheFirstProgramHasOnlyTheWriteEndAsItsOutput) {
    const std::string report = reportOf(probe({"report"}) | program({"cat"}));
    EXPECT_EQ(test::inherited(report), own);
    EXPECT_TRUE(isPipe(target(report, 1)));
    EXPECT_FALSE(target(report, 0) == target(report, 1));
}

TEST_F(ExecListDescriptors, TheMiddleProgramHasTwoPipesAsItsStreams) {
    const std::string report =
        reportOf(probe({"exit", "0"}) | probe({"report"}) | program({"cat"}));
    EXPECT_EQ(test::inherited(report), own);
    EXPECT_TRUE(isPipe(target(report, 0)));
    EXPECT_TRUE(isPipe(target(report, 1)));
    EXPECT_NE(target(report, 0), target(report, 1));
}

TEST_F(ExecListDescriptors, TheLastProgramHasOnlyTheReadEndAsItsInput) {
    const std::string report = reportOf(probe({"exit", "0"}) | probe({"report"}));
    EXPECT_EQ(test::inherited(report), own);
    EXPECT_TRUE(isPipe(target(report, 0)));
    EXPECT_EQ(target(report, 1), dir / "report");
}

TEST_F(ExecListDescriptors, StandardErrorIsNotPiped) {
    const std::string alone = reportOf(probe({"report"}));
    const std::string piped = reportOf(probe({"report"}) | program({"cat"}));
    EXPECT_EQ(target(piped, 2), target(alone, 2));
}

// The pipe's read end is number 0 then, and is closed before it could be copied there.
TEST_F(ExecListDescriptors, AReaderThatStartsWithInputClosedHasNone) {
    isolated([&] {
        ::close(STDIN_FILENO);
        const std::string report = reportOf(probe({"exit", "0"}) | probe({"report"}));
        EXPECT_EQ(target(report, 0), "");
        EXPECT_EQ(target(report, 1), dir / "report");
    });
}

// The read end is number 1 then, and closed before the write end takes that number.
TEST_F(ExecListDescriptors, AWriterThatStartsWithOutputClosedWritesIntoThePipe) {
    isolated([&] {
        ::close(STDOUT_FILENO);
        TExecList list = probe({"args", "text"}) | test::inChildDo([this] {
                             char text[10] = {};
                             const ssize_t length = ::read(STDIN_FILENO, text, sizeof text);
                             test::writeFile(dir / "read", text);
                             return length == 5 ? 0 : 1;
                         });
        EXPECT_EQ(runList(list).code, 0);
    });
    EXPECT_EQ(readFile(dir / "read"), "text\n");
}

TEST_F(ExecListDescriptors, BetweenTheTwoRunsTheParentHoldsBothEnds) {
    TExecList list = probe({"args", "text"}) | program({"cat"});
    runList(list);
    TExecList again = probe({"args", "text"}) | program({"cat"});
    again.programs().front().run();
    EXPECT_EQ(test::descriptors().size(), own.size() + 2);
    again = again.toFile(dir / "out");
    EXPECT_EQ(again.programs().back().run().code, 0);
    EXPECT_EQ(readFile(dir / "out"), "text\n");
    EXPECT_EQ(test::descriptors(), own);
}

using ExecListFullPipe = ExecListDescriptors;

TEST_F(ExecListFullPipe, ProgramsThatAreNotWaitedForPassMoreThanItHolds) {
    TExecList list = probe({"write", "1000000"}, 5) | probe({"count"});
    list = list.toFile(dir / "count");
    EXPECT_EQ(runList(list).code, 0);
    EXPECT_EQ(readFile(dir / "count"), "1000000");
}

pid_t firstChild(pid_t parent) {
    const std::string list =
        "/proc/" + std::to_string(parent) + "/task/" + std::to_string(parent) + "/children";
    std::string children;
    while (children.empty()) {
        children = readFile(list);
    }
    return std::stoi(children);
}

// Waits until the pipe at a process's standard output is full, and returns what it holds.
int waitForFullPipe(pid_t writer) {
    const std::string end = "/proc/" + std::to_string(writer) + "/fd/1";
    for (int held = 0;;) {
        const int pipe = ::open(end.c_str(), O_WRONLY | O_NONBLOCK);
        const int capacity = ::fcntl(pipe, F_GETPIPE_SZ);
        const bool full = ::ioctl(pipe, FIONREAD, &held) == 0 && held == capacity;
        ::close(pipe);
        if (full) {
            return held;
        }
    }
}

// The writer is waited for before its reader starts. Only the writer's end ends this.
TEST_F(ExecListFullPipe, AWaitedPipelineBlocksForEver) {
    isolated([this] {
        const pid_t pipeline = ::fork();
        if (pipeline == 0) {
            ::alarm(20);
            TExecList list =
                probe({"write", "1000000"}) | probe({"count"}).toFile(dir / "count");
            runList(list);
            ::_exit(0);
        }
        const pid_t writer = firstChild(pipeline);
        const int held = waitForFullPipe(writer);
        test::waitForState(writer, 'S');
        test::waitForState(pipeline, 'S');
        EXPECT_EQ(firstChild(pipeline), writer);
        EXPECT_NE(::access((dir / "count").c_str(), F_OK), 0);
        ::kill(writer, SIGKILL);
        EXPECT_EQ(test::reap(pipeline), 0);
        EXPECT_EQ(readFile(dir / "count"), std::to_string(held));
    });
}
}  // namespace
}  // namespace zarnic::sys

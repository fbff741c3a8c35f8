// Pipelines whose writer has more to say than a pipe holds.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "tests/unit/sys/runs.h"
#include "zarnic/sys/exec_list.h"

namespace zarnic::sys {
namespace {

using test::isolated;
using test::probe;
using test::readFile;

class ExecListFullPipe : public test::RunTest {
  protected:
    const test::TempDir dir;
};

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

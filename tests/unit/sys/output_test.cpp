#include "zarnic/sys/output.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include "tests/unit/sys/runs.h"
#include "zarnic/sys/preparers.h"

// The linker has the product call read here.
namespace {

int reads = 0;
int reads_of_a_chunk = 0;

}  // namespace

extern "C" {

ssize_t __real_read(int descriptor, void* buffer, std::size_t size);
ssize_t __wrap_read(int descriptor, void* buffer, std::size_t size);

ssize_t __wrap_read(int descriptor, void* buffer, std::size_t size) {
    ++reads;
    reads_of_a_chunk += size == 1024 ? 1 : 0;
    return __real_read(descriptor, buffer, size);
}
}

namespace zarnic::sys {
namespace {

using test::descriptors;
using test::isolated;
using test::probe;
using test::program;

class Output : public test::RunTest {
  protected:
    static std::string captured(const TExecList& list) {
        std::string out = "left over";
        checkedOutput(out, list);
        return out;
    }

    static int statusOf(const TExecList& list) {
        std::string out;
        int status = -1;
        readOutput(out, status, list);
        return status;
    }
};

TEST_F(Output, WhatTheProgramPrintsIsCaptured) {
    EXPECT_EQ(captured(probe({"args", "one", "two"})), "one\ntwo\n");
}

// What a program finds in its mode besides the three bits is no part of a run.
TEST_F(Output, ModeOfACaptureIsTheKnownBitsWithoutTheWaitBit) {
    class NoteMode : public TExec::TPrepare {
      public:
        explicit NoteMode(std::uint64_t& mode) : mode_(mode) {}
        void beforeFork(TExec& exec) override { mode_ = exec.mode(); }

      private:
        std::uint64_t& mode_;
    };
    for (std::uint64_t known = 1; known <= mode_mask; known += 2) {
        std::uint64_t modes[2] = {};
        const TExec exec = probe({"exit", "0"}, known | std::uint64_t{1} << 40U | 8U);
        captured(exec.with(TExec::Preparer(new NoteMode(modes[0]))) |
                 exec.with(TExec::Preparer(new NoteMode(modes[1]))));
        EXPECT_EQ(modes[0], known & ~wait_mode);
        EXPECT_EQ(modes[1], known & ~wait_mode);
    }
}

// The pipe's read end is number 1 then, and closed before the write end takes that number.
TEST_F(Output, StandardOutputThatWasClosedIsCapturedToo) {
    isolated([] {
        ::close(STDOUT_FILENO);
        EXPECT_EQ(captured(probe({"args", "x"})), "x\n");
    });
}

TEST_F(Output, StandardErrorIsNotCaptured) {
    const TExec both = probe({"both", "out", "err"});
    const test::Captured child = test::inChild([&] { std::cout << captured(both); });
    EXPECT_EQ(child.out, "out\n");
    EXPECT_EQ(child.err, "err\n");
}

TEST_F(Output, EveryLengthAroundTheChunksEdgesArrivesWhole) {
    for (const int length : {0, 1, 1023, 1024, 1025, 2047, 2048, 2049, 65536, 65537}) {
        EXPECT_EQ(captured(probe({"write", std::to_string(length)})),
                  std::string(static_cast<std::size_t>(length), 'x'));
    }
}

TEST_F(Output, EveryReadAsksFor1024Bytes) {
    reads = reads_of_a_chunk = 0;
    EXPECT_EQ(captured(probe({"write", "3000"})).size(), 3000U);
    EXPECT_GE(reads, 4);
    EXPECT_EQ(reads_of_a_chunk, reads);
}

TEST_F(Output, EveryByteArrivesInItsPlace) {
    std::string bytes;
    for (int i = 0; i < 100000; ++i) {
        bytes += static_cast<char>(i * 7 % 256);
    }
    EXPECT_EQ(captured(program({"cat"}).fromText(bytes)), bytes);
}

TEST_F(Output, TheLastProgramOfAPipelineIsCaptured) {
    EXPECT_EQ(captured(probe({"args", "a", "b"}) | program({"cat"}) | probe({"count"})), "4");
}

// None of them is waited for before the next one starts.
TEST_F(Output, APipelinePassesMoreThanAPipeHolds) {
    isolated([] {
        EXPECT_EQ(captured(probe({"write", "1000000"}) | program({"cat"})).size(), 1000000U);
    });
}

TEST_F(Output, TheStatusIsTheRawWordOfTheLastProgram) {
    EXPECT_EQ(statusOf(probe({"exit", "0"})), 0);
    EXPECT_EQ(statusOf(probe({"exit", "3"})), 3 << 8);
    EXPECT_EQ(statusOf(probe({"die", "15"})), SIGTERM);
    EXPECT_EQ(statusOf(probe({"exit", "3"}) | probe({"exit", "4"})), 4 << 8);
}

TEST_F(Output, OnlyTheLastProgramIsWaitedFor) {
    isolated([] {
        captured(probe({"exit", "3"}) | probe({"exit", "0"}));
        int status = 0;
        EXPECT_GT(::waitpid(-1, &status, 0), 0);
        EXPECT_EQ(status, 3 << 8);
        EXPECT_TRUE(test::childless());
    });
}

TEST_F(Output, TheGivenListStaysAsItWas) {
    const TExecList list = probe({"args", "x"}) | program({"cat"});
    const TExec* const last = &list.programs().back();
    const auto* const prepare = last->preparer().get();
    captured(list);
    EXPECT_EQ(list.programs().front().mode(), 7U);
    EXPECT_EQ(last->mode(), 7U);
    EXPECT_EQ(last->preparer().get(), prepare);
}

TEST_F(Output, TheCaptureActsAfterTheEarlierPreparers) {
    const test::TempDir dir;
    EXPECT_EQ(captured(probe({"args", "x"}).toFile(dir / "f")), "x\n");
    EXPECT_EQ(test::readFile(dir / "f"), "");
}

TEST_F(Output, AnEmptyListLeavesOutputAndStatusAsTheyWere) {
    const auto own = descriptors();
    std::string out = "as it was";
    int status = 4711;
    readOutput(out, status, TExecList());
    EXPECT_EQ(status, 4711);
    checkedOutput(out, TExecList());
    EXPECT_EQ(out, "as it was");
    EXPECT_EQ(descriptors(), own);
}

TEST_F(Output, CaptureLeavesItsReadEndOpen) {
    const auto own = descriptors();
    for (std::size_t calls = 1; calls <= 3; ++calls) {
        captured(probe({"args", "x"}) | program({"cat"}));
        EXPECT_EQ(descriptors().size(), own.size() + calls);
    }
}

TEST_F(Output, TheReadEndLeftOpenIsInheritedByLaterPrograms) {
    const auto own = descriptors();
    captured(probe({"args", "x"}));
    const auto after = descriptors();
    ASSERT_EQ(after.size(), own.size() + 1);
    EXPECT_EQ(test::inherited(captured(probe({"report"}))), after);
    for (const int descriptor : after) {
        if (own.count(descriptor) == 0) {
            EXPECT_EQ(::fcntl(descriptor, F_GETFD), 0);
            EXPECT_EQ(::fcntl(descriptor, F_GETFL) & O_ACCMODE, O_RDONLY);
        }
    }
}

TEST_F(Output, TheProgramHasOnlyTheWriteEndAsItsOutput) {
    const auto own = descriptors();
    const std::string report = captured(probe({"report"}));
    EXPECT_EQ(test::inherited(report), own);
    EXPECT_TRUE(test::target(report, 1).starts_with("pipe:"));
}

TEST_F(Output, TheLastProgramOfAPipelineHasTwoPipesAndNoMore) {
    const auto own = descriptors();
    const std::string report = captured(probe({"exit", "0"}) | probe({"report"}));
    EXPECT_EQ(test::inherited(report), own);
    EXPECT_NE(test::target(report, 0), test::target(report, 1));
}

}  // namespace
}  // namespace zarnic::sys

#include "zarnic/sys/output.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/ioctl.h>

#include <cerrno>
#include <cstring>
#include <iostream>
#include <locale>
#include <stdexcept>
#include <typeinfo>

#include "tests/unit/sys/hooks.h"

namespace zarnic::sys {
namespace {

using test::descriptors;
using test::isolated;
using test::probe;
using test::program;

class Output : public test::RunTest {
  protected:
    std::string captured(const TExecList& list) {
        checkedOutput(out, list);
        return out;
    }

    // The text of the error that checkedOutput throws, which must be of the standard class
    // itself: a zarnic::SystemError would be one too. Empty when it throws none.
    std::string failureOf(const TExecList& list) {
        try {
            checkedOutput(out, list);
        } catch (const std::runtime_error& error) {
            EXPECT_EQ(typeid(error), typeid(std::runtime_error));
            return error.what();
        }
        return {};
    }

    std::string out = "left over";
    int status = 4711;
};

// A process-wide locale that separates every digit.
struct EveryDigit : std::numpunct<char> {
    std::string do_grouping() const override { return "\1"; }
};

TEST_F(Output, IsTheLastProgramsAndAFailureIsToldWithPlainNumbers) {
    const auto shell = [](const char* script) { return program({"sh", "-c", script}); };
    const TExec four = probe({"exit", "4"});
    const test::TempDir dir;
    std::string bytes;
    for (int i = 0; i < 100000; ++i) {
        bytes += static_cast<char>(i * 7 % 256);
    }
    const struct {
        TExecList list;
        std::string out;
        int status;
        std::string failure;
    } rows[] = {
        {TExecList(), "left over", 4711, ""},  // as it was
        {probe({"args", "one", "two"}), "one\ntwo\n", 0, ""},
        {probe({"args", "one"}).toFile(dir / "f"), "one\n", 0, ""},
        {probe({"write", "1025"}), std::string(1025, 'x'), 0, ""},
        {program({"cat"}).fromText(""), "", 0, ""},
        {program({"cat"}).fromText("3"), "3", 0, ""},
        {program({"cat"}).fromText(bytes), bytes, 0, ""},
        {probe({"args", "a", "b"}) | program({"cat"}) | probe({"count"}), "4", 0, ""},
        {probe({"write", "1000000"}) | probe({"count"}), "1000000", 0, ""},
        {probe({"exit", "3"}) | four, "", 4 << 8, "child failed (exit code=4): "},
        {four | probe({"exit", "0"}), "", 0, ""},
        {shell("printf x; exit 2"), "x", 2 << 8, "child failed (exit code=2): x"},
        {shell("printf 'a b'; kill $$"), "a b", SIGTERM, "child failed (status=15): a b"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.failure + row.out.substr(0, 10));
        isolated([&] {
            std::locale::global(std::locale(std::locale::classic(), new EveryDigit));
            readOutput(out, status, row.list);
            EXPECT_EQ(out, row.out);
            EXPECT_EQ(status, row.status);
            out = "left over";
            EXPECT_EQ(failureOf(row.list), row.failure);
            EXPECT_EQ(out, row.out);
        });
    }
    EXPECT_EQ(test::readFile(dir / "f"), "");
}

// What a program finds in its mode besides the three bits is no part of a run.
TEST_F(Output, ModeOfACaptureIsTheKnownBitsWithoutTheWaitBit) {
    struct NoteMode : TExec::TPrepare {
        void beforeFork(TExec& exec) override { noted.push_back(exec.mode()); }
        std::vector<std::uint64_t> noted;
    };
    auto* const modes = new NoteMode;
    const TExec exec = probe({"exit", "0"}).with(TExec::Preparer(modes));
    for (std::uint64_t known = 1; known <= mode_mask; known += 2) {
        const TExec either = exec.withMode(known | std::uint64_t{1} << 40U | 8U);
        captured(either | either);
    }
    EXPECT_EQ(modes->noted, (std::vector<std::uint64_t>{1, 1, 1, 1, 5, 5, 5, 5}));
}

// The pipe's read end is number 1 then, and closed before the write end takes that number.
TEST_F(Output, StandardOutputThatWasClosedIsCapturedAndStandardErrorIsNot) {
    const test::Captured child = test::inChild([&] {
        ::close(STDOUT_FILENO);
        std::cerr << captured(probe({"both", "out", "err"}));
    });
    EXPECT_EQ(child.err, "err\nout\n");
}

TEST_F(Output, OnlyTheLastProgramIsWaitedFor) {
    isolated([this] {
        captured(probe({"exit", "3"}) | probe({"exit", "0"}));
        int left = 0;
        EXPECT_GT(::waitpid(-1, &left, 0), 0);
        EXPECT_EQ(left, 3 << 8);
        EXPECT_TRUE(test::childless());
    });
}

// The program has the capture's write end as its output, and whatever earlier captures left.
TEST_F(Output, CaptureLeavesItsReadEndOpen) {
    const auto own = descriptors();
    for (std::size_t calls = 0; calls < 3; ++calls) {
        const auto before = descriptors();
        EXPECT_EQ(before.size(), own.size() + calls);
        const std::string report = captured(probe({"exit", "0"}) | probe({"report"}));
        EXPECT_EQ(test::inherited(report), before);
        EXPECT_TRUE(test::target(report, 1).starts_with("pipe:"));
        EXPECT_NE(test::target(report, 1), test::target(report, 0));
    }
}

using OutputFailures = Output;

// The stop is seen because the wait asks for stops; its raw status has all seven bits set.
TEST_F(OutputFailures, AStoppedChildIsReportedLikeOneEndedByASignal) {
    isolated([this] {
        const TExec exec = program({"sh", "-c", "printf $$; exec >&-; kill -STOP $$"});
        const std::string failure = failureOf(exec);
        EXPECT_EQ(failure, "child failed (status=4991): " + out);
        const pid_t pid = std::stoi(out);
        ASSERT_GT(pid, 1);
        ::kill(pid, SIGKILL);
        EXPECT_EQ(test::reap(pid), SIGKILL);
    });
}

// The child's copy of the caller has the pipe as its standard output.
TEST_F(OutputFailures, AnExecErrorIsPrintedByTheChildAndComesBackAsOutput) {
    isolated([this] {
        const pid_t owner = ::getpid();
        try {
            EXPECT_EQ(failureOf(program({"/no/such/program"})),
                      std::string("child failed (exit code=6): ") + std::strerror(ENOENT));
        } catch (const TSysCallErr& error) {
            ASSERT_NE(::getpid(), owner);
            std::cout << error.message();
            std::exit(6);
        }
    });
}

// The preparer is told of the failed fork by a hook that it does not override.
TEST_F(OutputFailures, AFailingForkLeavesThePipeOfTheCaptureOpen) {
    isolated([this] {
        const auto read = [this] {
            out = "as it was";
            status = 4711;
            readOutput(out, status, probe({"exit", "0"}));
        };
        EXPECT_EQ(test::errnoWithoutDescriptors(read), EMFILE);
        EXPECT_EQ(out + std::to_string(status), "as it was4711");
        const auto own = descriptors();
        const test::NoNewProcesses limit;
        EXPECT_EQ(test::thrownErrno(read), EAGAIN);
        EXPECT_EQ(out + std::to_string(status), "as it was4711");
        EXPECT_EQ(descriptors().size(), own.size() + 2);
    });
}

// The capture comes second in the union and decides alone; otherwise the read would wait for
// the end of a pipe whose write end this process still holds.
TEST_F(OutputFailures, APreparerCannotDeclineAFailedForkUnderACapture) {
    isolated([this] {
        const test::NoNewProcesses limit;
        const TExec::Preparer declines = test::hooks([](auto&&...) { return false; });
        const TExec exec = probe({"exit", "0"}).with(declines);
        EXPECT_EQ(test::thrownErrno([&] { checkedOutput(out, exec); }), EAGAIN);
    });
}

TEST_F(OutputFailures, AChildThatIsGoneAlreadyCountsAsSuccess) {
    isolated([this] {
        ::signal(SIGCHLD, SIG_IGN);
        EXPECT_EQ(failureOf(program({"sh", "-c", "printf x; exit 3"})), "");
        EXPECT_EQ(out, "x");
    });
}

TEST_F(OutputFailures, AnInterruptedReadEndsTheText) {
    isolated([this] {
        const test::Interrupts interrupts;
        const pid_t self = ::getpid();
        const TExec exec = test::inChildDo([&] {
            std::cout << "before" << std::flush;
            for (int unread = 1; unread > 0;) {
                ::ioctl(STDOUT_FILENO, FIONREAD, &unread);
            }
            interrupts.interrupt(self);
            std::cout << "after" << std::flush;
            return 0;
        });
        EXPECT_EQ(failureOf(exec), "");
        EXPECT_EQ(out, "before");
        EXPECT_EQ(interrupts.count(), 1);
    });
}

}  // namespace
}  // namespace zarnic::sys

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <iostream>
#include <locale>
#include <stdexcept>
#include <typeinfo>

#include "tests/unit/sys/recording_preparer.h"
#include "tests/unit/sys/runs.h"
#include "zarnic/sys/output.h"
#include "zarnic/sys/wait.h"

namespace zarnic::sys {
namespace {

using test::isolated;
using test::probe;
using test::program;

class OutputFailures : public test::RunTest {};

// The text of the error that checkedOutput throws, which must be of the standard class itself:
// a zarnic::SystemError would be one too. Empty when it throws none.
std::string failureOf(const TExecList& list, std::string& out) {
    try {
        checkedOutput(out, list);
    } catch (const std::runtime_error& error) {
        EXPECT_EQ(typeid(error), typeid(std::runtime_error));
        return error.what();
    }
    return {};
}

std::string failureOf(const TExecList& list) {
    std::string out;
    return failureOf(list, out);
}

TEST_F(OutputFailures, AnExitCodeIsReportedWithTheOutput) {
    const TExec exec = program({"sh", "-c", "printf x; exit 2"});
    EXPECT_EQ(failureOf(exec), "child failed (exit code=2): x");
}

TEST_F(OutputFailures, ASignalIsReportedWithTheRawStatusAndTheOutput) {
    const TExec exec = program({"sh", "-c", "printf 'some text'; kill -TERM $$"});
    EXPECT_EQ(failureOf(exec), "child failed (status=15): some text");
}

TEST_F(OutputFailures, EveryExitCodeButZeroIsReported) {
    EXPECT_EQ(failureOf(probe({"exit", "0"})), "");
    for (int code = 1; code < 256; ++code) {
        const std::string number = std::to_string(code);
        ASSERT_EQ(failureOf(probe({"exit", number})),
                  "child failed (exit code=" + number + "): ");
    }
}

TEST_F(OutputFailures, EverySignalThatKillsIsReportedAsTheSystemTellsIt) {
    const std::set<int> harmless = {SIGCHLD, SIGCONT, SIGSTOP, SIGTSTP,
                                    SIGTTIN, SIGTTOU, SIGURG,  SIGWINCH};
    for (int signal = 1; signal <= 31; ++signal) {
        if (harmless.count(signal) != 0) {
            continue;
        }
        const TExec exec = probe({"die", std::to_string(signal)});
        std::string out;
        int status = 0;
        readOutput(out, status, exec);
        EXPECT_EQ(status & 0x7f, signal);
        EXPECT_EQ(failureOf(exec), "child failed (status=" + std::to_string(status) + "): ");
    }
}

// A process-wide locale that separates every digit.
struct EveryDigit : std::numpunct<char> {
    std::string do_grouping() const override { return "\1"; }
};

TEST_F(OutputFailures, ANumberIsPlainWhateverTheLocaleGroups) {
    const std::locale before =
        std::locale::global(std::locale(std::locale::classic(), new EveryDigit));
    const std::string failure = failureOf(probe({"exit", "255"}));
    std::locale::global(before);
    EXPECT_EQ(failure, "child failed (exit code=255): ");
}

// A core flag is part of the number; where cores go depends on the machine.
TEST_F(OutputFailures, ACoreDumpIsReportedWithTheRawStatus) {
    const test::TempDir cores;
    isolated([&] {
        ASSERT_EQ(::chdir(cores.path().c_str()), 0);
        rlimit limit{};
        ::getrlimit(RLIMIT_CORE, &limit);
        limit.rlim_cur = limit.rlim_max;
        ::setrlimit(RLIMIT_CORE, &limit);
        const std::string failure = failureOf(program({"sh", "-c", "kill -SEGV $$"}));
        EXPECT_TRUE(failure == "child failed (status=139): " ||
                    failure == "child failed (status=11): ")
            << failure;
    });
}

TEST_F(OutputFailures, TheOutputIsThereAfterTheError) {
    std::string out = "left over";
    EXPECT_NE(failureOf(program({"sh", "-c", "printf x; exit 2"}), out), "");
    EXPECT_EQ(out, "x");
    EXPECT_NE(failureOf(program({"sh", "-c", "printf y; kill -KILL $$"}), out), "");
    EXPECT_EQ(out, "y");
}

// The stop is seen because the wait asks for stops; its raw status has all seven bits set.
TEST_F(OutputFailures, AStoppedChildIsReportedLikeOneEndedByASignal) {
    isolated([] {
        std::string out;
        const TExec exec = program({"sh", "-c", "printf $$; exec >&-; kill -STOP $$"});
        const std::string failure = failureOf(exec, out);
        EXPECT_EQ(failure, "child failed (status=4991): " + out);
        const pid_t pid = std::stoi(out);
        ASSERT_GT(pid, 1);
        ::kill(pid, SIGKILL);
        EXPECT_EQ(test::reap(pid), SIGKILL);
    });
}

// The child's copy of the caller has the pipe as its standard output.
TEST_F(OutputFailures, AnExecErrorIsPrintedByTheChildAndComesBackAsOutput) {
    isolated([] {
        const pid_t owner = ::getpid();
        try {
            EXPECT_EQ(failureOf(program({"/no/such/program"})),
                      std::string("child failed (exit code=6): ") + std::strerror(ENOENT));
        } catch (const TSysCallErr& error) {
            if (::getpid() != owner) {
                std::cout << error.message();
                std::exit(6);
            }
            FAIL() << error.message();
        }
    });
}

TEST_F(OutputFailures, AFailingPipeIsThrownAndNothingIsChanged) {
    isolated([] {
        std::string out;
        int status = 0;
        const auto read = [&] {
            out = "as it was";
            status = 4711;
            readOutput(out, status, probe({"exit", "0"}));
        };
        EXPECT_EQ(test::errnoWithoutDescriptors(read), EMFILE);
        EXPECT_EQ(out, "as it was");
        EXPECT_EQ(status, 4711);
    });
}

TEST_F(OutputFailures, AFailingForkIsThrownAndNothingIsChanged) {
    isolated([] {
        const test::NoNewProcesses limit;
        std::string out = "as it was";
        int status = 4711;
        const TExec exec = probe({"exit", "0"});
        EXPECT_EQ(test::thrownErrno([&] { readOutput(out, status, exec); }), EAGAIN);
        EXPECT_EQ(out, "as it was");
        EXPECT_EQ(status, 4711);
    });
}

// The preparer is told of the failure by a hook that it does not override.
TEST_F(OutputFailures, AFailingForkLeavesThePipeOfTheCaptureOpen) {
    isolated([] {
        const test::NoNewProcesses limit;
        const auto own = test::descriptors();
        std::string out;
        EXPECT_THROW(checkedOutput(out, probe({"exit", "0"})), TSysCallErr);
        EXPECT_EQ(test::descriptors().size(), own.size() + 2);
    });
}

// The capture comes second in the union and decides alone; otherwise the read would wait for
// the end of a pipe whose write end this process still holds.
TEST_F(OutputFailures, APreparerCannotDeclineAFailedForkUnderACapture) {
    isolated([] {
        const test::NoNewProcesses limit;
        const test::Notes notes;
        const TExec exec = probe({"exit", "0"}).with(test::recorder(notes, "", false));
        std::string out;
        EXPECT_EQ(test::thrownErrno([&] { checkedOutput(out, exec); }), EAGAIN);
    });
}

TEST_F(OutputFailures, AChildThatIsGoneAlreadyCountsAsSuccess) {
    isolated([] {
        ::signal(SIGCHLD, SIG_IGN);
        std::string out;
        EXPECT_EQ(failureOf(program({"sh", "-c", "printf x; exit 3"}), out), "");
        EXPECT_EQ(out, "x");
    });
}

TEST_F(OutputFailures, AnInterruptedReadEndsTheText) {
    isolated([] {
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
        std::string out;
        EXPECT_EQ(failureOf(exec, out), "");
        EXPECT_EQ(out, "before");
        EXPECT_EQ(interrupts.count(), 1);
    });
}

}  // namespace
}  // namespace zarnic::sys

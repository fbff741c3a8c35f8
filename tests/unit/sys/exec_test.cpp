#include "zarnic/sys/exec.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <type_traits>

#include "tests/support/escaped.h"
#include "tests/unit/sys/runs.h"

namespace zarnic::sys {
namespace {

using test::isolated;
using test::probe;
using test::program;
using test::reap;
using test::reported;
using test::runOnce;
using test::Words;

// --- a runner as a value ---

static_assert(std::is_same_v<decltype(TExecResult::pid), std::int32_t>);
static_assert(std::is_same_v<decltype(TExecResult::code), std::int32_t>);
static_assert(std::has_virtual_destructor_v<TExec::TPrepare>);

TEST(Exec, TheModeBitsAndTheMessageHaveFixedValues) {
    EXPECT_EQ(fork_mode, 1U);
    EXPECT_EQ(wait_mode, 2U);
    EXPECT_EQ(path_mode, 4U);
    EXPECT_EQ(TExec::fork_mode + TExec::wait_mode + TExec::path_mode, TExec::def_mode);
    EXPECT_EQ(TExec::def_mode, 7U);
    EXPECT_STREQ(bad_execute_arguments, "Bad execute arguments");
}

void expectSharing(const TExec& copy, const TExec& exec) {
    EXPECT_EQ(&copy.args().elements(), &exec.args().elements());
    EXPECT_EQ(copy.preparer().get(), exec.preparer().get());
}

TEST(Exec, IsMadeOfArgumentsOrOfAPreparerWithTheDefaultMode) {
    TEArgs args;
    args << "cat";
    const TExec exec(args);
    EXPECT_EQ(&exec.args().elements(), &args.elements());
    EXPECT_EQ(exec.preparer().get(), nullptr);
    EXPECT_EQ(exec.mode(), 7U);
    args << "later";
    EXPECT_EQ(exec.args().size(), 1U);
    const TExec::Preparer prepare(new TExec::TPrepare);
    const TExec prepared(prepare);
    EXPECT_EQ(prepared.args().size(), 0U);
    EXPECT_EQ(prepared.preparer().get(), prepare.get());
    EXPECT_EQ(prepared.mode(), 7U);
}

TEST(Exec, TogglingIsAnExclusiveOrForEveryPairOfModes) {
    constexpr std::uint64_t wide = std::uint64_t{1} << 63U;
    for (std::uint64_t mode = 0; mode <= 7; ++mode) {
        const TExec exec =
            probe({"args"}, wide + mode).with(TExec::Preparer(new TExec::TPrepare));
        for (std::uint64_t bits = 0; bits <= 7; ++bits) {
            // Bit by bit, and not by the operator under test.
            std::uint64_t expected = wide;
            for (std::uint64_t bit = 1; bit <= 4; bit *= 2) {
                expected += mode / bit % 2 != bits / bit % 2 ? bit : 0;
            }
            EXPECT_EQ(exec.withModeToggled(bits).mode(), expected);
            EXPECT_EQ(exec.withMode(wide + bits).mode(), wide + bits);
            expectSharing(exec.withModeToggled(bits), exec);
            expectSharing(exec.withMode(bits), exec);
        }
        EXPECT_EQ(exec.mode(), wide + mode);
    }
}

// --- a run, and what the started program sees of it ---

class ExecProgram : public test::RunTest {
  protected:
    // What a runner's program prints.
    std::string printed(const TExec& exec) {
        runOnce(exec.toFile(dir / "printed"));
        return test::readFile(dir / "printed");
    }

    const test::TempDir dir;
};

TEST_F(ExecProgram, TheChildsPidAndEndAreReportedAndItIsReaped) {
    const struct {
        std::string end;
        int code;
    } rows[] = {
        {"exit 3", 3},
        {"exit 255", 255},
        {"kill -9 $$", -1},
        // With a core where the machine makes one.
        {"cd " + dir.path() + "; ulimit -c $(ulimit -H -c); kill -SEGV $$", -1},
        // A wait that saw stops would take the child for ended.
        {"(until grep -q 'State:.T' /proc/$$/status; do :; done; kill -CONT $$) &"
         "kill -STOP $$; exit 4",
         4},
    };
    const TExecResult other = probe({"exit", "9"}, 5).run();
    for (const auto& [end, code] : rows) {
        TExec exec = program({"sh", "-c", "echo $$;" + end}).toFile(dir / "pid");
        for (int run = 0; run < 2; ++run) {
            const TExecResult result = runOnce(exec);
            EXPECT_EQ(result.code, code) << end;
            EXPECT_EQ(test::readFile(dir / "pid"), std::to_string(result.pid) + "\n");
            EXPECT_EQ(reap(result.pid), -1);
        }
    }
    EXPECT_EQ(reap(other.pid), 9 << 8);
}

// The child goes on only after the run has returned: a run that waited would wait for ever.
TEST_F(ExecProgram, WithoutWaitingTheRunReturnsWhileTheChildRuns) {
    isolated([] {
        const TExecResult result = probe({"stop"}, 5).run();
        EXPECT_EQ(result.code, 0);
        EXPECT_EQ(::waitpid(result.pid, nullptr, WUNTRACED), result.pid);
        ::kill(result.pid, SIGCONT);
        EXPECT_EQ(reap(result.pid), 0);
    });
}

TEST_F(ExecProgram, AFullListArrivesExactlyAsGiven) {
    Words words = {"report", "a b", "", "$HOME", "`e`", "\"q\" 'r'", "* ?", "\\n", "\xff\x80"};
    words.resize(TEArgs::max_size - 1, "a longer text that is given over and over");
    Words expected = {test::escaped(PROBE_PATH)};
    for (const std::string& word : words) {
        expected.push_back(test::escaped(word));
    }
    EXPECT_EQ(reported(printed(probe(words)), "argv"), expected);
    EXPECT_EQ(printed(probe({"args", std::string("a\0b", 3), "c"})), "a\nc\n");
}

TEST_F(ExecProgram, ABareNameIsFoundThroughPathOnlyWithThePathBit) {
    EXPECT_EQ(runOnce(program({"cat", "/dev/null"})).code, 0);
    EXPECT_EQ(runOnce(program({"cat", "/dev/null"}, 3)).code, ENOENT);
}

TEST_F(ExecProgram, AFileWithoutInterpreterLineIsRunByAShellThroughPathSearch) {
    test::writeFile(dir / "plain", "[ /proc/$$/exe -ef /bin/sh ] && exit 8\n");
    ::chmod((dir / "plain").c_str(), 0755);
    EXPECT_EQ(runOnce(program({dir / "plain"})).code, 8);
    EXPECT_EQ(runOnce(program({dir / "plain"}, 3)).code, ENOEXEC);
}

TEST_F(ExecProgram, WhatThePreparersLeaveAloneIsTheCallers) {
    isolated([&] {
        const auto own = test::descriptors();
        ::setenv("A_VARIABLE", "its value", 1);
        ::umask(0137);
        ASSERT_EQ(::chdir(dir.path().c_str()), 0);
        const std::string report = printed(probe({"report"}));
        EXPECT_EQ(test::inherited(report), own);
        EXPECT_EQ(test::descriptors(), own);
        EXPECT_NE(report.find("env A_VARIABLE=its%20value\n"), std::string::npos);
        EXPECT_EQ(reported(report, "umask"), Words{"137"});
        EXPECT_EQ(reported(report, "cwd"), Words{dir.path()});
        EXPECT_EQ(reported(report, "ppid"), Words{std::to_string(::getpid())});
        EXPECT_EQ(reported(report, "sid"), Words{std::to_string(::getsid(0))});
        EXPECT_EQ(reported(report, "pgid"), Words{std::to_string(::getpgrp())});
    });
}

}  // namespace
}  // namespace zarnic::sys

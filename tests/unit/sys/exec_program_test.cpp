// What the started program sees of its run: arguments, path search, descriptors, surroundings.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <iostream>

#include "tests/support/escaped.h"
#include "tests/unit/sys/runs.h"
#include "zarnic/sys/exec.h"

namespace zarnic::sys {
namespace {

using test::isolated;
using test::probe;
using test::program;
using test::readFile;
using test::reported;
using test::runOnce;

constexpr std::uint64_t no_search = TExec::fork_mode | TExec::wait_mode;

class ExecProgram : public test::RunTest {
  protected:
    // What a runner's program prints.
    std::string printed(const TExec& exec) {
        runOnce(exec.toFile(dir / "printed"));
        return readFile(dir / "printed");
    }

    // A file that can be executed.
    std::string executable(const std::string& name, const std::string& content) const {
        test::writeFile(dir / name, content);
        ::chmod((dir / name).c_str(), 0755);
        return dir / name;
    }

    const test::TempDir dir;
};

TEST_F(ExecProgram, ArgumentsArriveExactlyAsGiven) {
    const test::Words odd = {"a b", "",    "$HOME",    "`e`", "\"q\" 'r'",
                             "* ?", "\\n", "\xff\x80", ""};
    test::Words words = {"args"};
    std::string expected;
    for (const std::string& word : odd) {
        words.push_back(word);
        expected += word + "\n";
    }
    EXPECT_EQ(printed(probe(words)), expected);
}

TEST_F(ExecProgram, ElementZeroIsTheFirstArgumentItself) {
    EXPECT_EQ(reported(printed(probe({"report"})), "argv"),
              (test::Words{test::escaped(PROBE_PATH), "report"}));
}

TEST_F(ExecProgram, AFullListArrivesWhole) {
    test::Words words = {"args"};
    std::string expected;
    for (int i = 2; i < 100; ++i) {
        words.push_back(std::to_string(i));
        expected += std::to_string(i) + "\n";
    }
    EXPECT_EQ(printed(probe(words)), expected);
}

TEST_F(ExecProgram, AnArgumentEndsAtItsFirstNulByte) {
    EXPECT_EQ(printed(probe({"args", std::string("a\0b", 3), "c"})), "a\nc\n");
}

TEST_F(ExecProgram, WithPathSearchABareNameIsFoundThroughPath) {
    EXPECT_EQ(runOnce(program({"cat", "/dev/null"})).code, 0);
}

TEST_F(ExecProgram, WithoutPathSearchABareNameIsNotFoundThroughPath) {
    EXPECT_EQ(runOnce(program({"cat", "/dev/null"}, no_search)).code, ENOENT);
}

TEST_F(ExecProgram, WithoutPathSearchABareNameIsAFileOfTheWorkingDirectory) {
    executable("cat", "#!/bin/sh\nexit 5\n");
    isolated([&] {
        ASSERT_EQ(::chdir(dir.path().c_str()), 0);
        EXPECT_EQ(runOnce(program({"cat"}, no_search)).code, 5);
    });
}

TEST_F(ExecProgram, PathIsReadWhenTheProgramRuns) {
    executable("only_here", "#!/bin/sh\nexit 6\n");
    isolated([&] {
        TExec exec = program({"only_here"});
        EXPECT_EQ(runOnce(exec).code, ENOENT);
        ::setenv("PATH", dir.path().c_str(), 1);
        EXPECT_EQ(runOnce(exec).code, 6);
    });
}

TEST_F(ExecProgram, AFileWithoutInterpreterLineIsRunByAShellThroughPathSearch) {
    const std::string text = "[ /proc/$$/exe -ef /bin/sh ] && exit 8\n";
    EXPECT_EQ(runOnce(program({executable("plain", text)})).code, 8);
}

TEST_F(ExecProgram, AFileWithoutInterpreterLineDoesNotRunWithoutPathSearch) {
    EXPECT_EQ(runOnce(program({executable("plain", "exit 8\n")}, no_search)).code, ENOEXEC);
}

TEST_F(ExecProgram, WithoutForkModeTheProcessItselfBecomesTheProgram) {
    const test::Captured captured = test::inChild([] {
        std::cout << "own " << ::getpid() << std::endl;
        runOnce(probe({"report"}, TExec::path_mode));
    });
    EXPECT_TRUE(captured.exited(0));
    EXPECT_EQ(reported(captured.out, "own"), reported(captured.out, "pid"));
}

TEST_F(ExecProgram, WithoutForkModeTheWaitBitMeansNothing) {
    const test::Captured captured = test::inChild([] {
        std::cout << "own " << ::getpid() << std::endl;
        runOnce(probe({"report"}, TExec::path_mode | TExec::wait_mode));
    });
    EXPECT_TRUE(captured.exited(0));
    EXPECT_EQ(reported(captured.out, "own"), reported(captured.out, "pid"));
}

TEST_F(ExecProgram, WithoutForkModeABareNameNeedsThePathBitToo) {
    isolated([] { EXPECT_EQ(test::thrownErrno([] { program({"cat"}, 0).run(); }), ENOENT); });
}

TEST_F(ExecProgram, APlainRunHandsOnTheDescriptorsAndNoMore) {
    const auto own = test::descriptors();
    EXPECT_EQ(test::inherited(printed(probe({"report"}))), own);
    EXPECT_EQ(test::descriptors(), own);
}

TEST_F(ExecProgram, TheChildsParentIsTheCaller) {
    EXPECT_EQ(reported(printed(probe({"report"})), "ppid"),
              test::Words{std::to_string(::getpid())});
}

TEST_F(ExecProgram, EnvironmentDirectoryAndUmaskStay) {
    isolated([&] {
        ::setenv("A_VARIABLE", "its value", 1);
        ::umask(0137);
        ASSERT_EQ(::chdir(dir.path().c_str()), 0);
        const std::string report = printed(probe({"report"}));
        EXPECT_NE(report.find("env A_VARIABLE=its%20value\n"), std::string::npos);
        EXPECT_EQ(reported(report, "umask"), test::Words{"137"});
        EXPECT_EQ(reported(report, "cwd"), test::Words{dir.path()});
    });
}

TEST_F(ExecProgram, IgnoredSignalsStayIgnored) {
    isolated([&] {
        const std::string before = reported(printed(probe({"report"})), "ignored").at(0);
        ::signal(SIGHUP, SIG_IGN);
        ::signal(SIGUSR2, SIG_IGN);
        const std::string after = reported(printed(probe({"report"})), "ignored").at(0);
        const unsigned long added = 1UL << (SIGHUP - 1) | 1UL << (SIGUSR2 - 1);
        EXPECT_EQ(std::stoul(after, nullptr, 16), std::stoul(before, nullptr, 16) | added);
    });
}

TEST_F(ExecProgram, SessionAndProcessGroupStay) {
    const std::string report = printed(probe({"report"}));
    EXPECT_EQ(reported(report, "sid"), test::Words{std::to_string(::getsid(0))});
    EXPECT_EQ(reported(report, "pgid"), test::Words{std::to_string(::getpgrp())});
}

}  // namespace
}  // namespace zarnic::sys

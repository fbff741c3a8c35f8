#include "zarnic/sys/function_call.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <functional>
#include <iostream>
#include <stdexcept>
#include <type_traits>
#include <utility>

#include "tests/unit/sys/recording_preparer.h"
#include "tests/unit/sys/runs.h"
#include "zarnic/error/system_error.h"

namespace zarnic::sys {
namespace {

using test::isolated;
using test::reap;
using Body = std::function<int()>;

TExec call(const Body& body) { return TExec(TExec::Preparer(new TFnCall<Body>(body))); }

// The raw status of the child that runs `body`.
int statusOf(const Body& body) {
    const TExecResult result = call(body).run();
    EXPECT_GT(result.pid, 0);
    EXPECT_EQ(result.code, 0);
    return reap(result.pid);
}

class FunctionCall : public test::RunTest {};

TEST_F(FunctionCall, AFunctionThatReturnsThreeMakesTheChildExitWithThree) {
    EXPECT_EQ(statusOf([] { return 3; }), 3 << 8);
}

TEST_F(FunctionCall, EveryResultIsTheExitStatus) {
    for (int code = 0; code < 256; ++code) {
        ASSERT_EQ(statusOf([code] { return code; }), code << 8);
    }
}

TEST_F(FunctionCall, AResultOutsideAByteIsCutAsExitCutsIt) {
    EXPECT_EQ(statusOf([] { return 256; }), 0);
    EXPECT_EQ(statusOf([] { return 259; }), 3 << 8);
    EXPECT_EQ(statusOf([] { return -1; }), 255 << 8);
}

TEST_F(FunctionCall, ASystemCallErrorMakesItsNumberTheExitStatus) {
    for (int error = 1; error <= 133; ++error) {
        ASSERT_EQ(statusOf([error]() -> int { throw TSysCallErr(error); }), error << 8);
    }
}

TEST_F(FunctionCall, AnyOtherExceptionMakesTheExitStatus255) {
    EXPECT_EQ(statusOf([]() -> int { throw std::runtime_error("any"); }), 255 << 8);
    EXPECT_EQ(statusOf([]() -> int { throw TSysErr("no number"); }), 255 << 8);
    EXPECT_EQ(statusOf([]() -> int { throw TError("any"); }), 255 << 8);
    EXPECT_EQ(statusOf([]() -> int { throw ExSystemError<ENOENT>("not of the library"); }),
              255 << 8);
    EXPECT_EQ(statusOf([]() -> int { throw 3; }), 255 << 8);
}

TEST_F(FunctionCall, AnArgumentListErrorIsNoSystemCallError) {
    EXPECT_EQ(statusOf([]() -> int { return static_cast<int>(TEArgs().at(7).size()); }),
              255 << 8);
}

// The function ends only after the run has returned: a run that waited would wait for ever.
TEST_F(FunctionCall, TheRunReturnsWhileTheFunctionRuns) {
    isolated([] {
        int gate[2];
        ASSERT_EQ(::pipe(gate), 0);
        const TExecResult result = call([&] {
                                       char byte = 0;
                                       ::close(gate[1]);
                                       return ::read(gate[0], &byte, 1) == 0 ? 3 : 4;
                                   }).run();
        EXPECT_EQ(result.code, 0);
        ::close(gate[1]);
        EXPECT_EQ(reap(result.pid), 3 << 8);
    });
}

TEST_F(FunctionCall, TheWaitBitIsClearedForGood) {
    TExec exec = call([] { return 3; });
    EXPECT_EQ(exec.mode(), 7U);
    EXPECT_EQ(reap(exec.run().pid), 3 << 8);
    EXPECT_EQ(exec.mode(), 5U);
    EXPECT_EQ(reap(exec.run().pid), 3 << 8);
    EXPECT_EQ(exec.mode(), 5U);
}

TEST_F(FunctionCall, OnlyTheThreeKnownBitsAreKept) {
    for (const std::uint64_t extra : {0ULL, 1ULL << 40, ~7ULL}) {
        TExec exec = call([] { return 3; }).withMode(TExec::def_mode | extra);
        reap(exec.run().pid);
        EXPECT_EQ(exec.mode(), 5U);
    }
}

TEST_F(FunctionCall, ACopyMadeBeforeTheRunKeepsItsWaitBit) {
    TExec exec = call([] { return 3; });
    const TExec copy(exec);
    reap(exec.run().pid);
    EXPECT_EQ(copy.mode(), 7U);
}

TEST_F(FunctionCall, TheFunctionRunsInTheChildOnly) {
    isolated([] {
        const pid_t owner = ::getpid();
        int runs = 0;
        const int status = statusOf([&] {
            ++runs;
            return ::getppid() == owner && ::getpid() != owner ? runs : 9;
        });
        EXPECT_EQ(status, 1 << 8);
        EXPECT_EQ(runs, 0);
    });
}

TEST_F(FunctionCall, TheFunctionIsCopiedIn) {
    struct Counter {
        int result;
        int operator()() const { return result; }
    };
    Counter counter{3};
    TExec exec(TExec::Preparer(new TFnCall<Counter>(counter)));
    counter.result = 4;
    EXPECT_EQ(reap(exec.run().pid), 3 << 8);
}

int five() { return 5; }

TEST_F(FunctionCall, ARunnerIsMadeOfAnyFunction) {
    int result = 3;
    TExec lambda = functionCall([result] { return result; });
    result = 4;
    EXPECT_EQ(lambda.mode(), 7U);
    EXPECT_EQ(lambda.args().size(), 0U);
    EXPECT_EQ(reap(lambda.run().pid), 3 << 8);
    EXPECT_EQ(reap(functionCall(five).run().pid), 5 << 8);
    EXPECT_EQ(reap(functionCall(Body(five)).run().pid), 5 << 8);
    // One that changes itself does so in the child.
    TExec counting = functionCall([n = 0]() mutable { return ++n; });
    EXPECT_EQ(reap(counting.run().pid), 1 << 8);
    EXPECT_EQ(reap(counting.run().pid), 1 << 8);
}

template <class F>
concept CanBeCalled = std::is_same_v<decltype(functionCall(std::declval<F>())), TExec>;
static_assert(CanBeCalled<int (*)()>);
static_assert(!CanBeCalled<void (*)()> && !CanBeCalled<int (*)(int)> && !CanBeCalled<int>);

TEST_F(FunctionCall, WithoutForkModeTheProcessItselfEndsWithTheResult) {
    const test::Captured captured = test::inChild([] {
        call([] { return 6; }).withMode(TExec::path_mode).run();
        std::cout << "came back" << std::endl;
    });
    EXPECT_TRUE(captured.exited(6));
    EXPECT_EQ(captured.out, "");
}

TEST_F(FunctionCall, TheChildRunsTheExitHandlers) {
    const test::Captured captured = test::inChild([] {
        static pid_t owner;
        owner = ::getpid();
        std::atexit(
            [] { std::cout << (::getpid() == owner ? "parent " : "child ") << std::flush; });
        reap(call([] { return 3; }).run().pid);
    });
    EXPECT_EQ(captured.out, "child parent ");
}

TEST_F(FunctionCall, WhatTheFunctionLeftInStandardOutputIsWritten) {
    const test::TempDir dir;
    TExec exec = call([] {
                     std::cout << "not flushed";
                     return 0;
                 }).toFile(dir / "out");
    // Attached later, the file is opened in inChild, before the function runs.
    EXPECT_EQ(reap(exec.run().pid), 0);
    EXPECT_EQ(test::readFile(dir / "out"), "not flushed");
}

TEST_F(FunctionCall, NothingFollowsTheFunction) {
    const test::Notes notes;
    TExec exec = call([] { return 3; }).with(test::recorder(notes));
    EXPECT_EQ(reap(exec.run().pid), 3 << 8);
    EXPECT_EQ(notes.of("parent"), "beforeFork inParent");
    EXPECT_EQ(notes.of("child"), "inChild");
}

TEST_F(FunctionCall, EarlierPreparersActBeforeIt) {
    const test::Notes notes;
    TExec exec = test::probe({"exit", "9"})
                     .with(test::recorder(notes))
                     .with(TExec::Preparer(new TFnCall<Body>([] { return 3; })));
    EXPECT_EQ(reap(exec.run().pid), 3 << 8);
    EXPECT_EQ(notes.of("child"), "inChild beforeExec");
}

TEST_F(FunctionCall, AFailedForkIsThrownAndTheWaitBitStays) {
    isolated([] {
        TExec exec = call([] { return 3; });
        const test::NoNewProcesses limit;
        EXPECT_EQ(test::thrownErrno([&] { exec.run(); }), EAGAIN);
        EXPECT_EQ(exec.mode(), 7U);
    });
}

}  // namespace
}  // namespace zarnic::sys

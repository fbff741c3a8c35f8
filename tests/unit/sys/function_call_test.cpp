#include "zarnic/sys/function_call.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <functional>
#include <iostream>
#include <stdexcept>
#include <type_traits>
#include <utility>

#include "tests/unit/sys/hooks.h"
#include "zarnic/error/system_error.h"

namespace zarnic::sys {
namespace {

using test::isolated;
using test::reap;
using Body = std::function<int()>;

template <class F>
concept CanBeCalled = std::is_same_v<decltype(functionCall(std::declval<F>())), TExec>;
static_assert(CanBeCalled<int (*)()>);
static_assert(!CanBeCalled<void (*)()> && !CanBeCalled<int (*)(int)> && !CanBeCalled<int>);

// The raw status of the child that a run, which waits for nobody, leaves behind.
int statusOf(TExec exec) {
    const TExecResult result = exec.run();
    EXPECT_GT(result.pid, 0);
    EXPECT_EQ(result.code, 0);
    return reap(result.pid);
}

template <class Exception>
Body throwing(const Exception& exception) {
    return [exception]() -> int { throw exception; };
}

class FunctionCall : public test::RunTest {};

TEST_F(FunctionCall, TheResultOrTheNumberOfASystemCallErrorIsTheExitStatus) {
    const struct {
        Body body;
        int code;
    } rows[] = {
        {[] { return 3; }, 3},
        {[] { return 255; }, 255},
        {throwing(TSysCallErr(1)), 1},
        {throwing(TSysCallErr(133)), 133},
        {throwing(std::runtime_error("any")), 255},
        {throwing(TSysErr("no number")), 255},
        {throwing(ExSystemError<ENOENT>("not of the library")), 255},
        {throwing(3), 255},
    };
    for (const auto& [body, code] : rows) {
        EXPECT_EQ(statusOf(functionCall(body)), code << 8);
    }
}

int five() { return 5; }

TEST_F(FunctionCall, ARunnerIsMadeOfACopyOfAnyFunction) {
    Body body = [] { return 3; };
    const TExec copied(TExec::Preparer(new TFnCall<Body>(body)));
    body = five;
    EXPECT_EQ(statusOf(copied), 3 << 8);
    EXPECT_EQ(statusOf(functionCall(five)), 5 << 8);
    // One that changes itself does so in the child.
    const TExec counting = functionCall([n = 0]() mutable { return ++n; });
    EXPECT_EQ(statusOf(counting), 1 << 8);
    EXPECT_EQ(statusOf(counting), 1 << 8);
    EXPECT_EQ(counting.mode(), 7U);
    EXPECT_EQ(counting.args().size(), 0U);
}

TEST_F(FunctionCall, TheWaitBitIsClearedForGood) {
    for (const std::uint64_t extra : {0ULL, 1ULL << 40, ~7ULL}) {
        TExec exec = functionCall(five).withMode(TExec::def_mode | extra);
        const TExec copy(exec);
        for (int run = 0; run < 2; ++run) {
            EXPECT_EQ(reap(exec.run().pid), 5 << 8);
            EXPECT_EQ(exec.mode(), 5U);
        }
        EXPECT_EQ(copy.mode(), TExec::def_mode | extra);
    }
}

TEST_F(FunctionCall, AFailedForkIsThrownAndTheWaitBitStays) {
    isolated([] {
        TExec exec = functionCall(five);
        const test::NoNewProcesses limit;
        EXPECT_EQ(test::thrownErrno([&] { exec.run(); }), EAGAIN);
        EXPECT_EQ(exec.mode(), 7U);
    });
}

TEST_F(FunctionCall, WithoutForkModeTheProcessItselfEndsWithTheResult) {
    const test::Captured captured = test::inChild([] {
        functionCall(five).withMode(TExec::path_mode).run();
        std::cout << "came back" << std::endl;
    });
    EXPECT_TRUE(captured.exited(5));
    EXPECT_EQ(captured.out, "");
}

TEST_F(FunctionCall, TheChildRunsTheExitHandlers) {
    const test::Captured captured = test::inChild([] {
        static pid_t owner;
        owner = ::getpid();
        std::atexit(
            [] { std::cout << (::getpid() == owner ? "parent " : "child ") << std::flush; });
        reap(functionCall(five).run().pid);
    });
    EXPECT_EQ(captured.out, "child parent ");
}

TEST_F(FunctionCall, EarlierPreparersActBeforeItAndNothingFollows) {
    const test::Captured captured = test::inChild([] {
        const TExec exec = test::probe({"exit", "9"})
                               .with(test::tellingHooks("1."))
                               .with(TExec::Preparer(new TFnCall<Body>(five)))
                               .with(test::tellingHooks("3."));
        std::exit(statusOf(exec) >> 8);
    });
    EXPECT_TRUE(captured.exited(5));
    EXPECT_EQ(captured.out, "1.beforeFork 3.beforeFork 1.inParent 3.inParent ");
    EXPECT_EQ(captured.err, "1.inChild 3.inChild 1.beforeExec ");
}

}  // namespace
}  // namespace zarnic::sys

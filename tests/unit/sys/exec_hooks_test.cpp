// Which hooks of its preparer a run calls, and what it comes to when something fails.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <new>
#include <optional>

#include "tests/unit/sys/hooks.h"
#include "zarnic/sys/exec.h"

namespace {

// What freeing an array leaves in errno: the allocator may make system calls.
bool freeing_spoils_errno = false;

}  // namespace

// Of arrays only: these are the copies of the arguments.
void* operator new[](std::size_t size) {
    void* const memory = std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void operator delete[](void* memory) noexcept {
    std::free(memory);
    if (freeing_spoils_errno) {
        errno = ERANGE;
    }
}

void operator delete[](void* memory, std::size_t /*size*/) noexcept {
    operator delete[](memory);
}

namespace zarnic::sys {
namespace {

using test::declined;
using test::isolated;
using test::probe;
using test::program;
using test::thrownErrno;

const test::Words missing = {"/no/such/program", "argument"};
const test::Words present = {PROBE_PATH, "exit", "3"};

TExec hooked(const TExec& exec, const test::Hooks::Function& function) {
    return exec.with(test::hooks(function));
}

// What a run comes to, in the caller or in the child that comes back in its place: the exit
// code, the number of the error, or `declined`.
int endOf(TExec& exec) {
    try {
        const TExecResult result = test::runOnce(exec);
        return result.pid == -1 && result.code == 0 ? declined : result.code;
    } catch (const TSysCallErr& error) {
        return error.error();
    }
}

class ExecHooks : public test::RunTest {};

enum class Fails { nothing, fork, exec, wait };

TEST_F(ExecHooks, AreCalledInOrderAndAskedOnceAboutAFailure) {
    const struct {
        Fails fails;
        std::uint64_t mode;
        std::optional<bool> answer;  // none without a preparer
        int end;
        std::string parent;
        std::string child;
    } rows[] = {
        {Fails::nothing, 7, true, 3, "beforeFork inParent ", "inChild beforeExec "},
        {Fails::nothing, 5, true, 0, "beforeFork inParent ", "inChild beforeExec "},
        {Fails::nothing, 6, true, 3, "beforeExec ", ""},
        {Fails::nothing, 0, true, 3, "beforeExec ", ""},
        {Fails::fork, 7, {}, EAGAIN, "", ""},
        {Fails::fork, 7, true, EAGAIN, "beforeFork forkFailed ", ""},
        {Fails::fork, 5, true, EAGAIN, "beforeFork forkFailed ", ""},
        {Fails::fork, 7, false, declined, "beforeFork forkFailed ", ""},
        {Fails::exec, 7, true, ENOENT, "beforeFork inParent ",
         "inChild beforeExec execFailed "},
        {Fails::exec, 7, false, declined, "beforeFork inParent ",
         "inChild beforeExec execFailed "},
        {Fails::exec, 4, true, ENOENT, "beforeExec execFailed ", ""},
        {Fails::exec, 4, false, declined, "beforeExec execFailed ", ""},
        {Fails::wait, 7, false, ECHILD, "beforeFork inParent ", "inChild beforeExec "},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(&row - rows);
        const test::Captured captured = test::inChild([&] {
            TExec exec = program(row.fails == Fails::exec ? missing : present, row.mode);
            // Leaves a foreign errno behind, as a hook that makes system calls may.
            const auto tell = [&, owner = ::getpid()](const std::string& hook, TExec& running) {
                (::getpid() == owner ? std::cout : std::cerr)
                    << hook << (&running == &exec ? " " : "(foreign) ") << std::flush;
                errno = ERANGE;
                return *row.answer;
            };
            if (row.answer) {
                exec = hooked(exec, tell);
            }
            if (row.fails == Fails::wait) {
                ::signal(SIGCHLD, SIG_IGN);  // the child is gone before anybody can ask for it
            }
            std::optional<test::NoNewProcesses> limit;
            if (row.fails == Fails::fork) {
                limit.emplace();
            }
            const int end = endOf(exec);
            limit.reset();
            while (::wait(nullptr) > 0) {}  // a child that the run did not wait for
            std::exit(end);
        });
        EXPECT_TRUE(captured.exited(row.end)) << captured.status;
        EXPECT_EQ(captured.out, row.parent);
        EXPECT_EQ(captured.err, row.child);
    }
}

TEST_F(ExecHooks, AnErrorOfAHookPassesThrough) {
    for (const std::string thrower : {"beforeFork", "inParent", "inChild", "beforeExec"}) {
        isolated([&] {
            TExec exec = hooked(probe({"exit", "3"}), [&](const std::string& hook, TExec&) {
                if (hook == thrower) {
                    throw TSysCallErr(ENOSPC);
                }
                return true;
            });
            EXPECT_EQ(endOf(exec), ENOSPC) << thrower;
            EXPECT_EQ(test::childless(), thrower != "inParent") << thrower;
        });
    }
}

// The caller waits after all, and the child no longer searches PATH.
TEST_F(ExecHooks, AModeThatOneSetsCountsFromThenOn) {
    const auto setMode = [](const std::string& hook, TExec& running) {
        if (hook == "inParent") {
            running.setMode(7);
        } else if (hook == "beforeExec") {
            running.setMode(3);
        }
        return true;
    };
    TExec exec = hooked(program({"cat", "/dev/null"}, 5), setMode);
    EXPECT_EQ(endOf(exec), ENOENT);
    EXPECT_EQ(exec.mode(), 7U);
}

class ExecFailures : public test::RunTest {};

TEST_F(ExecFailures, AnEmptyListFailsLikeAnEmptyFileName) {
    for (const std::uint64_t mode : {3U, 7U}) {
        TExec nothing = program({}, mode);
        EXPECT_EQ(endOf(nothing), ENOENT);
    }
}

// The runner ends no process: the child comes back with the error, through all that the caller
// has on its stack.
TEST_F(ExecFailures, AnExecErrorTravelsUpTheChildsOwnStack) {
    const test::Captured captured = test::inChild([] {
        struct Unwound {
            ~Unwound() { std::cout << "unwound" << std::endl; }
        };
        try {
            const Unwound guard;
            const TExecResult result = program(missing).run();
            std::cout << "code " << result.code << std::endl;
        } catch (const TSysCallErr& error) {
            std::cout << error.message() << std::endl;
            std::exit(9);
        }
    });
    EXPECT_TRUE(captured.exited(0));
    EXPECT_EQ(captured.out,
              std::string("unwound\n") + std::strerror(ENOENT) + "\ncode 9\nunwound\n");
}

TEST_F(ExecFailures, WaitIsOnceWithoutRetry) {
    isolated([] {
        const test::Interrupts interrupts;
        const pid_t self = ::getpid();
        TExec exec = test::inChildDo([&] {
            interrupts.interrupt(self);
            return 3;
        });
        EXPECT_EQ(thrownErrno([&] { exec.run(); }), EINTR);
        EXPECT_EQ(interrupts.count(), 1);
        int status = 0;
        EXPECT_GT(::wait(&status), 0);
        EXPECT_EQ(status, 3 << 8);
    });
}

// Without fork mode the error comes out in this very process.
TEST_F(ExecFailures, TheErrorIsTakenBeforeTheArgumentsAreFreed) {
    TExec exec = program(missing, 0);
    freeing_spoils_errno = true;
    const int error = thrownErrno([&] { exec.run(); });
    freeing_spoils_errno = false;
    EXPECT_EQ(error, ENOENT);
    EXPECT_EQ(errno, ERANGE) << "nothing was freed, so nothing was tested";
    EXPECT_EQ(exec.args().elements(), missing);
}

}  // namespace
}  // namespace zarnic::sys

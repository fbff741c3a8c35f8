#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <new>

#include "tests/unit/sys/runs.h"
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

using test::isolated;
using test::probe;
using test::program;
using test::runOnce;
using test::thrownErrno;

// Answers the two questions as told, and leaves a foreign errno behind, as a hook that makes
// system calls of its own may.
class Answers : public TExec::TPrepare {
  public:
    Answers(bool forkFailed, bool execFailed) : fork_(forkFailed), exec_(execFailed) {}
    bool forkFailed(TExec& /*exec*/) override {
        errno = ERANGE;
        return fork_;
    }
    bool execFailed(TExec& /*exec*/) override {
        errno = ERANGE;
        return exec_;
    }

  private:
    bool fork_;
    bool exec_;
};

TExec::Preparer answers(bool forkFailed, bool execFailed) {
    return TExec::Preparer(new Answers(forkFailed, execFailed));
}

class ExecFailures : public test::RunTest {};

TEST_F(ExecFailures, AFailedForkIsThrown) {
    isolated([] {
        const test::NoNewProcesses limit;
        EXPECT_EQ(thrownErrno([] { probe({"exit", "0"}).run(); }), EAGAIN);
    });
}

TEST_F(ExecFailures, AFailedForkIsThrownWithoutWaitModeToo) {
    isolated([] {
        const test::NoNewProcesses limit;
        EXPECT_EQ(thrownErrno([] { probe({"exit", "0"}, 5).run(); }), EAGAIN);
    });
}

TEST_F(ExecFailures, APreparerThatAcceptsAFailedForkLetsItBeThrown) {
    isolated([] {
        const test::NoNewProcesses limit;
        TExec exec = probe({"exit", "0"}).with(answers(true, false));
        EXPECT_EQ(thrownErrno([&] { exec.run(); }), EAGAIN);
    });
}

TEST_F(ExecFailures, APreparerThatDeclinesAFailedForkGivesPidMinusOne) {
    isolated([] {
        const test::NoNewProcesses limit;
        const TExecResult result = probe({"exit", "0"}).with(answers(false, true)).run();
        EXPECT_EQ(result.pid, -1);
        EXPECT_EQ(result.code, 0);
    });
}

TEST_F(ExecFailures, AHookThatChangesErrnoDoesNotChangeTheReportedForkError) {
    isolated([] {
        const test::NoNewProcesses limit;
        TExec exec = probe({"exit", "0"}).with(answers(true, true));
        EXPECT_EQ(thrownErrno([&] { exec.run(); }), EAGAIN);
        EXPECT_EQ(errno, ERANGE);
    });
}

TEST_F(ExecFailures, AMissingProgramIsThrownInTheChild) {
    EXPECT_EQ(runOnce(program({"/no/such/program"})).code, ENOENT);
}

TEST_F(ExecFailures, AProgramThatIsNotExecutableIsThrownInTheChild) {
    const test::TempDir dir;
    test::writeFile(dir / "plain", "exit 0\n");
    EXPECT_EQ(runOnce(program({dir / "plain"})).code, EACCES);
}

TEST_F(ExecFailures, AMissingProgramIsThrownInTheProcessItselfWithoutForkMode) {
    isolated([] {
        for (const std::uint64_t mode : {0U, 2U, 4U, 6U}) {
            EXPECT_EQ(thrownErrno([&] { program({"/no/such/program"}, mode).run(); }), ENOENT);
        }
    });
}

TEST_F(ExecFailures, AnEmptyListFailsLikeAnEmptyFileName) {
    for (const std::uint64_t mode : {3U, 7U}) {
        EXPECT_EQ(runOnce(program({}, mode)).code, ENOENT);
        EXPECT_EQ(runOnce(program({""}, mode)).code, ENOENT);
    }
}

TEST_F(ExecFailures, APreparerThatAcceptsAFailedExecLetsItBeThrown) {
    EXPECT_EQ(runOnce(program({"/no/such/program"}).with(answers(false, true))).code, ENOENT);
}

TEST_F(ExecFailures, APreparerThatDeclinesAFailedExecGivesPidMinusOneInTheChild) {
    EXPECT_EQ(runOnce(program({"/no/such/program"}).with(answers(true, false))).code,
              test::declined);
}

TEST_F(ExecFailures, APreparerThatDeclinesAFailedExecGivesPidMinusOneInTheProcessItself) {
    isolated([] {
        const TExecResult result =
            program({"/no/such/program"}, 4).with(answers(true, false)).run();
        EXPECT_EQ(result.pid, -1);
        EXPECT_EQ(result.code, 0);
    });
}

TEST_F(ExecFailures, AHookThatChangesErrnoDoesNotChangeTheReportedExecError) {
    isolated([] {
        TExec exec = program({"/no/such/program"}, 4).with(answers(true, true));
        EXPECT_EQ(thrownErrno([&] { exec.run(); }), ENOENT);
        EXPECT_EQ(errno, ERANGE);
    });
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
            const TExecResult result = program({"/no/such/program"}).run();
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

TEST_F(ExecFailures, AFailedExecLeavesNoDescriptorInTheParent) {
    const auto own = test::descriptors();
    runOnce(program({"/no/such/program"}));
    EXPECT_EQ(test::descriptors(), own);
}

// With SIGCHLD ignored the children are gone before anybody can ask for them.
TEST_F(ExecFailures, AWaitWithoutAChildIsThrown) {
    isolated([] {
        ::signal(SIGCHLD, SIG_IGN);
        EXPECT_EQ(thrownErrno([] { probe({"exit", "3"}).run(); }), ECHILD);
    });
}

TEST_F(ExecFailures, APreparerIsNotAskedAboutAFailedWait) {
    isolated([] {
        ::signal(SIGCHLD, SIG_IGN);
        TExec exec = probe({"exit", "3"}).with(answers(false, false));
        EXPECT_EQ(thrownErrno([&] { exec.run(); }), ECHILD);
    });
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
    TExec missing = program({"/no/such/program", "argument"}, 0);
    freeing_spoils_errno = true;
    const int error = thrownErrno([&] { missing.run(); });
    freeing_spoils_errno = false;
    EXPECT_EQ(error, ENOENT);
    EXPECT_EQ(errno, ERANGE) << "nothing was freed, so nothing was tested";
    EXPECT_EQ(missing.args().elements(), (test::Words{"/no/such/program", "argument"}));
}

}  // namespace
}  // namespace zarnic::sys

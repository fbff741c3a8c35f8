#include "lib/sys/after_fork.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <iostream>
#include <new>

#include "tests/support/escaped.h"
#include "tests/unit/sys/runs.h"

namespace {

// What freeing an array leaves in errno: the allocator may make system calls.
bool freeing_spoils_errno = false;

}  // namespace

// Of arrays only: these are the argument copies under test.
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

class AfterFork : public test::RunTest {
  protected:
    static TEArgs listOf(const test::Words& words) { return test::program(words).args(); }

    const test::TempDir dir;
};

TEST_F(AfterFork, ItBecomesTheProgram) {
    const test::Captured captured = test::inChild([] {
        std::cout << "own " << ::getpid() << std::endl;
        execProgram(listOf({PROBE_PATH, "report"}), false);
    });
    EXPECT_TRUE(captured.exited(0));
    EXPECT_EQ(test::reported(captured.out, "pid"), test::reported(captured.out, "own"));
    EXPECT_EQ(test::reported(captured.out, "argv"),
              (test::Words{test::escaped(PROBE_PATH), "report"}));
}

TEST_F(AfterFork, WithSearchABareNameIsFoundThroughPath) {
    const auto captured = test::inChild([] { execProgram(listOf({"echo", "found"}), true); });
    EXPECT_EQ(captured.out, "found\n");
}

TEST_F(AfterFork, WithoutSearchABareNameIsNotFound) {
    EXPECT_EQ(execProgram(listOf({"echo", "found"}), false), ENOENT);
}

TEST_F(AfterFork, AMissingProgramIsReportedByItsErrorNumber) {
    EXPECT_EQ(execProgram(listOf({"/no/such/program"}), false), ENOENT);
    EXPECT_EQ(execProgram(listOf({"/no/such/program"}), true), ENOENT);
    EXPECT_EQ(execProgram(listOf({"no_such_program_anywhere"}), true), ENOENT);
}

TEST_F(AfterFork, AFileThatIsNotExecutableIsReportedByItsErrorNumber) {
    test::writeFile(dir / "plain", "exit 0\n");
    EXPECT_EQ(execProgram(listOf({dir / "plain"}), false), EACCES);
    EXPECT_EQ(execProgram(listOf({dir / "plain"}), true), EACCES);
}

TEST_F(AfterFork, AnEmptyListFailsAsTheEmptyFileNameDoes) {
    for (const bool search : {false, true}) {
        EXPECT_EQ(execProgram(TEArgs(), search), ENOENT);
        EXPECT_EQ(execProgram(listOf({""}), search), ENOENT);
    }
}

TEST_F(AfterFork, TheErrorIsTakenBeforeTheArgumentsAreFreed) {
    freeing_spoils_errno = true;
    const int error = execProgram(listOf({"/no/such/program", "argument"}), false);
    freeing_spoils_errno = false;
    EXPECT_EQ(error, ENOENT);
    EXPECT_EQ(errno, ERANGE) << "nothing was freed, so nothing was tested";
}

TEST_F(AfterFork, TheListIsUnchangedAfterAFailure) {
    const TEArgs args = listOf({"/no/such/program", "a", ""});
    execProgram(args, false);
    EXPECT_EQ(args.elements(), (test::Words{"/no/such/program", "a", ""}));
}

}  // namespace
}  // namespace zarnic::sys

// Runs whose children attach files, with memory refused to the children.

#include <string>

#include "tests/failures/memory/refusal.h"
#include "tests/support/capture.h"
#include "zarnic/sys/exec_list.h"

namespace {

using test::Attempt;
using test::forEveryRefusal;
using test::out_of_memory;
using test::Refused;
using test::runRefused;
using zarnic::sys::TEArgs;
using zarnic::sys::TExec;
using zarnic::sys::TExecList;
using zarnic::sys::TExecResult;

class RefusedAttachedRun : public testing::Test {
  protected:
    RefusedAttachedRun() { test::writeFile(input, "12345"); }

    static TExecResult run(const Attempt& attempt, TExec exec) {
        TExecResult result{0, 0};
        EXPECT_FALSE(runRefused(attempt, [&] { result = exec.run(); }));
        return result;
    }

    // With each request of the child refused: it comes back by std::bad_alloc and adds nothing
    // to what is `kept` of the output, or the program ran and added what it counted.
    void refuse(const TExec& exec, const std::string& kept) {
        forEveryRefusal(
            [&](Attempt& attempt) {
                test::writeFile(output, "before ");
                const TExecResult result = run(attempt, exec);
                EXPECT_EQ(result.code, attempt.refused() ? out_of_memory : 0);
                EXPECT_EQ(test::readFile(output), attempt.refused() ? kept : kept + "5");
            },
            Refused::children);
    }

    const test::TempDir dir;
    const std::string input = dir / "input-with-a-name-that-is-long-enough";
    const std::string output = dir / "output-with-a-name-that-is-long-enough";
    const TExec count = TExec(TEArgs() << PROBE_PATH << "count");
};

TEST_F(RefusedAttachedRun, InputAndAppendedOutput) {
    refuse(count.fromFile(input).appendToFile(output), "before ");
}

TEST_F(RefusedAttachedRun, AnyDescriptorToAFile) {
    refuse(count.fromFile(input).redirectToFile(1, output, true), "before ");
    refuse(count.fromFile(input).redirectToFile(1, output, false), "");
}

TEST_F(RefusedAttachedRun, CallerNeedsNoMemoryToRunAPipeline) {
    TExecList list = count.fromFile(input) | count.toFile(output);
    const Attempt attempt(1, true, Refused::caller);
    TExecResult result{0, 0};
    EXPECT_FALSE(runRefused(attempt, [&] { result = runList(list); }));
    EXPECT_FALSE(attempt.refused());
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(test::readFile(output), "1");
}

}  // namespace

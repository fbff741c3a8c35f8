#include "zarnic/sys/prepare.h"

#include <gtest/gtest.h>

#include "zarnic/sys/exec.h"

namespace zarnic::sys {
namespace {

TEST(Prepare, AHookThatIsNotOverriddenDoesNothingAndLetsTheRunnerThrow) {
    TExec exec(el);
    const std::uint64_t mode = exec.mode();
    TPrepare plain;
    plain.beforeFork(exec);
    plain.inParent(exec);
    plain.inChild(exec);
    plain.beforeExec(exec);
    EXPECT_TRUE(plain.forkFailed(exec));
    EXPECT_TRUE(plain.execFailed(exec));
    EXPECT_EQ(exec.mode(), mode);
    EXPECT_EQ(exec.args().size(), 0U);
}

}  // namespace
}  // namespace zarnic::sys

#include "manager/answer.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>

#include "tests/support/capture.h"

namespace {

TEST(Answer, WritesTheLineAndALineFeed) {
    const test::Captured child = test::inChild([] { answer("Service is started"); });
    EXPECT_EQ(child.out, "Service is started\n");
    EXPECT_EQ(child.err, "");
}

TEST(Answer, WritesAnyBytesInTheirFullLength) {
    std::string every;
    for (int byte = 0; byte < 256; ++byte) {
        every += static_cast<char>(byte);
    }
    const test::Captured child = test::inChild([&] {
        answer(every);
        answer("");
        answer(std::string(100000, 'x'));
    });
    EXPECT_EQ(child.out, every + "\n\n" + std::string(100000, 'x') + "\n");
}

TEST(Answer, LeavesNothingInTheBuffer) {
    const test::Captured child = test::inChild([] {
        answer("once");
        std::_Exit(0);
    });
    EXPECT_EQ(child.out, "once\n");
}

TEST(Answer, FailedWriteIsIgnored) {
    const test::Captured full = test::inChild([] {
        ::dup2(::open("/dev/full", O_WRONLY), STDOUT_FILENO);
        answer("lost");
        std::_Exit(7);
    });
    EXPECT_TRUE(full.exited(7));
    const test::Captured closed = test::inChild([] {
        ::close(STDOUT_FILENO);
        answer("lost");
        std::_Exit(7);
    });
    EXPECT_TRUE(closed.exited(7));
}

}  // namespace

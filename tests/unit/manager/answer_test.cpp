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

// A pipe of packets (pipe(2)) tells one write from another.
TEST(Answer, IsOneWriteWhateverItsLength) {
    for (const std::size_t length : {0U, 1U, 1022U, 1023U, 1024U, 1500U, 4094U}) {
        int ends[2];
        ASSERT_EQ(::pipe2(ends, O_DIRECT), 0);
        const test::Captured child = test::inChild([&] {
            ::dup2(ends[1], STDOUT_FILENO);
            writeAnswersAtOnce();
            answer(std::string(length, 'x'));
        });
        char packet[4096];
        EXPECT_EQ(::read(ends[0], packet, sizeof packet), static_cast<ssize_t>(length + 1));
        ::close(ends[0]);
        ::close(ends[1]);
    }
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

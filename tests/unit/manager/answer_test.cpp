#include "manager/answer.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "tests/support/capture.h"

namespace {

// A pipe of packets (pipe(2)) tells one write from another. With the buffer that is to be taken
// away, the C library writes the blocks that fill it and then the rest.
TEST(Answer, IsOneWriteWhateverItsLength) {
    for (const std::size_t length : {0U, 1U, 126U, 127U, 128U, 1500U, 4094U}) {
        int ends[2];
        ASSERT_EQ(::pipe2(ends, O_DIRECT), 0);
        test::inChild([&] {
            static char buffer[128];
            std::setvbuf(stdout, buffer, _IOFBF, sizeof buffer);
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

// A process that is forked later would write it a second time.
TEST(Answer, LeavesNothingInTheBuffer) {
    const test::Captured child = test::inChild([] {
        answer("once");
        std::_Exit(0);
    });
    EXPECT_EQ(child.out, "once\n");
}

}  // namespace

#include "zarnic/sys/pipe.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>

#include "tests/unit/sys/runs.h"

namespace zarnic::sys {
namespace {

using test::descriptors;
using test::isolated;

class Pipe : public test::RunTest {};

TEST_F(Pipe, BothEndsAreZeroUntilItIsMade) {
    const TPipe pipe;
    EXPECT_EQ(pipe.readEnd, 0);
    EXPECT_EQ(pipe.writeEnd, 0);
}

TEST_F(Pipe, DeclaringOneMakesNoDescriptor) {
    const auto before = descriptors();
    const TPipe pipe;
    EXPECT_EQ(descriptors(), before);
    EXPECT_EQ(pipe.readEnd, 0);
}

TEST_F(Pipe, WhatIsWrittenAtOneEndIsReadAtTheOther) {
    TPipe pipe;
    pipe.open();
    ASSERT_EQ(::write(pipe.writeEnd, "ab", 2), 2);
    char text[3] = {};
    EXPECT_EQ(::read(pipe.readEnd, text, sizeof text), 2);
    EXPECT_STREQ(text, "ab");
}

TEST_F(Pipe, ItIsInheritedByPrograms) {
    TPipe pipe;
    pipe.open();
    EXPECT_EQ(::fcntl(pipe.readEnd, F_GETFD), 0);
    EXPECT_EQ(::fcntl(pipe.writeEnd, F_GETFD), 0);
}

TEST_F(Pipe, ItBlocks) {
    TPipe pipe;
    pipe.open();
    EXPECT_EQ(::fcntl(pipe.readEnd, F_GETFL) & O_NONBLOCK, 0);
    EXPECT_EQ(::fcntl(pipe.writeEnd, F_GETFL) & O_NONBLOCK, 0);
}

TEST_F(Pipe, ASecondOneOverwritesTheFirstWithoutClosingIt) {
    const auto before = descriptors();
    TPipe pipe;
    pipe.open();
    const TPipe first(pipe);
    pipe.open();
    EXPECT_NE(pipe.readEnd, first.readEnd);
    EXPECT_NE(pipe.writeEnd, first.writeEnd);
    EXPECT_EQ(descriptors().size(), before.size() + 4);
}

TEST_F(Pipe, ItsEndLeavesTheDescriptorsOpen) {
    const auto before = descriptors();
    {
        TPipe pipe;
        pipe.open();
    }
    EXPECT_EQ(descriptors().size(), before.size() + 2);
}

TEST_F(Pipe, AFailureIsThrownAndKeepsTheOldValues) {
    isolated([] {
        TPipe pipe;
        const auto open = [&] {
            pipe.readEnd = 41;
            pipe.writeEnd = 42;
            pipe.open();
        };
        EXPECT_EQ(test::errnoWithoutDescriptors(open), EMFILE);
        EXPECT_EQ(pipe.readEnd, 41);
        EXPECT_EQ(pipe.writeEnd, 42);
    });
}

}  // namespace
}  // namespace zarnic::sys

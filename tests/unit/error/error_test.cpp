#include "zarnic/error/error.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <concepts>
#include <cstring>
#include <exception>
#include <string>
#include <type_traits>
#include <utility>

#include "tests/unit/error/live_blocks.h"
#include "zarnic/error/system_error.h"

namespace {

using test::live_blocks;
using zarnic::TError;
using zarnic::sys::TSysCallErr;
using zarnic::sys::TSysErr;

static_assert(std::derived_from<TError, std::exception>);
static_assert(std::derived_from<TSysErr, TError>);
static_assert(std::derived_from<TSysCallErr, TSysErr>);
static_assert(!std::derived_from<TError, std::runtime_error>);
static_assert(!std::derived_from<TError, zarnic::SystemError>);
static_assert(std::has_virtual_destructor_v<TError>);
static_assert(sizeof(TSysErr) == sizeof(TError), "a process-library base without own fields");
static_assert(std::is_constructible_v<TError, const std::string&>);
static_assert(!std::is_default_constructible_v<TError>, "an error always has a message");
static_assert(noexcept(std::declval<const TError&>().what()));

TEST(Error, KeepsItsMessage) {
    const TError error("something failed");
    EXPECT_EQ(error.message(), "something failed");
    EXPECT_STREQ(error.what(), "something failed");
}

TEST(Error, WhatIsTheMessagesOwnCharacters) {
    const TError error("a text that is too long to lie inside of the string object itself");
    EXPECT_EQ(error.what(), error.message().c_str());
}

TEST(Error, MessageHasItsFullLengthBeyondANulByte) {
    const std::string text("one\0two", 7);
    const TError error(text);
    EXPECT_EQ(error.message(), text);
    EXPECT_STREQ(error.what(), "one");
}

TEST(Error, NestedSlotIsEmptyWithACountOfOne) {
    const TError error("x");
    EXPECT_EQ(error.nested().get(), nullptr);
    EXPECT_EQ(error.nested().useCount(), 1);
    EXPECT_EQ(TSysErr("x").nested().get(), nullptr);
    EXPECT_EQ(TSysErr("x").nested().useCount(), 1);
    EXPECT_EQ(TSysCallErr(ENOENT).nested().get(), nullptr);
    EXPECT_EQ(TSysCallErr(ENOENT).nested().useCount(), 1);
}

TEST(Error, EachErrorHasASlotOfItsOwn) {
    const TError first("x");
    const TError second("x");
    EXPECT_EQ(first.nested().useCount(), 1);
    EXPECT_EQ(second.nested().useCount(), 1);
}

TEST(Error, CopyHasTheSameMessageAndSharesTheSlot) {
    const TError original("x");
    const TError copy(original);
    EXPECT_EQ(copy.message(), "x");
    EXPECT_EQ(original.nested().useCount(), 2);
    EXPECT_EQ(copy.nested().useCount(), 2);
}

TEST(Error, LastCopyFreesTheSharedCountOnce) {
    const long before = live_blocks;
    {
        const TError original("x");
        const TError copy(original);
        EXPECT_EQ(live_blocks, before + 1);  // the shared count; the text is inside
    }
    EXPECT_EQ(live_blocks, before);
}

TEST(Error, AssignmentTakesMessageAndSlotAndFreesTheFormerSlot) {
    const TError source("new");
    const long before = live_blocks;
    TError target("old");
    target = source;
    EXPECT_EQ(target.message(), "new");
    EXPECT_EQ(source.nested().useCount(), 2);
    EXPECT_EQ(live_blocks, before);
}

TEST(Error, ThrowSharesTheSlotBetweenTheOriginalAndTheCopies) {
    const TError original("x");
    try {
        throw TError(original);
    } catch (const TError& caught) {
        const TError copy(caught);
        EXPECT_EQ(copy.message(), "x");
        EXPECT_EQ(original.nested().useCount(), 3);
    }
    EXPECT_EQ(original.nested().useCount(), 1);
}

TEST(SystemCallError, OfEveryNumberIsTheBareSystemText) {
    for (int number = -3; number <= 200; ++number) {
        const TSysCallErr error(number);
        const std::string expected = std::strerror(number);
        EXPECT_EQ(error.message(), expected) << number;
        EXPECT_EQ(error.error(), number);
    }
}

TEST(SystemCallError, TakesTheNumberByValueAndNotFromErrno) {
    errno = EACCES;
    const TSysCallErr error(ENOENT);
    errno = EPERM;
    EXPECT_EQ(error.error(), ENOENT);
    EXPECT_EQ(error.message(), "No such file or directory");
}

// The system composes the text of an unknown number in a buffer that it uses again.
TEST(SystemCallError, KeepsItsTextWhenTheSystemReusesItsBuffer) {
    const TSysCallErr first(1000);
    const TSysCallErr second(1001);
    EXPECT_EQ(first.message(), "Unknown error 1000");
    EXPECT_EQ(second.message(), "Unknown error 1001");
}

TEST(SystemCallError, CopyKeepsNumberAndText) {
    const TSysCallErr original(EACCES);
    const TSysCallErr copy(original);
    EXPECT_EQ(copy.error(), EACCES);
    EXPECT_EQ(copy.message(), original.message());
    EXPECT_EQ(original.nested().useCount(), 2);
}

}  // namespace

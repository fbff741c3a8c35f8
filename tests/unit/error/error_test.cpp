#include "zarnic/error/error.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <concepts>
#include <cstring>
#include <exception>
#include <string>
#include <type_traits>
#include <utility>

#include "zarnic/error/system_error.h"

namespace {

using namespace std::string_literals;
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

TEST(Error, KeepsItsMessageInFullLengthAndWhatIsItsOwnCharacters) {
    const std::string text = "one\0two, and too long to lie inside of the string object"s;
    const TError error(text);
    EXPECT_EQ(error.message(), text);
    EXPECT_STREQ(error.what(), "one");
    EXPECT_EQ(error.what(), error.message().c_str());
}

TEST(Error, EachHasANestedSlotOfItsOwnThatIsEmpty) {
    const TError errors[] = {TError("x"), TSysErr("x"), TSysCallErr(ENOENT)};
    for (const TError& error : errors) {
        EXPECT_EQ(error.nested().get(), nullptr);
        EXPECT_EQ(error.nested().useCount(), 1);
    }
}

TEST(Error, CopiesAssignmentsAndThrowsShareTheSlot) {
    const TError original("x");
    TError target("old");
    target = original;
    EXPECT_EQ(target.message(), "x");
    EXPECT_EQ(original.nested().useCount(), 2);
    try {
        throw TError(original);
    } catch (const TError& caught) {
        const TError copy(caught);
        EXPECT_EQ(copy.message(), "x");
        EXPECT_EQ(original.nested().useCount(), 4);
    }
    EXPECT_EQ(original.nested().useCount(), 2);
}

// By value: whatever errno is. The system composes the text of an unknown number in a buffer
// that it uses again.
TEST(SystemCallError, KeepsNumberAndBareSystemTextInItsCopiesToo) {
    errno = EACCES;
    const TSysCallErr known(ENOENT);
    const TSysCallErr first(1000);
    const TSysCallErr second(1001);
    errno = EPERM;
    EXPECT_EQ(TSysCallErr(known).error(), ENOENT);
    EXPECT_EQ(TSysCallErr(known).message(), "No such file or directory");
    EXPECT_EQ(first.message(), "Unknown error 1000");
    EXPECT_EQ(second.message(), "Unknown error 1001");
    for (int number = -3; number <= 200; ++number) {
        EXPECT_EQ(TSysCallErr(number).message(), std::strerror(number));
        EXPECT_EQ(TSysCallErr(number).error(), number);
    }
}

}  // namespace

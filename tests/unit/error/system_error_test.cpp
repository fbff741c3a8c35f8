#include "zarnic/error/system_error.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <utility>

#include "zarnic/error/error.h"

namespace {

using zarnic::ExSystemError;
using zarnic::SystemError;
using zarnic::throw_system_error;

const std::string long_message(100, 'm');  // too long to lie inside of a string object

static_assert(std::is_base_of_v<std::runtime_error, SystemError>);
static_assert(!std::is_base_of_v<zarnic::TError, SystemError>, "the families are apart");
static_assert(std::has_virtual_destructor_v<SystemError>);
static_assert(noexcept(std::declval<const SystemError&>().what()));
static_assert(std::is_same_v<decltype(throw_system_error), void(const std::string&, int)>);

template <int N>
concept HasClass = std::is_class_v<ExSystemError<N>>;

// How many of the numbers from -49 to 200 have a class of their own.
template <int... N>
constexpr int countClasses(std::integer_sequence<int, N...>) {
    return (0 + ... + (HasClass<N - 49> ? 1 : 0));
}

static_assert(HasClass<1> && HasClass<2> && HasClass<4> && HasClass<10> && HasClass<11>);
static_assert(countClasses(std::make_integer_sequence<int, 250>()) == 5);

template <int N>
constexpr bool adds_nothing = std::is_base_of_v<SystemError, ExSystemError<N>> &&
                              sizeof(ExSystemError<N>) == sizeof(SystemError) &&
                              !std::is_default_constructible_v<ExSystemError<N>>;

static_assert(adds_nothing<1> && adds_nothing<2> && adds_nothing<4>);
static_assert(adds_nothing<10> && adds_nothing<11>);

// Compiles without a warning only while the function is known not to return.
[[maybe_unused]] int endsInAThrow() { throw_system_error("x", 1); }

// What the function threw: its class, number and text.
struct Thrown {
    const std::type_info* type = nullptr;
    int number = INT_MIN;
    std::string what;
};

Thrown thrownBy(const std::string& message, int number) {
    try {
        throw_system_error(message, number);
    } catch (const SystemError& error) {
        return {&typeid(error), error.error(), error.what()};
    }
    return {};
}

const std::type_info& classOf(int number) {
    switch (number) {
        case 1:
            return typeid(ExSystemError<1>);
        case 2:
            return typeid(ExSystemError<2>);
        case 4:
            return typeid(ExSystemError<4>);
        case 10:
            return typeid(ExSystemError<10>);
        case 11:
            return typeid(ExSystemError<11>);
        default:
            return typeid(SystemError);
    }
}

TEST(SystemError, WithEmptyMessageGivesTheSameTextTwice) {
    const SystemError error("", 10);
    EXPECT_STREQ(error.what(), "No child processes");
    EXPECT_STREQ(error.what(), "No child processes");
}

TEST(SystemError, SecondWhatDoesNotAppendTheTextAgain) {
    const SystemError error("x", 2);
    EXPECT_STREQ(error.what(), "x: No such file or directory");
    EXPECT_STREQ(error.what(), "x: No such file or directory");
}

TEST(SystemError, SecondWhatReturnsTheTextOfTheFirst) {
    const SystemError error(long_message, 2);
    const char* const first = error.what();
    EXPECT_EQ(error.what(), first);
}

TEST(SystemError, WhatSpeaksOfItsOwnNumberAndNotOfErrno) {
    const SystemError error("x", 2);
    errno = EPERM;
    EXPECT_STREQ(error.what(), "x: No such file or directory");
    EXPECT_EQ(error.error(), 2);
}

TEST(SystemError, HoldsTheCallersMessage) {
    std::string message = "x";
    const SystemError error(message, 2);
    message = "y";
    EXPECT_STREQ(error.std::runtime_error::what(), "x");
    EXPECT_STREQ(error.what(), "x: No such file or directory");
    EXPECT_STREQ(error.std::runtime_error::what(), "x");
}

TEST(SystemError, CopyMadeBeforeWhatComposesForItself) {
    const SystemError original(long_message, 2);
    const SystemError copy(original);
    EXPECT_EQ(copy.what(), long_message + ": No such file or directory");
    EXPECT_EQ(copy.error(), 2);
}

TEST(SystemError, CopyMadeAfterWhatOutlivesTheOriginal) {
    const SystemError copy = [] {
        const SystemError original(long_message, 2);
        EXPECT_NE(original.what(), nullptr);
        return SystemError(original);
    }();
    EXPECT_EQ(copy.what(), long_message + ": No such file or directory");
}

TEST(SystemError, ComposesTheTextOfEveryNumber) {
    for (int number = -3; number <= 200; ++number) {
        const SystemError error("x", number);
        const std::string expected = std::string("x: ") + std::strerror(number);
        EXPECT_EQ(error.what(), expected);
        EXPECT_EQ(error.error(), number);
    }
}

TEST(NumberedSystemError, AlwaysHoldsItsNumber) {
    EXPECT_EQ(ExSystemError<1>("x").error(), 1);
    EXPECT_EQ(ExSystemError<2>("x").error(), 2);
    EXPECT_EQ(ExSystemError<4>("x").error(), 4);
    EXPECT_EQ(ExSystemError<10>("x").error(), 10);
    EXPECT_EQ(ExSystemError<11>("x").error(), 11);
}

TEST(ThrowSystemError, InterruptedCallIsCaughtByItsNumber) {
    try {
        throw_system_error("x", 4);
        FAIL() << "it returned";
    } catch (const ExSystemError<4>& error) {
        EXPECT_STREQ(error.what(), "x: Interrupted system call");
    }
}

TEST(ThrowSystemError, EveryNumberIsThrownInItsClass) {
    errno = EINTR;  // must not matter beside a number of its own
    for (int number = 1; number <= 200; ++number) {
        const Thrown thrown = thrownBy("x", number);
        EXPECT_EQ(*thrown.type, classOf(number)) << number;
        EXPECT_EQ(thrown.number, number);
        EXPECT_EQ(thrown.what, std::string("x: ") + std::strerror(number));
    }
}

TEST(ThrowSystemError, NegativeAndHugeNumbersAreThrownAsTheyAre) {
    errno = EINTR;
    for (const int number : {INT_MIN, -11, -4, -1, 4096, INT_MAX}) {
        const Thrown thrown = thrownBy("x", number);
        EXPECT_EQ(*thrown.type, typeid(SystemError)) << number;
        EXPECT_EQ(thrown.number, number);
    }
}

TEST(ThrowSystemError, ZeroStandsForErrnoInThePlainClassWhateverItsValue) {
    for (int number = 0; number <= 200; ++number) {
        errno = number;
        const Thrown thrown = thrownBy(long_message, 0);
        EXPECT_EQ(*thrown.type, typeid(SystemError)) << number;
        EXPECT_EQ(thrown.number, number);
        EXPECT_EQ(thrown.what, long_message + ": " + std::strerror(number));
    }
}

TEST(ThrowSystemError, EachIsNoLibraryError) {
    for (const int number : {1, 2, 3, 4, 10, 11}) {
        bool isLibraryError = true;
        try {
            throw_system_error("x", number);
        } catch (const zarnic::TError&) {
        } catch (const SystemError&) {
            isLibraryError = false;
        }
        EXPECT_FALSE(isLibraryError) << number;
    }
}

}  // namespace

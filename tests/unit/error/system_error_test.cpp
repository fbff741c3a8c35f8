#include "zarnic/error/system_error.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <map>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <typeindex>
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

const std::string suffix = ": No such file or directory";

TEST(SystemError, WhatIsComposedOnceOfItsOwnMessageAndNumber) {
    std::string message = "x";
    const SystemError error(message, ENOENT);
    message = "y";
    errno = EPERM;
    EXPECT_STREQ(error.std::runtime_error::what(), "x");
    EXPECT_EQ(error.what(), "x" + suffix);
    EXPECT_EQ(error.what(), "x" + suffix);
    EXPECT_STREQ(error.std::runtime_error::what(), "x");
    EXPECT_EQ(error.error(), ENOENT);
    EXPECT_STREQ(SystemError("", ECHILD).what(), "No child processes");
    const SystemError longer(long_message, ENOENT);
    const char* const first = longer.what();
    EXPECT_EQ(longer.what(), first);
}

TEST(SystemError, CopiesComposeForThemselvesAndOutliveTheOriginal) {
    for (const bool before : {true, false}) {
        const SystemError copy = [before] {
            const SystemError original(long_message, ENOENT);
            if (!before) {
                EXPECT_EQ(original.what(), long_message + suffix);
            }
            return SystemError(original);
        }();
        EXPECT_EQ(copy.what(), long_message + suffix);
        EXPECT_EQ(copy.error(), ENOENT);
    }
}

// --- what is thrown ---

const std::map<int, std::type_index> classes = {{1, typeid(ExSystemError<1>)},
                                                {2, typeid(ExSystemError<2>)},
                                                {4, typeid(ExSystemError<4>)},
                                                {10, typeid(ExSystemError<10>)},
                                                {11, typeid(ExSystemError<11>)}};

void expectThrown(int given, std::type_index type, int number) {
    try {
        throw_system_error(long_message, given);
        FAIL() << "it returned";
    } catch (const SystemError& error) {
        EXPECT_EQ(std::type_index(typeid(error)), type) << given;
        EXPECT_EQ(error.error(), number);
        EXPECT_EQ(error.what(), long_message + ": " + std::strerror(number));
    }
}

TEST(ThrowSystemError, EveryNumberIsThrownInItsClass) {
    for (const int number : {INT_MIN, -11, -4, -1, 4096, INT_MAX}) {
        errno = EINTR;  // must not matter beside a number of its own
        expectThrown(number, typeid(SystemError), number);
    }
    for (int number = 1; number <= 200; ++number) {
        errno = EINTR;
        const auto found = classes.find(number);
        const bool known = found != classes.end();
        expectThrown(number, known ? found->second : typeid(SystemError), number);
    }
}

TEST(ThrowSystemError, ZeroStandsForErrnoInThePlainClassWhateverItsValue) {
    for (int number = 0; number <= 200; ++number) {
        errno = number;
        expectThrown(0, typeid(SystemError), number);
    }
}

TEST(ThrowSystemError, EachIsNoLibraryError) {
    for (const int number : {1, 2, 3, 4, 10, 11}) {
        try {
            throw_system_error("x", number);
        } catch (const zarnic::TError&) {
            ADD_FAILURE() << number;
        } catch (const SystemError&) {}
    }
}

}  // namespace

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <type_traits>

#include "zarnic/sys/exec_args.h"

namespace zarnic::sys {
namespace {

TEArgs listOf(std::size_t count) {
    TEArgs args;
    for (std::size_t i = 0; i < count; ++i) {
        args << std::to_string(i);
    }
    return args;
}

std::string overflow(std::size_t count, std::size_t added) {
    return "The number of arguments has exceeded the defined limits (arguments number = " +
           std::to_string(count) + ", add. arguments number = " + std::to_string(added) +
           ", max = 100)";
}

// The message of the TOverflow that `action` throws; empty when it throws none.
template <class Action>
std::string overflowOf(const Action& action) {
    try {
        action();
    } catch (const TEArgs::TOverflow& error) {
        return error.message();
    }
    return {};
}

// The message of the TOutOfRange for an index; empty when there is an element.
std::string outOfRangeOf(const TEArgs& args, std::size_t index) {
    try {
        args.at(index);
    } catch (const TEArgs::TOutOfRange& error) {
        EXPECT_EQ(error.index(), index);
        return error.message();
    }
    return {};
}

TEST(ExecArgsErrors, AHundredAdditionsFitAndTheNextIsRefused) {
    TEArgs args = listOf(100);
    EXPECT_EQ(args.size(), TEArgs::max_size);
    EXPECT_EQ(overflowOf([&] { args << "one more"; }), overflow(100, 1));
    EXPECT_EQ(args.size(), 100U);
}

TEST(ExecArgsErrors, AStringTooManyIsRefusedLikeACharacterString) {
    TEArgs args = listOf(100);
    EXPECT_EQ(overflowOf([&] { args << std::string("one more"); }), overflow(100, 1));
    EXPECT_EQ(args.size(), 100U);
}

TEST(ExecArgsErrors, AppendingThreeToNinetyEightIsRefused) {
    TEArgs args = listOf(98);
    EXPECT_EQ(overflowOf([&] { args.append(listOf(3)); }), overflow(98, 3));
    EXPECT_EQ(args.size(), 98U);
}

TEST(ExecArgsErrors, AppendingTwoToNinetyEightGivesExactlyAHundred) {
    TEArgs args = listOf(98);
    args.append(listOf(2));
    EXPECT_EQ(args.size(), 100U);
    EXPECT_EQ(args.at(99), "1");
}

TEST(ExecArgsErrors, EveryPairOfLengthsFitsExactlyUpToTheLimit) {
    for (std::size_t count = 0; count <= 100; ++count) {
        const TEArgs base = listOf(count);
        for (std::size_t added = 0; added <= 100; ++added) {
            TEArgs args(base);
            const TEArgs tail = listOf(added);
            const std::string refusal = overflowOf([&] { args.append(tail); });
            const bool fits = count + added <= 100;
            ASSERT_EQ(refusal, fits ? "" : overflow(count, added));
            ASSERT_EQ(args.size(), fits ? count + added : count);
        }
    }
}

TEST(ExecArgsErrors, AListOfFiftyOneCannotBeAppendedToItself) {
    TEArgs args = listOf(51);
    EXPECT_EQ(overflowOf([&] { args.append(args); }), overflow(51, 51));
    EXPECT_EQ(args.size(), 51U);
}

TEST(ExecArgsErrors, NothingCanBeAppendedToAFullListWithoutHarm) {
    TEArgs args = listOf(100);
    args.append(el);
    EXPECT_EQ(args.size(), 100U);
}

TEST(ExecArgsErrors, CopyAndAddToAFullListIsRefused) {
    const TEArgs full = listOf(100);
    EXPECT_EQ(overflowOf([&] { full + "one more"; }), overflow(100, 1));
}

// The check stands before the detach: a refused addition must not even cost the sharing.
TEST(ExecArgsErrors, ARefusedAdditionKeepsTheStorageShared) {
    TEArgs args = listOf(100);
    const TEArgs shared(args);
    EXPECT_THROW(args << "one more", TEArgs::TOverflow);
    EXPECT_THROW(args << std::string("one more"), TEArgs::TOverflow);
    EXPECT_THROW(args.append(listOf(1)), TEArgs::TOverflow);
    EXPECT_EQ(&args.elements(), &shared.elements());
}

TEST(ExecArgsErrors, AnOverflowKeepsASharedCopyOfTheList) {
    TEArgs args = listOf(100);
    try {
        args << "one more";
        FAIL();
    } catch (const TEArgs::TOverflow& error) {
        EXPECT_EQ(&error.args().elements(), &args.elements());
    }
}

TEST(ExecArgsErrors, AnErrorKeepsTheListAsItWas) {
    TEArgs args = listOf(98);
    try {
        args.append(listOf(3));
        FAIL();
    } catch (const TEArgs::TEArgsError& error) {
        args << "later";
        EXPECT_EQ(error.args().size(), 98U);
    }
}

TEST(ExecArgsErrors, IndexSevenOfSevenElementsIsOutOfRange) {
    EXPECT_EQ(outOfRangeOf(listOf(7), 7), "Wrong index (index = 7)");
    EXPECT_EQ(listOf(7).at(6), "6");
}

TEST(ExecArgsErrors, TheFirstIndexPastTheEndIsOutOfRangeForEveryLength) {
    for (std::size_t count = 0; count <= 100; ++count) {
        EXPECT_EQ(outOfRangeOf(listOf(count), count),
                  "Wrong index (index = " + std::to_string(count) + ")");
    }
}

TEST(ExecArgsErrors, ALargeIndexIsWrittenWithoutGrouping) {
    const std::size_t largest = std::numeric_limits<std::size_t>::max();
    EXPECT_EQ(outOfRangeOf(listOf(1), largest),
              "Wrong index (index = " + std::to_string(largest) + ")");
}

TEST(ExecArgsErrors, AnOutOfRangeKeepsASharedCopyOfTheList) {
    const TEArgs args = listOf(3);
    try {
        args.at(3);
        FAIL();
    } catch (const TEArgs::TOutOfRange& error) {
        EXPECT_EQ(&error.args().elements(), &args.elements());
    }
}

TEST(ExecArgsErrors, BothErrorsAreProcessLibraryErrors) {
    EXPECT_TRUE((std::is_base_of_v<TSysErr, TEArgs::TEArgsError>));
    EXPECT_TRUE((std::is_base_of_v<TEArgs::TEArgsError, TEArgs::TOverflow>));
    EXPECT_TRUE((std::is_base_of_v<TEArgs::TEArgsError, TEArgs::TOutOfRange>));
}

TEST(ExecArgsErrors, NeitherErrorCarriesAnErrorNumber) {
    EXPECT_FALSE((std::is_base_of_v<TSysCallErr, TEArgs::TEArgsError>));
}

TEST(ExecArgsErrors, WhatIsTheMessage) {
    try {
        listOf(2).at(5);
        FAIL();
    } catch (const TError& error) {
        EXPECT_STREQ(error.what(), "Wrong index (index = 5)");
        EXPECT_EQ(error.nested().get(), nullptr);
    }
}

}  // namespace
}  // namespace zarnic::sys

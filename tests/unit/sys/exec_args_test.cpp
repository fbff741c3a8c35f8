#include "zarnic/sys/exec_args.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <type_traits>

namespace zarnic::sys {
namespace {

using Elements = std::vector<std::string>;

static_assert(std::is_const_v<decltype(el)>);
static_assert(std::is_base_of_v<TSysErr, TEArgs::TEArgsError>);
static_assert(std::is_base_of_v<TEArgs::TEArgsError, TEArgs::TOverflow>);
static_assert(std::is_base_of_v<TEArgs::TEArgsError, TEArgs::TOutOfRange>);
static_assert(!std::is_base_of_v<TSysCallErr, TEArgs::TEArgsError>, "it has no error number");

TEArgs listOf(std::size_t count) {
    TEArgs args;
    for (std::size_t i = 0; i < count; ++i) {
        args << std::to_string(i);
    }
    return args;
}

bool shareStorage(const TEArgs& a, const TEArgs& b) { return &a.elements() == &b.elements(); }

TEST(ExecArgs, AFreshListIsEmpty) {
    const TEArgs args;
    EXPECT_EQ(args.size(), 0U);
    EXPECT_TRUE(args.elements().empty());
}

TEST(ExecArgs, AnEmptyListHasRoomForTen) {
    EXPECT_GE(TEArgs().elements().capacity(), 10U);
    EXPECT_GE(el.elements().capacity(), 10U);
}

TEST(ExecArgs, TheEmptyListStaysEmptyWhenACopyGrows) {
    TEArgs copy(el);
    copy << "cat";
    EXPECT_EQ(copy.size(), 1U);
    EXPECT_EQ(el.size(), 0U);
    EXPECT_FALSE(shareStorage(copy, el));
}

TEST(ExecArgs, ChainedAdditionsKeepTheirOrder) {
    TEArgs args;
    args << "cp" << std::string("from") << "to";
    EXPECT_EQ(args.elements(), (Elements{"cp", "from", "to"}));
}

TEST(ExecArgs, AnAdditionReturnsTheListItself) {
    TEArgs args;
    EXPECT_EQ(&(args << "a"), &args);
    EXPECT_EQ(&(args << std::string("b")), &args);
    EXPECT_EQ(&args.append(el), &args);
}

TEST(ExecArgs, TextIsStoredExactlyAsGiven) {
    const std::string odd = "a b\t\"c\" 'd' $HOME `e` \\f * ? ; | \n \xff";
    const std::string with_nul("a\0b", 3);
    TEArgs args;
    args << odd << odd.c_str() << with_nul << "" << std::string();
    EXPECT_EQ(args.elements(), (Elements{odd, odd, with_nul, "", ""}));
}

TEST(ExecArgs, AnOwnElementCanBeAddedAgain) {
    TEArgs args;
    args << "a long enough text to live on the heap";
    for (int i = 0; i < 20; ++i) {
        args << args.at(0) << args.at(0).c_str();
    }
    EXPECT_EQ(args.elements(), Elements(41, "a long enough text to live on the heap"));
}

TEST(ExecArgs, ACopySharesItsStorage) {
    const TEArgs a = listOf(3);
    const TEArgs b(a);
    EXPECT_TRUE(shareStorage(a, b));
    TEArgs c;
    c = a;
    EXPECT_TRUE(shareStorage(a, c));
}

TEST(ExecArgs, AddingToACopyLeavesTheOriginalUnchanged) {
    const TEArgs a = listOf(2);
    TEArgs b(a);
    b << "new";
    EXPECT_EQ(a.elements(), (Elements{"0", "1"}));
    EXPECT_EQ(b.elements(), (Elements{"0", "1", "new"}));
    EXPECT_FALSE(shareStorage(a, b));
    TEArgs c(a);
    c << std::string("new");
    EXPECT_EQ(a.elements(), (Elements{"0", "1"}));
}

TEST(ExecArgs, AddingToTheOriginalLeavesTheCopyUnchanged) {
    TEArgs a = listOf(2);
    const TEArgs b(a);
    a << "new";
    EXPECT_EQ(a.size(), 3U);
    EXPECT_EQ(b.size(), 2U);
}

TEST(ExecArgs, AddingToAListThatIsNoLongerSharedDoesNotCopy) {
    TEArgs a = listOf(2);
    const Elements* const storage = &a.elements();
    {
        TEArgs b(a);
        b << "detaches b";
        const TEArgs ended(a);
    }
    a << "c string" << std::string("string");
    a.append(listOf(2));
    EXPECT_EQ(&a.elements(), storage);
}

TEST(ExecArgs, AppendingAddsEveryElementInOrder) {
    TEArgs args;
    args << "a";
    TEArgs other;
    other << "b"
          << "c"
          << "d";
    args.append(other);
    EXPECT_EQ(args.elements(), (Elements{"a", "b", "c", "d"}));
    EXPECT_EQ(other.size(), 3U);
}

TEST(ExecArgs, AppendingToACopyLeavesTheOriginalUnchanged) {
    const TEArgs a = listOf(2);
    TEArgs b(a);
    b.append(listOf(2));
    EXPECT_EQ(a.size(), 2U);
    EXPECT_EQ(b.elements(), (Elements{"0", "1", "0", "1"}));
}

TEST(ExecArgs, AListAppendedToItselfDoublesAlone) {
    TEArgs args = listOf(50);
    const TEArgs shared(args);
    args.append(args);
    EXPECT_EQ(shared.size(), 50U);
    ASSERT_EQ(args.size(), 100U);
    for (std::size_t i = 0; i < 100; ++i) {
        EXPECT_EQ(args.at(i), std::to_string(i % 50));
    }
}

TEST(ExecArgs, CopyAndAddLeavesTheSourceUntouched) {
    const TEArgs source = listOf(2);
    const Elements* const storage = &source.elements();
    const TEArgs made = source + "new";
    EXPECT_EQ(made.elements(), (Elements{"0", "1", "new"}));
    EXPECT_EQ(source.elements(), (Elements{"0", "1"}));
    EXPECT_EQ(&source.elements(), storage);
}

// --- what does not fit, and what is not there ---

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
        EXPECT_EQ(&error.args().elements(), &args.elements());
        EXPECT_EQ(error.nested().get(), nullptr);
        return error.what();
    }
    return {};
}

TEST(ExecArgsErrors, AHundredAdditionsFitAndTheNextIsRefused) {
    TEArgs args = listOf(100);
    EXPECT_EQ(args.size(), TEArgs::max_size);
    EXPECT_EQ(overflowOf([&] { args << "one more"; }), overflow(100, 1));
    EXPECT_EQ(overflowOf([&] { args << std::string("one more"); }), overflow(100, 1));
    EXPECT_EQ(overflowOf([&] { args + "one more"; }), overflow(100, 1));
    EXPECT_EQ(args.size(), 100U);
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

// The check stands before the detach: a refused addition must not even cost the sharing.
TEST(ExecArgsErrors, ARefusedAdditionKeepsTheStorageShared) {
    TEArgs args = listOf(100);
    const TEArgs shared(args);
    EXPECT_THROW(args << "one more", TEArgs::TOverflow);
    EXPECT_THROW(args << std::string("one more"), TEArgs::TOverflow);
    EXPECT_THROW(args.append(listOf(1)), TEArgs::TOverflow);
    EXPECT_EQ(&args.elements(), &shared.elements());
}

TEST(ExecArgsErrors, AnOverflowSharesTheListAndKeepsItAsItWas) {
    TEArgs args = listOf(98);
    try {
        args.append(listOf(3));
        FAIL();
    } catch (const TEArgs::TEArgsError& error) {
        EXPECT_EQ(&error.args().elements(), &args.elements());
        args << "later";
        EXPECT_EQ(error.args().size(), 98U);
    }
}

TEST(ExecArgsErrors, TheFirstIndexPastTheEndIsOutOfRangeForEveryLength) {
    for (std::size_t count = 0; count <= 100; ++count) {
        EXPECT_EQ(outOfRangeOf(listOf(count), count),
                  "Wrong index (index = " + std::to_string(count) + ")");
    }
    constexpr std::size_t last = std::numeric_limits<std::size_t>::max();
    EXPECT_EQ(outOfRangeOf(el, last), "Wrong index (index = " + std::to_string(last) + ")");
}

}  // namespace
}  // namespace zarnic::sys

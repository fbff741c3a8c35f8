#include "zarnic/sys/exec_args.h"

#include <gtest/gtest.h>

#include <string>
#include <type_traits>

namespace zarnic::sys {
namespace {

using Elements = std::vector<std::string>;

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

TEST(ExecArgs, TheEmptyListHasRoomForTen) {
    EXPECT_EQ(el.size(), 0U);
    EXPECT_GE(el.elements().capacity(), 10U);
}

TEST(ExecArgs, AFreshListHasRoomForTen) { EXPECT_GE(TEArgs().elements().capacity(), 10U); }

TEST(ExecArgs, TheEmptyListStaysEmptyWhenACopyGrows) {
    TEArgs copy(el);
    copy << "cat";
    EXPECT_EQ(copy.size(), 1U);
    EXPECT_EQ(el.size(), 0U);
    EXPECT_FALSE(shareStorage(copy, el));
}

TEST(ExecArgs, TheEmptyListCannotBeChanged) { EXPECT_TRUE(std::is_const_v<decltype(el)>); }

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
    TEArgs args;
    args << odd << odd.c_str();
    EXPECT_EQ(args.elements(), (Elements{odd, odd}));
}

TEST(ExecArgs, AStringKeepsItsNulBytes) {
    const std::string text("a\0b", 3);
    TEArgs args;
    args << text;
    EXPECT_EQ(args.at(0), text);
}

TEST(ExecArgs, AnEmptyStringIsAnElement) {
    TEArgs args;
    args << "" << std::string();
    EXPECT_EQ(args.elements(), (Elements{"", ""}));
}

TEST(ExecArgs, EmptyStringsCountTowardTheLimit) {
    TEArgs args;
    for (int i = 0; i < 100; ++i) {
        args << "";
    }
    EXPECT_THROW(args << "", TEArgs::TOverflow);
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
}

TEST(ExecArgs, AnAssignedCopySharesItsStorage) {
    const TEArgs a = listOf(3);
    TEArgs b;
    b = a;
    EXPECT_TRUE(shareStorage(a, b));
}

TEST(ExecArgs, AddingToACopyLeavesTheOriginalUnchanged) {
    const TEArgs a = listOf(2);
    TEArgs b(a);
    b << "new";
    EXPECT_EQ(a.elements(), (Elements{"0", "1"}));
    EXPECT_EQ(b.elements(), (Elements{"0", "1", "new"}));
    EXPECT_FALSE(shareStorage(a, b));
}

TEST(ExecArgs, AddingAStringToACopyLeavesTheOriginalUnchanged) {
    const TEArgs a = listOf(2);
    TEArgs b(a);
    b << std::string("new");
    EXPECT_EQ(a.elements(), (Elements{"0", "1"}));
    EXPECT_EQ(b.elements(), (Elements{"0", "1", "new"}));
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
    }
    a << "c string" << std::string("string");
    a.append(listOf(2));
    EXPECT_EQ(&a.elements(), storage);
}

TEST(ExecArgs, TheLastHandleOnSharedStorageDoesNotCopy) {
    TEArgs a = listOf(2);
    const Elements* const storage = &a.elements();
    { const TEArgs b(a); }
    a << "new";
    EXPECT_EQ(&a.elements(), storage);
}

TEST(ExecArgs, AListSharedByThreeDetachesOnlyTheChangedOne) {
    const TEArgs a = listOf(2);
    TEArgs b(a);
    const TEArgs c(a);
    b << "new";
    EXPECT_TRUE(shareStorage(a, c));
    EXPECT_EQ(c.size(), 2U);
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

TEST(ExecArgs, AListAppendedToItselfDoubles) {
    TEArgs args = listOf(50);
    args.append(args);
    ASSERT_EQ(args.size(), 100U);
    for (std::size_t i = 0; i < 100; ++i) {
        EXPECT_EQ(args.at(i), std::to_string(i % 50));
    }
}

TEST(ExecArgs, ASharedListAppendedToItselfDoublesAlone) {
    TEArgs args = listOf(12);
    const TEArgs shared(args);
    args.append(args);
    EXPECT_EQ(args.size(), 24U);
    EXPECT_EQ(shared.size(), 12U);
}

TEST(ExecArgs, CopyAndAddLeavesTheSourceUntouched) {
    const TEArgs source = listOf(2);
    const Elements* const storage = &source.elements();
    const TEArgs made = source + "new";
    EXPECT_EQ(made.elements(), (Elements{"0", "1", "new"}));
    EXPECT_EQ(source.elements(), (Elements{"0", "1"}));
    EXPECT_EQ(&source.elements(), storage);
}

TEST(ExecArgs, EveryIndexNamesItsElement) {
    const TEArgs args = listOf(100);
    for (std::size_t i = 0; i < 100; ++i) {
        EXPECT_EQ(args.at(i), std::to_string(i));
    }
}

}  // namespace
}  // namespace zarnic::sys

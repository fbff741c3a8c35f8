#include "zarnic/sys/exec_args.h"

#include <gtest/gtest.h>

#include <cstdint>
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

// Elements that a shell, a string of C or a short buffer would change.
const Elements odd = {std::string("a\0b and more than fits into a string object", 43), "",
                      "a b\t\"c\" 'd' $HOME `e` \\f * ? ; | \n \xff"};

TEArgs listOf(std::size_t count) {
    TEArgs args;
    for (std::size_t i = 0; i < count; ++i) {
        args << odd[i % odd.size()];
    }
    return args;
}

TEST(ExecArgs, AnEmptyListHasRoomForTen) {
    EXPECT_EQ(TEArgs().elements().capacity(), 10U);
    EXPECT_EQ(el.elements().capacity(), 10U);
}

// --- additions, against a vector ---

struct Addition {
    TEArgs& (*perform)(TEArgs& list, const TEArgs& other);
    Elements (*added)(const Elements& list, const Elements& other);
};

// An own element where there is one: an addition must not lose it while it moves the others.
const std::string& text(const Elements& list) {
    return list.empty() ? odd.front() : list.front();
}

constexpr Addition additions[] = {
    {[](TEArgs& list, const TEArgs&) -> TEArgs& { return list << text(list.elements()); },
     [](const Elements& list, const Elements&) { return Elements{text(list)}; }},
    {[](TEArgs& list, const TEArgs&) -> TEArgs& {
         return list << text(list.elements()).c_str();
     },
     [](const Elements& list, const Elements&) { return Elements{text(list).c_str()}; }},
    {[](TEArgs& list, const TEArgs& other) -> TEArgs& { return list.append(other); },
     [](const Elements&, const Elements& other) { return other; }},
    {[](TEArgs& list, const TEArgs&) -> TEArgs& { return list.append(list); },
     [](const Elements& list, const Elements&) { return list; }},
};

std::string overflow(std::size_t count, std::size_t added) {
    return "The number of arguments has exceeded the defined limits (arguments number = " +
           std::to_string(count) + ", add. arguments number = " + std::to_string(added) +
           ", max = 100)";
}

// The list has the elements that are added, or is refused them and shares as before; the other
// list, which may share its elements, has its own.
void expectAddition(const Addition& addition, TEArgs& list, const TEArgs& other) {
    Elements expected = list.elements();
    const Elements* const storage = &list.elements();
    const Elements others = other.elements();
    const Elements added = addition.added(expected, others);
    const std::size_t count = expected.size();
    try {
        EXPECT_EQ(&addition.perform(list, other), &list);
        expected.insert(expected.end(), added.begin(), added.end());
        EXPECT_LE(expected.size(), 100U);
        EXPECT_NE(&list.elements(), &other.elements());
    } catch (const TEArgs::TOverflow& error) {
        EXPECT_GT(count + added.size(), 100U);
        EXPECT_EQ(error.message(), overflow(count, added.size()));
        EXPECT_EQ(&error.args().elements(), storage);
        EXPECT_EQ(&list.elements(), storage);
    }
    EXPECT_EQ(list.elements(), expected);
    EXPECT_EQ(other.elements(), others);
}

TEST(ExecArgs, EveryLengthFitsExactlyUpToTheLimit) {
    for (std::size_t count = 1; count <= 100; ++count) {
        for (const std::size_t added : {100 - count, 101 - count}) {
            TEArgs list = listOf(count);
            expectAddition(additions[2], list, listOf(added));
        }
    }
}

// Of a thousand sequences from each start: four additions, or a copy of the other list, to the
// one list or the other.
TEST(ExecArgs, AllShortSequencesOnTwoListsAreAsTheVectorsSay) {
    for (const std::size_t count : {0U, 3U, 50U, 99U}) {
        for (int sequence = 0; sequence < 1000 && !HasFailure(); ++sequence) {
            SCOPED_TRACE(std::to_string(count) + ", sequence " + std::to_string(sequence));
            TEArgs lists[] = {listOf(count), TEArgs(el)};
            for (const int operation : {sequence / 100, sequence / 10 % 10, sequence % 10}) {
                TEArgs& list = lists[operation % 2];
                const TEArgs& other = lists[1 - operation % 2];
                if (operation < 8) {
                    expectAddition(additions[operation / 2], list, other);
                } else {
                    list = other;
                    EXPECT_EQ(&list.elements(), &other.elements());
                }
            }
        }
    }
    EXPECT_EQ(el.size(), 0U);
}

TEST(ExecArgs, AddingToAListThatIsNoLongerSharedDoesNotCopy) {
    TEArgs list = listOf(2);
    const Elements* const storage = &list.elements();
    {
        TEArgs copy(list);
        copy << "detaches the copy";
        const TEArgs ended(list);
    }
    list << "c string" << std::string("string");
    list.append(listOf(2));
    EXPECT_EQ(&list.elements(), storage);
}

TEST(ExecArgs, ASumIsAListOfItsOwn) {
    const TEArgs source = listOf(2);
    const Elements* const storage = &source.elements();
    EXPECT_EQ((source + odd[0] + odd[2].c_str()).elements(),
              (Elements{odd[0], odd[1], odd[0], odd[2]}));
    EXPECT_EQ(&source.elements(), storage);
    EXPECT_EQ(source.size(), 2U);
    EXPECT_THROW(listOf(100) + "one more", TEArgs::TOverflow);
    EXPECT_THROW(listOf(100) + std::string("one more"), TEArgs::TOverflow);
}

TEST(ExecArgs, AnIndexThatNamesNoElementIsAnErrorThatSharesTheList) {
    for (const std::size_t count : {0U, 1U, 100U}) {
        const TEArgs list = listOf(count);
        for (std::size_t i = 0; i < count; ++i) {
            EXPECT_EQ(&list.at(i), &list.elements()[i]);
        }
        for (const std::size_t index : {count, SIZE_MAX}) {
            try {
                list.at(index);
                FAIL();
            } catch (const TEArgs::TOutOfRange& error) {
                EXPECT_EQ(error.what(), "Wrong index (index = " + std::to_string(index) + ")");
                EXPECT_EQ(error.index(), index);
                EXPECT_EQ(&error.args().elements(), &list.elements());
                EXPECT_EQ(error.nested().get(), nullptr);
            }
        }
    }
}

}  // namespace
}  // namespace zarnic::sys

#include "zarnic/sys/exec_args.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
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
    EXPECT_GE(TEArgs().elements().capacity(), 10U);
    EXPECT_GE(el.elements().capacity(), 10U);
}

// --- additions, against a vector ---

std::string overflow(std::size_t count, std::size_t added) {
    return "The number of arguments has exceeded the defined limits (arguments number = " +
           std::to_string(count) + ", add. arguments number = " + std::to_string(added) +
           ", max = 100)";
}

constexpr int append = 2;

// One of four additions: the list has the elements that are added, in its place when nobody
// shares them, or is refused them and shares as before. The other list, which may share them,
// stays as it was.
void expectAddition(int number, TEArgs& list, const TEArgs& other) {
    // An own element where there is one: the list must not lose it while it moves the others.
    const std::string& text = list.size() == 0 ? odd[0] : list.at(0);
    const struct {
        std::function<TEArgs&()> perform;
        Elements added;
    } additions[] = {{[&]() -> TEArgs& { return list << text; }, {text}},
                     {[&]() -> TEArgs& { return list << text.c_str(); }, {text.c_str()}},
                     {[&]() -> TEArgs& { return list.append(other); }, other.elements()},
                     {[&]() -> TEArgs& { return list.append(list); }, list.elements()}};
    const auto& [perform, added] = additions[number];
    Elements expected = list.elements();
    const Elements others = other.elements();
    const std::size_t count = expected.size();
    const Elements* const place = &list.elements();
    const bool shared = place == &other.elements() || place == &el.elements();
    try {
        EXPECT_EQ(&perform(), &list);
        expected.insert(expected.end(), added.begin(), added.end());
        EXPECT_LE(expected.size(), 100U);
        EXPECT_EQ(&list.elements() == place, !shared && number <= append);
    } catch (const TEArgs::TOverflow& error) {
        EXPECT_GT(count + added.size(), 100U);
        EXPECT_EQ(error.message(), overflow(count, added.size()));
        EXPECT_EQ(&error.args().elements(), place);
        EXPECT_EQ(&list.elements(), place);
    }
    EXPECT_EQ(list.elements(), expected);
    EXPECT_EQ(other.elements(), others);
}

TEST(ExecArgs, EveryLengthFitsExactlyUpToTheLimit) {
    for (std::size_t count = 1; count <= 100; ++count) {
        for (const std::size_t added : {100 - count, 101 - count}) {
            TEArgs list = listOf(count);
            expectAddition(append, list, listOf(added));
        }
    }
}

// Of a thousand sequences from each start: four additions, or a copy of the other list, to the
// one list or the other.
TEST(ExecArgs, AllShortSequencesOnTwoListsAreAsTheVectorsSay) {
    for (const std::size_t count : {0U, 3U, 50U}) {
        for (int sequence = 0; sequence < 1000 && !HasFailure(); ++sequence) {
            SCOPED_TRACE(std::to_string(count) + ", sequence " + std::to_string(sequence));
            TEArgs lists[] = {listOf(count), TEArgs(el)};
            for (const int operation : {sequence / 100, sequence / 10 % 10, sequence % 10}) {
                TEArgs& list = lists[operation % 2];
                const TEArgs& other = lists[1 - operation % 2];
                if (operation < 8) {
                    expectAddition(operation / 2, list, other);
                } else {
                    list = other;
                    EXPECT_EQ(&list.elements(), &other.elements());
                }
            }
        }
    }
    EXPECT_EQ(el.size(), 0U);
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

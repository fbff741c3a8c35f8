#include <string>
#include <vector>

#include "tests/failures/memory/refusal.h"
#include "zarnic/sys/exec_args.h"

namespace {

using test::Attempt;
using test::forEveryRefusal;
using zarnic::sys::el;
using zarnic::sys::TEArgs;

using Words = std::vector<std::string>;

const std::string word = "an argument that is too long to be kept inside a string";

TEArgs filled(std::size_t count) {
    TEArgs args;
    while (args.size() < count) {
        args << word;
    }
    return args;
}

TEST(RefusedArguments, EmptyListIsMadeWholeOrNotAtAll) {
    forEveryRefusal([](Attempt& attempt) {
        const bool refused = attempt.run([] { EXPECT_EQ(TEArgs().size(), 0U); });
        EXPECT_EQ(refused, attempt.refused());
    });
}

// Room for ten, and full at ten: with and without a growing of the elements.
TEST(RefusedArguments, AdditionThatIsRefusedLeavesTheListAndItsCopies) {
    for (const std::size_t count : {3U, 10U}) {
        for (const bool shared : {false, true}) {
            forEveryRefusal([&](Attempt& attempt) {
                TEArgs args = filled(count);
                const TEArgs copy = shared ? args : TEArgs(el);
                const bool refused = attempt.run([&] { args << word; });
                EXPECT_EQ(refused, attempt.refused());
                EXPECT_EQ(args.elements(), Words(count + (refused ? 0 : 1), word));
                EXPECT_EQ(copy.size(), shared ? count : 0);
            });
        }
    }
}

TEST(RefusedArguments, AdditionOfCharactersLikewise) {
    forEveryRefusal([](Attempt& attempt) {
        TEArgs args = filled(10);
        const bool refused = attempt.run([&] { args << word.c_str(); });
        EXPECT_EQ(args.elements(), Words(refused ? 10 : 11, word));
    });
}

TEST(RefusedArguments, AppendingThatIsRefusedLeavesBothLists) {
    for (const bool shared : {false, true}) {
        forEveryRefusal([shared](Attempt& attempt) {
            TEArgs args = filled(8);
            const TEArgs copy = shared ? args : TEArgs(el);
            const TEArgs other = filled(7);
            const bool refused = attempt.run([&] { args.append(other); });
            EXPECT_EQ(refused, attempt.refused());
            EXPECT_EQ(args.elements(), Words(refused ? 8 : 15, word));
            EXPECT_EQ(other.elements(), Words(7, word));
            EXPECT_EQ(copy.size(), shared ? 8U : 0U);
        });
    }
}

TEST(RefusedArguments, DoublingThatIsRefusedLeavesTheList) {
    forEveryRefusal([](Attempt& attempt) {
        TEArgs args = filled(8);
        const bool refused = attempt.run([&] { args.append(args); });
        EXPECT_EQ(args.elements(), Words(refused ? 8 : 16, word));
    });
}

TEST(RefusedArguments, CopyAndAddThatIsRefusedLeavesTheList) {
    forEveryRefusal([](Attempt& attempt) {
        const TEArgs args = filled(10);
        const bool refused = attempt.run([&] { EXPECT_EQ((args + word.c_str()).size(), 11U); });
        EXPECT_EQ(refused, attempt.refused());
        EXPECT_EQ(args.elements(), Words(10, word));
    });
}

TEST(RefusedArguments, OverflowIsRaisedOrBadAllocAndTheListStays) {
    forEveryRefusal([](Attempt& attempt) {
        TEArgs args = filled(TEArgs::max_size);
        bool raised = false;
        const bool refused = attempt.run([&] {
            try {
                args << word;
            } catch (const TEArgs::TOverflow& error) {
                raised = error.args().size() == TEArgs::max_size;
            }
        });
        EXPECT_NE(raised, refused);
        EXPECT_EQ(args.size(), TEArgs::max_size);
    });
}

TEST(RefusedArguments, IndexErrorIsRaisedOrBadAllocAndTheListStays) {
    forEveryRefusal([](Attempt& attempt) {
        const TEArgs args = filled(2);
        bool raised = false;
        const bool refused = attempt.run([&] {
            try {
                args.at(2);
            } catch (const TEArgs::TOutOfRange& error) {
                raised = error.index() == 2;
            }
        });
        EXPECT_NE(raised, refused);
        EXPECT_EQ(args.size(), 2U);
    });
}

TEST(RefusedArguments, CopyOfAnErrorIsWholeOrBadAlloc) {
    TEArgs args = filled(TEArgs::max_size);
    try {
        args << word;
    } catch (const TEArgs::TOverflow& error) {
        forEveryRefusal([&error](Attempt& attempt) {
            const bool refused = attempt.run([&error] {
                const TEArgs::TOverflow copy(error);
                EXPECT_EQ(copy.message(), error.message());
            });
            EXPECT_EQ(refused, attempt.refused());
            EXPECT_EQ(error.args().size(), TEArgs::max_size);
        });
        return;
    }
    FAIL() << "the list has no end";
}

TEST(RefusedArguments, CopyOfAnIndexErrorLikewise) {
    const TEArgs args = filled(2);
    try {
        args.at(2);
    } catch (const TEArgs::TOutOfRange& error) {
        forEveryRefusal([&error](Attempt& attempt) {
            const bool refused = attempt.run([&error] {
                const TEArgs::TOutOfRange copy(error);
                EXPECT_EQ(copy.message(), error.message());
                EXPECT_EQ(copy.index(), 2U);
            });
            EXPECT_EQ(refused, attempt.refused());
            EXPECT_EQ(error.args().size(), 2U);
        });
        return;
    }
    FAIL() << "the index is taken";
}

TEST(RefusedArguments, CopiesAskForNothing) {
    TEArgs args = filled(2);
    const Attempt attempt(1, true, test::Refused::caller);
    EXPECT_FALSE(attempt.run([&] {
        TEArgs copy(args);
        copy = args;
        EXPECT_EQ(copy.at(1), word);
    }));
    EXPECT_FALSE(attempt.refused());
}

}  // namespace

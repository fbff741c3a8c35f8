// White space before the end of a value: of a run of length r, r - (r mod 2) bytes stay.

#include "conf/line.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/unit/conf/split.h"
#include "tests/unit/conf/table.h"

namespace {

using test::pair;
using test::readText;
using test::split;

constexpr unsigned longest = 9;

// All texts of a length over some bytes.
std::vector<std::string> texts(const std::string& bytes, unsigned length) {
    std::vector<std::string> found = {""};
    for (unsigned place = 0; place < length; ++place) {
        std::vector<std::string> longer;
        for (const std::string& text : found) {
            for (const char byte : bytes) {
                longer.push_back(text + byte);
            }
        }
        found = longer;
    }
    return found;
}

std::string kept(const std::string& run) { return run.substr(0, run.size() / 2 * 2); }

// Every run of blanks, tabs and line feeds up to a length, with `after` behind it.
void walkRuns(const std::string& after, unsigned last_length) {
    for (unsigned length = 0; length <= last_length; ++length) {
        for (const std::string& run : texts(" \t\n", length)) {
            ASSERT_EQ(split("NAME abc" + run + after), pair("NAME", "abc" + kept(run)));
        }
    }
}

TEST(LineTrailingSpace, WalkTakesEveryTextOnce) {
    EXPECT_EQ(texts("ab", 0), std::vector<std::string>{""});
    EXPECT_EQ(texts("ab", 2), (std::vector<std::string>{"aa", "ab", "ba", "bb"}));
    EXPECT_EQ(texts(" \t\n", longest).size(), 19683U);
}

TEST(LineTrailingSpace, EvenRunsAreKeptAndOddOnesLoseTheirLastAtTheEndOfTheText) {
    walkRuns("", longest);
}

TEST(LineTrailingSpace, EvenRunsAreKeptAndOddOnesLoseTheirLastBeforeAComment) {
    walkRuns("# comment\n", longest);
    walkRuns("#", 5);
    walkRuns("#  \n", 5);
}

TEST(LineTrailingSpace, InnerRunsDoNotCount) {
    for (unsigned inner = 1; inner <= 4; ++inner) {
        for (unsigned length = 0; length <= longest; ++length) {
            const std::string value = "a" + std::string(inner, ' ') + "b";
            const std::string run(length, '\t');
            EXPECT_EQ(split("NAME " + value + run), pair("NAME", value + kept(run)));
        }
    }
}

TEST(LineTrailingSpace, HoldsForAValueOfOneCharacter) {
    for (unsigned length = 0; length <= longest; ++length) {
        const std::string run(length, ' ');
        EXPECT_EQ(split("NAME v" + run), pair("NAME", "v" + kept(run)));
    }
}

// A run of blanks and tabs in a file, with what ends the value there.
struct Ending {
    const char* name;
    const char* after;
    const char* in_run;  // the part of `after` that belongs to the run
};

class FileEnding : public testing::TestWithParam<Ending> {};

TEST_P(FileEnding, KeepsEvenRunsAndCutsOddOnes) {
    const Ending& ending = GetParam();
    for (unsigned length = 0; length <= longest; ++length) {
        for (const char byte : {' ', '\t'}) {
            const std::string run(length, byte);
            const test::Table table;
            ASSERT_EQ(readText("FIRST abc\nNAME abc" + run + ending.after, table), 0);
            EXPECT_EQ(table.value("NAME"), "abc" + kept(run + ending.in_run));
            EXPECT_EQ(table->nmemb, 2U);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Read, FileEnding,
                         testing::Values(Ending{"LineFeed", "\n", "\n"},
                                         Ending{"LineFeedBeforeAnotherLine", "\n \n", "\n"},
                                         Ending{"CarriageReturn", "\r\n", "\r\n"},
                                         Ending{"Comment", "# comment\n", ""},
                                         Ending{"CommentThatEndsTheFile", "#", ""},
                                         Ending{"EndOfFile", "", ""}),
                         [](const auto& test) { return std::string(test.param.name); });

}  // namespace

#include "conf/line.h"

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "tests/unit/conf/split.h"

namespace {

using test::ignored;
using test::isBlank;
using test::isNamePart;
using test::pair;
using test::spaceExpected;
using test::Split;
using test::split;
using test::valueExpected;
using namespace std::string_literals;

TEST(Line, IsAPairOrIgnoredOrRefused) {
    const std::pair<std::string, Split> table[] = {
        {"", ignored()},
        {" \t\v\f\r\n", ignored()},
        {"\t \v#NAME value\n", ignored()},
        {"\t\r\f\v NAME \t\v\f\r abc\n", pair("NAME", "abc")},
        {"NAME a \t b   c\n", pair("NAME", "a \t b   c")},
        {"_aZ09_ v\n", pair("_aZ09_", "v")},
        {"N v#", pair("N", "v")},
        {"N =v\n", pair("N", "=v")},
        {"NAME a b#x # y \n", pair("NAME", "a b")},
        {" \tNAME=abc\n", spaceExpected("NAME=abc\n")},
        {"NAME= abc\n", spaceExpected("NAME= abc\n")},
        {"NAME", spaceExpected("NAME")},
        {"= abc\n", spaceExpected("= abc\n")},
        {" \tNAME \t \n", valueExpected("NAME \t \n")},
        {"NAME \t# comment\n", valueExpected("NAME \t# comment\n")},
        {"\0NAME abc\n"s, ignored()},
        {"NA\0ME abc\n"s, spaceExpected("NA")},
        {"NAME \0abc\n"s, valueExpected("NAME ")},
        {"NAME a\0bc\n"s, pair("NAME", "a")},
        {"NAME abc \0\n"s, pair("NAME", "abc")},
    };
    for (const auto& [line, expected] : table) {
        EXPECT_EQ(split(line), expected) << line;
    }
}

TEST(Line, OnlyAPairIsCutAndByTwoNulBytes) {
    for (const char* const line :
         {" # NAME value\n", " \n", " NAME=abc # x\n", " NAME # x\n"}) {
        EXPECT_EQ(split(line).line, line);
    }
    EXPECT_EQ(split(" NAME  abc \t # x\n").line, " NAME\0 abc \t\0# x\n"s);
    EXPECT_EQ(split("NAME abc#x\n").line, "NAME\0abc\0x\n"s);
}

TEST(Line, NameAndValuePointIntoTheLine) {
    char line[] = "  NAME  abc\n";
    char* name = nullptr;
    char* value = nullptr;
    ASSERT_EQ(conf_split_line(line, &name, &value), conf_line::pair);
    EXPECT_EQ(name, line + 2);
    EXPECT_EQ(value, line + 8);
}

// --- every byte that a line can hold, at every place where the parser decides by it ---

// Splits before + byte + after for each of the 255 bytes and compares with the rule.
void walkBytes(const std::string& before, const std::string& after,
               const std::function<Split(char byte, const std::string& line)>& rule) {
    for (int byte = 1; byte <= 255; ++byte) {
        const char c = static_cast<char>(byte);
        const std::string line = before + c + after;
        EXPECT_EQ(split(line), rule(c, line)) << "byte " << byte;
    }
}

TEST(LineBytes, FirstOfTheName) {
    walkBytes("", "yz abc\n", [](char byte, const std::string& line) {
        if (byte == '#') {
            return ignored();
        }
        if (isBlank(byte)) {
            return pair("yz", "abc");
        }
        return isNamePart(byte) ? pair(byte + std::string("yz"), "abc") : spaceExpected(line);
    });
}

TEST(LineBytes, SecondOfTheName) {
    walkBytes("x", "z abc\n", [](char byte, const std::string& line) {
        if (isBlank(byte)) {
            return pair("x", "z abc");
        }
        return isNamePart(byte) ? pair(std::string("x") + byte + "z", "abc")
                                : spaceExpected(line);
    });
}

TEST(LineBytes, OnlyOneOfTheLine) {
    walkBytes("", "", [](char byte, const std::string& line) {
        return byte == '#' || isBlank(byte) ? ignored() : spaceExpected(line);
    });
}

// A name byte here makes one name of the whole, which its line feed ends.
TEST(LineBytes, Separator) {
    walkBytes("NAME", "abc\n", [](char byte, const std::string& line) {
        if (isBlank(byte)) {
            return pair("NAME", "abc");
        }
        return isNamePart(byte) ? valueExpected(line) : spaceExpected(line);
    });
}

TEST(LineBytes, SeparatorAtTheEndOfTheText) {
    walkBytes("NAME", "", [](char byte, const std::string& line) {
        return isBlank(byte) ? valueExpected(line) : spaceExpected(line);
    });
}

TEST(LineBytes, SecondSeparator) {
    walkBytes("NAME ", " abc\n", [](char byte, const std::string& line) {
        if (byte == '#') {
            return valueExpected(line);
        }
        return isBlank(byte) ? pair("NAME", "abc") : pair("NAME", byte + std::string(" abc"));
    });
}

TEST(LineBytes, OnlyOneOfTheValue) {
    walkBytes("NAME ", "\n", [](char byte, const std::string& line) {
        return byte == '#' || isBlank(byte) ? valueExpected(line)
                                            : pair("NAME", std::string(1, byte));
    });
}

TEST(LineBytes, SecondOfTheValue) {
    walkBytes("NAME x", "z\n", [](char byte, const std::string& /*line*/) {
        return byte == '#' ? pair("NAME", "x") : pair("NAME", std::string("x") + byte + "z");
    });
}

// White space makes a run of two with the line feed, which is kept whole.
TEST(LineBytes, LastOfTheValue) {
    walkBytes("NAME xy", "\n", [](char byte, const std::string& /*line*/) {
        if (byte == '#') {
            return pair("NAME", "xy");
        }
        const std::string value = std::string("xy") + byte;
        return pair("NAME", isBlank(byte) ? value + "\n" : value);
    });
}

TEST(LineBytes, LastOfTheValueAtTheEndOfTheText) {
    walkBytes("NAME xy", "", [](char byte, const std::string& /*line*/) {
        return byte == '#' || isBlank(byte) ? pair("NAME", "xy")
                                            : pair("NAME", std::string("xy") + byte);
    });
}

TEST(LineBytes, LastBeforeAComment) {
    walkBytes("NAME xy", "# z\n", [](char byte, const std::string& /*line*/) {
        return byte == '#' || isBlank(byte) ? pair("NAME", "xy")
                                            : pair("NAME", std::string("xy") + byte);
    });
}

TEST(LineBytes, NothingInACommentMatters) {
    walkBytes("NAME abc#", "z\n",
              [](char, const std::string& /*line*/) { return pair("NAME", "abc"); });
    walkBytes("#", "NAME abc\n", [](char, const std::string& /*line*/) { return ignored(); });
}

// --- white space before the end of a value: of a run of length r, r - (r mod 2) bytes stay ---

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

TEST(LineTrailingSpace, EvenRunsAreKeptAndOddOnesLoseTheirLastAtTheEndOfTheText) {
    walkRuns("", longest);
}

TEST(LineTrailingSpace, EvenRunsAreKeptAndOddOnesLoseTheirLastBeforeAComment) {
    walkRuns("# comment\n", longest);
    walkRuns("#", 5);
    walkRuns("#  \n", 5);
}

TEST(LineTrailingSpace, InnerRunsAndTheFirstCharacterDoNotCount) {
    for (const char* const value : {"a b", "a  b", "a   b", "v"}) {
        for (unsigned length = 0; length <= longest; ++length) {
            const std::string run(length, '\t');
            EXPECT_EQ(split(std::string("NAME ") + value + run),
                      pair("NAME", value + kept(run)));
        }
    }
}

}  // namespace

// Every byte that a line can hold, at every place where the parser decides by it.

#include "conf/line.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

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

// Splits before + byte + after for each of the 255 bytes and compares with the rule.
void walkBytes(const std::string& before, const std::string& after,
               const std::function<Split(char byte, const std::string& line)>& rule) {
    int walked = 0;
    for (int byte = 1; byte <= 255; ++byte, ++walked) {
        const char c = static_cast<char>(byte);
        const std::string line = before + c + after;
        EXPECT_EQ(split(line), rule(c, line)) << "byte " << byte;
    }
    EXPECT_EQ(walked, 255);
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

TEST(LineBytes, LastOfTheName) {
    walkBytes("xy", " abc\n", [](char byte, const std::string& line) {
        if (isBlank(byte)) {
            return pair("xy", "abc");
        }
        return isNamePart(byte) ? pair(std::string("xy") + byte, "abc") : spaceExpected(line);
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

TEST(LineBytes, FirstOfTheValue) {
    walkBytes("NAME ", "yz\n", [](char byte, const std::string& line) {
        if (byte == '#') {
            return valueExpected(line);
        }
        return isBlank(byte) ? pair("NAME", "yz") : pair("NAME", byte + std::string("yz"));
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

}  // namespace

#include "conf/line.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/unit/conf/split.h"

namespace {

using test::ignored;
using test::pair;
using test::spaceExpected;
using test::split;
using test::valueExpected;
using namespace std::string_literals;

TEST(Line, EmptyIsIgnored) { EXPECT_EQ(split(""), ignored()); }

TEST(Line, WhiteSpaceAloneIsIgnored) {
    EXPECT_EQ(split("\n"), ignored());
    EXPECT_EQ(split(" "), ignored());
    EXPECT_EQ(split(" \t\v\f\r\n"), ignored());
}

TEST(Line, CommentIsIgnored) {
    EXPECT_EQ(split("#"), ignored());
    EXPECT_EQ(split("#NAME value\n"), ignored());
    EXPECT_EQ(split("# NAME value\n"), ignored());
}

TEST(Line, CommentAfterWhiteSpaceIsIgnored) {
    EXPECT_EQ(split(" # NAME value\n"), ignored());
    EXPECT_EQ(split("\t \v#NAME value\n"), ignored());
}

TEST(Line, IgnoredLineIsLeftAsItWas) {
    EXPECT_EQ(split(" # NAME value\n").line, " # NAME value\n");
    EXPECT_EQ(split(" \n").line, " \n");
}

TEST(Line, ValueLosesItsLineFeed) { EXPECT_EQ(split("NAME abc\n"), pair("NAME", "abc")); }

TEST(Line, ValueEndsWithTheText) { EXPECT_EQ(split("NAME abc"), pair("NAME", "abc")); }

TEST(Line, ValueLosesOneBlankBeforeAComment) {
    EXPECT_EQ(split("NAME abc # comment\n"), pair("NAME", "abc"));
}

TEST(Line, BlankAndLineFeedAfterTheValueAreKept) {
    EXPECT_EQ(split("NAME abc \n"), pair("NAME", "abc \n"));
}

TEST(Line, TwoBlanksAndLineFeedLoseTheLineFeed) {
    EXPECT_EQ(split("NAME abc  \n"), pair("NAME", "abc  "));
}

TEST(Line, WhiteSpaceBeforeTheNameIsSkipped) {
    EXPECT_EQ(split("  NAME abc\n"), pair("NAME", "abc"));
    EXPECT_EQ(split("\t\r\f\v NAME abc\n"), pair("NAME", "abc"));
}

TEST(Line, WhiteSpaceBeforeTheValueIsSkippedAndInnerBlanksAreKept) {
    EXPECT_EQ(split("NAME  a b c\n"), pair("NAME", "a b c"));
}

TEST(Line, InnerRunsOfWhiteSpaceAreKeptWhole) {
    EXPECT_EQ(split("NAME a  b   c\n"), pair("NAME", "a  b   c"));
    EXPECT_EQ(split("NAME a \t b\n"), pair("NAME", "a \t b"));
}

TEST(Line, TabSeparates) { EXPECT_EQ(split("NAME\tabc\n"), pair("NAME", "abc")); }

TEST(Line, MixedWhiteSpaceSeparates) {
    EXPECT_EQ(split("NAME \t\v\f\r abc\n"), pair("NAME", "abc"));
}

TEST(Line, NameMayHaveAnyLettersDigitsAndUnderscores) {
    EXPECT_EQ(split("_aZ09_ v\n"), pair("_aZ09_", "v"));
    EXPECT_EQ(split("0 v\n"), pair("0", "v"));
    EXPECT_EQ(split("_ v\n"), pair("_", "v"));
}

TEST(Line, ValueMayBeOneCharacter) {
    EXPECT_EQ(split("N v"), pair("N", "v"));
    EXPECT_EQ(split("N v\n"), pair("N", "v"));
    EXPECT_EQ(split("N v#"), pair("N", "v"));
}

TEST(Line, ValueMayHoldAnEqualsSign) { EXPECT_EQ(split("N =v\n"), pair("N", "=v")); }

TEST(Line, EqualsSignAfterTheNameIsRefused) {
    EXPECT_EQ(split("NAME=abc\n"), spaceExpected("NAME=abc\n"));
    EXPECT_EQ(split("NAME= abc\n"), spaceExpected("NAME= abc\n"));
}

TEST(Line, CommentDirectlyAfterTheNameIsRefusedForWantOfASpace) {
    EXPECT_EQ(split("NAME# abc\n"), spaceExpected("NAME# abc\n"));
}

TEST(Line, NameThatEndsWithTheTextIsRefusedForWantOfASpace) {
    EXPECT_EQ(split("NAME"), spaceExpected("NAME"));
}

TEST(Line, EmptyNameIsRefusedForWantOfASpace) {
    EXPECT_EQ(split("=\n"), spaceExpected("=\n"));
    EXPECT_EQ(split("= abc\n"), spaceExpected("= abc\n"));
    EXPECT_EQ(split("-"), spaceExpected("-"));
}

TEST(Line, NameAloneWithItsLineFeedIsRefusedForWantOfAValue) {
    EXPECT_EQ(split("NAME\n"), valueExpected("NAME\n"));
}

TEST(Line, NameAndWhiteSpaceAreRefusedForWantOfAValue) {
    EXPECT_EQ(split("NAME "), valueExpected("NAME "));
    EXPECT_EQ(split("NAME \t \n"), valueExpected("NAME \t \n"));
}

TEST(Line, NameAndCommentAreRefusedForWantOfAValue) {
    EXPECT_EQ(split("NAME # comment\n"), valueExpected("NAME # comment\n"));
    EXPECT_EQ(split("NAME #\n"), valueExpected("NAME #\n"));
    EXPECT_EQ(split("NAME \t#abc\n"), valueExpected("NAME \t#abc\n"));
}

TEST(Line, ErrorsTellTheLineFromTheName) {
    EXPECT_EQ(split(" \tNAME=abc\n"), spaceExpected("NAME=abc\n"));
    EXPECT_EQ(split(" \tNAME \n"), valueExpected("NAME \n"));
}

TEST(Line, RefusedLineIsLeftAsItWas) {
    EXPECT_EQ(split(" NAME=abc # x\n").line, " NAME=abc # x\n");
    EXPECT_EQ(split(" NAME # x\n").line, " NAME # x\n");
}

TEST(Line, HashEndsTheValue) {
    EXPECT_EQ(split("NAME a#x\n"), pair("NAME", "a"));
    EXPECT_EQ(split("NAME a b#x # y\n"), pair("NAME", "a b"));
}

TEST(Line, WhiteSpaceBehindTheHashDoesNotCount) {
    EXPECT_EQ(split("NAME abc#\n"), pair("NAME", "abc"));
    EXPECT_EQ(split("NAME abc #  x \n"), pair("NAME", "abc"));
    EXPECT_EQ(split("NAME abc  # \n"), pair("NAME", "abc  "));
}

TEST(Line, EndsAtItsFirstNulByte) {
    EXPECT_EQ(split("\0NAME abc\n"s), ignored());
    EXPECT_EQ(split("NA\0ME abc\n"s), spaceExpected("NA"));
    EXPECT_EQ(split("NAME \0abc\n"s), valueExpected("NAME "));
    EXPECT_EQ(split("NAME a\0bc\n"s), pair("NAME", "a"));
    EXPECT_EQ(split("NAME abc \0\n"s), pair("NAME", "abc"));
}

TEST(Line, PairIsCutByTwoNulBytesOnly) {
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

}  // namespace

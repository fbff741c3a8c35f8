#include "conf/line.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "tests/models/configuration_shown.h"

namespace {

using model::splitLine;
using namespace std::string_literals;

TEST(Line, IsAPairOrIgnoredOrRefused) {
    const std::pair<std::string, std::string> table[] = {
        {"", "ignored"},
        {" \t\v\f\r\n", "ignored"},
        {"\t \v#NAME value\n", "ignored"},
        {"\t\r\f\v NAME \t\v\f\r abc\n", "NAME|abc"},
        {"NAME a \t b   c\n", "NAME|a \t b   c"},
        {"_aZ09_ v\n", "_aZ09_|v"},
        {"N v#", "N|v"},
        {"N =v\n", "N|=v"},
        {"NAME a b#x # y \n", "NAME|a b"},
        {" \tNAME=abc\n", "no space: NAME=abc\n"},
        {"NAME= abc\n", "no space: NAME= abc\n"},
        {"NAME", "no space: NAME"},
        {"= abc\n", "no space: = abc\n"},
        {" \tNAME \t \n", "no value: NAME \t \n"},
        {"NAME \t# comment\n", "no value: NAME \t# comment\n"},
        {"\0NAME abc\n"s, "ignored"},
        {"NA\0ME abc\n"s, "no space: NA"},
        {"NAME \0abc\n"s, "no value: NAME "},
        {"NAME a\0bc\n"s, "NAME|a"},
        {"NAME abc \0\n"s, "NAME|abc"},
    };
    for (const auto& [line, expected] : table) {
        EXPECT_EQ(splitLine(line), expected) << line;
        EXPECT_EQ(model::shown(model::readLine(line)), expected) << line;
    }
}

TEST(Line, OnlyAPairIsCutAndByTwoNulBytes) {
    const std::pair<std::string, std::string> table[] = {
        {" # NAME value\n", " # NAME value\n"},
        {" NAME=abc # x\n", " NAME=abc # x\n"},
        {" NAME # x\n", " NAME # x\n"},
        {" NAME  abc \t # x\n", " NAME\0 abc \t\0# x\n"s},
        {"NAME abc#x\n", "NAME\0abc\0x\n"s},
    };
    for (const auto& [line, expected] : table) {
        std::string cut = line;
        char* name = nullptr;
        char* value = nullptr;
        const conf_line kind = conf_split_line(cut.data(), &name, &value);
        EXPECT_EQ(cut, expected);
        if (kind == conf_line::pair) {
            EXPECT_EQ(name - cut.data(), static_cast<std::ptrdiff_t>(line.find("NAME")));
            EXPECT_EQ(value - cut.data(), static_cast<std::ptrdiff_t>(line.find("abc")));
        }
    }
}

// Every byte at every place where the parser decides by it, against the model.
TEST(LineBytes, EachIsTakenAsTheModelTakesIt) {
    const std::pair<const char*, const char*> places[] = {
        {"", "yz abc\n"},    {"x", "z abc\n"},      {"", ""},
        {"NAME", "abc\n"},   {"NAME", ""},          {"NAME ", " abc\n"},
        {"NAME ", "\n"},     {"NAME x", "z\n"},     {"NAME xy", "\n"},
        {"NAME xy", ""},     {"NAME xy", "# z\n"},  {"NAME abc#", "z\n"},
        {"#", "NAME abc\n"}, {" \t", "NAME abc\n"},
    };
    for (const auto& [before, after] : places) {
        for (int byte = 1; byte <= 255; ++byte) {
            const std::string line = before + std::string(1, static_cast<char>(byte)) + after;
            EXPECT_EQ(splitLine(line), model::shown(model::readLine(line))) << line;
        }
    }
}

// --- white space before the end of a value: of a run of length r, r - (r mod 2) bytes stay ---

// Every run of blanks, tabs and line feeds up to a length.
std::vector<std::string> runs(std::size_t longest) {
    std::vector<std::string> found = {""};
    for (std::size_t i = 0; found[i].size() < longest; ++i) {
        for (const char byte : {' ', '\t', '\n'}) {
            found.push_back(found[i] + byte);
        }
    }
    return found;
}

void walkRuns(const std::string& value, const std::string& after, std::size_t longest) {
    for (const std::string& run : runs(longest)) {
        const std::string kept = run.substr(0, run.size() / 2 * 2);
        ASSERT_EQ(splitLine("NAME " + value + run + after), "NAME|" + value + kept);
    }
}

TEST(LineTrailingSpace, EvenRunsAreKeptAndOddOnesLoseTheirLastBeforeAComment) {
    walkRuns("abc", "# comment\n", 7);
    walkRuns("abc", "#", 5);
    // And before the end of the text. Inner runs do not count.
    walkRuns("abc", "", 7);
    for (const char* const value : {"a b", "a  b", "a   b", "v"}) {
        walkRuns(value, "", 3);
    }
}

}  // namespace

#include "zarnic/conf/read_configuration.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "tests/support/capture.h"
#include "tests/unit/conf/table.h"

namespace {

using test::readText;
using test::Report;
using test::Reports;
using test::Table;
using namespace std::string_literals;

constexpr const char* space_expected = "\nExpected a space after variable name\n";
constexpr const char* value_expected = "\nExpected a value";

Report refused(const std::string& rest, const std::string& reason) {
    return {12, "Invalid variable definition " + rest + reason};
}

void expectEmptyAndSorted(const Table& table) {
    EXPECT_EQ(table->nmemb, 0U);
    EXPECT_EQ(table->size, 20U);
    EXPECT_EQ(table->sorted, 1);
    EXPECT_NE(table->data, nullptr);
}

TEST(ReadConfiguration, EmptyFileGivesAnEmptySortedTable) {
    const Table table;
    EXPECT_EQ(readText("", table), 0);
    expectEmptyAndSorted(table);
}

TEST(ReadConfiguration, BlankLinesAndCommentsGiveAnEmptySortedTable) {
    const Reports reports;
    const Table table;
    EXPECT_EQ(readText("\n  \n\t\n# NAME abc\n  \t# NAME abc\n \v\f\r\n#", table), 0);
    expectEmptyAndSorted(table);
    EXPECT_TRUE(reports.all().empty());
}

TEST(ReadConfiguration, GivesEachPairOfTheFileWithoutAReport) {
    const Reports reports;
    const Table table;
    EXPECT_EQ(readText("B  two words\nA\t1\n\n# comment\nC x # comment\nD end", table), 0);
    EXPECT_TRUE(reports.all().empty());
    EXPECT_EQ(table->nmemb, 4U);
    EXPECT_EQ(table.value("D"), "end");
    EXPECT_EQ(table.value("A"), "1");
    EXPECT_EQ(table.value("B"), "two words");
    EXPECT_EQ(table.value("C"), "x");
}

TEST(ReadConfiguration, SortsTheTable) {
    const Table table;
    EXPECT_EQ(readText("b 1\nB 2\n_ 3\na 4\n0 5\nab 6\n", table), 0);
    EXPECT_EQ(table->sorted, 1);
    EXPECT_EQ(table.names(), (std::vector<std::string>{"0", "B", "_", "a", "ab", "b"}));
}

TEST(ReadConfiguration, LaterValueOfANameWinsAndThereIsOneEntry) {
    const Table table;
    EXPECT_EQ(readText("NAME first\nOTHER x\nNAME second\n", table), 0);
    EXPECT_EQ(table->nmemb, 2U);
    EXPECT_EQ(table.value("NAME"), "second");
    EXPECT_EQ(table.value("OTHER"), "x");
}

TEST(ReadConfiguration, NameJoinedByEqualsIsReportedAndTheRestIsRead) {
    const Reports reports;
    const Table table;
    EXPECT_EQ(readText("A 1\n NAME=abc\nB 2\n", table), 0);
    EXPECT_EQ(reports.all(), std::vector<Report>{refused("NAME=abc\n", space_expected)});
    EXPECT_EQ(table.names(), (std::vector<std::string>{"A", "B"}));
}

TEST(ReadConfiguration, NameAloneOnItsLineIsReportedForWantOfAValue) {
    const Reports reports;
    const Table table;
    EXPECT_EQ(readText("\tNAME\nB 2\n", table), 0);
    EXPECT_EQ(reports.all(), std::vector<Report>{refused("NAME\n", value_expected)});
    EXPECT_EQ(table.names(), std::vector<std::string>{"B"});
}

TEST(ReadConfiguration, BadLineKeepsAnEarlierValue) {
    const Reports reports;
    const Table table;
    EXPECT_EQ(readText("NAME abc\nNAME\nNAME=x\n", table), 0);
    EXPECT_EQ(table.value("NAME"), "abc");
    EXPECT_EQ(reports.all().size(), 2U);
}

TEST(ReadConfiguration, PercentSignsOfABadLineAreReportedAsTheyAre) {
    const Reports reports;
    const Table table;
    EXPECT_EQ(readText("%s%n=%d\n", table), 0);
    EXPECT_EQ(reports.all(), std::vector<Report>{refused("%s%n=%d\n", space_expected)});
}

TEST(ReadConfiguration, LineEndsAtItsFirstNulByte) {
    const Reports reports;
    const Table table;
    const std::string text = "A x\0y\n\0B y\nC\0 z\nD \0z\nE abc \0\n"s;
    EXPECT_EQ(readText(text, table), 0);
    EXPECT_EQ(table.names(), (std::vector<std::string>{"A", "E"}));
    EXPECT_EQ(table.value("A"), "x");
    EXPECT_EQ(table.value("E"), "abc");
    EXPECT_EQ(reports.all(), (std::vector<Report>{refused("C", space_expected),
                                                  refused("D ", value_expected)}));
}

// It counts among the white space before the value's end.
TEST(ReadConfiguration, LineFeedBelongsToItsLine) {
    const Table table;
    EXPECT_EQ(readText("A abc \nB abc  \nC abc \r\nD abc ", table), 0);
    EXPECT_EQ(table.value("A"), "abc \n");
    EXPECT_EQ(table.value("B"), "abc  ");
    EXPECT_EQ(table.value("C"), "abc \r");
    EXPECT_EQ(table.value("D"), "abc");
}

TEST(ReadConfiguration, LineEndsAtLineFeedsOnly) {
    const Table table;
    EXPECT_EQ(readText("A x\rB y\n", table), 0);
    EXPECT_EQ(table.value("A"), "x\rB y");
    EXPECT_EQ(table->nmemb, 1U);
}

TEST(ReadConfiguration, LineMayBeOfAnyLength) {
    const std::string name(70000, 'N');
    const std::string value(300000, 'v');
    const Table table;
    EXPECT_EQ(readText("A 1\n" + name + " " + value + "\nB 2\n", table), 0);
    EXPECT_EQ(table.value(name), value);
    EXPECT_EQ(table.value("B"), "2");
}

TEST(ReadConfiguration, ReadsOverWhatTheTableHolds) {
    const Table table;
    ASSERT_EQ(readText("KEPT 1\nREPLACED 2\n", table), 0);
    ASSERT_EQ(readText("REPLACED 3\nADDED 4\n", table), 0);
    EXPECT_EQ(table.names(), (std::vector<std::string>{"ADDED", "KEPT", "REPLACED"}));
    EXPECT_EQ(table.value("KEPT"), "1");
    EXPECT_EQ(table.value("REPLACED"), "3");
    EXPECT_EQ(table->sorted, 1);
}

TEST(ReadConfiguration, TablesAreIndependent) {
    const Table first;
    const Table second;
    ASSERT_EQ(readText("NAME first\n", first), 0);
    ASSERT_EQ(readText("NAME second\n", second), 0);
    EXPECT_EQ(first.value("NAME"), "first");
    EXPECT_EQ(second.value("NAME"), "second");
}

// A file of many definitions, few of them new, against the standard map.
TEST(ReadConfiguration, ManyDefinitionsAgreeWithAMap) {
    std::map<std::string, std::string> expected;
    std::string text;
    unsigned state = 1;
    for (int line = 0; line < 2000; ++line) {
        state = state * 1103515245U + 12345U;
        const std::string name = "N" + std::to_string((state >> 16U) % 300);
        expected[name] = std::to_string(line);
        text.append(name).append(" ").append(expected[name]).append("\n");
    }
    const Table table;
    ASSERT_EQ(readText(text, table), 0);
    EXPECT_EQ(table->nmemb, expected.size());
    std::vector<std::string> names;
    for (const auto& [name, value] : expected) {
        EXPECT_EQ(table.value(name), value);
        names.push_back(name);
    }
    EXPECT_EQ(table.names(), names);
}

TEST(ReadConfiguration, LeavesNoDescriptorAndNoLineBuffer) {
    const Table table;
    const unsigned long blocks = test::largeBlocks();
    const std::string before = test::openDescriptors();
    ASSERT_EQ(readText("A 1\n#" + std::string(2 * test::large, 'x') + "\n", table), 0);
    EXPECT_EQ(test::openDescriptors(), before);
    EXPECT_EQ(test::largeBlocks(), blocks);
}

}  // namespace

// Sorting a table and looking names up.

#include "zarnic/conf/read_configuration.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tests/unit/conf/table.h"

namespace {

using test::Table;
using Names = std::vector<std::string>;

void add(const Table& table, const Names& names) {
    for (const std::string& name : names) {
        ASSERT_EQ(conf_add_r(name.c_str(), ("value of " + name).c_str(), table.get()), 0);
    }
}

void expectEachFound(const Table& table, const Names& names) {
    for (const std::string& name : names) {
        EXPECT_EQ(table.value(name), "value of " + name);
    }
}

TEST(TableLookup, FinalisingSortsByBytes) {
    const Names names = {"b", "\xff", "_", "aa", "B", "", "0", "a", "\x80", "A", "ab", "9"};
    const Table table;
    add(table, names);
    conf_finalize_r(table.get());
    EXPECT_EQ(table.names(),
              (Names{"", "0", "9", "A", "B", "_", "a", "aa", "ab", "b", "\x80", "\xff"}));
    EXPECT_EQ(table->sorted, 1);
    EXPECT_EQ(table->nmemb, names.size());
    expectEachFound(table, names);
}

TEST(TableLookup, FinalisingTakesAnEmptyTable) {
    const Table table;
    ASSERT_EQ(conf_init_r(table.get()), 0);
    table->sorted = 0;
    conf_finalize_r(table.get());
    EXPECT_EQ(table->sorted, 1);
    EXPECT_EQ(table->nmemb, 0U);
}

TEST(TableLookup, FinalisingLeavesATableThatSaysItIsSorted) {
    const Table table;
    add(table, {"B", "A"});
    table->sorted = 1;
    conf_finalize_r(table.get());
    EXPECT_EQ(table.names(), (Names{"B", "A"}));
}

TEST(TableLookup, FindsInEveryOrderBeforeFinalising) {
    Names names = {"A", "B", "C", "D"};
    do {
        const Table table;
        add(table, names);
        ASSERT_EQ(table->sorted, 0);
        expectEachFound(table, names);
    } while (std::next_permutation(names.begin(), names.end()));
}

TEST(TableLookup, FindsInEveryOrderAfterFinalising) {
    Names names = {"A", "B", "C", "D"};
    do {
        const Table table;
        add(table, names);
        conf_finalize_r(table.get());
        expectEachFound(table, names);
    } while (std::next_permutation(names.begin(), names.end()));
}

TEST(TableLookup, AbsentNameGivesNull) {
    const Table table;
    add(table, {"B", "D"});
    for (const char* name : {"", "A", "C", "E", "b", "BB", "B "}) {
        EXPECT_EQ(conf_get_r(name, table.get()), nullptr) << name;
    }
    conf_finalize_r(table.get());
    for (const char* name : {"", "A", "C", "E", "b", "BB", "B "}) {
        EXPECT_EQ(conf_get_r(name, table.get()), nullptr) << name;
    }
}

TEST(TableLookup, EmptyTableHasNoName) {
    const Table table;
    ASSERT_EQ(conf_init_r(table.get()), 0);
    EXPECT_EQ(conf_get_r("A", table.get()), nullptr);
    table->sorted = 0;
    EXPECT_EQ(conf_get_r("A", table.get()), nullptr);
}

TEST(TableLookup, SlotsBeyondTheCountAreNotLookedAt) {
    const Table table;
    add(table, {"A", "B"});
    table->nmemb = 1;
    EXPECT_EQ(table.value("B"), "(absent)");
    table->sorted = 1;
    EXPECT_EQ(table.value("B"), "(absent)");
    table->nmemb = 2;
}

TEST(TableLookup, ValueBelongsToTheTable) {
    const Table table;
    add(table, {"A", "B"});
    EXPECT_EQ(conf_get_r("B", table.get()), table->data[1].value);
    conf_finalize_r(table.get());
    EXPECT_EQ(conf_get_r("B", table.get()), table->data[1].value);
}

// A search in halves misses the ends of a table that is in the opposite order; one that looks
// at every entry would find them.
TEST(TableLookup, SortedTableIsSearchedInHalves) {
    const Table table;
    add(table, {"C", "B", "A"});
    table->sorted = 1;
    EXPECT_EQ(table.value("A"), "(absent)");
    EXPECT_EQ(table.value("C"), "(absent)");
    table->sorted = 0;
    EXPECT_EQ(table.value("A"), "value of A");
    EXPECT_EQ(table.value("C"), "value of C");
}

TEST(TableLookup, NameAddedAfterFinalisingIsFound) {
    const Table table;
    add(table, {"C", "B"});
    conf_finalize_r(table.get());
    add(table, {"A"});
    expectEachFound(table, {"A", "B", "C"});
    EXPECT_EQ(table.names(), (Names{"B", "C", "A"}));
    conf_finalize_r(table.get());
    EXPECT_EQ(table.names(), (Names{"A", "B", "C"}));
}

}  // namespace

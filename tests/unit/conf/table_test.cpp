// Making, filling, growing and releasing a table.

#include "zarnic/conf/read_configuration.h"

#include <gtest/gtest.h>
#include <malloc.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <type_traits>
#include <vector>

#include "tests/unit/conf/table.h"

namespace {

using test::Table;

static_assert(std::is_same_v<decltype(conf_table::data), conf_entry*>);
static_assert(std::is_same_v<decltype(conf_table::size), std::uint64_t>);
static_assert(std::is_same_v<decltype(conf_table::nmemb), std::uint64_t>);
static_assert(std::is_same_v<decltype(conf_table::sorted), std::int32_t>);
static_assert(std::is_trivial_v<conf_table>, "made by calloc");

TEST(Table, FirstInitialisationGivesTwentyZeroedSlots) {
    ::mallopt(M_PERTURB, 0x5a);  // memory that nobody zeroes holds something else
    const Table table;
    table->size = 7;
    table->nmemb = 5;
    EXPECT_EQ(conf_init_r(table.get()), 0);
    EXPECT_EQ(table->size, 20U);
    EXPECT_EQ(table->nmemb, 0U);
    EXPECT_EQ(table->sorted, 1);
    ASSERT_NE(table->data, nullptr);
    for (std::uint64_t i = 0; i < table->size; ++i) {
        EXPECT_EQ(table->data[i].name, nullptr);
        EXPECT_EQ(table->data[i].value, nullptr);
    }
}

TEST(Table, InitialisationWithRoomDoesNothing) {
    const Table table;
    ASSERT_EQ(conf_init_r(table.get()), 0);
    for (int count = 0; count < 20; ++count) {
        const conf_table before = *table;
        EXPECT_EQ(conf_init_r(table.get()), 0);
        EXPECT_EQ(std::memcmp(&before, table.get(), sizeof before), 0);
        table.get()->sorted = count % 2;
        ASSERT_EQ(conf_add_r(std::to_string(count).c_str(), "x", table.get()), 0);
    }
}

TEST(Table, AddAppendsAtTheEnd) {
    const Table table;
    ASSERT_EQ(conf_add_r("B", "2", table.get()), 0);
    ASSERT_EQ(conf_add_r("A", "1", table.get()), 0);
    ASSERT_EQ(conf_add_r("C", "3", table.get()), 0);
    EXPECT_EQ(table.names(), (std::vector<std::string>{"B", "A", "C"}));
    EXPECT_STREQ(table->data[1].value, "1");
}

TEST(Table, AddCopiesNameAndValue) {
    char name[] = "NAME";
    char value[] = "abc";
    const Table table;
    ASSERT_EQ(conf_add_r(name, value, table.get()), 0);
    name[0] = 'X';
    value[0] = 'X';
    EXPECT_EQ(table.value("NAME"), "abc");
    EXPECT_EQ(table.value("XAME"), "(absent)");
}

TEST(Table, AddTakesAnyBytes) {
    const Table table;
    ASSERT_EQ(conf_add_r("", "empty", table.get()), 0);
    ASSERT_EQ(conf_add_r("a name = \xff", "", table.get()), 0);
    EXPECT_EQ(table.value(""), "empty");
    EXPECT_EQ(table.value("a name = \xff"), "");
}

TEST(Table, AppendingMakesItUnsortedEvenInOrder) {
    const Table table;
    ASSERT_EQ(conf_add_r("A", "1", table.get()), 0);
    EXPECT_EQ(table->sorted, 0);
    table->sorted = 1;
    ASSERT_EQ(conf_add_r("B", "2", table.get()), 0);
    EXPECT_EQ(table->sorted, 0);
}

TEST(Table, ReplacingLeavesSortedAsItWas) {
    const Table table;
    ASSERT_EQ(conf_add_r("A", "1", table.get()), 0);
    ASSERT_EQ(conf_add_r("A", "2", table.get()), 0);
    EXPECT_EQ(table->sorted, 0);
    conf_finalize_r(table.get());
    ASSERT_EQ(conf_add_r("A", "3", table.get()), 0);
    EXPECT_EQ(table->sorted, 1);
}

TEST(Table, ReplacingKeepsTheEntryAndItsPlace) {
    const Table table;
    ASSERT_EQ(conf_add_r("B", "2", table.get()), 0);
    ASSERT_EQ(conf_add_r("A", "1", table.get()), 0);
    const char* const name = table->data[0].name;
    ASSERT_EQ(conf_add_r("B", "new", table.get()), 0);
    EXPECT_EQ(table->nmemb, 2U);
    EXPECT_EQ(table->data[0].name, name);
    EXPECT_STREQ(table->data[0].value, "new");
    EXPECT_STREQ(table->data[1].value, "1");
}

TEST(Table, ReplacingReleasesTheOldValueAndTheNewNamesCopy) {
    const std::string name(test::large, 'N');
    const std::string value(test::large, 'v');
    const Table table;
    ASSERT_EQ(conf_add_r(name.c_str(), value.c_str(), table.get()), 0);
    const unsigned long blocks = test::largeBlocks();
    ASSERT_EQ(conf_add_r(name.c_str(), value.c_str(), table.get()), 0);
    EXPECT_EQ(test::largeBlocks(), blocks);
}

TEST(Table, ValueMayBeReplacedByItself) {
    const Table table;
    ASSERT_EQ(conf_add_r("NAME", "abc", table.get()), 0);
    const conf_entry& entry = table->data[0];
    ASSERT_EQ(conf_add_r(entry.name, entry.value, table.get()), 0);
    EXPECT_EQ(table.value("NAME"), "abc");
    EXPECT_EQ(table->nmemb, 1U);
}

// A table of the given capacity and count whose slots hold nothing.
void prepare(const Table& table, std::uint64_t size, std::uint64_t nmemb) {
    table->data = static_cast<conf_entry*>(
        std::calloc(static_cast<std::size_t>(size) + 1, sizeof(conf_entry)));
    table->size = size;
    table->nmemb = nmemb;
    table->sorted = 1;
}

void expectNothingBeyond(const Table& table, std::uint64_t first) {
    for (std::uint64_t i = first; i < table->size; ++i) {
        EXPECT_EQ(table->data[i].name, nullptr) << i;
        EXPECT_EQ(table->data[i].value, nullptr) << i;
    }
}

TEST(TableGrowth, DoublesAFullTableAndKeepsTheEntries) {
    Table table;
    for (int number = 1; number <= 100; ++number) {
        table.addNumbered("N", number, number);
        EXPECT_EQ(table->size, number > 80   ? 160U
                               : number > 40 ? 80U
                               : number > 20 ? 40U
                                             : 20U);
    }
    EXPECT_EQ(table->nmemb, 100U);
    for (int number = 1; number <= 100; ++number) {
        EXPECT_EQ(table.value("N" + std::to_string(number)), std::to_string(number));
    }
}

TEST(TableGrowth, ZeroesTheNewSlots) {
    ::mallopt(M_PERTURB, 0x5a);  // memory that nobody zeroes holds something else
    Table table;
    table.addNumbered("N", 1, 20);
    EXPECT_EQ(conf_init_r(table.get()), 0);
    EXPECT_EQ(table->size, 40U);
    expectNothingBeyond(table, 20);
    table.addNumbered("N", 21, 41);
    EXPECT_EQ(table->size, 80U);
    expectNothingBeyond(table, 41);
}

TEST(TableGrowth, LeavesCountAndOrderAsTheyWere) {
    for (const int sorted : {0, 1}) {
        const Table table;
        prepare(table, 20, 20);
        table->sorted = sorted;
        EXPECT_EQ(conf_init_r(table.get()), 0);
        EXPECT_EQ(table->size, 40U);
        EXPECT_EQ(table->nmemb, 20U);
        EXPECT_EQ(table->sorted, sorted);
        table->nmemb = 0;
    }
}

TEST(TableGrowth, ReplacingInAFullTableGrowsItFirst) {
    Table table;
    table.addNumbered("N", 1, 20);
    ASSERT_EQ(conf_add_r("N7", "new", table.get()), 0);
    EXPECT_EQ(table->nmemb, 20U);
    EXPECT_EQ(table->size, 40U);
    EXPECT_EQ(table.value("N7"), "new");
}

TEST(TableGrowth, ReadingAnEmptyFileIntoAFullTableGrowsIt) {
    Table table;
    table.addNumbered("N", 1, 20);
    ASSERT_EQ(test::readText("", table), 0);
    EXPECT_EQ(table->size, 40U);
    EXPECT_EQ(table->nmemb, 20U);
}

TEST(TableGrowth, DoublesUpToTwiceTheCapacityAndFromNothingTakesTwenty) {
    for (const std::uint64_t size : {0U, 1U, 2U, 5U, 19U}) {
        for (std::uint64_t nmemb = size; nmemb <= 2 * size + 1; ++nmemb) {
            const Table table;
            prepare(table, size, nmemb);
            EXPECT_EQ(conf_init_r(table.get()), 0);
            const bool doubles = size != 0 && nmemb <= 2 * size;
            EXPECT_EQ(table->size, doubles ? 2 * size : nmemb + 20) << size << " and " << nmemb;
            EXPECT_EQ(table->nmemb, nmemb);
            expectNothingBeyond(table, size);
        }
    }
}

// The release of one that was made of large blocks only, so that each shows.
TEST(Table, ReleaseFreesEverySlotUpToTheCapacityTheArrayAndTheStructure) {
    constexpr std::uint64_t capacity = test::large / sizeof(conf_entry);
    const auto largeString = [] { return static_cast<char*>(std::calloc(test::large, 1)); };
    const unsigned long before = test::largeBlocks();
    auto* const table = static_cast<conf_table*>(std::calloc(test::large, 1));
    table->data = static_cast<conf_entry*>(std::calloc(capacity, sizeof(conf_entry)));
    table->size = capacity;
    table->nmemb = 1;
    table->data[0] = {largeString(), largeString()};
    table->data[1] = {largeString(), nullptr};
    table->data[capacity - 1] = {largeString(), largeString()};
    conf_free_r(table);
    EXPECT_EQ(test::largeBlocks(), before);
}

TEST(Table, ReleaseTakesATableThatWasNeverInitialised) {
    const unsigned long before = test::largeBlocks();
    auto* const table = static_cast<conf_table*>(std::calloc(test::large, 1));
    table->size = 3;  // without data there is nothing to walk
    conf_free_r(table);
    EXPECT_EQ(test::largeBlocks(), before);
}

TEST(Table, ReleaseIgnoresNull) { conf_free_r(nullptr); }

}  // namespace

#include "zarnic/conf/read_configuration.h"

#include <gtest/gtest.h>
#include <malloc.h>

#include <cstdint>
#include <cstdlib>
#include <string>

#include "tests/unit/conf/table.h"

namespace {

using test::Table;

// A table of the given capacity and count whose slots hold nothing.
void prepare(const Table& table, std::uint64_t size, std::uint64_t nmemb) {
    table->data = static_cast<conf_entry*>(std::calloc(size + 1, sizeof(conf_entry)));
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

TEST(TableGrowth, TwentyFitTheFirstCapacity) {
    Table table;
    table.addNumbered("N", 1, 20);
    EXPECT_EQ(table->nmemb, 20U);
    EXPECT_EQ(table->size, 20U);
}

TEST(TableGrowth, TwentyFirstDoublesTheCapacity) {
    Table table;
    table.addNumbered("N", 1, 21);
    EXPECT_EQ(table->nmemb, 21U);
    EXPECT_EQ(table->size, 40U);
}

TEST(TableGrowth, FortyFirstDoublesItAgain) {
    Table table;
    table.addNumbered("N", 1, 40);
    EXPECT_EQ(table->size, 40U);
    table.addNumbered("N", 41, 41);
    EXPECT_EQ(table->size, 80U);
    table.addNumbered("N", 42, 81);
    EXPECT_EQ(table->size, 160U);
}

TEST(TableGrowth, FileOfManyVariablesGrowsTheTable) {
    for (const auto& [count, size] :
         {std::pair{20U, 20U}, {21U, 40U}, {40U, 40U}, {41U, 80U}}) {
        std::string text;
        for (unsigned number = 0; number < count; ++number) {
            text += "N" + std::to_string(number) + " v\n";
        }
        const Table table;
        EXPECT_EQ(test::readText(text, table), 0);
        EXPECT_EQ(table->nmemb, count);
        EXPECT_EQ(table->size, size);
    }
}

TEST(TableGrowth, KeepsTheEntries) {
    Table table;
    table.addNumbered("N", 1, 100);
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

TEST(TableGrowth, ReadingAnEmptyFileIntoATableWithRoomDoesNotGrowIt) {
    Table table;
    table.addNumbered("N", 1, 19);
    ASSERT_EQ(test::readText("", table), 0);
    EXPECT_EQ(table->size, 20U);
}

TEST(TableGrowth, TakesTwentyMoreThanTheCountWhereDoublingDoesNotReachIt) {
    const Table table;
    prepare(table, 3, 10);
    EXPECT_EQ(conf_init_r(table.get()), 0);
    EXPECT_EQ(table->size, 30U);
    EXPECT_EQ(table->nmemb, 10U);
    expectNothingBeyond(table, 3);
}

TEST(TableGrowth, DoublesWhereThatReachesTheCount) {
    const Table table;
    prepare(table, 6, 10);
    EXPECT_EQ(conf_init_r(table.get()), 0);
    EXPECT_EQ(table->size, 12U);
    EXPECT_EQ(table->nmemb, 10U);
}

TEST(TableGrowth, DoublesUpToTwiceTheCapacityAndFromNothingTakesTwenty) {
    for (const std::uint64_t size : {0U, 1U, 2U, 5U, 19U}) {
        for (std::uint64_t nmemb = size; nmemb <= 2 * size + 1; ++nmemb) {
            const Table table;
            prepare(table, size, nmemb);
            EXPECT_EQ(conf_init_r(table.get()), 0);
            const bool doubles = size != 0 && nmemb <= 2 * size;
            EXPECT_EQ(table->size, doubles ? 2 * size : nmemb + 20) << size << " and " << nmemb;
        }
    }
}

}  // namespace

// Making, filling, growing, sorting and searching a table.

#include <gtest/gtest.h>
#include <malloc.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <type_traits>
#include <vector>

#include "tests/unit/conf/table.h"
#include "zarnic/conf/read_configuration.h"

namespace {

using test::Reports;
using test::Table;
using Words = std::vector<std::string>;

static_assert(std::is_same_v<decltype(conf_table::data), conf_entry*>);
static_assert(std::is_same_v<decltype(conf_table::size), std::uint64_t>);
static_assert(std::is_same_v<decltype(conf_table::nmemb), std::uint64_t>);
static_assert(std::is_same_v<decltype(conf_table::sorted), std::int32_t>);
static_assert(std::is_trivial_v<conf_table>, "made by calloc");

// --- by hand ---

TEST(Table, AddAppendsCopiesAndReplacesInPlaceAndFinalisingSortsByBytes) {
    char name[] = "B";
    char value[] = "2";
    const Table table;
    ASSERT_EQ(conf_add_r(name, value, table.get()), 0);
    name[0] = value[0] = 'X';
    ASSERT_EQ(table.add("A", "1"), 0);
    ASSERT_EQ(table.add("\xff = _", "#"), 0);
    ASSERT_EQ(table.add("aa", "\x80"), 0);
    ASSERT_EQ(table.add("", ""), 0);
    EXPECT_EQ(table.shown(), "unsorted, room for 20\nB|2\nA|1\n\xff = _|#\naa|\x80\n|\n");
    const char* const kept = table->data[0].name;
    ASSERT_EQ(table.add("B", "new"), 0);
    EXPECT_EQ(table->data[0].name, kept);
    conf_finalize_r(table.get());
    EXPECT_EQ(table.shown(), "sorted, room for 20\n|\nA|1\nB|new\naa|\x80\n\xff = _|#\n");
}

TEST(Table, ValueMayBeReplacedByItself) {
    const Table table;
    table.add("NAME", "abc");
    ASSERT_EQ(conf_add_r(table->data[0].name, table->data[0].value, table.get()), 0);
    EXPECT_EQ(table.shown(), "unsorted, room for 20\nNAME|abc\n");
}

// --- all short sequences of operations against the model ---

// On a table of so many entries. A letter adds itself as a name, but for "i", "f" and "r".
void compare(int entries, const std::string& sequence) {
    ::mallopt(M_PERTURB, 0x5a);  // memory that nobody zeroes holds something else
    model::Table expected;
    const Table table;
    ASSERT_EQ(conf_init_r(table.get()), 0);
    for (int i = 0; i < entries; ++i) {
        expected.add("N" + std::to_string(i), "x");
        table.add("N" + std::to_string(i), "x");
    }
    for (const char letter : sequence) {
        if (letter == 'i') {
            expected.makeRoom();
            ASSERT_EQ(conf_init_r(table.get()), 0);
        } else if (letter == 'f') {
            expected.sort();
            conf_finalize_r(table.get());
        } else if (letter == 'r') {
            expected.readFile("BAD\nB read\n");
            ASSERT_EQ(table.read("BAD\nB read\n"), 0);
        } else {
            const std::string value =
                std::to_string(expected.pairs.size()) + expected.valueOf("A");
            expected.add(std::string(1, letter), value);
            ASSERT_EQ(table.add(std::string(1, letter), value), 0);
        }
        ASSERT_EQ(table.shown(), model::shown(expected));
        for (const char* const name : {"A", "B", "C", "N0", "N19", "", "AA", "a"}) {
            ASSERT_EQ(table.value(name), expected.valueOf(name)) << name;
        }
    }
}

TEST(Table, AllShortSequencesAreAsTheModel) {
    const Reports reports;
    const std::string letters = "ABCifr";
    for (const int entries : {0, 19, 20}) {
        for (std::size_t number = 0; number < 6 * 6 * 6 && !HasFailure(); ++number) {
            const std::string sequence = {letters[number / 36], letters[number / 6 % 6],
                                          letters[number % 6]};
            SCOPED_TRACE(std::to_string(entries) + " entries, " + sequence);
            compare(entries, sequence);
        }
    }
}

// --- tables of which only some other code can have made what they say of themselves ---

// A search in halves misses the ends of a table that is in the opposite order; one that looks
// at every entry would find them.
TEST(Table, BelievesItsSortedFlagAndItsCount) {
    const Table table;
    for (const char* const name : {"C", "B", "A"}) {
        table.add(name, "x");
    }
    table->sorted = 1;
    EXPECT_EQ(conf_init_r(table.get()), 0);
    conf_finalize_r(table.get());
    EXPECT_EQ(table.shown(), "sorted, room for 20\nC|x\nB|x\nA|x\n");
    EXPECT_EQ(table.value("A") + table.value("C"), "(none)(none)");
    table->sorted = 0;
    EXPECT_EQ(table.value("A") + table.value("C"), "xx");
    table->nmemb = 1;
    EXPECT_EQ(table.value("C") + table.value("B"), "x(none)");
    table->sorted = 1;
    EXPECT_EQ(table.value("C") + table.value("B"), "x(none)");
    table->nmemb = 0;
    EXPECT_EQ(table.value("C"), "(none)");
}

TEST(Table, GrowsToTwiceItsSizeOrByTwentyWhereThatIsNotEnough) {
    for (const std::uint64_t size : {0U, 1U, 2U, 5U, 19U}) {
        for (std::uint64_t count = size; count <= 2 * size + 1; ++count) {
            const Table table;
            table->data = static_cast<conf_entry*>(
                std::calloc(static_cast<std::size_t>(size) + 1, sizeof(conf_entry)));
            table->size = size;
            table->nmemb = count;
            EXPECT_EQ(conf_init_r(table.get()), 0);
            const bool doubles = size != 0 && count <= 2 * size;
            EXPECT_EQ(table->size, doubles ? 2 * size : count + 20) << size << " and " << count;
            EXPECT_EQ(table->nmemb, count);
            EXPECT_EQ(table->sorted, 0);
            table->nmemb = 0;
            EXPECT_EQ(table.shown().find("stray"), std::string::npos);
        }
    }
}

// --- tables that hold, as they say, more than can be doubled: a growth without a request ---

constexpr std::uint64_t too_many = std::uint64_t{1} << 59U;
const std::string no_room = "12 Unable to read configuration: Cannot allocate memory";

TEST(Table, OverfullOneIsRefusedToGrowAndLeft) {
    for (const std::uint64_t count :
         {too_many, too_many + 2, too_many * 2, too_many * 16 - 2, ~std::uint64_t{20},
          ~std::uint64_t{19}, ~std::uint64_t{0}}) {
        const Table table;
        table.add("A", "1");
        conf_table said = *table;
        said.size = said.nmemb = count;
        const Reports reports;
        for (const auto& operation : {+[](conf_table* one) { return conf_init_r(one); },
                                      +[](conf_table* one) {  // before the open
                                          return conf_read_file_r("/no/such/file", one);
                                      }}) {
            errno = 0;
            EXPECT_EQ(operation(&said), -1);
            EXPECT_EQ(errno, ENOMEM);
            EXPECT_EQ(said.data, table->data);
            EXPECT_EQ(said.size, count);
            EXPECT_EQ(said.nmemb, count);
            EXPECT_EQ(said.sorted, 0);
        }
        EXPECT_EQ(reports.all(), Words({no_room, no_room}));
    }
}

}  // namespace

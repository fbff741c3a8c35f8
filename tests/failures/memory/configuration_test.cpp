#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <utility>

#include "tests/failures/memory/refusal.h"
#include "tests/models/configuration_shown.h"
#include "tests/support/capture.h"
#include "zarnic/conf/diagnostics.h"

namespace {

using test::Attempt;
using test::forEveryRefusal;

constexpr int more_than_a_table = 25;

// All reports, each after its level; keeping them asks for no memory.
char reports[4096];

[[gnu::format(printf, 2, 3)]] void keepReport(int level, const char* format, ...) {
    char* const end = reports + std::strlen(reports);
    va_list arguments;
    va_start(arguments, format);
    const int head = std::snprintf(end, 10, "%d ", level);
    std::vsnprintf(end + head, 200, format, arguments);
    va_end(arguments);
    errno = ERANGE;
}

// Never initialised, and with counters that mean nothing.
conf_table* newTable() {
    auto* const table = static_cast<conf_table*>(std::calloc(1, sizeof(conf_table)));
    table->size = 7;
    table->nmemb = 5;
    return table;
}

std::string nameOf(int number) { return "VARIABLE_" + std::to_string(number); }

conf_table* tableOf(int count) {
    conf_table* const table = newTable();
    for (int i = 0; i < count; ++i) {
        EXPECT_EQ(conf_add_r(nameOf(i).c_str(), "value", table), 0);
    }
    return table;
}

// The result of an operation. Nothing throws here, and a lack of memory is in errno.
template <class Operation>
int resultOf(const Attempt& attempt, const Operation& operation) {
    int result = 0;
    int error = 0;
    reports[0] = '\0';
    EXPECT_FALSE(attempt.run([&] {
        result = operation();
        error = errno;
    }));
    EXPECT_TRUE(result == 0 || (result == -1 && error == ENOMEM));
    return result;
}

class RefusedConfiguration : public testing::Test {
  protected:
    RefusedConfiguration() { message_fn = keepReport; }
};

TEST_F(RefusedConfiguration, TableIsLeftAsItWasAndCanBeAskedAgain) {
    const struct {
        int count;
        void (*expected)(model::Table&);
        int (*operation)(conf_table*);
        const char* report;
    } rows[] = {
        {0, [](model::Table& table) { table.makeRoom(); }, conf_init_r, ""},
        {20, [](model::Table& table) { table.makeRoom(); }, conf_init_r,
         "12 Unable to read configuration: Cannot allocate memory"},
        {5, [](model::Table& table) { table.add("new", "value"); },
         [](conf_table* table) { return conf_add_r("new", "value", table); },
         "12 Unable to form configuration: Cannot allocate memory"},
        {5, [](model::Table& table) { table.add("VARIABLE_3", "another"); },
         [](conf_table* table) { return conf_add_r("VARIABLE_3", "another", table); },
         "12 Unable to form configuration: Cannot allocate memory"},
    };
    for (const auto& row : rows) {
        model::Table expected;
        for (int i = 0; i < row.count; ++i) {
            expected.add(nameOf(i), "value");
        }
        const std::string before =
            row.count == 0 ? "unsorted, room for 0\n" : model::shown(expected);
        row.expected(expected);
        forEveryRefusal([&](Attempt& attempt) {
            conf_table* const table = tableOf(row.count);
            const int result = resultOf(attempt, [&] { return row.operation(table); });
            EXPECT_EQ(result, attempt.refused() ? -1 : 0);
            EXPECT_STREQ(reports, attempt.refused() ? row.report : "");
            EXPECT_EQ(model::shown(table), attempt.refused() ? before : model::shown(expected));
            EXPECT_EQ(row.operation(table), 0);
            EXPECT_EQ(model::shown(table), model::shown(expected));
            conf_free_r(table);
        });
    }
}

// The report of the bad line is there as soon as a pair is. A table is left unsorted where
// there was no memory for it, and sorted where there was none for the line.
TEST_F(RefusedConfiguration, FileIsReadUpToTheRefusal) {
    const test::TempDir dir;
    const std::string path = dir / "file";
    std::string content = "A=bad line\n# " + std::string(300, 'x') + "\n";
    for (int i = 0; i < more_than_a_table; ++i) {
        content += nameOf(i) + " value\n";
    }
    test::writeFile(path, content);
    const std::string bad_line =
        "12 Invalid variable definition A=bad line\n\nExpected a space after variable name\n";
    const std::map<std::string, int> sorted = {
        {"", 1},
        {"12 Unable to form configuration: Cannot allocate memory", 0},
        {"12 Unable to read configuration: Cannot allocate memory", 0},
        {"12 Unable to read configuration file: Cannot allocate memory", 1},
    };
    forEveryRefusal([&](Attempt& attempt) {
        conf_table* const table = newTable();
        const int result =
            resultOf(attempt, [&] { return conf_read_file_r(path.c_str(), table); });
        const int count = table->data == nullptr ? 0 : static_cast<int>(table->nmemb);
        EXPECT_EQ(result, count == more_than_a_table ? 0 : -1);
        if (count > 0) {
            const std::string said = reports;
            ASSERT_TRUE(said.starts_with(bad_line)) << said;
            EXPECT_EQ(said.size() == bad_line.size(), result == 0);
            EXPECT_EQ(table->sorted, sorted.at(said.substr(bad_line.size())));
        }
        for (int i = 0; i < count; ++i) {
            EXPECT_STREQ(conf_get_r(nameOf(i).c_str(), table), "value");
        }
        conf_free_r(table);
    });
}

// The library's own sort works without memory, too.
TEST_F(RefusedConfiguration, SortingAndLookingUpNeedNoMemory) {
    conf_table* const table = tableOf(200);
    const std::string name = nameOf(150);
    const Attempt attempt(1, true, test::Refused::caller);
    const char* unsorted = nullptr;
    const char* sorted = nullptr;
    attempt.run([&] {
        unsorted = conf_get_r(name.c_str(), table);
        conf_finalize_r(table);
        sorted = conf_get_r(name.c_str(), table);
    });
    EXPECT_STREQ(unsorted, "value");
    EXPECT_STREQ(sorted, "value");
    conf_free_r(table);
}

TEST_F(RefusedConfiguration, ReleaseTakesEverySlotUpToTheCapacityAndTheStructure) {
    const long before = test::liveBlocks();
    conf_table* const table = tableOf(25);
    table->nmemb = 1;
    std::free(std::exchange(table->data[1].value, nullptr));
    conf_free_r(table);
    conf_free_r(newTable());
    conf_free_r(nullptr);
    EXPECT_EQ(test::liveBlocks(), before);
}

}  // namespace

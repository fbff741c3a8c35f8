#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "tests/failures/memory/refusal.h"
#include "tests/support/capture.h"
#include "zarnic/conf/diagnostics.h"
#include "zarnic/conf/read_configuration.h"

namespace {

using test::Attempt;
using test::forEveryRefusal;

constexpr int more_than_a_table = 25;

// All reports, each on a line; keeping them asks for no memory.
char reports[4096];

[[gnu::format(printf, 2, 3)]] void keepReport(int level, const char* format, ...) {
    const std::size_t used = std::strlen(reports);
    va_list arguments;
    va_start(arguments, format);
    const int head = std::snprintf(reports + used, sizeof reports - used, "%d ", level);
    std::vsnprintf(reports + used + head,
                   sizeof reports - used - static_cast<std::size_t>(head), format, arguments);
    va_end(arguments);
    errno = ERANGE;
}

conf_table* newTable() { return static_cast<conf_table*>(std::calloc(1, sizeof(conf_table))); }

std::string nameOf(int number) { return "VARIABLE_" + std::to_string(number); }

conf_table* tableOf(int count) {
    conf_table* const table = newTable();
    for (int i = 0; i < count; ++i) {
        EXPECT_EQ(conf_add_r(nameOf(i).c_str(), "value", table), 0);
    }
    return table;
}

// A result with its errno, as the caller sees it.
struct Result {
    int value;
    int error;
};

template <class Operation>
Result resultOf(Attempt& attempt, const Operation& operation) {
    Result result{0, 0};
    reports[0] = '\0';
    errno = 0;
    EXPECT_FALSE(attempt.run([&] {
        result.value = operation();
        result.error = errno;
    })) << "nothing throws here";
    return result;
}

void expectAll(const conf_table* table, int count) {
    ASSERT_EQ(table->nmemb, static_cast<std::uint64_t>(count));
    ASSERT_LE(table->nmemb, table->size);
    for (int i = 0; i < count; ++i) {
        EXPECT_STREQ(conf_get_r(nameOf(i).c_str(), table), "value");
    }
}

void expectOutOfMemory(const Attempt& attempt, const Result& result, const char* report) {
    EXPECT_EQ(result.value, attempt.refused() ? -1 : 0);
    if (attempt.refused()) {
        EXPECT_EQ(result.error, ENOMEM);
        EXPECT_STREQ(reports, report);
    }
}

class RefusedConfiguration : public testing::Test {
  protected:
    RefusedConfiguration() { message_fn = keepReport; }
};

TEST_F(RefusedConfiguration, FirstAllocationIsNotReported) {
    forEveryRefusal([](Attempt& attempt) {
        conf_table* const table = newTable();
        expectOutOfMemory(attempt, resultOf(attempt, [&] { return conf_init_r(table); }), "");
        EXPECT_EQ(table->data == nullptr, attempt.refused());
        EXPECT_EQ(table->size, attempt.refused() ? 0U : 20U);
        EXPECT_EQ(conf_init_r(table), 0) << "it can be tried again";
        conf_free_r(table);
    });
}

TEST_F(RefusedConfiguration, FirstAllocationThatIsRefusedLeavesNoCapacity) {
    conf_table* const table = newTable();
    table->size = 7;
    Attempt attempt(1, true, test::Refused::caller);
    EXPECT_EQ(resultOf(attempt, [&] { return conf_init_r(table); }).value, -1);
    EXPECT_EQ(table->size, 0U);
    conf_free_r(table);
}

TEST_F(RefusedConfiguration, GrowingThatIsRefusedLeavesTheTable) {
    forEveryRefusal([](Attempt& attempt) {
        conf_table* const table = tableOf(20);
        expectOutOfMemory(attempt, resultOf(attempt, [&] { return conf_init_r(table); }),
                          "12 Unable to read configuration: Cannot allocate memory");
        EXPECT_EQ(table->size, attempt.refused() ? 20U : 40U);
        expectAll(table, 20);
        conf_free_r(table);
    });
}

TEST_F(RefusedConfiguration, AdditionThatIsRefusedIsReportedAndLeavesTheEntries) {
    forEveryRefusal([](Attempt& attempt) {
        conf_table* const table = tableOf(5);
        const std::string name = nameOf(5);
        expectOutOfMemory(
            attempt,
            resultOf(attempt, [&] { return conf_add_r(name.c_str(), "value", table); }),
            "12 Unable to form configuration: Cannot allocate memory");
        expectAll(table, attempt.refused() ? 5 : 6);
        conf_free_r(table);
    });
}

TEST_F(RefusedConfiguration, ReplacementThatIsRefusedKeepsTheOldValue) {
    const std::string name = nameOf(3);
    forEveryRefusal([&name](Attempt& attempt) {
        conf_table* const table = tableOf(5);
        resultOf(attempt, [&] { return conf_add_r(name.c_str(), "another", table); });
        EXPECT_STREQ(conf_get_r(name.c_str(), table), attempt.refused() ? "value" : "another");
        EXPECT_EQ(table->nmemb, 5U);
        conf_free_r(table);
    });
}

// The report of the bad line is there as soon as a pair is.
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
    forEveryRefusal([&](Attempt& attempt) {
        conf_table* const table = newTable();
        const Result result =
            resultOf(attempt, [&] { return conf_read_file_r(path.c_str(), table); });
        const int count = table->data == nullptr ? 0 : static_cast<int>(table->nmemb);
        EXPECT_EQ(result.value, count == more_than_a_table ? 0 : -1);
        if (result.value == 0) {
            EXPECT_EQ(reports, bad_line);
        } else {
            EXPECT_EQ(result.error, ENOMEM);
        }
        if (count > 0) {
            EXPECT_EQ(std::string(reports).substr(0, bad_line.size()), bad_line);
            conf_finalize_r(table);
            expectAll(table, count);
        }
        conf_free_r(table);
    });
}

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
    EXPECT_STREQ(sorted, "value") << "the library's own sort works without memory, too";
    conf_free_r(table);
}

}  // namespace

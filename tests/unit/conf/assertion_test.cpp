#include "conf/assertion.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>

#include <climits>
#include <functional>
#include <string>

#include "tests/support/capture.h"
#include "tests/unit/conf/table.h"
#include "zarnic/conf/autoprepend.h"
#include "zarnic/conf/diagnostics.h"
#include "zarnic/conf/read_configuration.h"

namespace {

using test::Table;

constexpr const char* reader = "conf/read_configuration.cpp";
constexpr const char* variables = "conf/autoprepend.cpp";

constexpr const char* table_given = "((void *)0) != pconf";
constexpr const char* file_and_table_given = "((void *)0) != conf_file && ((void *)0) != pconf";
constexpr const char* table_usable =
    "((void *)0) != pconf && ((void *)0) != pconf->data && pconf->size >= pconf->nmemb";
constexpr const char* index_of_names =
    "i > 0 && i <= (sizeof(theZrcConfArray) / sizeof(theZrcConfArray[0]) - 2)";
constexpr const char* index_of_defaults =
    "i > 0 && i <= (sizeof(theZrcConfDefauls) / sizeof(theZrcConfDefauls[0]) - 2)";
constexpr const char* name_given = "((void *)0) != name";

// The body aborts with one line on standard error, which is the C library's own:
// "PROGRAM: SOURCE:LINE: FUNCTION: Assertion `TEXT' failed.".
void expectAssertion(const std::function<void()>& body, const std::string& source,
                     const std::string& text) {
    const auto child = test::inChild([&body] {
        const rlimit none = {0, 0};
        ::setrlimit(RLIMIT_CORE, &none);
        body();
    });
    EXPECT_TRUE(child.signalled(SIGABRT));
    EXPECT_EQ(child.out, "");
    EXPECT_NE(child.err.find(": " + source + ":"), std::string::npos) << child.err;
    EXPECT_NE(child.err.find(": Assertion `" + text + "' failed.\n"), std::string::npos)
        << child.err;
}

TEST(Assertion, HoldsItsTextWhenTheConditionDoesNot) {
    expectAssertion([] { CONF_ASSERT(1 > 2, "any text", "any/source.cpp"); }, "any/source.cpp",
                    "any text");
}

TEST(Assertion, DoesNothingWhenTheConditionHolds) {
    int evaluated = 0;
    CONF_ASSERT(++evaluated == 1, "text", "source");
    EXPECT_EQ(evaluated, 1);
}

TEST(Assertion, InitialisingNoTableAborts) {
    expectAssertion([] { conf_init_r(nullptr); }, reader, table_given);
}

TEST(Assertion, AddingToNoTableAborts) {
    expectAssertion([] { conf_add_r("A", "1", nullptr); }, reader, table_given);
}

TEST(Assertion, ReadingNoFileAborts) {
    expectAssertion(
        [] {
            const Table table;
            conf_read_file_r(nullptr, table.get());
        },
        reader, file_and_table_given);
}

TEST(Assertion, ReadingIntoNoTableAborts) {
    expectAssertion([] { conf_read_file_r("/dev/null", nullptr); }, reader,
                    file_and_table_given);
    expectAssertion([] { conf_read_file_r(nullptr, nullptr); }, reader, file_and_table_given);
}

TEST(Assertion, LookingUpInNoTableAborts) {
    expectAssertion([] { conf_get_r("A", nullptr); }, reader, table_usable);
}

TEST(Assertion, FinalisingNoTableAborts) {
    expectAssertion([] { conf_finalize_r(nullptr); }, reader, table_usable);
}

TEST(Assertion, LookingUpInATableThatWasNeverInitialisedAborts) {
    expectAssertion(
        [] {
            const Table table;
            conf_get_r("A", table.get());
        },
        reader, table_usable);
}

TEST(Assertion, FinalisingATableThatWasNeverInitialisedAborts) {
    expectAssertion(
        [] {
            const Table table;
            conf_finalize_r(table.get());
        },
        reader, table_usable);
}

TEST(Assertion, LookingUpInATableThatCountsBeyondItsCapacityAborts) {
    expectAssertion(
        [] {
            const Table table;
            conf_init_r(table.get());
            table->nmemb = 21;
            conf_get_r("A", table.get());
        },
        reader, table_usable);
}

// Even where there would be nothing to sort.
TEST(Assertion, FinalisingATableThatCountsBeyondItsCapacityAborts) {
    expectAssertion(
        [] {
            const Table table;
            conf_init_r(table.get());
            table->nmemb = 21;
            conf_finalize_r(table.get());
        },
        reader, table_usable);
}

// Only a message channel that meddles can bring the reader there.
conf_table* meddled_table = nullptr;

void meddle(int /*level*/, const char* /*format*/, ...) {
    meddled_table->nmemb = meddled_table->size + 1;
}

TEST(Assertion, EndOfAReadMeetsTheSameAssertionAsFinalising) {
    // Made out here: a child that aborts removes nothing.
    const test::TempDir directory;
    test::writeFile(directory / "zrc.conf", "NAME=abc\n");
    expectAssertion(
        [&directory] {
            const Table table;
            meddled_table = table.get();
            message_fn = meddle;
            conf_read_file_r((directory / "zrc.conf").c_str(), table.get());
        },
        reader, table_usable);
}

TEST(Assertion, IndexWithoutAVariableAborts) {
    for (const int index : {0, 32, -1, 33, INT_MIN, INT_MAX}) {
        expectAssertion([index] { zrcConfGetByIndex(index); }, variables, index_of_names);
    }
}

TEST(Assertion, IndexWithoutADefaultAborts) {
    for (const int index : {0, 32, -1, 33, INT_MIN, INT_MAX}) {
        expectAssertion([index] { zrcConfGetDefaultByIndex(index); }, variables,
                        index_of_defaults);
    }
}

TEST(Assertion, DefaultOfNoNameAborts) {
    expectAssertion([] { zrcConfGetDefault(nullptr); }, variables, name_given);
}

TEST(Assertion, DefaultOfTheLowerSentinelMeetsTheAssertionOfItsIndex) {
    expectAssertion([] { zrcConfGetDefault("_MIN_POSSIBLE_ZRC_CONF_VAR_NAME"); }, variables,
                    index_of_defaults);
}

}  // namespace

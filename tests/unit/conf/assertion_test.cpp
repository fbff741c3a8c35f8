#include "conf/assertion.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>

#include <climits>
#include <functional>
#include <string>

#include "tests/support/capture.h"
#include "zarnic/conf/autoprepend.h"
#include "zarnic/conf/diagnostics.h"
#include "zarnic/conf/read_configuration.h"

namespace {

// The body aborts with one line on standard error, which is the C library's own:
// "PROGRAM: SOURCE:LINE: FUNCTION: Assertion `TEXT' failed.".
void expectAssertion(const std::string& source, const std::string& function,
                     const std::string& text, const std::function<void()>& body) {
    const auto child = test::inChild([&body] {
        const rlimit none = {0, 0};
        ::setrlimit(RLIMIT_CORE, &none);
        body();
    });
    EXPECT_TRUE(child.signalled(SIGABRT));
    EXPECT_EQ(child.out, "");
    EXPECT_NE(child.err.find(": " + source + ":"), std::string::npos) << child.err;
    EXPECT_NE(child.err.find(function + ": Assertion `" + text + "' failed.\n"),
              std::string::npos)
        << child.err;
}

TEST(Assertion, HoldsItsTextWhenTheConditionDoesNot) {
    expectAssertion("any/source.cpp", "", "any text",
                    [] { CONF_ASSERT(1 > 2, "any text", "any/source.cpp"); });
    int evaluated = 0;
    CONF_ASSERT(++evaluated == 1, "text", "source");
    EXPECT_EQ(evaluated, 1);
}

// A table that was never initialised.
conf_table zeroed;
// One that counts beyond its capacity, even where there would be nothing to sort.
conf_entry entries[20];
conf_table beyond = {entries, 20, 21, 1};

void meddle(int /*level*/, const char* /*format*/, ...) { zeroed.nmemb = zeroed.size + 1; }

// Only a message channel that meddles brings the end of a read there, by way of a bad line.
void endOfARead() {
    message_fn = meddle;
    conf_read_file_r("/proc/self/status", &zeroed);
}

TEST(Assertion, ReaderNeedsATableThatCanBeUsedAndAFile) {
    const std::string usable =
        "((void *)0) != pconf && ((void *)0) != pconf->data && pconf->size >= pconf->nmemb";
    const std::string given = "((void *)0) != pconf";
    const std::string both = "((void *)0) != conf_file && ((void *)0) != pconf";
    const struct {
        const char* function;
        const std::string& text;
        void (*body)();
    } rows[] = {
        {"conf_init_r", given, [] { conf_init_r(nullptr); }},
        {"conf_init_r", given, [] { conf_add_r("A", "1", nullptr); }},
        {"conf_read_file_r", both, [] { conf_read_file_r(nullptr, &zeroed); }},
        {"conf_read_file_r", both, [] { conf_read_file_r("/dev/null", nullptr); }},
        {"conf_read_file_r", both, [] { conf_read_file_r(nullptr, nullptr); }},
        {"conf_get_r", usable, [] { conf_get_r("A", nullptr); }},
        {"conf_get_r", usable, [] { conf_get_r("A", &zeroed); }},
        {"conf_get_r", usable, [] { conf_get_r("A", &beyond); }},
        {"conf_finalize_r", usable, [] { conf_finalize_r(nullptr); }},
        {"conf_finalize_r", usable, [] { conf_finalize_r(&zeroed); }},
        {"conf_finalize_r", usable, [] { conf_finalize_r(&beyond); }},
        {"conf_finalize_r", usable, endOfARead},
    };
    for (const auto& [function, text, body] : rows) {
        expectAssertion("conf/read_configuration.cpp", function, text, body);
    }
}

TEST(Assertion, IndexWithoutADefaultAborts) {
    const struct {
        std::string function;
        std::string array;
        const char* (*ask)(int);
    } rows[] = {
        {"zrcConfGetByIndex", "theZrcConfArray", zrcConfGetByIndex},
        {"zrcConfGetDefaultByIndex", "theZrcConfDefauls", zrcConfGetDefaultByIndex},
    };
    for (const auto& row : rows) {
        for (const int index : {0, int{ZRC_CONF_END}, -1, ZRC_CONF_END + 1, INT_MIN, INT_MAX}) {
            expectAssertion(
                "conf/autoprepend.cpp", row.function,
                "i > 0 && i <= (sizeof(" + row.array + ") / sizeof(" + row.array + "[0]) - 2)",
                [&row, index] { row.ask(index); });
        }
    }
}

TEST(Assertion, DefaultOfTheLowerSentinelMeetsTheAssertionOfItsIndex) {
    expectAssertion(
        "conf/autoprepend.cpp", "zrcConfGetDefaultByIndex",
        "i > 0 && i <= (sizeof(theZrcConfDefauls) / sizeof(theZrcConfDefauls[0]) - 2)",
        [] { zrcConfGetDefault("_MIN_POSSIBLE_ZRC_CONF_VAR_NAME"); });
}

TEST(Assertion, DefaultOfNoNameAborts) {
    expectAssertion("conf/autoprepend.cpp", "zrcConfGetDefault", "((void *)0) != name",
                    [] { zrcConfGetDefault(nullptr); });
}

}  // namespace

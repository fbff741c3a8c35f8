// Reports, messages and the panel's variables with memory refused.

#include "zarnic/conf/diagnostics.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "tests/failures/memory/refusal.h"
#include "tests/support/capture.h"
#include "tests/support/system_log.h"
#include "zarnic/conf/autoprepend.h"

namespace {

using test::Attempt;
using test::Captured;
using test::forEveryRefusal;
using test::Refused;

const std::string no_memory = "Can't allocate memory for error message\n";
const std::string no_table =
    "Not enough memory to allocate Zarnic runtime configuration structure\n"
    "\nSystem error 12: Cannot allocate memory\n";

// Runs in a child, whose streams have no blocks of their own. It ends with 90 where the
// operation throws, with 89 where it leaves a block over, and else with what it returns. Both
// streams get the same.
template <class Operation>
Captured captured(const Attempt& attempt, const Operation& operation) {
    const Captured child = test::inChild([&] {
        static_cast<void>(std::setvbuf(stdout, nullptr, _IONBF, 0));
        const long before = test::liveBlocks();
        int status = 0;
        if (attempt.run([&] { status = operation(); })) {
            std::_Exit(90);
        }
        std::_Exit(test::liveBlocks() == before ? status : 89);
    });
    EXPECT_EQ(child.err, child.out);
    return child;
}

TEST(RefusedReport, IsWholeOrCutOrALackOfMemoryAndEndsAsItIsTold) {
    const std::string whole = "cannot find it\nSystem error 2: No such file or directory\n";
    const std::string longer(5000, 'x');
    const std::string cut = longer.substr(0, 4095) + "\n";
    const auto report = [](const Attempt& attempt, const std::string& text, int exit_status) {
        return captured(attempt, [&] {
            errno = ENOENT;
            report_error(exit_status, 1, "%s", text.c_str());
            return errno == ENOENT ? 0 : 91;
        });
    };
    for (const int exit_status : {0, 7}) {
        forEveryRefusal([&](Attempt& attempt) {
            const Captured small = report(attempt, "cannot find it", exit_status);
            EXPECT_TRUE(small.exited(exit_status)) << small.status;
            // The C library may do without a request of its own.
            EXPECT_TRUE(small.out == whole || (attempt.refused() && small.out == no_memory));
            const Captured large = report(attempt, longer, exit_status);
            EXPECT_TRUE(large.exited(exit_status)) << large.status;
            EXPECT_TRUE(large.out == longer + "\n" || large.out == no_memory ||
                        large.out == cut)
                << large.out;
        });
    }
    EXPECT_EQ(report(Attempt(1, false, Refused::caller), "cannot find it", 0).out, no_memory);
    EXPECT_EQ(report(Attempt(2, false, Refused::caller), longer, 0).out, cut);
}

TEST(RefusedReport, MessagesAndTargetsAskForNothing) {
    const Attempt attempt(1, true, Refused::caller);
    const Captured child = captured(attempt, [] {
        message_fn(6, "said %s", "once");
        return 0;
    });
    EXPECT_TRUE(child.exited(0)) << child.status;
    EXPECT_EQ(child.out, "said once\n");

    test::takeLogCalls();
    EXPECT_FALSE(attempt.run([] {
        set_log_target(nullptr, 6, 16, 0, "an identity too long to be kept in a string");
        message_fn(6, "said %s", "once");
        set_log_target("console", 6, 16, 0, "test");
    }));
    EXPECT_FALSE(attempt.refused());
    EXPECT_EQ(test::takeLogCalls(),
              "closelog()\nopenlog(an identity too long to be kept in a string, 1, 16)\n"
              "syslog(6, said once)\n");
}

// The variables' file is in the private /etc of this program.
class RefusedVariables : public testing::Test {
  protected:
    RefusedVariables() {
        test::writeFile("/etc/zrc/zrc.conf", "PRODUCT_ROOT_D /opt/product\nOTHER x\n");
    }
};

TEST_F(RefusedVariables, AnswersAreThoseWithoutAFileAndLoadingIsTriedAgain) {
    const struct {
        const char* (*ask)();
        std::string loaded;
        std::string otherwise;
    } rows[] = {
        {[] { return zrcConfInit() == 0 ? "0" : std::strerror(errno); }, "0",
         "Cannot allocate memory"},
        {[] { return zrcConfGet("OTHER"); }, "x", "(null)"},
        {[] { return zrcConfGetByIndex(29); }, "/opt/product", "(null)"},
        {[] { return zrcConfGetDefaultByIndex(29); }, "/opt/product", "/usr/local/zrc"},
        {[] { return zrcConfGetDefault("PRODUCT_ROOT_D"); }, "/opt/product", "/usr/local/zrc"},
        {[] { return zrcConfGetDefault("OTHER"); }, "(null)", "(null)"},
    };
    for (const auto& row : rows) {
        forEveryRefusal([&](Attempt& attempt) {
            const Captured child = test::inChild([&] {
                static_cast<void>(std::setvbuf(stdout, nullptr, _IONBF, 0));
                const long before = test::liveBlocks();
                const char* found = nullptr;
                attempt.run([&] { found = row.ask(); });
                const bool kept = test::liveBlocks() != before;
                const std::string value = found == nullptr ? "(null)" : found;
                const bool told = value == row.loaded ||
                                  (attempt.refused() && value == row.otherwise && !kept);
                std::_Exit(told && std::string(zrcConfGet("OTHER")) == "x" ? 0 : 93);
            });
            EXPECT_EQ(child.err, child.out);
            EXPECT_TRUE(row.loaded == "(null)" || child.out.empty() || child.out == no_table ||
                        child.out == no_memory);
            EXPECT_TRUE(child.exited(0)) << child.status;
        });
    }
    const Attempt table(1, false, Refused::caller);
    EXPECT_EQ(captured(table, zrcConfInit).out, no_table);
}

}  // namespace

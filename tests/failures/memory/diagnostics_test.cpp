#include <cerrno>
#include <cstdio>
#include <string>

#include "tests/failures/memory/refusal.h"
#include "tests/support/capture.h"
#include "tests/support/system_log.h"
#include "zarnic/conf/autoprepend.h"
#include "zarnic/conf/diagnostics.h"

namespace {

using test::Attempt;
using test::forEveryRefusal;

const std::string no_memory = "Can't allocate memory for error message\n";

// The blocks of this process, none of them a stream's, which would stay.
long blocksWithoutStreams() {
    static_cast<void>(std::setvbuf(stdout, nullptr, _IONBF, 0));
    return test::liveBlocks();
}

// Runs in a child, which leaves no block over.
template <class Operation>
test::Captured captured(const Attempt& attempt, const Operation& operation) {
    return test::inChild([&] {
        const long before = blocksWithoutStreams();
        if (attempt.run(operation)) {
            std::_Exit(90);
        }
        std::_Exit(test::liveBlocks() == before ? 0 : 89);
    });
}

TEST(RefusedReport, IsWrittenToBothStreamsWholeOrAsALackOfMemory) {
    forEveryRefusal([](Attempt& attempt) {
        const test::Captured child = captured(attempt, [] {
            errno = ENOENT;
            report_error(0, 1, "cannot find %s", "it");
            if (errno != ENOENT) {
                std::_Exit(91);
            }
        });
        const std::string whole = "cannot find it\nSystem error 2: No such file or directory\n";
        EXPECT_TRUE(child.exited(0)) << child.status;
        EXPECT_TRUE(child.out == whole || child.out == no_memory) << child.out;
        EXPECT_EQ(child.err, child.out);
    });
}

TEST(RefusedReport, LongOneIsCutWhenItsRoomIsRefused) {
    const std::string text(5000, 'x');
    forEveryRefusal([&text](Attempt& attempt) {
        const test::Captured child = captured(attempt, [&] {
            errno = ENOENT;
            report_error(0, 1, "%s", text.c_str());
        });
        EXPECT_TRUE(child.exited(0)) << child.status;
        EXPECT_TRUE(child.out == text + "\n" || child.out == text.substr(0, 4095) + "\n" ||
                    child.out == no_memory)
            << child.out;
        EXPECT_EQ(child.err, child.out);
    });
}

TEST(RefusedReport, LongOneIsCutExactlyWhereItsEnlargementIsRefused) {
    const std::string text(5000, 'x');
    const Attempt enlargement(2, false, test::Refused::caller);
    const test::Captured child = captured(enlargement, [&] {
        errno = ENOENT;
        report_error(0, 1, "%s", text.c_str());
    });
    EXPECT_EQ(child.out, text.substr(0, 4095) + "\n");
    EXPECT_EQ(child.err, child.out);
}

TEST(RefusedReport, ExitStatusIsTheReportersInAnyCase) {
    forEveryRefusal([](Attempt& attempt) {
        const test::Captured child = captured(attempt, [] { report_error(7, 1, "the end"); });
        EXPECT_TRUE(child.exited(7)) << child.status;
    });
}

TEST(RefusedReport, ConsoleMessageReachesBothStreamsWithoutMemory) {
    const Attempt attempt(1, true, test::Refused::caller);
    const test::Captured child = captured(attempt, [] { message_fn(6, "said %s", "once"); });
    EXPECT_TRUE(child.exited(0)) << child.status;
    EXPECT_EQ(child.out, "said once\n");
    EXPECT_EQ(child.err, child.out);
}

TEST(RefusedReport, ChangingTheTargetAsksForNothing) {
    const Attempt attempt(1, true, test::Refused::caller);
    EXPECT_FALSE(attempt.run([] { set_log_target("console", 6, log_facility, 0, "test"); }));
    EXPECT_FALSE(attempt.refused());
}

TEST(RefusedReport, SystemLogIsChosenAndReachedWithoutMemory) {
    test::takeLogCalls();
    const Attempt attempt(1, true, test::Refused::caller);
    EXPECT_FALSE(attempt.run([] {
        set_log_target(nullptr, 6, 16, 0,
                       "an identity that is too long to be kept in a string");
        message_fn(6, "said %s", "once");
    }));
    EXPECT_FALSE(attempt.refused());
    EXPECT_EQ(
        test::takeLogCalls(),
        "closelog()\nopenlog(an identity that is too long to be kept in a string, 1, 16)\n"
        "syslog(6, said once)\n");
    set_log_target("console", 6, 16, 0, "test");
}

// The variables' file is in the private /etc of this program.
class RefusedVariables : public testing::Test {
  protected:
    RefusedVariables() {
        test::writeFile("/etc/zrc/zrc.conf", "PRODUCT_ROOT_D /opt/product\nOTHER x\n");
    }
};

TEST_F(RefusedVariables, LoadingFailsWithErrnoAndIsTriedAgain) {
    forEveryRefusal([](Attempt& attempt) {
        int result = 0;
        int error = 0;
        const test::Captured child = test::inChild([&] {
            const long before = blocksWithoutStreams();
            errno = 0;
            attempt.run([&] {
                result = zrcConfInit();
                error = errno;
            });
            const bool told = result == 0 || (result == -1 && error == ENOMEM);
            if (result != 0 && test::liveBlocks() != before) {
                std::_Exit(89);
            }
            std::_Exit(told && zrcConfInit() == 0 ? 0 : 92);
        });
        EXPECT_TRUE(child.exited(0)) << child.status;
        EXPECT_EQ(child.err, child.out);
    });
}

TEST_F(RefusedVariables, OnlyTheTableItselfIsReported) {
    const std::string report =
        "Not enough memory to allocate Zarnic runtime configuration structure\n"
        "\nSystem error 12: Cannot allocate memory\n";
    forEveryRefusal([&report](Attempt& attempt) {
        const test::Captured child = test::inChild([&] { attempt.run(zrcConfInit); });
        EXPECT_TRUE(child.exited(0)) << child.status;
        EXPECT_TRUE(child.out.empty() || child.out == report || child.out == no_memory)
            << child.out;
    });
}

TEST_F(RefusedVariables, TableThatIsRefusedIsReportedOnBothStreams) {
    const Attempt table(1, false, test::Refused::caller);
    const test::Captured child = captured(table, [] { zrcConfInit(); });
    EXPECT_EQ(child.out,
              "Not enough memory to allocate Zarnic runtime configuration structure\n"
              "\nSystem error 12: Cannot allocate memory\n");
    EXPECT_EQ(child.err, child.out);
}

TEST_F(RefusedVariables, LookupsGiveTheDefaultOrNullWhileRefused) {
    forEveryRefusal([](Attempt& attempt) {
        const test::Captured child = test::inChild([&] {
            std::string fallback;
            std::string value;
            attempt.run([&] {
                const char* const found = zrcConfGetByIndex(29);
                const char* const other = zrcConfGetDefault("PRODUCT_ROOT_D");
                Attempt::disarm();
                value = found == nullptr ? "(null)" : found;
                fallback = other;
            });
            const bool valueFits = value == "/opt/product" || value == "(null)";
            const bool fallbackFits =
                fallback == "/opt/product" || fallback == "/usr/local/zrc";
            const bool nowThere = std::string(zrcConfGet("OTHER")) == "x";
            std::_Exit(valueFits && fallbackFits && nowThere ? 0 : 93);
        });
        EXPECT_TRUE(child.exited(0)) << child.status;
    });
}

TEST_F(RefusedVariables, LookupsOfAnyNameAndOfADefaultLikewise) {
    forEveryRefusal([](Attempt& attempt) {
        const test::Captured child = test::inChild([&] {
            const char* any = nullptr;
            const char* fallback = nullptr;
            attempt.run([&] {
                any = zrcConfGet("OTHER");
                fallback = zrcConfGetDefaultByIndex(29);
            });
            const std::string anyText = any == nullptr ? "(null)" : any;
            const std::string text = fallback == nullptr ? "(null)" : fallback;
            const bool refused = attempt.refused();
            const bool anyFits = anyText == "x" || (refused && anyText == "(null)");
            const bool fits = text == "/opt/product" || (refused && text == "/usr/local/zrc");
            std::_Exit(anyFits && fits ? 0 : 95);
        });
        EXPECT_TRUE(child.exited(0)) << child.status;
    });
}

TEST_F(RefusedVariables, UnknownNameIsNullInAnyCase) {
    forEveryRefusal([](Attempt& attempt) {
        const test::Captured child = captured(attempt, [] {
            if (zrcConfGetDefault("OTHER") != nullptr) {
                std::_Exit(94);
            }
        });
        EXPECT_TRUE(child.exited(0)) << child.status;
    });
}

}  // namespace

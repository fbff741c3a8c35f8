// report_error and vreport_error: what they write, where, and how they end.

#include "zarnic/conf/diagnostics.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "tests/support/capture.h"
#include "tests/unit/conf/streams.h"

namespace {

using test::inChild;
using test::Streams;

class ErrorReport : public testing::Test {
  protected:
    ErrorReport() { errno = 0; }
    ~ErrorReport() override {
        log_threshold = 6;
        program_path = nullptr;
        message_fn = console_message;
    }
};

[[gnu::format(printf, 2, 3)]] void passOn(int exit_status, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    vreport_error(exit_status, 1, format, arguments);
    va_end(arguments);
}

// What both streams get, standard error first.
std::string twice(const std::string& text) { return "err:" + text + "out:" + text; }

TEST_F(ErrorReport, GoesToStandardErrorAndThenToStandardOutput) {
    const Streams streams;
    report_error(0, 1, "text");
    EXPECT_EQ(streams.flushed(), twice("text\n"));
}

TEST_F(ErrorReport, InListFormGoesTheSameWay) {
    const Streams streams;
    errno = ENOENT;
    passOn(0, "text");
    EXPECT_EQ(streams.flushed(), twice("text\nSystem error 2: No such file or directory\n"));
}

TEST_F(ErrorReport, IsOutWhenTheProcessEndsAtOnce) {
    const auto child = inChild([] {
        errno = 0;
        report_error(0, 1, "text");
        ::_exit(0);
    });
    EXPECT_EQ(child.err, "text\n");
    EXPECT_EQ(child.out, "text\n");
}

TEST_F(ErrorReport, LineFeedIsNotAddedToOneThatIsThere) {
    const Streams streams;
    report_error(0, 1, "text\n");
    EXPECT_EQ(streams.flushed(), twice("text\n"));
}

TEST_F(ErrorReport, EmptyTextIsALineFeed) {
    const Streams streams;
    report_error(0, 1, "%s", "");
    EXPECT_EQ(streams.flushed(), twice("\n"));
}

TEST_F(ErrorReport, OfALineFeedAloneGetsNoSecondOne) {
    const Streams streams;
    report_error(0, 1, "\n");
    EXPECT_EQ(streams.flushed(), twice("\n"));
}

TEST_F(ErrorReport, PercentSignsOfAnArgumentAreWrittenAsTheyAre) {
    const Streams streams;
    report_error(0, 1, "%s", "%s%n%d");
    EXPECT_EQ(streams.flushed(), twice("%s%n%d\n"));
}

TEST_F(ErrorReport, SystemErrorComesBehindTheTextsOwnLineFeed) {
    const Streams streams;
    errno = 2;
    report_error(0, 1, "text\n");
    EXPECT_EQ(streams.flushed(), twice("text\n\nSystem error 2: No such file or directory\n"));
}

TEST_F(ErrorReport, CarriesTheTextOfEverySystemError) {
    for (int error = -1; error <= 140; ++error) {
        const Streams streams;
        errno = error;
        report_error(0, 1, "text");
        const std::string text =
            "text\nSystem error " + std::to_string(error) + ": " + std::strerror(error) + "\n";
        EXPECT_EQ(streams.flushed(), twice(error == 0 ? "text\n" : text));
    }
}

// Not every wide character can be written: the C library then sets errno itself.
void reportUnwritable() {
    const wchar_t unwritable[] = {static_cast<wchar_t>(0x7fffffff), 0};
    report_error(0, 1, "%ls", unwritable);
}

TEST_F(ErrorReport, SystemErrorIsTheOneOnEntry) {
    const Streams streams;
    errno = 2;
    reportUnwritable();
    EXPECT_NE(streams.flushed().find("\nSystem error 2: No such file or directory\nout:"),
              std::string::npos);
}

TEST_F(ErrorReport, ErrorOfTheFormattingIsNotReported) {
    const Streams streams;
    errno = 0;
    reportUnwritable();
    EXPECT_EQ(streams.flushed().find("System error"), std::string::npos);
}

TEST_F(ErrorReport, LeavesErrnoAsItWas) {
    const Streams streams;
    for (const int error : {0, 2, 84}) {
        errno = error;
        report_error(0, 1, "text");
        EXPECT_EQ(errno, error);
        errno = error;
        reportUnwritable();
        EXPECT_EQ(errno, error);
    }
}

TEST_F(ErrorReport, BaseNameOfTheProgramComesFirst) {
    const struct {
        const char* path;
        const char* prefix;
    } cases[] = {{"/usr/sbin/panel", "panel: "}, {"./panel", "panel: "}, {"panel", "panel: "},
                 {"/panel", "panel: "},          {"a b/c d", "c d: "},   {"%s", "%s: "}};
    for (const auto& [path, prefix] : cases) {
        const Streams streams;
        program_path = path;
        errno = 0;
        report_error(0, 1, "two\nlines");
        EXPECT_EQ(streams.flushed(), twice(prefix + std::string("two\nlines\n")));
    }
}

TEST_F(ErrorReport, PathWithoutABaseNameAddsNothing) {
    for (const char* path : {"", "/", "/usr/sbin/"}) {
        const Streams streams;
        program_path = path;
        errno = 0;
        report_error(0, 1, "text");
        EXPECT_EQ(streams.flushed(), twice("text\n"));
    }
}

void refuse(int /*level*/, const char* /*format*/, ...) { std::abort(); }

TEST_F(ErrorReport, NeitherThresholdNorChannelMatters) {
    const Streams streams;
    log_threshold = -1;
    message_fn = refuse;
    report_error(0, 1, "text");
    EXPECT_EQ(streams.flushed(), twice("text\n"));
}

TEST_F(ErrorReport, SecondArgumentDoesNotMatter) {
    for (const int unused : {-1, 0, 1, 2, 99}) {
        const Streams streams;
        report_error(0, unused, "text");
        EXPECT_EQ(streams.flushed(), twice("text\n"));
    }
}

TEST_F(ErrorReport, StatusThatIsNotZeroEndsTheProcessAfterBothStreams) {
    for (const int status : {1, 2, 255}) {
        const auto child = inChild([status] {
            static_cast<void>(std::atexit([] { std::fputs("exit handler\n", stdout); }));
            errno = 2;
            report_error(status, 0, "text");
            std::printf("not reached");
        });
        EXPECT_TRUE(child.exited(status)) << status;
        EXPECT_EQ(child.err, "text\nSystem error 2: No such file or directory\n");
        EXPECT_EQ(child.out, child.err + "exit handler\n");
    }
}

TEST_F(ErrorReport, ListFormEndsTheProcessToo) {
    const auto child = inChild([] {
        errno = 0;
        passOn(3, "text");
    });
    EXPECT_TRUE(child.exited(3));
    EXPECT_EQ(child.out, "text\n");
}

}  // namespace

// report_error and vreport_error: what they write, where, and how they end.

#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "tests/models/errors.h"
#include "tests/models/streams.h"
#include "tests/support/capture.h"
#include "zarnic/conf/diagnostics.h"

namespace {

using model::bothStreams;
using model::writtenBy;
using test::inChild;

class ErrorReport : public testing::Test {
  protected:
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

// What is written of a text, and errno left as it was.
std::string reported(const std::string& text, int error) {
    const std::string written = writtenBy([&] {
        errno = error;
        report_error(0, 1, "%s", text.c_str());
        EXPECT_EQ(errno, error);
    });
    EXPECT_EQ(written, bothStreams(model::reportLine(program_path, text, error)));
    return written;
}

TEST_F(ErrorReport, GoesToStandardErrorAndThenToStandardOutput) {
    EXPECT_EQ(reported("text", 0), "Etext\nOtext\n");
    EXPECT_EQ(writtenBy([] { passOn(0, "%s", "text"); }).substr(0, 5), "Etext");
}

TEST_F(ErrorReport, LineFeedAndSystemErrorAreAddedAsWrittenHere) {
    const struct {
        const char* program;
        const char* text;
        int error;
        std::string line;
    } rows[] = {
        {nullptr, "text\n", 0, "text\n"},
        {nullptr, "", 0, "\n"},
        {nullptr, "%s%n%d", 0, "%s%n%d\n"},
        {nullptr, "text", 2, "text\nSystem error 2: No such file or directory\n"},
        {nullptr, "text\n", 2, "text\n\nSystem error 2: No such file or directory\n"},
        {nullptr, "text", -1, "text\nSystem error -1: Unknown error -1\n"},
        {"/usr/sbin/panel", "two\nlines", 0, "panel: two\nlines\n"},
        {"/panel", "", 0, "panel: \n"},
        {"%s", "text", 0, "%s: text\n"},
        {"", "text", 0, "text\n"},
        {"/usr/sbin/", "text", 0, "text\n"},
    };
    for (const auto& row : rows) {
        program_path = row.program;
        EXPECT_EQ(reported(row.text, row.error), bothStreams(row.line));
    }
}

TEST_F(ErrorReport, CarriesTheTextOfEverySystemError) {
    for (int error = -1; error <= 140; ++error) {
        reported("text", error);
    }
}

// Not every wide character can be written: the C library then sets errno itself.
TEST_F(ErrorReport, SystemErrorIsTheOneOnEntryWhateverTheFormattingSets) {
    const wchar_t unwritable[] = {static_cast<wchar_t>(0x7fffffff), 0};
    for (const int error : {0, 2}) {
        const std::string written = writtenBy([&] {
            errno = error;
            report_error(0, 1, "%ls", unwritable);
            EXPECT_EQ(errno, error);
        });
        const std::string added = "\nSystem error 2: No such file or directory\n";
        EXPECT_EQ(written.ends_with(added), error == 2) << written;
        EXPECT_EQ(written.find("System error") == std::string::npos, error == 0) << written;
    }
}

TEST_F(ErrorReport, NeitherThresholdNorChannelNorSecondArgumentMatters) {
    log_threshold = -1;
    message_fn = nullptr;
    for (const int unused : {-1, 0, 1, 2, 99}) {
        EXPECT_EQ(writtenBy([unused] {
                      errno = 0;
                      report_error(0, unused, "text");
                  }),
                  "Etext\nOtext\n");
    }
}

TEST_F(ErrorReport, StatusThatIsNotZeroEndsTheProcessAfterBothStreams) {
    for (const int status : {1, 2, 255}) {
        for (void (*const report)(int) : {+[](int given) { report_error(given, 0, "text"); },
                                          +[](int given) { passOn(given, "text"); }}) {
            const auto child = inChild([&] {
                static_cast<void>(std::atexit([] { std::fputs("exit handler\n", stdout); }));
                errno = 2;
                report(status);
                std::printf("not reached");
            });
            EXPECT_TRUE(child.exited(status)) << status;
            EXPECT_EQ(child.err, "text\nSystem error 2: No such file or directory\n");
            EXPECT_EQ(child.out, child.err + "exit handler\n");
        }
    }
}

// --- around the size of the first buffer: what is added is there whole or not at all ---

// A text in which no byte can stand for another, through several arguments: a second formatting
// has to see each of them again.
void expectLength(std::size_t length, const std::string& end, int error) {
    std::string text;
    while (text.size() < length) {
        text += std::to_string(text.size()) + '.';
    }
    text.resize(length - end.size());
    text += end;
    const std::string written = writtenBy([&] {
        errno = error;
        report_error(0, 1, "%s%c%s%s", text.substr(0, 1).c_str(), text.at(1),
                     text.substr(2, 5).c_str(), text.substr(7).c_str());
    });
    // Too long to be shown.
    ASSERT_TRUE(written == bothStreams(model::reportLine(nullptr, text, error))) << length;
}

TEST(ErrorReportLength, LongMessageIsWholeAndNeverLengthened) {
    for (const int error : {0, ENOENT, EILSEQ, ENOTEMPTY, 9999}) {
        for (std::size_t length = 4000; length <= 4200; ++length) {
            expectLength(length, "", error);
        }
        for (const std::size_t length : {4095U, 4096U, 8191U, 8192U, 20000U}) {
            expectLength(length, "", error);
            expectLength(length, "\n", error);
        }
    }
}

// By hand: what is added are 42 bytes, and 4095 fit.
TEST_F(ErrorReport, FourThousandAndNinetyFiveBytesFit) {
    const std::string text(4053, 'x');
    const std::string added = "\nSystem error 2: No such file or directory";
    EXPECT_TRUE(reported(text, ENOENT) == bothStreams(text + added + "\n"));
    EXPECT_TRUE(reported(text + "x", ENOENT) == bothStreams(text + "x\n"));
}

}  // namespace

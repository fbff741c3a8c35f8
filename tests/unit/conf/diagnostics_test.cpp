#include "zarnic/conf/diagnostics.h"

#include <gtest/gtest.h>
#include <syslog.h>
#include <unistd.h>

#include <climits>
#include <cstdarg>
#include <string>
#include <type_traits>

#include "tests/support/capture.h"
#include "tests/unit/conf/streams.h"
#include "zarnic/conf/read_configuration.h"

namespace {

using test::inChild;
using test::Streams;

static_assert(std::is_same_v<decltype(program_path), const char*>);

// The module's state before anything ran: it is there during static initialisation already.
const message_function first_message_fn = message_fn;
const vmessage_function first_vmessage_fn = vmessage_fn;
const int first_threshold = log_threshold;
const int first_facility = log_facility;
const int first_to_console = log_to_console;
const char* const first_program_path = program_path;

TEST(Diagnostics, ChannelIsTheConsoleAtFirst) {
    EXPECT_EQ(first_message_fn, console_message);
    EXPECT_EQ(first_vmessage_fn, vconsole_message);
    EXPECT_EQ(first_to_console, 1);
}

TEST(Diagnostics, ThresholdIsSixAtFirst) { EXPECT_EQ(first_threshold, 6); }

TEST(Diagnostics, FacilityIsMailAtFirst) {
    EXPECT_EQ(first_facility, 16);
    EXPECT_EQ(first_facility, LOG_MAIL);
}

TEST(Diagnostics, ThereIsNoProgramPathAtFirst) { EXPECT_EQ(first_program_path, nullptr); }

// Puts the settings back that a test changes.
class Console : public testing::Test {
  protected:
    ~Console() override {
        log_threshold = 6;
        log_to_console = 1;
        program_path = nullptr;
    }
};

[[gnu::format(printf, 2, 3)]] void passOn(int level, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    vconsole_message(level, format, arguments);
    va_end(arguments);
}

TEST_F(Console, MessageGoesToStandardErrorAndThenToStandardOutput) {
    const Streams streams;
    console_message(6, "text");
    EXPECT_EQ(streams.flushed(), "err:text\nout:text\n");
}

TEST_F(Console, MessageIsOutWhenTheProcessEndsAtOnce) {
    const auto child = inChild([] {
        console_message(1, "text");
        ::_exit(0);
    });
    EXPECT_EQ(child.err, "text\n");
    EXPECT_EQ(child.out, "text\n");
}

TEST_F(Console, BothStreamsGetTheSameArguments) {
    const Streams streams;
    console_message(1, "%s %d %s %ld %.1f %c", "one", 2, "three", 4L, 5.5, '6');
    passOn(1, "%s %d %s %ld %.1f %c", "a", -2, "c", -4L, 0.5, 'f');
    EXPECT_EQ(streams.flushed(),
              "err:one 2 three 4 5.5 6\nout:one 2 three 4 5.5 6\n"
              "err:a -2 c -4 0.5 f\nout:a -2 c -4 0.5 f\n");
}

// Unlike an error, a message always gets its line feed.
TEST_F(Console, LineFeedIsAddedToOneThatIsThere) {
    const Streams streams;
    console_message(1, "text\n");
    EXPECT_EQ(streams.flushed(), "err:text\n\nout:text\n\n");
}

TEST_F(Console, EmptyMessageIsALineFeed) {
    const Streams streams;
    console_message(1, "%s", "");
    EXPECT_EQ(streams.flushed(), "err:\nout:\n");
}

TEST_F(Console, MessageOfAnyLengthIsWritten) {
    const std::string text(20000, 'x');
    const Streams streams;
    console_message(1, "%s", text.c_str());
    EXPECT_EQ(streams.flushed(), "err:" + text + "\nout:" + text + "\n");
}

TEST_F(Console, ProgramPathIsNotPartOfAMessage) {
    const Streams streams;
    program_path = "/usr/sbin/panel";
    console_message(1, "text");
    EXPECT_EQ(streams.flushed(), "err:text\nout:text\n");
}

TEST_F(Console, SystemErrorIsNotPartOfAMessage) {
    const Streams streams;
    errno = ENOENT;
    console_message(1, "text");
    EXPECT_EQ(streams.flushed(), "err:text\nout:text\n");
}

TEST_F(Console, LevelsAboveTheThresholdAreDropped) {
    const int levels[] = {INT_MIN, -1, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, INT_MAX};
    for (const int threshold : levels) {
        for (const int level : levels) {
            const Streams streams;
            log_threshold = threshold;
            console_message(level, "text");
            passOn(level, "list");
            EXPECT_EQ(streams.flushed(), level <= threshold ? "err:text\nout:text\n"
                                                              "err:list\nout:list\n"
                                                            : "")
                << level << " at " << threshold;
        }
    }
}

TEST_F(Console, NoWriterLooksAtTheConsoleFlag) {
    const Streams streams;
    log_to_console = 0;
    console_message(6, "text");
    console_message(7, "text");
    EXPECT_EQ(streams.flushed(), "err:text\nout:text\n");
}

TEST_F(Console, OutputErrorsAreIgnored) {
    const auto child = inChild([] {
        ::close(STDERR_FILENO);
        console_message(1, "text");
        report_error(0, 1, "error");
    });
    EXPECT_TRUE(child.exited(0));
    EXPECT_EQ(child.out.substr(0, 11), "text\nerror\n");
}

TEST_F(Console, ReadersReportsAreSilentAtFirst) {
    const test::TempDir directory;
    test::writeFile(directory / "zrc.conf", "NAME=abc\n");
    const auto child = inChild([&directory] {
        for (const std::string& path : {directory / "zrc.conf", directory / "missing"}) {
            auto* const table = static_cast<conf_table*>(std::calloc(1, sizeof(conf_table)));
            conf_read_file_r(path.c_str(), table);
            conf_free_r(table);
        }
    });
    EXPECT_TRUE(child.exited(0));
    EXPECT_EQ(child.out, "");
    EXPECT_EQ(child.err, "");
}

}  // namespace

// The message channel: its console, its targets, and its first state.

#include "zarnic/conf/diagnostics.h"

#include <gtest/gtest.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdarg>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>

#include "tests/models/errors.h"
#include "tests/models/streams.h"
#include "tests/support/system_log.h"
#include "tests/unit/conf/table.h"

namespace {

using model::bothStreams;
using model::writtenBy;

static_assert(std::is_same_v<decltype(program_path), const char*>);

// The module's state before anything ran: it is there during static initialisation already.
const auto first = std::tuple(message_fn, vmessage_fn, log_to_console, log_threshold,
                              log_facility, program_path);

TEST(Diagnostics, ChannelIsTheConsoleAtFirst) {
    EXPECT_EQ(first, std::tuple(&console_message, &vconsole_message, 1, 6, 16, nullptr));
    EXPECT_EQ(LOG_MAIL, 16);
}

// Puts the settings back that a test changes.
class Channel : public testing::Test {
  protected:
    Channel() { test::takeLogCalls(); }
    ~Channel() override {
        message_fn = console_message;
        vmessage_fn = vconsole_message;
        log_threshold = 6;
        log_facility = LOG_MAIL;
        log_to_console = 1;
        program_path = nullptr;
    }
};

class Console : public Channel {};
class LogTarget : public Channel {};

// Through the channel's list form, whatever it is.
[[gnu::format(printf, 2, 3)]] void passOn(int level, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    vmessage_fn(level, format, arguments);
    va_end(arguments);
}

// --- the console ---

TEST_F(Console, BothStreamsGetTheSameArgumentsStandardErrorFirst) {
    EXPECT_EQ(writtenBy([] {
                  console_message(1, "%s %d %s %ld %.1f %c", "1", 2, "3", 4L, 5.5, '6');
              }),
              "E1 2 3 4 5.5 6\nO1 2 3 4 5.5 6\n");
    EXPECT_EQ(writtenBy([] { passOn(1, "%s %d %s %ld %.1f %c", "a", -2, "c", -4L, 0.5, 'f'); }),
              "Ea -2 c -4 0.5 f\nOa -2 c -4 0.5 f\n");
    const std::string text(20000, 'x');
    EXPECT_EQ(writtenBy([&] { console_message(1, "%s", text.c_str()); }),
              bothStreams(text + "\n"));
}

// Unlike an error, a message always gets its line feed.
TEST_F(Console, LineFeedIsAddedToOneThatIsThere) {
    EXPECT_EQ(writtenBy([] { console_message(1, "text\n"); }), "Etext\n\nOtext\n\n");
}

TEST_F(Console, OnlyTheThresholdDropsMessages) {
    program_path = "/usr/sbin/panel";
    log_to_console = 0;
    const int levels[] = {INT_MIN, -1, 0, 1, 2, 6, 7, 11, 12, INT_MAX};
    for (const int threshold : levels) {
        for (const int level : levels) {
            log_threshold = threshold;
            errno = ENOENT;
            EXPECT_EQ(writtenBy([level] {
                          console_message(level, "text");
                          passOn(level, "list");
                      }),
                      level <= threshold ? "Etext\nOtext\nElist\nOlist\n" : "")
                << level << " at " << threshold;
        }
    }
}

TEST_F(Console, OutputErrorsAreIgnored) {
    const auto child = test::inChild([] {
        ::close(STDERR_FILENO);
        console_message(1, "text");
        report_error(0, 1, "error");
    });
    EXPECT_TRUE(child.exited(0));
    EXPECT_EQ(child.out.substr(0, 11), "text\nerror\n");
}

// Theirs is 12.
TEST_F(Console, ReadersReportsAreSilentAtFirst) {
    const auto readMissing = [] { conf_read_file_r("/no/such/file", test::Table().get()); };
    const std::string text =
        "unable to open configuration file /no/such/file: No such file or directory\n";
    for (const int threshold : {6, 11, 12}) {
        log_threshold = threshold;
        EXPECT_EQ(writtenBy(readMissing), threshold < 12 ? "" : bothStreams(text + "\n"));
    }
}

// --- targets ---

TEST_F(LogTarget, SetsFacilityThresholdFlagAndFunctions) {
    const std::pair<const char*, bool> targets[] = {
        {nullptr, true},     {"console", true},  {"CONSOLE", true},  {"ConSolE", true},
        {"consoles", true},  {"CONSOLE:", true}, {"consol", false},  {"", false},
        {" console", false}, {"consola", false}, {"bonsole", false}, {"syslog", false}};
    for (const auto& [target, console] : targets) {
        for (const int level : {INT_MIN, -12, -1, 0, 1, 2, 6, 7, 12, INT_MAX}) {
            message_fn = nullptr;
            vmessage_fn = nullptr;
            log_threshold = log_facility = log_to_console = 77;
            set_log_target(target, level, LOG_LOCAL3, 0, "panel");
            EXPECT_EQ(log_facility, LOG_LOCAL3);
            EXPECT_EQ(log_threshold, level < 1 ? 0 : level);
            EXPECT_EQ(log_to_console, level >= 1 && console ? 1 : 0);
            EXPECT_EQ(message_fn, target == nullptr ? ::syslog : console_message);
            EXPECT_EQ(vmessage_fn, target == nullptr ? ::vsyslog : vconsole_message);
            EXPECT_EQ(test::takeLogCalls().empty(), target != nullptr);
        }
    }
}

TEST_F(LogTarget, SystemLogIsClosedAndOpenedAgainWithTheProcessId) {
    for (int options = 0; options < 64; ++options) {
        set_log_target(nullptr, 6, 24, options, "panel");
        EXPECT_EQ(test::takeLogCalls(),
                  "closelog()\nopenlog(panel, " + std::to_string(options | 1) + ", 24)\n");
    }
}

TEST_F(LogTarget, LevelGoesToTheSystemLogUnmasked) {
    set_log_target(nullptr, 0, LOG_MAIL, 0, "panel");  // no threshold applies
    test::takeLogCalls();
    for (const int level : {-1, 0, 6, 7, 8, 12, 1000, INT_MAX}) {
        EXPECT_EQ(writtenBy([level] {
                      message_fn(level, "%s %d", "text", 1);
                      passOn(level, "%s %d", "list", 2);
                  }),
                  "");
        const std::string priority = std::to_string(level);
        EXPECT_EQ(test::takeLogCalls(),
                  "syslog(" + priority + ", text 1)\nvsyslog(" + priority + ", list 2)\n");
    }
}

}  // namespace

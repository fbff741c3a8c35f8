// Where the message channel leads after set_log_target.

#include "zarnic/conf/diagnostics.h"

#include <gtest/gtest.h>
#include <syslog.h>

#include <climits>
#include <cstdarg>
#include <string>
#include <vector>

#include "tests/support/capture.h"
#include "tests/unit/conf/streams.h"
#include "tests/unit/conf/system_log.h"
#include "tests/unit/conf/table.h"
#include "zarnic/conf/read_configuration.h"

namespace {

using test::logCalls;
using test::Streams;
using Calls = std::vector<std::string>;

class LogTarget : public testing::Test {
  protected:
    LogTarget() { logCalls().clear(); }
    ~LogTarget() override {
        message_fn = console_message;
        vmessage_fn = vconsole_message;
        log_threshold = 6;
        log_facility = LOG_MAIL;
        log_to_console = 1;
    }
};

// Through the channel's list form, whatever it is.
[[gnu::format(printf, 2, 3)]] void passOn(int level, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    vmessage_fn(level, format, arguments);
    va_end(arguments);
}

void readMissing(const std::string& path) {
    const test::Table table;
    EXPECT_EQ(conf_read_file_r(path.c_str(), table.get()), -1);
}

TEST_F(LogTarget, FacilityIsStoredForEveryTarget) {
    for (const char* target : {static_cast<const char*>(nullptr), "console", "other"}) {
        log_facility = 0;
        set_log_target(target, 6, LOG_LOCAL3, 0, "panel");
        EXPECT_EQ(log_facility, LOG_LOCAL3);
    }
}

TEST_F(LogTarget, LevelIsTheThresholdForEveryTarget) {
    for (const char* target : {static_cast<const char*>(nullptr), "console", "other"}) {
        for (const int level : {1, 2, 6, 7, 12, INT_MAX}) {
            set_log_target(target, level, LOG_MAIL, 0, "panel");
            EXPECT_EQ(log_threshold, level);
        }
    }
}

TEST_F(LogTarget, LevelBelowOneIsAThresholdOfZeroForEveryTarget) {
    for (const char* target : {static_cast<const char*>(nullptr), "console", "other"}) {
        for (const int level : {0, -1, -12, INT_MIN}) {
            log_threshold = 6;
            set_log_target(target, level, LOG_MAIL, 0, "panel");
            EXPECT_EQ(log_threshold, 0);
        }
    }
}

TEST_F(LogTarget, ConsoleFlagFollowsTheLevel) {
    for (const char* target : {static_cast<const char*>(nullptr), "console"}) {
        for (const int level : {INT_MIN, -1, 0, 1, 2, 12, INT_MAX}) {
            log_to_console = 7;
            set_log_target(target, level, LOG_MAIL, 0, "panel");
            EXPECT_EQ(log_to_console, level < 1 ? 0 : 1) << level;
        }
    }
}

TEST_F(LogTarget, ConsoleFlagNeedsTheSevenLettersInAnyCase) {
    const struct {
        const char* target;
        int flag;
    } cases[] = {{"console", 1},  {"CONSOLE", 1}, {"ConSolE", 1}, {"consoles", 1},
                 {"CONSOLE:", 1}, {"consol", 0},  {"", 0},        {" console", 0},
                 {"consola", 0},  {"bonsole", 0}, {"syslog", 0}};
    for (const auto& [target, flag] : cases) {
        set_log_target(target, 6, LOG_MAIL, 0, "panel");
        EXPECT_EQ(log_to_console, flag) << target;
        set_log_target(target, 0, LOG_MAIL, 0, "panel");
        EXPECT_EQ(log_to_console, 0) << target;
    }
}

TEST_F(LogTarget, EveryNamedTargetIsTheConsole) {
    for (const char* target : {"console", "CONSOLE", "consol", "", "syslog"}) {
        message_fn = nullptr;
        vmessage_fn = nullptr;
        set_log_target(target, 6, LOG_MAIL, 0, "panel");
        EXPECT_EQ(message_fn, console_message) << target;
        EXPECT_EQ(vmessage_fn, vconsole_message) << target;
    }
    EXPECT_EQ(logCalls(), Calls{});
}

TEST_F(LogTarget, NullIsTheSystemLog) {
    set_log_target(nullptr, 6, LOG_MAIL, 0, "panel");
    EXPECT_EQ(message_fn, static_cast<message_function>(::syslog));
    EXPECT_EQ(vmessage_fn, static_cast<vmessage_function>(::vsyslog));
}

TEST_F(LogTarget, SystemLogIsClosedAndOpenedAgain) {
    set_log_target(nullptr, 6, 24, 0, "panel");
    EXPECT_EQ(logCalls(), (Calls{"closelog()", "openlog(panel, 1, 24)"}));
    set_log_target(nullptr, 6, 16, 0, "other");
    EXPECT_EQ(logCalls(), (Calls{"closelog()", "openlog(panel, 1, 24)", "closelog()",
                                 "openlog(other, 1, 16)"}));
}

TEST_F(LogTarget, ProcessIdIsAddedToTheOptionsOfTheSystemLog) {
    for (int options = 0; options < 64; ++options) {
        logCalls().clear();
        set_log_target(nullptr, 6, LOG_MAIL, options, "panel");
        const std::string with_pid = std::to_string(options | LOG_PID);
        EXPECT_EQ(logCalls(), (Calls{"closelog()", "openlog(panel, " + with_pid + ", 16)"}));
    }
}

TEST_F(LogTarget, LevelGoesToTheSystemLogUnmasked) {
    set_log_target(nullptr, 6, LOG_MAIL, 0, "panel");
    for (const int level : {-1, 0, 6, 7, 8, 12, 1000, INT_MAX}) {
        logCalls().clear();
        message_fn(level, "%s %d", "text", 1);
        passOn(level, "%s %d", "list", 2);
        const std::string priority = std::to_string(level);
        EXPECT_EQ(logCalls(), (Calls{"syslog(" + priority + ", text 1)",
                                     "vsyslog(" + priority + ", list 2)"}));
    }
}

TEST_F(LogTarget, SystemLogHasNoThreshold) {
    set_log_target(nullptr, 0, LOG_MAIL, 0, "panel");
    logCalls().clear();
    message_fn(12, "text");
    EXPECT_EQ(logCalls(), Calls{"syslog(12, text)"});
}

TEST_F(LogTarget, NothingIsWrittenToTheStreamsForTheSystemLog) {
    const Streams streams;
    set_log_target(nullptr, 12, LOG_MAIL, 0, "panel");
    message_fn(1, "text");
    passOn(1, "list");
    EXPECT_EQ(streams.flushed(), "");
}

TEST_F(LogTarget, ConsoleComesBackAfterTheSystemLog) {
    set_log_target(nullptr, 6, LOG_MAIL, 0, "panel");
    set_log_target("console", 6, LOG_MAIL, 0, "panel");
    logCalls().clear();
    const Streams streams;
    message_fn(6, "text");
    message_fn(7, "text");
    passOn(6, "list");
    EXPECT_EQ(streams.flushed(), "err:text\nout:text\nerr:list\nout:list\n");
    EXPECT_EQ(logCalls(), Calls{});
}

TEST_F(LogTarget, ReadersReportsGoToBothStreamsOfAConsoleOfLevelTwelve) {
    const test::TempDir directory;
    const std::string path = directory / "missing";
    const std::string text =
        "unable to open configuration file " + path + ": No such file or directory\n\n";
    set_log_target("CONSOLE", 12, LOG_MAIL, 0, "panel");
    const Streams streams;
    readMissing(path);
    EXPECT_EQ(streams.flushed(), "err:" + text + "out:" + text);
}

TEST_F(LogTarget, ReadersReportsAreSilentOnAConsoleOfLevelEleven) {
    const test::TempDir directory;
    set_log_target("console", 11, LOG_MAIL, 0, "panel");
    const Streams streams;
    readMissing(directory / "missing");
    EXPECT_EQ(streams.flushed(), "");
}

TEST_F(LogTarget, ReadersReportsGoToTheSystemLogUnderItsFacilityWithTheirLevel) {
    const test::TempDir directory;
    const std::string path = directory / "missing";
    set_log_target(nullptr, 1, LOG_LOCAL5, LOG_NDELAY, "panel");
    readMissing(path);
    EXPECT_EQ(logCalls(), (Calls{"closelog()",
                                 "openlog(panel, " + std::to_string(LOG_NDELAY | LOG_PID) +
                                     ", " + std::to_string(LOG_LOCAL5) + ")",
                                 "syslog(12, unable to open configuration file " + path +
                                     ": No such file or directory\n)"}));
}

}  // namespace

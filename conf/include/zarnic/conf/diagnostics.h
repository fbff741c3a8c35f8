// How the configuration module speaks: a replaceable message channel with a level, and an error
// function that adds the system's own error text.
//
//   #include <syslog.h>                                    // LOG_MAIL
//
//   set_log_target("console", 12, LOG_MAIL, 0, "panel");   // hear the reader's messages too
//   message_fn(12, "unable to open %s", path);
//   report_error(0, 1, "no such variable: %s", name);      // 0: do not end the process
//
// Without any call the channel is the console with a threshold of 6, under which the reader's
// messages of level 12 are silent. All state is unlocked and lives until the process ends.

#pragma once

#include <cstdarg>

// A function that takes a level, a printf format and its arguments; the second takes the
// arguments as a list.
using message_function = void (*)(int level, const char* format, ...);
using vmessage_function = void (*)(int level, const char* format, va_list arguments);

// --- the channel: whoever reports calls through these two ---

// At first console_message and vconsole_message. The compiler checks formats and arguments.
[[gnu::format(printf, 2, 3)]] extern message_function message_fn;
[[gnu::format(printf, 2, 0)]] extern vmessage_function vmessage_fn;

// --- settings ---

extern int log_threshold;  // console messages of a level above it are dropped; 6 at first
extern int log_facility;   // the system log's facility; LOG_MAIL at first

// 1 at first. set_log_target sets it to 0 when the level is below 1. It also sets 0 for a
// target whose name does not begin with "console", in any case of letters. Otherwise it sets 1.
// Nothing in the module reads it.
extern int log_to_console;

// When set, its base name and ": " come before every error of report_error. Not copied: it must
// stay valid. Null at first.
extern const char* program_path;

// Points the channel at a target. A null `target` is the system log: it is closed and opened
// again with the identity (not copied, see openlog(3)), the options with LOG_PID added and the
// facility; the level of a message is then passed to syslog(3) as it is, and no threshold
// applies: the reader's 12 counts as a priority and a facility of its own there. Any other
// target is the console, with `level` as the threshold; a level below 1 makes that 0.
void set_log_target(const char* target, int level, int facility, int options,
                    const char* identity);

// --- the console ---

// Writes the message and a line feed, even after one that ends in a line feed, to standard
// error and then to standard output, unless the level is above log_threshold. Output errors are
// ignored.
[[gnu::format(printf, 2, 3)]] void console_message(int level, const char* format, ...);
[[gnu::format(printf, 2, 0)]] void vconsole_message(int level, const char* format,
                                                    va_list arguments);

// --- errors ---

// Writes the message to standard error and then to standard output. When errno is not 0 on
// entry, "\nSystem error N: TEXT" follows the message. A line feed is added to a text that does
// not end in one. The system error is left out when it does not fit into 4095 bytes together
// with the message. A longer message is written whole. Ends the process with `exit_status`
// unless that is 0. The second argument is not used. errno is left unchanged.
//
// Without memory for a long message, its first 4095 bytes are written. Without any memory,
// "Can't allocate memory for error message" is written instead. The process ends in these cases
// too, when `exit_status` asks for it.
[[gnu::format(printf, 3, 4)]] void report_error(int exit_status, int unused, const char* format,
                                                ...);
[[gnu::format(printf, 3, 0)]] void vreport_error(int exit_status, int unused,
                                                 const char* format, va_list arguments);

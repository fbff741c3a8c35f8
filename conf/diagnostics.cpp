#include "zarnic/conf/diagnostics.h"

#include <strings.h>
#include <syslog.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

message_function message_fn = console_message;
vmessage_function vmessage_fn = vconsole_message;
int log_threshold = 6;
int log_facility = LOG_MAIL;
int log_to_console = 1;
const char* program_path = nullptr;

namespace {

constexpr std::size_t buffer_size = 4096;

// The program's base name with its separator goes out only when there is one.
void write_text(FILE* stream, const char* text) {
    const char* const slash =
        program_path == nullptr ? nullptr : std::strrchr(program_path, '/');
    const char* const name = slash == nullptr ? program_path : slash + 1;
    if (name != nullptr && *name != '\0') {
        std::fputs(name, stream);
        std::fputs(": ", stream);
    }
    // Not as a format: the text may hold any character.
    std::fputs(text, stream);
    const std::size_t length = std::strlen(text);
    if (length == 0 || text[length - 1] != '\n') {
        std::fputc('\n', stream);
    }
    std::fflush(stream);
}

// To both streams, because a panel may keep only one of them.
void write_twice(const char* text) {
    write_text(stderr, text);
    write_text(stdout, text);
}

// Formats into a heap buffer of at least buffer_size bytes. Null when there is no memory at
// all; cut to the buffer when there is none for more.
[[gnu::format(printf, 1, 0)]] char* format_message(const char* format, va_list arguments) {
    char* buffer = static_cast<char*>(std::malloc(buffer_size));
    if (buffer == nullptr) {
        return nullptr;
    }
    buffer[0] = '\0';
    // An argument list can be walked once only, and a long message is formatted twice.
    va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(buffer, buffer_size, format, arguments);
    if (length >= 0 && static_cast<std::size_t>(length) >= buffer_size) {
        const std::size_t needed = static_cast<std::size_t>(length) + 1;
        char* const larger = static_cast<char*>(std::realloc(buffer, needed));
        if (larger != nullptr) {
            buffer = larger;
            std::vsnprintf(buffer, needed, format, again);
        }
    }
    va_end(again);
    return buffer;
}

// Adds the system error where it fits the first buffer whole. Deliberately a longer message is
// never lengthened: what the reporter said matters more than the system's text.
void append_system_error(char* buffer, int error) {
    const std::size_t used = std::strlen(buffer);
    // A longer message has one byte left, for its end: the addition cannot fit and is undone.
    const std::size_t room = used < buffer_size ? buffer_size - used : 1;
    const int length = std::snprintf(buffer + used, room, "\nSystem error %d: %s", error,
                                     std::strerror(error));
    if (length < 0 || static_cast<std::size_t>(length) >= room) {
        buffer[used] = '\0';
    }
}

}  // namespace

void set_log_target(const char* target, int level, int facility, int options,
                    const char* identity) {
    log_facility = facility;
    log_to_console = level < 1 ? 0 : 1;
    log_threshold = level < 1 ? 0 : level;
    if (target == nullptr) {
        // Closed first: an open log would keep its earlier descriptor.
        ::closelog();
        ::openlog(identity, options | LOG_PID, log_facility);
        message_fn = ::syslog;
        vmessage_fn = ::vsyslog;
        return;
    }
    message_fn = console_message;
    vmessage_fn = vconsole_message;
    if (::strncasecmp(target, "console", 7) != 0) {
        log_to_console = 0;
    }
}

void console_message(int level, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    vconsole_message(level, format, arguments);
    va_end(arguments);
}

void vconsole_message(int level, const char* format, va_list arguments) {
    if (log_threshold < level) {
        return;
    }
    // An argument list can be walked once only, and the message goes out twice.
    va_list again;
    va_copy(again, arguments);
    std::vfprintf(stderr, format, arguments);
    std::fputc('\n', stderr);
    std::fflush(stderr);
    std::vfprintf(stdout, format, again);
    std::fputc('\n', stdout);
    std::fflush(stdout);
    va_end(again);
}

void report_error(int exit_status, int unused, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    vreport_error(exit_status, unused, format, arguments);
    va_end(arguments);
}

void vreport_error(int exit_status, int /*unused*/, const char* format, va_list arguments) {
    // First: the allocation and the formatting may change it.
    const int error = errno;
    char* const buffer = format_message(format, arguments);
    if (buffer == nullptr) {
        write_twice("Can't allocate memory for error message");
    } else {
        if (error != 0) {
            append_system_error(buffer, error);
        }
        write_twice(buffer);
        std::free(buffer);
    }
    if (exit_status != 0) {
        std::exit(exit_status);
    }
    // For callers that report and then look at errno, as the operations that return -1 promise.
    errno = error;
}

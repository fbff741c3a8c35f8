#include "tests/support/system_log.h"

#include <cstdarg>
#include <cstddef>
#include <cstdio>

namespace test {

namespace {

char calls[16384];
std::size_t used = 0;

[[gnu::format(printf, 1, 0)]] void vkeep(const char* format, va_list arguments) {
    const int length = std::vsnprintf(calls + used, sizeof calls - used, format, arguments);
    used += static_cast<std::size_t>(length);
}

[[gnu::format(printf, 1, 2)]] void keep(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    vkeep(format, arguments);
    va_end(arguments);
}

}  // namespace

std::string takeLogCalls() {
    std::string taken(calls, used);
    used = 0;
    return taken;
}

}  // namespace test

// Not declared by <syslog.h>: where the C library checks formats at run time, that header has
// bodies of its own for two of these.
extern "C" {

void openlog(const char* identity, int options, int facility);
void closelog();
void syslog(int priority, const char* format, ...);
void vsyslog(int priority, const char* format, va_list arguments);

void openlog(const char* identity, int options, int facility) {
    test::keep("openlog(%s, %d, %d)\n", identity, options, facility);
}

void closelog() { test::keep("closelog()\n"); }

[[gnu::format(printf, 2, 3)]] void syslog(int priority, const char* format, ...) {
    test::keep("syslog(%d, ", priority);
    va_list arguments;
    va_start(arguments, format);
    test::vkeep(format, arguments);
    va_end(arguments);
    test::keep(")\n");
}

[[gnu::format(printf, 2, 0)]] void vsyslog(int priority, const char* format,
                                           va_list arguments) {
    test::keep("vsyslog(%d, ", priority);
    test::vkeep(format, arguments);
    test::keep(")\n");
}
}

#include "tests/unit/conf/system_log.h"

#include <cstdarg>
#include <cstdio>

namespace test {

std::vector<std::string>& logCalls() {
    static std::vector<std::string> calls;
    return calls;
}

namespace {

[[gnu::format(printf, 3, 0)]] void write(const char* function, int priority, const char* format,
                                         va_list arguments) {
    char text[4096];
    std::vsnprintf(text, sizeof text, format, arguments);
    logCalls().push_back(std::string(function) + "(" + std::to_string(priority) + ", " + text +
                         ")");
}

}  // namespace

}  // namespace test

// Not declared by <syslog.h>: where the C library checks formats at run time, that header has
// bodies of its own for two of these.
extern "C" {

void openlog(const char* identity, int options, int facility);
void closelog();
void syslog(int priority, const char* format, ...);
void vsyslog(int priority, const char* format, va_list arguments);

void openlog(const char* identity, int options, int facility) {
    test::logCalls().push_back(std::string("openlog(") + identity + ", " +
                               std::to_string(options) + ", " + std::to_string(facility) + ")");
}

void closelog() { test::logCalls().emplace_back("closelog()"); }

[[gnu::format(printf, 2, 3)]] void syslog(int priority, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    test::write("syslog", priority, format, arguments);
    va_end(arguments);
}

[[gnu::format(printf, 2, 0)]] void vsyslog(int priority, const char* format,
                                           va_list arguments) {
    test::write("vsyslog", priority, format, arguments);
}
}

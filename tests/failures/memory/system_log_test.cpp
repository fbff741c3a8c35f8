// The system log as the target of the messages, with memory refused.

#include <array>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstring>

#include "tests/failures/memory/refusal.h"
#include "zarnic/conf/diagnostics.h"

namespace {

using test::Attempt;

// The calls of the functions of <syslog.h>, kept by ones that never ask for memory themselves.
std::array<char, 200> calls;

[[gnu::format(printf, 1, 0)]] void vkeep(const char* format, va_list arguments) {
    const std::size_t used = std::strlen(calls.data());
    std::vsnprintf(calls.data() + used, calls.size() - used, format, arguments);
}

[[gnu::format(printf, 1, 2)]] void keep(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    vkeep(format, arguments);
    va_end(arguments);
}

// The channel's list form, whatever it is.
[[gnu::format(printf, 2, 3)]] void passOn(int level, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    vmessage_fn(level, format, arguments);
    va_end(arguments);
}

TEST(RefusedSystemLog, IsChosenAndReachedWithoutMemory) {
    ASSERT_EQ(test::whyRefusalFails(), "");
    const Attempt attempt(1, true, test::Refused::caller);
    const long before = test::liveBlocks();
    EXPECT_FALSE(attempt.run([] {
        set_log_target(nullptr, 6, 16, 0,
                       "an identity that is too long to be kept in a string");
        message_fn(6, "said %s", "once");
        passOn(7, "said %s", "again");
    }));
    EXPECT_FALSE(attempt.refused());
    EXPECT_EQ(test::liveBlocks(), before);
    EXPECT_STREQ(calls.data(),
                 "closelog\nopenlog an identity that is too long to be kept in a string 1 16\n"
                 "syslog 6 said once\nvsyslog 7 said again\n");
}

}  // namespace

// Not declared by <syslog.h>: where the C library checks formats at run time, that header has
// bodies of its own for two of these.
extern "C" {

void openlog(const char* identity, int options, int facility);
void closelog();
void syslog(int priority, const char* format, ...);
void vsyslog(int priority, const char* format, va_list arguments);

void openlog(const char* identity, int options, int facility) {
    keep("openlog %s %d %d\n", identity, options, facility);
}

void closelog() { keep("closelog\n"); }

[[gnu::format(printf, 2, 3)]] void syslog(int priority, const char* format, ...) {
    keep("syslog %d ", priority);
    va_list arguments;
    va_start(arguments, format);
    vkeep(format, arguments);
    va_end(arguments);
    keep("\n");
}

[[gnu::format(printf, 2, 0)]] void vsyslog(int priority, const char* format,
                                           va_list arguments) {
    keep("vsyslog %d ", priority);
    vkeep(format, arguments);
    keep("\n");
}
}

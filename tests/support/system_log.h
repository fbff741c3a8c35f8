// The system log of a test program: the functions of <syslog.h> are replaced by ones that write
// down how they were called, and never ask for memory.

#pragma once

#include <string>

namespace test {

// The calls since the last question, a line each: "openlog(panel, 9, 24)", "syslog(12, text)".
std::string takeLogCalls();

}  // namespace test

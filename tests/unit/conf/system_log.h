// The system log of the test program: the functions of <syslog.h> are replaced by ones that
// write down how they were called. A program takes part as soon as it uses this.

#pragma once

#include <string>
#include <vector>

namespace test {

// The calls so far, such as `openlog(panel, 9, 24)` or `syslog(12, text)`.
std::vector<std::string>& logCalls();

}  // namespace test

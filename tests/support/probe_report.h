// What the probe tells of itself; see the head of probe.cpp for the lines of a report.

#pragma once

#include <string>

namespace probe {

// Where a symbolic link leads; empty when it cannot be read.
std::string linkTarget(const std::string& path);

// The open descriptors as lines of the report. Taken as the first thing in main: whatever is
// opened later is not inherited.
std::string describeDescriptors();

// The whole report, with the descriptors as they were described before.
std::string describe(char** argv, const std::string& descriptors);

}  // namespace probe

// Any text as one word of a line.

#pragma once

#include <string>

namespace test {

// The text with all bytes outside printable ASCII, and "%", as %XX.
std::string escaped(const std::string& text);

}  // namespace test

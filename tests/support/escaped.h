// Any text as one word of a line.

#pragma once

#include <cstdio>
#include <string>

namespace test {

// The text with all bytes outside printable ASCII, and "%", as %XX.
inline std::string escaped(const std::string& text) {
    std::string result;
    for (const char c : text) {
        if (c > ' ' && c < 127 && c != '%') {
            result += c;
        } else {
            char hex[4];
            std::snprintf(hex, sizeof hex, "%%%02X",
                          static_cast<unsigned>(static_cast<unsigned char>(c)));
            result += hex;
        }
    }
    return result;
}

}  // namespace test

// What the error texts and the reports of the diagnostics come to, by plain concatenation. It
// shares no code with them.

#pragma once

#include <cstddef>
#include <cstring>
#include <string>

namespace model {

inline std::string systemText(int error) { return std::strerror(error); }

inline std::string upToNul(const std::string& text) { return text.substr(0, text.find('\0')); }

// The text of an errno error whose message was cut at its first NUL byte, as C strings are.
inline std::string systemErrorText(const std::string& message, int error) {
    const std::string shown = upToNul(message);
    return shown.empty() ? systemText(error) : shown + ": " + systemText(error);
}

// What a report adds is either there whole or not at all.
inline std::string reportText(const std::string& message, int error) {
    const std::string addition =
        "\nSystem error " + std::to_string(error) + ": " + systemText(error);
    const bool fits = message.size() + addition.size() <= 4095;
    return error != 0 && fits ? message + addition : message;
}

inline std::string prefix(const char* program) {
    if (program == nullptr) {
        return "";
    }
    std::string name = program;
    while (name.find('/') != std::string::npos) {
        name = name.substr(name.find('/') + 1);
    }
    return name.empty() ? "" : name + ": ";
}

inline std::string reportLine(const char* program, const std::string& message, int error) {
    std::string line = prefix(program) + reportText(message, error);
    const std::string text = reportText(message, error);
    if (text.empty() || text[text.size() - 1] != '\n') {
        line += '\n';
    }
    return line;
}

// What both streams get, each told by its letter: standard error first.
inline std::string bothStreams(const std::string& text) {
    return text.empty() ? "" : "E" + text + "O" + text;
}

inline bool namesConsole(const std::string& target) {
    const std::string lower = "console";
    const std::string upper = "CONSOLE";
    for (std::size_t i = 0; i < lower.size(); ++i) {
        if (i >= target.size() || (target[i] != lower[i] && target[i] != upper[i])) {
            return false;
        }
    }
    return true;
}

// Exactly five error numbers have a class of their own.
inline std::string systemErrorClass(int error) {
    for (const int single : {1, 2, 4, 10, 11}) {
        if (error == single) {
            return "class " + std::to_string(error);
        }
    }
    return "plain";
}

}  // namespace model

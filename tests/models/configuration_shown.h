// Lines and tables of a configuration as text, as the product has them and as the model does,
// and what the reader reports.

#pragma once

#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "conf/line.h"
#include "tests/models/configuration.h"
#include "zarnic/conf/read_configuration.h"

namespace model {

inline std::string shown(const Line& line) {
    switch (line.kind) {
        case Line::Kind::nothing:
            return "ignored";
        case Line::Kind::noSpace:
            return "no space: " + line.name;
        case Line::Kind::noValue:
            return "no value: " + line.name;
        default:
            return line.name + "|" + line.value;
    }
}

// What the product says of a line. The copy is exactly as long as the line, so a sanitizer sees
// the first byte read beyond it.
inline std::string splitLine(const std::string& text) {
    std::vector<char> line(text.c_str(), text.c_str() + text.size() + 1);
    char* name = nullptr;
    char* value = nullptr;
    const conf_line kind = conf_split_line(line.data(), &name, &value);
    if ((name == nullptr) != (kind == conf_line::ignored) ||
        (value == nullptr) == (kind == conf_line::pair)) {
        return "wrong pointers";
    }
    switch (kind) {
        case conf_line::ignored:
            return shown({Line::Kind::nothing, "", ""});
        case conf_line::space_expected:
            return shown({Line::Kind::noSpace, name, ""});
        case conf_line::value_expected:
            return shown({Line::Kind::noValue, name, ""});
        default:
            return shown({Line::Kind::pair, name, value});
    }
}

inline std::string shown(const Table& table) {
    std::string all = table.sorted ? "sorted" : "unsorted";
    all += ", room for " + std::to_string(table.capacity) + "\n";
    for (const Pair& pair : table.pairs) {
        all += pair.name + "|" + pair.value + "\n";
    }
    return all;
}

// Slots that are not in use must hold nothing.
inline std::string shown(const conf_table* table) {
    std::string all = table->sorted == 1 ? "sorted" : "unsorted";
    all += ", room for " + std::to_string(table->size) + "\n";
    for (std::uint64_t i = 0; i < table->size; ++i) {
        const conf_entry& entry = table->data[i];
        if (i < table->nmemb) {
            all += std::string(entry.name) + "|" + entry.value + "\n";
        } else if (entry.name != nullptr || entry.value != nullptr) {
            all += "a stray pointer in slot " + std::to_string(i) + "\n";
        }
    }
    return all;
}

// The reports, each with its level before it. Like any channel it may change errno.
inline std::vector<std::string> recorded;

[[gnu::format(printf, 2, 3)]] inline void record(int level, const char* format, ...) {
    char* text = nullptr;
    va_list arguments;
    va_start(arguments, format);
    if (::vasprintf(&text, format, arguments) < 0) {
        std::abort();
    }
    va_end(arguments);
    recorded.push_back(std::to_string(level) + " " + text);
    std::free(text);
    errno = EDOM;
}

}  // namespace model

// What a configuration file comes to, worked out on whole strings: first the trailing text is
// cut, then the words are told apart. It shares no code with the reader.

#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace model {

constexpr const char* white = " \t\n\v\f\r";

struct Line {
    enum class Kind { nothing, noSpace, noValue, pair } kind;
    std::string name;  // of a bad line: its text from the name on
    std::string value;
};

// Of the blanks at the end, an odd one is lost.
inline std::string withoutOddBlank(const std::string& text) {
    const std::size_t last = text.find_last_not_of(white);
    const std::size_t blanks = text.size() - last - 1;
    return blanks % 2 == 1 ? text.substr(0, text.size() - 1) : text;
}

inline Line readLine(const std::string& whole) {
    const std::string line = whole.substr(0, whole.find('\0'));
    const std::size_t start = line.find_first_not_of(white);
    if (start == std::string::npos || line[start] == '#') {
        return {Line::Kind::nothing, "", ""};
    }
    const std::string text = line.substr(start);
    const std::size_t nameEnd = text.find_first_not_of(
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_");
    if (nameEnd == std::string::npos || std::string(white).find(text[nameEnd]) > 5) {
        return {Line::Kind::noSpace, text, ""};
    }
    const std::size_t valueStart = text.find_first_not_of(white, nameEnd);
    if (valueStart == std::string::npos || text[valueStart] == '#') {
        return {Line::Kind::noValue, text, ""};
    }
    const std::size_t comment = text.find('#', valueStart);
    const std::string value =
        text.substr(valueStart, comment == std::string::npos ? comment : comment - valueStart);
    return {Line::Kind::pair, text.substr(0, nameEnd), withoutOddBlank(value)};
}

struct Pair {
    std::string name;
    std::string value;
};

// A table that is sorted only when asked, as the real one.
struct Table {
    std::vector<Pair> pairs;
    std::size_t capacity = 20;
    bool sorted = true;
    std::vector<std::string> reports;

    // Asked before anything is added, and also when nothing is going to be.
    void makeRoom() {
        if (pairs.size() == capacity) {
            capacity *= 2;
        }
    }

    void add(const std::string& name, const std::string& value) {
        makeRoom();
        for (Pair& pair : pairs) {
            if (pair.name == name) {
                pair.value = value;
                return;
            }
        }
        pairs.push_back({name, value});
        sorted = false;
    }

    // "(none)" for a name that is not there.
    std::string valueOf(const std::string& name) const {
        for (const Pair& pair : pairs) {
            if (pair.name == name) {
                return pair.value;
            }
        }
        return "(none)";
    }

    void sort() {
        for (std::size_t i = 1; i < pairs.size(); ++i) {
            for (std::size_t j = i; j > 0 && pairs[j].name < pairs[j - 1].name; --j) {
                const Pair moved = pairs[j];
                pairs[j] = pairs[j - 1];
                pairs[j - 1] = moved;
            }
        }
        sorted = true;
    }

    void readFile(const std::string& content) {
        makeRoom();
        std::size_t at = 0;
        while (at < content.size()) {
            const std::size_t feed = content.find('\n', at);
            const std::size_t end = feed == std::string::npos ? content.size() : feed + 1;
            takeLine(readLine(content.substr(at, end - at)));
            at = end;
        }
        sort();
    }

    void takeLine(const Line& line) {
        if (line.kind == Line::Kind::pair) {
            add(line.name, line.value);
        } else if (line.kind == Line::Kind::noSpace) {
            reports.push_back("Invalid variable definition " + line.name +
                              "\nExpected a space after variable name\n");
        } else if (line.kind == Line::Kind::noValue) {
            reports.push_back("Invalid variable definition " + line.name +
                              "\nExpected a value");
        }
    }
};

}  // namespace model

// What a command line and the queries about it come to, in plain lists and loops. It shares no
// code with the option library: where the two disagree, one of them is wrong.

#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace model {

struct Option {
    std::string name;  // of a short option: one character
    std::string value;
    std::size_t position;  // index of the argument that gave it last
    bool claimed;
};

inline bool isLetter(char c) {
    return std::string("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz_").find(c) !=
           std::string::npos;
}

inline int find(const std::vector<Option>& options, const std::string& name) {
    for (std::size_t i = 0; i < options.size(); ++i) {
        if (options[i].name == name) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

// Keeps the list in byte order; the last one of a name wins.
inline void put(std::vector<Option>& options, const Option& option) {
    std::size_t place = 0;
    while (place < options.size() && options[place].name < option.name) {
        ++place;
    }
    if (place < options.size() && options[place].name == option.name) {
        options[place] = option;
    } else {
        options.insert(options.begin() + static_cast<std::ptrdiff_t>(place), option);
    }
}

struct CommandLine {
    std::string program;
    std::vector<std::string> arguments;
    std::vector<Option> shorts;
    std::vector<Option> longs;

    void add(const std::string& argument) {
        arguments.push_back(argument);
        if (!addLong(argument)) {
            addShorts(argument);
        }
    }

    bool addLong(const std::string& argument) {
        if (argument.substr(0, 2) != "--") {
            return false;
        }
        const std::size_t equals = argument.find('=');
        const bool hasValue = equals != std::string::npos;
        const std::string name = hasValue ? argument.substr(2, equals - 2) : argument.substr(2);
        if (name.empty() || name[0] == '-') {
            return false;
        }
        for (const char c : name) {
            if (!isLetter(c) && c != '-') {
                return false;
            }
        }
        const std::string value = hasValue ? argument.substr(equals + 1) : "";
        put(longs, {name, value, arguments.size() - 1, false});
        return true;
    }

    void addShorts(const std::string& argument) {
        if (argument.size() < 2 || argument[0] != '-') {
            return;
        }
        for (std::size_t i = 1; i < argument.size(); ++i) {
            if (!isLetter(argument[i])) {
                return;
            }
        }
        for (std::size_t i = 1; i < argument.size(); ++i) {
            put(shorts, {std::string(1, argument[i]), "", arguments.size() - 1, false});
        }
    }
};

enum Outcome { good = 0, missing = 1, unsuitable = 4 };

// The parser. Each operation returns the message that it raises, empty for none.
struct Parser {
    CommandLine line;
    Outcome outcome = good;
    bool unchecked = false;      // the latest query's error may still be raised
    bool checkedBefore = false;  // and nothing was asked since
    int mask = 7;
    std::string message;  // of the latest failed query
    std::string badName;

    bool askLong(const std::string& name, int kind) {
        const int at = find(line.longs, name);
        begin();
        if (at < 0) {
            return fail(missing, "Requires long option '--" + name + "'");
        }
        Option& option = line.longs[static_cast<std::size_t>(at)];
        const bool wantsNone = kind == 0;
        const bool wantsSome = kind == 2;
        if (option.value.empty() ? wantsSome : wantsNone) {
            badName = name;
            return fail(unsuitable, "Incorrect long option '--" + name + "'");
        }
        option.claimed = true;
        return true;
    }

    bool askShort(char letter) {
        const int at = find(line.shorts, std::string(1, letter));
        begin();
        if (at < 0) {
            return fail(missing, std::string("Requires short option '-") + letter + "'");
        }
        line.shorts[static_cast<std::size_t>(at)].claimed = true;
        return true;
    }

    // A query for an optional option: claims one that is there, and raises nothing.
    bool askOptional(std::vector<Option>& options, const std::string& name, int kind) {
        const int at = find(options, name);
        checkedBefore = false;
        if (at < 0) {
            return false;
        }
        Option& option = options[static_cast<std::size_t>(at)];
        option.claimed = true;
        return option.value.empty() ? kind != 2 : kind != 0;
    }

    void begin() {
        outcome = good;
        unchecked = true;
        checkedBefore = false;
    }

    bool fail(Outcome what, const std::string& text) {
        outcome = what;
        message = text;
        return false;
    }

    // `unwinding`: while another exception is on its way nothing is raised, and nothing later.
    std::string release(bool unwinding) {
        const bool raises = unchecked && !unwinding && (outcome & mask) != 0;
        unchecked = false;
        return raises ? message : "";
    }

    void clear() {
        if (unchecked && outcome == unsuitable) {
            line.longs[static_cast<std::size_t>(find(line.longs, badName))].claimed = true;
        }
        outcome = good;
    }

    std::string check() {
        unchecked = true;
        std::string raised = release(false);
        if (raised.empty() && !checkedBefore && (mask & 2) != 0) {
            raised = firstUnknown();
        }
        if (raised.empty()) {
            forget(line.shorts);
            forget(line.longs);
            outcome = good;
            checkedBefore = true;
        }
        return raised;
    }

    std::string firstUnknown() const {
        for (const Option& option : line.shorts) {
            if (!option.claimed) {
                return "Unknown option '-" + option.name + "'";
            }
        }
        for (const Option& option : line.longs) {
            if (!option.claimed) {
                return "Unknown option '--" + option.name + "'";
            }
        }
        return "";
    }

    static void forget(std::vector<Option>& options) {
        for (Option& option : options) {
            option.claimed = false;
        }
    }
};

}  // namespace model

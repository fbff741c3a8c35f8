// The first half of the option fuzzing: a command line taken from the input, and its splitting
// against the model.

#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "tests/fuzz/input.h"
#include "tests/models/options.h"
#include "zarnic/opt/options.h"

namespace fuzz {

using zarnic::opt::TOpts;

struct Arguments {
    std::vector<std::string> texts;
    std::vector<const char*> argv;
    int argc;
};

inline Arguments takeArguments(fuzz::Input& input, unsigned flags) {
    Arguments taken;
    for (unsigned i = 0; i < (flags & 15U); ++i) {
        taken.texts.push_back(input.until('\0'));
    }
    for (const std::string& text : taken.texts) {
        taken.argv.push_back(text.c_str());
    }
    taken.argv.push_back(nullptr);
    if ((flags & 16U) != 0) {
        taken.argv[0] = nullptr;
    }
    taken.argc = static_cast<int>(taken.texts.size());
    taken.argc += (flags & 32U) != 0 ? 1 : 0;
    taken.argc -= (flags & 64U) != 0 ? 1 : 0;
    return taken;
}

inline model::CommandLine expectedLine(const Arguments& given, int argc) {
    model::CommandLine line;
    if (argc < 1 || given.argv[0] == nullptr) {
        return line;
    }
    line.program = given.texts[0];
    for (std::size_t i = 1; i < given.texts.size() && static_cast<int>(i) < argc; ++i) {
        line.add(given.texts[i]);
    }
    return line;
}

// The table entries as text, each with the number of the argument that it points to.
template <class Table, class Text>
std::string listed(const Table& table, const TOpts& options, const Text& text) {
    std::string all;
    for (const auto& [key, entry] : table) {
        const std::ptrdiff_t position = entry.argument - options.arguments().data();
        all += text(key, entry) + "@" + std::to_string(position) + "\n";
    }
    return all;
}

inline std::string listed(const std::vector<model::Option>& options) {
    std::string all;
    for (const model::Option& option : options) {
        all += option.name + "|" + option.name + "=" + option.value + "@" +
               std::to_string(option.position) + "\n";
    }
    return all;
}

inline void compareArguments(const model::CommandLine& expected, const TOpts& options) {
    const std::size_t count = expected.arguments.size();
    same("the number of arguments", count, options.arguments().size());
    for (std::size_t i = 0; i < count; ++i) {
        same("an argument", expected.arguments[i], options.argument(i));
    }
    std::string raised;
    try {
        options.argument(count);
    } catch (const TOpts::TOutOfRange& error) {
        same("the index of the error", count, error.index());
        raised = error.message();
    }
    same("the index error", "Wrong index (index = " + std::to_string(count) + ")", raised);
}

inline void compareLine(const model::CommandLine& expected, const TOpts& options) {
    same("the program name", expected.program, options.programName());
    compareArguments(expected, options);
    same("the short options", listed(expected.shorts),
         listed(options.shortOptions(), options, [](char key, const TOpts::ShortEntry& entry) {
             return std::string(1, key) + "|" + entry.letter + "=";
         }));
    same("the long options", listed(expected.longs),
         listed(options.longOptions(), options,
                [](const std::string& key, const TOpts::LongEntry& entry) {
                    return key + "|" + entry.name + "=" + entry.value;
                }));
}

}  // namespace fuzz

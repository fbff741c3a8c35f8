// A command line as text, as the product splits it and as the model does.

#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "tests/models/options.h"
#include "zarnic/opt/options.h"

namespace model {

inline CommandLine split(const char* const* argv, int argc) {
    CommandLine line;
    if (argc < 1 || argv == nullptr || argv[0] == nullptr) {
        return line;
    }
    line.program = argv[0];
    for (int i = 1; i < argc && argv[i] != nullptr; ++i) {
        line.add(argv[i]);
    }
    return line;
}

inline std::string shown(const CommandLine& line) {
    std::string all = "program " + line.program + "\n";
    for (const std::string& argument : line.arguments) {
        all += "argument " + argument + "\n";
    }
    for (const auto* const options : {&line.shorts, &line.longs}) {
        for (const Option& option : *options) {
            all += option.name + " is " + option.name + "=" + option.value + " of " +
                   std::to_string(option.position) + "\n";
        }
    }
    return all;
}

// Each entry with the number of the argument that it points to.
inline std::string shown(const zarnic::opt::TOpts& options) {
    const auto position = [&](const std::string* argument) {
        return " of " + std::to_string(argument - options.arguments().data()) + "\n";
    };
    std::string all = "program " + options.programName() + "\n";
    for (std::size_t i = 0; i < options.arguments().size(); ++i) {
        all += "argument " + options.argument(i) + "\n";
    }
    for (const auto& [key, entry] : options.shortOptions()) {
        all += std::string(1, key) + " is " + entry.letter + "=" + position(entry.argument);
    }
    for (const auto& [key, entry] : options.longOptions()) {
        all += key + " is " + entry.name + "=" + entry.value + position(entry.argument);
    }
    return all;
}

}  // namespace model

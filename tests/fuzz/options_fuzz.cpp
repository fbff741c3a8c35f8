// The option splitter and the queries about it, against the model. An input is
//
//     a byte   0-15: number of arguments, the program's name included; 16: argv[0] is null;
//              32: the count given is one too many; 64: one too few; 128: the parser's handle
//              is given up before the last results
//     fields   up to a NUL byte each: the arguments, then a word of a script in each field

#include <optional>
#include <string>
#include <vector>

#include "tests/fuzz/input.h"
#include "tests/models/options_line.h"
#include "tests/models/options_script.h"

namespace {

using fuzz::same;
using zarnic::opt::TOParsing;
using zarnic::opt::TOpts;

struct Arguments {
    std::vector<std::string> texts;
    std::vector<const char*> argv;
    int argc;
};

Arguments takeArguments(fuzz::Input& input, unsigned flags) {
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

void compareLine(const char* where, const model::CommandLine& expected, const TOpts& options) {
    same(where, model::shown(expected), model::shown(options));
    const std::size_t count = expected.arguments.size();
    std::string raised;
    try {
        options.argument(count);
    } catch (const TOpts::TOutOfRange& error) {
        same("the index of the error", count, error.index());
        raised = error.message();
    }
    same("the index error", "Wrong index (index = " + std::to_string(count) + ")", raised);
}

void same(const char* where, const script::Both& both) {
    fuzz::same(where, both.model, both.product);
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    const unsigned flags = input.byte();
    const Arguments given = takeArguments(input, flags);
    const char* const* const argv = given.argv.data();
    const int all = static_cast<int>(given.texts.size());
    compareLine("a line without a count", model::split(argv, all), TOpts(argv));

    const model::CommandLine line = model::split(argv, given.argc);
    std::optional<TOParsing> parser(TOParsing(argv, given.argc));
    compareLine("the line", line, parser->options());
    script::Script run(*parser, line);
    parser.reset();
    while (!input.empty()) {
        const std::string word = input.until('\0');
        same("an operation", run.perform(word));
        same("the state", run.standing());
    }
    if ((flags & 128U) != 0) {
        run.perform("x");
    }
    same("the last releases", run.finish());
    return 0;
}

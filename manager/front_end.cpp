#include "manager/front_end.h"

#include <array>

#include "manager/answer.h"
#include "manager/commands.h"

using zarnic::opt::TOParsing;

namespace {

struct Command {
    const char* option;
    CommandHandler handler;
};

// The order is the interface: the first command of this list that is on the command line runs,
// and its final check then refuses the others as unknown options.
constexpr std::array<Command, 9> commands = {{
    {"delete-file", deleteFile},
    {"check-install", checkInstall},
    {"start-service", startService},
    {"service-started", serviceStarted},
    {"kill-service", killService},
    {"restart-service", restartService},
    {"config-file-content", configFileContent},
    {"save-to-config-file", saveToConfigFile},
    {"help", showHelp},
}};

// No command was named. `-h` is asked for last; without it, every option is unknown.
void dispatchShortHelp(TOParsing& parser) {
    const TOParsing::TResult asked = parser.sopt('h');
    if (asked && showHelp(parser)) {
        return;
    }
    // Without this, an empty command line would fail for the missing `-h`.
    parser.clear();
    parser.check();
}

// Recursive, so that every query's result lives until dispatch ends. A result that ended
// earlier would report its command as missing: the first command of the list, on most command
// lines.
void dispatch(TOParsing& parser, std::size_t first) {
    if (first == commands.size()) {
        dispatchShortHelp(parser);
        return;
    }
    const Command& command = commands[first];
    const TOParsing::TResult asked = parser.lopt(command.option, zarnic::opt::no_arg);
    // A handler may decline by returning false. None does, but this is the interface.
    if (asked && command.handler(parser)) {
        return;
    }
    dispatch(parser, first + 1);
}

// To standard output and bare: the panel reads one stream and shows the line as it is.
int fail(const std::string& message) {
    answer(message);
    return 1;
}

}  // namespace

int runCommandLine(int argc, const char* const* argv) {
    // First: setvbuf(3) has no defined effect once something has been written.
    writeAnswersAtOnce();
    // Outside of the handlers: only a lack of memory can make it fail, and that ends the
    // process.
    TOParsing parser(argv, argc);
    parser.exceptions(TOParsing::nobit | TOParsing::unknbit | TOParsing::badbit);
    try {
        dispatch(parser, 0);
        return 0;
    } catch (TUError error) {  // by value: this is the interface, and its copy never throws
        return fail(error.message());
    } catch (const zarnic::TError& error) {
        return fail(error.message());
    } catch (...) {
        return fail("Error");
    }
}

bool showHelp(TOParsing /*parser*/) { return true; }

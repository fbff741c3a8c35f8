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

// The order decides which of several commands on one command line is dispatched; its final
// check then refuses the others.
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

// No command was named: `-h` is left to be asked for, and without it every option is unknown.
void dispatchShortHelp(TOParsing& parser) {
    const TOParsing::TResult asked = parser.sopt('h');
    if (asked && showHelp(parser)) {
        return;
    }
    parser.clear();
    parser.check();
}

// Recursive, so that every query's result lives until dispatch ends: released any earlier, the
// first command that is not on the command line would be reported as missing.
void dispatch(TOParsing& parser, std::size_t first) {
    if (first == commands.size()) {
        dispatchShortHelp(parser);
        return;
    }
    const Command& command = commands[first];
    const TOParsing::TResult asked = parser.lopt(command.option, zarnic::opt::no_arg);
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
    writeAnswersAtOnce();
    TOParsing parser(argv, argc);
    parser.exceptions(TOParsing::nobit | TOParsing::unknbit | TOParsing::badbit);
    try {
        dispatch(parser, 0);
        return 0;
    } catch (TUError error) {
        return fail(error.message());
    } catch (const zarnic::TError& error) {
        return fail(error.message());
    } catch (...) {
        return fail("Error");
    }
}

bool showHelp(TOParsing /*parser*/) { return true; }

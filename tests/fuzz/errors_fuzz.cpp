// The texts of the errors and the reports of the diagnostics against the model. An input is
//
//     a byte   the shape of the message: 0-3 as it is, under one of four formats; 4-7 repeated
//              until it is about as long as the buffer that reports are made in
//     a byte   the length that it is repeated to: 3900 and twice this byte
//     2 bytes  the error number, low byte first, less 16
//     a byte   the level of a console message, and of the threshold (4 bits each)
//     fields   up to a NUL byte each: the program's path (absent when empty), a log target, and
//              the message, whose rest may hold NUL bytes

#include <cerrno>
#include <cstdlib>
#include <string>

#include "tests/fuzz/input.h"
#include "tests/models/errors.h"
#include "tests/models/streams.h"
#include "zarnic/conf/diagnostics.h"
#include "zarnic/error/error.h"
#include "zarnic/error/system_error.h"
#include "zarnic/opt/parsing.h"
#include "zarnic/sys/exec_args.h"

namespace {

using fuzz::same;
using model::writtenBy;
using zarnic::ExSystemError;
using zarnic::SystemError;
using zarnic::opt::TOParsing;

struct Case {
    unsigned shape;
    int error;
    int level;
    int threshold;
    std::string program;
    std::string target;
    std::string message;
};

Case takeCase(fuzz::Input& input) {
    Case taken;
    taken.shape = input.byte() & 7U;
    const std::size_t length = 3900 + std::size_t{2} * input.byte();
    taken.error = input.byte();
    taken.error += 256 * input.byte() - 16;
    const unsigned levels = input.byte();
    taken.level = static_cast<int>(levels >> 4U);
    taken.threshold = static_cast<int>(levels & 15U);
    taken.program = input.until('\0');
    taken.target = input.until('\0');
    std::string& message = taken.message;
    message = input.rest();
    while ((taken.shape & 4U) != 0 && !message.empty() && message.size() < length) {
        message += message.substr(0, length - message.size());
    }
    return taken;
}

// The same text through one of four formats; each shape takes its arguments differently.
template <class Function>
std::string formatted(const Case& given, const Function& function) {
    const std::string text = model::upToNul(given.message);
    switch (given.shape & 3U) {
        case 0:
            function("%s", text.c_str());
            return text;
        case 1:
            function("%d of %s", given.level, text.c_str());
            return std::to_string(given.level) + " of " + text;
        case 2:
            function("%s%s\n", given.target.c_str(), text.c_str());
            return given.target + text + "\n";
        default:
            function("%c%%%s", '%', text.c_str());
            return "%%" + text;
    }
}

void compareReport(const Case& given) {
    program_path = given.program.empty() ? nullptr : given.program.c_str();
    std::string text;
    int left = 0;
    const std::string actual = writtenBy([&] {
        text = formatted(given, [&](const char* format, auto... arguments) {
            errno = given.error;
            report_error(0, 1, format, arguments...);
            left = errno;
        });
    });
    same("a report", model::bothStreams(model::reportLine(program_path, text, given.error)),
         actual);
    same("errno after a report", std::to_string(given.error), std::to_string(left));
    program_path = nullptr;
}

void compareMessage(const Case& given) {
    set_log_target(given.target.c_str(), given.threshold, given.error, 0, "fuzz");
    same("the threshold", static_cast<std::uint64_t>(given.threshold),
         static_cast<std::uint64_t>(log_threshold));
    same("the facility", std::to_string(given.error), std::to_string(log_facility));
    const bool console = given.threshold > 0 && model::namesConsole(given.target);
    same("the console", console ? 1 : 0, static_cast<std::uint64_t>(log_to_console));
    std::string text;
    const std::string actual = writtenBy([&] {
        text = formatted(given, [&](const char* format, auto... arguments) {
            message_fn(given.level, format, arguments...);
        });
    });
    const bool heard = given.level <= given.threshold;
    same("a message", model::bothStreams(heard ? text + "\n" : ""), actual);
}

void compareSystemErrors(const Case& given) {
    const SystemError error(given.message, given.error);
    const std::string expected = model::systemErrorText(given.message, given.error);
    same("an errno error", expected, error.what());
    same("an errno error asked again", expected, error.what());
    const SystemError copy(error);
    same("its copy", expected, copy.what());
    const zarnic::sys::TSysCallErr call(given.error);
    same("a system call error", model::systemText(given.error), call.message());
    same("its number", std::to_string(given.error), std::to_string(call.error()));
}

template <int... Numbers>
std::string classOf(const SystemError& error) {
    std::string found;
    ((found += dynamic_cast<const ExSystemError<Numbers>*>(&error) != nullptr
                   ? "class " + std::to_string(Numbers)
                   : ""),
     ...);
    return found.empty() ? "plain" : found;
}

// An error number of 0 stands for errno, and that never has a class of its own.
void compareThrown(const Case& given) {
    const int current = given.level;
    try {
        errno = current;
        zarnic::throw_system_error(given.message, given.error);
    } catch (const SystemError& error) {
        const int number = given.error != 0 ? given.error : current;
        same("the class", model::systemErrorClass(given.error),
             classOf<EPERM, ENOENT, EINTR, ECHILD, EAGAIN>(error));
        same("the number", std::to_string(number), std::to_string(error.error()));
        same("the text", model::systemErrorText(given.message, number), error.what());
    }
}

void compareOptionErrors(const Case& given) {
    const std::string& name = given.message;
    const char letter = static_cast<char>(given.error);
    const zarnic::TError error(name);
    same("a message", name, error.message());
    same("what of a message", model::upToNul(name), error.what());
    same("a missing name", "Requires long option '--" + name + "'",
         TOParsing::TNoLOpt(name).message());
    same("a missing letter", "Requires short option '-" + std::string(1, letter) + "'",
         TOParsing::TNoSOpt(letter).message());
}

void compareArgumentErrors(const Case& given) {
    using zarnic::sys::TEArgs;
    TEArgs list;
    for (int i = 0; i < given.level; ++i) {
        list << "x";
    }
    const auto number = static_cast<std::size_t>(static_cast<unsigned>(given.error));
    const std::string text = std::to_string(number);
    same("a list too long",
         "The number of arguments has exceeded the defined limits (arguments number = " +
             std::to_string(given.level) + ", add. arguments number = " + text + ", max = 100)",
         TEArgs::TOverflow(list, number).message());
    same("a wrong index", "Wrong index (index = " + text + ")",
         TEArgs::TOutOfRange(list, number).message());
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    const Case given = takeCase(input);
    compareReport(given);
    compareMessage(given);
    compareSystemErrors(given);
    compareThrown(given);
    compareOptionErrors(given);
    compareArgumentErrors(given);
    return 0;
}

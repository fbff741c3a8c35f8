// The option splitter and the queries about it, against the model. An input is
//
//     a byte   0-15: number of arguments, the program's name included; 16: argv[0] is null;
//              32: the count given is one too many; 64: one too few; 128: the parser's handle
//              is given up before the last results
//     fields   up to a NUL byte each: the arguments, then one operation in each field
//
// An operation is a letter and what it needs:
//     lKNAME  ask for the long option NAME, K being the kind's digit   sX  ask for the short
//     one c  clear    k  check    mX  set the mask to the low bits of X vX read the value of a
//     result still held   rX release it    uX release it while unwinding

#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "tests/fuzz/input.h"
#include "tests/fuzz/options_line.h"
#include "tests/models/options.h"
#include "zarnic/opt/parsing.h"

namespace {

using fuzz::Arguments;
using fuzz::same;
using zarnic::opt::TOParsing;
using zarnic::opt::TOpts;

constexpr std::size_t most_held = 8;

// The message that an operation raises, empty for none, with what the error carries compared.
template <class Operation>
std::string raisedBy(const Operation& operation) {
    try {
        operation();
        return "";
    } catch (const TOParsing::TNoLOpt& error) {
        same("a missing name", error.message(),
             "Requires long option '--" + error.name() + "'");
        return error.message();
    } catch (const TOParsing::TNoSOpt& error) {
        same("a missing letter", error.message(),
             std::string("Requires short option '-") + error.letter() + "'");
        return error.message();
    } catch (const TOParsing::TBadLOpt& error) {
        same("an unsuitable entry", error.message(),
             "Incorrect long option '--" + error.entry().name + "'");
        return error.message();
    } catch (const TOParsing::TUnknSOpt& error) {
        same("an unknown letter", error.message(),
             std::string("Unknown option '-") + error.entry().letter + "'");
        return error.message();
    } catch (const TOParsing::TUnknLOpt& error) {
        same("an unknown name", error.message(),
             "Unknown option '--" + error.entry().name + "'");
        return error.message();
    }
}

struct HeldResult {
    TOParsing::TResult* result;
    bool found;
    std::string value;
};

// Runs each operation on the parser and on its model.
class Session {
  public:
    Session(std::unique_ptr<TOParsing> parser, const model::CommandLine& line)
        : parser_(std::move(parser)) {
        expected_.line = line;
    }

    void perform(const std::string& field) {
        const char operation = field.empty() ? ' ' : field[0];
        const char detail = field.size() < 2 ? '\0' : field[1];
        const std::string name = field.size() < 2 ? "" : field.substr(2);
        if (operation == 'l' && held_.size() < most_held) {
            askLong(name, detail - '0');
        } else if (operation == 's' && held_.size() < most_held) {
            askShort(detail);
        } else if (operation == 'c') {
            parser_->clear();
            expected_.clear();
        } else if (operation == 'k') {
            same("the check", expected_.check(), raisedBy([&] { parser_->check(); }));
        } else if (operation == 'm') {
            expected_.mask = detail & 7;
            parser_->exceptions(static_cast<std::uint64_t>(detail & 7));
        } else if (!held_.empty()) {
            useHeld(operation, static_cast<unsigned char>(detail) % held_.size());
        }
        same("the state", static_cast<std::uint64_t>(expected_.outcome), parser_->state());
        same("the mask", static_cast<std::uint64_t>(expected_.mask), parser_->exceptions());
    }

    void finish(bool parserFirst) {
        if (parserFirst) {
            parser_.reset();
        }
        while (!held_.empty()) {
            release(held_.size() - 1);
        }
    }

  private:
    void askLong(const std::string& name, int kind) {
        const bool found = expected_.askLong(name, kind);
        const int at = model::find(expected_.line.longs, name);
        const std::string value =
            found ? expected_.line.longs[static_cast<std::size_t>(at)].value : "untouched";
        hold({new TOParsing::TResult(parser_->lopt(name, kind)), found, value});
    }

    void askShort(char letter) {
        const bool found = expected_.askShort(letter);
        hold({new TOParsing::TResult(parser_->sopt(letter)), found, found ? "" : "untouched"});
    }

    void hold(const HeldResult& held) {
        same("found", held.found ? 1 : 0, static_cast<bool>(*held.result) ? 1 : 0);
        held_.push_back(held);
    }

    void useHeld(char operation, std::size_t at) {
        if (operation == 'v') {
            std::string target = "untouched";
            *held_[at].result >> target;
            same("the value", held_[at].value, target);
        } else if (operation == 'r') {
            release(at);
        } else if (operation == 'u') {
            releaseUnwinding(at);
        }
    }

    TOParsing::TResult* takeHeld(std::size_t at) {
        TOParsing::TResult* const result = held_[at].result;
        held_.erase(held_.begin() + static_cast<std::ptrdiff_t>(at));
        return result;
    }

    void release(std::size_t at) {
        TOParsing::TResult* const result = takeHeld(at);
        same("the release", expected_.release(false), raisedBy([&] { delete result; }));
    }

    void releaseUnwinding(std::size_t at) {
        same("the release while unwinding", expected_.release(true), "");
        try {
            const std::unique_ptr<TOParsing::TResult> result(takeHeld(at));
            throw std::logic_error("another");
        } catch (const std::logic_error&) {}
    }

    std::unique_ptr<TOParsing> parser_;
    model::Parser expected_;
    std::vector<HeldResult> held_;
};

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    const unsigned flags = input.byte();
    const Arguments given = fuzz::takeArguments(input, flags);
    const int all = static_cast<int>(given.texts.size());
    fuzz::compareLine(fuzz::expectedLine(given, all), TOpts(given.argv.data()));

    const model::CommandLine line = fuzz::expectedLine(given, given.argc);
    auto parser = std::make_unique<TOParsing>(given.argv.data(), given.argc);
    fuzz::compareLine(line, parser->options());
    Session session(std::move(parser), line);
    while (!input.empty()) {
        session.perform(input.until('\0'));
    }
    session.finish((flags & 128U) != 0);
    return 0;
}

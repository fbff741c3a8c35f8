// A script of operations on a parser and on its model. A word is a letter and what it needs:
//
//     lKNAME, oKNAME  ask for the long option NAME of kind K, as a required, an optional one
//     sX, pX          ask for the short option X, as a required, an optional one
//     vN              read the value of the N-th result that is still held
//     rN, uN          release it; release it while another exception unwinds
//     c, k, K         clear; check; check while another exception unwinds
//     mN              set the mask to N
//     x               give the parser up: its results remain

#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/models/options.h"
#include "zarnic/opt/parsing.h"

namespace script {

using zarnic::opt::TOParsing;

// The message that an operation raises, empty for none. What the error carries must agree.
template <class Operation>
std::string raisedBy(const Operation& operation) {
    const auto told = [](const TOParsing::TPError& error, const std::string& carried) {
        return error.message() == carried ? carried : error.message() + " carries " + carried;
    };
    try {
        operation();
        return "";
    } catch (const TOParsing::TNoLOpt& error) {
        return told(error, "Requires long option '--" + error.name() + "'");
    } catch (const TOParsing::TNoSOpt& error) {
        return told(error, std::string("Requires short option '-") + error.letter() + "'");
    } catch (const TOParsing::TBadLOpt& error) {
        return told(error, "Incorrect long option '--" + error.entry().name + "'");
    } catch (const TOParsing::TUnknSOpt& error) {
        return told(error, std::string("Unknown option '-") + error.entry().letter + "'");
    } catch (const TOParsing::TUnknLOpt& error) {
        return told(error, "Unknown option '--" + error.entry().name + "'");
    }
}

// Runs an operation from a destructor, while another exception unwinds.
template <class Operation>
std::string whileUnwinding(const Operation& operation) {
    struct Guard {
        const Operation& operation;
        std::string& raised;
        ~Guard() { raised = raisedBy(operation); }
    };
    std::string raised;
    try {
        const Guard guard{operation, raised};
        throw std::logic_error("another");
    } catch (const std::logic_error&) {
        return raised;
    }
}

// What the two come to; where they differ, one of them is wrong.
struct Both {
    std::string product;
    std::string model;
};

// The parser by two handles in turn, each of which sees what the other did.
class Script {
  public:
    Script(const TOParsing& parser, const model::CommandLine& line)
        : first_(new TOParsing(parser)), second_(new TOParsing(nullptr, 0)) {
        *second_ = *first_;
        model_.line = line;
    }
    Script(const Script&) = delete;
    Script& operator=(const Script&) = delete;
    ~Script() { finish(); }

    // What the word raises or reads. A word that cannot be performed now is passed over.
    Both perform(const std::string& word) {
        const char operation = word.empty() ? ' ' : word[0];
        const char detail = word.size() < 2 ? '\0' : word[1];
        if (std::string("vru").find(operation) != std::string::npos) {
            const int digit = detail >= '0' && detail <= '9' ? detail - '0' : detail;
            return held_.empty()
                       ? Both{}
                       : use(operation, static_cast<unsigned char>(digit) % held_.size());
        }
        if (first_ == nullptr) {
            return {};
        }
        if (operation == 'k' || operation == 'K') {
            const auto check = [this] { next().check(); };
            return {operation == 'K' ? whileUnwinding(check) : raisedBy(check), model_.check()};
        }
        change(operation, detail, word.size() < 2 ? "" : word.substr(2));
        return {};
    }

    // Of the state, the mask and each result whether it is found.
    Both standing() {
        Both both;
        if (first_ != nullptr) {
            both.product = std::to_string(next().state()) + std::to_string(next().exceptions());
            both.model = std::to_string(model_.outcome) + std::to_string(model_.mask);
        }
        for (const Held& held : held_) {
            both.product += *held.result ? " found" : " missing";
            both.model += held.found ? " found" : " missing";
        }
        return both;
    }

    // Releases what is held, the latest first.
    Both finish() {
        Both raised;
        while (!held_.empty()) {
            const Both one = use('r', held_.size() - 1);
            raised.product += one.product;
            raised.model += one.model;
        }
        return raised;
    }

  private:
    // A result is on the heap because its end may throw, which no owner lets through.
    struct Held {
        const TOParsing::TResult* result;
        bool optional;
        bool found;
        std::string value;
    };

    static constexpr std::size_t most_held = 8;

    TOParsing& next() {
        first_.swap(second_);
        return *first_;
    }

    Both use(char operation, std::size_t at) {
        const Held held = held_[at];
        if (operation == 'v') {
            std::string target = "untouched";
            const TOParsing::TResult& same = *held.result >> target;
            return {&same == held.result ? target : "another result",
                    held.found ? held.value : "untouched"};
        }
        held_.erase(held_.begin() + static_cast<std::ptrdiff_t>(at));
        const bool unwinding = operation == 'u';
        const auto end = [&] { delete held.result; };
        return {unwinding ? whileUnwinding(end) : raisedBy(end),
                held.optional ? "" : model_.release(unwinding)};
    }

    void change(char operation, char detail, const std::string& name) {
        if (operation == 'c') {
            next().clear();
            model_.clear();
        } else if (operation == 'm') {
            next().exceptions(static_cast<std::uint64_t>(detail & 7));
            model_.mask = detail & 7;
        } else if (operation == 'x') {
            first_.reset();
            second_.reset();
        } else if (held_.size() < most_held && (operation == 'l' || operation == 'o')) {
            askLong(name, detail - '0', operation == 'o');
        } else if (held_.size() < most_held && (operation == 's' || operation == 'p')) {
            askShort(detail, operation == 'p');
        }
    }

    void askLong(const std::string& name, int kind, bool optional) {
        std::vector<model::Option>& longs = model_.line.longs;
        const bool found =
            optional ? model_.askOptional(longs, name, kind) : model_.askLong(name, kind);
        const int at = model::find(longs, name);
        TOParsing& parser = next();
        held_.push_back({optional ? new TOParsing::TResult(parser.optionalLong(name, kind))
                                  : new TOParsing::TResult(parser.lopt(name, kind)),
                         optional, found,
                         at < 0 ? "" : longs[static_cast<std::size_t>(at)].value});
    }

    void askShort(char letter, bool optional) {
        const bool found =
            optional ? model_.askOptional(model_.line.shorts, std::string(1, letter), 1)
                     : model_.askShort(letter);
        TOParsing& parser = next();
        held_.push_back({optional ? new TOParsing::TResult(parser.optionalShort(letter))
                                  : new TOParsing::TResult(parser.sopt(letter)),
                         optional, found, ""});
    }

    std::unique_ptr<TOParsing> first_;
    std::unique_ptr<TOParsing> second_;
    model::Parser model_;
    std::vector<Held> held_;
};

}  // namespace script

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

// Of all sessions: what a result that is not found leaves in its target.
constexpr const char* untouched = "untouched";

class ModelSession {
  public:
    explicit ModelSession(const model::CommandLine& line) { parser_.line = line; }

    std::size_t held() const { return held_.size(); }

    void askLong(const std::string& name, int kind, bool optional) {
        const bool found = optional ? parser_.askOptional(parser_.line.longs, name, kind)
                                    : parser_.askLong(name, kind);
        const int at = model::find(parser_.line.longs, name);
        held_.push_back(
            {found ? parser_.line.longs[static_cast<std::size_t>(at)].value : untouched, found,
             optional});
    }

    void askShort(char letter, bool optional) {
        const bool found =
            optional ? parser_.askOptional(parser_.line.shorts, std::string(1, letter), 1)
                     : parser_.askShort(letter);
        held_.push_back({found ? "" : untouched, found, optional});
    }

    std::string value(std::size_t at) const { return held_[at].value; }

    std::string release(std::size_t at, bool unwinding) {
        const bool optional = held_[at].optional;
        held_.erase(held_.begin() + static_cast<std::ptrdiff_t>(at));
        return optional ? "" : parser_.release(unwinding);
    }

    void clear() { parser_.clear(); }
    std::string check(bool /*unwinding*/) { return parser_.check(); }
    void setMask(int mask) { parser_.mask = mask; }
    void giveUp() {}

    // Of the state, the mask and each result whether it is found.
    std::string standing(bool parserThere) const {
        std::string text = parserThere ? "state " + std::to_string(parser_.outcome) +
                                             ", mask " + std::to_string(parser_.mask) + ":"
                                       : "";
        for (const Held& held : held_) {
            text += held.found ? " found" : " missing";
        }
        return text;
    }

  private:
    struct Held {
        std::string value;
        bool found;
        bool optional;
    };

    model::Parser parser_;
    std::vector<Held> held_;
};

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

// The parser by two handles in turn, each of which sees what the other did.
class ProductSession {
  public:
    explicit ProductSession(const TOParsing& parser)
        : first_(new TOParsing(parser)), second_(new TOParsing(nullptr, 0)) {
        *second_ = *first_;
    }
    ProductSession(const ProductSession&) = delete;
    ProductSession& operator=(const ProductSession&) = delete;
    ~ProductSession() {
        while (!held_.empty()) {
            release(0, false);
        }
    }

    std::size_t held() const { return held_.size(); }

    // A result is on the heap because its end may throw, which no owner lets through.
    void askLong(const std::string& name, int kind, bool optional) {
        TOParsing& parser = next();
        held_.push_back(optional ? new TOParsing::TResult(parser.optionalLong(name, kind))
                                 : new TOParsing::TResult(parser.lopt(name, kind)));
    }

    void askShort(char letter, bool optional) {
        TOParsing& parser = next();
        held_.push_back(optional ? new TOParsing::TResult(parser.optionalShort(letter))
                                 : new TOParsing::TResult(parser.sopt(letter)));
    }

    std::string value(std::size_t at) const {
        std::string target = untouched;
        const TOParsing::TResult& same = *held_[at] >> target;
        return &same == held_[at] ? target : "another result";
    }

    std::string release(std::size_t at, bool unwinding) {
        const TOParsing::TResult* const result = held_[at];
        held_.erase(held_.begin() + static_cast<std::ptrdiff_t>(at));
        const auto end = [&] { delete result; };
        return unwinding ? whileUnwinding(end) : raisedBy(end);
    }

    void clear() { next().clear(); }

    std::string check(bool unwinding) {
        const auto check = [this] { next().check(); };
        return unwinding ? whileUnwinding(check) : raisedBy(check);
    }

    void setMask(int mask) { next().exceptions(static_cast<std::uint64_t>(mask)); }

    void giveUp() {
        first_.reset();
        second_.reset();
    }

    std::string standing(bool parserThere) {
        std::string text;
        if (parserThere) {
            text = "state " + std::to_string(next().state()) + ", mask " +
                   std::to_string(next().exceptions()) + ":";
        }
        for (const TOParsing::TResult* const result : held_) {
            text += *result ? " found" : " missing";
        }
        return text;
    }

  private:
    TOParsing& next() {
        first_.swap(second_);
        return *first_;
    }

    std::unique_ptr<TOParsing> first_;
    std::unique_ptr<TOParsing> second_;
    std::vector<const TOParsing::TResult*> held_;
};

// A session of either kind, and the words that it understands.
template <class Session>
class Script {
  public:
    template <class Line>
    explicit Script(const Line& line) : session_(line) {}

    // What the word raises or reads. A word that cannot be performed now is passed over.
    std::string perform(const std::string& word) {
        const char operation = word.empty() ? ' ' : word[0];
        const char detail = word.size() < 2 ? '\0' : word[1];
        if (std::string("vru").find(operation) != std::string::npos) {
            return session_.held() == 0 ? "" : use(operation, detail);
        }
        if (!parserThere_) {
            return "";
        }
        if (operation == 'k' || operation == 'K') {
            return session_.check(operation == 'K');
        }
        change(operation, detail, word.size() < 2 ? "" : word.substr(2));
        return "";
    }

    std::string standing() { return session_.standing(parserThere_); }

    // Releases what is held, the latest first.
    std::string finish() {
        std::string raised;
        while (session_.held() > 0) {
            raised += session_.release(session_.held() - 1, false);
        }
        return raised;
    }

  private:
    static constexpr std::size_t most_held = 8;

    std::string use(char operation, char detail) {
        const int digit = detail >= '0' && detail <= '9' ? detail - '0' : detail;
        const std::size_t at = static_cast<unsigned char>(digit) % session_.held();
        return operation == 'v' ? session_.value(at) : session_.release(at, operation == 'u');
    }

    void change(char operation, char detail, const std::string& name) {
        if (operation == 'c') {
            session_.clear();
        } else if (operation == 'm') {
            session_.setMask(detail & 7);
        } else if (operation == 'x') {
            session_.giveUp();
            parserThere_ = false;
        } else if (session_.held() == most_held) {
            return;
        } else if (operation == 'l' || operation == 'o') {
            session_.askLong(name, detail - '0', operation == 'o');
        } else if (operation == 's' || operation == 'p') {
            session_.askShort(detail, operation == 'p');
        }
    }

    Session session_;
    bool parserThere_ = true;
};

}  // namespace script

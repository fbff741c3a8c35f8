// Command lines for the tests of the option library, and the errors that they raise.

#pragma once

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "zarnic/opt/options.h"
#include "zarnic/opt/parsing.h"

namespace test {

// An argument vector as main gets it: "program", the arguments and a null pointer.
class CommandLine {
  public:
    explicit CommandLine(std::vector<std::string> arguments) : strings_(std::move(arguments)) {
        strings_.insert(strings_.begin(), "program");
        for (const std::string& string : strings_) {
            pointers_.push_back(string.c_str());
        }
        pointers_.push_back(nullptr);
    }
    CommandLine(const CommandLine&) = delete;
    CommandLine& operator=(const CommandLine&) = delete;

    const char* const* argv() const { return pointers_.data(); }
    int argc() const { return static_cast<int>(strings_.size()); }

  private:
    std::vector<std::string> strings_;
    std::vector<const char*> pointers_;
};

inline zarnic::opt::TOpts split(std::vector<std::string> arguments) {
    const CommandLine line(std::move(arguments));
    return {line.argv(), line.argc()};
}

inline zarnic::opt::TOParsing parse(std::vector<std::string> arguments) {
    const CommandLine line(std::move(arguments));
    return {line.argv(), line.argc()};
}

// The message of the Error that `body` throws. Nothing or another error fails the test.
template <class Error, class Body>
std::string raised(const Body& body) {
    try {
        body();
    } catch (const Error& error) {
        return error.message();
    }
    ADD_FAILURE() << "nothing was thrown";
    return "nothing was thrown";
}

// Asks for an option in one statement, at whose end the result is released.
inline void ask(zarnic::opt::TOParsing& parser, const std::string& name,
                int kind = zarnic::opt::opt_arg) {
    (void)parser.lopt(name, kind);
}
inline void ask(zarnic::opt::TOParsing& parser, char letter) { (void)parser.sopt(letter); }

// The message of the final check about an option that nobody asked for.
inline std::string unknownLong(zarnic::opt::TOParsing& parser) {
    return raised<zarnic::opt::TOParsing::TUnknLOpt>([&] { parser.check(); });
}
inline std::string unknownShort(zarnic::opt::TOParsing& parser) {
    return raised<zarnic::opt::TOParsing::TUnknSOpt>([&] { parser.check(); });
}

// A query's result that the test releases when it wants to. It lies on the heap because its
// end may throw, which no owner of the standard library lets through.
class Held {
  public:
    Held(zarnic::opt::TOParsing& parser, const std::string& name,
         int kind = zarnic::opt::req_arg)
        : result_(new zarnic::opt::TOParsing::TResult(parser.lopt(name, kind))) {}
    Held(zarnic::opt::TOParsing& parser, char letter)
        : result_(new zarnic::opt::TOParsing::TResult(parser.sopt(letter))) {}
    Held(const Held&) = delete;
    Held& operator=(const Held&) = delete;
    ~Held() noexcept(false) { release(); }

    void release() { delete std::exchange(result_, nullptr); }
    const zarnic::opt::TOParsing::TResult& operator*() const { return *result_; }

  private:
    zarnic::opt::TOParsing::TResult* result_;
};

}  // namespace test

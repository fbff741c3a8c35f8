// Every exception mask against every outcome of a query.
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "tests/unit/opt/command_line.h"
#include "zarnic/opt/parsing.h"

namespace {

using test::ask;
using test::parse;
using zarnic::opt::no_arg;
using zarnic::opt::opt_arg;
using zarnic::opt::req_arg;
using zarnic::opt::TOParsing;

// A query on the command line "-h --empty --full=x", and what it has to lead to.
struct Outcome {
    std::string name;
    std::function<void(TOParsing&)> query;
    std::uint64_t state;
    std::string error;
};

std::vector<Outcome> allOutcomes() {
    const auto lopt = [](const std::string& name, int kind) {
        return [=](TOParsing& parser) { ask(parser, name, kind); };
    };
    const auto sopt = [](char letter) {
        return [=](TOParsing& parser) { ask(parser, letter); };
    };
    const std::string missing = "Requires long option '--missing'";
    return {
        {"short found", sopt('h'), 0, ""},
        {"short missing", sopt('x'), 1, "Requires short option '-x'"},
        {"long without value found", lopt("empty", no_arg), 0, ""},
        {"long without value found, any", lopt("empty", opt_arg), 0, ""},
        {"long with value found", lopt("full", req_arg), 0, ""},
        {"long with value found, any", lopt("full", opt_arg), 0, ""},
        {"long missing, no value wanted", lopt("missing", no_arg), 1, missing},
        {"long missing, any value", lopt("missing", opt_arg), 1, missing},
        {"long missing, value wanted", lopt("missing", req_arg), 1, missing},
        {"unwanted value", lopt("full", no_arg), 4, "Incorrect long option '--full'"},
        {"missing value", lopt("empty", req_arg), 4, "Incorrect long option '--empty'"},
    };
}

// The message that `body` throws, empty when it throws nothing.
std::string messageOf(const std::function<void()>& body) {
    try {
        body();
    } catch (const TOParsing::TPError& error) {
        return error.message();
    }
    return "";
}

void forEachMaskAndOutcome(
    const std::function<void(TOParsing&, std::uint64_t, const Outcome&)>& body) {
    for (std::uint64_t mask = 0; mask < 8; ++mask) {
        for (const Outcome& outcome : allOutcomes()) {
            SCOPED_TRACE(outcome.name + ", mask " + std::to_string(mask));
            TOParsing parser = parse({"-h", "--empty", "--full=x"});
            parser.exceptions(mask);
            body(parser, mask, outcome);
        }
    }
}

TEST(ParsingMask, IsWhatWasSetLast) {
    TOParsing parser = parse({});
    for (std::uint64_t mask = 0; mask < 8; ++mask) {
        parser.exceptions(mask);
        EXPECT_EQ(parser.exceptions(), mask);
    }
}

TEST(ParsingMask, OutcomeThrowsAtTheReleaseExactlyWhenTheMaskHasItsBit) {
    forEachMaskAndOutcome([](TOParsing& parser, std::uint64_t mask, const Outcome& outcome) {
        const bool throws = (mask & outcome.state) != 0;
        EXPECT_EQ(messageOf([&] { outcome.query(parser); }), throws ? outcome.error : "");
        EXPECT_EQ(parser.state(), outcome.state);
        EXPECT_EQ(parser.exceptions(), mask);
    });
}

TEST(ParsingMask, OutcomeThrowsInTheCheckExactlyWhenTheMaskHasItsBit) {
    forEachMaskAndOutcome([](TOParsing& parser, std::uint64_t mask, const Outcome& outcome) {
        parser.exceptions(0);
        for (const char* const name : {"empty", "full"}) {
            ask(parser, name);
        }
        ask(parser, 'h');  // nothing is unknown
        outcome.query(parser);
        parser.exceptions(mask);
        const bool throws = (mask & outcome.state) != 0;
        EXPECT_EQ(messageOf([&] { parser.check(); }), throws ? outcome.error : "");
    });
}

TEST(ParsingMask, UnknownOptionsThrowExactlyWhenTheMaskHasTheirBit) {
    forEachMaskAndOutcome([](TOParsing& parser, std::uint64_t mask, const Outcome& outcome) {
        parser.exceptions(0);
        outcome.query(parser);
        parser.exceptions(mask & TOParsing::unknbit);
        const bool examined = (mask & TOParsing::unknbit) != 0;
        const std::string message = messageOf([&] { parser.check(); });
        // Claimed at most by the query: 'h', and then the long options are the first unknown.
        const std::string first = outcome.name == "short found" ? "'--" : "'-h'";
        EXPECT_EQ(message.starts_with("Unknown option " + first), examined) << message;
        EXPECT_EQ(message.empty(), !examined) << message;
    });
}

TEST(ParsingMask, BitsBeyondTheThreeMeanNothing) {
    TOParsing parser = parse({"--full=x"});
    parser.exceptions(~std::uint64_t{7});
    EXPECT_NO_THROW(ask(parser, "missing"));
    EXPECT_NO_THROW(ask(parser, "full", no_arg));
    EXPECT_NO_THROW(parser.check());
}

}  // namespace

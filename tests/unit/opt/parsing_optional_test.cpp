// Queries for optional options, whose results never throw.

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "tests/unit/opt/command_line.h"
#include "zarnic/opt/parsing.h"

namespace {

using test::Held;
using test::parse;
using test::raised;
using test::unknownLong;
using test::unknownShort;
using zarnic::opt::no_arg;
using zarnic::opt::opt_arg;
using zarnic::opt::req_arg;
using zarnic::opt::TOParsing;

// The value of an optional option, or "default".
std::string valueOf(TOParsing& parser, const std::string& name, int kind) {
    std::string value = "default";
    parser.optionalLong(name, kind) >> value;
    return value;
}

TEST(ParsingOptional, AValueThatIsThereIsExtractedAndClaimed) {
    TOParsing parser = parse({"--user=ann", "--color", "-v"});
    EXPECT_EQ(valueOf(parser, "user", req_arg), "ann");
    EXPECT_EQ(valueOf(parser, "color", opt_arg), "");
    EXPECT_TRUE(parser.optionalShort('v'));
    EXPECT_NO_THROW(parser.check());
}

TEST(ParsingOptional, OneThatIsMissingKeepsTheTarget) {
    TOParsing parser = parse({"--user=ann"});
    EXPECT_EQ(valueOf(parser, "shell", req_arg), "default");
    EXPECT_FALSE(parser.optionalLong("shell", opt_arg));
    EXPECT_FALSE(parser.optionalShort('v'));
    EXPECT_EQ(unknownLong(parser), "Unknown option '--user'");
}

TEST(ParsingOptional, OneWithAnUnsuitableValueIsIgnoredAlsoInTheFinalCheck) {
    TOParsing parser = parse({"--shell=", "--verbose=much"});
    EXPECT_EQ(valueOf(parser, "shell", req_arg), "default");
    EXPECT_EQ(valueOf(parser, "verbose", no_arg), "default");
    EXPECT_NO_THROW(parser.check());
}

TEST(ParsingOptional, WhatNobodyAskedForIsStillUnknown) {
    TOParsing parser = parse({"-vx"});
    static_cast<void>(parser.optionalShort('v'));
    EXPECT_EQ(unknownShort(parser), "Unknown option '-x'");
}

TEST(ParsingOptional, TheStateAndThePendingCheckOfTheLatestQueryStay) {
    TOParsing parser = parse({"--user=ann"});
    Held required(parser, "file");
    static_cast<void>(parser.optionalLong("user", req_arg));
    static_cast<void>(parser.optionalLong("missing", req_arg));
    static_cast<void>(parser.optionalShort('v'));
    EXPECT_EQ(parser.state(), TOParsing::nobit);
    EXPECT_EQ(raised<TOParsing::TNoLOpt>([&] { required.release(); }),
              "Requires long option '--file'");
    EXPECT_EQ(raised<TOParsing::TNoLOpt>([&] { parser.check(); }),
              "Requires long option '--file'");
}

TEST(ParsingOptional, ItBeginsANewSeriesAfterAFinalCheck) {
    for (const char letter : {'v', 'w'}) {
        TOParsing parser = parse({"-v", "--user=ann"});
        static_cast<void>(parser.optionalShort('v'));
        static_cast<void>(parser.optionalLong("user", opt_arg));
        parser.check();
        static_cast<void>(parser.optionalShort(letter));
        EXPECT_THROW(parser.check(), TOParsing::TPError);
        static_cast<void>(parser.optionalShort('v'));
        static_cast<void>(parser.optionalLong("user", opt_arg));
        parser.check();
        static_cast<void>(parser.optionalLong("other", opt_arg));
        EXPECT_EQ(unknownShort(parser), "Unknown option '-v'");
    }
}

TEST(ParsingOptional, AResultOutlivesItsParser) {
    auto parser = std::make_unique<TOParsing>(parse({"--user=ann"}));
    const TOParsing::TResult result = parser->optionalLong("user", req_arg);
    parser.reset();
    std::string value;
    result >> value;
    EXPECT_EQ(value, "ann");
}

}  // namespace

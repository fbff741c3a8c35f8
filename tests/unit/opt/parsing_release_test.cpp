// What the release of a query's result does, and what clear() takes from it.
#include <gtest/gtest.h>

#include <optional>
#include <stdexcept>
#include <string>

#include "tests/unit/opt/command_line.h"
#include "zarnic/opt/parsing.h"

namespace {

using test::ask;
using test::Held;
using test::parse;
using test::raised;
using zarnic::opt::no_arg;
using zarnic::opt::opt_arg;
using zarnic::opt::req_arg;
using zarnic::opt::TOParsing;
using TBadLOpt = TOParsing::TBadLOpt;
using TNoLOpt = TOParsing::TNoLOpt;
using TNoSOpt = TOParsing::TNoSOpt;
using TUnknLOpt = TOParsing::TUnknLOpt;

TEST(ResultRelease, QueryItselfRaisesNothing) {
    TOParsing parser = parse({"--file"});
    std::optional<Held> missing;
    std::optional<Held> bad;
    EXPECT_NO_THROW(missing.emplace(parser, "missing"));
    EXPECT_NO_THROW(bad.emplace(parser, "file", req_arg));
    parser.clear();
}

TEST(ResultRelease, KindOfTheLatestMissDecidesTheError) {
    TOParsing parser = parse({});
    EXPECT_THROW(ask(parser, 'x'), TNoSOpt);
    EXPECT_EQ(raised<TNoLOpt>([&] { ask(parser, "file"); }), "Requires long option '--file'");
    EXPECT_EQ(raised<TNoSOpt>([&] { ask(parser, 'y'); }), "Requires short option '-y'");
    EXPECT_EQ(raised<TNoLOpt>([&] { ask(parser, "a"); }), "Requires long option '--a'");
}

TEST(ResultRelease, LatestUnsuitableOptionIsTheOneNamed) {
    TOParsing parser = parse({"--a=x", "--b"});
    EXPECT_THROW(ask(parser, "a", no_arg), TBadLOpt);
    EXPECT_EQ(raised<TBadLOpt>([&] { ask(parser, "b", req_arg); }),
              "Incorrect long option '--b'");
}

TEST(ResultRelease, WhicheverResultIsReleasedFirstChecksTheLatestQuery) {
    TOParsing parser = parse({});
    Held first(parser, "first");
    Held second(parser, "second");
    EXPECT_EQ(raised<TNoLOpt>([&] { first.release(); }), "Requires long option '--second'");
    EXPECT_NO_THROW(second.release());
}

TEST(ResultRelease, LaterReleasesFindNothingPendingAfterASuccess) {
    TOParsing parser = parse({"--file"});
    Held missing(parser, "missing");
    Held latest(parser, "file", opt_arg);
    EXPECT_NO_THROW(latest.release());
    EXPECT_NO_THROW(missing.release());
}

TEST(ResultRelease, PendingIsOverBeforeTheErrorIsThrown) {
    for (const char* const latest : {"missing", "bad"}) {
        TOParsing parser = parse({"--bad"});
        Held first(parser, "first");
        Held second(parser, latest);
        EXPECT_THROW(second.release(), TOParsing::TPError);
        EXPECT_NO_THROW(first.release());
    }
}

TEST(ResultRelease, NeverThrowsWhileAnotherExceptionIsUnwinding) {
    TOParsing parser = parse({"--file"});
    const auto failAfter = [&](const std::string& name) {
        const TOParsing::TResult result = parser.lopt(name, req_arg);
        throw std::logic_error(static_cast<bool>(result) ? "found" : "not found");
    };
    EXPECT_THROW(failAfter("missing"), std::logic_error);
    EXPECT_THROW(failAfter("file"), std::logic_error);
}

TEST(ResultRelease, WhileUnwindingEndsThePendingCheck) {
    TOParsing parser = parse({});
    Held outer(parser, "outer");
    try {
        const TOParsing::TResult inner = parser.lopt("inner", req_arg);
        throw std::logic_error("another");
    } catch (const std::logic_error&) {
        EXPECT_NO_THROW(outer.release());
    }
    EXPECT_EQ(parser.state(), TOParsing::nobit);
}

TEST(ResultRelease, ThrowsInsideAHandlerWhereNothingUnwindsAnyMore) {
    TOParsing parser = parse({});
    try {
        throw std::logic_error("another");
    } catch (const std::logic_error&) {
        EXPECT_THROW(ask(parser, "missing"), TNoLOpt);
    }
}

TEST(ResultRelease, ErrorOfAQueryUnwindsOverEarlierResults) {
    TOParsing parser = parse({});
    const auto dispatch = [&] {
        const Held first(parser, "first");
        const Held second(parser, "second");
        ask(parser, "third");
    };
    EXPECT_EQ(raised<TNoLOpt>(dispatch), "Requires long option '--third'");
}

TEST(ResultRelease, ResultKeepsTheParserAliveAndStillChecks) {
    std::optional<TOParsing> parser(parse({"--file=x"}));
    Held found(*parser, "file");
    Held missing(*parser, "missing");
    parser.reset();
    std::string value;
    *found >> value;
    EXPECT_EQ(value, "x");
    EXPECT_EQ(raised<TNoLOpt>([&] { missing.release(); }), "Requires long option '--missing'");
}

TEST(ParsingClear, MakesAMissingOptionOptional) {
    TOParsing parser = parse({});
    std::string target = "before";
    Held result(parser, "kav-dir");
    *result >> target;
    parser.clear();
    EXPECT_NO_THROW(result.release());
    EXPECT_EQ(target, "before");
    EXPECT_EQ(parser.state(), TOParsing::goodbit);
    EXPECT_NO_THROW(parser.check());
}

TEST(ParsingClear, MakesAMissingShortOptionOptional) {
    TOParsing parser = parse({});
    Held result(parser, 'h');
    parser.clear();
    EXPECT_NO_THROW(result.release());
    EXPECT_NO_THROW(parser.check());
}

TEST(ParsingClear, IgnoresAnUnsuitableOptionAlsoInTheFinalCheck) {
    for (const char* const argument : {"--no-daemon", "--no-daemon="}) {
        TOParsing parser = parse({argument});
        Held result(parser, "no-daemon", req_arg);
        parser.clear();
        EXPECT_EQ(parser.state(), TOParsing::goodbit);
        EXPECT_FALSE(static_cast<bool>(*result));
        EXPECT_NO_THROW(result.release());
        EXPECT_NO_THROW(parser.check());
    }
}

TEST(ParsingClear, ClaimsTheOptionOfTheLatestQueryOnly) {
    TOParsing parser = parse({"--a", "--b"});
    Held first(parser, "a");
    Held second(parser, "b");
    parser.clear();
    EXPECT_EQ(raised<TUnknLOpt>([&] { parser.check(); }), "Unknown option '--a'");
}

TEST(ParsingClear, ClaimsNothingWhenALaterQueryDidNotEndInBadbit) {
    for (const char* const later : {"missing", "found"}) {
        TOParsing parser = parse({"--bad", "--found=x"});
        const Held first(parser, "bad");
        const Held second(parser, later);
        parser.clear();
        ask(parser, "found");
        EXPECT_EQ(raised<TUnknLOpt>([&] { parser.check(); }), "Unknown option '--bad'");
    }
}

TEST(ParsingClear, ClaimsNothingAfterTheResultWasReleased) {
    TOParsing parser = parse({"--file"});
    EXPECT_THROW(ask(parser, "file", req_arg), TBadLOpt);
    parser.clear();
    EXPECT_EQ(parser.state(), TOParsing::goodbit);
    EXPECT_EQ(raised<TUnknLOpt>([&] { parser.check(); }), "Unknown option '--file'");
}

TEST(ParsingClear, SecondClearChangesNothingMore) {
    TOParsing parser = parse({"--a", "--b"});
    Held result(parser, "a");
    parser.clear();
    parser.clear();
    EXPECT_NO_THROW(result.release());
    EXPECT_EQ(raised<TUnknLOpt>([&] { parser.check(); }), "Unknown option '--b'");
}

}  // namespace

// Series of queries and checks: what a check leaves behind for the next one.
#include <gtest/gtest.h>

#include <string>

#include "tests/unit/opt/command_line.h"
#include "zarnic/opt/parsing.h"

namespace {

using test::ask;
using test::Held;
using test::parse;
using test::raised;
using test::unknownLong;
using test::unknownShort;
using zarnic::opt::TOParsing;
using TBadLOpt = TOParsing::TBadLOpt;
using TNoLOpt = TOParsing::TNoLOpt;

TEST(ParsingSeries, SecondCheckInARowSucceeds) {
    TOParsing parser = parse({"--file", "-x"});
    ask(parser, "file");
    ask(parser, 'x');
    EXPECT_NO_THROW(parser.check());
    EXPECT_NO_THROW(parser.check());
    EXPECT_NO_THROW(parser.check());
}

TEST(ParsingSeries, ClaimsStartAfreshAfterASuccess) {
    TOParsing parser = parse({"--file", "-x"});
    ask(parser, "file");
    ask(parser, 'x');
    parser.check();
    ask(parser, "file");
    EXPECT_EQ(unknownShort(parser), "Unknown option '-x'");
    ask(parser, 'x');
    EXPECT_NO_THROW(parser.check());
    ask(parser, 'x');
    EXPECT_EQ(unknownLong(parser), "Unknown option '--file'");
}

TEST(ParsingSeries, ShortQueryAfterASuccessMakesTheCheckExamineAgain) {
    TOParsing parser = parse({"-xy"});
    ask(parser, 'x');
    ask(parser, 'y');
    parser.check();
    ask(parser, 'y');
    EXPECT_EQ(unknownShort(parser), "Unknown option '-x'");
}

TEST(ParsingSeries, MissingQueryAfterASuccessMakesTheCheckExamineAgain) {
    TOParsing parser = parse({"--file"});
    ask(parser, "file");
    parser.check();
    {
        const Held missing(parser, "missing");
        parser.clear();
    }
    EXPECT_EQ(unknownLong(parser), "Unknown option '--file'");
}

TEST(ParsingSeries, FailedQueryAfterASuccessFailsTheCheck) {
    TOParsing parser = parse({});
    parser.check();
    const Held missing(parser, "missing");
    EXPECT_THROW(parser.check(), TNoLOpt);
}

TEST(ParsingSeries, StateIsGoodAfterASuccess) {
    TOParsing parser = parse({});
    parser.exceptions(TOParsing::unknbit);
    ask(parser, "missing");
    parser.check();
    EXPECT_EQ(parser.state(), TOParsing::goodbit);
    parser.exceptions(7);
    EXPECT_NO_THROW(parser.check());
}

TEST(ParsingSeries, UnknownOptionFailsEachCheckTheSameWay) {
    TOParsing parser = parse({"--foo"});
    EXPECT_EQ(unknownLong(parser), "Unknown option '--foo'");
    EXPECT_EQ(unknownLong(parser), "Unknown option '--foo'");
}

TEST(ParsingSeries, FailedQueryFailsEachCheckTheSameWay) {
    TOParsing parser = parse({"--file"});
    const Held missing(parser, "missing");
    EXPECT_THROW(parser.check(), TNoLOpt);
    EXPECT_THROW(parser.check(), TNoLOpt);
    const Held bad(parser, "file");
    EXPECT_THROW(parser.check(), TBadLOpt);
    EXPECT_THROW(parser.check(), TBadLOpt);
}

TEST(ParsingSeries, ClearAfterAFailedCheckForgivesButClaimsNothing) {
    TOParsing parser = parse({"--file"});
    const Held bad(parser, "file");
    EXPECT_THROW(parser.check(), TBadLOpt);
    parser.clear();
    EXPECT_EQ(unknownLong(parser), "Unknown option '--file'");
}

TEST(ParsingSeries, ClearClaimsAnUnsuitableOptionWhateverTheMask) {
    TOParsing parser = parse({"--file"});
    parser.exceptions(TOParsing::unknbit);
    const Held bad(parser, "file");
    parser.clear();
    EXPECT_NO_THROW(parser.check());
}

TEST(ParsingSeries, FailureKeepsTheClaimsAndTheState) {
    TOParsing parser = parse({"-x", "--foo", "--goo"});
    parser.exceptions(TOParsing::unknbit);
    ask(parser, 'x');
    ask(parser, "foo");
    ask(parser, "missing");
    EXPECT_EQ(unknownLong(parser), "Unknown option '--goo'");
    EXPECT_EQ(parser.state(), TOParsing::nobit);
    ask(parser, "goo");
    EXPECT_NO_THROW(parser.check());
}

}  // namespace

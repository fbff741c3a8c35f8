// What the final check reports, and in which order.
#include <gtest/gtest.h>

#include <stdexcept>
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
using zarnic::opt::no_arg;
using zarnic::opt::req_arg;
using zarnic::opt::TOParsing;
using TBadLOpt = TOParsing::TBadLOpt;
using TNoLOpt = TOParsing::TNoLOpt;
using TNoSOpt = TOParsing::TNoSOpt;

TEST(ParsingCheck, SucceedsWithoutOptions) {
    TOParsing parser = parse({"plain", "--", "-9", "--a1"});
    EXPECT_NO_THROW(parser.check());
}

TEST(ParsingCheck, CountsAnOptionAskedForTwiceOnce) {
    TOParsing parser = parse({"--a", "--b", "-xy"});
    ask(parser, "a");
    ask(parser, "a");
    ask(parser, 'x');
    ask(parser, 'x');
    EXPECT_EQ(unknownShort(parser), "Unknown option '-y'");
    ask(parser, 'y');
    EXPECT_EQ(unknownLong(parser), "Unknown option '--b'");
}

TEST(ParsingCheck, DoesNotCountQueriesThatWereMissing) {
    TOParsing parser = parse({"--a", "-x"});
    {
        const Held missing(parser, "b");
        parser.clear();
    }
    {
        const Held missing(parser, 'y');
        parser.clear();
    }
    EXPECT_EQ(unknownShort(parser), "Unknown option '-x'");
    ask(parser, 'x');
    EXPECT_EQ(unknownLong(parser), "Unknown option '--a'");
}

TEST(ParsingCheck, ReportsTheFirstUnknownLetterInAscendingOrder) {
    TOParsing parser = parse({"-zb", "-aZ"});
    ask(parser, 'Z');
    EXPECT_EQ(unknownShort(parser), "Unknown option '-a'");
    ask(parser, 'a');
    EXPECT_EQ(unknownShort(parser), "Unknown option '-b'");
}

TEST(ParsingCheck, ReportsTheFirstUnknownNameInByteWiseOrder) {
    TOParsing parser = parse({"--b", "--a_b", "--ab", "--a-b", "--B"});
    for (const std::string name : {"B", "a-b", "a_b", "ab", "b"}) {
        EXPECT_EQ(unknownLong(parser), "Unknown option '--" + name + "'");
        ask(parser, name);
    }
    EXPECT_NO_THROW(parser.check());
}

TEST(ParsingCheck, ReportsAnOptionOnceAndWithoutItsValue) {
    TOParsing parser = parse({"--foo=secret", "--foo=other"});
    EXPECT_EQ(unknownLong(parser), "Unknown option '--foo'");
}

TEST(ParsingCheck, RaisesALatestQueryThatFailedAndWasNotCleared) {
    TOParsing parser = parse({"--file", "-x"});
    const Held missing(parser, "missing");
    EXPECT_EQ(raised<TNoLOpt>([&] { parser.check(); }), "Requires long option '--missing'");
    const Held missingShort(parser, 'y');
    EXPECT_EQ(raised<TNoSOpt>([&] { parser.check(); }), "Requires short option '-y'");
    const Held bad(parser, "file");
    EXPECT_EQ(raised<TBadLOpt>([&] { parser.check(); }), "Incorrect long option '--file'");
}

TEST(ParsingCheck, RaisesTheLatestFailureEvenIfItsReleaseDidBefore) {
    TOParsing parser = parse({});
    EXPECT_THROW(ask(parser, "missing"), TNoLOpt);
    EXPECT_EQ(raised<TNoLOpt>([&] { parser.check(); }), "Requires long option '--missing'");
}

TEST(ParsingCheck, RaisesAnUnsuitableValueBeforeTheUnclaimedOption) {
    TOParsing parser = parse({"--delete-file=x", "-x"});
    const Held result(parser, "delete-file", no_arg);
    EXPECT_THROW(parser.check(), TBadLOpt);
}

TEST(ParsingCheck, LeavesNothingPendingForAResultReleasedLater) {
    TOParsing parser = parse({});
    Held result(parser, "missing");
    EXPECT_THROW(parser.check(), TNoLOpt);
    EXPECT_NO_THROW(result.release());
}

TEST(ParsingCheck, OptionWithAnUnsuitableValueIsNotClaimed) {
    TOParsing parser = parse({"--file"});
    parser.exceptions(TOParsing::unknbit);
    ask(parser, "file", req_arg);
    EXPECT_EQ(unknownLong(parser), "Unknown option '--file'");
}

TEST(ParsingCheck, OptionClaimedWithOneKindStaysClaimed) {
    TOParsing parser = parse({"--file"});
    parser.exceptions(TOParsing::unknbit);
    ask(parser, "file", no_arg);
    ask(parser, "file", req_arg);
    EXPECT_NO_THROW(parser.check());
}

// Only the end of a result is silent then.
TEST(ParsingCheck, RaisesTheLatestFailureAlsoWhileAnotherExceptionUnwinds) {
    struct Checks {
        explicit Checks(TOParsing& parser) : parser_(parser) {}
        Checks(const Checks&) = delete;
        Checks& operator=(const Checks&) = delete;
        ~Checks() {
            for (std::string& error : errors_) {
                error = raised<TNoLOpt>([&] { parser_.check(); });
            }
            EXPECT_EQ(errors_[0], "Requires long option '--missing'");
            EXPECT_EQ(errors_[1], errors_[0]);
        }
        TOParsing& parser_;
        std::string errors_[2];
    };
    TOParsing parser = parse({});
    EXPECT_THROW(ask(parser, "missing"), TNoLOpt);
    const auto failing = [&] {
        const Checks checks(parser);
        throw std::logic_error("another");
    };
    EXPECT_THROW(failing(), std::logic_error);
}

// --- what a check leaves behind for the next one ---

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

TEST(ParsingSeries, StateIsGoodAfterASuccess) {
    TOParsing parser = parse({});
    parser.exceptions(TOParsing::unknbit);
    ask(parser, "missing");
    parser.check();
    EXPECT_EQ(parser.state(), TOParsing::goodbit);
    parser.exceptions(7);
    EXPECT_NO_THROW(parser.check());
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

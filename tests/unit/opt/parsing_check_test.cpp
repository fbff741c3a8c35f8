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

TEST(ParsingCheck, ReportsALongOptionThatNobodyAskedFor) {
    TOParsing parser = parse({"--file=x", "--foo"});
    EXPECT_NO_THROW(ask(parser, "file"));
    EXPECT_EQ(unknownLong(parser), "Unknown option '--foo'");
}

TEST(ParsingCheck, ReportsALetterOfAGroupThatNobodyAskedFor) {
    TOParsing parser = parse({"-hx"});
    ask(parser, 'h');
    EXPECT_EQ(unknownShort(parser), "Unknown option '-x'");
}

TEST(ParsingCheck, WithoutAnyQueryReportsAnOption) {
    TOParsing parser = parse({"--foo"});
    EXPECT_EQ(unknownLong(parser), "Unknown option '--foo'");
    TOParsing other = parse({"-x"});
    EXPECT_EQ(unknownShort(other), "Unknown option '-x'");
}

TEST(ParsingCheck, SucceedsWhenAllOptionsWereClaimed) {
    TOParsing parser = parse({"--file=x", "-hx", "--foo"});
    ask(parser, "file");
    ask(parser, "foo");
    ask(parser, 'x');
    ask(parser, 'h');
    EXPECT_NO_THROW(parser.check());
}

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

TEST(ParsingCheck, ReportsShortOptionsBeforeLongOnes) {
    TOParsing parser = parse({"--foo", "-x"});
    EXPECT_EQ(unknownShort(parser), "Unknown option '-x'");
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

TEST(ParsingCheck, DoesNotReportAnEarlierMissThatALaterQueryCovered) {
    TOParsing parser = parse({"--file"});
    const Held missing(parser, "missing");
    const Held latest(parser, "file", no_arg);
    EXPECT_NO_THROW(parser.check());
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

}  // namespace

// The parser's errors: their texts, what they carry, and how long that lives.
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "tests/unit/error/live_blocks.h"
#include "tests/unit/opt/command_line.h"
#include "zarnic/opt/parsing.h"

namespace {

using test::ask;
using test::Held;
using test::live_at_latest_request;
using test::live_blocks;
using test::parse;
using zarnic::TError;
using zarnic::opt::no_arg;
using zarnic::opt::req_arg;
using zarnic::opt::TOParsing;
using zarnic::opt::TOpts;
using TBadLOpt = TOParsing::TBadLOpt;
using TNoLOpt = TOParsing::TNoLOpt;
using TNoSOpt = TOParsing::TNoSOpt;
using TPError = TOParsing::TPError;
using TUnknLOpt = TOParsing::TUnknLOpt;
using TUnknSOpt = TOParsing::TUnknSOpt;

static_assert(std::is_base_of_v<TError, TPError> && sizeof(TPError) == sizeof(TError));
static_assert(std::is_base_of_v<TPError, TNoSOpt> && std::is_base_of_v<TPError, TNoLOpt>);
static_assert(std::is_base_of_v<TPError, TBadLOpt> && std::is_base_of_v<TPError, TUnknSOpt>);
static_assert(std::is_base_of_v<TPError, TUnknLOpt>);
static_assert(
    std::is_same_v<decltype(std::declval<TBadLOpt>().entry()), const TOpts::LongEntry&>);
static_assert(
    std::is_same_v<decltype(std::declval<TUnknSOpt>().entry()), const TOpts::ShortEntry&>);
static_assert(
    std::is_same_v<decltype(std::declval<TUnknLOpt>().entry()), const TOpts::LongEntry&>);

constexpr int many = 1000;

// A command line of so many heap blocks that one cannot overlook whether it is still there.
std::vector<std::string> manyArguments(std::vector<std::string> arguments) {
    arguments.resize(many, std::string(100, 'p'));
    return arguments;
}

// The Error that `body` throws, kept beyond its handler.
template <class Error, class Body>
std::optional<Error> caught(const Body& body) {
    try {
        body();
    } catch (const Error& error) {
        return error;
    }
    return std::nullopt;
}

TEST(ParsingErrors, TextOfAMissingShortOptionHoldsItsLetterWhateverByteItIs) {
    for (int byte = 0; byte < 256; ++byte) {
        const char letter = static_cast<char>(byte);
        const TNoSOpt error(letter);
        EXPECT_EQ(error.message(), std::string("Requires short option '-") + letter + "'");
        EXPECT_EQ(error.letter(), letter);
    }
}

TEST(ParsingErrors, TextOfAMissingLongOptionHoldsItsName) {
    for (const std::string& name :
         {std::string("file"), std::string(), std::string("a\0b", 3), std::string("a'b")}) {
        const TNoLOpt error(name);
        EXPECT_EQ(error.message(), "Requires long option '--" + name + "'");
        EXPECT_EQ(error.name(), name);
    }
}

TEST(ParsingErrors, TextsAboutGivenOptionsHoldTheNameAndNotTheValue) {
    const TOParsing parser = parse({"--foo=bar", "-x"});
    const TOpts& options = parser.options();
    EXPECT_EQ(TBadLOpt(options, *options.findLong("foo")).message(),
              "Incorrect long option '--foo'");
    EXPECT_EQ(TUnknLOpt(options, *options.findLong("foo")).message(), "Unknown option '--foo'");
    EXPECT_EQ(TUnknSOpt(options, *options.findShort('x')).message(), "Unknown option '-x'");
}

TEST(ParsingErrors, WhatIsTheMessage) {
    EXPECT_STREQ(TNoSOpt('x').what(), "Requires short option '-x'");
    EXPECT_STREQ(TNoLOpt("file").what(), "Requires long option '--file'");
}

TEST(ParsingErrors, MissingOptionsAreCarriedByLetterAndByName) {
    TOParsing parser = parse({});
    const auto noShort = caught<TNoSOpt>([&] { ask(parser, 'x'); });
    ASSERT_TRUE(noShort.has_value());
    EXPECT_EQ(noShort->letter(), 'x');
    const auto noLong = caught<TNoLOpt>([&] { ask(parser, "file"); });
    ASSERT_TRUE(noLong.has_value());
    EXPECT_EQ(noLong->name(), "file");
}

TEST(ParsingErrors, UnsuitableOptionIsCarriedAsItsEntry) {
    TOParsing parser = parse({"--file=a"});
    const auto error = caught<TBadLOpt>([&] { ask(parser, "file", no_arg); });
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(&error->entry(), parser.options().findLong("file"));
}

TEST(ParsingErrors, UnknownOptionsAreCarriedAsTheirEntries) {
    TOParsing parser = parse({"--file=a", "-x"});
    const auto unknownShort = caught<TUnknSOpt>([&] { parser.check(); });
    ASSERT_TRUE(unknownShort.has_value());
    EXPECT_EQ(&unknownShort->entry(), parser.options().findShort('x'));
    ask(parser, 'x');
    const auto unknownLong = caught<TUnknLOpt>([&] { parser.check(); });
    ASSERT_TRUE(unknownLong.has_value());
    EXPECT_EQ(&unknownLong->entry(), parser.options().findLong("file"));
}

TEST(ParsingErrors, AllAreCaughtAsTheBaseOfTheFamily) {
    TOParsing parser = parse({"--file", "-x"});
    EXPECT_THROW(ask(parser, 'y'), TPError);
    EXPECT_THROW(ask(parser, "missing"), TPError);
    EXPECT_THROW(ask(parser, "file", req_arg), TPError);
    parser.clear();
    EXPECT_THROW(parser.check(), TPError);
    ask(parser, 'x');
    EXPECT_THROW(parser.check(), TError);
}

// In the three below the result of the throwing query is the last holder. The latest request
// for memory is that of the error's text.
TEST(ParserLifetime, MissingLongOptionFreesTheParserBeforeTheErrorIsMade) {
    const long before = live_blocks;
    std::optional<TOParsing> parser(parse(manyArguments({})));
    Held result(*parser, "missing");
    parser.reset();
    EXPECT_GT(live_blocks, before + many);
    try {
        result.release();
        FAIL() << "it returned";
    } catch (const TNoLOpt& error) {
        EXPECT_LT(live_at_latest_request, before + 20);
        EXPECT_LT(live_blocks, before + 20);
        EXPECT_EQ(error.name(), "missing");
    }
}

TEST(ParserLifetime, MissingShortOptionFreesTheParserBeforeTheErrorIsMade) {
    const long before = live_blocks;
    std::optional<TOParsing> parser(parse(manyArguments({})));
    Held result(*parser, 'x');
    parser.reset();
    EXPECT_GT(live_blocks, before + many);
    try {
        result.release();
        FAIL() << "it returned";
    } catch (const TNoSOpt& error) {
        EXPECT_LT(live_at_latest_request, before + 20);
        EXPECT_LT(live_blocks, before + 20);
        EXPECT_EQ(error.letter(), 'x');
    }
}

// The claims belong to the parser and not to the command line that the error keeps.
TEST(ParserLifetime, ErrorAboutAnUnsuitableOptionKeepsNoMoreThanTheCommandLine) {
    std::optional<TOParsing> parser(parse({"--bad=x", "--claimed"}));
    ask(*parser, "claimed");
    Held result(*parser, "bad", no_arg);
    parser.reset();
    const long with_parser = live_blocks;
    try {
        result.release();
        FAIL() << "it returned";
    } catch (const TBadLOpt& error) {
        EXPECT_LT(live_at_latest_request, with_parser);
        EXPECT_LT(live_blocks, with_parser);
        EXPECT_EQ(error.entry().value, "x");
    }
}

TEST(ParserLifetime, ErrorAboutAnUnsuitableOptionKeepsItsEntryAndThenFreesIt) {
    const long before = live_blocks;
    {
        std::optional<TOParsing> parser(parse(manyArguments({"--file=/tmp/a"})));
        Held result(*parser, "file", no_arg);
        parser.reset();
        const auto error = caught<TBadLOpt>([&] { result.release(); });
        ASSERT_TRUE(error.has_value());
        EXPECT_EQ(error->entry().name, "file");
        EXPECT_EQ(error->entry().value, "/tmp/a");
        EXPECT_EQ(*error->entry().argument, "--file=/tmp/a");
    }
    EXPECT_EQ(live_blocks, before);
}

TEST(ParserLifetime, ErrorsAboutUnknownOptionsKeepTheirEntries) {
    const long before = live_blocks;
    {
        const auto unknownLong = caught<TUnknLOpt>([] { parse({"--file=/tmp/a"}).check(); });
        const auto unknownShort = caught<TUnknSOpt>([] { parse({"-x"}).check(); });
        ASSERT_TRUE(unknownLong.has_value() && unknownShort.has_value());
        EXPECT_EQ(unknownLong->entry().value, "/tmp/a");
        EXPECT_EQ(*unknownLong->entry().argument, "--file=/tmp/a");
        EXPECT_EQ(unknownShort->entry().letter, 'x');
        EXPECT_EQ(*unknownShort->entry().argument, "-x");
    }
    EXPECT_EQ(live_blocks, before);
}

TEST(ParserLifetime, LastHandleFreesTheState) {
    const long before = live_blocks;
    {
        TOParsing first = parse(manyArguments({"--file=x"}));
        const long one = live_blocks;
        TOParsing second = parse(manyArguments({}));
        second = first;
        EXPECT_EQ(live_blocks, one);
    }
    EXPECT_EQ(live_blocks, before);
}

}  // namespace

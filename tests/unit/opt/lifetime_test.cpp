// How long command lines, parsers and what their errors carry live.

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tests/unit/error/live_blocks.h"
#include "tests/unit/opt/command_line.h"
#include "zarnic/opt/parsing.h"

namespace {

using test::live_at_latest_request;
using test::live_blocks;
using test::parse;
using zarnic::opt::no_arg;
using zarnic::opt::req_arg;
using zarnic::opt::TOParsing;
using zarnic::opt::TOpts;
using Strings = std::vector<std::string>;
using TBadLOpt = TOParsing::TBadLOpt;
using TNoLOpt = TOParsing::TNoLOpt;
using TNoSOpt = TOParsing::TNoSOpt;
using TUnknLOpt = TOParsing::TUnknLOpt;
using TUnknSOpt = TOParsing::TUnknSOpt;

constexpr int many = 1000;

TOpts split(const Strings& arguments) { return parse(arguments).options(); }

// Names n_, n_a, n_aa and so on: so many heap blocks that one cannot overlook whether they are
// still there, and many times more than any first capacity.
Strings manyOptions() {
    Strings arguments = {"--file=/tmp/a"};
    for (std::size_t i = 1; i < many; ++i) {
        arguments.push_back("--n_" + std::string(i, 'a') + "=" + std::to_string(i));
    }
    return arguments;
}

void expectEntriesInArguments(const TOpts& options) {
    ASSERT_EQ(options.longOptions().size(), static_cast<std::size_t>(many));
    for (const auto& [name, entry] : options.longOptions()) {
        const std::size_t index = name == "file" ? 0 : name.size() - 2;
        ASSERT_EQ(entry.argument, &options.arguments()[index]);
        ASSERT_EQ(*entry.argument, "--" + name + "=" + entry.value);
    }
}

TEST(OptionsLifetime, PositionsPointIntoTheListHoweverLongItIsAndWhoeverHoldsIt) {
    const long before = live_blocks;
    {
        std::optional<TOpts> first(split(manyOptions()));
        expectEntriesInArguments(*first);
        const long both = live_blocks;
        const TOpts second(*first);
        EXPECT_EQ(live_blocks, both);
        EXPECT_EQ(&second.arguments(), &first->arguments());
        first.reset();
        EXPECT_EQ(live_blocks, both);
        expectEntriesInArguments(second);
    }
    EXPECT_EQ(live_blocks, before);
}

TEST(OptionsLifetime, IndexErrorHoldsTheCommandLineAlive) {
    try {
        (void)split(manyOptions()).argument(many);
        FAIL() << "it returned";
    } catch (const TOpts::TOptsError& error) {
        expectEntriesInArguments(error.options());
    }
}

// A result that is the last holder of its parser; it is on the heap because its end throws.
template <class Query>
const TOParsing::TResult* lastHolder(const Strings& arguments, const Query& query) {
    TOParsing parser = parse(arguments);
    return new TOParsing::TResult(query(parser));
}

// The latest request for memory is that of the error's text.
template <class Error, class Query>
void expectFreedBeforeTheErrorIsMade(const Query& query) {
    const long before = live_blocks;
    const TOParsing::TResult* const result = lastHolder(manyOptions(), query);
    EXPECT_GT(live_blocks, before + many);
    try {
        delete result;
        FAIL() << "it returned";
    } catch (const Error&) {
        EXPECT_LT(live_at_latest_request, before + 20);
        EXPECT_LT(live_blocks, before + 20);
    }
}

TEST(ParserLifetime, MissingOptionFreesTheParserBeforeTheErrorIsMade) {
    expectFreedBeforeTheErrorIsMade<TNoLOpt>(
        [](TOParsing& parser) { return parser.lopt("missing", req_arg); });
    expectFreedBeforeTheErrorIsMade<TNoSOpt>(
        [](TOParsing& parser) { return parser.sopt('x'); });
}

// The claims belong to the parser and not to the command line that the error keeps.
TEST(ParserLifetime, ErrorAboutAnUnsuitableOptionKeepsNoMoreThanTheCommandLine) {
    const TOParsing::TResult* const result =
        lastHolder({"--bad=x", "--claimed"}, [](TOParsing& parser) {
            parser.lopt("claimed", no_arg);
            return parser.lopt("bad", no_arg);
        });
    const long with_parser = live_blocks;
    try {
        delete result;
        FAIL() << "it returned";
    } catch (const TBadLOpt& error) {
        EXPECT_LT(live_at_latest_request, with_parser);
        EXPECT_LT(live_blocks, with_parser);
        EXPECT_EQ(error.entry().value, "x");
    }
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

TEST(ParserLifetime, ErrorsKeepTheirEntriesAndThenFreeThem) {
    const long before = live_blocks;
    {
        const auto bad = caught<TBadLOpt>([] { parse(manyOptions()).lopt("file", no_arg); });
        const auto unknown = caught<TUnknLOpt>([] { parse(manyOptions()).check(); });
        const auto letter = caught<TUnknSOpt>([] { parse({"-x"}).check(); });
        ASSERT_TRUE(bad.has_value() && unknown.has_value() && letter.has_value());
        EXPECT_EQ(*bad->entry().argument, "--file=/tmp/a");
        EXPECT_EQ(unknown->entry().value, "/tmp/a");
        EXPECT_EQ(*unknown->entry().argument, "--file=/tmp/a");
        EXPECT_EQ(*letter->entry().argument, "-x");
    }
    EXPECT_EQ(live_blocks, before);
}

}  // namespace

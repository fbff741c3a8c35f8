#include "zarnic/opt/parsing.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <type_traits>
#include <vector>

#include "tests/unit/opt/command_line.h"

namespace {

using test::ask;
using test::CommandLine;
using test::Held;
using test::parse;
using test::raised;
using zarnic::opt::no_arg;
using zarnic::opt::opt_arg;
using zarnic::opt::req_arg;
using zarnic::opt::TOParsing;
using TResult = TOParsing::TResult;
template <class Target>
concept Extractable = requires(const TResult& result, Target target) {
    result >> target;
};

static_assert(std::is_convertible_v<TResult, bool> && Extractable<std::string&>);
static_assert(!Extractable<int&> && !Extractable<int> && !Extractable<const std::string&>);

static_assert(no_arg == 0 && opt_arg == 1 && req_arg == 2);
static_assert(std::is_same_v<decltype(no_arg), const int>);
static_assert(std::is_same_v<decltype(opt_arg), const int>);
static_assert(std::is_same_v<decltype(req_arg), const int>);
static_assert(TOParsing::goodbit == 0 && TOParsing::nobit == 1);
static_assert(TOParsing::unknbit == 2 && TOParsing::badbit == 4);
static_assert(std::is_same_v<decltype(TOParsing::goodbit), const std::uint64_t>);
static_assert(std::is_same_v<decltype(TOParsing::badbit), const std::uint64_t>);

static_assert(!std::is_copy_constructible_v<TResult> && !std::is_move_constructible_v<TResult>);
static_assert(!std::is_copy_assignable_v<TResult> && !std::is_move_assignable_v<TResult>);
static_assert(std::is_destructible_v<TResult> && !std::is_nothrow_destructible_v<TResult>);

// Asks for `name`, forgives any outcome, and tells whether it was found.
bool found(TOParsing& parser, const std::string& name, int kind) {
    const TResult result = parser.lopt(name, kind);
    parser.clear();
    return result;
}

TEST(Parsing, StartsGoodWithAllBitsOfTheMask) {
    const TOParsing parser = parse({"--a", "-x"});
    EXPECT_EQ(parser.state(), TOParsing::goodbit);
    EXPECT_EQ(parser.exceptions(), 7U);
}

TEST(Parsing, HoldsTheSplitCommandLine) {
    const TOParsing parser = parse({"--a=1", "-x", "plain"});
    EXPECT_EQ(parser.options().programName(), "program");
    EXPECT_EQ(parser.options().arguments(), (std::vector<std::string>{"--a=1", "-x", "plain"}));
}

TEST(Parsing, OfNoArgumentsFindsNothing) {
    for (const int argc : {-1, 0, 1}) {
        const CommandLine line({"--file=x", "-h"});
        TOParsing parser(line.argv(), argc);
        EXPECT_FALSE(found(parser, "file", opt_arg));
        EXPECT_EQ(raised<TOParsing::TNoSOpt>([&] { ask(parser, 'h'); }),
                  "Requires short option '-h'");
    }
}

TEST(Parsing, OfANullProgramNameFindsNothing) {
    const char* const argv[] = {nullptr, "--file=x", nullptr};
    TOParsing parser(argv, 2);
    EXPECT_FALSE(found(parser, "file", opt_arg));
}

// Every kind against every form of value. Kinds that have no name take any value or none.
TEST(Parsing, KindDecidesWhichValuesSuit) {
    struct Form {
        std::string argument;
        bool hasValue;
    };
    for (const Form& form :
         {Form{"--file", false}, Form{"--file=", false}, Form{"--file=/tmp/a", true},
          Form{"--file==", true}, Form{"--file= ", true}}) {
        for (int kind = -3; kind <= 5; ++kind) {
            const bool suits = kind == 0 ? !form.hasValue : (kind != 2 || form.hasValue);
            TOParsing parser = parse({form.argument});
            const Held result(parser, "file", kind);
            EXPECT_EQ(static_cast<bool>(*result), suits) << form.argument << kind;
            EXPECT_EQ(parser.state(), suits ? 0U : 4U) << form.argument << kind;
            parser.clear();
        }
    }
}

TEST(Parsing, MissingLongOptionIsMissingForEveryKind) {
    for (int kind = -3; kind <= 5; ++kind) {
        TOParsing parser = parse({"--other=x"});
        const Held result(parser, "file", kind);
        EXPECT_FALSE(static_cast<bool>(*result)) << kind;
        EXPECT_EQ(parser.state(), TOParsing::nobit) << kind;
        parser.clear();
    }
}

TEST(Parsing, EveryByteIsFoundAsAShortOptionExactlyWhenItWasGiven) {
    TOParsing parser = parse({"-hx", "-Z_", "--b"});
    const std::string given = "hxZ_";
    for (int byte = 0; byte < 256; ++byte) {
        const char letter = static_cast<char>(byte);
        const Held result(parser, letter);
        const bool expected = given.find(letter) != std::string::npos;
        EXPECT_EQ(static_cast<bool>(*result), expected) << byte;
        EXPECT_EQ(parser.state(), expected ? TOParsing::goodbit : TOParsing::nobit) << byte;
        parser.clear();
    }
}

TEST(Parsing, LongNamesMatchExactlyAndWithTheirCase) {
    TOParsing parser = parse({"--file=x", "-h"});
    for (const char* const name : {"File", "fil", "file=", "filex", "--file", "", "h"}) {
        EXPECT_FALSE(found(parser, name, opt_arg)) << name;
    }
    EXPECT_TRUE(found(parser, "file", opt_arg));
}

TEST(Parsing, EachLongQueryStartsFromTheGoodState) {
    TOParsing parser = parse({"--file=x"});
    parser.exceptions(TOParsing::goodbit);
    ask(parser, "missing");
    EXPECT_EQ(parser.state(), TOParsing::nobit);
    ask(parser, "file", no_arg);
    EXPECT_EQ(parser.state(), TOParsing::badbit);
    ask(parser, "file", req_arg);
    EXPECT_EQ(parser.state(), TOParsing::goodbit);
}

TEST(Parsing, EachShortQueryStartsFromTheGoodState) {
    TOParsing parser = parse({"--file=x", "-h"});
    parser.exceptions(TOParsing::goodbit);
    ask(parser, "file", no_arg);
    ask(parser, 'x');
    EXPECT_EQ(parser.state(), TOParsing::nobit);
    ask(parser, 'h');
    EXPECT_EQ(parser.state(), TOParsing::goodbit);
}

TEST(Parsing, ValueIsExtractedWhenFound) {
    TOParsing parser = parse({"--file=/tmp/a"});
    std::string target = "before";
    parser.lopt("file", req_arg) >> target;
    EXPECT_EQ(target, "/tmp/a");
}

TEST(Parsing, EmptyValueIsExtractedToo) {
    TOParsing parser = parse({"--file"});
    std::string target = "before";
    parser.lopt("file", opt_arg) >> target;
    EXPECT_EQ(target, "");
}

TEST(Parsing, TargetIsLeftAloneWhenTheOptionIsMissing) {
    TOParsing parser = parse({});
    std::string target = "before";
    const Held result(parser, "file");
    *result >> target;
    parser.clear();
    EXPECT_EQ(target, "before");
}

TEST(Parsing, TargetIsLeftAloneWhenTheValueDoesNotSuit) {
    TOParsing parser = parse({"--file=x"});
    std::string target = "before";
    const Held result(parser, "file", no_arg);
    *result >> target;
    parser.clear();
    EXPECT_EQ(target, "before");
}

TEST(Parsing, ShortOptionHasTheEmptyValue) {
    TOParsing parser = parse({"-h"});
    std::string target = "before";
    parser.sopt('h') >> target;
    EXPECT_EQ(target, "");
}

TEST(Parsing, TargetIsLeftAloneWhenTheShortOptionIsMissing) {
    TOParsing parser = parse({});
    std::string target = "before";
    const Held result(parser, 'h');
    *result >> target;
    parser.clear();
    EXPECT_EQ(target, "before");
}

TEST(Parsing, ExtractionReturnsTheResultForUseInACondition) {
    TOParsing parser = parse({"--file=x"});
    std::string target;
    const Held result(parser, "file");
    EXPECT_EQ(&(*result >> target), &*result);
    if (parser.lopt("file", req_arg) >> target) {
        target += " found";
    }
    EXPECT_EQ(target, "x found");
}

TEST(Parsing, ResultStaysWhatItWasThroughLaterQueries) {
    TOParsing parser = parse({"--file=x"});
    const Held first(parser, "file");
    const Held second(parser, "missing");
    parser.clear();
    std::string target;
    *first >> target;
    EXPECT_TRUE(static_cast<bool>(*first));
    EXPECT_EQ(target, "x");
}

TEST(Parsing, CopiesSeeAndChangeTheSameState) {
    TOParsing first = parse({"--file=x"});
    TOParsing second(first);
    EXPECT_EQ(&second.options().arguments(), &first.options().arguments());
    const Held result(first, "missing");
    EXPECT_EQ(second.state(), TOParsing::nobit);
    second.clear();
    EXPECT_EQ(first.state(), TOParsing::goodbit);
    second.exceptions(TOParsing::badbit);
    EXPECT_EQ(first.exceptions(), TOParsing::badbit);
}

TEST(Parsing, ClaimThroughOneCopyCountsForTheOthers) {
    TOParsing first = parse({"--file=x", "-h"});
    TOParsing second(first);
    ask(first, "file");
    ask(second, 'h');
    EXPECT_NO_THROW(first.check());
}

TEST(Parsing, AssignmentSharesTheState) {
    TOParsing first = parse({"--file=x"});
    TOParsing second = parse({"--other"});
    second = first;
    EXPECT_TRUE(found(second, "file", req_arg));
    EXPECT_NO_THROW(first.check());
}

}  // namespace

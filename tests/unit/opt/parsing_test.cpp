// Queries, their release and the final check: scripts (tests/models/options_script.h) with what
// they come to by hand, and all short ones against the model.

#include "zarnic/opt/parsing.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <sstream>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "tests/models/options_line.h"
#include "tests/models/options_script.h"

namespace {

using zarnic::opt::no_arg;
using zarnic::opt::opt_arg;
using zarnic::opt::req_arg;
using zarnic::opt::TOParsing;
using TResult = TOParsing::TResult;
using Words = std::vector<std::string>;

template <class Target>
concept Extractable = requires(const TOParsing::TResult& result, Target target) {
    result >> std::forward<Target>(target);
};

static_assert(std::is_convertible_v<TResult, bool> && !std::is_convertible_v<TResult, int>);
static_assert(!std::is_assignable_v<std::string&, TResult> && Extractable<std::string&>);
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

Words wordsOf(const std::string& text) {
    std::istringstream stream(text);
    Words words;
    for (std::string word; stream >> word;) {
        words.push_back(word);
    }
    return words;
}

class Line {
  public:
    explicit Line(const std::string& arguments) : texts_(wordsOf("program " + arguments)) {
        for (const std::string& text : texts_) {
            argv_.push_back(text.c_str());
        }
        argv_.push_back(nullptr);
    }
    Line(const Line&) = delete;
    Line& operator=(const Line&) = delete;

    int argc() const { return static_cast<int>(texts_.size()); }
    TOParsing parser() const { return {argv_.data(), argc()}; }
    model::CommandLine model() const { return model::split(argv_.data(), argc()); }

  private:
    Words texts_;
    std::vector<const char*> argv_;
};

void expectSame(const script::Both& both, const std::string& where) {
    EXPECT_EQ(both.product, both.model) << where;
}

// What it raises and reads on the product, whose every step must be as the model's.
Words saidBy(const Line& line, const Words& words) {
    script::Script run(line.parser(), line.model());
    Words said;
    for (const std::string& word : words) {
        const script::Both one = run.perform(word);
        expectSame(one, word);
        expectSame(run.standing(), word);
        if (!one.product.empty()) {
            said.push_back(one.product);
        }
    }
    expectSame(run.finish(), "the last releases");
    return said;
}

void expectSaid(const std::string& line, const std::string& script, const Words& said) {
    EXPECT_EQ(saidBy(Line(line), wordsOf(script)), said) << line << ": " << script;
}

// --- by hand ---

TEST(Parsing, StartsGoodWithAllBitsOfTheMask) {
    const TOParsing parser = Line("--a -x").parser();
    EXPECT_EQ(parser.state(), TOParsing::goodbit);
    EXPECT_EQ(parser.exceptions(), 7U);
    EXPECT_EQ(parser.options().programName(), "program");
}

// Every kind against every form of value. Kinds that have no name take any value or none.
TEST(Parsing, KindDecidesWhichValuesSuit) {
    const std::pair<const char*, bool> forms[] = {
        {"--file", false}, {"--file=", false}, {"--file=v", true}, {"--file==", true}};
    for (const auto& [form, has_value] : forms) {
        for (int kind = -3; kind <= 5; ++kind) {
            const bool suits = kind == 0 ? !has_value : (kind != 2 || has_value);
            TOParsing parser = Line(form).parser();
            EXPECT_EQ(bool{parser.optionalLong("file", kind)}, suits);
            parser.exceptions(0);
            EXPECT_EQ(bool{parser.lopt("file", kind)}, suits) << form << kind;
            EXPECT_EQ(parser.state(), suits ? TOParsing::goodbit : TOParsing::badbit);
        }
    }
}

TEST(Parsing, ExtractionIsACondition) {
    TOParsing parser = Line("--file=x").parser();
    std::string target;
    if (parser.lopt("file", req_arg) >> target) {
        target += " found";
    }
    EXPECT_EQ(target, "x found");
}

TEST(Parsing, ValueIsReadWhenItIsThereAndElseTheTargetStays) {
    expectSaid("--file=/tmp/a", "l2file v", {"/tmp/a"});
    expectSaid("-h --file", "sh v r ph v r l1file v r", {});  // empty, but not untouched
    expectSaid("--file=x", "l0file v c", {"untouched"});
    expectSaid("--file=x", "l2file l2missing c v0 v1", {"x", "untouched"});
    expectSaid("--user=ann --shell= --verbose=much",
               "o2user v0 o2shell v1 o0verbose v2 o2missing v3 pq k",
               {"ann", "untouched", "untouched", "untouched"});
}

const std::string no_file = "Requires long option '--file'";
const std::string bad_file = "Incorrect long option '--file'";
const std::string unknown_file = "Unknown option '--file'";

TEST(ResultRelease, QueryItselfRaisesNothing) {
    expectSaid("--file", "l2missing sx l2file c", {});
}

TEST(ResultRelease, RaisesTheErrorOfItsKind) {
    expectSaid("", "l2file r sx r l1file r", {no_file, "Requires short option '-x'", no_file});
    expectSaid("--a=x --file", "l0a r l2file r", {"Incorrect long option '--a'", bad_file});
}

TEST(ResultRelease, WhicheverResultIsReleasedFirstChecksTheLatestQuery) {
    expectSaid("", "l2first l2file r0 r0", {no_file});
    expectSaid("--found", "l2file l1found r1 r0", {});
}

TEST(ResultRelease, NeverThrowsWhileAnotherExceptionIsUnwinding) {
    expectSaid("--file", "l2missing u0 l2file u0", {});
    expectSaid("", "l2first l2second u1 r0", {});  // and ends what is pending
}

TEST(ResultRelease, ThrowsInsideAHandlerWhereNothingUnwindsAnyMore) {
    TOParsing parser = Line("").parser();
    try {
        throw std::logic_error("another");
    } catch (const std::logic_error&) {
        EXPECT_THROW(parser.lopt("missing", req_arg), TOParsing::TNoLOpt);
    }
}

TEST(ResultRelease, ResultKeepsTheParserAliveAndStillChecks) {
    expectSaid("--a=x", "l2a l2file o2a x v0 v2 r0 r0", {"x", "x", no_file});
}

TEST(ParsingClear, MakesAMissingOptionOptional) {
    expectSaid("", "l2file c v r k sx c r k", {"untouched"});
}

TEST(ParsingClear, IgnoresAnUnsuitableOptionAlsoInTheFinalCheck) {
    expectSaid("--no-daemon", "l2no-daemon c r k", {});
    expectSaid("--no-daemon=", "m2 l2no-daemon c r k", {});
}

TEST(ParsingClear, ClaimsTheOptionOfTheLatestQueryOnly) {
    expectSaid("--a --file", "l2file l2a c k", {unknown_file});
    expectSaid("--file", "l2file l2missing c k", {unknown_file});
    expectSaid("--file --found", "l2file l1found c k", {unknown_file});
    expectSaid("--a --file", "l2a c c r k", {unknown_file});
}

TEST(ParsingClear, ClaimsNothingAfterTheResultWasReleased) {
    expectSaid("--file", "l2file r c k", {bad_file, unknown_file});
    expectSaid("--file", "l2file k c k", {bad_file, unknown_file});
}

TEST(ParsingCheck, ReportsTheFirstUnknownOptionShortOnesFirstAndInOrder) {
    expectSaid("plain -- -9 --a1", "k", {});
    expectSaid("--file=secret --file=other", "k", {unknown_file});
    expectSaid("--b --a_b -zb", "k sb k sz k l1a_b k l1b k",
               {"Unknown option '-b'", "Unknown option '-z'", "Unknown option '--a_b'",
                "Unknown option '--b'"});
    expectSaid("-vx --a", "pv k px o1other k", {"Unknown option '-x'", "Unknown option '--a'"});
}

TEST(ParsingCheck, RaisesTheLatestQueryAgain) {
    expectSaid("-x", "l2file k k r", {no_file, no_file});
    expectSaid("-x", "l2file r k", {no_file, no_file});
    expectSaid("-x", "l2file K r K", {no_file, no_file});  // also while unwinding
    expectSaid("--file=x", "l0file o1a pv k", {bad_file});
}

TEST(ParsingCheck, OptionIsClaimedByAnyQueryThatItSuited) {
    expectSaid("--file", "m2 l2file k l0file l2file k", {unknown_file});
}

TEST(ParsingCheck, StartsANewSeriesOnSuccessOnly) {
    expectSaid("--file -x", "l1file sx k k k l1file k sx k", {"Unknown option '-x'"});
    expectSaid("--file", "o1file k o1none k", {unknown_file});
    expectSaid("-x --a --file", "m2 sx l1a l1missing k l1file k", {unknown_file});
}

TEST(ParsingMask, ErrorsAreRaisedExactlyWhenItHasTheirBit) {
    for (int mask = 0; mask < 8; ++mask) {
        const std::string set = "m" + std::to_string(mask) + " ";
        const auto raised = [&](const std::string& text, int bit) {
            return (mask & bit) != 0 ? Words{text} : Words{};
        };
        expectSaid("", set + "l2file r", raised(no_file, TOParsing::nobit));
        expectSaid("", set + "sx m7 " + set + "k",
                   raised("Requires short option '-x'", TOParsing::nobit));
        expectSaid("--file", set + "l2file r", raised(bad_file, TOParsing::badbit));
        expectSaid("--file", set + "k", raised(unknown_file, TOParsing::unknbit));
    }
}

TEST(ParsingMask, BitsBeyondTheThreeMeanNothing) {
    TOParsing parser = Line("--full=x").parser();
    parser.exceptions(~std::uint64_t{7});
    EXPECT_NO_THROW(parser.lopt("missing", req_arg));
    EXPECT_NO_THROW(parser.lopt("full", no_arg));
    EXPECT_NO_THROW(parser.check());
}

// --- against the model ---

// Each ends with a release of all that is left: what is pending shows.
TEST(ParsingScripts, AllShortOnesAreAsTheModel) {
    const Line line("-x --bad --full=v");
    const Words alphabet = {"l2bad", "l2full", "l2none", "o2bad", "o1none", "sx", "sy",
                            "px",    "c",      "k",      "r0",    "u0",     "m5"};
    std::vector<Words> scripts = {{}};
    for (std::size_t at = 0; at < scripts.size() && !HasFailure(); ++at) {
        const Words script = scripts[at];
        saidBy(line, script);
        for (std::size_t i = 0; script.size() < 4 && i < alphabet.size(); ++i) {
            scripts.push_back(script);
            scripts.back().push_back(alphabet[i]);
        }
    }
    EXPECT_EQ(scripts.size(), 1U + 13 + 169 + 2197 + 28561);
}

TEST(ParsingScripts, EveryByteIsFoundAsAShortOptionExactlyWhenItWasGiven) {
    for (int byte = 1; byte < 256; ++byte) {
        saidBy(Line("-hx -Z_ --b"), {std::string("s") + static_cast<char>(byte), "r"});
    }
}

}  // namespace

// The parser's errors: their texts and what they carry.

#include <gtest/gtest.h>

#include <string>
#include <type_traits>
#include <utility>

#include "zarnic/opt/parsing.h"

namespace {

using zarnic::TError;
using zarnic::opt::no_arg;
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

const char* const command_line[] = {"program", "--foo=bar", "-x", nullptr};

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

// The address of the entry that the Error carries.
template <class Error, class Body>
const void* carriedBy(const Body& body) {
    try {
        body();
    } catch (const Error& error) {
        return &error.entry();
    }
    return nullptr;
}

TEST(ParsingErrors, GivenOptionsAreCarriedAsTheirEntries) {
    TOParsing parser(command_line, 3);
    const TOpts options = parser.options();
    EXPECT_EQ(carriedBy<TBadLOpt>([&] { parser.lopt("foo", no_arg); }),
              options.findLong("foo"));
    parser.clear();
    EXPECT_EQ(carriedBy<TUnknSOpt>([&] { parser.check(); }), options.findShort('x'));
    parser.sopt('x');
    EXPECT_EQ(carriedBy<TUnknLOpt>([&] { parser.check(); }), options.findLong("foo"));
}

}  // namespace

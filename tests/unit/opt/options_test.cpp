#include "zarnic/opt/options.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <limits>
#include <string>
#include <type_traits>
#include <vector>

#include "tests/models/options_line.h"
#include "tests/unit/opt/command_line.h"

namespace {

using zarnic::opt::TOpts;
using Strings = std::vector<std::string>;

static_assert(std::is_base_of_v<zarnic::TError, TOpts::TOptsError>);
static_assert(std::is_base_of_v<TOpts::TOptsError, TOpts::TOutOfRange>);

TOpts split(const Strings& arguments) { return test::parse(arguments).options(); }

// --- by hand: "letters; names=values", each in the order of its table ---

std::string shown(const TOpts& options) {
    std::string all;
    for (const auto& [letter, entry] : options.shortOptions()) {
        all += letter;
    }
    all += ";";
    for (const auto& [name, entry] : options.longOptions()) {
        all += " " + name + "=" + entry.value;
    }
    return all;
}

TEST(Options, AreSplitAsWrittenHere) {
    const struct {
        Strings arguments;
        std::string expected;
    } rows[] = {
        {{"plain", "-", "--", "---", "-1", "-a1", "-h-x", "--1", "--a1", "--a.b=1", "--=x"},
         ";"},
        {{"--kav-dir=/opt/kav"}, "; kav-dir=/opt/kav"},
        {{"--file"}, "; file="},
        {{"--file="}, "; file="},
        {{"--file==a=b"}, "; file==a=b"},
        {{"--file", "/tmp/a"}, "; file="},       // the next argument is no value
        {{"-hx"}, "hx;"},                        // a group
        {{"--", "-x", "--foo=1"}, "x; foo=1"},   // no end of options
        {{"--file=a", "--file=b"}, "; file=b"},  // the last occurrence wins,
        {{"--file=a", "--file"}, "; file="},     // with or without a value
        {{"--file=a", "--file="}, "; file="},
        {{"-z", "-aB_", "-A"}, "AB_az;"},  // ascending order
        {{"--b", "--a_b", "--ab", "--a-b", "--a", "--B", "--_"},
         "; B= _= a= a-b= a_b= ab= b="},  // byte by byte
    };
    for (const auto& row : rows) {
        const TOpts options = split(row.arguments);
        EXPECT_EQ(shown(options), row.expected);
        EXPECT_EQ(options.arguments(), row.arguments);
    }
}

TEST(Options, EntriesPointToTheArgumentThatGaveThemLast) {
    const TOpts options = split({"-ab", "-b", "--file=a", "--file=b", "plain"});
    const Strings& arguments = options.arguments();
    EXPECT_EQ(options.findShort('a')->argument, &arguments[0]);
    EXPECT_EQ(options.findShort('b')->argument, &arguments[1]);
    EXPECT_EQ(options.findLong("file")->argument, &arguments[3]);
}

TEST(Options, AreFoundByTheirExactNameOnly) {
    const TOpts options = split({"--file=x", "-h"});
    for (const char* const name : {"File", "fil", "filex", "--file", "file=x", "", "h"}) {
        EXPECT_EQ(options.findLong(name), nullptr) << name;
    }
    EXPECT_EQ(options.findShort('H'), nullptr);
    EXPECT_EQ(options.findShort('f'), nullptr);
}

TEST(Options, LettersAreComparedAsSigned) {
    const TOpts::SignedOrder before;
    for (int left = -128; left < 128; ++left) {
        for (int right = -128; right < 128; ++right) {
            EXPECT_EQ(before(static_cast<char>(left), static_cast<char>(right)), left < right);
        }
    }
}

// The two below count by hand, so that the model cannot be wrong along with the product.
TEST(OptionBytes, FiftyThreeBytesAreShortOptions) {
    int count = 0;
    for (int byte = 1; byte < 256; ++byte) {
        const char letter = static_cast<char>(byte);
        count += split({std::string("-") + letter}).findShort(letter) != nullptr ? 1 : 0;
    }
    EXPECT_EQ(count, 26 + 26 + 1);
}

TEST(OptionBytes, FiftyFourBytesGoOnALongName) {
    int count = 0;
    for (int byte = 1; byte < 256; ++byte) {
        const std::string name = std::string("a") + static_cast<char>(byte);
        count += split({"--" + name}).findLong(name) != nullptr ? 1 : 0;
    }
    EXPECT_EQ(count, 26 + 26 + 1 + 1);
}

// --- every byte at every place of an argument, against the model ---

void expectAsTheModel(const std::string& bytes) {
    const char* const argv[] = {"program", bytes.c_str(), nullptr};
    ASSERT_EQ(model::shown(TOpts(argv, 2)), model::shown(model::split(argv, 2)));
}

TEST(OptionBytes, EveryByteAtEveryPlace) {
    for (const char* const pattern :
         {"a", "-a", "-ab", "-_aZ", "--a", "--ab", "--aB-_c", "--a=", "--a=b", "--a-b==v-1"}) {
        for (std::size_t place = 0; pattern[place] != '\0'; ++place) {
            std::string argument = pattern;
            for (int byte = 0; byte < 256; ++byte) {
                argument[place] = static_cast<char>(byte);
                expectAsTheModel(argument);
            }
        }
    }
}

// --- what is taken from the vector ---

TEST(OptionVector, EndsAtItsCountOrItsNullPointer) {
    const char* const all[] = {"--program=x", "plain", "-a",   "--file=x",
                               nullptr,       "-b",    nullptr};
    const char* const unnamed[] = {nullptr, "--file=x", "-y", nullptr};
    const char* const empty[] = {"", "-y", nullptr};
    const std::string none = "program \n";
    const std::string whole =
        "program --program=x\nargument plain\nargument -a\nargument --file=x\n"
        "a is a= of 1\nfile is file=x of 2\n";
    for (const int argc : {0, -1, INT_MIN}) {
        EXPECT_EQ(model::shown(TOpts(all, argc)), none);
    }
    EXPECT_EQ(model::shown(TOpts(all, 1)), "program --program=x\n");
    EXPECT_EQ(model::shown(TOpts(all, 2)), "program --program=x\nargument plain\n");
    EXPECT_EQ(model::shown(TOpts(all, 4)), whole);
    EXPECT_EQ(model::shown(TOpts(all, 7)), whole);
    EXPECT_EQ(model::shown(TOpts(all)), whole);
    EXPECT_EQ(model::shown(TOpts(empty, 2)), "program \nargument -y\ny is y= of 0\n");
    EXPECT_EQ(model::shown(TOpts(unnamed, 3)), none);
    EXPECT_EQ(model::shown(TOpts(unnamed)), none);
    EXPECT_EQ(model::shown(TOpts(nullptr, 3)), none);
    EXPECT_EQ(model::shown(TOpts(nullptr)), none);
}

TEST(OptionVector, StringsAreCopied) {
    std::string program = "program";
    std::string argument = "--file=a";
    const char* const argv[] = {program.c_str(), argument.c_str(), nullptr};
    const TOpts options(argv, 2);
    const std::string before = model::shown(options);
    program.assign("changed");
    argument.assign("changed!");
    EXPECT_EQ(model::shown(options), before);
}

// --- the index accessor ---

TEST(OptionIndex, BeyondTheListIsAnErrorThatCarriesIt) {
    const TOpts options = split({"a", "--b", "-c"});
    EXPECT_EQ(&options.argument(2), &options.arguments()[2]);
    for (const std::uint64_t index : {std::uint64_t{3}, std::uint64_t{1} << 40,
                                      std::numeric_limits<std::uint64_t>::max()}) {
        try {
            (void)options.argument(index);
            FAIL() << "it returned";
        } catch (const TOpts::TOutOfRange& error) {
            EXPECT_EQ(error.message(), "Wrong index (index = " + std::to_string(index) + ")");
            EXPECT_EQ(error.index(), index);
            EXPECT_EQ(&error.options().arguments(), &options.arguments());
        }
    }
    EXPECT_THROW((void)split({}).argument(0), TOpts::TOutOfRange);
}

TEST(OptionIndex, ErrorOfTheBaseClassHasTheGivenMessage) {
    const TOpts options = split({"a"});
    const TOpts::TOptsError error("any text", options);
    EXPECT_EQ(error.message(), "any text");
    EXPECT_EQ(&error.options().arguments(), &options.arguments());
}

}  // namespace

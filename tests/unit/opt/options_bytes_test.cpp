// Every byte at every place of an argument, against a second statement of the syntax.
#include <gtest/gtest.h>

#include <cstddef>
#include <map>
#include <set>
#include <string>

#include "tests/unit/opt/command_line.h"
#include "zarnic/opt/options.h"

namespace {

using test::split;
using zarnic::opt::TOpts;

const std::string starts = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz_";

// What an argument has to be split into.
struct Expected {
    std::map<std::string, std::string> longOptions;
    std::set<char> shortOptions;
};

Expected splitByTheRule(const std::string& argument) {
    Expected expected;
    if (argument.substr(0, 2) == "--") {
        const std::string body = argument.substr(2);
        const std::size_t equals = body.find('=');
        const std::string name = body.substr(0, equals);
        const bool starting = !name.empty() && starts.find(name[0]) != std::string::npos;
        if (starting && name.find_first_not_of(starts + "-") == std::string::npos) {
            expected.longOptions[name] =
                equals == std::string::npos ? "" : body.substr(equals + 1);
        }
    } else if (argument.size() > 1 && argument[0] == '-' &&
               argument.find_first_not_of(starts, 1) == std::string::npos) {
        expected.shortOptions.insert(argument.begin() + 1, argument.end());
    }
    return expected;
}

Expected splitByTheProduct(const std::string& argument) {
    const TOpts options = split({argument});
    Expected found;
    for (const auto& [name, entry] : options.longOptions()) {
        found.longOptions[name] = entry.value;
    }
    for (const auto& [letter, entry] : options.shortOptions()) {
        found.shortOptions.insert(letter);
    }
    EXPECT_EQ(options.arguments().at(0), argument);
    return found;
}

std::string asNumbers(const std::string& text) {
    std::string numbers;
    for (const char c : text) {
        numbers += std::to_string(static_cast<unsigned char>(c)) + " ";
    }
    return numbers;
}

// An argument is a C string: it ends at a NUL byte, which is the walk's way to cut it short.
void expectTheRule(const std::string& bytes) {
    const std::string argument = bytes.c_str();
    const Expected expected = splitByTheRule(argument);
    const Expected found = splitByTheProduct(argument);
    ASSERT_EQ(found.longOptions, expected.longOptions) << asNumbers(argument);
    ASSERT_EQ(found.shortOptions, expected.shortOptions) << asNumbers(argument);
}

void walkEachPlace(const std::string& pattern) {
    for (std::size_t place = 0; place < pattern.size(); ++place) {
        std::string argument = pattern;
        for (int byte = 0; byte < 256; ++byte) {
            argument[place] = static_cast<char>(byte);
            expectTheRule(argument);
        }
    }
}

void walkPairsAfter(const std::string& leading) {
    for (int pair = 0; pair < 256 * 256; ++pair) {
        expectTheRule(leading + static_cast<char>(pair / 256) + static_cast<char>(pair % 256));
    }
}

TEST(OptionBytes, EveryByteAtEveryPlaceOfALongName) {
    walkEachPlace("--a");
    walkEachPlace("--ab");
    walkEachPlace("--aB-_c");
}

TEST(OptionBytes, EveryByteAtEveryPlaceOfALongOptionWithAValue) {
    walkEachPlace("--a=");
    walkEachPlace("--a=b");
    walkEachPlace("--a-b==v-1");
}

TEST(OptionBytes, EveryByteAtEveryPlaceOfAShortGroup) {
    walkEachPlace("-a");
    walkEachPlace("-ab");
    walkEachPlace("-_aZ");
}

TEST(OptionBytes, EveryByteAsAnArgument) { walkEachPlace("a"); }

TEST(OptionBytes, EveryPairOfBytesAfterOneDash) { walkPairsAfter("-"); }

TEST(OptionBytes, EveryPairOfBytesAfterTwoDashes) { walkPairsAfter("--"); }

// The two below count by hand, so that the rule of this file cannot be wrong along with the
// product.
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

}  // namespace

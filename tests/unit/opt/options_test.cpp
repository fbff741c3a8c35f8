#include "zarnic/opt/options.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

#include "tests/unit/opt/command_line.h"

namespace {

using test::CommandLine;
using test::split;
using zarnic::opt::TOpts;
using Strings = std::vector<std::string>;

std::string valueOf(const TOpts& options, const std::string& name) {
    const TOpts::LongEntry* const entry = options.findLong(name);
    return entry == nullptr ? "(not given)" : entry->value;
}

std::string lettersOf(const TOpts& options) {
    std::string letters;
    for (const auto& [letter, entry] : options.shortOptions()) {
        EXPECT_EQ(letter, entry.letter);
        letters += letter;
    }
    return letters;
}

Strings namesOf(const TOpts& options) {
    Strings names;
    for (const auto& [name, entry] : options.longOptions()) {
        EXPECT_EQ(name, entry.name);
        names.push_back(name);
    }
    return names;
}

void expectEmpty(const TOpts& options) {
    EXPECT_EQ(options.programName(), "");
    EXPECT_TRUE(options.arguments().empty());
    EXPECT_TRUE(options.shortOptions().empty());
    EXPECT_TRUE(options.longOptions().empty());
}

TEST(Options, LongOptionHasItsNameValueAndArgument) {
    const TOpts options = split({"plain", "--kav-dir=/opt/kav"});
    const TOpts::LongEntry* const entry = options.findLong("kav-dir");
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(entry->name, "kav-dir");
    EXPECT_EQ(entry->value, "/opt/kav");
    EXPECT_EQ(entry->argument, &options.arguments()[1]);
}

TEST(Options, ValueIsEverythingAfterTheFirstEqualsSign) {
    EXPECT_EQ(valueOf(split({"--a==b"}), "a"), "=b");
    EXPECT_EQ(valueOf(split({"--a=b=c"}), "a"), "b=c");
    EXPECT_EQ(valueOf(split({"--a= -x\n--b"}), "a"), " -x\n--b");
}

TEST(Options, LongOptionWithNothingAfterTheEqualsSignHasAnEmptyValue) {
    EXPECT_EQ(valueOf(split({"--a="}), "a"), "");
    EXPECT_EQ(valueOf(split({"--file="}), "file"), "");
}

TEST(Options, LongOptionWithoutAnEqualsSignHasAnEmptyValue) {
    EXPECT_EQ(valueOf(split({"--a"}), "a"), "");
    EXPECT_EQ(valueOf(split({"--file"}), "file"), "");
}

TEST(Options, ThreeCharactersMakeALongOption) {
    EXPECT_EQ(namesOf(split({"--x"})), Strings{"x"});
    EXPECT_EQ(namesOf(split({"--_"})), Strings{"_"});
}

TEST(Options, NameGoesOnWithLettersDashesAndUnderscores) {
    EXPECT_EQ(namesOf(split({"--_a-B_-"})), Strings{"_a-B_-"});
    EXPECT_EQ(namesOf(split({"--a-=x"})), Strings{"a-"});
}

TEST(Options, ArgumentsOutsideOfTheSyntaxArePlainAndNoErrors) {
    const Strings plain = {"--",      "-",   "---x",  "--=x",  "--9x", "--a1",
                           "--a.b=1", "-9",  "",      "-h-x",  "-h9",  "-h=x",
                           "foo",     "a=b", "--a/b", "--a b", "x-",   "-start-s"};
    const TOpts options = split(plain);
    EXPECT_EQ(options.arguments(), plain);
    EXPECT_EQ(lettersOf(options), "");
    EXPECT_EQ(namesOf(options), Strings{});
}

TEST(Options, DoubleDashDoesNotEndTheRecognitionOfOptions) {
    const TOpts options = split({"--", "-x", "--foo=1"});
    EXPECT_EQ(lettersOf(options), "x");
    EXPECT_EQ(valueOf(options, "foo"), "1");
}

TEST(Options, GroupSetsEachOfItsLetters) {
    const TOpts options = split({"plain", "-hx"});
    EXPECT_EQ(lettersOf(options), "hx");
    EXPECT_EQ(options.findShort('h')->argument, &options.arguments()[1]);
    EXPECT_EQ(options.findShort('x')->argument, &options.arguments()[1]);
}

TEST(Options, GroupWithADashInsideIsPlain) { EXPECT_EQ(lettersOf(split({"-h-x"})), ""); }

TEST(Options, GroupMayHoldUnderscoresAndRepeatedLetters) {
    EXPECT_EQ(lettersOf(split({"-_aZa"})), "Z_a");
}

TEST(Options, LongOptionSetsNoShortOptions) { EXPECT_EQ(lettersOf(split({"--ab"})), ""); }

TEST(Options, ShortOptionsSetNoLongOptions) { EXPECT_EQ(namesOf(split({"-ab"})), Strings{}); }

TEST(Options, ArgumentAfterALongOptionIsNotItsValue) {
    const TOpts options = split({"--file", "/tmp/a"});
    EXPECT_EQ(valueOf(options, "file"), "");
    EXPECT_EQ(options.arguments(), (Strings{"--file", "/tmp/a"}));
}

TEST(Options, LastOccurrenceOfALongOptionWins) {
    const TOpts options = split({"--file=a", "--file=b", "plain"});
    EXPECT_EQ(valueOf(options, "file"), "b");
    EXPECT_EQ(options.findLong("file")->argument, &options.arguments()[1]);
    EXPECT_EQ(options.longOptions().size(), 1U);
}

TEST(Options, LastOccurrenceWithoutAValueTakesTheValueAway) {
    EXPECT_EQ(valueOf(split({"--file=a", "--file"}), "file"), "");
    EXPECT_EQ(valueOf(split({"--file=a", "--file="}), "file"), "");
}

TEST(Options, LastOccurrenceOfAShortOptionWins) {
    const TOpts options = split({"-ab", "-b", "plain"});
    EXPECT_EQ(options.findShort('a')->argument, &options.arguments()[0]);
    EXPECT_EQ(options.findShort('b')->argument, &options.arguments()[1]);
}

TEST(Options, ArgumentListHoldsOptionsAndPlainArgumentsInOrderWithoutTheProgram) {
    const Strings given = {"b", "--x=1", "-y", "a", "--", "--x=2", "a"};
    EXPECT_EQ(split(given).arguments(), given);
}

TEST(Options, ProgramNameIsTheFirstStringEvenIfItLooksLikeAnOption) {
    const char* const argv[] = {"--file=x", "-y", nullptr};
    const TOpts options(argv, 2);
    EXPECT_EQ(options.programName(), "--file=x");
    EXPECT_EQ(options.arguments(), Strings{"-y"});
    EXPECT_EQ(namesOf(options), Strings{});
}

TEST(Options, EmptyProgramNameStillHasArguments) {
    const char* const argv[] = {"", "-y", nullptr};
    EXPECT_EQ(lettersOf(TOpts(argv, 2)), "y");
}

TEST(Options, ProgramNameAloneMakesAnEmptyList) {
    const TOpts options = split({});
    EXPECT_EQ(options.programName(), "program");
    EXPECT_TRUE(options.arguments().empty());
}

TEST(Options, WithoutAPositiveCountNothingIsParsed) {
    const CommandLine line({"--file=x", "-y"});
    for (const int argc : {0, -1, INT_MIN}) {
        expectEmpty(TOpts(line.argv(), argc));
    }
}

TEST(Options, WithoutAProgramNameNothingIsParsed) {
    const char* const argv[] = {nullptr, "--file=x", "-y", nullptr};
    expectEmpty(TOpts(argv, 3));
    expectEmpty(TOpts(argv));
}

TEST(Options, WithoutAVectorNothingIsParsed) {
    expectEmpty(TOpts(nullptr, 3));
    expectEmpty(TOpts(nullptr));
}

TEST(Options, NullPointerEndsTheArgumentsBeforeTheCountDoes) {
    const char* const argv[] = {"program", "-a", nullptr, "-b", nullptr};
    EXPECT_EQ(TOpts(argv, 4).arguments(), Strings{"-a"});
}

TEST(Options, CountEndsTheArgumentsBeforeTheNullPointerDoes) {
    const CommandLine line({"-a", "-b", "-c"});
    EXPECT_EQ(TOpts(line.argv(), 3).arguments(), (Strings{"-a", "-b"}));
}

TEST(Options, WithoutACountAllArgumentsUpToTheNullPointerAreParsed) {
    const CommandLine line({"plain", "-a", "--file=x"});
    const TOpts options(line.argv());
    EXPECT_EQ(options.programName(), "program");
    EXPECT_EQ(options.arguments(), (Strings{"plain", "-a", "--file=x"}));
    EXPECT_EQ(lettersOf(options), "a");
    EXPECT_EQ(valueOf(options, "file"), "x");
}

TEST(Options, ShortOptionsAreWalkedInAscendingOrder) {
    EXPECT_EQ(lettersOf(split({"-z", "-aB_", "-A"})), "AB_az");
}

TEST(Options, LongOptionsAreWalkedInByteWiseOrder) {
    const TOpts options = split({"--b", "--a_b", "--ab", "--a-b", "--a", "--B", "--_"});
    EXPECT_EQ(namesOf(options), (Strings{"B", "_", "a", "a-b", "a_b", "ab", "b"}));
}

TEST(Options, LettersAreComparedAsSigned) {
    const TOpts::SignedOrder before;
    for (int left = -128; left < 128; ++left) {
        for (int right = -128; right < 128; ++right) {
            EXPECT_EQ(before(static_cast<char>(left), static_cast<char>(right)), left < right);
        }
    }
}

TEST(Options, NamesAreComparedByteByByte) {
    const TOpts::ByteOrder before;
    Strings names = {"", "a", "ab"};
    for (int byte = 0; byte < 256; ++byte) {
        names.emplace_back(1, static_cast<char>(byte));
        names.push_back("a" + names.back());
    }
    for (const std::string& left : names) {
        for (const std::string& right : names) {
            EXPECT_EQ(before(left, right), left < right) << left << " and " << right;
        }
    }
}

TEST(Options, AreFoundByTheirExactNameOnly) {
    const TOpts options = split({"--file=x", "-h"});
    for (const char* const name : {"File", "fil", "filex", "--file", "file=x", "", "h"}) {
        EXPECT_EQ(options.findLong(name), nullptr) << name;
    }
    EXPECT_EQ(options.findShort('H'), nullptr);
    EXPECT_EQ(options.findShort('f'), nullptr);
}

}  // namespace

// What is taken from an argument vector, how long it lives, and the index accessor.
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include "tests/unit/error/live_blocks.h"
#include "tests/unit/opt/command_line.h"
#include "zarnic/opt/options.h"

namespace {

using test::CommandLine;
using test::live_blocks;
using test::raised;
using test::split;
using zarnic::opt::TOpts;
using Strings = std::vector<std::string>;

static_assert(std::is_base_of_v<zarnic::TError, TOpts::TOptsError>);
static_assert(std::is_base_of_v<TOpts::TOptsError, TOpts::TOutOfRange>);

void expectEmpty(const TOpts& options) {
    EXPECT_EQ(options.programName(), "");
    EXPECT_TRUE(options.arguments().empty());
    EXPECT_TRUE(options.shortOptions().empty());
    EXPECT_TRUE(options.longOptions().empty());
}

TEST(OptionVector, ArgumentListHoldsOptionsAndPlainArgumentsInOrderWithoutTheProgram) {
    const Strings given = {"b", "--x=1", "-y", "a", "--", "--x=2", "a"};
    EXPECT_EQ(split(given).arguments(), given);
}

TEST(OptionVector, ProgramNameIsTheFirstStringEvenIfItLooksLikeAnOption) {
    const char* const argv[] = {"--file=x", "-y", nullptr};
    const TOpts options(argv, 2);
    EXPECT_EQ(options.programName(), "--file=x");
    EXPECT_EQ(options.arguments(), Strings{"-y"});
    EXPECT_TRUE(options.longOptions().empty());
}

TEST(OptionVector, EmptyProgramNameStillHasArguments) {
    const char* const argv[] = {"", "-y", nullptr};
    EXPECT_NE(TOpts(argv, 2).findShort('y'), nullptr);
}

TEST(OptionVector, ProgramNameAloneMakesAnEmptyList) {
    const TOpts options = split({});
    EXPECT_EQ(options.programName(), "program");
    EXPECT_TRUE(options.arguments().empty());
}

TEST(OptionVector, WithoutAPositiveCountNothingIsParsed) {
    const CommandLine line({"--file=x", "-y"});
    for (const int argc : {0, -1, INT_MIN}) {
        expectEmpty(TOpts(line.argv(), argc));
    }
}

TEST(OptionVector, WithoutAProgramNameNothingIsParsed) {
    const char* const argv[] = {nullptr, "--file=x", "-y", nullptr};
    expectEmpty(TOpts(argv, 3));
    expectEmpty(TOpts(argv));
}

TEST(OptionVector, WithoutAVectorNothingIsParsed) {
    expectEmpty(TOpts(nullptr, 3));
    expectEmpty(TOpts(nullptr));
}

TEST(OptionVector, NullPointerEndsTheArgumentsBeforeTheCountDoes) {
    const char* const argv[] = {"program", "-a", nullptr, "-b", nullptr};
    EXPECT_EQ(TOpts(argv, 4).arguments(), Strings{"-a"});
}

TEST(OptionVector, CountEndsTheArgumentsBeforeTheNullPointerDoes) {
    const CommandLine line({"-a", "-b", "-c"});
    EXPECT_EQ(TOpts(line.argv(), 3).arguments(), (Strings{"-a", "-b"}));
}

TEST(OptionVector, WithoutACountAllArgumentsUpToTheNullPointerAreParsed) {
    const CommandLine line({"plain", "-a", "--file=x"});
    const TOpts options(line.argv());
    EXPECT_EQ(options.programName(), "program");
    EXPECT_EQ(options.arguments(), (Strings{"plain", "-a", "--file=x"}));
    EXPECT_NE(options.findShort('a'), nullptr);
    EXPECT_EQ(options.findLong("file")->value, "x");
}

// Names n_, n_a, n_aa and so on: one entry each, and many times more than any first capacity.
Strings manyOptions() {
    Strings arguments;
    for (std::size_t i = 0; i < 300; ++i) {
        arguments.push_back("--n_" + std::string(i, 'a') + "=" + std::to_string(i));
    }
    arguments.push_back("-x");
    return arguments;
}

void expectEntriesInArguments(const TOpts& options) {
    const Strings& arguments = options.arguments();
    ASSERT_EQ(options.longOptions().size(), 300U);
    for (const auto& [name, entry] : options.longOptions()) {
        const std::size_t index = name.size() - 2;
        ASSERT_EQ(entry.argument, &arguments[index]);
        ASSERT_EQ(*entry.argument, "--" + name + "=" + entry.value);
        ASSERT_EQ(entry.value, std::to_string(index));
    }
    ASSERT_EQ(options.findShort('x')->argument, &arguments.back());
}

TEST(OptionsLifetime, PositionsPointIntoTheListHoweverLongItIs) {
    expectEntriesInArguments(split(manyOptions()));
}

TEST(OptionsLifetime, PositionsPointIntoTheListWithoutACountToo) {
    const CommandLine line(manyOptions());
    expectEntriesInArguments(TOpts(line.argv()));
}

TEST(OptionsLifetime, PositionsStayValidWhenTheFirstHandleIsGone) {
    std::optional<TOpts> first(split(manyOptions()));
    const TOpts second(*first);
    const Strings* const list = &first->arguments();
    first.reset();
    EXPECT_EQ(&second.arguments(), list);
    expectEntriesInArguments(second);
}

TEST(OptionsLifetime, StringsAreCopiedFromTheVector) {
    std::string program = "program";
    std::string argument = "--file=a";
    const char* const argv[] = {program.c_str(), argument.c_str(), nullptr};
    const TOpts options(argv, 2);
    program.assign("changed");
    argument.assign("changed!");
    EXPECT_EQ(options.programName(), "program");
    EXPECT_EQ(options.arguments().at(0), "--file=a");
    EXPECT_EQ(options.findLong("file")->value, "a");
}

TEST(OptionsLifetime, CopiesShareOneCommandLine) {
    const TOpts first = split({"--file=a", "-x"});
    const long before = live_blocks;
    const TOpts second(first);
    EXPECT_EQ(live_blocks, before);
    EXPECT_EQ(&second.arguments(), &first.arguments());
    EXPECT_EQ(&second.programName(), &first.programName());
    EXPECT_EQ(second.findLong("file"), first.findLong("file"));
    EXPECT_EQ(second.findShort('x'), first.findShort('x'));
}

TEST(OptionsLifetime, AssignmentSharesTheNewAndFreesTheFormerCommandLine) {
    const TOpts source = split({"--file=a"});
    const long before = live_blocks;
    TOpts target = split(manyOptions());
    target = source;
    EXPECT_EQ(live_blocks, before);
    EXPECT_EQ(&target.arguments(), &source.arguments());
}

TEST(OptionsLifetime, LastHandleFreesTheCommandLine) {
    const long before = live_blocks;
    {
        std::optional<TOpts> first(split(manyOptions()));
        const TOpts second(*first);
        const long both = live_blocks;
        first.reset();
        EXPECT_EQ(live_blocks, both);
    }
    EXPECT_EQ(live_blocks, before);
}

TEST(OptionIndex, GivesTheElementsOfTheList) {
    const TOpts options = split({"a", "--b", "-c"});
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(&options.argument(i), &options.arguments()[i]);
    }
}

TEST(OptionIndex, AtTheSizeIsOutOfRange) {
    const TOpts options = split({"1", "2", "3", "4", "5"});
    EXPECT_EQ(options.argument(4), "5");
    EXPECT_EQ(raised<TOpts::TOutOfRange>([&] { (void)options.argument(5); }),
              "Wrong index (index = 5)");
}

TEST(OptionIndex, OfAnEmptyCommandLineIsOutOfRange) {
    const TOpts options(nullptr, 0);
    EXPECT_EQ(raised<TOpts::TOutOfRange>([&] { (void)options.argument(0); }),
              "Wrong index (index = 0)");
}

TEST(OptionIndex, IsWrittenInPlainDecimalUpToTheGreatest) {
    const TOpts options = split({"a"});
    const auto greatest = std::numeric_limits<std::uint64_t>::max();
    EXPECT_EQ(raised<TOpts::TOutOfRange>([&] { (void)options.argument(greatest); }),
              "Wrong index (index = 18446744073709551615)");
    EXPECT_EQ(raised<TOpts::TOutOfRange>([&] { (void)options.argument(1000000); }),
              "Wrong index (index = 1000000)");
}

TEST(OptionIndex, ErrorCarriesTheIndexAndTheCommandLine) {
    const TOpts options = split({"a"});
    try {
        (void)options.argument(std::uint64_t{1} << 40);
        FAIL() << "it returned";
    } catch (const TOpts::TOutOfRange& error) {
        EXPECT_EQ(error.index(), std::uint64_t{1} << 40);
        EXPECT_EQ(&error.options().arguments(), &options.arguments());
    }
}

TEST(OptionIndex, ErrorHoldsTheCommandLineAlive) {
    try {
        const TOpts options = split(manyOptions());
        (void)options.argument(1000);
        FAIL() << "it returned";
    } catch (const TOpts::TOptsError& error) {
        expectEntriesInArguments(error.options());
        EXPECT_STREQ(error.what(), "Wrong index (index = 1000)");
    }
}

TEST(OptionIndex, ErrorOfTheBaseClassHasTheGivenMessage) {
    const TOpts options = split({"a"});
    const TOpts::TOptsError error("any text", options);
    EXPECT_EQ(error.message(), "any text");
    EXPECT_EQ(&error.options().arguments(), &options.arguments());
}

}  // namespace

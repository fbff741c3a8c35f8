// The parser as a program with commands uses it: command names first, their results kept until
// the end, then the options of the command that was found.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "tests/unit/opt/command_line.h"
#include "zarnic/opt/parsing.h"

namespace {

using test::ask;
using test::Held;
using test::parse;
using test::raised;
using zarnic::opt::no_arg;
using zarnic::opt::req_arg;
using zarnic::opt::TOParsing;
using Strings = std::vector<std::string>;

const Strings commands = {"delete-file", "start-service", "help"};

// Needs --file, takes --config-file.
std::string runCommand(TOParsing parser) {
    std::string file;
    std::string config = "default";
    parser.lopt("file", req_arg) >> file;
    {
        const TOParsing::TResult query = parser.lopt("config-file", req_arg);
        query >> config;
        parser.clear();
    }
    parser.check();
    return file + " with " + config;
}

// The first command that was given runs; without any, one clear() and the check.
std::string dispatch(const Strings& arguments) {
    TOParsing parser = parse(arguments);
    std::vector<std::unique_ptr<Held>> results;
    for (const std::string& command : commands) {
        results.push_back(std::make_unique<Held>(parser, command, no_arg));
        if (**results.back()) {
            return command == "help" ? "help" : runCommand(parser);
        }
    }
    results.push_back(std::make_unique<Held>(parser, 'h'));
    if (**results.back()) {
        return "help";
    }
    parser.clear();
    parser.check();
    return "nothing";
}

std::string errorOf(const Strings& arguments) {
    return raised<TOParsing::TPError>([&] { dispatch(arguments); });
}

TEST(ParsingCommands, FoundCommandGetsItsOptions) {
    EXPECT_EQ(dispatch({"--start-service", "--file=a"}), "a with default");
    EXPECT_EQ(dispatch({"--config-file=c", "--file=a", "--start-service"}), "a with c");
}

TEST(ParsingCommands, OptionalOptionWithoutAValueIsIgnoredByTheCheckToo) {
    EXPECT_EQ(dispatch({"--delete-file", "--file=a", "--config-file"}), "a with default");
    EXPECT_EQ(dispatch({"--delete-file", "--file=a", "--config-file="}), "a with default");
}

TEST(ParsingCommands, EmptyCommandLineIsSilent) { EXPECT_EQ(dispatch({}), "nothing"); }

TEST(ParsingCommands, ArgumentsThatAreNoOptionsAreSilent) {
    for (const char* const argument : {"foo", "--", "-9", "--a1", "-start-service"}) {
        EXPECT_EQ(dispatch({argument}), "nothing") << argument;
    }
}

TEST(ParsingCommands, HelpIsFoundBesideUnknownOptions) {
    for (const Strings& arguments :
         {Strings{"-hx"}, Strings{"-help"}, Strings{"--bogus", "-h"},
          Strings{"--help", "--bogus"}, Strings{"--help="}, Strings{"-h"}, Strings{"--help"}}) {
        EXPECT_EQ(dispatch(arguments), "help") << arguments[0];
    }
}

// Cleared only once, after the last query, so an unsuitable command is not claimed.
TEST(ParsingCommands, CommandWithAValueIsUnknown) {
    EXPECT_EQ(errorOf({"--delete-file=x"}), "Unknown option '--delete-file'");
    EXPECT_EQ(errorOf({"--help=x"}), "Unknown option '--help'");
}

TEST(ParsingCommands, UnknownOptionWithoutACommandIsReported) {
    EXPECT_EQ(errorOf({"--bogus"}), "Unknown option '--bogus'");
    EXPECT_EQ(errorOf({"--bogus", "-x"}), "Unknown option '-x'");
}

TEST(ParsingCommands, HelpBesideACommandIsUnknown) {
    EXPECT_EQ(errorOf({"--delete-file", "--file=a", "-h"}), "Unknown option '-h'");
    EXPECT_EQ(errorOf({"--delete-file", "--file=a", "--help"}), "Unknown option '--help'");
}

TEST(ParsingCommands, MissingRequiredOptionIsReportedBeforeUnknownOnes) {
    EXPECT_EQ(errorOf({"--delete-file", "--bogus", "-x"}), "Requires long option '--file'");
    EXPECT_EQ(errorOf({"--delete-file", "--file=", "-x"}), "Incorrect long option '--file'");
}

TEST(ParsingCommands, OptionThatTheCommandDoesNotTakeIsUnknown) {
    EXPECT_EQ(errorOf({"--delete-file", "--file=a", "--service=s"}),
              "Unknown option '--service'");
    EXPECT_EQ(errorOf({"--delete-file", "--file=a", "--start-service"}),
              "Unknown option '--start-service'");
}

// The reason why the results are kept: the end of one is the check of its query.
TEST(ParsingCommands, ResultThatEndsEarlyReportsTheFirstCommandAsRequired) {
    TOParsing parser = parse({"--start-service"});
    EXPECT_EQ(raised<TOParsing::TNoLOpt>([&] { ask(parser, "delete-file", no_arg); }),
              "Requires long option '--delete-file'");
}

}  // namespace

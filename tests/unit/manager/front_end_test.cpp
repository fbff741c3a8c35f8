#include "manager/front_end.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <type_traits>

#include "tests/unit/manager/service_runs.h"

namespace {

namespace fs = std::filesystem;
using test::command;
using test::Outcome;
using test::Words;

class FrontEnd : public test::ServiceTest {
  protected:
    void expect(const Words& arguments, const std::string& out, int status) {
        std::string line;
        for (const std::string& argument : arguments) {
            line += argument + ' ';
        }
        const Outcome outcome = command(host, arguments);
        EXPECT_EQ(outcome.out, out) << line;
        EXPECT_EQ(outcome.status, status) << line;
        EXPECT_EQ(outcome.err, "") << line;
    }
    void expectSilence(const Words& arguments) { expect(arguments, "", 0); }
    void expectUnknown(const Words& arguments, const std::string& option) {
        expect(arguments, "Unknown option '" + option + "'\n", 1);
    }
};

// The commands in the order in which they are looked for, with what each requires.
struct Entry {
    const char* option;
    Words required;
};
const std::vector<Entry> table = {
    {"--delete-file", {"--file=/tmp/kept"}},
    {"--check-install", {"--kav-dir=/k"}},
    {"--start-service", {"--kav-dir=/k", "--service=s"}},
    {"--service-started", {"--kav-dir=/k", "--service=s"}},
    {"--kill-service", {"--kav-dir=/k", "--service=s"}},
    {"--restart-service", {"--kav-dir=/k", "--service=s"}},
    {"--config-file-content", {"--file=/tmp/kept"}},
    {"--save-to-config-file", {"--file=/tmp/kept", "--config-file=/tmp/kept2"}},
    {"--help", {}},
};

// The user's error is a plain class of one text, which no handler for other errors catches.
static_assert(!std::is_polymorphic_v<TUError>);
static_assert(!std::is_base_of_v<std::exception, TUError>);
static_assert(sizeof(TUError) == sizeof(std::string));
static_assert(std::is_nothrow_copy_constructible_v<TUError>);
static_assert(std::is_same_v<CommandHandler, bool (*)(zarnic::opt::TOParsing)>);

TEST_F(FrontEnd, TheUsersErrorKeepsItsMessageWhenCopied) {
    const std::string message(100, 'm');
    const TUError error(message);
    const TUError copy(error);
    EXPECT_EQ(copy.message(), message);
}

TEST_F(FrontEnd, WithoutArgumentsNothingHappens) { expectSilence({}); }

TEST_F(FrontEnd, WithoutAProgramNameNothingIsRead) {
    const char* const bogus[] = {"avmanager", "--bogus", nullptr};
    const char* const nameless[] = {nullptr, "--bogus", nullptr};
    EXPECT_EQ(runCommandLine(0, bogus), 0);
    EXPECT_EQ(runCommandLine(0, nullptr), 0);
    EXPECT_EQ(runCommandLine(2, nullptr), 0);
    EXPECT_EQ(runCommandLine(0, nameless), 0);
    EXPECT_EQ(runCommandLine(2, nameless), 0);
    EXPECT_EQ(runCommandLine(-1, bogus), 0);
}

TEST_F(FrontEnd, ArgumentsEndAtTheCountOrAtTheFirstNull) {
    const char* const bogus[] = {"avmanager", "plain", nullptr, "--bogus", nullptr};
    EXPECT_EQ(runCommandLine(1, bogus), 0);
    EXPECT_EQ(runCommandLine(4, bogus), 0);
    const char* const empty[] = {"", "", nullptr};
    EXPECT_EQ(runCommandLine(2, empty), 0);
}

TEST_F(FrontEnd, HelpIsSilentWhateverElseIsUnknown) {
    for (const Words& arguments : std::vector<Words>{{"--help"},
                                                     {"-h"},
                                                     {"--help="},
                                                     {"--help", "--help"},
                                                     {"-h", "-h"},
                                                     {"-hh"},
                                                     {"-hx"},
                                                     {"-xh"},
                                                     {"-help"},
                                                     {"-h", "--help"},
                                                     {"--bogus", "-h"},
                                                     {"--help", "--bogus"},
                                                     {"--help", "-x"},
                                                     {"-h", "--file=x"},
                                                     {"--help", "--kav-dir"},
                                                     {"--help", "foo"},
                                                     {"-h", "--help=x"},
                                                     {"--help=x", "--help"},
                                                     {"--start-service=x", "-h"}}) {
        expectSilence(arguments);
    }
}

TEST_F(FrontEnd, ArgumentsThatAreNoOptionsAreIgnored) {
    for (const char* const argument :
         {"foo", "", "-", "--", "---", "---help", "-9", "--9", "--a1", "--a.b=1", "--=x",
          "-start-service", "-h-x", "delete-file", "- -help"}) {
        expectSilence({argument});
    }
    expectSilence({"--", "-h"});
    expectUnknown({"--", "--bogus"}, "--bogus");
}

TEST_F(FrontEnd, WhatNoCommandClaimsIsUnknown) {
    expectUnknown({"--bogus"}, "--bogus");
    expectUnknown({"-x"}, "-x");
    expectUnknown({"--bogus", "-x"}, "-x");
    expectUnknown({"--b", "--a"}, "--a");
    expectUnknown({"-zy"}, "-y");
    expectUnknown({"-H"}, "-H");
    expectUnknown({"--Help"}, "--Help");
    expectUnknown({"--h"}, "--h");
    expectUnknown({"--file=x"}, "--file");
}

TEST_F(FrontEnd, ACommandWithAValueIsUnknown) {
    test::writeFile("/tmp/kept", "");
    for (const Entry& entry : table) {
        Words arguments = entry.required;
        arguments.push_back(std::string(entry.option) + "=x");
        const Outcome outcome = command(host, arguments);
        EXPECT_TRUE(outcome.out.starts_with("Unknown option '--")) << entry.option;
        EXPECT_EQ(outcome.status, 1);
        expectUnknown({std::string(entry.option) + "=x"}, entry.option);
    }
    EXPECT_TRUE(fs::exists("/tmp/kept"));
    EXPECT_EQ(host.calls(), Words());
}

TEST_F(FrontEnd, TheFirstMissingOptionIsReportedBeforeAnUnknownOne) {
    for (const Entry& entry : table) {
        Words arguments{entry.option, "--bogus", "-x"};
        for (const std::string& required : entry.required) {
            const std::string name = required.substr(0, required.find('='));
            expect(arguments, "Requires long option '" + name + "'\n", 1);
            Words without = arguments;
            without.push_back(name);
            expect(without, "Incorrect long option '" + name + "'\n", 1);
            arguments.push_back(required);
        }
        if (!entry.required.empty()) {
            expectUnknown(arguments, "-x");
        }
    }
}

// Of two commands the first of the table is dispatched, and its check finds the other.
TEST_F(FrontEnd, EveryPairOfCommandsEndsAsTheirOrderSays) {
    test::writeFile("/tmp/kept", "text");
    for (std::size_t first = 0; first < table.size(); ++first) {
        for (std::size_t second = first + 1; second < table.size(); ++second) {
            const Entry& dispatched = table[first];
            const Entry& refused = table[second];
            Words arguments = dispatched.required;
            arguments.push_back(dispatched.option);
            arguments.insert(arguments.begin(), refused.option);
            expectUnknown(arguments, refused.option);
            std::reverse(arguments.begin(), arguments.end());
            expectUnknown(arguments, refused.option);
        }
    }
    EXPECT_EQ(test::readFile("/tmp/kept"), "text");
    EXPECT_FALSE(fs::exists("/tmp/kept2"));
    EXPECT_EQ(host.calls(), Words());
}

TEST_F(FrontEnd, ACommandThatIsGivenTwiceIsGivenOnce) {
    for (const Entry& entry : table) {
        if (entry.required.empty()) {
            expectSilence({entry.option, entry.option});
        } else {
            const std::string& required = entry.required.front();
            expect({entry.option, entry.option},
                   "Requires long option '" + required.substr(0, required.find('=')) + "'\n",
                   1);
        }
    }
}

TEST_F(FrontEnd, HelpBesideACommandIsUnknownAndTheCommandDoesNothing) {
    test::writeFile("/tmp/kept", "text");
    for (std::size_t i = 0; i + 1 < table.size(); ++i) {
        Words arguments = table[i].required;
        arguments.push_back(table[i].option);
        for (const char* const help : {"-h", "--help"}) {
            arguments.push_back(help);
            expectUnknown(arguments, help);
            arguments.pop_back();
        }
    }
    EXPECT_EQ(test::readFile("/tmp/kept"), "text");
    EXPECT_EQ(host.calls(), Words());
}

TEST_F(FrontEnd, ACommandThatHandledEndsWithZero) {
    const std::string kavDir = "--kav-dir=" + host.kav();
    expect({"--check-install", kavDir}, "Kaspersky Anti-Virus server is installed\n", 0);
    expectSilence({"--delete-file", "--file=" + (host / "none")});
    const std::string pidFile = "--service-pidfile=" + host.file("pid", "0");
    expect({"--service-started", kavDir, "--service=s", pidFile}, "Service is started\n", 0);
    expect({"--config-file-content", "--file=" + host.file("c", "text")}, "text", 0);
}

}  // namespace

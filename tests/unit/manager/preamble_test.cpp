#include "manager/preamble.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "manager/commands.h"
#include "tests/unit/manager/host.h"
#include "tests/unit/sys/runs.h"
#include "zarnic/conf/autoprepend.h"

namespace {

using test::isolated;
using test::parserOf;
using zarnic::opt::TOParsing;

const std::string panel_file = "/etc/zrc/zrc.conf";

std::string text(const char* value) { return value == nullptr ? "(null)" : value; }

// The message of the parser's error that `body` throws; empty when it throws none.
std::string errorOf(const std::function<void()>& body) {
    try {
        body();
    } catch (const TOParsing::TPError& error) {
        return error.message();
    }
    return {};
}

TEST(Preamble, ARequiredValueIsReadAndClaimed) {
    TOParsing parser = parserOf({"--file=/a b", "--config-file=x=y="});
    EXPECT_EQ(requiredValue(parser, "file"), "/a b");
    EXPECT_EQ(requiredValue(parser, "config-file"), "x=y=");
    EXPECT_NO_THROW(parser.check());
}

TEST(Preamble, ARequiredValueThatIsAbsentIsMissing) {
    TOParsing parser = parserOf({"--other=x"});
    EXPECT_THROW(requiredValue(parser, "file"), TOParsing::TNoLOpt);
    EXPECT_EQ(errorOf([&] { requiredValue(parser, "file"); }), "Requires long option '--file'");
}

TEST(Preamble, ARequiredOptionWithoutAValueIsIncorrect) {
    for (const char* const form : {"--file", "--file="}) {
        TOParsing parser = parserOf({form});
        EXPECT_THROW(requiredValue(parser, "file"), TOParsing::TBadLOpt);
        EXPECT_EQ(errorOf([&] { requiredValue(parser, "file"); }),
                  "Incorrect long option '--file'");
    }
}

TEST(Preamble, TheLastOfTwoValuesCounts) {
    TOParsing parser = parserOf({"--file=a", "--file=b"});
    EXPECT_EQ(requiredValue(parser, "file"), "b");
    TOParsing emptied = parserOf({"--file=a", "--file"});
    EXPECT_EQ(optionalValue(emptied, "file"), "");
}

TEST(Preamble, AValueAfterABlankIsNoValue) {
    TOParsing parser = parserOf({"--file", "/a"});
    EXPECT_THROW(requiredValue(parser, "file"), TOParsing::TBadLOpt);
}

TEST(Preamble, AnOptionalValueIsReadAndClaimed) {
    TOParsing parser = parserOf({"--no-daemon=0"});
    EXPECT_EQ(optionalValue(parser, "no-daemon"), "0");
    EXPECT_NO_THROW(parser.check());
}

TEST(Preamble, AnOptionalValueThatIsAbsentIsEmptyAndForgiven) {
    TOParsing parser = parserOf({});
    EXPECT_EQ(optionalValue(parser, "no-daemon"), "");
    EXPECT_EQ(parser.state(), TOParsing::goodbit);
    EXPECT_NO_THROW(parser.check());
}

TEST(Preamble, AnOptionalOptionWithoutAValueIsEmptyAndForgivenByTheCheckToo) {
    for (const char* const form : {"--no-daemon", "--no-daemon="}) {
        TOParsing parser = parserOf({form});
        EXPECT_EQ(optionalValue(parser, "no-daemon"), "");
        EXPECT_EQ(parser.state(), TOParsing::goodbit);
        EXPECT_NO_THROW(parser.check()) << form;
    }
}

TEST(Preamble, ForgivingOneOptionForgivesNoOther) {
    TOParsing parser = parserOf({"--no-daemon", "--config-file"});
    EXPECT_EQ(optionalValue(parser, "no-daemon"), "");
    EXPECT_EQ(errorOf([&] { requiredValue(parser, "file"); }), "Requires long option '--file'");
    EXPECT_EQ(errorOf([&] { requiredValue(parser, "config-file"); }),
              "Incorrect long option '--config-file'");
}

TEST(Preamble, WhatNobodyClaimedIsRefused) {
    TOParsing parser = parserOf({"--file=a", "--bogus", "-x"});
    requiredValue(parser, "file");
    EXPECT_EQ(errorOf([&] { finishPreamble(parser); }), "Unknown option '-x'");
    EXPECT_THROW(finishPreamble(parser), TOParsing::TUnknSOpt);
}

TEST(Preamble, PlainArgumentsAreNotRefused) {
    TOParsing parser = parserOf({"foo", "--", "-9", "--a1"});
    EXPECT_NO_THROW(finishPreamble(parser));
}

// The file is loaded once: what it said at that moment is what is known ever after.
TEST(Preamble, TheConfigurationIsLoadedWhenTheCommandLineIsRight) {
    isolated([] {
        test::writeFile(panel_file, "SITE first\n");
        TOParsing parser = parserOf({});
        finishPreamble(parser);
        test::writeFile(panel_file, "SITE second\n");
        EXPECT_EQ(text(zrcConfGet("SITE")), "first");
    });
}

TEST(Preamble, TheConfigurationIsNotLoadedWhenTheCommandLineIsWrong) {
    isolated([] {
        test::writeFile(panel_file, "SITE first\n");
        TOParsing parser = parserOf({"--bogus"});
        EXPECT_THROW(finishPreamble(parser), TOParsing::TUnknLOpt);
        test::writeFile(panel_file, "SITE second\n");
        EXPECT_EQ(text(zrcConfGet("SITE")), "second");
    });
}

TEST(Preamble, AMissingConfigurationIsIgnored) {
    isolated([] {
        std::filesystem::remove(panel_file);
        TOParsing parser = parserOf({});
        EXPECT_NO_THROW(finishPreamble(parser));
    });
}

TEST(Preamble, ABrokenConfigurationIsIgnoredInSilence) {
    const test::Captured captured = test::inChild([] {
        test::writeFile(panel_file, "this line is=bad\nname\n=\n\xff\n");
        TOParsing parser = parserOf({});
        finishPreamble(parser);
    });
    EXPECT_TRUE(captured.exited(0));
    EXPECT_EQ(captured.out + captured.err, "");
}

TEST(Preamble, AConfigurationThatCannotBeReadIsIgnoredInSilence) {
    const test::Captured captured = test::inChild([] {
        std::filesystem::remove(panel_file);
        std::filesystem::create_directory(panel_file);
        TOParsing parser = parserOf({});
        finishPreamble(parser);
    });
    std::filesystem::remove(panel_file);
    EXPECT_TRUE(captured.exited(0));
    EXPECT_EQ(captured.out + captured.err, "");
}

// --- every command: check, then load, then act ---

struct Preambled {
    CommandHandler handler;
    test::Words arguments;
};

// The commands with what they need. What each does changes the panel's file, but for
// check-install, which changes nothing: the stand-in cat and the two file commands do.
std::vector<Preambled> commands(const test::Host& host) {
    const std::string kavDir = "--kav-dir=" + host.kav();
    const std::string pidFile = "--service-pidfile=" + host.file("pid", "0");
    const std::string file = "--file=" + host.file("new", "SITE changed\n");
    host.script("cat", "echo SITE changed > " + panel_file + "; echo 0\n");
    return {
        {deleteFile, {"--file=" + panel_file}},
        {checkInstall, {kavDir}},
        {startService, {kavDir, "--service=other", pidFile, "--no-daemon=1"}},
        {serviceStarted, {kavDir, "--service=other", pidFile}},
        {killService, {kavDir, "--service=other", pidFile}},
        {restartService, {kavDir, "--service=aveserver", pidFile}},
        {configFileContent, {file}},
        {saveToConfigFile, {file, "--config-file=" + panel_file}},
    };
}

// What the module knows after a command that began when the panel's file said "first".
std::string knownAfter(const Preambled& command) {
    test::writeFile(panel_file, "SITE first\n");
    try {
        command.handler(parserOf(command.arguments));
    } catch (const TUError&) {
    } catch (const TOParsing::TPError&) {}
    test::writeFile(panel_file, "SITE second\n");
    return text(zrcConfGet("SITE"));
}

TEST(Preamble, EveryCommandLoadsTheConfigurationBeforeItActs) {
    const test::Host host;
    for (const Preambled& command : commands(host)) {
        isolated([&] {
            host.enter();
            EXPECT_EQ(knownAfter(command), "first") << command.arguments.front();
        });
    }
}

TEST(Preamble, EveryCommandChecksItsCommandLineBeforeItLoadsOrActs) {
    const test::Host host;
    for (Preambled command : commands(host)) {
        command.arguments.push_back("--bogus");
        isolated([&] {
            host.enter();
            EXPECT_EQ(knownAfter(command), "second") << command.arguments.front();
        });
    }
    EXPECT_EQ(host.calls(), test::Words());
}

TEST(Preamble, HelpNeitherChecksNorLoads) {
    isolated([] { EXPECT_EQ(knownAfter({showHelp, {"--help", "--bogus"}}), "second"); });
}

}  // namespace

#include "manager/preamble.h"

#include "tests/unit/opt/command_line.h"
#include "tests/unit/sys/runs.h"
#include "zarnic/conf/autoprepend.h"

namespace {

using test::isolated;
using test::parse;
using test::raised;
using zarnic::opt::TOParsing;

const std::string panel_file = "/etc/zrc/zrc.conf";

std::string text(const char* value) { return value == nullptr ? "(null)" : value; }

TEST(Preamble, ARequiredValueIsReadAndClaimed) {
    TOParsing parser = parse({"--file=/a b", "--config-file=x=y="});
    EXPECT_EQ(requiredValue(parser, "file"), "/a b");
    EXPECT_EQ(requiredValue(parser, "config-file"), "x=y=");
    EXPECT_NO_THROW(parser.check());
}

TEST(Preamble, ARequiredValueThatIsAbsentIsMissing) {
    TOParsing parser = parse({"--other=x"});
    EXPECT_EQ(raised<TOParsing::TNoLOpt>([&] { requiredValue(parser, "file"); }),
              "Requires long option '--file'");
}

TEST(Preamble, ARequiredOptionWithoutAValueIsIncorrect) {
    for (const char* const form : {"--file", "--file="}) {
        TOParsing parser = parse({form});
        EXPECT_EQ(raised<TOParsing::TBadLOpt>([&] { requiredValue(parser, "file"); }),
                  "Incorrect long option '--file'");
    }
}

TEST(Preamble, AnOptionalValueIsReadAndClaimed) {
    TOParsing parser = parse({"--no-daemon=0"});
    EXPECT_EQ(optionalValue(parser, "no-daemon"), "0");
    EXPECT_NO_THROW(parser.check());
}

TEST(Preamble, AnOptionalValueThatIsAbsentIsEmptyAndForgiven) {
    TOParsing parser = parse({});
    EXPECT_EQ(optionalValue(parser, "no-daemon"), "");
    EXPECT_EQ(parser.state(), TOParsing::goodbit);
    EXPECT_NO_THROW(parser.check());
}

TEST(Preamble, AnOptionalOptionWithoutAValueIsEmptyAndForgivenByTheCheckToo) {
    for (const char* const form : {"--no-daemon", "--no-daemon="}) {
        TOParsing parser = parse({form});
        EXPECT_EQ(optionalValue(parser, "no-daemon"), "");
        EXPECT_EQ(parser.state(), TOParsing::goodbit);
        EXPECT_NO_THROW(parser.check()) << form;
    }
}

TEST(Preamble, ForgivingOneOptionForgivesNoOther) {
    TOParsing parser = parse({"--no-daemon", "--config-file"});
    EXPECT_EQ(optionalValue(parser, "no-daemon"), "");
    EXPECT_EQ(raised<TOParsing::TNoLOpt>([&] { requiredValue(parser, "file"); }),
              "Requires long option '--file'");
    EXPECT_EQ(raised<TOParsing::TBadLOpt>([&] { requiredValue(parser, "config-file"); }),
              "Incorrect long option '--config-file'");
}

TEST(Preamble, WhatNobodyClaimedIsRefused) {
    TOParsing parser = parse({"--file=a", "--bogus", "-x"});
    requiredValue(parser, "file");
    EXPECT_EQ(raised<TOParsing::TUnknSOpt>([&] { finishPreamble(parser); }),
              "Unknown option '-x'");
}

// The file is loaded once: what it said at that moment is what is known ever after.
TEST(Preamble, TheConfigurationIsLoadedWhenTheCommandLineIsRight) {
    isolated([] {
        test::writeFile(panel_file, "SITE first\n");
        TOParsing parser = parse({});
        finishPreamble(parser);
        test::writeFile(panel_file, "SITE second\n");
        EXPECT_EQ(text(zrcConfGet("SITE")), "first");
    });
}

TEST(Preamble, TheConfigurationIsNotLoadedWhenTheCommandLineIsWrong) {
    isolated([] {
        test::writeFile(panel_file, "SITE first\n");
        TOParsing parser = parse({"--bogus"});
        EXPECT_THROW(finishPreamble(parser), TOParsing::TUnknLOpt);
        test::writeFile(panel_file, "SITE second\n");
        EXPECT_EQ(text(zrcConfGet("SITE")), "second");
    });
}

}  // namespace

#include "manager/preamble.h"

#include "tests/unit/opt/command_line.h"
#include "tests/unit/sys/runs.h"
#include "zarnic/conf/autoprepend.h"

namespace {

using test::parse;
using test::raised;
using zarnic::opt::TOParsing;

TEST(Preamble, ForgivingOneOptionForgivesNoOther) {
    TOParsing parser = parse({"--no-daemon", "--config-file"});
    EXPECT_EQ(optionalValue(parser, "no-daemon"), "");
    EXPECT_EQ(parser.state(), TOParsing::goodbit);
    EXPECT_EQ(raised<TOParsing::TNoLOpt>([&] { requiredValue(parser, "file"); }),
              "Requires long option '--file'");
    EXPECT_EQ(raised<TOParsing::TBadLOpt>([&] { requiredValue(parser, "config-file"); }),
              "Incorrect long option '--config-file'");
}

// The file is loaded once: what it said at that moment is what is known ever after.
TEST(Preamble, TheConfigurationIsLoadedOnceTheCommandLineIsRight) {
    test::isolated([] {
        test::writeFile("/etc/zrc/zrc.conf", "SITE wrong\n");
        TOParsing wrong = parse({"--bogus"});
        EXPECT_THROW(finishPreamble(wrong), TOParsing::TUnknLOpt);
        test::writeFile("/etc/zrc/zrc.conf", "SITE right\n");
        TOParsing right = parse({});
        finishPreamble(right);
        test::writeFile("/etc/zrc/zrc.conf", "SITE later\n");
        EXPECT_STREQ(zrcConfGet("SITE"), "right");
    });
}

}  // namespace

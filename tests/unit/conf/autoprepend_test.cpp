// When the panel's file is loaded, and what is answered then.

#include "zarnic/conf/autoprepend.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>

#include "tests/support/capture.h"
#include "tests/unit/conf/panel_file.h"
#include "zarnic/conf/diagnostics.h"
#include "zarnic/conf/read_configuration.h"

// The linker has the variables call the first in the place of the second.
const char* countedLookup(const char* name, const conf_table* table) __asm__(
    "__wrap__Z10conf_get_rPKcPK10conf_table");
const char* realLookup(const char* name, const conf_table* table) __asm__(
    "__real__Z10conf_get_rPKcPK10conf_table");

int lookups = 0;

const char* countedLookup(const char* name, const conf_table* table) {
    ++lookups;
    return realLookup(name, table);
}

namespace {

using test::removePanelFile;
using test::show;
using test::writePanelFile;

constexpr int product_root = 29;

class Autoprepend : public test::PanelFileTest {};

// All four lookups of one variable.
void showProductRoot() {
    show(zrcConfGet("PRODUCT_ROOT_D"));
    show(zrcConfGetByIndex(product_root));
    show(zrcConfGetDefaultByIndex(product_root));
    show(zrcConfGetDefault("PRODUCT_ROOT_D"));
}

// Counts the reader's reports: a missing file gives one for each attempt to load it.
int attempts = 0;

void countAttempt(int /*level*/, const char* /*format*/, ...) { ++attempts; }

void showReport(int level, const char* format, ...) {
    show(level);
    show(format);
}

TEST_F(Autoprepend, MissingFileGivesNullOrTheDefault) {
    EXPECT_EQ(answers(showProductRoot), "(null)\n(null)\n/usr/local/zrc\n/usr/local/zrc\n");
}

TEST_F(Autoprepend, FileThatHasTheVariableGivesItsValue) {
    writePanelFile("PRODUCT_ROOT_D /opt/zrc\n");
    EXPECT_EQ(answers(showProductRoot), "/opt/zrc\n/opt/zrc\n/opt/zrc\n/opt/zrc\n");
}

TEST_F(Autoprepend, FailedInitialisationLeavesTheReadersError) {
    EXPECT_EQ(answers([] {
                  zrcConfInit();
                  show(std::strerror(errno));
              }),
              "No such file or directory\n");
    std::filesystem::create_directory(test::panel_file);
    EXPECT_EQ(answers([] {
                  zrcConfInit();
                  show(std::strerror(errno));
              }),
              "Is a directory\n");
}

TEST_F(Autoprepend, LaterChangeOfTheFileIsNotSeen) {
    writePanelFile("PRODUCT_ROOT_D /first\n");
    EXPECT_EQ(answers([] {
                  showProductRoot();
                  writePanelFile("PRODUCT_ROOT_D /second\nDUMP_D /d\n");
                  show(zrcConfInit());
                  showProductRoot();
                  show(zrcConfGet("DUMP_D"));
                  show(zrcConfGetByIndex(21));
              }),
              "/first\n/first\n/first\n/first\n0\n/first\n/first\n/first\n/first\n"
              "(null)\n(null)\n");
}

TEST_F(Autoprepend, LaterRemovalOfTheFileIsNotSeen) {
    writePanelFile("PRODUCT_ROOT_D /first\n");
    EXPECT_EQ(answers([] {
                  show(zrcConfInit());
                  removePanelFile();
                  show(zrcConfInit());
                  showProductRoot();
              }),
              "0\n0\n/first\n/first\n/first\n/first\n");
}

TEST_F(Autoprepend, ValuesAreTheSameStringsEachTime) {
    writePanelFile("PRODUCT_ROOT_D /opt/zrc\n");
    EXPECT_EQ(answers([] {
                  const char* const value = zrcConfGetByIndex(product_root);
                  show(value == zrcConfGetByIndex(product_root) ? 1 : 0);
                  show(value == zrcConfGetDefaultByIndex(product_root) ? 1 : 0);
                  show(value == zrcConfGet("PRODUCT_ROOT_D") ? 1 : 0);
              }),
              "1\n1\n1\n");
}

TEST_F(Autoprepend, ValueOfAnIndexIsLookedUpOnceAndAnAbsentOneEachTime) {
    writePanelFile("PRODUCT_ROOT_D /opt/zrc\n");
    EXPECT_EQ(answers([] {
                  zrcConfGetByIndex(product_root);
                  zrcConfGetDefaultByIndex(product_root);
                  zrcConfGetDefault("PRODUCT_ROOT_D");
                  show(lookups);
                  zrcConfGetByIndex(1);
                  zrcConfGetDefaultByIndex(1);
                  show(lookups);
              }),
              "1\n3\n");
}

TEST_F(Autoprepend, InitialisationIsTriedAgainAfterAFailure) {
    EXPECT_EQ(answers([] {
                  show(zrcConfInit());
                  writePanelFile("PRODUCT_ROOT_D /late\n");
                  show(zrcConfInit());
                  show(zrcConfGet("PRODUCT_ROOT_D"));
              }),
              "-1\n0\n/late\n");
}

// A default is never kept as if the file had given it.
TEST_F(Autoprepend, EachLookupTriesAgainAfterAFailure) {
    const auto tryAgain = [](const std::function<void()>& lookup) {
        removePanelFile();
        return answers([&lookup] {
            showProductRoot();
            writePanelFile("PRODUCT_ROOT_D /late\n");
            lookup();
        });
    };
    const std::string expected = "(null)\n(null)\n/usr/local/zrc\n/usr/local/zrc\n/late\n";
    EXPECT_EQ(tryAgain([] { show(zrcConfGet("PRODUCT_ROOT_D")); }), expected);
    EXPECT_EQ(tryAgain([] { show(zrcConfGetByIndex(product_root)); }), expected);
    EXPECT_EQ(tryAgain([] { show(zrcConfGetDefaultByIndex(product_root)); }), expected);
    EXPECT_EQ(tryAgain([] { show(zrcConfGetDefault("PRODUCT_ROOT_D")); }), expected);
}

TEST_F(Autoprepend, EveryOperationTriesOnceWhileTheFileCannotBeLoaded) {
    EXPECT_EQ(answers([] {
                  message_fn = countAttempt;
                  zrcConfInit();
                  show(attempts);
                  zrcConfGet("PRODUCT_ROOT_D");
                  show(attempts);
                  zrcConfGetByIndex(product_root);
                  show(attempts);
                  zrcConfGetDefaultByIndex(product_root);
                  show(attempts);
                  zrcConfGetDefault("PRODUCT_ROOT_D");
                  show(attempts);
              }),
              "1\n2\n3\n4\n5\n");
}

// Seen by the one bad line of the file, which is reported by each reading.
TEST_F(Autoprepend, FileIsReadOnce) {
    writePanelFile("PRODUCT_ROOT_D /opt/zrc\nBAD\n");
    EXPECT_EQ(answers([] {
                  message_fn = countAttempt;
                  show(zrcConfInit());
                  show(zrcConfInit());
                  showProductRoot();
                  zrcConfGet("ABSENT");
                  zrcConfGetByIndex(1);
                  show(attempts);
              }),
              "0\n0\n/opt/zrc\n/opt/zrc\n/opt/zrc\n/opt/zrc\n1\n");
}

TEST_F(Autoprepend, FailedLoadKeepsNothingOfTheFile) {
    EXPECT_EQ(answers([] {
                  std::filesystem::create_directory(test::panel_file);
                  showProductRoot();
                  removePanelFile();
                  writePanelFile("DUMP_D /d\n");
                  show(zrcConfGet("DUMP_D"));
                  showProductRoot();
              }),
              "(null)\n(null)\n/usr/local/zrc\n/usr/local/zrc\n/d\n"
              "(null)\n(null)\n/usr/local/zrc\n/usr/local/zrc\n");
}

TEST_F(Autoprepend, MissingFileIsReportedThroughTheMessageChannel) {
    EXPECT_EQ(answers([] {
                  message_fn = showReport;
                  zrcConfInit();
              }),
              "12\nunable to open configuration file %s: %s\n\n");
}

TEST_F(Autoprepend, NoDescriptorIsLeftOpen) {
    writePanelFile("PRODUCT_ROOT_D /opt/zrc\n");
    EXPECT_EQ(answers([] {
                  const std::string before = test::openDescriptors();
                  zrcConfInit();
                  show(before == test::openDescriptors() ? 1 : 0);
              }),
              "1\n");
}

}  // namespace

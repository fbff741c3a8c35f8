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

using test::answers;
using test::removePanelFile;
using test::show;
using test::writePanelFile;

constexpr int product_root = 29;

class Autoprepend : public test::PanelFileTest {};

// The four lookups of one variable.
void (*const questions[])() = {
    [] { show(zrcConfGet("PRODUCT_ROOT_D")); },
    [] { show(zrcConfGetByIndex(product_root)); },
    [] { show(zrcConfGetDefaultByIndex(product_root)); },
    [] { show(zrcConfGetDefault("PRODUCT_ROOT_D")); },
};

void askAll() {
    for (const auto& ask : questions) {
        ask();
    }
}

constexpr const char* no_file = nullptr;
constexpr const char* a_folder = "a folder";

void setPanelFile(const char* content) {
    removePanelFile();
    if (content == a_folder) {
        std::filesystem::create_directories(test::panel_file);
    } else if (content != no_file) {
        writePanelFile(content);
    }
}

const std::string nothing = "(null)\n(null)\n/usr/local/zrc\n/usr/local/zrc\n";

std::string fourTimes(const std::string& value) {
    return value + "\n" + value + "\n" + value + "\n" + value + "\n";
}

// A process asks all before the file changes. Of all processes like it each one asks another
// question first afterwards: the load that was tried may be that of any of them.
void expectAnswers(const char* before, const std::string& answered, const char* after,
                   const std::string& answeredLater) {
    for (const auto& first : questions) {
        setPanelFile(before);
        const std::string shown = answers([&] {
            askAll();
            setPanelFile(after);
            first();
            askAll();
        });
        ASSERT_EQ(shown.substr(0, answered.size()), answered);
        const std::string later = shown.substr(answered.size());
        EXPECT_EQ(later.substr(later.find('\n') + 1), answeredLater);
        EXPECT_NE(answeredLater.find(later.substr(0, later.find('\n') + 1)), std::string::npos);
    }
}

// A default is never kept as if the file had given it.
TEST_F(Autoprepend, InitialisationIsTriedAgainAfterAFailure) {
    expectAnswers(no_file, nothing, "PRODUCT_ROOT_D /late\n", fourTimes("/late"));
    expectAnswers(a_folder, nothing, "PRODUCT_ROOT_D /late\n", fourTimes("/late"));
    expectAnswers(no_file, nothing, "DUMP_D /d\n", nothing);
    expectAnswers(no_file, nothing, a_folder, nothing);
}

TEST_F(Autoprepend, LaterChangeOfTheFileIsNotSeen) {
    const std::string first = fourTimes("/first");
    expectAnswers("PRODUCT_ROOT_D /first\n", first, "PRODUCT_ROOT_D /second\n", first);
    expectAnswers("PRODUCT_ROOT_D /first\n", first, "DUMP_D /d\n", first);
    expectAnswers("PRODUCT_ROOT_D /first\n", first, no_file, first);
    expectAnswers("DUMP_D /d\n", nothing, "PRODUCT_ROOT_D /late\n", nothing);
}

TEST_F(Autoprepend, InitialisationSaysWhetherItIsLoadedAndLeavesTheReadersError) {
    EXPECT_EQ(answers([] {
                  for (const char* const content : {no_file, a_folder, "A b\n", no_file}) {
                      setPanelFile(content);
                      errno = 0;
                      show(zrcConfInit());
                      show(std::strerror(errno));
                  }
              }),
              "-1\nNo such file or directory\n-1\nIs a directory\n0\nSuccess\n0\nSuccess\n");
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

// Counts the reader's reports: a missing file gives one for each attempt to load it, a file
// with one bad line one for each reading.
int attempts = 0;

void countAttempt(int /*level*/, const char* /*format*/, ...) { ++attempts; }

TEST_F(Autoprepend, EachLookupTriesOnceUntilTheFileIsLoaded) {
    EXPECT_EQ(answers([] {
                  message_fn = countAttempt;
                  for (const auto& ask : questions) {
                      ask();
                      show(attempts);
                  }
                  writePanelFile("PRODUCT_ROOT_D /opt/zrc\nBAD\n");
                  askAll();
                  zrcConfInit();
                  zrcConfGet("ABSENT");
                  zrcConfGetByIndex(1);
                  show(attempts);
              }),
              "(null)\n1\n(null)\n2\n/usr/local/zrc\n3\n/usr/local/zrc\n4\n" +
                  fourTimes("/opt/zrc") + "5\n");
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

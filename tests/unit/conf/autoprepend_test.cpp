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

// Whether the file is loaded, with the reader's error, and the four lookups of one variable.
void (*const questions[])() = {
    [] {
        errno = 0;
        show(zrcConfInit() == 0 ? "loaded" : std::strerror(errno));
    },
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

// What is in the file's place, whether that is loaded, and the variable's value then.
struct State {
    const char* content;
    std::string loaded;
    const char* value;
};

constexpr const char* no_file = nullptr;
constexpr const char* a_folder = "a folder";
const State unreadable[] = {{no_file, "No such file or directory", nullptr},
                            {a_folder, "Is a directory", nullptr}};
const State readable[] = {{"DUMP_D /d\n", "loaded", nullptr},
                          {"PRODUCT_ROOT_D /first\n", "loaded", "/first"},
                          {"PRODUCT_ROOT_D /second\n", "loaded", "/second"}};

void setPanelFile(const char* content) {
    removePanelFile();
    if (content == a_folder) {
        std::filesystem::create_directories(test::panel_file);
    } else if (content != no_file) {
        writePanelFile(content);
    }
}

// What the questions show then.
std::string shown(const State& state) {
    const std::string value = state.value == nullptr ? "(null)" : state.value;
    const std::string orDefault = state.value == nullptr ? "/usr/local/zrc" : value;
    return state.loaded + "\n" + value + "\n" + value + "\n" + orDefault + "\n" + orDefault +
           "\n";
}

// A process asks all before the file changes. Of all processes like it each one asks another
// question first afterwards: the load that was tried may be that of any of them.
void expectAnswers(const State& before, const State& after, const State& later) {
    std::size_t line = 0;
    for (const auto& first : questions) {
        setPanelFile(before.content);
        const std::string answered = answers([&] {
            askAll();
            setPanelFile(after.content);
            first();
            askAll();
        });
        const std::string all = shown(later);
        const std::size_t end = all.find('\n', line) + 1;
        EXPECT_EQ(answered, shown(before) + all.substr(line, end - line) + all);
        line = end;
    }
}

// A default is never kept as if the file had given it.
TEST_F(Autoprepend, InitialisationIsTriedAgainAfterAFailure) {
    for (const State& before : unreadable) {
        for (const State& after : readable) {
            expectAnswers(before, after, after);
        }
        for (const State& after : unreadable) {
            expectAnswers(before, after, after);
        }
    }
}

TEST_F(Autoprepend, LaterChangeOfTheFileIsNotSeen) {
    for (const State& before : readable) {
        for (const State& after : readable) {
            expectAnswers(before, after, before);
        }
        expectAnswers(before, unreadable[0], before);
    }
}

TEST_F(Autoprepend, ValueOfAnIndexIsLookedUpOnceAndAnAbsentOneEachTime) {
    writePanelFile("PRODUCT_ROOT_D /opt/zrc\n");
    EXPECT_EQ(answers([] {
                  const char* const value = zrcConfGetByIndex(product_root);
                  show(value == zrcConfGetByIndex(product_root) ? 1 : 0);
                  show(value == zrcConfGetDefaultByIndex(product_root) ? 1 : 0);
                  show(value == zrcConfGetDefault("PRODUCT_ROOT_D") ? 1 : 0);
                  show(lookups);
                  zrcConfGetByIndex(1);
                  zrcConfGetDefaultByIndex(1);
                  show(lookups);
              }),
              "1\n1\n1\n1\n3\n");
}

// Counts the reader's reports: a missing file gives one for each attempt to load it, a file
// with one bad line one for each reading.
int attempts = 0;

void countAttempt(int /*level*/, const char* /*format*/, ...) { ++attempts; }

TEST_F(Autoprepend, EachQuestionTriesOnceUntilTheFileIsLoaded) {
    EXPECT_EQ(answers([] {
                  message_fn = countAttempt;
                  askAll();
                  show(attempts);
                  writePanelFile("PRODUCT_ROOT_D /opt/zrc\nBAD\n");
                  askAll();
                  zrcConfGet("ABSENT");
                  zrcConfGetByIndex(1);
                  show(attempts);
              }),
              shown(unreadable[0]) + "5\n" + shown({"", "loaded", "/opt/zrc"}) + "6\n");
}

}  // namespace

#include "zarnic/conf/read_configuration.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "tests/unit/conf/table.h"

namespace {

using test::Reports;
using test::Table;
using test::TempDir;
using Words = std::vector<std::string>;
using namespace std::string_literals;

const std::string sorted = "sorted, room for 20\n";
const std::string bad = "12 Invalid variable definition ";
const std::string no_space = "\nExpected a space after variable name\n";
const std::string no_value = "\nExpected a value";

// What a text comes to, by hand; the model must say the same.
void expectRead(const std::string& text, const std::string& shown, const Words& reports) {
    const Reports said;
    const Table table;
    const std::string descriptors = test::openDescriptors();
    EXPECT_EQ(table.read(text), 0);
    EXPECT_EQ(test::openDescriptors(), descriptors);
    EXPECT_EQ(table.shown(), sorted + shown);
    EXPECT_EQ(said.all(), reports);
    model::Table expected;
    expected.readFile(text);
    EXPECT_EQ(model::shown(expected), sorted + shown);
}

TEST(ReadConfiguration, GivesThePairsOfTheFileSorted) {
    expectRead("", "", {});
    expectRead("B  two words\nA\t1\n\n# comment\nC x # comment\nD end",
               "A|1\nB|two words\nC|x\nD|end\n", {});
    expectRead("b 1\nB 2\n_ 3\na 4\n0 5\nab 6\n", "0|5\nB|2\n_|3\na|4\nab|6\nb|1\n", {});
    expectRead("NAME first\nOTHER x\nNAME second\n", "NAME|second\nOTHER|x\n", {});
    // Only a line feed ends a line, and it counts among the white space before the value's end.
    expectRead("A abc \nB abc  \nC abc \r\nD x\ry ", "A|abc \n\nB|abc  \nC|abc \r\nD|x\ry\n",
               {});
}

TEST(ReadConfiguration, NameJoinedByEqualsIsReportedAndTheRestIsRead) {
    expectRead("A 1\n NAME=abc\nB 2\n", "A|1\nB|2\n", {bad + "NAME=abc\n" + no_space});
}

TEST(ReadConfiguration, BadLinesAreReportedAsTheyAreAndKeepAnEarlierValue) {
    expectRead("\tNAME\nB 2\n", "B|2\n", {bad + "NAME\n" + no_value});
    expectRead("NAME abc\nNAME\nNAME=x\n", "NAME|abc\n",
               {bad + "NAME\n" + no_value, bad + "NAME=x\n" + no_space});
    expectRead("%s%n=%d\n", "", {bad + "%s%n=%d\n" + no_space});
}

TEST(ReadConfiguration, LineEndsAtItsFirstNulByte) {
    expectRead("A x\0y\n\0B y\nC\0 z\nD \0z\nE abc \0\n"s, "A|x\nE|abc\n",
               {bad + "C" + no_space, bad + "D " + no_value});
}

TEST(ReadConfiguration, LineMayBeOfAnyLength) {
    const std::string name(70000, 'N');
    const std::string value(300000, 'v');
    expectRead("A 1\n" + name + " " + value + "\nB 2\n#" + value + value,
               "A|1\nB|2\n" + name + "|" + value + "\n", {});
}

// --- failures ---

// What is left of a failed read of a table that holds B and then A.
void expectFailure(const std::string& path, int error, const std::string& report,
                   bool isSorted) {
    const Table table;
    table.add("B", "2");
    table.add("A", "1");
    const Reports reports;
    const std::string descriptors = test::openDescriptors();
    errno = 0;
    EXPECT_EQ(conf_read_file_r(path.c_str(), table.get()), -1);
    EXPECT_EQ(errno, error) << path;
    EXPECT_EQ(reports.all(), Words{"12 " + report});
    EXPECT_EQ(table.shown(), isSorted ? sorted + "A|1\nB|2\n" : "un" + sorted + "B|2\nA|1\n");
    EXPECT_EQ(test::openDescriptors(), descriptors);
}

TEST(ReadConfigurationFailures, FailedOpenKeepsItsErrorAndTheTable) {
    const TempDir directory;
    test::writeFile(directory / "file", "A 1\n");
    ASSERT_EQ(::symlink("loop", (directory / "loop").c_str()), 0);
    const std::pair<std::string, int> rows[] = {
        {directory / "missing", ENOENT},
        {directory / "%s%n%d", ENOENT},
        {"", ENOENT},
        {directory / "file/below", ENOTDIR},
        {directory / "loop", ELOOP},
        {directory / std::string(300, 'n'), ENAMETOOLONG},
    };
    for (const auto& [path, error] : rows) {
        expectFailure(
            path, error,
            "unable to open configuration file " + path + ": " + std::strerror(error) + "\n",
            false);
    }
}

TEST(ReadConfigurationFailures, FailedReadKeepsItsErrorAndSortsTheTable) {
    const std::string failed = "Unable to read configuration file: ";
    expectFailure("/", EISDIR, failed + "Is a directory", true);
    // Nothing is mapped at its start.
    expectFailure("/proc/self/mem", EIO, failed + "Input/output error", true);
}

TEST(ReadConfigurationFailures, TableIsInitialisedBeforeTheOpen) {
    const Table table;
    EXPECT_EQ(conf_read_file_r("/no/such/file", table.get()), -1);
    EXPECT_EQ(table.shown(), sorted);
}

const conf_table* table_being_read = nullptr;
std::string seen_at_the_report;

void lookAround(int /*level*/, const char* /*format*/, ...) {
    seen_at_the_report =
        test::openDescriptors() + (table_being_read->sorted != 0 ? "sorted" : "unsorted");
}

TEST(ReadConfigurationFailures, FailedReadIsReportedWhenAllElseIsDone) {
    const Table table;
    table.add("A", "1");
    const std::string descriptors = test::openDescriptors();
    table_being_read = table.get();
    message_fn = lookAround;
    EXPECT_EQ(conf_read_file_r("/", table.get()), -1);
    message_fn = console_message;
    EXPECT_EQ(seen_at_the_report, descriptors + "sorted");
}

// Has a signal sent to this process again and again, which interrupts a read that waits.
void interruptOften() {
    struct sigaction action = {};
    action.sa_handler = [](int) {};  // and no SA_RESTART
    ::sigaction(SIGUSR1, &action, nullptr);
    const pid_t reader = ::getpid();
    if (::fork() == 0) {
        while (::getppid() == reader) {
            ::kill(reader, SIGUSR1);
            ::usleep(1000);
        }
        std::_Exit(0);
    }
}

// Reads a text from a pipe that nobody ever closes, so that the text is followed by an
// interrupted read. A child does it: a reader that tries again would never come back.
std::string readInterrupted(const std::string& text) {
    const test::Captured child = test::inChild([&text] {
        const TempDir directory;
        const std::string path = directory / "pipe";
        const bool made = ::mkfifo(path.c_str(), 0600) == 0;
        const int kept = ::open(path.c_str(), O_RDWR);
        if (!made || ::write(kept, text.data(), text.size()) < 0) {
            std::_Exit(1);
        }
        interruptOften();
        const Reports reports;
        const Table table;
        const int result = conf_read_file_r(path.c_str(), table.get());
        std::printf("%d %s\n%s", result, std::strerror(errno), table.shown().c_str());
        for (const std::string& report : reports.all()) {
            std::printf("%s.", report.c_str());
        }
    });
    EXPECT_TRUE(child.exited(0)) << child.err;
    return child.out;
}

TEST(ReadConfigurationFailures, WhatCameBeforeAReadErrorIsKeptAndReported) {
    const std::string failed = "-1 Interrupted system call\n" + sorted;
    const std::string told = "12 Unable to read configuration file: Interrupted system call.";
    EXPECT_EQ(readInterrupted("B 2\nA 1\n"), failed + "A|1\nB|2\n" + told);
    EXPECT_EQ(readInterrupted("A=1\n"), failed + bad + "A=1\n" + no_space + "." + told);
}

}  // namespace

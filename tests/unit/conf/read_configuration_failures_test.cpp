#include "zarnic/conf/read_configuration.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "tests/support/capture.h"
#include "tests/unit/conf/table.h"
#include "zarnic/conf/diagnostics.h"

namespace {

using test::Report;
using test::Reports;
using test::Table;
using test::TempDir;

// What is left of a failed read: its result, its errno, and its reports.
struct Failure {
    int result;
    int error;
    std::vector<Report> reports;
};

Failure read(const std::string& path, const Table& table) {
    const Reports reports;
    errno = 0;
    const int result = conf_read_file_r(path.c_str(), table.get());
    const int error = errno;
    return {result, error, reports.all()};
}

void expectFailedOpen(const std::string& path, int error) {
    const Table table;
    const Failure failure = read(path, table);
    EXPECT_EQ(failure.result, -1);
    EXPECT_EQ(failure.error, error);
    const std::string text =
        "unable to open configuration file " + path + ": " + std::strerror(error) + "\n";
    EXPECT_EQ(failure.reports, (std::vector<Report>{{12, text}}));
}

void expectFailedRead(const Failure& failure, int error) {
    EXPECT_EQ(failure.result, -1);
    EXPECT_EQ(failure.error, error);
    const std::string text =
        std::string("Unable to read configuration file: ") + std::strerror(error);
    EXPECT_EQ(failure.reports, (std::vector<Report>{{12, text}}));
}

TEST(ReadConfigurationFailures, MissingFileIsReportedWithTheOpensError) {
    const TempDir directory;
    expectFailedOpen(directory / "missing", ENOENT);
}

TEST(ReadConfigurationFailures, EveryFailedOpenKeepsItsOwnError) {
    const TempDir directory;
    test::writeFile(directory / "file", "A 1\n");
    ASSERT_EQ(::symlink("loop", (directory / "loop").c_str()), 0);
    expectFailedOpen(directory / "file/below", ENOTDIR);
    expectFailedOpen(directory / "loop", ELOOP);
    expectFailedOpen(directory / std::string(300, 'n'), ENAMETOOLONG);
    expectFailedOpen("", ENOENT);
}

TEST(ReadConfigurationFailures, PercentSignsOfThePathAreReportedAsTheyAre) {
    const TempDir directory;
    expectFailedOpen(directory / "%s%n%d", ENOENT);
}

TEST(ReadConfigurationFailures, TableIsInitialisedBeforeTheOpen) {
    const TempDir directory;
    const Table table;
    read(directory / "missing", table);
    EXPECT_NE(table->data, nullptr);
    EXPECT_EQ(table->size, 20U);
    EXPECT_EQ(table->nmemb, 0U);
    EXPECT_EQ(table->sorted, 1);
}

TEST(ReadConfigurationFailures, FailedOpenLeavesTheEntriesAsTheyWere) {
    const TempDir directory;
    const Table table;
    ASSERT_EQ(conf_add_r("B", "2", table.get()), 0);
    ASSERT_EQ(conf_add_r("A", "1", table.get()), 0);
    read(directory / "missing", table);
    EXPECT_EQ(table->sorted, 0);
    EXPECT_EQ(table.names(), (std::vector<std::string>{"B", "A"}));
}

TEST(ReadConfigurationFailures, DirectoryIsAReadError) {
    const TempDir directory;
    const Table table;
    expectFailedRead(read(directory.path(), table), EISDIR);
}

TEST(ReadConfigurationFailures, ReadErrorKeepsItsErrorAcrossTheReport) {
    const Table table;
    expectFailedRead(read("/proc/self/mem", table), EIO);  // nothing is mapped at its start
}

TEST(ReadConfigurationFailures, TableIsSortedAfterAReadError) {
    const TempDir directory;
    const Table table;
    ASSERT_EQ(conf_add_r("B", "2", table.get()), 0);
    ASSERT_EQ(conf_add_r("A", "1", table.get()), 0);
    read(directory.path(), table);
    EXPECT_EQ(table->sorted, 1);
    EXPECT_EQ(table.names(), (std::vector<std::string>{"A", "B"}));
}

TEST(ReadConfigurationFailures, NoDescriptorIsLeft) {
    const TempDir directory;
    const std::string before = test::openDescriptors();
    const Table table;
    read(directory.path(), table);
    read(directory / "missing", table);
    EXPECT_EQ(test::openDescriptors(), before);
}

const conf_table* table_being_read = nullptr;
std::string seen_at_the_report;

void lookAround(int /*level*/, const char* /*format*/, ...) {
    seen_at_the_report =
        test::openDescriptors() + (table_being_read->sorted != 0 ? "sorted" : "unsorted");
}

TEST(ReadConfigurationFailures, FailedReadIsReportedWhenAllElseIsDone) {
    const TempDir directory;
    const Table table;
    ASSERT_EQ(conf_add_r("B", "2", table.get()), 0);
    ASSERT_EQ(conf_add_r("A", "1", table.get()), 0);
    const std::string descriptors = test::openDescriptors();
    table_being_read = table.get();
    message_fn = lookAround;
    EXPECT_EQ(conf_read_file_r(directory.path().c_str(), table.get()), -1);
    message_fn = console_message;
    EXPECT_EQ(seen_at_the_report, descriptors + "sorted");
}

void ignoreSignal(int /*signal*/) {}

// Has a signal sent to this process again and again, which interrupts a read that waits.
void interruptOften() {
    struct sigaction action = {};
    action.sa_handler = ignoreSignal;  // and no SA_RESTART
    ::sigaction(SIGUSR1, &action, nullptr);
    sigevent event = {};
    event.sigev_notify = SIGEV_SIGNAL;
    event.sigev_signo = SIGUSR1;
    timer_t timer = {};
    const itimerspec often = {{0, 1000000}, {0, 1000000}};
    if (::timer_create(CLOCK_MONOTONIC, &event, &timer) != 0 ||
        ::timer_settime(timer, 0, &often, nullptr) != 0) {
        std::perror("timer");
        std::_Exit(1);
    }
}

// Reads a text from a pipe that nobody ever closes, so that the text is followed by an
// interrupted read. A child does it: a reader that tries again would never come back.
test::Captured readInterrupted(const std::string& text) {
    return test::inChild([&text] {
        const TempDir directory;
        const std::string path = directory / "pipe";
        const bool made = ::mkfifo(path.c_str(), 0600) == 0;
        const int kept = ::open(path.c_str(), O_RDWR);
        if (!made || ::write(kept, text.data(), text.size()) < 0) {
            std::_Exit(1);
        }
        interruptOften();
        const Table table;
        const Failure failure = read(path, table);
        std::printf("%d %s %d:", failure.result, std::strerror(failure.error), table->sorted);
        for (const std::string& name : table.names()) {
            std::printf(" %s=%s", name.c_str(), table.value(name).c_str());
        }
        for (const Report& report : failure.reports) {
            std::printf("\n%d %s", report.level, report.text.c_str());
        }
    });
}

TEST(ReadConfigurationFailures, PairsBeforeAReadErrorStayAndAreSorted) {
    const test::Captured child = readInterrupted("B 2\nA 1\n");
    EXPECT_TRUE(child.exited(0)) << child.err;
    EXPECT_EQ(child.out,
              "-1 Interrupted system call 1: A=1 B=2\n"
              "12 Unable to read configuration file: Interrupted system call");
}

TEST(ReadConfigurationFailures, BadLineBeforeAReadErrorIsReportedFirst) {
    const test::Captured child = readInterrupted("A=1\n");
    EXPECT_TRUE(child.exited(0)) << child.err;
    EXPECT_EQ(child.out,
              "-1 Interrupted system call 1:\n"
              "12 Invalid variable definition A=1\n\nExpected a space after variable name\n\n"
              "12 Unable to read configuration file: Interrupted system call");
}

}  // namespace

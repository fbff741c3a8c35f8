#include "manager/running_service.h"

#include <cerrno>
#include <climits>
#include <iostream>
#include <type_traits>

#include "manager/manager.h"
#include "tests/unit/sys/runs.h"

// The linker gives the product this one (--wrap): a sleep that a signal seems to cut short.
extern "C" unsigned __wrap_sleep(unsigned seconds);
extern "C" unsigned __wrap_sleep(unsigned seconds) {
    std::cout << "sleep " << seconds << std::endl;
    return seconds - 1;
}

namespace {

using Text = std::string;
static_assert(std::is_same_v<decltype(readPidFile), std::string(Text, Text, Text)>);
static_assert(std::is_same_v<decltype(isServiceRunning), bool(Text, Text, Text)>);
static_assert(std::is_same_v<decltype(termByPidFile), void(Text, Text, Text)>);
static_assert(std::is_same_v<decltype(reloadByPidFile), void(Text, Text, Text)>);

class PidFile : public test::RunTest {
  protected:
    // Makes a file of this text; returns its path.
    std::string file(const std::string& text) const {
        test::writeFile(dir / "pid", text);
        return dir / "pid";
    }

    test::TempDir dir;
};

TEST_F(PidFile, TheTextIsReadWholeAndFromThePidFileOnly) {
    for (const std::string& text :
         {std::string(" 12 \n\n"), std::string("\0\xff\n\0", 4), std::string(5000, '1')}) {
        EXPECT_EQ(readPidFile("/any", "../name", file(text)), text);
        EXPECT_EQ(readPidFile(file(text), file(text), ""), "");
    }
}

// No process has this number: SIGHUP fails, and that is told only by the probe after the pause.
TEST_F(PidFile, AReloadPausesForFiveSecondsOnceAlsoWhenCutShortAndWhenTheSignalFailed) {
    const std::string pid = file("2147483647\n");
    const test::Captured child = test::isolated([&] {
        try {
            reloadByPidFile("", "", pid);
        } catch (const TUError& error) {
            std::cout << error.message() << std::endl;
        }
    });
    EXPECT_EQ(child.out, "sleep 5\nService reloading failed\n");
}

// For a number that an int does not hold the conversion stores the nearest one: a signal sent
// to that would be a lie.
TEST(PidText, TheNumberAtTheStartOfTheTextIsThePid) {
    const std::pair<std::string, int> rows[] = {
        {"1", 1},
        {"12\n", 12},
        {" \t\n\v\f\r12", 12},
        {"1 2", 1},
        {"12x99\n", 12},
        {"12-3", 12},
        {"12.5", 12},
        {"1e3", 1},
        {std::string("1\0002", 3), 1},
        {"+5", 5},
        {"007", 7},
        {"0x10", 0},
        {"-5\n", -5},
        {"00000000000000000000012", 12},
        {"2147483647", INT_MAX},
        {"-2147483648", INT_MIN},
    };
    for (const auto& [text, pid] : rows) {
        errno = ERANGE;  // as a number that did not fit leaves it
        EXPECT_EQ(pidFromText(text), pid) << text;
    }
    for (const char* const text :
         {"", "\n\n", "pid 12", "- 5", "+-5", "#12", "\xc2\xa0\x31", "2147483648",
          "-2147483649", "4294967297", "18446744073709551617", "9223372036854775807",
          "-9223372036854775808", "-99999999999999999999999999"}) {
        EXPECT_EQ(pidFromText(text), 0) << text;
    }
}

}  // namespace

#include "manager/running_service.h"

#include <climits>
#include <iostream>
#include <stdexcept>
#include <type_traits>
#include <utility>

#include "manager/manager.h"
#include "tests/unit/sys/runs.h"

// The linker gives the product this one (--wrap): a sleep that a signal seems to cut short.
extern "C" unsigned __wrap_sleep(unsigned seconds);
extern "C" unsigned __wrap_sleep(unsigned seconds) {
    std::cout << "sleep " << seconds << std::endl;
    return seconds - 1;
}

namespace {

static_assert(
    std::is_same_v<decltype(readPidFile), std::string(std::string, std::string, std::string)>);
static_assert(
    std::is_same_v<decltype(isServiceRunning), bool(std::string, std::string, std::string)>);
static_assert(
    std::is_same_v<decltype(termByPidFile), void(std::string, std::string, std::string)>);

class PidFile : public test::RunTest {
  protected:
    // Makes a file of this text; returns its path.
    std::string file(const std::string& text) const {
        test::writeFile(dir / "pid", text);
        return dir / "pid";
    }

    test::TempDir dir;
};

TEST_F(PidFile, TheTextIsReadWholeAndAsItIs) {
    for (const std::string& text :
         {std::string(" 12 \n\n"), std::string("\0\xff\n\0", 4), std::string(5000, '1')}) {
        EXPECT_EQ(readPidFile("", "", file(text)), text);
    }
}

TEST_F(PidFile, OnlyThePidFileIsUsed) {
    EXPECT_EQ(readPidFile("/any", "../name", file("12")), "12");
    EXPECT_EQ(readPidFile(file("12"), file("12"), ""), "");
}

// A directory, at which cat fails.
TEST_F(PidFile, AFailingCatIsThrownByEveryOperationAsNoLibraryError) {
    static_assert(!std::is_base_of_v<std::runtime_error, zarnic::TError>);
    test::isolated([&] {
        EXPECT_THROW(readPidFile("", "", dir.path()), std::runtime_error);
        EXPECT_THROW(isServiceRunning("", "", dir.path()), std::runtime_error);
        EXPECT_THROW(termByPidFile("", "", dir.path()), std::runtime_error);
        EXPECT_THROW(reloadByPidFile("", "", dir.path()), std::runtime_error);
    });
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

// What number a text names.

TEST(PidText, TheNumberAtTheStartOfTheTextIsThePid) {
    const std::pair<const char*, int> table[] = {
        {"1", 1},
        {"12\n", 12},
        {" 12", 12},
        {" \t\n\v\f\r12", 12},
        {"1 2", 1},
        {"12x99\n", 12},
        {"12.5", 12},
        {"1,234", 1},
        {"+5", 5},
        {"007", 7},
        {"0x10", 0},
        {"0\n", 0},
        {"-0", 0},
        {"-5\n", -5},
        {"2147483647", INT_MAX},
        {"12-3", 12},
        {"1e3", 1},
        {"00000000000000000000012", 12},
        {"-2147483648", INT_MIN},
    };
    for (const auto& [text, pid] : table) {
        EXPECT_EQ(pidFromText(text), pid) << text;
    }
}

TEST(PidText, ATextWithoutANumberAtItsStartIsNoProcess) {
    for (const char* const text : {"", " ", "\n", "\n\n", "x", "x12", "pid 12", "- 5", "--5",
                                   "+", "-", "+-5", "+ 5", ".5", "#12",
                                   "\xc2\xa0"
                                   "12"}) {
        EXPECT_EQ(pidFromText(text), 0) << text;
    }
}

// What the conversion stores then is the nearest number: a signal sent to that would be a lie.
TEST(PidText, ANumberThatAnIntDoesNotHoldIsNoProcess) {
    for (const char* const text :
         {"2147483648", "-2147483649", "4294967297", "18446744073709551617",
          "9223372036854775807", "-9223372036854775808", "9223372036854775808",
          "-9223372036854775809", "99999999999999999999999999",
          "-99999999999999999999999999"}) {
        EXPECT_EQ(pidFromText(text), 0) << text;
    }
}

TEST(PidText, EverySingleByteButADigitIsNoProcess) {
    for (int byte = 0; byte < 256; ++byte) {
        const int expected = byte >= '0' && byte <= '9' ? byte - '0' : 0;
        EXPECT_EQ(pidFromText(std::string(1, static_cast<char>(byte))), expected) << byte;
    }
}

TEST(PidText, OnlyWhiteSpaceASignOrADigitMayPrecedeTheNumber) {
    const std::string blanks = " \t\n\v\f\r+";
    for (int byte = 0; byte < 256; ++byte) {
        const char c = static_cast<char>(byte);
        int expected = blanks.find(c) != std::string::npos ? 34 : 0;
        expected = c == '-' ? -34 : expected;
        expected = c >= '0' && c <= '9' ? (c - '0') * 100 + 34 : expected;
        EXPECT_EQ(pidFromText(std::string(1, c) + "34"), expected) << byte;
    }
}

TEST(PidText, EveryByteButADigitEndsTheNumber) {
    for (int byte = 0; byte < 256; ++byte) {
        const char c = static_cast<char>(byte);
        const bool digit = c >= '0' && c <= '9';
        EXPECT_EQ(pidFromText(std::string("34") + c), digit ? 340 + (c - '0') : 34) << byte;
        EXPECT_EQ(pidFromText(std::string("34") + c + "5"), digit ? 3405 + 10 * (c - '0') : 34);
    }
}

}  // namespace

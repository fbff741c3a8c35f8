// What number a pid file's text names.

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <utility>

#include "manager/running_service.h"

namespace {

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

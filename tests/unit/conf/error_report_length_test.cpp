// Errors around the size of the first buffer: the system error is kept when it and the message
// are 4095 bytes at most, and is otherwise left out whole.

#include "zarnic/conf/diagnostics.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "tests/unit/conf/streams.h"

namespace {

using test::Streams;

constexpr std::size_t fits = 4095;

// A text in which no byte can stand for another.
std::string message(std::size_t length) {
    std::string text;
    while (text.size() < length) {
        text += std::to_string(text.size()) + ' ';
    }
    text.resize(length);
    if (length > 0 && text.back() == ' ') {
        text.back() = '.';
    }
    return text;
}

std::string suffix(int error) {
    return "\nSystem error " + std::to_string(error) + ": " + std::strerror(error);
}

std::string twice(const std::string& line) { return "err:" + line + "out:" + line; }

// The texts are too long to be shown: a failure tells their length only.
std::string expected(const std::string& text, int error) {
    const bool kept = error != 0 && text.size() + suffix(error).size() <= fits;
    return twice(text + (kept ? suffix(error) : "") + "\n");
}

std::string reported(const std::string& text, int error) {
    const Streams streams;
    errno = error;
    // Several arguments: a second formatting has to see each of them again.
    report_error(0, 1, "%s%c%s%s", text.substr(0, 1).c_str(), text.at(1),
                 text.substr(2, 5).c_str(), text.substr(7).c_str());
    return streams.flushed();
}

class ErrorReportLength : public testing::TestWithParam<int> {};

TEST_P(ErrorReportLength, MessageIsWholeAndTheSystemErrorWholeOrAbsent) {
    const int error = GetParam();
    for (std::size_t length = 4000; length <= 4200; ++length) {
        const std::string text = message(length);
        ASSERT_TRUE(reported(text, error) == expected(text, error)) << length;
    }
}

TEST_P(ErrorReportLength, LongMessageIsWholeAndNeverLengthened) {
    const int error = GetParam();
    for (const std::size_t length : {5000U, 8190U, 8191U, 8192U, 8193U, 20000U}) {
        const std::string text = message(length);
        ASSERT_TRUE(reported(text, error) == expected(text, error)) << length;
    }
}

TEST_P(ErrorReportLength, LineFeedAtTheEndOfALongMessageIsNotDoubled) {
    const int error = GetParam();
    for (const std::size_t length : {4094U, 4095U, 4096U, 4097U, 8192U}) {
        const std::string line = message(length - 1) + "\n";
        ASSERT_TRUE(reported(line, error) == twice(line)) << length;
    }
}

INSTANTIATE_TEST_SUITE_P(Errno, ErrorReportLength,
                         testing::Values(0, ENOENT, EPERM, EILSEQ, ENOTEMPTY, 9999));

// The walk above has to pass over the edge in both directions for every error.
TEST(ErrorReportLengthEdge, LiesInsideOfTheWalk) {
    for (const int error : {ENOENT, EPERM, EILSEQ, ENOTEMPTY, 9999}) {
        EXPECT_GT(fits - suffix(error).size(), 4000U);
        EXPECT_LT(fits - suffix(error).size(), 4200U);
    }
}

}  // namespace

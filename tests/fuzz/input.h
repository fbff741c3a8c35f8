// Takes a fuzzer's bytes apart. Written here, so that the corpus can be replayed by compilers
// that have no fuzzer of their own.

#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace fuzz {

class Input {
  public:
    Input(const std::uint8_t* data, std::size_t size)
        : bytes_(reinterpret_cast<const char*>(data), size) {}

    bool empty() const { return at_ == bytes_.size(); }

    // The next byte, 0 at the end.
    unsigned char byte() { return empty() ? 0 : static_cast<unsigned char>(bytes_[at_++]); }

    // What comes before the next `end`, which is skipped; all that is left when there is none.
    std::string until(char end) {
        const std::size_t found = bytes_.find(end, at_);
        std::string field =
            bytes_.substr(at_, found == std::string::npos ? found : found - at_);
        at_ = found == std::string::npos ? bytes_.size() : found + 1;
        return field;
    }

    std::string rest() {
        std::string field = bytes_.substr(at_);
        at_ = bytes_.size();
        return field;
    }

  private:
    std::string bytes_;
    std::size_t at_ = 0;
};

// Up to 60 bytes from `start` on, the unprintable ones in hexadecimal.
inline void show(const char* label, std::string_view text, std::size_t start) {
    std::fprintf(stderr, "%s (%zu bytes): ", label, text.size());
    for (const char c : text.substr(std::min(start, text.size()), 60)) {
        std::fprintf(stderr, c > ' ' && c < 127 ? "%c" : "\\x%02x",
                     static_cast<unsigned>(static_cast<unsigned char>(c)));
    }
    std::fputc('\n', stderr);
}

// Both texts from shortly before their first difference, and the end of the process: to the
// fuzzer that is a finding.
[[noreturn]] inline void disagree(const char* where, std::string_view expected,
                                  std::string_view actual) {
    const std::size_t common = static_cast<std::size_t>(
        std::mismatch(expected.begin(), expected.end(), actual.begin(), actual.end()).first -
        expected.begin());
    const std::size_t start = common < 20 ? 0 : common - 20;
    std::fprintf(stderr, "the model disagrees on %s, from byte %zu\n", where, common);
    show("expected", expected, start);
    show("actual", actual, start);
    std::abort();
}

inline void same(const char* where, std::string_view expected, std::string_view actual) {
    if (expected != actual) {
        disagree(where, expected, actual);
    }
}

inline void same(const char* where, std::uint64_t expected, std::uint64_t actual) {
    if (expected != actual) {
        disagree(where, std::to_string(expected), std::to_string(actual));
    }
}

}  // namespace fuzz

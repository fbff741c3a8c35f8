// Records what goes out of the standard streams, in the order in which it leaves them.

#pragma once

#include <sys/types.h>

#include <cstdio>
#include <string>
#include <utility>

namespace model {

// Everything that goes to the two streams, one letter for a stream before each piece of it.
inline std::string written;

inline ssize_t keepWritten(void* stream, const char* text, std::size_t size) {
    const char letter = *static_cast<const char*>(stream);
    static char last = '\0';
    if (written.empty() || last != letter) {
        written += letter;
    }
    last = letter;
    written.append(text, size);
    return static_cast<ssize_t>(size);
}

inline FILE* recorder(const char* letter) {
    return ::fopencookie(const_cast<char*>(letter), "w",
                         {nullptr, keepWritten, nullptr, nullptr});
}

// Runs with the standard streams recorded, and tells what went to them: "Etext" for standard
// error, "Otext" for standard output. Whatever is left in a buffer afterwards was not flushed,
// and is missing.
template <class Operation>
std::string writtenBy(const Operation& operation) {
    static FILE* const error = recorder("E");
    static FILE* const output = recorder("O");
    FILE* const realError = std::exchange(stderr, error);
    FILE* const realOutput = std::exchange(stdout, output);
    // Room for all, once: a fuzzer takes a block that outlives its run for a leak to look into.
    written.reserve(std::size_t{1} << 16U);
    written.clear();
    operation();
    stderr = realError;
    stdout = realOutput;
    return written;
}

}  // namespace model

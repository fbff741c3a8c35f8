// The peers that are written out by hand: what a careful programmer would do without a library,
// one system call after the other. Every failure ends the benchmark; a child that cannot become
// its program ends with 127.

#pragma once

#include <sys/types.h>

#include <string>

namespace plain {

// Forks and runs argv, found through PATH. With `output` not negative, the child's standard
// output is that descriptor.
pid_t start(const char* const* argv, int output = -1);

// Starts argv by posix_spawn, found through PATH.
pid_t spawn(const char* const* argv);

// Waits for a child; anything but an exit code of 0 ends the benchmark.
void wait(pid_t pid);

// Everything that argv prints, read in chunks of 1024 bytes.
std::string capture(const char* const* argv);

// The lowest descriptor that is free now.
int lowestFreeDescriptor();

[[noreturn]] void fail(const char* what);

}  // namespace plain

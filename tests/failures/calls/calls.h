// The system calls by the names that the fault matrix uses, and what each acts on.

#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>

struct Called {
    // One name per purpose, whatever variant the C library uses: fork, pipe, wait, open, stat
    // (of a path), fstat (of a descriptor), sleep; brk-query, a brk that only asks. Any other
    // has the kernel's own name.
    std::string name;
    // Paths, descriptors, numbers and written text, a word each, with other bytes than
    // printable ones, and "%", as %XX.
    std::string subject;
};

// The system call that the process has entered.
Called called(pid_t process, std::uint64_t number, const std::uint64_t* arguments);

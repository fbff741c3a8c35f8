// The system calls by the names that the fault matrix uses, and what each acts on.

#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>

// A system call as it was entered.
struct Call {
    std::uint64_t number = 0;
    std::uint64_t arguments[6] = {};
};

// One name per purpose, whatever variant the C library uses: fork, pipe, wait, open, stat (of a
// path), fstat (of a descriptor), sleep; brk-query, a brk that only asks. Any other has the
// kernel's own name.
std::string nameOf(pid_t process, const Call& call);

// The path, descriptors, or process and signal that the call acts on, as one word per item,
// with other bytes than printable ones, and "%", as %XX. Written text is part of it.
std::string subjectOf(pid_t process, const Call& call);

#include "tests/failures/calls/calls.h"

#include <sys/syscall.h>
#include <sys/uio.h>

#include <algorithm>
#include <array>

#include "tests/support/escaped.h"

using test::escaped;

namespace {

enum class Subject { none, path, numbers, text };

struct Known {
    std::uint64_t number;
    const char* name;
    Subject subject;
    int from;  // the first argument of the subject
    int count = 1;
};

// The calls that the program makes itself, by what they are for.
constexpr std::array known = {
    Known{SYS_clock_nanosleep, "sleep", Subject::none, 0},
    Known{SYS_clone, "fork", Subject::none, 0},
    Known{SYS_close, "close", Subject::numbers, 0},
    Known{SYS_dup2, "dup2", Subject::numbers, 0, 2},
    Known{SYS_execve, "execve", Subject::path, 0},
    Known{SYS_fstat, "fstat", Subject::numbers, 0},
    Known{SYS_kill, "kill", Subject::numbers, 0, 2},
    Known{SYS_newfstatat, "stat", Subject::path, 1},
    Known{SYS_openat, "open", Subject::path, 1},
    Known{SYS_pipe2, "pipe", Subject::none, 0},
    Known{SYS_read, "read", Subject::numbers, 0},
    Known{SYS_unlink, "unlink", Subject::path, 0},
    Known{SYS_wait4, "wait", Subject::none, 0},
    Known{SYS_write, "write", Subject::text, 1},
};

// Every call under the kernel's own name, from the system's headers.
struct Named {
    std::uint64_t number;
    const char* name;
};

constexpr Named named[] = {
#include "call_names.inc"
};

template <class Table>
auto find(const Table& table, std::uint64_t number) {
    const auto* const found =
        std::find_if(std::begin(table), std::end(table),
                     [number](const auto& one) { return one.number == number; });
    return found == std::end(table) ? nullptr : found;
}

std::string memory(pid_t process, std::uint64_t address, std::size_t length) {
    std::string bytes(length, '\0');
    const iovec here{bytes.data(), length};
    const iovec there{reinterpret_cast<void*>(address), length};
    const ssize_t got = ::process_vm_readv(process, &here, 1, &there, 1, 0);
    bytes.resize(got < 0 ? 0 : static_cast<std::size_t>(got));
    return bytes;
}

// Byte by byte, because a longer read could run into a page that is not there.
std::string path(pid_t process, std::uint64_t address) {
    std::string text;
    while (text.size() < 4096) {
        const std::string byte = memory(process, address + text.size(), 1);
        if (byte.empty() || byte[0] == '\0') {
            break;
        }
        text += byte;
    }
    return text;
}

std::string number(std::uint64_t argument) {
    return std::to_string(static_cast<int>(argument));
}

}  // namespace

std::string nameOf(pid_t process, const Call& call) {
    if (call.number == SYS_brk && call.arguments[0] == 0) {
        return "brk-query";
    }
    // The C library asks for a descriptor's status with an empty path.
    if (call.number == SYS_newfstatat && call.arguments[3] != 0 &&
        path(process, call.arguments[1]).empty()) {
        return "fstat";
    }
    if (const Known* const ours = find(known, call.number)) {
        return ours->name;
    }
    const Named* const other = find(named, call.number);
    return other != nullptr ? other->name : "syscall-" + std::to_string(call.number);
}

std::string subjectOf(pid_t process, const Call& call) {
    const Known* const one = find(known, call.number);
    if (one == nullptr || one->subject == Subject::none) {
        return {};
    }
    const std::uint64_t* const argument = call.arguments + one->from;
    if (one->subject == Subject::path) {
        return escaped(path(process, *argument));
    }
    if (one->subject == Subject::text) {
        const std::size_t length = std::min<std::uint64_t>(argument[1], 4096);
        return number(call.arguments[0]) + ' ' + escaped(memory(process, argument[0], length));
    }
    std::string numbers = number(argument[0]);
    for (int i = 1; i < one->count; ++i) {
        numbers += ' ' + number(argument[i]);
    }
    return numbers;
}

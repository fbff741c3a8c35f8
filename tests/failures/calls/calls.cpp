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

constexpr std::array known = {
    Known{SYS_arch_prctl, "arch_prctl", Subject::none, 0},
    Known{SYS_brk, "brk", Subject::none, 0},
    Known{SYS_clock_nanosleep, "sleep", Subject::none, 0},
    Known{SYS_clone, "fork", Subject::none, 0},
    Known{SYS_close, "close", Subject::numbers, 0},
    Known{SYS_dup2, "dup2", Subject::numbers, 0, 2},
    Known{SYS_execve, "execve", Subject::path, 0},
    Known{SYS_exit_group, "exit_group", Subject::none, 0},
    Known{SYS_futex, "futex", Subject::none, 0},
    Known{SYS_getpid, "getpid", Subject::none, 0},
    Known{SYS_getrandom, "getrandom", Subject::none, 0},
    Known{SYS_gettid, "gettid", Subject::none, 0},
    Known{SYS_kill, "kill", Subject::numbers, 0, 2},
    Known{SYS_lseek, "lseek", Subject::numbers, 0},
    Known{SYS_mmap, "mmap", Subject::none, 0},
    Known{SYS_mprotect, "mprotect", Subject::none, 0},
    Known{SYS_mremap, "mremap", Subject::none, 0},
    Known{SYS_munmap, "munmap", Subject::none, 0},
    Known{SYS_newfstatat, "stat", Subject::path, 1},
    Known{SYS_fstat, "fstat", Subject::numbers, 0},
    Known{SYS_openat, "open", Subject::path, 1},
    Known{SYS_pipe2, "pipe", Subject::none, 0},
    Known{SYS_prlimit64, "prlimit64", Subject::none, 0},
    Known{SYS_read, "read", Subject::numbers, 0},
    Known{SYS_readlink, "readlink", Subject::path, 0},
    Known{SYS_rseq, "rseq", Subject::none, 0},
    Known{SYS_rt_sigaction, "rt_sigaction", Subject::none, 0},
    Known{SYS_rt_sigprocmask, "rt_sigprocmask", Subject::none, 0},
    Known{SYS_set_robust_list, "set_robust_list", Subject::none, 0},
    Known{SYS_set_tid_address, "set_tid_address", Subject::none, 0},
    Known{SYS_setsid, "setsid", Subject::none, 0},
    Known{SYS_sysinfo, "sysinfo", Subject::none, 0},
    Known{SYS_tgkill, "tgkill", Subject::none, 0},
    Known{SYS_unlink, "unlink", Subject::path, 0},
    Known{SYS_wait4, "wait", Subject::none, 0},
    Known{SYS_write, "write", Subject::text, 1},
};

const Known* find(std::uint64_t number) {
    const auto* const found =
        std::find_if(known.begin(), known.end(),
                     [number](const Known& one) { return one.number == number; });
    return found == known.end() ? nullptr : found;
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
    const Known* const one = find(call.number);
    if (one == nullptr) {
        return "syscall-" + std::to_string(call.number);
    }
    if (call.number == SYS_brk && call.arguments[0] == 0) {
        return "brk-query";
    }
    // The C library asks for a descriptor's status with an empty path.
    const bool ofDescriptor = call.number == SYS_newfstatat && call.arguments[3] != 0 &&
                              path(process, call.arguments[1]).empty();
    return ofDescriptor ? "fstat" : one->name;
}

std::string subjectOf(pid_t process, const Call& call) {
    const Known* const one = find(call.number);
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

#include "tests/failures/calls/calls.h"

#include <sys/syscall.h>
#include <sys/uio.h>

#include <algorithm>
#include <iterator>

#include "tests/support/escaped.h"

namespace {

// A call, and its arguments that are its subject: a path, a number, written text with its
// length in the next one, or (-) nothing of interest.
struct Known {
    std::uint64_t number;
    const char* name;
    const char* subject = "";
};

// The calls that the program makes itself, by what they are for.
constexpr Known known[] = {
    {SYS_clock_nanosleep, "sleep"}, {SYS_clone, "fork"},
    {SYS_close, "close", "n"},      {SYS_dup2, "dup2", "nn"},
    {SYS_execve, "execve", "p"},    {SYS_fstat, "fstat", "n"},
    {SYS_kill, "kill", "nn"},       {SYS_newfstatat, "stat", "-p"},
    {SYS_openat, "open", "-p"},     {SYS_pipe2, "pipe"},
    {SYS_read, "read", "n"},        {SYS_rt_sigaction, "rt_sigaction", "n"},
    {SYS_unlink, "unlink", "p"},    {SYS_wait4, "wait"},
    {SYS_write, "write", "nt"},
};

// Every call under the kernel's own name, from the system's headers.
constexpr Known named[] = {
#include "call_names.inc"
};

template <std::size_t N>
const Known* find(const Known (&table)[N], std::uint64_t number) {
    const Known* const found =
        std::find_if(std::begin(table), std::end(table),
                     [number](const Known& one) { return one.number == number; });
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

// To the end of each page: the next one may not be there.
std::string path(pid_t process, std::uint64_t address) {
    std::string text;
    std::string page;
    do {
        const std::uint64_t at = address + text.size();
        page = memory(process, at, 4096 - at % 4096);
        text += page;
    } while (!page.empty() && text.find('\0') == std::string::npos);
    return text.substr(0, text.find('\0'));
}

std::string subjectOf(pid_t process, const char* kinds, const std::uint64_t* argument) {
    std::string words;
    for (; *kinds != '\0'; ++kinds, ++argument) {
        if (*kinds == 'p') {
            words += ' ' + test::escaped(path(process, *argument));
        } else if (*kinds == 'n') {
            words += ' ' + std::to_string(static_cast<int>(*argument));
        } else if (*kinds == 't') {
            const std::size_t length = std::min<std::uint64_t>(argument[1], 4096);
            words += ' ' + test::escaped(memory(process, *argument, length));
        }
    }
    return words.empty() ? words : words.substr(1);
}

}  // namespace

Called called(pid_t process, std::uint64_t number, const std::uint64_t* arguments) {
    if (number == SYS_brk && arguments[0] == 0) {
        return {"brk-query", ""};
    }
    // The C library asks for a descriptor's status with an empty path.
    if (number == SYS_newfstatat && arguments[3] != 0 && path(process, arguments[1]).empty()) {
        return {"fstat", subjectOf(process, "n", arguments)};
    }
    if (const Known* const ours = find(known, number)) {
        return {ours->name, subjectOf(process, ours->subject, arguments)};
    }
    const Known* const other = find(named, number);
    return {other != nullptr ? other->name : "syscall-" + std::to_string(number), ""};
}

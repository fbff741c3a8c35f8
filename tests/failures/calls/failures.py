"""The failures of a run's calls: the errors that the kernel really gives, one at a time."""

from dataclasses import dataclass
from errno import (
    E2BIG, EACCES, EAGAIN, EBUSY, ECHILD, EINTR, EIO, EMFILE, ENFILE, ENOENT, ENOMEM, ENOSPC,
    ENOSYS, EPERM, EPIPE, EROFS, ESRCH, ETXTBSY, errorcode,
)

import library
from world import Astray

# By the names that fail_call notes. Descriptors and addresses are the program's own, so EBADF
# and EFAULT are not among them.
ERRORS = {
    "brk": (ENOMEM,),
    "close": (EIO, EINTR),
    "dup2": (EBUSY, EINTR, EMFILE),
    "execve": (ENOENT, EACCES, ENOMEM, EIO, E2BIG, ETXTBSY),
    "fork": (EAGAIN, ENOMEM),
    "fstat": (EIO, ENOMEM),
    "kill": (EPERM, ESRCH),
    "mmap": (ENOMEM, EAGAIN),
    "mprotect": (ENOMEM,),
    "open": (EACCES, ENFILE, EMFILE, EIO, EINTR),
    "pipe": (EMFILE, ENFILE),
    "read": (EIO, EINTR),
    "setsid": (EPERM,),
    "sleep": (EINTR,),
    "stat": (EACCES, ENOENT, EIO, ENOMEM),
    "unlink": (EACCES, EROFS, EBUSY),
    "wait": (EINTR, ECHILD),
    "write": (ENOSPC, EPIPE, EIO, EINTR),
}

# Memory is the C library's to ask for, wherever it does.
MEMORY = ("brk", "mmap", "mprotect")

# The kernel always accepts these, with the arguments that programs and libraries give them.
CANNOT_FAIL = {
    "arch_prctl", "brk-query", "exit_group", "futex", "getpid", "gettid", "munmap", "rt_sigaction",
    "rt_sigprocmask", "set_tid_address", "sysinfo",
}


@dataclass(frozen=True)
class Failure:
    """The k-th such call of a process fails, and as many after it as come to be `times`."""

    process: str
    call: str
    k: int
    error: int
    times: int = 1
    ours: bool = True  # and not a call that the C library makes for itself

    def hits(self, process, call, k):
        return (process, call) == (self.process, self.call) and 0 <= k - self.k < self.times

    def options(self):
        """What fail_call is told."""
        return [f"--fail={self.process}:{self.call}:{k}:{self.error}"
                for k in range(self.k, self.k + self.times)]

    def __str__(self):
        again = " twice" if self.times > 1 else ""
        return f"{self.call} {self.k} of {self.process}, {errorcode[self.error]}{again}"


def failures(calls):
    """Every failure of one of the calls, always in the same order; a wait is also interrupted
    twice in a row, and memory is also used up from each call on that takes some."""
    begun = library.length_of_start(calls)
    numbered = sorted(enumerate(calls),
                      key=lambda entry: [int(birth) for birth in entry[1].process.split(".")])
    found = []
    for number, call in numbered:
        ours = number >= begun and call.name in ERRORS and call.name not in MEMORY
        found += [Failure(call.process, call.name, call.k, error, ours=ours)
                  for error in errors(call) if not fails_anyway(call, error)]
        if call.name == "wait":
            found.append(Failure(call.process, call.name, call.k, EINTR, times=2))
    memory = sum(call.name in ("brk", "mmap") for call in calls if call.process == "1")
    return found + [Failure("1", "memory", k, ENOMEM, ours=False) for k in range(1, memory + 1)]


def errors(call):
    """The errors of a call. One that only the C library makes is as if the kernel did not have
    it: the library does without, or ends the program."""
    if call.name in CANNOT_FAIL:
        return ()
    if call.name in library.names():
        return ERRORS.get(call.name, (ENOSYS,))
    if call.name not in ERRORS:
        raise Astray(f"neither the program nor the C library is known to call {call.name}")
    return ERRORS[call.name]


def fails_anyway(call, error):
    """Whether the base run has that very error; of a descriptor that is not open, the kernel
    reports this before all else. A write into a pipe is none of these: it depends on who is
    faster, and the failure is to be tried in any case."""
    closed = call.name in ("close", "dup2") and call.result < 0
    return closed or call.name != "write" and call.result == -error

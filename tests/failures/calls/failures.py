"""The errors that each system call can really give, and the calls that cannot fail."""

from dataclasses import dataclass
from errno import (
    E2BIG, EACCES, EAGAIN, EBUSY, ECHILD, EINTR, EIO, EMFILE, ENFILE, ENOENT, ENOMEM, ENOSPC,
    ENOSYS, EPERM, EPIPE, EROFS, ESRCH, ETXTBSY, errorcode,
)

# By the names that fail_call notes. Descriptors and addresses are the program's own, so EBADF
# and EFAULT are not among them.
ERRORS = {
    "brk": (ENOMEM,),
    "close": (EIO, EINTR),
    "dup2": (EBUSY, EINTR, EMFILE),
    "execve": (ENOENT, EACCES, ENOMEM, EIO, E2BIG, ETXTBSY),
    "fork": (EAGAIN, ENOMEM),
    "fstat": (EIO, ENOMEM),
    "getrandom": (EAGAIN,),
    "kill": (EPERM, ESRCH),
    "mmap": (ENOMEM, EAGAIN),
    "mprotect": (ENOMEM,),
    "open": (EACCES, ENFILE, EMFILE, EIO, EINTR),
    "pipe": (EMFILE, ENFILE),
    "prlimit64": (EPERM,),
    "read": (EIO, EINTR),
    "readlink": (EACCES, ENOENT),
    "rseq": (ENOSYS,),
    "set_robust_list": (ENOSYS,),
    "setsid": (EPERM,),
    "sleep": (EINTR,),
    "stat": (EACCES, ENOENT, EIO, ENOMEM),
    "unlink": (EACCES, EROFS, EBUSY),
    "wait": (EINTR, ECHILD),
    "write": (ENOSPC, EPIPE, EIO, EINTR),
}

# Called with arguments that the kernel always accepts.
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
    twice in a row, and memory is also used up from each call on that takes some. A call that is
    neither in ERRORS nor in CANNOT_FAIL is a mistake in this table and raises KeyError."""
    found = []
    for call in sorted(calls, key=lambda call: [int(number) for number in call.process.split(".")]):
        if call.name not in CANNOT_FAIL:
            found += [Failure(call.process, call.name, call.k, error)
                      for error in ERRORS[call.name] if not fails_anyway(call, error)]
        if call.name == "wait":
            found.append(Failure(call.process, call.name, call.k, EINTR, times=2))
    memory = sum(call.name in ("brk", "mmap") for call in calls if call.process == "1")
    return found + [Failure("1", "memory", k, ENOMEM) for k in range(1, memory + 1)]


def fails_anyway(call, error):
    """Whether the base run has that very error; of a descriptor that is not open, the kernel
    reports this before all else. A write into a pipe is none of these: it depends on who is
    faster, and the failure is to be tried in any case."""
    closed = call.name in ("close", "dup2") and call.result < 0
    return closed or call.name != "write" and call.result == -error

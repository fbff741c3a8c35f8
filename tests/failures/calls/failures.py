"""The failures of a run's calls: the errors that the kernel really gives, one at a time."""

from collections import Counter
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
MEMORY = ("brk", "mmap", "mprotect", "munmap")

# The kernel always accepts these, with the arguments that programs and libraries give them.
CANNOT_FAIL = {
    "arch_prctl", "brk-query", "exit_group", "futex", "getpid", "gettid", "munmap", "rt_sigaction",
    "rt_sigprocmask", "set_tid_address", "sysinfo",
}

# What can be used up: from one call on all of these fail.
USED_UP = {
    "memory": (("brk", "mmap"), ENOMEM),
    "descriptors": (("open", "pipe"), EMFILE),
    "processes": (("fork",), EAGAIN),
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

    def error_of(self, process, call):
        """The error of the call that the model's process has just made, or 0."""
        hit = ((process.name, call) == (self.process, self.call)
               and 0 <= process.made[call] - self.k < self.times)
        return self.error if hit else 0

    def options(self):
        """What fail_call is told."""
        return [f"--fail={self.process}:{self.call}:{k}:{self.error}"
                for k in range(self.k, self.k + self.times)]

    def __str__(self):
        again = " twice" if self.times > 1 else ""
        return f"{self.call} {self.k} of {self.process}, {errorcode[self.error]}{again}"


@dataclass(frozen=True)
class Shortage:
    """From the k-th call on that takes some of it nothing is left, in any process."""

    call: str
    k: int

    @property
    def ours(self):
        return self.call != "memory"

    def error_of(self, process, call):
        takers, error = USED_UP[self.call]
        made = sum(process.since_first[one] for one in takers)
        return error if call in takers and made >= self.k else 0

    def options(self):
        takers, error = USED_UP[self.call]
        return [f"--fail=1:{','.join(takers)}:{self.k}+:{error}"]

    def __str__(self):
        return f"no {self.call} from call {self.k} on"


def failures(calls):
    """Every failure of one of the calls, always in the same order; a wait is also interrupted
    twice in a row, and memory, descriptors and processes are also used up from each call on."""
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
    return found + [Shortage(what, k + 1) for what, (takers, _) in USED_UP.items()
                    for k in range(most_in_a_line(calls, takers))]


def most_in_a_line(calls, names):
    """How many of these calls a process and those that it comes from make, at most."""
    made = Counter(call.process for call in calls if call.name in names)
    return max(sum(count for process, count in made.items()
                   if f"{one}.".startswith(f"{process}.")) for one in ["1", *made])


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

"""Little of what a run needs: descriptors, processes, room for files, memory. What comes of each
call that fails so, tests/failures/calls tells; here the kernel itself refuses."""

import os
import resource
import signal
from pathlib import Path

import pytest

from commands import Outcome, ORDINARY, run
from special_files import make_link

NO_FILE = "Too many open files\n"
# A user of this private root's own: the kernel counts a user's processes on the whole machine, and
# other tests run at the same time.
USER = 20_000 + os.stat("/proc/self/ns/pid").st_ino % 40_000


def limited(kind, amount):
    return lambda: resource.setrlimit(kind, (amount, amount))


def megabytes(count):
    return limited(resource.RLIMIT_AS, count << 20)


# 0, 1 and 2 are open. A capture takes two more and keeps one of them; the text of the errors file
# takes two for as long as its cat is made; /dev/null takes one.
@pytest.mark.parametrize("name, count, expected", [
    ("service-started", 4, Outcome(1, NO_FILE)),
    ("service-started", 5, ORDINARY["service-started"]),
    ("kill-service", 5, Outcome(1, NO_FILE)),
    ("kill-service", 6, ORDINARY["kill-service"]),
    ("restart-service", 6, ORDINARY["restart-service"].but(effect="terminated")),
    ("restart-service", 7, ORDINARY["restart-service"]),
    ("start-daemon", 4, ORDINARY["start-daemon"].but(effect="")),
    ("start-foreground", 5, ORDINARY["start-foreground"]),
])
def test_few_descriptors(plain_host, name, count, expected):
    assert run(plain_host, name, prepare=limited(resource.RLIMIT_NOFILE, count)) == expected


def processes(count):
    """So many processes, as an ordinary user: root is not held to it."""
    ranges = [map(int, line.split()) for line in
              Path("/proc/self/uid_map").read_text().splitlines()]
    if not any(first <= USER < first + length for first, _, length in ranges):
        pytest.skip(f"user {USER} is not mapped in this user namespace")

    def become():
        os.setgroups([])
        os.setgid(USER)
        os.setuid(USER)
        limited(resource.RLIMIT_NPROC, count)()

    return become


@pytest.mark.parametrize("name, line", [
    ("start-foreground", "Resource temporarily unavailable\n"),
    ("start-daemon", "Unable to run as daemon\n"),
])
def test_no_child_at_all(open_host, name, line):
    assert run(open_host, name, prepare=processes(1)) == Outcome(1, line)


# The child that is to be the cat of the errors file has one of its own. The three that detach a
# daemon may all be there still. The server is root's: this user may not signal it.
@pytest.mark.parametrize("name, count", [("start-foreground", 3), ("restart-service", 6)])
def test_room_for_every_process(open_host, name, count):
    assert run(open_host, name, prepare=processes(count)) == Outcome(0, "", "errors: 0")


# Standard output is a file here, and so is what is saved: nothing can be written to either.
# cp empties the old file before it finds out.
NO_ROOM = {
    "save-to-config-file": {"effect": ""},
    "restart-service": {"effect": "terminated, errors: "},
    "start-daemon": {"effect": "errors: "},
    "start-foreground": {"effect": "errors: "},
}


@pytest.mark.parametrize("disposition", [signal.SIG_IGN, signal.SIG_DFL])
@pytest.mark.parametrize("name", ORDINARY)
def test_files_may_not_grow(plain_host, name, disposition):
    """The signal is the kernel's own and by default ends whoever writes. A cat or cp that it
    ends is a child that was ended by a signal, which the commands do not examine."""
    def no_growth():
        signal.signal(signal.SIGXFSZ, disposition)
        limited(resource.RLIMIT_FSIZE, 0)()

    expected = ORDINARY[name].but(out="", **NO_ROOM.get(name, {}))
    if disposition == signal.SIG_DFL and ORDINARY[name].out and name != "config-file-content":
        expected = expected.but(status=-signal.SIGXFSZ)
    assert run(plain_host, name, prepare=no_growth) == expected


@pytest.mark.parametrize("name", ORDINARY)
def test_little_memory_is_enough(plain_host, name):
    assert run(plain_host, name, prepare=megabytes(32)) == ORDINARY[name]


def test_every_amount_of_memory_has_a_listed_outcome(plain_host):
    """Too little to be started (the kernel's SIGKILL or SIGSEGV, the loader's 127), or to make
    the parser (an abort); then enough. Never a wrong answer."""
    seen = []
    for pages in range(0, 2048, 16):
        outcome = run(plain_host, "check-install", prepare=limited(resource.RLIMIT_AS, pages << 12))
        seen.append("right" if outcome == ORDINARY["check-install"] else
                    "no memory" if outcome == Outcome(1, "Error\n") else
                    "not started" if outcome.out == "" else outcome)
        if seen[-1] == "not started":
            assert outcome.status in (-signal.SIGKILL, -signal.SIGSEGV, -signal.SIGABRT, 127)
    assert set(seen) <= {"not started", "no memory", "right"}
    assert (seen[0], seen[-1]) == ("not started", "right")
    assert seen == sorted(seen, key=["not started", "no memory", "right"].index)


@pytest.mark.parametrize("command", ["service-started", "kill-service", "start-service"])
def test_an_endless_pid_file_ends_with_the_memory(plain_host, command):
    result = plain_host.control(f"--{command}", "--service-pidfile=/dev/zero",
                                prepare=megabytes(48))
    assert result.answer == (1, "Error\n")


def test_an_endless_panel_configuration_ends_with_the_memory(plain_host, panel_configuration):
    make_link(panel_configuration, "/dev/zero")
    assert run(plain_host, "check-install", prepare=megabytes(48)) == ORDINARY["check-install"]

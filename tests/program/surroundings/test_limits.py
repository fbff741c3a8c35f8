"""Little of what a run needs: descriptors, room for files, memory."""

import shutil
import signal
import subprocess

import pytest

from commands import Outcome, ORDINARY, READERS, run
from limits import MEGABYTE, descriptors, has_loader, memory, no_growth
from special_files import make_link

NO_FILE = "Too many open files\n"


def by_itself(count, *command):
    """How a system tool ends by itself with so few descriptors."""
    return subprocess.run(command, preexec_fn=descriptors(count), stdout=subprocess.DEVNULL,
                          stderr=subprocess.DEVNULL, check=False).returncode


def few_descriptors(host, name, count):
    """0, 1 and 2 are open. A capture takes two more and keeps one of them; the text of the
    errors file takes two for as long as its cat is made; /dev/null takes one."""
    outcome = ORDINARY[name]
    if count == 3 and has_loader():
        return Outcome(127, "", "old text\n" if name == "save-to-config-file" else "")
    if name in READERS and count < (5 if name == "service-started" else 6):
        return Outcome(1, NO_FILE)
    if name == "restart-service" and count < 7:
        return outcome.but(effect="terminated")
    if name == "start-daemon" and count < 5:
        return outcome.but(effect="")
    if name == "start-foreground" and count < 5:
        failed = by_itself(count, "/bin/true") != 0
        return Outcome(int(failed), NO_FILE + ("Service failed\n" if failed else ""))
    if name == "config-file-content" and by_itself(count, "cat", "/etc/passwd") != 0:
        return outcome.but(out="")
    if name == "save-to-config-file":
        copy = shutil.copy(host.file("before", "old text\n"), host.dir / "copy")
        by_itself(count, "cp", host.file("source", "new text\n"), copy)
        return outcome.but(effect=copy.read_text())
    return outcome


@pytest.mark.parametrize("count", range(3, 10))
@pytest.mark.parametrize("name", ORDINARY)
def test_few_descriptors(plain_host, name, count):
    expected = few_descriptors(plain_host, name, count)
    assert run(plain_host, name, prepare=descriptors(count)) == expected


def test_the_last_count_of_descriptors_is_enough_for_everything(plain_host):
    """The table above is about too few: with the last of its counts nothing is different."""
    assert {name: few_descriptors(plain_host, name, 9) for name in ORDINARY} == ORDINARY


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
    expected = ORDINARY[name].but(out="", **NO_ROOM.get(name, {}))
    if disposition == signal.SIG_DFL and ORDINARY[name].out and name != "config-file-content":
        expected = expected.but(status=-signal.SIGXFSZ)
    assert run(plain_host, name, prepare=no_growth(disposition)) == expected


@pytest.mark.parametrize("name", ORDINARY)
def test_little_memory_is_enough(plain_host, name):
    assert run(plain_host, name, prepare=memory(32 * MEGABYTE)) == ORDINARY[name]


def test_every_amount_of_memory_has_a_listed_outcome(plain_host):
    """Too little to be started (the kernel's SIGKILL or SIGSEGV, the loader's 127), or to make
    the parser (an abort); then enough. Never a wrong answer."""
    seen = []
    for pages in range(0, 2048, 16):
        outcome = run(plain_host, "check-install", prepare=memory(pages * 4096))
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
    result = plain_host.run(f"--{command}", f"--kav-dir={plain_host.kav}", "--service=other",
                            "--service-pidfile=/dev/zero", prepare=memory(48 * MEGABYTE))
    assert result.answer == (1, "Error\n")


def test_an_endless_panel_configuration_ends_with_the_memory(plain_host, panel_configuration):
    make_link(panel_configuration, "/dev/zero")
    assert run(plain_host, "check-install",
               prepare=memory(48 * MEGABYTE)) == ORDINARY["check-install"]

"""RLIMIT_NOFILE, RLIMIT_FSIZE and RLIMIT_AS."""

import resource
import shutil
import signal
import subprocess

import pytest

from commands import Outcome, ORDINARY, READERS, run
from host import PROGRAM

NO_FILE = "Too many open files\n"


def limited(kind, amount):
    return lambda: resource.setrlimit(kind, (amount, amount))


def by_itself(descriptors, *command):
    """How a system tool ends by itself under the limit."""
    return subprocess.run(command, preexec_fn=limited(resource.RLIMIT_NOFILE, descriptors),
                          stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                          check=False).returncode


def has_loader():
    headers = subprocess.run(["readelf", "-W", "-l", PROGRAM], capture_output=True, text=True,
                             check=True)
    return "INTERP" in headers.stdout


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


@pytest.mark.parametrize("count", range(3, 13))
@pytest.mark.parametrize("name", ORDINARY)
def test_few_descriptors(plain_host, name, count):
    expected = few_descriptors(plain_host, name, count)
    assert run(plain_host, name, prepare=limited(resource.RLIMIT_NOFILE, count)) == expected


def test_two_descriptors_more_are_enough_for_everything(plain_host):
    """The table above is about too few: with the last of its counts nothing is different."""
    assert {name: few_descriptors(plain_host, name, 12) for name in ORDINARY} == ORDINARY


# Standard output is a file here, and so is what is saved: nothing can be written to either.
# cp empties the old file before it finds out.
NO_ROOM = {
    "save-to-config-file": {"effect": ""},
    "restart-service": {"effect": "terminated, errors: "},
    "start-daemon": {"effect": "errors: "},
    "start-foreground": {"effect": "errors: "},
}


@pytest.mark.parametrize("name", ORDINARY)
def test_files_may_not_grow(plain_host, name):
    def prepare():
        signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
        limited(resource.RLIMIT_FSIZE, 0)()

    expected = ORDINARY[name].but(out="", **NO_ROOM.get(name, {}))
    assert run(plain_host, name, prepare=prepare) == expected


@pytest.mark.parametrize("name", ORDINARY)
def test_files_may_not_grow_on_pain_of_a_signal(plain_host, name):
    """The signal is the kernel's own and by default ends whoever writes. A cat or cp that it
    ends is a child that was ended by a signal, which the commands do not examine."""
    def prepare():
        signal.signal(signal.SIGXFSZ, signal.SIG_DFL)
        limited(resource.RLIMIT_FSIZE, 0)()

    expected = ORDINARY[name].but(out="", **NO_ROOM.get(name, {}))
    if ORDINARY[name].out and name != "config-file-content":
        expected = expected.but(status=-signal.SIGXFSZ)
    assert run(plain_host, name, prepare=prepare) == expected


MEGABYTE = 1 << 20


@pytest.mark.little_memory
@pytest.mark.parametrize("name", ORDINARY)
def test_little_memory_is_enough(plain_host, name):
    assert run(plain_host, name, prepare=limited(resource.RLIMIT_AS, 32 * MEGABYTE)) == \
        ORDINARY[name]


@pytest.mark.little_memory
def test_every_amount_of_memory_has_a_listed_outcome(plain_host):
    """Too little to be started (the kernel's SIGKILL or SIGSEGV, the loader's 127), or to make
    the parser (an abort); then enough. Never a wrong answer."""
    seen = []
    for pages in range(0, 2048, 16):
        outcome = run(plain_host, "check-install",
                      prepare=limited(resource.RLIMIT_AS, pages * 4096))
        seen.append("right" if outcome == ORDINARY["check-install"] else
                    "no memory" if outcome == Outcome(1, "Error\n") else
                    "not started" if outcome.out == "" else outcome)
        if seen[-1] == "not started":
            assert outcome.status in (-signal.SIGKILL, -signal.SIGSEGV, -signal.SIGABRT, 127)
    assert set(seen) <= {"not started", "no memory", "right"}
    assert (seen[0], seen[-1]) == ("not started", "right")
    assert seen == sorted(seen, key=["not started", "no memory", "right"].index)


@pytest.mark.little_memory
@pytest.mark.parametrize("name", ["service-started", "kill-service", "start-service"])
def test_a_pid_file_that_does_not_fit_into_memory(plain_host, name):
    huge = plain_host.file("pid")
    with open(huge, "ab") as file:
        file.truncate(256 * MEGABYTE)
    result = plain_host.run(f"--{name}", f"--kav-dir={plain_host.kav}", "--service=other",
                            f"--service-pidfile={huge}",
                            prepare=limited(resource.RLIMIT_AS, 48 * MEGABYTE))
    assert (result.status, result.out) == (1, b"Error\n")


@pytest.mark.little_memory
def test_a_panel_configuration_line_that_does_not_fit_into_memory(plain_host,
                                                                  panel_configuration):
    with open(panel_configuration, "wb") as file:
        file.truncate(256 * MEGABYTE)
    outcome = run(plain_host, "check-install",
                  prepare=limited(resource.RLIMIT_AS, 48 * MEGABYTE))
    assert outcome == ORDINARY["check-install"]

"""The environment, `PATH`, the program's own name and its working directory."""

import ctypes
import os

import pytest

from commands import ORDINARY, Outcome, run
from host import PROGRAM, TOOLS

MISSING = "No such file or directory"
DENIED = "Permission denied"


@pytest.mark.parametrize("name", ORDINARY)
def test_an_empty_environment(host, name):
    """Without a PATH the tools are searched for where the system has them."""
    assert run(host, name, env={}) == ORDINARY[name]
    assert host.calls() == (["other"] if ORDINARY[name].effect.endswith("errors: 0") else [])
    assert all(report.env == {} for report in host.reports("other"))


def unable(name, reason):
    """Nothing that is to be found through PATH is; what has a path of its own is started."""
    return {
        "config-file-content": Outcome(0, reason + "\n"),
        "save-to-config-file": Outcome(0, 2 * (reason + "\n"), "old text\n"),
        "service-started": Outcome(1, "Error\n"),
        "kill-service": Outcome(1, "Error\n"),
        "reload": Outcome(1, "Error\n"),
        "restart-service": Outcome(1, "Error\n"),
        # The file is opened before its cat is found to be missing.
        "start-daemon": Outcome(0, "", "errors: "),
        "start-foreground": Outcome(0, "", f"errors: {reason}\n"),
    }.get(name, ORDINARY[name])


# Folders of the host: none of the first name, one without execute permission for its files, and
# that of the stand-ins.
@pytest.mark.parametrize("name", ORDINARY)
@pytest.mark.parametrize("entries, reason", [
    ("absent", MISSING), ("absent:refused", DENIED), ("absent:refused:path", None),
])
def test_entries_of_path(host, name, entries, reason):
    (host.dir / "refused").mkdir()
    for tool in TOOLS:
        host.file(f"refused/{tool}")
    host.env["PATH"] = ":".join(f"{host.dir}/{entry}" for entry in entries.split(":"))
    assert run(host, name) == (unable(name, reason) if reason else ORDINARY[name])


@pytest.mark.parametrize("path", ["", ":/nowhere"])
def test_an_empty_entry_of_path_is_the_working_directory(host, path):
    host.env["PATH"] = path
    arguments = ("--config-file-content", f"--file={host.file('text', 'text')}")
    assert host.run(*arguments).answer == (0, MISSING + "\n")
    assert host.run(*arguments, prepare=lambda: os.chdir(host.path)).answer == (0, "text")


@pytest.mark.parametrize("arguments, answer", [
    ([], (0, "")),  # not even a name
    *(([name, "--bogus"], (1, "Unknown option '--bogus'\n"))
      for name in ("", "--help", "x" * 131071)),
], ids=["none", "empty", "help", "longest"])
def test_the_programs_name_means_nothing(host, arguments, answer):
    """By the system call itself: Python's own wants at least one argument."""
    vector = (ctypes.c_char_p * (len(arguments) + 1))(*map(os.fsencode, arguments), None)
    result = host.run(prepare=lambda: ctypes.CDLL(None).execv(os.fsencode(PROGRAM), vector))
    assert (result.answer, result.err) == (answer, b"")


@pytest.mark.parametrize("name", ORDINARY)
def test_a_deleted_working_directory(host, name):
    def delete():
        (host.dir / "gone").mkdir()
        os.chdir(host.dir / "gone")
        (host.dir / "gone").rmdir()

    assert run(host, name, prepare=delete) == ORDINARY[name]
    assert all(report.cwd.endswith("/gone (deleted)") for report in host.reports("other"))

"""What a caller hands over: the environment, `PATH`, the program's own name, its working directory,
and arguments as long and as many as the kernel passes on, with any byte that it passes on."""

import ctypes
import os

import pytest

from commands import ORDINARY, Outcome, run
from host import PROGRAM, TOOLS, errors_file

MISSING = "No such file or directory"
DENIED = "Permission denied"
# The kernel's limit for one argument, without the byte that ends it.
LONGEST = 128 * 1024 - 1
BYTES = bytes(range(1, 256))
# All that a file name may hold, which is as long as one may be.
NAME = BYTES.replace(b"/", b"")


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
      for name in ("", "--help", "x" * LONGEST)),
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


def longest(option):
    return option + "x" * (LONGEST - len(option))


@pytest.mark.parametrize("arguments, status, out", [
    (["--service-started", "--kav-dir=/", longest("--service="), "--service-pidfile=/none"], 1,
     "Service is not running\n"),
    (["--start-service", longest("--kav-dir=/"), "--service=other", "--no-daemon=1"], 1,
     "File name too long\nService failed\n"),
    ([longest("--")], 1, f"Unknown option '--{'x' * (LONGEST - 2)}'\n"),
], ids=["value", "program", "name"])
def test_the_longest_argument(host, arguments, status, out):
    assert host.run(*arguments).answer == (status, out)


@pytest.mark.parametrize("filler, answer", [
    ("x", (0, "Kaspersky Anti-Virus server is installed\n")), ("-h", (1, "Unknown option '-h'\n")),
])
def test_a_command_line_near_the_kernels_limit(host, filler, answer):
    """Each argument costs its bytes, the byte that ends it, and a pointer."""
    fillers = [filler] * ((os.sysconf("SC_ARG_MAX") - 16384) // (len(filler) + 1 + 8))
    assert host.run("--check-install", f"--kav-dir={host.kav}", *fillers).answer == answer


def test_every_byte_in_a_file_name(host):
    path, copy = os.fsencode(host.dir) + b"/" + NAME, os.fsencode(host.dir) + b"/" + NAME[::-1]
    host.file(NAME.decode(errors="surrogateescape"), NAME)
    shown = host.run("--config-file-content", b"--file=" + path)
    assert (shown.status, shown.out, shown.err) == (0, NAME, b"")
    saved = host.run("--save-to-config-file", b"--file=" + path, b"--config-file=" + copy)
    assert (saved.answer, saved.err) == ((0, ""), b"")
    with open(copy, "rb") as file:
        assert file.read() == NAME
    host.run("--delete-file", b"--file=" + path)
    assert not os.path.exists(path) and os.path.exists(copy)


@pytest.mark.parametrize("name", [NAME[:127], NAME[127:]], ids=["first", "second"])
def test_every_byte_reaches_the_service(host, name):
    """Its name is in halves, as the errors file's is longer, and its argument the longest one."""
    program = host.kav / "bin" / os.fsdecode(name)
    program.write_text('#!/bin/sh\nprintf %s "$2"\n')
    program.chmod(0o755)
    option = (b"--config-file=" + BYTES * 600)[:LONGEST]
    result = host.run("--start-service", f"--kav-dir={host.kav}", b"--service=" + name, option,
                      "--no-daemon=1")
    assert (result.status, result.out, result.err) == (0, option.partition(b"=")[2], b"")
    assert errors_file(os.fsdecode(name)) == "0"

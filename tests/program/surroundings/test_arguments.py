"""Arguments as long and as many as the kernel passes on, with any byte that it passes on."""

import os

import pytest

from host import errors_file

# The kernel's limit for one argument, without the byte that ends it.
LONGEST = 128 * 1024 - 1
BYTES = bytes(range(1, 256))
# All that a file name may hold, which is as long as one may be.
NAME = BYTES.replace(b"/", b"")


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

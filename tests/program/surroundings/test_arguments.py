"""Arguments of any length that the kernel passes on, with any byte that it passes on."""

import os
import string

import pytest

from host import errors_file

# The kernel's limit for one argument, without the byte that ends it.
LONGEST = 128 * 1024 - 1
TOO_LONG = "File name too long\n"
NAME_START = string.ascii_letters + "_"
NAME_PART = NAME_START + "-"


def longest(option):
    return option + "x" * (LONGEST - len(option))


@pytest.mark.parametrize("arguments, status, out", [
    (["--delete-file", longest("--file=")], 0, ""),
    (["--check-install", longest("--kav-dir=/")], 1,
     "Kaspersky Anti-Virus server is not installed\n"),
    (["--service-started", "--kav-dir=/", "--service=s", longest("--service-pidfile=")], 1,
     "Service is not running\n"),
    (["--kill-service", "--kav-dir=/", longest("--service=")], 1,
     "Service is stopped already\n"),
    (["--config-file-content", longest("--file=")], 0, ""),
    (["--start-service", longest("--kav-dir=/"), "--service=other", "--no-daemon=1"], 1,
     TOO_LONG + "Service failed\n"),
    (["--start-service", "--kav-dir=/", longest("--service="), "--no-daemon=1"], 1,
     TOO_LONG + "Service failed\n"),
    (["--start-service", longest("--kav-dir=/"), "--service=other"], 0, ""),
    ([longest("--")], 1, f"Unknown option '--{'x' * (LONGEST - 2)}'\n"),
    ([longest("-")], 1, "Unknown option '-x'\n"),
    ([longest("")], 0, ""),
    ([longest("--help=")], 1, "Unknown option '--help'\n"),
], ids=range(12))
def test_the_longest_argument(host, arguments, status, out):
    assert host.run(*arguments).answer == (status, out)


def test_a_value_that_becomes_too_long_with_its_prefix(host):
    """The statistics folder's argument is longer than the value that it is made of: what the
    command line could hold cannot be passed on."""
    kav = str(host.kav) + "/." * ((4090 - len(str(host.kav)) - len("/bin/parse_avstat.pl")) // 2)
    more = ("--service=parse_avstat.pl", f"--config-file={host.file('conf')}", "--no-daemon=1")
    assert host.run("--start-service", f"--kav-dir={kav}", *more).answer == (0, "")
    assert host.run("--start-service", longest("--kav-dir=/"), *more).answer == \
        (1, TOO_LONG + "Service failed\n")


@pytest.mark.parametrize("filler", ["x" * LONGEST, "x" * 1000, "x", "-h", ""],
                         ids=["longest", "long", "short", "options", "empty"])
def test_a_command_line_near_the_kernels_limit(host, filler):
    """Each argument costs its bytes, the byte that ends it, and a pointer."""
    room = os.sysconf("SC_ARG_MAX") - 16384
    fillers = [filler] * (room // (len(filler) + 1 + 8))
    assert len(fillers) * (len(filler) + 1 + 8) > room * 9 // 10
    expected = unknown("-h") if filler == "-h" else \
        (0, "Kaspersky Anti-Virus server is installed\n")
    assert host.run("--check-install", f"--kav-dir={host.kav}", *fillers).answer == expected


BYTES = [bytes([value]) for value in range(1, 256)]
# All that a file name may hold, which is as long as one may be.
NAME = b"".join(BYTES).replace(b"/", b"")


def test_every_byte_in_a_file_name(host):
    host.env["PATH"] = "/usr/bin:/bin"
    path, copy = os.fsencode(host.dir) + b"/" + NAME, os.fsencode(host.dir) + b"/" + NAME[::-1]
    with open(path, "wb") as file:
        file.write(NAME)
    shown = host.run("--config-file-content", b"--file=" + path)
    assert (shown.status, shown.out, shown.err) == (0, NAME, b"")
    saved = host.run("--save-to-config-file", b"--file=" + path, b"--config-file=" + copy)
    assert (saved.answer, saved.err) == ((0, ""), b"")
    with open(copy, "rb") as file:
        assert file.read() == NAME
    host.run("--delete-file", b"--file=" + path)
    assert not os.path.exists(path) and os.path.exists(copy)


def test_the_longest_value_with_every_byte_reaches_the_program_whole(host):
    option = (b"--config-file=" + b"".join(BYTES) * 600)[:LONGEST]
    host.run("--start-service", f"--kav-dir={host.kav}", "--service=other", option,
             "--no-daemon=1")
    (report,) = host.reports("other")
    assert [os.fsencode(word) for word in report.argv[1:]] == [b"-c", option.partition(b"=")[2]]


@pytest.mark.parametrize("name", [NAME[:127], NAME[127:]], ids=["first", "second"])
def test_every_byte_in_the_name_of_a_service(host, name):
    """In halves: the errors file's name is longer than the service's."""
    os.symlink("/bin/true", os.fsencode(host.kav) + b"/bin/" + name)
    result = host.run("--start-service", f"--kav-dir={host.kav}", b"--service=" + name,
                      "--no-daemon=1")
    assert (result.answer, result.err) == ((0, ""), b"")
    assert errors_file(os.fsdecode(name)) == "0"


def unknown(text):
    return 1, f"Unknown option '{text}'\n"


def first_byte(byte):
    """-B: a group of one letter, or no option."""
    if byte == "h":
        return 0, ""
    return unknown(f"-{byte}") if byte in NAME_START else (0, "")


def long_first_byte(byte):
    return unknown(f"--{byte}") if byte in NAME_START else (0, "")


def inner_byte(byte):
    """--aBc: a longer name, a name with its value, or no option."""
    if byte == "=":
        return unknown("--a")
    return unknown(f"--a{byte}c") if byte in NAME_PART else (0, "")


@pytest.mark.parametrize("before, after, expected", [
    ("-", "", first_byte), ("--", "", long_first_byte), ("--a", "c", inner_byte),
], ids=["short", "long", "inner"])
def test_every_byte_in_the_name_of_an_option(host, before, after, expected):
    for byte in BYTES:
        result = host.run(before.encode() + byte + after.encode())
        assert (result.status, result.out.decode(), result.err) == \
            (*expected(byte.decode("latin-1")), b""), byte

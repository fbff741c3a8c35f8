"""Links, devices, sockets and folders where a file is expected. The files of a service are in
test_special_service_files.py."""

import os
import socket
from pathlib import Path

import pytest

from commands import ORDINARY, run
from special_files import listing, make_link, make_special
from test_little_of_something import MEGABYTE, limited, resource

NOTHING = (0, "")
FAILED = (1, "Error\n")


def outcome(result):
    return result.status, result.out.decode()


@pytest.mark.parametrize("kind, out, cats", [
    ("dangling", "", 0), ("looping", "", 0), ("linked", "text", 1), ("null", "", 1),
    ("socket", "", 1), ("folder", "", 1),
])
def test_as_the_file_that_is_shown(host, kind, out, cats):
    path = make_special(host, kind)
    assert outcome(host.run("--config-file-content", f"--file={path}")) == (0, out)
    assert host.calls() == [f"cat {path}"] * cats


@pytest.mark.parametrize("kind, left", [
    ("dangling", []), ("looping", []), ("linked", ["text"]), ("null", []), ("socket", []),
    ("folder", ["special"]),
])
def test_as_the_file_that_is_deleted(host, kind, left):
    """The name goes, never what it points to; a folder stays."""
    before = listing(host.dir)
    path = make_special(host, kind)
    assert outcome(host.run("--delete-file", f"--file={path}")) == NOTHING
    assert [name for name in listing(host.dir) if name not in (*before, "out", "err")] == left
    assert os.path.exists("/dev/null")


# A folder takes the file into itself. Through a link the file behind it is replaced, except that
# cp makes none behind a dangling one. A device takes the text and stays a device.
@pytest.mark.parametrize("kind, complaints, replaced", [
    ("dangling", 2, None), ("looping", 2, None), ("linked", 0, "text"), ("socket", 1, None),
    ("folder", 0, "special/new"), ("device", 0, None), ("linked device", 0, None),
])
def test_as_the_file_that_is_replaced(host, kind, complaints, replaced):
    new, path = host.file("new", "new"), make_special(host, kind)
    before, names = path.lstat(), listing(host.dir)
    result = host.run("--save-to-config-file", f"--file={new}", f"--config-file={path}")
    assert outcome(result) == NOTHING
    assert host.calls() == [f"cp {new} {path}", f"chown root {path}"]
    after = path.lstat()
    assert (after.st_mode, after.st_rdev, after.st_ino) == \
        (before.st_mode, before.st_rdev, before.st_ino)
    assert len(result.err.splitlines()) == complaints
    if replaced:
        assert (host.dir / replaced).read_text() == "new"
    if kind.endswith("device"):
        assert (path.is_char_device(), path.read_bytes()) == (True, b"")
    assert sorted({*names, "out", "err"}) == listing(host.dir)


@pytest.mark.parametrize("kind, left", [
    ("dangling", "old"), ("looping", "old"), ("linked", "text"), ("null", ""),
    ("socket", "old"), ("folder", "old"),
])
def test_as_the_source(host, kind, left):
    path, old = make_special(host, kind), host.file("old", "old")
    result = host.run("--save-to-config-file", f"--file={path}", f"--config-file={old}")
    assert outcome(result) == NOTHING
    assert old.read_text() == left
    assert len(host.calls()) == 2


@pytest.mark.parametrize("kind, installed", [
    ("dangling", False), ("looping", False), ("linked", True), ("null", True), ("socket", True),
    ("folder", True),
])
def test_as_the_server(host, kind, installed):
    host.remove("aveserver")
    make_special(host, kind, host.kav / "bin/aveserver")
    expected = ORDINARY["check-install"].out if installed else \
        "Kaspersky Anti-Virus server is not installed\n"
    result = host.run("--check-install", f"--kav-dir={host.kav}")
    assert outcome(result) == (int(not installed), expected)


@pytest.mark.parametrize("kind", ["dangling", "looping", "linked", "null", "socket", "folder"])
@pytest.mark.parametrize("name", ["check-install", "service-started", "start-foreground"])
def test_as_the_panel_configuration(host, panel_configuration, kind, name):
    make_special(host, kind, panel_configuration)
    try:
        assert run(host, name) == ORDINARY[name]
    finally:
        if kind == "folder":
            panel_configuration.rmdir()


@pytest.mark.little_memory
def test_an_endless_pid_file_ends_with_the_memory(plain_host):
    result = plain_host.run("--service-started", f"--kav-dir={plain_host.kav}",
                            "--service=other", "--service-pidfile=/dev/zero",
                            prepare=limited(resource.RLIMIT_AS, 48 * MEGABYTE))
    assert outcome(result) == FAILED


@pytest.mark.little_memory
def test_an_endless_panel_configuration_ends_with_the_memory(plain_host, panel_configuration):
    make_link(panel_configuration, "/dev/zero")
    assert run(plain_host, "check-install", prepare=limited(
        resource.RLIMIT_AS, 48 * MEGABYTE)) == ORDINARY["check-install"]


def test_a_listening_socket_is_not_connected_to(host):
    path = host.dir / "s"
    here = os.getcwd()
    os.chdir(host.dir)
    with socket.socket(socket.AF_UNIX) as listener:
        listener.bind("s")
        os.chdir(here)
        listener.listen()
        listener.setblocking(False)
        assert outcome(host.run("--config-file-content", f"--file={path}")) == NOTHING
        with pytest.raises(BlockingIOError):
            listener.accept()


@pytest.mark.parametrize("kind, left", [
    # Its status can be queried, so it is removed, and a new file made.
    ("linked", "file"), ("null", "file"), ("socket", "file"), ("fifo", "file"),
    # It cannot be: the file is opened through the link.
    ("looping", "link"), ("dangling", "through the link"),
    # It cannot be removed.
    ("folder", "folder"),
])
def test_in_the_place_of_the_errors_file(host, kind, left):
    place = Path("/tmp/zrckav_other_errors")
    make_special(host, kind, place)
    result = host.run("--start-service", f"--kav-dir={host.kav}", "--service=other",
                      "--no-daemon=1")
    assert outcome(result) == NOTHING
    found = ("folder" if place.is_dir() else "file" if not place.is_symlink() else
             "through the link" if (host.dir / "nowhere").exists() else "link")
    assert found == left
    if left in ("file", "through the link"):
        assert place.read_text() == "0"
    if kind == "linked":
        assert (host.dir / "text").read_text() == "text"

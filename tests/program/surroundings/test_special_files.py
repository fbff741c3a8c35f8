"""Links, devices, sockets and folders where a file is expected. The files of a service are in
test_special_service_files.py."""

import os
from pathlib import Path

import pytest

from commands import ORDINARY, run
from special_files import listing, make_special

NOTHING = (0, "")


@pytest.mark.parametrize("kind, out, cats", [
    ("dangling", "", 0), ("looping", "", 0), ("linked", "text", 1), ("null", "", 1),
    ("socket", "", 1), ("folder", "", 1),
])
def test_as_the_file_that_is_shown(host, kind, out, cats):
    path = make_special(host, kind)
    assert host.run("--config-file-content", f"--file={path}").answer == (0, out)
    assert host.calls() == [f"cat {path}"] * cats


@pytest.mark.parametrize("kind, left", [
    ("dangling", []), ("looping", []), ("linked", ["text"]), ("null", []), ("socket", []),
    ("fifo", []), ("folder", ["special"]),
])
def test_as_the_file_that_is_deleted(host, kind, left):
    """The name goes, never what it points to; a folder stays."""
    before = listing(host.dir)
    path = make_special(host, kind)
    assert host.run("--delete-file", f"--file={path}").answer == NOTHING
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
    assert result.answer == NOTHING
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
    assert result.answer == NOTHING
    assert old.read_text() == left
    assert len(host.calls()) == 2


@pytest.mark.parametrize("kind, installed", [
    ("dangling", False), ("looping", False), ("linked", True), ("null", True), ("socket", True),
    ("fifo", True), ("folder", True),
])
def test_only_what_is_not_there_counts_as_not_installed(host, kind, installed):
    host.remove("aveserver")
    make_special(host, kind, host.kav / "bin/aveserver")
    expected = ORDINARY["check-install"].out if installed else \
        "Kaspersky Anti-Virus server is not installed\n"
    result = host.run("--check-install", f"--kav-dir={host.kav}")
    assert result.answer == (int(not installed), expected)


@pytest.mark.parametrize("kind", ["dangling", "looping", "linked", "null", "socket", "folder"])
@pytest.mark.parametrize("name", ["check-install", "service-started", "start-foreground"])
def test_as_the_panel_configuration(host, panel_configuration, kind, name):
    make_special(host, kind, panel_configuration)
    try:
        assert run(host, name) == ORDINARY[name]
    finally:
        if kind == "folder":
            panel_configuration.rmdir()


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
    assert result.answer == NOTHING
    found = ("folder" if place.is_dir() else "file" if not place.is_symlink() else
             "through the link" if (host.dir / "nowhere").exists() else "link")
    assert found == left
    if left in ("file", "through the link"):
        assert place.read_text() == "0"
    if kind == "linked":
        assert (host.dir / "text").read_text() == "text"

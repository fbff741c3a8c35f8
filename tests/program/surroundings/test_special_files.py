"""Links, devices, fifos and folders where a file is expected, and no room for one. That a fifo is
waited for is seen from its other end, which can be opened only once this one is."""

import os
from pathlib import Path

import pytest

from commands import ORDINARY
from host import errors_file
from special_files import (
    file_system, fill, make_special, remount_read_only, write_to_waiting_reader,
)

NOTHING = (0, "")


@pytest.mark.parametrize("kind, answer, cats", [
    ("dangling", (1, "Service is not running\n"), 0), ("null", (1, "Service is not running\n"), 1),
    ("linked", (0, "Service is started\n"), 1), ("fifo", (0, "Service is started\n"), 1),
    ("folder", (1, "Error\n"), 1),
])
def test_as_pid_file(host, kind, answer, cats):
    """Where the status cannot be queried there is none; where it can, cat tells, or fails."""
    path = make_special(host, kind)
    pid = host.start("--service-started", f"--kav-dir={host.kav}", "--service=other",
                     f"--service-pidfile={path}")
    if kind == "fifo":
        write_to_waiting_reader(path, b"0\n")
    assert host.finish(pid).answer == answer
    assert host.calls() == [f"cat {path}"] * cats


@pytest.mark.parametrize("kind, stays", [
    ("dangling", False), ("linked", False), ("fifo", False), ("folder", True),
])
def test_as_the_file_that_is_deleted(host, kind, stays):
    """The name goes, never what it points to; a folder stays."""
    path = make_special(host, kind)
    assert host.run("--delete-file", f"--file={path}").answer == NOTHING
    assert os.path.lexists(path) == stays
    assert (host.dir / "text").exists() == (kind == "linked")


@pytest.mark.parametrize("kind, installed", [
    ("dangling", False), ("looping", False), ("linked", True), ("fifo", True), ("folder", True),
])
def test_only_what_is_not_there_counts_as_not_installed(host, kind, installed):
    host.remove("aveserver")
    make_special(host, kind, host.kav / "bin/aveserver")
    assert host.run("--check-install", f"--kav-dir={host.kav}").status == int(not installed)


@pytest.mark.parametrize("kind", ["looping", "folder", "fifo"])
def test_as_the_panel_configuration(host, panel_configuration, kind):
    """The one file that the program opens by itself, and so waits for by itself."""
    make_special(host, kind, panel_configuration)
    # Nothing is touched for a wrong command line.
    assert host.run("--check-install", f"--kav-dir={host.kav}", "-x").status == 1
    pid = host.start("--check-install", f"--kav-dir={host.kav}")
    if kind == "fifo":
        write_to_waiting_reader(panel_configuration, b"PRODUCT_ROOT_D /x\n")
    assert host.finish(pid).answer == (0, ORDINARY["check-install"].out)


@pytest.mark.parametrize("kind, runs", [("dangling", False), ("folder", True)])
def test_as_the_configuration_file_of_the_statistics(host, kind, runs):
    """One that is not there stops it, and leaves nothing of an earlier run's errors file."""
    Path("/tmp/zrckav_parse_avstat.pl_errors").write_text("7")
    result = host.control("--start-service", "--no-daemon=1",
                          f"--config-file={make_special(host, kind)}", service="parse_avstat.pl")
    assert (result.answer, result.err) == (NOTHING, b"")
    assert len(host.reports("parse_avstat.pl")) == runs
    assert errors_file("parse_avstat.pl") == ("0" if runs else None)


@pytest.mark.parametrize("kind, left", [
    # Its status can be queried, so it is removed, and a new file made.
    ("linked", "file"), ("fifo", "file"),
    # It cannot be: the file is opened through the link.
    ("dangling", "through the link"),
    # It cannot be removed.
    ("folder", "folder"),
])
def test_in_the_place_of_the_errors_file(host, kind, left):
    place = make_special(host, kind, Path("/tmp/zrckav_other_errors"))
    assert host.control("--start-service", "--no-daemon=1").answer == NOTHING
    assert left == ("folder" if place.is_dir() else
                    "through the link" if place.is_symlink() else "file")
    assert left == "folder" or place.read_text() == "0"
    assert kind != "linked" or (host.dir / "text").read_text() == "text"


# A service whose name holds a slash has its errors file in a folder below /tmp.
SERVICE = "place/other"
ERRORS = Path("/tmp/zrckav_place/other_errors")


# What an earlier run left, what happens to the file system, and what this run leaves.
@pytest.mark.parametrize("mode", ["--no-daemon=1", "--no-daemon"])
@pytest.mark.parametrize("code", [0, 3])
@pytest.mark.parametrize("before, happens, left", [
    ("7", None, "{code}"), ("7", remount_read_only, "7"), (None, remount_read_only, None),
    (None, fill, ""),
], ids=["works", "read-only", "read-only and none", "full"])
def test_the_errors_file(host, mode, code, before, happens, left):
    (host.kav / "bin/place").mkdir()
    os.link(host.kav / "bin/other", host.kav / "bin" / SERVICE)
    host.act("other", f"exit {code}")
    with file_system(ERRORS.parent) as disk:
        if before:
            ERRORS.write_text(before)
        if happens:
            happens(disk)
        result = host.control("--start-service", mode, service=SERVICE)
        failed = bool(code) and mode == "--no-daemon=1"
        assert result.answer == ((1, "Service failed\n") if failed else (0, ""))
        assert (255 in result.orphans.values()) == (bool(code) and not failed)
        assert errors_file(SERVICE) == (left and left.format(code=code))

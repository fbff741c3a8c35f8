"""File systems that are read-only or full, below what is saved and below the errors file."""

import os
from pathlib import Path

import pytest

from host import errors_file
from special_files import PAGE, file_system, fill, listing, make_read_only

# A service whose name holds a slash has its errors file in a folder below /tmp.
SERVICE = "place/other"
ERRORS = Path("/tmp/zrckav_place/other_errors")


def save(host, target):
    return host.run("--save-to-config-file", f"--file={host.dir}/new", f"--config-file={target}")


def test_saving_to_a_read_only_file_system_changes_nothing(host):
    host.file("new", "new")
    with file_system(host.dir / "disk", 4) as disk:
        (disk / "conf").write_text("old")
        make_read_only(disk)
        result = save(host, disk / "conf")
        assert result.answer == (0, "")
        assert result.err.count(b"Read-only file system") == 2
        assert (disk / "conf").read_text() == "old"


def test_saving_to_a_full_file_system_loses_the_old_content(host):
    """cp empties the file and then finds room for just the page that this freed."""
    new = host.file("new", "first" * PAGE)
    with file_system(host.dir / "disk", 4) as disk:
        (disk / "conf").write_text("o" * PAGE)
        fill(disk)
        result = save(host, disk / "conf")
        assert result.answer == (0, "")
        assert result.err.count(b"No space left on device") == 1
        assert (disk / "conf").read_text() == new.read_text()[:PAGE]


def test_showing_and_deleting_on_a_read_only_file_system(host):
    with file_system(host.dir / "disk", 4) as disk:
        (disk / "conf").write_text("text")
        make_read_only(disk)
        assert host.run("--config-file-content", f"--file={disk}/conf").answer == (0, "text")
        deleted = host.run("--delete-file", f"--file={disk}/conf")
        assert (deleted.answer, deleted.err) == ((0, ""), b"")
        assert listing(disk) == ["conf"]


# What an earlier run left, what happens to the file system, and what this run leaves.
@pytest.mark.parametrize("mode", ["--no-daemon=1", "--no-daemon"])
@pytest.mark.parametrize("code", [0, 3])
@pytest.mark.parametrize("before, happens, left", [
    ("7", None, "{code}"), ("7", make_read_only, "7"), (None, make_read_only, None),
    (None, fill, ""),
], ids=["works", "read-only", "read-only and none", "full"])
def test_the_errors_file(host, mode, code, before, happens, left):
    (host.kav / "bin/place").mkdir()
    os.link(host.kav / "bin/other", host.kav / "bin" / SERVICE)
    host.act("other", f"exit {code}")
    with file_system(ERRORS.parent, 4) as disk:
        if before:
            ERRORS.write_text(before)
        if happens:
            happens(disk)
        result = host.control("--start-service", mode, service=SERVICE)
        failed = bool(code) and mode == "--no-daemon=1"
        assert result.answer == ((1, "Service failed\n") if failed else (0, ""))
        assert (255 in result.orphans.values()) == (bool(code) and not failed)
        assert errors_file(SERVICE) == (left and left.format(code=code))

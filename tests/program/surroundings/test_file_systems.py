"""The errors file on a file system that is read-only or full."""

import os
from pathlib import Path

import pytest

from host import errors_file
from special_files import file_system, fill, make_read_only

# A service whose name holds a slash has its errors file in a folder below /tmp.
SERVICE = "place/other"
ERRORS = Path("/tmp/zrckav_place/other_errors")


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

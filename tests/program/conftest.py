"""Hosts for the tests of the program, each with a PATH and a server tree of its own."""

import os
import shutil
from pathlib import Path

import pytest

from host import Host


@pytest.fixture
def host(tmp_path):
    """A host of its own for one test: a PATH of stand-ins and a server tree."""
    made = Host(tmp_path)
    yield made
    made.shut_down()
    # Its stand-ins are some megabytes, and a private /tmp is memory.
    shutil.rmtree(tmp_path, ignore_errors=True)


@pytest.fixture
def plain_host(host):
    """A host with the system's own tools: the stand-ins need files to note what they did."""
    return with_system_tools(host)


@pytest.fixture
def open_host():
    """A plain host that another user may work in."""
    umask = os.umask(0)
    made = with_system_tools(Host("/tmp/open_host"))
    os.umask(umask)
    yield made
    made.shut_down()
    shutil.rmtree(made.dir)


def with_system_tools(made):
    made.env["PATH"] = "/usr/bin:/bin"
    program = made.kav / "bin/other"
    program.unlink()
    program.symlink_to("/bin/true")
    return made


@pytest.fixture
def panel_configuration():
    """The place of the panel's configuration file, empty before and after the test."""
    path = Path("/etc/zrc/zrc.conf")
    assert not path.exists()
    yield path
    if path.is_dir():
        path.rmdir()
    else:
        path.unlink(missing_ok=True)

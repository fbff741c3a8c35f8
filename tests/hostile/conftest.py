"""The black-box harness, and hosts for surroundings that it does not know."""

import importlib.util
import shutil
import sys
from pathlib import Path

import pytest

HARNESS = Path(__file__).resolve().parents[1] / "blackbox"
sys.path.insert(0, str(HARNESS))

# By its file: under its own name it would be this module.
spec = importlib.util.spec_from_file_location("blackbox_conftest", HARNESS / "conftest.py")
blackbox = importlib.util.module_from_spec(spec)
spec.loader.exec_module(blackbox)

host = blackbox.host


def pytest_configure(config):
    config.addinivalue_line("markers", "little_memory: runs with a limit on its address space")


@pytest.fixture
def plain_host(host):
    """A host with the system's own tools: the stand-ins need files to note what they did."""
    return with_system_tools(host)


@pytest.fixture
def open_host():
    """A plain host that another user may work in."""
    directory = Path("/tmp/open_host")
    directory.mkdir(mode=0o777)
    made = with_system_tools(blackbox.Host(directory))
    for path in [directory, *directory.rglob("*")]:
        if path.is_dir():
            path.chmod(0o777)
    yield made
    made.shut_down()
    shutil.rmtree(directory)


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
    path.unlink(missing_ok=True)

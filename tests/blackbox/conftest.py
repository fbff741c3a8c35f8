"""Fixtures of the black-box tests."""

import shutil

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

"""Fixtures of the black-box tests, and the rule that a skip is never silent."""

import os
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


def pytest_sessionfinish(session, exitstatus):
    """With AVMANAGER_FORBID_SKIPS set, a skipped test fails the run."""
    reporter = session.config.pluginmanager.get_plugin("terminalreporter")
    skipped = reporter.stats.get("skipped", []) if reporter else []
    if exitstatus == 0 and skipped and os.environ.get("AVMANAGER_FORBID_SKIPS"):
        session.exitstatus = 1

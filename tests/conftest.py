"""A rule for every pytest suite of the project: a skip is never silent."""

import os


def pytest_sessionfinish(session, exitstatus):
    """With AVMANAGER_FORBID_SKIPS set, a skipped test fails the run."""
    reporter = session.config.pluginmanager.get_plugin("terminalreporter")
    skipped = reporter.stats.get("skipped", []) if reporter else []
    if exitstatus == 0 and skipped and os.environ.get("AVMANAGER_FORBID_SKIPS"):
        session.exitstatus = 1

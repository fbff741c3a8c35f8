"""A rule for every pytest suite of the project: a skip is never silent."""

import os

SKIPPED = 77  # ctest's, which otherwise counts a suite as passed and shows nothing of it


def pytest_sessionfinish(session, exitstatus):
    """A skipped test makes ctest list its suite as skipped, and fails it with
    AVMANAGER_FORBID_SKIPS set."""
    reporter = session.config.pluginmanager.get_plugin("terminalreporter")
    skipped = reporter.stats.get("skipped", []) if reporter else []
    if exitstatus == 0 and skipped:
        session.exitstatus = 1 if os.environ.get("AVMANAGER_FORBID_SKIPS") else SKIPPED

"""Rules for every pytest suite of the project: a skip is never silent, and whoever reads of a
failure can run that one test again."""

import os
import shlex
import sys
from pathlib import Path

SKIPPED = 77  # ctest's, which otherwise counts a suite as passed and shows nothing of it
# What ctest tells the suites, where it does.
VARIABLES = ("AVMANAGER", "AVMANAGER_BUILD", "EXAMPLES", "FAIL_CALL", "ONE_LINE", "PANEL_FILE",
             "PROBE", "SYMBOLS")


def pytest_sessionfinish(session, exitstatus):
    """A skipped test makes ctest list its suite as skipped, and fails it with
    AVMANAGER_FORBID_SKIPS set."""
    reporter = session.config.pluginmanager.get_plugin("terminalreporter")
    skipped = reporter.stats.get("skipped", []) if reporter else []
    if exitstatus == 0 and skipped:
        session.exitstatus = 1 if os.environ.get("AVMANAGER_FORBID_SKIPS") else SKIPPED


def pytest_terminal_summary(terminalreporter, config):
    """Says for each failed test how to run it alone."""
    # A private root's command is the first process of its namespace.
    private = os.getpid() == 1
    for report in (*terminalreporter.stats.get("failed", []),
                   *terminalreporter.stats.get("error", [])):
        terminalreporter.write_line(
            f"Run again: {again(config.rootpath / report.nodeid, private)}")


def again(test, private):
    """The shell's command line for one test."""
    variables = [f"{name}={shlex.quote(os.environ[name])}" for name in VARIABLES
                 if name in os.environ]
    launcher = [Path(__file__).parent / "support/private_root"] if private else []
    words = [*launcher, sys.executable, "-B", "-m", "pytest", "-p", "no:cacheprovider", test]
    return " ".join([*variables, *(shlex.quote(str(word)) for word in words)])

"""The caller's environment is handed on, and the loader of whatever runs believes it."""

import subprocess

import pytest

from commands import ARGUMENTS, fill
from host import PROGRAM

# Believed by the loader, by an interpreter of scripts, and by nobody.
# The program looks at none of them: an odd text goes through as a plain one does.
TRUSTED = {
    "LD_LIBRARY_PATH": "/nowhere:",
    "LD_AUDIT": "",
    "BASH_ENV": "$HOME/nothing",
    "PERL5OPT": "-w",
    "NOBODYS": " a = 'b'\n%s\t\udcff",
}


@pytest.mark.parametrize("command, reached", [
    ("config-file-content", ["cat"]),
    ("save-to-config-file", ["cp", "chown"]),
    ("service-started", ["cat"]),
    ("start-foreground", ["other", "cat"]),
    ("start-daemon", ["other", "cat"]),
])
def test_variables_of_the_caller_reach_the_tool_and_the_server(host, command, reached):
    """All of them, unchanged, and none besides."""
    host.env |= TRUSTED
    for name in ("new", "old", "pid"):
        host.file(name, "0\n")
    assert host.run(*fill(host, ARGUMENTS[command])).status == 0
    assert {name: [report.env for report in host.reports(name)]
            for name in ("cat", "cp", "chown", "other")} == \
        {name: [host.env] * (name in reached) for name in ("cat", "cp", "chown", "other")}


@pytest.mark.parametrize("command, loads", [
    ("help", 0), ("config-file-content", 1), ("save-to-config-file", 2), ("start-foreground", 2),
])
def test_a_library_of_the_caller_is_loaded(plain_host, command, loads):
    """Once by each tool and by the server, and by the manager itself if it is not static: a
    library that is not there makes each loader say so."""
    plain_host.env["LD_PRELOAD"] = "/nowhere/of-the-caller.so"
    for name in ("new", "old"):
        plain_host.file(name)
    result = plain_host.run(*fill(plain_host, ARGUMENTS[command]))
    assert result.status == 0
    headers = subprocess.run(["readelf", "-lW", PROGRAM], stdout=subprocess.PIPE, check=True).stdout
    assert b" LOAD " in headers
    # A process that only forks, as the writer of the errors file's text does, loads nothing.
    assert result.err.count(b"/nowhere/of-the-caller.so") == loads + (b" INTERP " in headers)

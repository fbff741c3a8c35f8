"""The tracer against strace, which was written by others: both see the same calls, and the same
failure has the same outcome. Run by pytest within a private root.

strace counts the calls of each process alike and makes the k-th of all of them fail. Told not to
follow forks it has one process only, and so its failures can be compared for the process that is
invoked.
"""

import os
import re
from collections import Counter
from errno import errorcode
from pathlib import Path

import pytest

import world
from failures import failures
from observe import run
from scenarios import SCENARIOS

OF_STRACE = {"clone": "fork", "pipe2": "pipe", "wait4": "wait", "openat": "open"}
RAW = {"fork": "clone", "pipe": "pipe2", "wait": "wait4", "open": "openat",
       "stat": "newfstatat", "fstat": "newfstatat"}
# strace does not make a call that it lets fail, but the kernel closes a descriptor even then;
# and it returns an error from brk, which never does.
DIFFERENT = {"brk", "close", "memory"}
COMPARED = ("service-started, pid file live", "start-service, foreground, aveserver, "
            "configuration, exits 3", "start-service, daemon, keepup2date, exits 3")


@pytest.fixture(params=COMPARED)
def scenario(request):
    (found,) = [one for one in SCENARIOS if one.name == request.param]
    world.make_programs(found)
    return found


@pytest.fixture(scope="module")
def server():
    return world.Server()


def under_strace(scenario, server, *options):
    """Runs the scenario once. Returns the exit status of the program."""
    world.make_files(scenario, server.pid)
    for old in Path("/tmp").glob("strace*"):
        old.unlink()
    strace = world.spawn(["/usr/bin/strace", "-o", "/tmp/strace", *options, world.PROGRAM,
                          *world.arguments(scenario)])
    return os.waitstatus_to_exitcode(world.wait_for_all(strace, server))


def name_of(line):
    """Our name of the call in a line of strace; None for what is no call that returned."""
    called = re.match(r"(\w+)\((.*)", line)
    if not called or re.search(r"<detached|= \?", line):
        return None
    name, rest = called.groups()
    if name == "brk":
        return "brk-query" if rest.startswith("NULL") else "brk"
    if name == "newfstatat":
        return "fstat" if ', "",' in rest else "stat"
    return OF_STRACE.get(name, name)


def calls_of_file(path):
    names = [name for name in map(name_of, path.read_text().splitlines()) if name]
    # The first process begins with strace's own exec.
    return tuple(names[1:] if names[0] == "execve" and "brk-query" in names else names)


def test_both_see_the_same_calls(scenario, server):
    ours = run(scenario, server)
    under_strace(scenario, server, "-ff", "-b", "execve")
    theirs = Counter(map(calls_of_file, Path("/tmp").glob("strace.*")))
    by_process = {process: [] for process in ours.outcome.ends}
    for call in ours.calls:
        by_process[call.process].append(call.name)
    assert len(theirs) > 1
    assert Counter(map(tuple, by_process.values())) == theirs


def place(calls, name, k):
    """How strace counts a call of the first process: by the kernel's own name."""
    raw = RAW.get(name, name)
    count = 0
    for call in calls:
        if call.process == "1" and RAW.get(call.name, call.name) == raw:
            count += 1
            if (call.name, call.k) == (name, k):
                return f"{raw}:when={count}"
    raise AssertionError(f"no call {name} {k}")


def test_the_same_failure_has_the_same_outcome(scenario, server):
    base = run(scenario, server)
    compared = [failure for failure in failures(base.calls)
                if failure.process == "1" and failure.times == 1
                and failure.call not in DIFFERENT]
    assert len(compared) > 20
    for failure in compared:
        ours = run(scenario, server, failure).outcome
        raw, when = place(base.calls, failure.call, failure.k).split(":")
        status = under_strace(scenario, server, "-e",
                              f"inject={raw}:error={errorcode[failure.error]}:{when}")
        assert ours.ends["1"] == f"exited {status}", failure
        assert ours.lines == sorted(world.OUT.read_text().splitlines()), failure
        errors = world.errors_file(scenario)
        assert ours.errors == (errors.read_text() if errors.exists() else None), failure

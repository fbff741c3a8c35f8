"""The tracer against strace, which was written by others: both see the same calls, and the same
failure has the same outcome. Run by pytest within a private root.

strace counts the calls of each process alike and makes the k-th of all of them fail. Told not to
follow forks it has one process only, and so its failures can be compared for the process that is
invoked.
"""

import re
from collections import Counter
from errno import errorcode
from pathlib import Path

import pytest

import world
from failures import failures
from observe import run
from scenarios import SCENARIOS, arguments, errors_file

OF_STRACE = {"clone": "fork", "pipe2": "pipe", "wait4": "wait", "openat": "open"}
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


def under_strace(scenario, *options):
    """Runs the scenario once. Returns the exit status of the program."""
    world.make_files(scenario, world.SERVER.pid)
    for old in Path("/tmp").glob("strace*"):
        old.unlink()
    strace = world.spawn(["/usr/bin/strace", "-o", "/tmp/strace", *options, world.PROGRAM,
                          *arguments(scenario)])
    return world.wait_for_all(strace)


def names_of(line):
    """The kernel's and our name of the call in a line of strace; none for what is no call that
    returned."""
    called = re.match(r"(\w+)\((.*)", line)
    if not called or re.search(r"<detached|= \?", line):
        return None
    name, rest = called.groups()
    if name == "brk" and rest.startswith("NULL"):
        return name, "brk-query"
    if name == "newfstatat":
        return name, "fstat" if ', "",' in rest else "stat"
    return name, OF_STRACE.get(name, name)


def calls_of_file(path):
    calls = [names for names in map(names_of, path.read_text().splitlines()) if names]
    # The first process begins with strace's own exec.
    begins = calls[0][0] == "execve" and ("brk", "brk-query") in calls
    return tuple(calls[1:] if begins else calls)


def our_names(calls):
    return tuple(ours for _, ours in calls)


def test_both_see_the_same_calls(scenario):
    ours = run(scenario)
    under_strace(scenario, "-ff", "-b", "execve")
    theirs = Counter(our_names(calls_of_file(path)) for path in Path("/tmp").glob("strace.*"))
    by_process = {process: [] for process in ours.outcome.ends}
    for call in ours.calls:
        by_process[call.process].append(call.name)
    assert len(theirs) > 1
    assert Counter(map(tuple, by_process.values())) == theirs


def place(calls, failure):
    """How strace counts a call of the first process: by the kernel's own name."""
    found = [number for number, (_, name) in enumerate(calls) if name == failure.call]
    before = [raw for raw, _ in calls[:found[failure.k - 1] + 1]]
    return f"{before[-1]}:error={errorcode[failure.error]}:when={before.count(before[-1])}"


def test_the_same_failure_has_the_same_outcome(scenario):
    base = run(scenario)
    under_strace(scenario)
    calls = calls_of_file(Path("/tmp/strace"))
    assert our_names(calls) == tuple(call.name for call in base.calls if call.process == "1")
    compared = [failure for failure in failures(base.calls)
                if failure.process == "1" and failure.times == 1
                and failure.call not in DIFFERENT]
    assert len(compared) > 20
    for failure in compared:
        ours = run(scenario, failure).outcome
        status = under_strace(scenario, "-e", f"inject={place(calls, failure)}")
        assert ours.ends["1"] == f"exited {status}", failure
        assert ours.lines == sorted(world.OUT.read_text().splitlines()), failure
        errors = errors_file(scenario)
        assert ours.errors == (errors.read_text() if errors.exists() else None), failure

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
from failures import USED_UP, failures
from observe import MODELLED, run
from scenarios import Scenario

OF_STRACE = {"clone": "fork", "pipe2": "pipe", "wait4": "wait", "openat": "open"}
# strace does not make a call that it lets fail, but the kernel closes a descriptor even then;
# and it returns an error from brk, which never does.
DIFFERENT = {"brk", "close", *USED_UP}
COMPARED = ("service-started, pid file live",
            "start-service, foreground, aveserver, pid file absent, configuration, exits 3",
            "start-service, daemon, keepup2date, pid file empty, exits 3, no panel")


def under_strace(scenario, *options):
    """Runs the scenario once. Returns the exit status of the program."""
    world.make(scenario)
    return world.wait_for_all(world.spawn(
        ["/usr/bin/strace", "-o", "/tmp/strace", *options, world.PROGRAM, *scenario.arguments()],
        scenario.path))


def calls_of_file(path):
    """The kernel's and our name of each call that returned. The first process begins with strace's
    own exec."""
    found = []
    for name, rest in re.findall(r"^(\w+)\((?!.*(?:<detached|= \?))(.*)", path.read_text(), re.M):
        ours = OF_STRACE.get(name, name)
        if name == "brk" and rest.startswith("NULL"):
            ours = "brk-query"
        if name == "newfstatat":
            ours = "fstat" if ', "",' in rest else "stat"
        found.append((name, ours))
    return found[1:] if found[0][0] == "execve" and ("brk", "brk-query") in found else found


@pytest.fixture(name="scenario", params=COMPARED)
def compared_scenario(request):
    return Scenario(request.param)


def test_both_see_the_same_calls(scenario):
    ours = run(scenario)
    under_strace(scenario, "-ff", "-b", "execve")
    theirs = Counter(tuple(our for _, our in calls_of_file(path))
                     for path in Path("/tmp").glob("strace.*"))
    assert len(theirs) > 1
    assert theirs == Counter(tuple(call.name for call in ours.every if call.process == process)
                             for process in ours.ends)


def place(calls, failure):
    """How strace counts a call of the first process: by the kernel's own name."""
    found = [number for number, (_, name) in enumerate(calls) if name == failure.call]
    before = [raw for raw, _ in calls[:found[failure.k - 1] + 1]]
    return f"{before[-1]}:error={errorcode[failure.error]}:when={before.count(before[-1])}"


def test_the_same_failure_has_the_same_outcome(scenario):
    base = run(scenario)
    under_strace(scenario)
    calls = calls_of_file(Path("/tmp/strace"))
    assert [our for _, our in calls] == [call.name for call in base.every if call.process == "1"]
    compared = [failure for failure in failures(base.every)
                if failure.call not in DIFFERENT and failure.process == "1"
                and failure.times == 1]
    assert len(compared) > 20
    for failure in compared:
        ours = run(scenario, failure)
        status = under_strace(scenario, "-e", f"inject={place(calls, failure)}")
        assert ours.ends["1"] == f"exited {status}", failure
        assert ours.lines == sorted(world.text_of(world.OUT).splitlines()), failure
        files = world.snapshot()
        del files["/tmp/strace"]
        assert ours.files == files, failure


@pytest.mark.parametrize("name, most", [
    ("help", 0), ("check-install, aveserver, no panel", 3),
    ("check-install, aveserver, program missing, no panel", 3),
    ("service-started, pid file live, no panel", 9)])
def test_the_invoking_process_makes_few_calls(name, most):
    """Promised numbers, apart from the model that has each call: a longer list is no longer cheap."""
    calls = run(Scenario(name)).every
    assert sum(call.process == "1" and call.name in MODELLED for call in calls) <= most

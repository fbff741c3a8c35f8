"""One run of the program under fail_call, and what it left."""

import signal
from collections import Counter
from dataclasses import dataclass, field

import library
import world
from failures import ERRORS, MEMORY
from scenarios import STALE


@dataclass
class Outcome:
    """How the processes ended, by name, the calls of each in order, and what is left. The lines of
    standard output are sorted: two processes that write at the same time have no order."""

    ends: dict
    calls: dict
    lines: list
    files: dict
    signals: list
    every: list = field(default_factory=list, compare=False)  # call of every kind, as world.Call
    start: int = field(default=0, compare=False)  # so many of them come before main


# The calls that the model knows one by one; the others are the C library's.
MODELLED = set(ERRORS) - set(MEMORY) | {"rt_sigaction"}


def of_library(calls, process):
    """How often a process makes each of the C library's calls; and forks."""
    return Counter(call.name for call in calls if call.process == process
                   and (call.name not in MODELLED or call.name == "fork"))


def of_program(calls, ends):
    """The other calls of each process, in order. The execve that succeeded never returned: it is
    noted as what the process became."""
    made = {process: [] for process in ends}
    for call in calls:
        if call.name in MODELLED:
            made[call.process].append((call.name, call.subject if call.name != "kill" else ""))
    for process, end in ends.items():
        if end.startswith("became "):
            made[process].append(("execve", end.removeprefix("became ")))
    return made


def comparable(scenario, calls):
    """A long text is read in as many pieces as the C library likes: there reads in a row count as
    one."""
    if not scenario.long:
        return calls
    return {process: [call for call, before in zip(made, [None, *made])
                      if call != before or call[0] != "read"]
            for process, made in calls.items()}


def signals(calls):
    """The signals as ("server", or the process number; signal; 0 or the error)."""
    sent = []
    for call in calls:
        if call.name == "kill":
            pid, number = map(int, call.subject.split())
            sent.append(("server" if pid == world.server.pid else pid, number, call.result))
    return sent


def run(scenario, failure=None):
    """Runs the scenario once, in fresh files, with one failure or none. When it returns no
    process is left but the server."""
    world.server.ensure()
    world.make(scenario)
    target = {"live": world.server.pid, "stale": STALE}.get(scenario.pid_file, 0)
    calls, ends = world.traced(failure, target, world.PROGRAM, *scenario.arguments(),
                               path=scenario.path)
    sent, files = signals(calls), world.snapshot()
    lines = sorted(world.text_of(world.OUT).splitlines())
    world.server.settle(("server", signal.SIGTERM, 0) in sent)
    start = library.length_of_start(calls)
    return Outcome(ends, comparable(scenario, of_program(calls[start:], ends)), lines, files, sent,
                   calls, start)

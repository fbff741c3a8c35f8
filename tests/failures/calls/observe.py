"""One run of the program under fail_call, and what it left."""

import re
import signal
from dataclasses import dataclass

import library
import world
from scenarios import ROOT, STALE, arguments, errors_file

# The calls that the model knows one by one. The others only prepare, or give things back.
MODELLED = {"execve", "fork", "kill", "open", "pipe", "read", "setsid", "sleep", "stat", "unlink",
            "wait", "write"}


@dataclass
class Outcome:
    """How the processes ended, by name, the modelled calls of each in order, and what is left.
    The lines of standard output are sorted: two processes that write at the same time have no
    order."""

    ends: dict
    calls: dict
    lines: list
    errors: str | None
    files: dict
    signals: list


@dataclass
class Observation:
    outcome: Outcome
    calls: list  # every call, as world.Call
    start: int  # so many of them are the C library's, before main
    before: dict  # the files before the run
    errors_before: str | None  # the text of the errors file before it
    err: str  # what our own processes wrote to standard error


def subject(call):
    """What a modelled call acts on, without numbers that only order of opening decides."""
    if call.name == "write":
        return call.subject.split(" ", 1)[1]
    return call.subject if call.name in ("execve", "open", "stat", "unlink") else ""


def modelled(calls, ends):
    by_process = {process: [] for process in ends}
    for call in calls:
        if call.name in MODELLED:
            by_process[call.process].append((call.name, subject(call)))
    return {process: once(with_program(made, ends[process]))
            for process, made in by_process.items()}


def once(made):
    """A text is read in as many pieces as the C library likes: reads in a row count as one."""
    return [call for call, before in zip(made, [None, *made])
            if call != before or call[0] != "read"]


def with_program(made, end):
    """The execve that succeeded never returned, and is noted as what the process became."""
    became = re.fullmatch(r"became (.*)", end)
    return made + [("execve", became[1])] if became else made


def signals(calls, server):
    """The signals as ("server", or the process number; signal; 0 or the error)."""
    sent = []
    for call in calls:
        if call.name == "kill":
            pid, number = map(int, call.subject.split())
            sent.append(("server" if pid == server else pid, number, call.result))
    return sent


def run(scenario, failure=None):
    """Runs the scenario once, in fresh files, with one failure or none. When it returns no
    process is left but the server."""
    world.SERVER.ensure()
    server = world.SERVER.pid
    world.make_files(scenario, server)
    before = files_of(scenario, server)
    target = {"live": server, "stale": STALE}.get(scenario.pid_file, 0)
    calls, ends = world.traced(failure, target, world.PROGRAM, *arguments(scenario))
    sent = signals(calls, server)
    world.SERVER.settle(("server", signal.SIGTERM, 0) in sent)
    files, errors = files_of(scenario, server)
    start = library.length_of_start(calls)
    outcome = Outcome(ends=ends, calls=modelled(calls[start:], ends),
                      lines=sorted(world.text_of(world.OUT).splitlines()),
                      errors=errors, files=files, signals=sent)
    return Observation(outcome, calls, start, *before, standard_error(calls))


def files_of(scenario, server):
    """Every file but the errors file, with "server" for its process number, and the text of the
    errors file."""
    files = world.snapshot()
    pid = f"{ROOT}/pid"
    if scenario.pid_file == "live" and files.get(pid) == f"{server}\n":
        files[pid] = "server\n"
    errors = files.pop(str(errors_file(scenario)), None)
    return files, errors


def standard_error(calls):
    return "".join(subject(call) for call in calls
                   if call.name == "write" and call.subject.startswith("2 "))

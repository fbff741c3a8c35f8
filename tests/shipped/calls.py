"""The system calls of one run of the program, by the process that made them.

A process is named by its place: `manager` is the one that was started, `manager.2` its second
child, `manager.2.1` the first child of that. Its list ends where it becomes another program: that
one's calls are not ours to count.
"""

import os
import re
import subprocess
from itertools import groupby
from pathlib import Path

PROGRAM = os.environ["AVMANAGER"]
EMPTY = os.environ["ONE_LINE"]
FORKS = {"fork", "vfork", "clone", "clone3"}
LINE = re.compile(r"(?P<pid>\d+) +(?P<name>\w+)\((?P<rest>.*)")
RESUMED = re.compile(r"(?P<pid>\d+) +<\.\.\. (?P<name>\w+) resumed>(?P<rest>.*)")
UNFINISHED = re.compile(r"<unfinished \.\.\.>$")
RESULT = re.compile(r"= (-?\d+|\?)(?: |$)")


def parse(log):
    """(pid, name, result) of each call in the order of their ends; result None without one."""
    for line in log.splitlines():
        found = RESUMED.match(line) or LINE.match(line)
        # Of a call that strace shows in two halves the second one has the result. An exit may
        # never get one.
        half = RESUMED if "exit_group" in line else UNFINISHED
        if not found or half.search(line):
            continue
        results = RESULT.findall(found["rest"])
        value = results[-1] if results else "?"
        # Some C libraries ask for the status of a descriptor as for that of an empty path.
        name = "fstat" if "AT_EMPTY_PATH" in found["rest"] else found["name"]
        yield int(found["pid"]), name, None if value == "?" else int(value)


def by_process(log):
    """The lists of names, by the name of the process."""
    lists, others, parents, started = {}, set(), {}, {}
    for pid, call, result in parse(log):
        if pid in others:
            continue
        lists.setdefault(pid, []).append(call)
        if call in FORKS and result is not None and result > 0:
            parents[result] = (pid, started.setdefault(pid, 0) + 1)
            started[pid] += 1
        # The first one is how the program itself came to be.
        if call == "execve" and result == 0 and len(lists[pid]) > 1:
            others.add(pid)

    def name(pid):
        if pid not in parents:
            return "manager"
        parent, number = parents[pid]
        return f"{name(parent)}.{number}"

    return {name(pid): calls for pid, calls in lists.items()}


def trace(directory, arguments, environment, program=PROGRAM):
    """Runs a program to its end and that of all its processes; returns (lists, status).

    A pause is listed and over at once: strace answers for the kernel.
    """
    log = Path(directory) / "strace"
    with open(Path(directory) / "out", "wb") as out:
        run = subprocess.run(
            ["strace", "-f", "-qq", "-e", "signal=none", "-e", "inject=clock_nanosleep:retval=0",
             "-o", log, program, *arguments],
            env=environment, stdin=subprocess.DEVNULL, stdout=out, stderr=subprocess.DEVNULL,
            timeout=30, check=False)
    return by_process(log.read_text()), run.returncode


def of_the_c_library(directory):
    """The calls that are not the program's own, by the word that stands for them in a budget."""
    nothing = trace(directory, [], {}, EMPTY)[0]["manager"]
    fork = trace(directory, ["fork"], {}, EMPTY)[0]
    assert nothing[-1] == "exit_group"
    start = nothing[:-1]
    return {"START": start, "FORK": fork["manager"][len(start):-1],
            "FORKED": fork["manager.1"][:-1]}


def of_a_throw(directory):
    """The calls that the C++ library makes for a throw alone, by name."""
    two, three = (set(trace(directory, ["fork", "more", "throw"][:count], {}, EMPTY)[0]["manager"])
                  for count in (2, 3))
    return three - two


def folded(calls, words):
    """A list as text, the form in which budgets are kept: the C library's calls as one word, and
    repeated ones as `name*3`."""
    names, at = [], 0
    while at < len(calls):
        # START and FORKED are what a process begins with.
        known = [word for word, those in words.items() if calls[at:at + len(those)] == those
                 and (word == "FORK" or at == 0)]
        names.append(known[0] if known else calls[at])
        at += len(words[known[0]]) if known else 1
    return " ".join(name if count == 1 else f"{name}*{count}"
                    for name, count in ((name, len(list(same))) for name, same in groupby(names)))

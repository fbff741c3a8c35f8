"""Runs of the program, many of them under way at a time."""

import os
import time
from dataclasses import dataclass
from pathlib import Path

from host import PROGRAM

# A run that takes longer than this is stuck, however busy the machine is.
BOUND = 120.0


@dataclass(frozen=True)
class Answer:
    status: int
    out: str


@dataclass
class Run:
    """A run that has ended: its answer, and how often it touched new memory, in pages."""

    command: int
    answer: Answer
    pages: int


def spawn(host, arguments, out):
    """Starts the program with its output in a file; standard error belongs to the tools."""
    return os.posix_spawn(PROGRAM, [PROGRAM, *arguments], host.env, file_actions=[
        (os.POSIX_SPAWN_OPEN, 0, os.devnull, os.O_RDONLY, 0),
        (os.POSIX_SPAWN_OPEN, 1, out, os.O_WRONLY | os.O_CREAT | os.O_TRUNC, 0o644),
        (os.POSIX_SPAWN_OPEN, 2, os.devnull, os.O_WRONLY, 0),
    ])


def keep_running(host, commands, at_a_time):
    """Runs each command, with so many of them under way; yields the runs as they end."""
    under_way = {}
    free = [str(host.dir / f"out{number}") for number in range(at_a_time)]
    waiting = list(enumerate(commands))[::-1]
    end = time.monotonic() + BOUND
    while waiting or under_way:
        while waiting and free:
            number, arguments = waiting.pop()
            out = free.pop()
            under_way[spawn(host, arguments, out)] = number, out
        pid, status, used = os.wait4(-1, 0)
        assert time.monotonic() < end
        if pid not in under_way:
            # Adopted: what a daemon start leaves ends well in all that is run here.
            assert status == 0, f"a process of a daemon start ended with {status:#x}"
            continue
        number, out = under_way.pop(pid)
        free.append(out)
        answer = Answer(os.waitstatus_to_exitcode(status), Path(out).read_text())
        yield Run(number, answer, used.ru_minflt)


def together(host, commands):
    """Runs the commands at the same time; returns their answers in the commands' order."""
    answers = {run.command: run.answer for run in keep_running(host, commands, len(commands))}
    return [answers[number] for number in range(len(commands))]


def processes():
    """All processes of this process namespace, with their states."""
    found = {}
    for entry in Path("/proc").iterdir():
        if entry.name.isdigit():
            try:
                stat = (entry / "stat").read_text()
            except (FileNotFoundError, ProcessLookupError):
                continue
            found[int(entry.name)] = stat.rpartition(")")[2].split()[0]
    return found


def descriptors(pid):
    """What a process has open, without the one that looks."""
    found = {}
    for number in os.listdir(f"/proc/{pid}/fd"):
        try:
            found[number] = os.readlink(f"/proc/{pid}/fd/{number}")
        except FileNotFoundError:
            continue
    return found


def resident_pages(pid):
    return int(Path(f"/proc/{pid}/statm").read_text().split()[1])

"""Runs the fault matrix in parallel workers, each in a private root of its own, and sums it up.

    run.py [--quick | --scenario NAME] [--workers N]

AVMANAGER, FAIL_CALL and ONE_LINE name the program, the tracer and the program of one line. Exits
with 1 on a violation, and with 77, the skip of ctest, where the machine allows no private root.

The modules, in an order in which each imports earlier ones only: scenarios; world, library,
failures, observe (the run); machine, model, commands (the expected outcome); listed, compare (the
comparison); matrix (a worker), run.
"""

import argparse
import json
import os
import queue
import shlex
import subprocess
import sys
import threading
import time
from pathlib import Path

from listed import missing_in_document
from scenarios import SCENARIOS

HERE = Path(__file__).resolve().parent
PRIVATE_ROOT = HERE.parents[1] / "support/private_root"
KINDS = ("as without", "a line", "an end", "less done", "violation")
EVERY, REPEATS = 11, 2  # of the quick selection: every EVERY-th, beside the decisive calls
SKIPPED = 77


def start(worker, workers, every, scenario):
    return subprocess.Popen(
        [PRIVATE_ROOT, sys.executable, "-B", HERE / "matrix.py",
         *map(str, (worker, workers, every, REPEATS)), *([scenario] if scenario else [])],
        stdout=subprocess.PIPE, text=True)


def read(worker, lines):
    """Passes on what a worker prints, and then its end."""
    for line in worker.stdout:
        lines.put(line)
    lines.put(worker.wait())


class Progress:
    """How much is done, and how long the rest takes: on a terminal in one line that changes, and
    else a line for every tenth."""

    def __init__(self, workers):
        self.missing = workers  # whose totals have not come yet
        self.done = self.total = self.shown = 0
        self.start = time.monotonic()

    def add_total(self, count):
        self.missing -= 1
        self.total += count
        self.start = time.monotonic()

    def step(self):
        self.done += 1
        tty = sys.stdout.isatty()
        part = self.done * (200 if tty else 10) // max(self.total, 1)
        if self.missing or part == self.shown:
            return
        self.shown = part
        left = (time.monotonic() - self.start) / self.done * (self.total - self.done)
        line = f"{self.done} / {self.total} failures, {left:.0f} s left"
        print(f"\r{line}  " if tty else line, end="" if tty else "\n", flush=True)


def collect(workers, lines):
    """The reports of all workers, and their exit statuses."""
    progress = Progress(workers)
    reports, statuses = [], []
    while len(statuses) < workers:
        line = lines.get()
        if isinstance(line, int):
            statuses.append(line)
        elif not line.startswith("{"):
            print(line, end="")
        else:
            event = json.loads(line)
            if "total" in event:
                progress.add_total(event["total"])
            elif "done" in event:
                progress.step()
            else:
                reports.append(event)
    print()
    return reports, statuses


def merge(reports):
    """The counts of each scenario by kind, in order, and then those of the C library's own calls
    in all of them; and the violations."""
    counts, of_library = {}, dict.fromkeys(KINDS, 0)
    violations = []
    for report in reports:
        one = counts.setdefault(report["scenario"], dict.fromkeys(KINDS, 0))
        for ours, kind in report["kinds"]:
            (one if ours else of_library)[kind] += 1
        violations += [(report["scenario"], *violation) for violation in report["violations"]]
    return counts, of_library, violations


def row(cells):
    return "| " + " | ".join(map(str, cells)) + " |"


def table(counts, of_library):
    """The summary, in Markdown."""
    sums = {kind: sum(one[kind] for one in counts.values()) for kind in KINDS}
    named = [*counts.items(), (f"all {len(counts)}", sums), ("the C library's own", of_library)]
    return "\n".join([row(["Scenario", "Failures", *KINDS]),
                      row(["---", *["--:"] * (len(KINDS) + 1)]),
                      *(row([name, sum(one.values()), *one.values()]) for name, one in named), ""])


def report(violations):
    """What is wrong, and how each scenario with a violation is run again alone."""
    for scenario, failure, text in dict.fromkeys(violations):
        print(f"VIOLATION in {scenario}: {failure}: {text}")
    names = ("AVMANAGER_BUILD", "AVMANAGER", "FAIL_CALL", "ONE_LINE")
    again = [*(f"{name}={shlex.quote(os.environ[name])}" for name in names if name in os.environ),
             sys.executable, "-B", shlex.quote(str(HERE / "run.py")), "--scenario"]
    for scenario in dict.fromkeys(scenario for scenario, _, _ in violations):
        print("Run again:", *again, shlex.quote(scenario))


def arguments():
    options = argparse.ArgumentParser("faults", description=__doc__.splitlines()[0])
    what = options.add_mutually_exclusive_group()
    what.add_argument("--quick", action="store_true", help="a selection of it")
    what.add_argument("--scenario", choices=[one.name for one in SCENARIOS], metavar="NAME",
                      help="only that scenario")
    options.add_argument("--workers", type=int, default=2)
    chosen = options.parse_args()
    if chosen.workers < 1:
        options.error("no workers")
    return chosen


def main():
    chosen = arguments()
    if missing := missing_in_document():
        print("Not in docs/messages.md:", *missing, sep="\n")
        return 1
    lines = queue.Queue()
    for number in range(chosen.workers):
        worker = start(number, chosen.workers, EVERY if chosen.quick else 1, chosen.scenario)
        threading.Thread(target=read, args=(worker, lines), daemon=True).start()
    reports, statuses = collect(chosen.workers, lines)
    if SKIPPED in statuses:
        return SKIPPED
    counts, of_library, violations = merge(reports)
    print(table(counts, of_library))
    report(violations)
    return 1 if violations or any(statuses) or not reports else 0


if __name__ == "__main__":
    os.environ.setdefault("PYTHONDONTWRITEBYTECODE", "1")
    sys.exit(main())

"""Runs the fault matrix in parallel workers, each in a private root of its own, and sums it up.

    run.py [--quick | --scenario NAME | --docs] [--workers N]

AVMANAGER, FAIL_CALL and ONE_LINE name the program, the tracer and the program of few lines. Exits
with 1 on a violation, or when docs/reliability.md has other sums, and with 77, the skip of ctest,
where the machine allows no private root.

The modules, in an order in which each imports earlier ones only: scenarios; world, library,
failures, observe (the run); machine, model (the expected outcome); listed, compare (the
comparison); matrix (a worker), run.
"""

import argparse
import json
import os
import re
import shlex
import subprocess
import sys
from collections import Counter
from pathlib import Path

from scenarios import NAMES

HERE = Path(__file__).resolve().parent
PRIVATE_ROOT = HERE.parents[1] / "support/private_root"
PAGE = HERE.parents[2] / "docs/reliability.md"
KINDS = ("as without", "a line", "an end", "less done", "violation")
EVERY = 11  # of the quick selection: every EVERY-th, beside the decisive calls
WIDTH = max(map(len, NAMES))
ALL, LIBRARY = f"all {len(NAMES)}", "the C library's own"


def row(name, cells):
    return f"| {name:<{WIDTH}} | " + " | ".join(f"{cell:>10}" for cell in cells) + " |"


def in_page(name, cells):
    return "| " + " | ".join(map(str, [name, *cells])) + " |"


def counts(tally, name):
    by_kind = [tally[name, kind] for kind in KINDS]
    return [sum(by_kind), *by_kind]


def next_report(worker):
    """What a worker prints of its next scenario; ends as the worker does when that is nothing."""
    line = worker.stdout.readline()
    if line.startswith("{"):
        return json.loads(line)
    print(line, end="")
    sys.exit(worker.wait() or 1)


def show_violations(scenario, reports):
    """What is wrong, and the command that runs the scenario alone."""
    found = dict.fromkeys(tuple(text) for report in reports for text in report["violations"])
    for failure, text in found:
        print(f"VIOLATION in {scenario}: {failure}: {text}")
    if found:
        names = ("AVMANAGER_BUILD", "AVMANAGER", "FAIL_CALL", "ONE_LINE")
        given = [f"{name}={os.environ[name]}" for name in names if name in os.environ]
        print("Run again:", shlex.join([*given, sys.executable, "-B", str(HERE / "run.py"),
                                        "--scenario", scenario]))


def run(names, every, count):
    """Prints a row for each scenario as soon as it is done, and two of all. Returns whether nothing
    is wrong, how many failures of own calls there are, tried or not, and the cells of the two."""
    workers = [subprocess.Popen([PRIVATE_ROOT, sys.executable, "-B", HERE / "matrix.py",
                                 *map(str, (number, count, every)), *names],
                                stdout=subprocess.PIPE, text=True) for number in range(count)]
    print(row("Scenario", ["Failures", *KINDS]), row("---", ["--:"] * 6), sep="\n", flush=True)
    tally, own = Counter(), 0
    for name in names:
        reports = [next_report(worker) for worker in workers]
        for ours, kind in (one for report in reports for one in report["kinds"]):
            for whose in (name, ALL) if ours else (LIBRARY,):
                tally[whose, kind] += 1
        own += reports[0]["own"]
        print(row(name, counts(tally, name)), flush=True)
        show_violations(name, reports)
        tally["wrong"] += sum(len(report["violations"]) for report in reports)
    sums = {name: counts(tally, name) for name in (ALL, LIBRARY)}
    print(*(row(name, cells) for name, cells in sums.items()), sep="\n")
    return tally["wrong"] == 0 and not any([worker.wait() for worker in workers]), own, sums


def arguments():
    options = argparse.ArgumentParser("faults", description=__doc__.splitlines()[0])
    what = options.add_mutually_exclusive_group()
    what.add_argument("--quick", action="store_true", help="a selection of it")
    what.add_argument("--scenario", choices=NAMES, metavar="NAME", help="only that scenario")
    what.add_argument("--docs", action="store_true",
                      help="write the sums into docs/reliability.md, if nothing is wrong")
    options.add_argument("--workers", type=int, default=2)
    chosen = options.parse_args()
    if chosen.workers < 1:
        options.error("no workers")
    return chosen


def main():
    chosen = arguments()
    names = [chosen.scenario] if chosen.scenario else NAMES
    right, own, sums = run(names, EVERY if chosen.quick else 1, chosen.workers)
    page = PAGE.read_text("utf-8")
    said = in_page(ALL, [own] if chosen.quick else sums[ALL])
    if right and chosen.docs:
        PAGE.write_text(re.sub(rf"^\| ({ALL}|{LIBRARY}) \|.*$",
                               lambda old: in_page(old[1], sums[old[1]]), page, flags=re.M), "utf-8")
    elif right and not chosen.scenario and said not in page:
        print("Not in docs/reliability.md:", said)
        return 1
    return 0 if right else 1


if __name__ == "__main__":
    os.environ.setdefault("PYTHONDONTWRITEBYTECODE", "1")
    sys.exit(main())

"""The worker: runs its share of the matrix and prints a line of JSON per scenario.

    matrix.py WORKER WORKERS EVERY SCENARIO...

Takes each scenario's failures in turn: every EVERY-th, and all of the decisive calls. Each runs
twice. Within a private root only (see world.py).
"""

import json
import sys

from compare import difference, kind, violations
from failures import failures
from observe import run
from scenarios import Scenario
from world import Astray

# The quick selection has all of these and the first reads; of the others every n-th.
DECISIVE = {"descriptors", "execve", "fork", "kill", "pipe", "wait"}
LAST_SHORT_READ = 8  # more reads than this are those of one long file


def is_decisive(failure):
    return failure.call in DECISIVE or failure.call == "read" and failure.k <= LAST_SHORT_READ


def try_failure(scenario, base, failure):
    """Runs one failure twice. Returns what it came to, and what was wrong."""
    try:
        first, second = run(scenario, failure), run(scenario, failure)
    except Astray as astray:
        return "violation", [str(astray)]
    found = [*violations(scenario, failure, first, base),
             *violations(scenario, failure, second, base),
             *(f"the second time, {text}" for text in difference(second, first))]
    return "violation" if found else kind(second, base), found


def run_scenario(scenario, share, workers, every):
    """A worker's share of one scenario, as a report: how many failures of the program's own calls
    there are, whoever tries them; what each came to; and what was wrong."""
    try:
        base = run(scenario)
        planned = failures(base.every)
    except Astray as astray:
        return {"own": 0, "kinds": [], "violations": [("no failure", str(astray))]}
    found = [("no failure", text) for text in violations(scenario, None, base, base)]
    chosen = [failure for number, failure in enumerate(planned)
              if is_decisive(failure) or number % every == 0]
    kinds = []
    for failure in chosen[share::workers]:
        what, wrong = try_failure(scenario, base, failure)
        kinds.append((failure.ours, what))
        found += [(str(failure), text) for text in wrong]
    return {"own": sum(failure.ours for failure in planned), "kinds": kinds, "violations": found}


def main():
    worker, workers, every = map(int, sys.argv[1:4])
    for name in sys.argv[4:]:
        print(json.dumps(run_scenario(Scenario(name), worker, workers, every)), flush=True)


if __name__ == "__main__":
    main()

"""The worker: runs its share of the matrix and prints a line of JSON per scenario.

    matrix.py WORKER WORKERS EVERY REPEATS [SCENARIO]

Takes each scenario's failures in turn, or those of one: every EVERY-th, and all of the decisive
calls. Each runs REPEATS times. Within a private root only (see world.py).
"""

import json
import sys

from compare import difference, kind, unfailed, violations
from failures import failures
from observe import run
from scenarios import SCENARIOS
from world import Astray, make_programs

# The quick selection has all of these and the first reads; of the others every n-th.
DECISIVE = {"execve", "fork", "kill", "pipe", "wait"}
LAST_SHORT_READ = 8  # more reads than this are those of one long file


def is_decisive(failure):
    return failure.call in DECISIVE or failure.call == "read" and failure.k <= LAST_SHORT_READ


def plan(scenario, worker, workers, every):
    """The run without a failure and the worker's share of the failures; or the word that nothing
    can be tried."""
    make_programs(scenario)
    try:
        seen = run(scenario)
        planned = failures(seen.calls)
    except Astray as astray:
        return None, [], [str(astray)]
    base = unfailed(scenario, seen, planned)
    chosen = [failure for number, failure in enumerate(planned)
              if is_decisive(failure) or number % every == 0]
    return base, chosen[worker::workers], violations(scenario, None, seen, base)


def try_failure(scenario, base, failure, repeats):
    """Runs one failure and then repeats it. Returns the last observation, or None, and what was
    wrong."""
    seen, found = None, []
    for _ in range(repeats):
        before = seen
        try:
            seen = run(scenario, failure)
        except Astray as astray:
            return None, [*found, str(astray)]
        found += violations(scenario, failure, seen, base)
        if before is not None:
            found += [f"the second time, {text}"
                      for text in difference(seen.outcome, before.outcome)]
    return seen, found


def run_scenario(scenario, base, share, wrong, repeats):
    """The worker's share of one scenario, as a report."""
    make_programs(scenario)
    found = [("no failure", text) for text in wrong]
    kinds = []
    for failure in share:
        seen, wrong = try_failure(scenario, base, failure, repeats)
        found += [(str(failure), text) for text in wrong]
        what = "violation" if wrong else kind(seen.outcome, base.seen.outcome)
        kinds.append((failure.ours, what))
        print(json.dumps({"done": 1}), flush=True)
    return {"scenario": scenario.name, "kinds": kinds, "violations": found}


def main():
    worker, workers, every, repeats = map(int, sys.argv[1:5])
    plans = {scenario: plan(scenario, worker, workers, every) for scenario in SCENARIOS
             if sys.argv[5:] in ([], [scenario.name])}
    print(json.dumps({"total": sum(len(share) for _, share, _ in plans.values())}), flush=True)
    for scenario, planned in plans.items():
        print(json.dumps(run_scenario(scenario, *planned, repeats)), flush=True)


if __name__ == "__main__":
    main()

"""The worker: runs its share of the matrix and prints a line of JSON per scenario.

    matrix.py WORKER WORKERS EVERY REPEATS

Takes each scenario's failures in turn: every EVERY-th, and all of the decisive calls. Each runs
REPEATS times. Within a private root only (see world.py).
"""

import dataclasses
import json
import sys

import listed
import world
from failures import DECISIVE, failures
from compare import harm, unfailed
from model import expected
from observe import MODELLED, run
from scenarios import SCENARIOS

LAST_SHORT_READ = 8  # more reads than this are those of one long file


def difference(got, wanted):
    """The fields in which two outcomes differ, in words; empty when they do not."""
    found = []
    for field in dataclasses.fields(got):
        one, other = getattr(got, field.name), getattr(wanted, field.name)
        if isinstance(one, dict):
            found += [f"{field.name} {key}: {one.get(key)!r}, not {other.get(key)!r}"
                      for key in sorted(set(one) | set(other)) if one.get(key) != other.get(key)]
        elif one != other:
            found.append(f"{field.name}: {one!r}, not {other!r}")
    return found


def memory_before_main(failure, seen):
    """The named exceptions: memory refused before main or on creating the parser may end the
    program by a signal or with 127, after a word of the C library on standard error. The C
    library may also come to that end later: refused the brk that aligns its heap, it stops at
    the next growth."""
    for call in seen.calls:
        if call.name in MODELLED and call.name != "write":
            return False
        if call.chosen:
            break
    return (failure.call in ("brk", "mmap", "mprotect", "memory")
            and seen.outcome.ends["1"] in ("exited 127", "died 6", "died 11"))


def violations(scenario, failure, seen, base):
    """What is wrong with one run, in words. An end before main is excused for the invoking
    process alone, and excuses no harm."""
    if seen.tracer != 0:
        return [f"fail_call ended with {seen.tracer}"]
    excused = failure and memory_before_main(failure, seen)
    found = harm(seen, base)
    found += [f"not listed: {text}" for text in listed.unlisted(
        scenario, others(seen.outcome) if excused else seen.outcome)]
    if excused:
        return found
    found += [f"standard error of ours: {seen.err!r}"] if seen.err else []
    if failure and not any(call.chosen for call in seen.calls):
        found.append("the call was never made")
    if failure is None or failure.call != "memory":
        found += difference(seen.outcome, expected(scenario, failure))
    return found


def others(outcome):
    """The outcome without the end of the invoking process."""
    ends = {process: end for process, end in outcome.ends.items() if process != "1"}
    return dataclasses.replace(outcome, ends=ends)


def kind(failure, seen, base):
    """What a failure came to."""
    outcome = seen.outcome
    if memory_before_main(failure, seen):
        return "memory before main"
    if dataclasses.replace(outcome, calls=base.calls) == base:
        return "as without"
    if set(outcome.lines) - set(base.lines):
        return "a line"
    if any(end not in ("exited 0", base.ends.get(process)) and end.startswith("exited")
           for process, end in outcome.ends.items()):
        return "a status"
    return "less done"


def chosen(failures_of_one, every):
    """All of the decisive calls, and every n-th of the others."""
    return [failure for number, failure in enumerate(failures_of_one)
            if is_decisive(failure) or number % every == 0]


def is_decisive(failure):
    return failure.call in DECISIVE or failure.call == "read" and failure.k <= LAST_SHORT_READ


def try_failure(scenario, server, base, failure, repeats):
    """Runs one failure and then repeats it. Returns the last observation, or None, and what was
    wrong."""
    seen, found = None, []
    for _ in range(repeats):
        before = seen
        try:
            seen = run(scenario, server, failure)
        except world.Astray as astray:
            return None, [*found, str(astray)]
        found += violations(scenario, failure, seen, base)
        if before is not None:
            found += [f"the second time, {text}"
                      for text in difference(seen.outcome, before.outcome)]
    return seen, found


def plan(scenario, server, worker, workers, every):
    """The base run of a scenario and the worker's share of its failures."""
    world.make_programs(scenario)
    seen = run(scenario, server)
    every_failure = failures(seen.calls)
    return (unfailed(scenario, seen, every_failure),
            chosen(every_failure, every)[worker::workers])


def run_scenario(scenario, server, base, share, repeats):
    """The worker's share of one scenario, as a report."""
    world.make_programs(scenario)
    found = [("no failure", text) for text in violations(scenario, None, base.seen, base)]
    kinds = {}
    for failure in share:
        seen, wrong = try_failure(scenario, server, base, failure, repeats)
        found += [(str(failure), text) for text in wrong]
        what = "violation" if wrong else kind(failure, seen, base.seen.outcome)
        kinds[what] = kinds.get(what, 0) + 1
        print(json.dumps({"done": 1}), flush=True)
    return {"scenario": scenario.name, "injections": len(share), "kinds": kinds,
            "violations": found}


def main():
    worker, workers, every, repeats = map(int, sys.argv[1:5])
    server = world.Server()
    plans = {scenario: plan(scenario, server, worker, workers, every) for scenario in SCENARIOS}
    print(json.dumps({"total": sum(len(share) for _, share in plans.values())}), flush=True)
    for scenario, (base, share) in plans.items():
        print(json.dumps(run_scenario(scenario, server, base, share, repeats)), flush=True)


if __name__ == "__main__":
    main()

"""What no failure may bring about, whichever call it is of. Said without the model's steps, so that
it also holds where the model does not say the outcome: when memory is used up."""

from collections import Counter
from dataclasses import dataclass

from model import expected
from observe import Observation


@dataclass(frozen=True)
class Unfailed:
    """A scenario without a failure, and every text (None: absent) that the errors file can have
    after the failure of a single call."""

    seen: Observation
    errors: frozenset


def unfailed(scenario, seen, failures):
    """`failures` are all of the scenario."""
    single = {expected(scenario, failure).errors for failure in failures
              if failure.call != "memory"}
    return Unfailed(seen, frozenset(single | {seen.outcome.errors, seen.errors_before}))


def addressed(outcome):
    """How often each process was sent each signal, whether it came or not."""
    return Counter((pid, number) for pid, number, _ in outcome.signals)


def harm(seen, base):
    """A failure leaves things undone. It signals nobody whom the run without it does not signal,
    and every file is as before or as that run leaves it."""
    after, got = base.seen.outcome, seen.outcome
    found = [f"harm: signal {number} to {pid}"
             for pid, number in (addressed(got) - addressed(after)).elements()]
    for path in sorted({*seen.before, *after.files, *got.files}):
        if got.files.get(path) not in (seen.before.get(path), after.files.get(path)):
            found.append(f"harm: {path} is {got.files.get(path)!r}")
    if got.errors not in base.errors:
        found.append(f"harm: the errors file is {got.errors!r}")
    return found

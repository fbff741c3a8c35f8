"""What is wrong with one run, and what a failure came to."""

import dataclasses
from collections import Counter
from dataclasses import dataclass

import library
from commands import expected
from listed import unlisted
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


def addressed(outcome):
    """How often each process was sent each signal, whether it came or not."""
    return Counter((pid, number) for pid, number, _ in outcome.signals)


def harm(seen, base):
    """What no failure may bring about, whichever call it is of. Said without the model, so that it
    also holds when memory is used up. A failure leaves things undone: it signals nobody whom the
    run without it does not signal, and every file is as before or as that run leaves it."""
    after, got = base.seen.outcome, seen.outcome
    found = [f"harm: signal {number} to {pid}"
             for pid, number in (addressed(got) - addressed(after)).elements()]
    for path in sorted({*seen.before, *after.files, *got.files}):
        if got.files.get(path) not in (seen.before.get(path), after.files.get(path)):
            found.append(f"harm: {path} is {got.files.get(path)!r}")
    if got.errors not in base.errors:
        found.append(f"harm: the errors file is {got.errors!r}")
    return found


def ended_by_library(failure, seen):
    """Whether the program ended as the program of one line does when the same call fails: one
    before main, so that nothing of ours had a part in it."""
    at = next((number for number, call in enumerate(seen.calls) if call.chosen), seen.start)
    return (at < seen.start
            and seen.outcome.ends["1"] == library.end_with(failure) != "exited 0")


def violations(scenario, failure, seen, base):
    """What is wrong with one run, in words. An end by the C library is excused for the invoking
    process alone, and excuses no harm."""
    found = harm(seen, base)
    excused = ended_by_library(failure, seen)
    found += [f"not listed: {text}" for text in unlisted(
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


def kind(outcome, base):
    """What a failure came to, by the outcomes with and without it."""
    if dataclasses.replace(outcome, calls=base.calls) == base:
        return "as without"
    if set(outcome.lines) - set(base.lines):
        return "a line"
    if any(end not in ("exited 0", base.ends.get(process)) and not end.startswith("became")
           for process, end in outcome.ends.items()):
        return "an end"
    return "less done"

"""What is wrong with one run, and what a failure came to."""

import dataclasses
from collections import Counter

import library
from listed import unlisted
from model import expected
from observe import of_library


def difference(got, wanted):
    """The fields in which two outcomes differ, in words; empty when they do not."""
    found = []
    for name in (field.name for field in dataclasses.fields(got) if field.compare):
        one, other = getattr(got, name), getattr(wanted, name)
        if isinstance(one, dict):
            found += [f"{name} {key}: {one.get(key)!r}, not {other.get(key)!r}"
                      for key in sorted({*one, *other}) if one.get(key) != other.get(key)]
        elif one != other:
            found.append(f"{name}: {one!r}, not {other!r}")
    return found


def addressed(outcome):
    """How often each process was sent each signal, whether it came or not."""
    return Counter((pid, number) for pid, number, _ in outcome.signals)


def harm(scenario, seen, base):
    """What no failure may bring about, whichever call it is of. Said without the model, so that it
    also holds when memory is used up. A failure leaves things undone: it signals nobody whom the
    run without it does not signal, and every file is as before or as that run leaves it. Of the
    errors file the document says what it can hold."""
    before, after = scenario.files(), base.files
    found = [f"harm: signal {number} to {pid}"
             for pid, number in (addressed(seen) - addressed(base)).elements()]
    return found + [f"harm: {path} is {seen.files.get(path)!r}"
                    for path in sorted({*before, *after, *seen.files} - {scenario.errors})
                    if seen.files.get(path) not in (before.get(path), after.get(path))]


def calls_beyond(seen):
    """The C library's own calls that the program of few lines does not make, forking as often: a
    needless one, or memory taken in more pieces."""
    found = []
    for process in seen.ends:
        made = of_library(seen.every[seen.start:], process)
        beyond = made - library.since_start(process, made["fork"])
        found += [f"calls of {process}: {name}" for name in beyond if name not in library.of_a_throw()]
    return found


def ended_by_library(failure, seen):
    """Whether the program ended as the program of one line does when the same call fails: one
    before main, so that nothing of ours had a part in it."""
    at = next((number for number, call in enumerate(seen.every) if call.chosen), seen.start)
    return (at < seen.start
            and seen.ends["1"] == library.end_with(failure) != "exited 0")


def violations(scenario, failure, seen, base):
    """What is wrong with one run, in words. An end by the C library is excused for the invoking
    process alone, and excuses no harm."""
    excused = ended_by_library(failure, seen)
    ends = {process: end for process, end in seen.ends.items()
            if process != "1" or not excused}
    found = harm(scenario, seen, base)
    found += [f"not listed: {text}" for text in unlisted(
        scenario, dataclasses.replace(seen, ends=ends))]
    if excused:
        return found
    found += [f"standard error of ours: {call.subject}" for call in seen.every
              if call.name == "write" and call.subject.startswith("2 ")]
    if failure and not any(call.chosen for call in seen.every):
        found.append("the call was never made")
    if failure is None or failure.call != "memory":
        found += difference(seen, expected(scenario, failure))
    return found + (calls_beyond(seen) if failure is None and not scenario.long else [])


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

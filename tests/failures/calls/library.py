"""What the C library calls for itself, asked of a program of few lines
(tests/support/one_line.cpp): it is linked as the program is, and so the answer is that of this
machine."""

import os
from collections import Counter
from functools import cache

from world import traced

ONE_LINE = os.environ["ONE_LINE"]


@cache
def made(*arguments):
    """The names of its calls, by the process."""
    names = {}
    for call in traced(None, 0, ONE_LINE, *arguments)[0]:
        names.setdefault(call.process, []).append(call.name)
    return names


def start():
    """The calls before main."""
    return made()["1"]


@cache
def names():
    """The calls at the start, around a fork, for a text of an error and for more memory."""
    return {name for calls in made("fork", "more").values() for name in calls}


@cache
def of_a_throw():
    return set(made("fork", "more", "throw")["1"]) - names()


def since_start(process, forks):
    """How often a process that forks so often makes each call between its start and its end."""
    around_one = made("fork")["1"][len(start()):]
    return Counter(around_one * forks + ([] if process == "1" else made("fork")["1.1"]))


@cache
def end_with(failure):
    """How the program of one line ends with a failure in its start."""
    _, ends = traced(failure, 0, ONE_LINE, "fork", "more")
    return ends["1"]


def length_of_start(calls):
    """How many of a run's calls are those before main."""
    known = start()
    return next((number for number, call in enumerate(calls)
                 if number == len(known) or call.name != known[number]), len(calls))

"""What the C library calls for itself, asked of a program of one line
(tests/support/one_line.cpp): it is linked as the program is, and so the answer is that of this
machine."""

import os
from functools import cache

from world import traced

ONE_LINE = os.environ["ONE_LINE"]


@cache
def start():
    """The calls before main, by name."""
    calls, _ = traced(None, 0, ONE_LINE)
    return [call.name for call in calls]


@cache
def names():
    """The calls at the start, around a fork, for a text of an error and for more memory."""
    calls, _ = traced(None, 0, ONE_LINE, "fork", "more")
    return {call.name for call in calls}


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

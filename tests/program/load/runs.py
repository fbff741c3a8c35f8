"""Runs of the program, many of them under way at a time."""

import os
import time

# A run that takes longer than this is stuck, however busy the machine is.
BOUND = 120.0


def keep_running(host, commands, at_a_time):
    """Runs each command, with so many of them under way; yields the number and the answer of each
    as it ends."""
    under_way = {}
    free = [f"out{number}" for number in range(at_a_time)]
    waiting = list(enumerate(commands))[::-1]
    end = time.monotonic() + BOUND
    while waiting or under_way:
        while waiting and free:
            number, arguments = waiting.pop()
            out = free.pop()
            under_way[host.start(*arguments, out=out)] = number, out
        pid, status = os.waitpid(-1, 0)
        assert time.monotonic() < end
        if pid not in under_way:
            # Adopted: what a daemon start leaves ends well in all that is run here.
            assert status == 0, f"a process of a daemon start ended with {status:#x}"
            continue
        number, out = under_way.pop(pid)
        free.append(out)
        yield number, (os.waitstatus_to_exitcode(status), (host.dir / out).read_text())


def together(host, commands):
    """Runs the commands at the same time; returns their answers in the commands' order."""
    return [answer for _, answer in sorted(keep_running(host, commands, len(commands)))]

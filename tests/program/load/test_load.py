"""A thousand commands against one live server one after another, and as many 64 at a time."""

import os
import signal
from itertools import cycle, islice
from pathlib import Path

import pytest

from commands import ARGUMENTS, ORDINARY, fill
from host import children, wait_for_end
from runs import keep_running

RUNS = 1000
# Those that leave all as it is for the next one.
KINDS = ("unknown", "check-install", "delete-file", "service-started", "reload",
         "config-file-content")


def descriptors(pid):
    return {path.name: os.readlink(path) for path in Path(f"/proc/{pid}/fd").iterdir()}


@pytest.mark.parametrize("at_a_time", [1, 64])
def test_every_answer_is_right_and_nothing_is_kept(host, at_a_time):
    host.env["PATH"] = "/usr/bin:/bin"
    server = host.server()
    host.file("new", "new text\n")
    host.file("nobody", "0\n")
    before = descriptors(server)
    names = [*islice(cycle(KINDS), RUNS)]
    answers = dict(keep_running(host, [fill(host, ARGUMENTS[name]) for name in names], at_a_time))

    assert [answers[number] for number in range(RUNS)] == \
        [(ORDINARY[name].status, ORDINARY[name].out) for name in names]
    # Orphans are adopted by this process, so none is left elsewhere.
    assert children() == [server]
    assert descriptors(server) == before
    os.kill(server, signal.SIGTERM)
    assert wait_for_end(server) == 0

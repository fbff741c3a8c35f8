"""A thousand commands against one live server one after another, and as many 64 at a time."""

import os
import signal
from itertools import cycle, islice
from pathlib import Path

import pytest

from host import children, wait_for_end
from runs import keep_running

RUNS = 1000


def mixture(host):
    """Commands with the answers that are right for each while the server lives."""
    service = [f"--kav-dir={host.kav}", "--service=other"]
    live, empty, zero = (f"--service-pidfile={path}" for path in (
        host.dir / "pid", host.file("empty"), host.file("zero", "0")))
    return [
        (["--service-started", *service, live], (0, "Service is started\n")),
        (["--check-install", service[0]], (0, "Kaspersky Anti-Virus server is installed\n")),
        (["--start-service", *service, live], (1, "Service is running already\n")),
        (["--config-file-content", f"--file={host.file('conf', 'line' * 1000)}"],
         (0, "line" * 1000)),
        (["--kill-service", *service, empty], (1, "Service is stopped already\n")),
        (["--service-started", *service, live, "--bogus"], (1, "Unknown option '--bogus'\n")),
        (["--delete-file", f"--file={host.dir}/none"], (0, "")),
        (["--kill-service", *service, zero], (0, "")),
    ]


def descriptors(pid):
    return {path.name: os.readlink(path) for path in Path(f"/proc/{pid}/fd").iterdir()}


@pytest.mark.parametrize("at_a_time", [1, 64])
def test_every_answer_is_right_and_nothing_is_kept(host, at_a_time):
    host.env["PATH"] = "/usr/bin:/bin"
    server = host.server()
    kinds = mixture(host)
    before = descriptors(server)
    answers = dict(keep_running(
        host, [arguments for arguments, _ in islice(cycle(kinds), RUNS)], at_a_time))

    assert [answers[number] for number in range(RUNS)] == \
        [answer for _, answer in islice(cycle(kinds), RUNS)]
    # Orphans are adopted by this process, so none is left elsewhere.
    assert children() == [server]
    assert descriptors(server) == before
    os.kill(server, signal.SIGTERM)
    assert wait_for_end(server) == 0

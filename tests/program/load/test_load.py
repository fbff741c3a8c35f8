"""A thousand commands against one live server one after another, and as many 64 at a time."""

import os
import signal
import statistics
from pathlib import Path

import pytest

from host import wait_for_end
from runs import keep_running

RUNS = 1000


@pytest.fixture
def busy(host):
    """A host with the system's own tools and a live server."""
    host.env["PATH"] = "/usr/bin:/bin"
    host.pid = host.server(host.dir / "pid")
    return host


def mixture(host):
    """Commands in turn with the answers that are right for each while the server lives."""
    service = ["--kav-dir=" + str(host.kav), "--service=other",
               f"--service-pidfile={host.dir}/pid"]
    return [
        (["--service-started", *service], (0, "Service is started\n")),
        (["--check-install", f"--kav-dir={host.kav}"],
         (0, "Kaspersky Anti-Virus server is installed\n")),
        (["--start-service", *service], (1, "Service is running already\n")),
        (["--config-file-content", f"--file={host.file('conf', 'line' * 1000)}"],
         (0, "line" * 1000)),
        (["--kill-service", *service[:2], f"--service-pidfile={host.file('empty')}"],
         (1, "Service is stopped already\n")),
        (["--service-started", *service, "--bogus"],
         (1, "Unknown option '--bogus'\n")),
        (["--delete-file", f"--file={host.dir}/none"], (0, "")),
        (["--kill-service", *service[:2], f"--service-pidfile={host.file('zero', '0')}"],
         (0, "")),
    ]


def processes():
    """All processes of this process namespace, with their states."""
    found = {}
    for entry in Path("/proc").iterdir():
        if entry.name.isdigit():
            try:
                stat = (entry / "stat").read_text()
            except (FileNotFoundError, ProcessLookupError):
                continue
            found[int(entry.name)] = stat.rpartition(")")[2].split()[0]
    return found


def descriptors(pid):
    """What a process has open, without the one that looks."""
    found = {}
    for number in os.listdir(f"/proc/{pid}/fd"):
        try:
            found[number] = os.readlink(f"/proc/{pid}/fd/{number}")
        except FileNotFoundError:
            continue
    return found


def resident_pages(pid):
    return int(Path(f"/proc/{pid}/statm").read_text().split()[1])


def median(runs, command, kinds):
    """What most runs of one kind of command touched."""
    return statistics.median(run.pages for run in runs if run.command % kinds == command)


@pytest.mark.parametrize("at_a_time", [1, 64])
def test_every_answer_is_right_and_nothing_is_kept(busy, at_a_time):
    kinds = mixture(busy)
    before = processes(), descriptors(busy.pid), descriptors("self"), resident_pages(busy.pid)
    runs = list(keep_running(busy, [kinds[number % len(kinds)][0] for number in range(RUNS)],
                             at_a_time))

    assert len(runs) == RUNS
    assert [run for run in runs if run.answer != kinds[run.command % len(kinds)][1]] == []
    left, kept, own, resident = (processes(), descriptors(busy.pid), descriptors("self"),
                                 resident_pages(busy.pid))
    assert left.keys() == before[0].keys()
    assert "Z" not in left.values()
    assert kept == before[1]
    assert len(own) == len(before[2])
    assert resident <= before[3] + 16
    # A run is as large at the end as in the beginning.
    for command in range(len(kinds)):
        first = median(runs[:RUNS // 4], command, len(kinds))
        last = median(runs[-RUNS // 4:], command, len(kinds))
        assert last <= first * 1.1 + 8, kinds[command][0]
    os.kill(busy.pid, signal.SIGTERM)
    assert wait_for_end(busy.pid) == 0


def test_the_measure_of_memory_sees_a_run_that_is_larger(busy):
    """The rule above could fail: a quarter of a megabyte more is more than it allows."""
    busy.file("large", "1" * (1 << 18))
    service = [f"--kav-dir={busy.kav}", "--service=other"]
    sizes = {}
    for name in ("pid", "large"):
        command = ["--service-started", *service, f"--service-pidfile={busy.dir}/{name}"]
        runs = list(keep_running(busy, [command] * 20, 1))
        assert {run.answer for run in runs} == {(0, "Service is started\n")}
        sizes[name] = median(runs, 0, 1)
    assert sizes["large"] > sizes["pid"] * 1.1 + 8

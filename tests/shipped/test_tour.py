"""The tours and their pictures leave no process and no file, whenever they are interrupted, and tours
may run at once: with a /tmp of their own, and in the machine's where that is refused."""

import os
import shutil
import signal
import subprocess
import time
from pathlib import Path

import pytest

from pages import ROOT

COMMANDS = {"tour": [ROOT / "examples/tour"], "clamd": [ROOT / "examples/clamd/tour"],
            "picture": [ROOT / "scripts/picture", "--check"]}
SECONDS = (0.1, 0.2, 0.3, 1, 2, 3, 4, 5, 6)  # a reload waits for five


@pytest.fixture(name="environments")
def places_to_run_in(tmp_path):
    """The environment of a tour that may have a /tmp of its own, and of one that may not."""
    refusing = tmp_path / "unshare"
    refusing.write_text("#!/bin/sh\nexit 1\n")
    refusing.chmod(0o755)
    own = {name: text for name, text in os.environ.items() if name != "AVMANAGER_PRIVATE_ROOT"}
    return {"own": own, "shared": own | {"PATH": f"{tmp_path}:{own['PATH']}"}}


def started(command, environment):
    """In a process group of its own, as a shell starts it."""
    if command == "clamd" and not shutil.which("clamdscan"):
        pytest.skip("clamd is not installed")
    return subprocess.Popen([*COMMANDS[command], os.environ["AVMANAGER"]], env=environment,
                            start_new_session=True, text=True, stdout=subprocess.PIPE,
                            stderr=subprocess.STDOUT)


def interrupt(run, moment):
    """As Ctrl-C does."""
    time.sleep(max(0, moment - time.monotonic()))
    if run.poll() is None:
        os.killpg(run.pid, signal.SIGINT)
    run.communicate(timeout=60)
    return run.returncode


def left():
    """The files of /tmp and the processes that live."""
    return {*Path("/tmp").iterdir(),
            *(stat.parent for stat in Path("/proc").glob("[0-9]*/stat")
              if stat.read_text().rpartition(")")[2].split()[0] != "Z")}


@pytest.mark.parametrize("command", COMMANDS)
def test_an_interrupted_one_leaves_nothing_in_its_own_place(environments, command):
    before = left()
    begin = time.monotonic()
    runs = [started(command, environments["own"]) for _ in SECONDS]
    ends = [interrupt(run, begin + seconds) for run, seconds in zip(runs, SECONDS)]
    assert len(ends) - ends.count(0) >= 6
    assert left() == before


@pytest.mark.parametrize("command, seconds", [*(("tour", seconds) for seconds in SECONDS),
                                              *(("clamd", seconds) for seconds in (0.3, 1, 6, 9)),
                                              ("picture", 0.3), ("picture", 2)])
def test_an_interrupted_one_leaves_nothing_in_the_machines_place(environments, command, seconds):
    before = left()
    end = interrupt(started(command, environments["shared"]), time.monotonic() + seconds)
    assert end != 0 or command == "tour" and seconds > 5
    assert left() == before


def test_several_at_once_are_all_right(environments):
    before = left()
    runs = [started("tour", environments[place]) for place in ("own", "own", "shared", "shared")]
    said = [run.communicate(timeout=60)[0] for run in runs]
    assert [run.returncode for run in runs] == [0] * len(runs)
    assert sum("Waiting for another tour\n" in text for text in said) == 1
    assert left() == before

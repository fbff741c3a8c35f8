"""The hosts leave nothing on the machine, however their command ends."""

import os
import signal
import subprocess
import time
from pathlib import Path

import pytest

HOSTS = Path(__file__).resolve().parents[3] / "fleet/hosts"
MADE = [HOSTS, "1", os.environ["AVMANAGER"]]


def output(*command):
    return subprocess.run(command, capture_output=True, text=True, check=True).stdout


def machine():
    """What the hosts could leave, but processes: links, named networks, mounts, files."""
    return (output("ip", "-o", "-br", "link"), output("ip", "netns"),
            output("findmnt", "-rno", "TARGET,SOURCE"), os.path.exists("/run/fleet"),
            {path for path in os.listdir("/tmp") if path.startswith(("tmp.", "ansible"))})


def processes_below(pid):
    """Every process that descends from one."""
    children = Path(f"/proc/{pid}/task/{pid}/children").read_text().split()
    return set(children).union(*(processes_below(child) for child in children))


def interrupted(command, until, number):
    """Ends a command, as Ctrl-C does, when it has said something; returns its processes."""
    with subprocess.Popen(command, stdout=subprocess.PIPE, text=True, preexec_fn=unignored,
                          start_new_session=True) as run:
        while until not in run.stdout.readline():
            pass
        processes = processes_below(run.pid)
        assert len(processes) > 4
        os.killpg(run.pid, number) if number == signal.SIGINT else run.send_signal(number)
    assert run.returncode in (130, -number)
    return processes


def nothing_left(before, processes=()):
    assert machine() == before
    limit = time.monotonic() + 60
    while left := [pid for pid in processes if Path("/proc", pid).exists()]:
        assert time.monotonic() < limit, left
        time.sleep(0.1)


def test_streams_and_exit_status_are_the_commands_and_nothing_is_left():
    before = machine()
    run = subprocess.run([*MADE, "sh"], capture_output=True, text=True, check=False,
                         input="ssh-keyscan 10.77.0.1 2>&1; ip -br link; exit 7\n")
    assert run.returncode == 7
    assert "ssh-ed25519" in run.stdout and "h1@" in run.stdout
    nothing_left(before)


def unignored():
    """A shell can trap no signal that was ignored when it started, as in a job of another's, or below
    nohup."""
    for number in (signal.SIGINT, signal.SIGHUP):
        signal.signal(number, signal.SIG_DFL)


@pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGKILL])
def test_nothing_is_left_after_an_interruption(number):
    before = machine()
    nothing_left(before, interrupted([*MADE, "sh", "-c", "echo ready; sleep 1000"], "ready", number))


def test_nothing_is_left_after_an_interruption_of_the_demo():
    before = machine()
    nothing_left(before, interrupted([HOSTS.parent / "demo", os.environ["AVMANAGER"]], "TASK", signal.SIGINT))


@pytest.mark.parametrize("written", ["/usr/sbin/avmanager", "/etc/hostname", "/opt/new", "/tmp/new",
                                     "/run/new"])
def test_a_host_writes_to_nothing_of_the_machine(written):
    def seen():
        return os.stat(written).st_mtime_ns if os.path.exists(written) else None

    before = seen()
    output(*MADE, "sh", "-c", f"{HOSTS} --on h1 sh -c 'echo 1 >{written}; ! echo 1 >/proc/sys/kernel/sem'")
    assert seen() == before

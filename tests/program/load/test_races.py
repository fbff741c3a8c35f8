"""Commands that meet. Nothing locks the pid file, so several outcomes are right for each; each
run ends with one of them."""

import contextlib
import os
import signal
from pathlib import Path

import pytest

from host import PROBE, wait_for_end, wait_until
from runs import Answer, spawn, together

DONE = Answer(0, "")
RUNNING = Answer(1, "Service is running already\n")
STOPPED = Answer(1, "Service is stopped already\n")
NOT_RELOADED = Answer(1, "Service reloading failed\n")
# The pid file was there for the query of its status, and gone for its cat.
VANISHED = Answer(1, "Error\n")
ROUNDS = 40


def command(host, name, service="other", pid_file="pid"):
    return [name, f"--kav-dir={host.kav}", f"--service={service}",
            f"--service-pidfile={host.dir}/{pid_file}"]


@pytest.fixture
def racing(host):
    host.env["PATH"] = "/usr/bin:/bin"
    host.act("other", f"serve {host.dir}/pid remove")
    return host


def start(host):
    """A daemon start to the point where its server has its pid file."""
    assert together(host, [command(host, "--start-service")]) == [DONE]
    wait_until((host.dir / "pid").exists, "the server's pid file")


def is_ready(pid):
    """Whether a server has come to its handlers, or has ended: before them the signal that it is
    sent ends it as it ends any program."""
    try:
        status = Path(f"/proc/{pid}/status").read_text()
    except (FileNotFoundError, ProcessLookupError):
        return True
    values = dict(line.split(":\t", 1) for line in status.splitlines() if ":\t" in line)
    return values["State"].startswith("Z") or bool(
        int(values["SigCgt"], 16) >> (signal.SIGTERM - 1) & 1)


def end_all(host, started):
    """Waits for as many servers as were started and ends them; all that is left ends well."""
    wait_until(lambda: len(host.reports("other")) == started, f"{started} servers")
    for report in host.reports("other"):
        wait_until(lambda: is_ready(report.pid), "the server's handlers")
        # Some were stopped by the race. To ask whether one lives before the kill would leave it
        # the time to end in between.
        with contextlib.suppress(ProcessLookupError):
            os.kill(int(report.pid), signal.SIGTERM)
    assert set(host.settle().values()) <= {0}
    for path in [host.dir / "pid", *host.record.glob("other.[0-9]*")]:
        path.unlink(missing_ok=True)


def test_two_starts_may_both_succeed(racing):
    """As long as the first server has not written its pid file, there is none for the second
    start to find."""
    racing.act("other", f"serve {racing.dir}/not-yet")
    assert together(racing, [command(racing, "--start-service")]) == [DONE]
    assert together(racing, [command(racing, "--start-service")]) == [DONE]
    end_all(racing, 2)


def test_start_against_start(racing):
    for _ in range(ROUNDS):
        answers = together(racing, [command(racing, "--start-service")] * 2)
        assert set(answers) <= {DONE, RUNNING}
        assert DONE in answers
        end_all(racing, answers.count(DONE))


def test_start_against_stop_of_a_live_server(racing):
    for _ in range(ROUNDS):
        start(racing)
        started, stopped = together(racing, [command(racing, "--start-service"),
                                             command(racing, "--kill-service")])
        assert started in (DONE, RUNNING, VANISHED)
        assert stopped == DONE
        end_all(racing, 1 + (started == DONE))


def test_start_against_stop_without_a_server(racing):
    """The new server may be quick enough to be stopped."""
    for _ in range(ROUNDS):
        started, stopped = together(racing, [command(racing, "--start-service"),
                                             command(racing, "--kill-service")])
        assert started == DONE
        assert stopped in (STOPPED, DONE)
        end_all(racing, 1)


def test_stop_against_stop(racing):
    """At least one finds the server. The other one may find its pid file gone at any step."""
    for _ in range(ROUNDS):
        start(racing)
        answers = together(racing, [command(racing, "--kill-service")] * 2)
        assert DONE in answers
        assert set(answers) <= {DONE, STOPPED, VANISHED}
        end_all(racing, 1)


def test_restart_against_restart(racing):
    """Each ends what it finds and starts one of its own."""
    for _ in range(ROUNDS):
        start(racing)
        answers = together(racing, [command(racing, "--restart-service")] * 2)
        assert DONE in answers
        assert set(answers) <= {DONE, VANISHED}
        end_all(racing, 1 + answers.count(DONE))


class Reload:
    """A server of its own, and the reload of it that is under way."""

    def __init__(self, host, number):
        self.host, self.number = host, number
        self.pid_file = host.dir / f"pid{number}"
        self.said = host.dir / f"said{number}"
        self.server = os.posix_spawn(
            PROBE, ["probe", "serve", str(self.pid_file), "remove"], host.env, file_actions=[
                (os.POSIX_SPAWN_OPEN, 1, str(self.said), os.O_WRONLY | os.O_CREAT, 0o644)])
        wait_until(self.pid_file.exists, "the server's pid file")
        self.pid = self.stop_pid = None

    def begin(self):
        self.pid = self._run("--restart-service", "reload")

    def stop(self):
        self.stop_pid = self._run("--kill-service", "stop")

    def _run(self, name, out):
        arguments = command(self.host, name, "aveserver", self.pid_file.name)
        return spawn(self.host, arguments, str(self.host.dir / f"{out}{self.number}"))

    def is_reached(self):
        return "HUP" in self.said.read_text()

    def end(self):
        """The answers of the stop, if any, and of the reload."""
        answers = []
        for pid, out in ((self.stop_pid, "stop"), (self.pid, "reload")):
            if pid:
                status = wait_for_end(pid)
                text = Path(self.host.dir / f"{out}{self.number}").read_text()
                answers.append(Answer(os.waitstatus_to_exitcode(status), text))
        return answers


def test_reload_against_stop(racing):
    """Three kinds at a time, since each takes five seconds: left alone, stopped at the same time,
    and stopped when the reload has reached the server."""
    alone, racers, late = ([Reload(racing, group * 100 + number) for number in range(count)]
                           for group, count in ((1, 4), (2, 24), (3, 8)))
    for reload in alone + late:
        reload.begin()
    for reload in racers:
        reload.begin()
        reload.stop()
    for reload in late:
        wait_until(reload.is_reached, "the reload")
        reload.stop()
    for reload in late + racers:
        # Reaped at once: a dead process that nobody has waited for counts as alive.
        assert wait_for_end(reload.server) == 0

    assert [reload.end() for reload in alone] == [[DONE]] * 4
    assert [reload.end() for reload in late] == [[DONE, NOT_RELOADED]] * 8
    for reload in racers:
        stopped, reloaded = reload.end()
        assert stopped == DONE
        # Found nothing at all: then it started the server anew.
        assert reloaded in (NOT_RELOADED, VANISHED, DONE)
    for reload in alone:
        os.kill(reload.server, signal.SIGTERM)
        assert wait_for_end(reload.server) == 0
    racing.settle()

"""Commands that meet. Nothing locks the pid file, so several outcomes are right for each; each
run ends with one of them."""

import contextlib
import os
import signal

import pytest

from commands import state_of
from host import wait_for_end, wait_until
from runs import together

DONE = (0, "")
RUNNING = (1, "Service is running already\n")
STOPPED = (1, "Service is stopped already\n")
NOT_RELOADED = (1, "Service reloading failed\n")
# The pid file was there for the query of its status, and gone for its cat.
VANISHED = (1, "Error\n")
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
    with contextlib.suppress(FileNotFoundError, ProcessLookupError):
        return state_of(pid, "State").startswith("Z") or \
            bool(int(state_of(pid, "SigCgt"), 16) >> signal.SIGTERM - 1 & 1)
    return True


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
    """A server of its own, and the reload and the stop of it that are under way."""

    def __init__(self, host, number):
        self.host, self.number, self.runs = host, number, {}
        pid_file = host.dir / f"pid{number}"
        self.server = host.process("serve", str(pid_file), "remove", out=f"said{number}")
        wait_until(pid_file.exists, "the server's pid file")

    def begin(self, name):
        arguments = command(self.host, name, "aveserver", f"pid{self.number}")
        self.runs[name] = self.host.start(*arguments, out=f"{name}{self.number}")

    def is_reached(self):
        return "HUP" in (self.host.dir / f"said{self.number}").read_text()

    def answer(self, name):
        status = wait_for_end(self.runs[name])
        text = (self.host.dir / f"{name}{self.number}").read_text()
        return os.waitstatus_to_exitcode(status), text


def test_reload_against_stop(racing):
    """Two kinds at a time, since each takes five seconds: stopped at the same time, and stopped
    when the reload has reached the server."""
    reloads = [Reload(racing, number) for number in range(32)]
    late, racers = reloads[:8], reloads[8:]
    for reload in late:
        reload.begin("--restart-service")
    for reload in racers:
        reload.begin("--restart-service")
        reload.begin("--kill-service")
    for reload in late:
        wait_until(reload.is_reached, "the reload")
        reload.begin("--kill-service")
    for reload in reloads:
        # Reaped at once: a dead process that nobody has waited for counts as alive.
        assert wait_for_end(reload.server) == 0

    assert [reload.answer("--kill-service") for reload in reloads] == [DONE] * 32
    assert [reload.answer("--restart-service") for reload in late] == [NOT_RELOADED] * 8
    # One that found nothing at all started the server anew.
    assert {reload.answer("--restart-service") for reload in racers} <= \
        {NOT_RELOADED, VANISHED, DONE}
    racing.settle()

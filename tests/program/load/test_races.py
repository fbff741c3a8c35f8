"""Commands that meet. Nothing locks the pid file, so several outcomes are right for each; each
run ends with one of them."""

import contextlib
import os
import signal

import pytest

from commands import state_of
from host import wait_until
from runs import together

DONE = (0, "")
RUNNING = (1, "Service is running already\n")
STOPPED = (1, "Service is stopped already\n")
# The pid file was there for the query of its status, and gone for its cat.
VANISHED = (1, "Error\n")
START, STOP, RESTART = "--start-service", "--kill-service", "--restart-service"


def command(host, name):
    return [name, f"--kav-dir={host.kav}", "--service=other", host.with_pid]


@pytest.fixture
def racing(host):
    host.env["PATH"] = "/usr/bin:/bin"
    host.act("other", f"serve {host.pid_file} remove")
    return host


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
    for path in [host.pid_file, *host.record.glob("other.[0-9]*")]:
        path.unlink(missing_ok=True)


def test_two_starts_may_both_succeed(racing):
    """As long as the first server has not written its pid file, there is none for the second
    start to find."""
    racing.act("other", f"serve {racing.dir}/not-yet")
    for _ in range(2):
        assert together(racing, [command(racing, START)]) == [DONE]
    end_all(racing, 2)


# Whether a server lives before, the two commands, and the answers that are right for each. One of
# the two always succeeds.
@pytest.mark.parametrize("lives, commands, right", [
    (False, (START, START), ({DONE, RUNNING}, {DONE, RUNNING})),
    (True, (START, STOP), ({DONE, RUNNING, VANISHED}, {DONE})),
    # The new server may be quick enough to be stopped.
    (False, (START, STOP), ({DONE}, {DONE, STOPPED})),
    # The other one may find the pid file gone at any step.
    (True, (STOP, STOP), ({DONE, STOPPED, VANISHED}, {DONE, STOPPED, VANISHED})),
    # Each ends what it finds and starts one of its own.
    (True, (RESTART, RESTART), ({DONE, VANISHED}, {DONE, VANISHED})),
], ids=["starts", "start and stop", "start and stop of none", "stops", "restarts"])
def test_a_command_against_another(racing, lives, commands, right):
    for _ in range(40):
        if lives:
            assert together(racing, [command(racing, START)]) == [DONE]
            racing.pid()
        answers = together(racing, [command(racing, name) for name in commands])
        assert all(answer in known for answer, known in zip(answers, right)), answers
        assert DONE in answers
        end_all(racing, lives + sum(name != STOP and answer == DONE
                                    for name, answer in zip(commands, answers)))

"""Signals that the caller ignores or blocks. A program starts with both as its caller had them."""

import signal

import pytest

from commands import ORDINARY, run

SIGNALS = (signal.SIGCHLD, signal.SIGPIPE, signal.SIGHUP)


def ignoring(number):
    return lambda: signal.signal(number, signal.SIG_IGN)


def blocking(number):
    return lambda: signal.pthread_sigmask(signal.SIG_BLOCK, {number})


# A child that nobody is told of is reaped by the kernel, and the wait for it fails when it has
# ended. The runner reports that; the wait for a capture takes it for a good end; the service
# body takes it for a failure that it cannot name.
UNREAPED = {
    "config-file-content": ORDINARY["config-file-content"].but(
        status=1, out="new text\nNo child processes\n"),
    "save-to-config-file": ORDINARY["save-to-config-file"].but(
        status=1, out="No child processes\n"),
    "start-daemon": ORDINARY["start-daemon"].but(effect=""),
    "start-foreground": ORDINARY["start-foreground"].but(status=1, out="Error\n", effect=""),
    "restart-service": ORDINARY["restart-service"].but(effect="terminated"),
}


@pytest.mark.parametrize("number", SIGNALS, ids=lambda number: number.name)
@pytest.mark.parametrize("change, key", [(ignoring, "ignored"), (blocking, "blocked")])
@pytest.mark.parametrize("name", ORDINARY)
def test_every_command_and_its_children_inherit_it(host, name, change, key, number):
    unreaped = change == ignoring and number == signal.SIGCHLD
    expected = UNREAPED.get(name, ORDINARY[name]) if unreaped else ORDINARY[name]
    assert run(host, name, prepare=change(number)) == expected
    for report in host.reports("other") + host.reports("cat"):
        assert int(getattr(report, key), 16) & 1 << number - 1


def test_a_saved_file_keeps_its_owner_when_children_are_not_reaped(host):
    run(host, "save-to-config-file", prepare=ignoring(signal.SIGCHLD))
    assert host.calls() == [f"cp {host.dir}/new {host.dir}/old"]


def test_a_failed_cat_of_the_pid_file_goes_unseen_when_children_are_not_reaped(host):
    host.act("cat", "exit 1")
    host.file("pid", "0\n")
    asked = host.control("--service-started", host.with_pid, prepare=ignoring(signal.SIGCHLD))
    assert asked.answer == (1, "Service is not running\n")

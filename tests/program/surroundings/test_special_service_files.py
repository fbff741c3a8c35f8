"""Links, devices, sockets and folders as a service's pid file and as its configuration file."""

import signal
from pathlib import Path

import pytest

from commands import stopped_server, was_sent
from host import errors_file
from special_files import make_special

NOTHING = (0, "")
KINDS = ("dangling", "looping", "linked", "null", "socket", "folder")

STOPPED = {
    "service-started": (1, "Service is not running\n"),
    "kill-service": (1, "Service is stopped already\n"),
    "restart-service": NOTHING,
    "start-service": NOTHING,
}
RUNNING = {
    "service-started": (0, "Service is started\n"),
    "kill-service": NOTHING,
    "restart-service": NOTHING,
    "start-service": (1, "Service is running already\n"),
}
UNREADABLE = dict.fromkeys(STOPPED, (1, "Error\n"))
# What a kind means, and whether cat is asked: where the status cannot be queried there is no pid
# file; where it can, cat tells whether there is text in it, or fails.
PID_FILES = {
    "dangling": (STOPPED, False), "looping": (STOPPED, False), "null": (STOPPED, True),
    "linked": (RUNNING, True), "socket": (UNREADABLE, True), "folder": (UNREADABLE, True),
}


@pytest.mark.parametrize("kind", KINDS)
@pytest.mark.parametrize("command", STOPPED)
def test_as_pid_file(host, command, kind):
    server = stopped_server(host)
    path = make_special(host, kind, content=f"{server}\n")
    means, asked = PID_FILES[kind]
    signals = means is RUNNING and command in ("kill-service", "restart-service")
    starts = command in ("restart-service", "start-service") and means[command] == NOTHING

    result = host.run(f"--{command}", f"--kav-dir={host.kav}", "--service=other",
                      f"--service-pidfile={path}")

    assert result.answer == means[command]
    assert (result.err == b"") == (means is not UNREADABLE)
    # The pid is read once more than whether there is one.
    assert host.calls() == \
        [f"cat {path}"] * (asked + signals) + ["other", "cat"] * starts
    assert len(host.reports("other")) == starts
    assert errors_file("other") == ("0" if starts else None)
    assert was_sent(server, signal.SIGTERM) == signals


def arguments(host, service, configuration):
    """What each program gets after its own name."""
    return {
        "parse_avstat.pl": ["-x", "-r", "-n=1", f"-sd={host.kav}/proc_avstat", configuration],
        "keepup2date": ["-d", "", "-c", configuration],
        "other": ["-c", configuration],
    }[service]


@pytest.mark.parametrize("kind", [*KINDS, "fifo"])
@pytest.mark.parametrize("service", ["parse_avstat.pl", "keepup2date", "other"])
def test_as_configuration_file(host, service, kind):
    """It is handed on unopened. Only the statistics script wants one that is there, and without
    it leaves nothing of an earlier run's errors file."""
    path = make_special(host, kind)
    errors = Path(f"/tmp/zrckav_{service}_errors")
    errors.write_text("7")
    runs = service != "parse_avstat.pl" or kind not in ("dangling", "looping")

    result = host.run("--start-service", f"--kav-dir={host.kav}", f"--service={service}",
                      "--no-daemon=1", f"--config-file={path}")

    assert (result.answer, result.err) == (NOTHING, b"")
    given = arguments(host, service, str(path))
    assert host.calls() == [" ".join([service, *given]), "cat"] * runs
    assert [report.argv for report in host.reports(service)] == \
        [[f"{host.kav}/bin/{service}", *given]] * runs
    assert errors_file(service) == ("0" if runs else None)

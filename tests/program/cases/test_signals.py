"""What is sent to the process in the pid file, and what follows."""

import os
import signal

import pytest

from host import children, errors_file, wait_for_end, wait_until


def control(host, command, service="other", **options):
    return host.run(command, f"--kav-dir={host.kav}", f"--service={service}",
                    f"--service-pidfile={host.dir}/pid", **options)


def output(host):
    return (host.dir / "process.out").read_text()


def test_kill_sends_sigterm_and_does_not_wait(host):
    """Nothing looks at what the process is."""
    server = host.server(host.dir / "pid")
    os.kill(server, signal.SIGSTOP)
    result = control(host, "--kill-service", settle=False)
    assert (result.status, result.out, result.err) == (0, b"", b"")
    assert server in children()
    os.kill(server, signal.SIGCONT)
    assert wait_for_end(server) == 0
    assert output(host) == "TERM\n"


def test_kill_of_a_stale_pid_reports_success(host):
    gone = host.process("exit", "0")
    wait_for_end(gone)
    host.file("pid", str(gone))
    assert control(host, "--kill-service").answer == (0, "")


def test_pid_text_is_read_up_to_the_first_other_byte(host):
    server = host.server(host.dir / "pid")
    host.file("pid", f" \n\t{server}x99\n")
    control(host, "--kill-service", settle=False)
    assert wait_for_end(server) == 0


def test_a_negative_number_signals_a_process_group(host):
    members = []
    for _ in range(2):
        pid = os.fork()
        if pid == 0:
            signal.signal(signal.SIGTERM, signal.SIG_DFL)
            while True:
                signal.pause()
        members.append(pid)
        os.setpgid(pid, members[0])
    assert members[0] > 1
    assert [os.getpgid(member) for member in members] == [members[0]] * 2
    host.file("pid", f"-{members[0]}\n")
    assert control(host, "--kill-service", settle=False).answer == (0, "")
    assert [wait_for_end(member) for member in members] == [signal.SIGTERM] * 2


@pytest.mark.parametrize("command, service", [
    ("--kill-service", "other"), ("--restart-service", "aveserver"),
])
def test_an_empty_second_read_sends_nothing_and_succeeds(host, command, service):
    """The server ended between the two reads and emptied its pid file."""
    host.file("pid", "1\n")
    host.act("cat", f"exec {host.file('once', ONCE)}")
    (host.dir / "once").chmod(0o755)
    assert control(host, command, service).answer == (0, "")
    assert host.calls() == [f"cat {host.dir}/pid"] * 2


# Prints the file the first time, and nothing from then on.
ONCE = """#!/bin/sh
/bin/cat "$1"
: > "$1"
"""


def test_restart_of_another_service_terminates_and_starts_it(host):
    server = host.server(host.dir / "pid")
    assert control(host, "--restart-service").answer == (0, "")
    assert wait_for_end(server) == 0
    assert output(host) == "TERM\n"
    assert sorted(host.calls()) == sorted([f"cat {host.dir}/pid"] * 2 + ["other", "cat"])
    assert errors_file("other") == "0"


def test_restart_does_not_wait_for_the_old_process(host):
    server = host.server(host.dir / "pid")
    os.kill(server, signal.SIGSTOP)
    control(host, "--restart-service", settle=False)
    wait_until(lambda: errors_file("other") == "0", "the new service's end")
    assert server in children()
    os.kill(server, signal.SIGKILL)
    host.settle()


def test_restart_of_the_updater_passes_the_pid_file(host):
    control(host, "--restart-service", service="keepup2date")
    assert host.calls() == [f"keepup2date -d {host.dir}/pid", "cat"]


def test_aveserver_is_compared_byte_by_byte(host):
    host.file("pid", "0\n")
    for name in ("Aveserver", "aveserver2", "aveserve"):
        control(host, "--restart-service", service=name)
        assert errors_file(name) == "2"

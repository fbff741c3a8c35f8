"""What is sent to the process in the pid file, and what follows."""

import os
import signal

import pytest

from commands import stopped_server, was_sent
from host import PROBE, children, errors_file, wait_for_end, wait_until


def control(host, command, **options):
    return host.control(command, host.with_pid, **options)


def test_kill_sends_sigterm_and_does_not_wait(host):
    """Nothing looks at what the process is."""
    server = stopped_server(host)
    result = control(host, "--kill-service", settle=False)
    assert (result.answer, result.err) == ((0, ""), b"")
    assert was_sent(server, signal.SIGTERM) and server in children()


def test_kill_of_a_stale_pid_reports_success(host):
    gone = host.process("exit", "0")
    wait_for_end(gone)
    host.file("pid", str(gone))
    assert control(host, "--kill-service").answer == (0, "")


def test_pid_text_is_read_up_to_the_first_other_byte(host):
    server = host.server()
    host.file("pid", f" \n\t{server}x99\n")
    control(host, "--kill-service", settle=False)
    assert wait_for_end(server) == 0


def test_a_number_above_an_int_signals_nobody(host):
    """Cut to the bytes of an int it would be the server's."""
    server = stopped_server(host)
    host.file("pid", f"{(1 << 32) + server}\n")
    assert control(host, "--kill-service", settle=False).answer == (0, "")
    assert not was_sent(server, signal.SIGTERM)


def test_a_negative_number_signals_a_process_group(host):
    members = []
    for _ in range(2):
        members.append(os.posix_spawn(PROBE, ["probe", "sleep", "100"], host.env,
                                      setpgroup=members[0] if members else 0))
    assert members[0] > 1
    assert [os.getpgid(member) for member in members] == [members[0]] * 2
    host.file("pid", f"-{members[0]}\n")
    assert control(host, "--kill-service", settle=False).answer == (0, "")
    assert [wait_for_end(member) for member in members] == [signal.SIGTERM] * 2


# Prints the file the first time, and nothing from then on.
ONCE = '#!/bin/sh\n/bin/cat "$1"\n: > "$1"\n'


@pytest.mark.parametrize("command, service", [
    ("--kill-service", "other"), ("--restart-service", "aveserver"),
])
def test_an_empty_second_read_sends_nothing_and_succeeds(host, command, service):
    """The server ended between the two reads and emptied its pid file."""
    host.file("pid", "1\n")
    host.file("once", ONCE).chmod(0o755)
    host.act("cat", f"exec {host.dir}/once")
    assert control(host, command, service=service).answer == (0, "")
    assert host.calls() == [f"cat {host.pid_file}"] * 2


def test_restart_of_another_service_terminates_and_starts_it(host):
    server = host.server()
    assert control(host, "--restart-service").answer == (0, "")
    assert wait_for_end(server) == 0
    assert (host.dir / "process.out").read_text() == "TERM\n"
    assert sorted(host.calls()) == sorted([f"cat {host.pid_file}"] * 2 + ["other", "cat"])
    assert errors_file("other") == "0"


def test_restart_does_not_wait_for_the_old_process(host):
    server = stopped_server(host)
    control(host, "--restart-service", settle=False)
    wait_until(lambda: errors_file("other") == "0", "the new service's end")
    assert server in children()


def test_aveserver_is_compared_byte_by_byte(host):
    host.file("pid", "0\n")
    for name in ("Aveserver", "aveserver2", "aveserve"):
        control(host, "--restart-service", service=name)
        assert errors_file(name) == "2"

"""What is sent to the process in the pid file, and what follows."""

import os
import signal

from host import children, errors_file, wait_for_end, wait_until


def control(host, command, service="other", **options):
    return host.run(command, f"--kav-dir={host.kav}", f"--service={service}",
                    f"--service-pidfile={host.dir}/pid", **options)


def output(host):
    return (host.dir / "process.out").read_text()


def test_kill_sends_sigterm_and_does_not_wait(host):
    server = host.server(host.dir / "pid")
    os.kill(server, signal.SIGSTOP)
    result = control(host, "--kill-service", settle=False)
    assert (result.status, result.out, result.err) == (0, b"", b"")
    assert server in children()
    os.kill(server, signal.SIGCONT)
    assert wait_for_end(server) == 0
    assert output(host) == "TERM\n"


def test_kill_reads_the_pid_file_twice(host):
    server = host.server(host.dir / "pid")
    control(host, "--kill-service", settle=False)
    wait_for_end(server)
    assert host.calls() == [f"cat {host.dir}/pid"] * 2


def test_kill_of_a_stale_pid_reports_success(host):
    gone = host.process("exit", "0")
    wait_for_end(gone)
    host.file("pid", str(gone))
    result = control(host, "--kill-service")
    assert (result.status, result.out) == (0, b"")


def test_pid_text_is_read_up_to_the_first_other_byte(host):
    server = host.server(host.dir / "pid")
    host.file("pid", f" \n\t{server}x99\n")
    control(host, "--kill-service", settle=False)
    assert wait_for_end(server) == 0


def test_a_negative_number_signals_a_process_group(host):
    leader = os.fork()
    if leader == 0:
        os.setpgid(0, 0)
        signal.signal(signal.SIGTERM, signal.SIG_DFL)
        host.file("group", "ready")
        while True:
            signal.pause()
    wait_until((host.dir / "group").exists, "the group")
    assert os.getpgid(leader) == leader
    host.file("pid", f"-{leader}\n")
    control(host, "--kill-service", settle=False)
    assert wait_for_end(leader) == signal.SIGTERM


def test_an_empty_second_read_sends_nothing_and_succeeds(host):
    """The server ended between the two reads and emptied its pid file."""
    host.file("pid", "1\n")
    host.act("cat", f"exec {host.file('once', ONCE)}")
    (host.dir / "once").chmod(0o755)
    result = control(host, "--kill-service")
    assert (result.status, result.out) == (0, b"")
    assert len(host.calls()) == 2


# Prints the file the first time, and nothing from then on.
ONCE = """#!/bin/sh
/bin/cat "$1"
: > "$1"
"""


def test_reload_of_an_empty_second_read_succeeds(host):
    host.file("pid", "1\n")
    host.act("cat", f"exec {host.file('once', ONCE)}")
    (host.dir / "once").chmod(0o755)
    result = control(host, "--restart-service", service="aveserver")
    assert (result.status, result.out) == (0, b"")
    assert host.calls() == [f"cat {host.dir}/pid"] * 2


def test_restart_of_aveserver_reloads_it(host):
    server = host.server(host.dir / "pid")
    result = control(host, "--restart-service", service="aveserver", settle=False)
    assert (result.status, result.out, result.err) == (0, b"", b"")
    assert output(host) == "HUP\n"
    assert host.calls() == [f"cat {host.dir}/pid"] * 2
    assert children() == [server]


def test_reload_of_a_process_that_is_gone_fails(host):
    gone = host.process("exit", "0")
    wait_for_end(gone)
    host.file("pid", str(gone))
    result = control(host, "--restart-service", service="aveserver")
    assert (result.status, result.out) == (1, b"Service reloading failed\n")
    assert host.calls() == [f"cat {host.dir}/pid"] * 2


def test_restart_of_another_service_terminates_and_starts_it(host):
    server = host.server(host.dir / "pid")
    result = control(host, "--restart-service")
    assert (result.status, result.out) == (0, b"")
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

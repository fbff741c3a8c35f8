"""Reloads. Each takes five seconds, so all begin before the first is waited for."""

import os
import signal

import pytest

from commands import state_of, was_sent
from host import Host, children, wait_for_end, wait_until


def arguments(host):
    return f"--kav-dir={host.kav}", "--service=aveserver", host.with_pid


def said(host):
    return (host.dir / "process.out").read_text()


def alive(host):
    return host.server()


def stopped(host):
    """A server that ends while the reload waits."""
    return alive(host)


def gone(host):
    pid = unreaped(host)
    wait_for_end(pid)
    return pid


def unreaped(host):
    """A server that is dead, but whose parent does not ask how it ended."""
    pid = host.process("exit", "0")
    wait_until(lambda: state_of(pid, "State").startswith("Z"), "the server's end")
    host.file("pid", str(pid))
    return pid


def deaf(host):
    """A server that was started with SIGHUP blocked."""
    host.act("aveserver", f"serve {host.pid_file}")
    host.run("--start-service", *arguments(host), settle=False,
             prepare=lambda: signal.pthread_sigmask(signal.SIG_BLOCK, {signal.SIGHUP}))
    pid = host.pid()
    (host.record / "calls").unlink()
    return pid


@pytest.fixture(scope="module")
def reloads(tmp_path_factory):
    """For each kind of server its host, its pid, and what the reload said."""
    begun = []
    for kind in (stopped, alive, gone, unreaped, deaf):
        host = Host(tmp_path_factory.mktemp("host"))
        begun.append((kind, host, kind(host), host.start("--restart-service", *arguments(host))))
    _, host, server, _ = begun[0]
    wait_until(lambda: said(host) == "HUP\n", "the reload")
    os.kill(server, signal.SIGTERM)
    assert wait_for_end(server) == 0
    results = {kind: (host, pid, host.finish(run)) for kind, host, pid, run in begun}
    for host, _, result in results.values():
        assert result.err == b""
        assert host.calls() == [f"cat {host.pid_file}"] * 2
    yield results
    begun[0][1].shut_down()


def test_restart_of_aveserver_reloads_it(reloads):
    host, server, result = reloads[alive]
    assert result.answer == (0, "")
    wait_until(lambda: said(host) == "HUP\n", "the server's answer")
    assert server in children()


def test_reload_of_a_process_that_is_gone_fails(reloads):
    for kind in (stopped, gone):
        assert reloads[kind][2].answer == (1, "Service reloading failed\n")


def test_reload_of_a_dead_process_that_nobody_reaped_succeeds(reloads):
    """The kernel takes a signal for it: only a reaped process is gone."""
    _, server, result = reloads[unreaped]
    assert result.answer == (0, "")
    assert state_of(server, "State").startswith("Z")


def test_a_server_started_with_hangup_blocked_is_not_reloaded(reloads):
    """The reload succeeds all the same: the server is alive, with its SIGHUP waiting."""
    _, server, result = reloads[deaf]
    assert result.answer == (0, "")
    assert was_sent(server, signal.SIGHUP)
    os.kill(server, 0)

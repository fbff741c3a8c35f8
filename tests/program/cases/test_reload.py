"""Reloads. Each takes five seconds, so all begin before the first is waited for."""

import os
import signal

import pytest

from commands import state_of, was_sent
from host import Host, children, wait_for_end, wait_until


def arguments(host):
    return (f"--kav-dir={host.kav}", "--service=aveserver", f"--service-pidfile={host.dir}/pid")


def alive(host):
    return host.server(host.dir / "pid")


def gone(host):
    pid = host.process("exit", "0")
    wait_for_end(pid)
    host.file("pid", str(pid))
    return pid


def unreaped(host):
    """A server that is dead, but whose parent does not ask how it ended."""
    pid = host.process("exit", "0")
    wait_until(lambda: state_of(pid, "State").startswith("Z"), "the server's end")
    host.file("pid", str(pid))
    return pid


def deaf(host):
    """A server that was started with SIGHUP blocked."""
    host.act("aveserver", f"serve {host.dir}/pid")
    host.run("--start-service", *arguments(host), settle=False,
             prepare=lambda: signal.pthread_sigmask(signal.SIG_BLOCK, {signal.SIGHUP}))
    wait_until((host.dir / "pid").exists, "the server's pid file")
    (host.record / "calls").unlink()
    return int((host.dir / "pid").read_text())


@pytest.fixture(scope="module")
def reloads(tmp_path_factory):
    """For each kind of server its host, its pid, and what the reload said."""
    begun = []
    for kind in (alive, gone, unreaped, deaf):
        host = Host(tmp_path_factory.mktemp("host"))
        begun.append((kind, host, kind(host), host.start("--restart-service", *arguments(host))))
    yield {kind: (host, pid, host.finish(run)) for kind, host, pid, run in begun}
    begun[0][1].shut_down()


def test_restart_of_aveserver_reloads_it(reloads):
    host, server, result = reloads[alive]
    assert (result.answer, result.err) == ((0, ""), b"")
    said = host.dir / "process.out"
    wait_until(lambda: said.read_text() == "HUP\n", "the server's answer")
    assert host.calls() == [f"cat {host.dir}/pid"] * 2
    assert server in children()


def test_reload_of_a_process_that_is_gone_fails(reloads):
    host, _, result = reloads[gone]
    assert result.answer == (1, "Service reloading failed\n")
    assert host.calls() == [f"cat {host.dir}/pid"] * 2


def test_reload_of_a_dead_process_that_nobody_reaped_succeeds(reloads):
    """The kernel takes a signal for it: only a reaped process is gone."""
    _, server, result = reloads[unreaped]
    assert result.answer == (0, "")
    assert state_of(server, "State").startswith("Z")


def test_a_server_started_with_hangup_blocked_is_not_reloaded(reloads):
    """The reload succeeds all the same: the server is alive, with its SIGHUP waiting."""
    host, server, result = reloads[deaf]
    assert result.answer == (0, "")
    assert was_sent(server, signal.SIGHUP)
    os.kill(server, 0)

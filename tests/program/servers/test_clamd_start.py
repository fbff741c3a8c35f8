"""Starts of the anti-virus server clamd, and what the panel is told when they do not go well."""

import os
import signal

from clamd import BOTH, RUNS, RUNS_NOT, Clamd
from daemons import BROKEN
from host import errors_file, wait_until
from special_files import file_system, fill


def start_held_up(host, foreground):
    """Starts a server that has its pid file and waits for its signatures."""
    server = Clamd(host, foreground)
    server.save(server.configuration("one"))
    server.hold_up_loading()
    assert server.start() == (0, "")
    wait_until(lambda: server.pid_file.exists() and server.pid_file.read_text(), "the pid file")
    assert server.control("--service-started") == RUNS
    assert server.answer() is None
    return server


@BOTH
def test_it_counts_as_running_before_it_answers(host, foreground, errors):
    server = start_held_up(host, foreground)
    assert errors_file("aveserver") is None
    server.load()
    server.wait_for_answer("one")
    wait_until(lambda: errors_file("aveserver") == errors, "the errors file")


def test_a_stop_while_it_loads_leaves_its_first_process_as_the_server(host):
    server = start_held_up(host, "no")
    text = server.pid_file.read_text()
    assert server.control("--kill-service") == (0, "")
    wait_until(lambda: server.pid_file.read_text() not in ("", text), "the next pid")
    server.load()
    server.wait_for_answer("one")
    assert errors_file("aveserver") is None
    server.stop()


def test_a_stop_while_it_loads_in_the_foreground_leaves_its_pid_file(host):
    server = start_held_up(host, "yes")
    assert server.control("--kill-service") == (0, "")
    host.settle()
    assert errors_file("aveserver") is None
    assert server.control("--service-started") == RUNS


def test_a_second_start_ends_and_leaves_its_own_pid_in_the_pid_file(host):
    """The other pid file makes the manager start it: at the same time there would be none yet."""
    server = Clamd(host)
    pid = server.serve("one")
    assert server.start() == (1, "Service is running already\n")
    assert server.control("--start-service", f"--config-file={server.config}",
                          f"--service-pidfile={host.dir}/other") == (0, "")
    wait_until(lambda: errors_file("aveserver") == "1", "the errors file")
    assert "is in use by another process" in server.log.read_text()
    assert server.pid() != pid
    assert server.control("--kill-service") == (0, "")
    assert server.answer() == "one"

    assert server.found_by_pgrep() == f"{pid}\n"
    os.kill(pid, signal.SIGTERM)
    wait_until(lambda: not server.socket.exists(), "the end of the socket")
    assert server.control("--service-started") == RUNS_NOT
    assert server.start() == (0, "")
    server.wait_for_answer("one")


def test_a_broken_configuration_is_found_by_a_start_only(host):
    server = Clamd(host)
    server.serve("one")
    server.save(BROKEN)
    assert server.restart() == (0, "")
    assert server.answer() == "one"
    server.stop()
    server.log.unlink()
    assert server.start() == (0, "")
    wait_until(lambda: errors_file("aveserver") == "1", "the errors file")
    assert server.control("--service-started") == RUNS_NOT
    assert not server.log.exists()
    assert server.control("--start-service", f"--config-file={server.config}",
                          "--no-daemon=1") == (1, "Service failed\n")
    assert "Parse error" in (host.dir / "err").read_text()


@BOTH
def test_broken_signatures_at_a_start_leave_a_pid_file(host, foreground, errors):
    server = Clamd(host, foreground)
    server.save(server.configuration("one"))
    (server.database / "broken.ndb").write_text(BROKEN)
    assert server.start() == (0, "")
    wait_until(lambda: errors_file("aveserver") == "1", "the errors file")
    assert "Malformed database" in server.log.read_text()
    assert server.control("--service-started") == RUNS
    assert server.answer() is None


def test_on_a_full_disk_it_scans_without_a_log(host):
    server = Clamd(host)
    with file_system(host.dir / "disk") as disk:
        fill(disk)
        server.log = disk / "log"
        server.serve("one")
        assert server.log.read_text() == ""
        (disk / "filler").unlink()
        assert server.answer() == "one"
        assert server.log.read_text().endswith(f"{server.infected}: one.UNOFFICIAL FOUND\n")
        server.stop()

"""The anti-virus server clamd while it is reloaded and stopped: what becomes of scans."""

import os
import struct
import threading

from clamd import BOTH, PATTERN, RUNS, Clamd, answer_of
from daemons import BROKEN, clients
from host import errors_file, wait_until


@BOTH
def test_two_hundred_scans_are_answered_during_reloads(host, foreground, errors):
    server = Clamd(host, foreground)
    pid = server.serve("one")
    assert server.control("--service-started") == RUNS
    wait_until(lambda: errors_file("aveserver") == errors, "the errors file")
    with clients(server) as answers:
        assert server.restart() == (0, "")
        for word in ("two", "three", "four"):
            server.sign(word)
            assert server.ask("RELOAD") == "RELOADING"
            wait_until(lambda: answers[-1] == word, "the reload of the signatures")
        wait_until(lambda: len(answers) > 200, "two hundred scans")
    assert set(answers) == {"one", "two", "three", "four"}
    assert server.pid() == pid
    server.stop()


def test_a_reload_opens_the_log_anew_and_reads_nothing_else(host):
    server = Clamd(host)
    server.serve("one")
    server.log.rename(host.dir / "log.1")
    server.save(server.configuration("two") + "LogClean yes\n")
    assert server.restart() == (0, "")
    assert server.ask(f"SCAN {server.clean}") == f"{server.clean}: OK"
    assert server.answer() == "one"
    assert server.log.read_text() == f"{server.infected}: one.UNOFFICIAL FOUND\n"

    server.stop()
    assert server.start() == (0, "")
    server.wait_for_answer("two")
    assert server.ask(f"SCAN {server.clean}") == f"{server.clean}: OK"
    assert f"{server.clean}: OK\n" in server.log.read_text()


def test_broken_signatures_keep_the_old_ones_in_use(host):
    server = Clamd(host)
    pid = server.serve("one")
    server.sign("two")
    (server.database / "broken.ndb").write_text(BROKEN)
    assert server.ask("RELOAD") == "RELOADING"
    wait_until(lambda: "keeping the previous instance" in server.log.read_text(), "the refusal")
    assert server.answer() == "one"
    assert (server.pid(), server.control("--service-started")) == (pid, RUNS)


@BOTH
def test_a_stop_answers_the_scans_that_have_begun(host, foreground, errors):
    server = Clamd(host, foreground)
    server.serve("one")
    large = host.file("large")
    os.truncate(large, 90 << 20)
    answers = []
    client = threading.Thread(target=lambda: answers.append(server.ask(f"SCAN {large}")))
    client.start()
    wait_until(lambda: server.holds_open(large), "the scan")
    server.stop()
    client.join()
    assert answers == [f"{large}: OK"]


def test_a_stop_loses_a_scan_whose_file_is_still_sent(host):
    server = Clamd(host)
    server.serve("one")
    with server.connection() as connection:
        connection.sendall(b"zINSTREAM\0" + struct.pack("!I", len(PATTERN)) + PATTERN.encode())
        server.stop()
        try:
            connection.sendall(struct.pack("!I", 0))
            assert answer_of(connection) is None
        except OSError:
            pass

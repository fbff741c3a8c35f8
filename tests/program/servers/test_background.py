"""A server that sends itself into the background: the program sees its first process only."""

import os
import re
import socket
from pathlib import Path

from daemons import ADDRESS, BROKEN, Server, tinyproxy
from host import errors_file, wait_until


def parent(pid):
    return int(re.search(r"^PPid:\s*(\d+)$", Path(f"/proc/{pid}/status").read_text(), re.M)[1])


def test_its_start_has_ended_and_it_is_stopped_all_the_same(host):
    server = Server(host, tinyproxy)
    pid = server.serve("one")
    wait_until(lambda: errors_file("aveserver") == "0", "the errors file")
    wait_until(lambda: parent(pid) == os.getpid(), "the end of all that started it")
    assert os.readlink(f"/proc/{pid}/exe") == "/usr/bin/tinyproxy"
    assert server.control("--kill-service") == (0, "")
    wait_until(lambda: os.waitpid(pid, os.WNOHANG) == (pid, 0), "its end")
    assert not server.pid_file.exists()
    assert errors_file("aveserver") == "0"


def test_a_failure_before_it_is_in_the_background_is_in_the_errors_file(host):
    server = Server(host, tinyproxy)
    server.save(tinyproxy(server, "one") + BROKEN)
    assert server.start() == (0, "")
    host.settle()
    assert errors_file("aveserver") == str(os.EX_SOFTWARE)


def test_a_failure_after_that_is_not(host):
    server = Server(host, tinyproxy)
    server.save(tinyproxy(server, "one"))
    with socket.create_server((ADDRESS, server.port)):
        assert server.start() == (0, "")
        assert os.EX_OSERR in host.settle().values()
    assert errors_file("aveserver") == "0"
    assert server.control("--service-started") == (1, "Service is not running\n")

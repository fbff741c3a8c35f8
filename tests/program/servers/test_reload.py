"""A changed configuration is served after a reload, and no client notices anything else."""

import pytest

from daemons import Clients, Server, gunicorn, tinyproxy
from host import errors_file, wait_until


# A daemon, and the errors file while it runs: tinyproxy's first process has ended by then.
@pytest.mark.parametrize("daemon, errors", [(gunicorn, None), (tinyproxy, "0")])
def test_a_reload_loses_no_request(host, daemon, errors):
    server = Server(host, daemon)
    assert server.control("--service-started") == (1, "Service is not running\n")
    pid = server.serve("one")
    assert server.control("--service-started") == (0, "Service is started\n")
    assert server.start() == (1, "Service is running already\n")

    with Clients(server) as clients:
        wait_until(lambda: clients.answers, "the first answer")
        server.save(daemon(server, "two"))
        assert server.restart() == (0, "")
    assert clients.answers.count(None) == 0
    assert set(clients.answers) == {"one", "two"}
    assert len(clients.answers) > 100
    assert server.answer() == "two"
    assert server.pid() == pid
    assert errors_file("aveserver") == errors

    assert server.control("--kill-service") == (0, "")
    wait_until(lambda: server.answer() is None, "the end of the last answer")
    wait_until(lambda: not server.pid_file.exists(), "the end of the pid file")
    wait_until(lambda: errors_file("aveserver") == "0", "the errors file")
    assert server.control("--service-started") == (1, "Service is not running\n")
    assert server.control("--kill-service") == (1, "Service is stopped already\n")

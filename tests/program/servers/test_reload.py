"""Reloads of a server in the foreground: a configuration that it can read, and one that ends it."""

from daemons import BROKEN, Clients, Gunicorn
from host import errors_file, wait_until

RUNS = (0, "Service is started\n")
RUNS_NOT = (1, "Service is not running\n")
RUNS_ALREADY = (1, "Service is running already\n")


def test_a_reload_loses_no_request(host):
    server = Gunicorn(host)
    assert server.control("--service-started") == RUNS_NOT
    pid = server.serve("one")
    assert (server.control("--service-started"), server.start()) == (RUNS, RUNS_ALREADY)

    with Clients(server) as clients:
        wait_until(lambda: clients.answers, "the first answer")
        server.save(server.configuration("two"))
        assert server.restart() == (0, "")
    assert set(clients.answers) == {"one", "two"}
    assert len(clients.answers) > 100
    assert (server.answer(), server.pid(), errors_file("aveserver")) == ("two", pid, None)

    assert server.control("--kill-service") == (0, "")
    wait_until(lambda: errors_file("aveserver") == "0", "the errors file")
    assert server.answer() is None
    assert server.control("--service-started") == RUNS_NOT
    assert server.control("--kill-service") == (1, "Service is stopped already\n")


def test_a_server_that_ends_was_not_and_is_started_again_without_its_pid_file(host):
    server = Gunicorn(host)
    pid = server.serve("one")
    with Clients(server) as clients:
        server.save(server.configuration("two") + BROKEN)
        assert server.restart() == (1, "Service reloading failed\n")
        wait_until(lambda: None in clients.answers, "the loss of a request")
    assert set(clients.answers) == {"one", None}
    wait_until(lambda: errors_file("aveserver") == "1", "the errors file")

    # It had no time to remove its pid file, which says that it runs.
    assert server.pid() == pid
    assert (server.control("--service-started"), server.start()) == (RUNS, RUNS_ALREADY)
    server.pid_file.unlink()
    server.save(server.configuration("two"))
    assert server.restart() == (0, "")
    server.wait_for_answer("two")
    assert server.pid() != pid
    assert errors_file("aveserver") is None

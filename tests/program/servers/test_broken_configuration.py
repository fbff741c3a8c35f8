"""What a reload reports of a configuration that the server cannot read."""

from daemons import BROKEN, Clients, Server, gunicorn, tinyproxy
from host import errors_file, wait_until


def test_a_server_that_keeps_its_old_configuration_was_reloaded(host):
    server = Server(host, tinyproxy)
    pid = server.serve("one")
    with Clients(server) as clients:
        server.save(tinyproxy(server, "two") + BROKEN)
        assert server.restart() == (0, "")
    assert "Reloading config file failed" in (host.dir / "log").read_text()
    assert set(clients.answers) == {"one"}
    assert server.pid() == pid


def test_a_server_that_ends_was_not_and_is_started_again_without_its_pid_file(host):
    server = Server(host, gunicorn)
    pid = server.serve("one")
    with Clients(server) as clients:
        server.save(gunicorn(server, "two") + BROKEN)
        assert server.restart() == (1, "Service reloading failed\n")
        wait_until(lambda: server.answer() is None, "the end of the last worker")
        wait_until(lambda: None in clients.answers, "the loss of a request")
    assert set(clients.answers) == {"one", None}
    wait_until(lambda: errors_file("aveserver") == "1", "the errors file")

    # It had no time to remove its pid file, which says that it runs.
    assert server.pid() == pid
    assert server.control("--service-started") == (0, "Service is started\n")
    assert server.start() == (1, "Service is running already\n")
    assert server.run("--delete-file", f"--file={server.pid_file}") == (0, "")
    server.save(gunicorn(server, "two"))
    assert server.restart() == (0, "")
    wait_until(lambda: server.answer() == "two", "an answer of the new server")
    assert server.pid() != pid
    assert errors_file("aveserver") is None

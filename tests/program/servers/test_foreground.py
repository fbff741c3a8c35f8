"""A server in the foreground that goes on with its old configuration when the new one is broken."""

from daemons import BROKEN, Bus, Clients, dbus_daemon
from host import errors_file, wait_until


def test_it_was_reloaded_and_serves_the_next_that_it_can_read(host):
    server = Bus(host)
    pid = server.serve("one")
    with Clients(server) as clients:
        wait_until(lambda: clients.answers, "the first answer")
        server.save(dbus_daemon(server, "two") + BROKEN)
        assert server.restart() == (0, "")
    assert set(clients.answers) == {"one"}
    assert server.pid() == pid

    server.save(dbus_daemon(server, "two"))
    assert server.restart() == (0, "")
    assert server.answer() == "two"
    assert server.pid() == pid
    assert errors_file("aveserver") is None

    assert server.control("--kill-service") == (0, "")
    wait_until(lambda: errors_file("aveserver") == "0", "the errors file")
    assert not server.pid_file.exists()

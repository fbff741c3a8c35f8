"""Reloads of a server in the foreground: a configuration that it can read, and one that ends it."""

from daemons import BROKEN, Gunicorn, clients
from host import errors_file, wait_until


def test_a_reload_loses_no_request_unless_the_server_ends_at_it(host):
    server = Gunicorn(host)
    pid = server.serve("one")
    with clients(server) as answers:
        wait_until(lambda: answers, "the first answer")
        server.save(server.configuration("two"))
        assert server.restart() == (0, "")
    assert set(answers) == {"one", "two"}
    assert len(answers) > 100
    assert (server.answer(), server.pid(), errors_file("aveserver")) == ("two", pid, None)

    server.save(server.configuration("three") + BROKEN)
    assert server.restart() == (1, "Service reloading failed\n")
    wait_until(lambda: server.answer() is None, "the end of the last worker")
    wait_until(lambda: errors_file("aveserver") == "1", "the errors file")
    # It had no time to remove its pid file, which says that it runs.
    assert server.start() == (1, "Service is running already\n")
    server.pid_file.unlink()
    server.save(server.configuration("three"))
    assert server.restart() == (0, "")
    server.wait_for_answer("three")

    assert server.control("--kill-service") == (0, "")
    wait_until(lambda: errors_file("aveserver") == "0", "the errors file")
    assert server.control("--kill-service") == (1, "Service is stopped already\n")

"""Daemons that know nothing of the program, in the place of the server that it drives.

Each is Debian's, and answers a request with the word that its configuration holds. gunicorn stays
in the foreground, as the program that starts it expects; clamd has a file of its own.
"""

import contextlib
import shutil
import socket
import threading

import pytest

from host import BOUND, wait_until

# No outgoing connection is given a port of this address.
ADDRESS = "127.0.0.2"
BROKEN = "Nonsense of the administrator's\n"
APPLICATION = """\
import os

def answer(environ, start_response):
    start_response("200 OK", [])
    return [os.environ["ANSWER"].encode()]
"""


class Server:
    """A daemon as the "aveserver" of a host, and the commands for it."""

    def __init__(self, host, daemon):
        program = shutil.which(daemon, path="/usr/bin:/usr/sbin")
        if not program:
            pytest.skip(f"{daemon} is not installed")
        host.remove("aveserver")
        (host.kav / "bin/aveserver").symlink_to(program)
        # Kept bytecode would hide a change of the configuration within its second.
        host.env.update(PATH="/usr/bin:/bin", PYTHONDONTWRITEBYTECODE="1")
        self.host = host
        self.pid_file = host.pid_file
        # What gunicorn reads has to be named like Python.
        self.config = host.dir / "config.py"

    def run(self, *arguments):
        return self.host.run(*arguments, settle=False).answer

    def control(self, command, *options):
        return self.host.control(command, f"--service-pidfile={self.pid_file}", *options,
                                 service="aveserver", settle=False).answer

    def start(self):
        return self.control("--start-service", f"--config-file={self.config}")

    def restart(self):
        return self.control("--restart-service", f"--config-file={self.config}")

    def save(self, text):
        """Puts a configuration in its place."""
        new = self.host.file("new", text)
        assert self.run("--save-to-config-file", f"--file={new}",
                        f"--config-file={self.config}") == (0, "")
        assert self.run("--config-file-content", f"--file={self.config}") == (0, text)

    def serve(self, word):
        """Saves a configuration with this word and starts the server; returns its pid."""
        self.save(self.configuration(word))
        assert self.start() == (0, "")
        self.wait_for_answer(word)
        return self.pid()

    def wait_for_answer(self, word):
        wait_until(lambda: self.answer() == word, f"the answer {word}")

    def pid(self):
        return int(self.pid_file.read_text())


class Gunicorn(Server):
    def __init__(self, host):
        super().__init__(host, "gunicorn")
        host.file("application.py", APPLICATION)
        with socket.create_server((ADDRESS, 0)) as taken:
            self.port = taken.getsockname()[1]

    def configuration(self, word):
        return f"""\
bind = "{ADDRESS}:{self.port}"
pidfile = "{self.pid_file}"
pythonpath = "{self.host.dir}"
wsgi_app = "application:answer"
raw_env = ["ANSWER={word}"]
"""

    def answer(self):
        """What the server says now; None where there is no whole answer."""
        try:
            with socket.create_connection((ADDRESS, self.port), timeout=BOUND) as connection:
                connection.sendall(b"GET / HTTP/1.0\r\n\r\n")
                text = b"".join(iter(lambda: connection.recv(4096), b"")).decode()
        except OSError:
            return None
        return text.partition("\r\n\r\n")[2] or None


@contextlib.contextmanager
def clients(server):
    """Four clients that ask a server all the time; their answers so far, None for lost."""
    answers, enough = [], threading.Event()

    def ask():
        while not enough.wait(0.01):
            answers.append(server.answer())

    threads = [threading.Thread(target=ask) for _ in range(4)]
    for thread in threads:
        thread.start()
    try:
        yield answers
    finally:
        enough.set()
        for thread in threads:
            thread.join()

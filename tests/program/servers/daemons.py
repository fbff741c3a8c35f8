"""Daemons that know nothing of the program, in the place of the server that it drives.

All are Debian's: gunicorn and dbus-daemon stay in the foreground, as the program that starts them
expects, and tinyproxy sends itself into the background. Each answers a request with the word that
its configuration holds.
"""

import os
import re
import shutil
import socket
import subprocess
import threading

import pytest

from host import wait_until

# A run, or an answer, that takes longer is stuck, however busy the machine is.
BOUND = 20.0

# No outgoing connection is given a port of this address.
ADDRESS = "127.0.0.2"
REQUEST = b"GET http://answer/ HTTP/1.0\r\n\r\n"
BROKEN = "Nonsense of the administrator's\n"


def gunicorn(server, word):
    server.host.file("application.py", APPLICATION)
    return f"""\
bind = "{ADDRESS}:{server.port}"
pidfile = "{server.pid_file}"
pythonpath = "{server.host.dir}"
wsgi_app = "application:answer"
raw_env = ["ANSWER={word}"]
"""


APPLICATION = """\
import os

def answer(environ, start_response):
    start_response("200 OK", [])
    return [os.environ["ANSWER"].encode()]
"""


def tinyproxy(server, word):
    return f"""\
Listen {ADDRESS}
Port {server.port}
PidFile "{server.pid_file}"
LogFile "{server.host.dir}/log"
StatHost "answer"
StatFile "{server.host.file(word, word)}"
"""


# What follows the end of its root element is an error.
def dbus_daemon(server, word):
    services = server.host.dir / word
    services.mkdir(exist_ok=True)
    server.host.file(f"{word}/{word}.service",
                     f"[D-BUS Service]\nName=answer.{word}\nExec=/bin/false\n")
    return f"""\
<busconfig>
<listen>unix:path={server.host.dir}/bus</listen>
<pidfile>{server.pid_file}</pidfile>
<servicedir>{services}</servicedir>
<policy context="default"><allow send_destination="*"/><allow receive_sender="*"/></policy>
</busconfig>
"""


class Server:
    """One of the daemons as the "aveserver" of a host, and the commands for it."""

    def __init__(self, host, daemon):
        name = daemon.__name__.replace("_", "-")
        program = shutil.which(name, path="/usr/bin:/usr/sbin")
        if not program:
            pytest.skip(f"{name} is not installed")
        host.remove("aveserver")
        (host.kav / "bin/aveserver").symlink_to(program)
        # Kept bytecode would hide a change of the configuration within its second.
        host.env.update(PATH="/usr/bin:/bin", PYTHONDONTWRITEBYTECODE="1")
        self.host = host
        self.daemon = daemon
        self.pid_file = host.dir / "pid"
        # What gunicorn reads has to be named like Python.
        self.config = host.dir / "config.py"
        with socket.create_server((ADDRESS, 0)) as taken:
            self.port = taken.getsockname()[1]

    def run(self, *arguments):
        """One run of the program, which nothing that it starts may keep from ending its output."""
        ran = subprocess.run([os.environ["AVMANAGER"], *arguments], env=self.host.env,
                             stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                             stderr=subprocess.STDOUT, text=True, timeout=BOUND, check=False)
        return ran.returncode, ran.stdout

    def control(self, command, *options):
        return self.run(command, f"--kav-dir={self.host.kav}", "--service=aveserver",
                        f"--service-pidfile={self.pid_file}", *options)

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
        self.save(self.daemon(self, word))
        assert self.start() == (0, "")
        wait_until(lambda: self.answer() == word, "an answer of the server")
        return self.pid()

    def pid(self):
        return int(self.pid_file.read_text())

    def answer(self):
        """What the server says now; None where there is no whole answer."""
        try:
            with socket.create_connection((ADDRESS, self.port), timeout=BOUND) as connection:
                connection.sendall(REQUEST)
                text = b"".join(iter(lambda: connection.recv(4096), b"")).decode()
        except OSError:
            return None
        return text.partition("\r\n\r\n")[2].strip() or None


class Bus(Server):
    """A message bus: the service that it could start is its answer."""

    def __init__(self, host):
        super().__init__(host, dbus_daemon)
        # It has no option -c.
        host.remove("aveserver")
        host.file("kav/bin/aveserver",
                  '#!/bin/sh\nexec dbus-daemon --nofork --config-file="$2"\n').chmod(0o755)

    def answer(self):
        asked = subprocess.run(["dbus-send", f"--bus=unix:path={self.host.dir}/bus",
                                "--print-reply=literal", "--dest=org.freedesktop.DBus", "/",
                                "org.freedesktop.DBus.ListActivatableNames"],
                               capture_output=True, text=True, timeout=BOUND, check=False)
        found = re.search(r"\banswer\.(\w+)", asked.stdout)
        return found and found[1]


class Clients:
    """Four clients that ask a server all the time; `answers` has what they got, None for lost."""

    def __init__(self, server):
        self.server = server
        self.answers = []
        self.enough = threading.Event()
        self.threads = [threading.Thread(target=self.ask) for _ in range(4)]

    def ask(self):
        for _ in range(2000):
            if self.enough.wait(0.01):
                break
            self.answers.append(self.server.answer())

    def __enter__(self):
        for thread in self.threads:
            thread.start()
        return self

    def __exit__(self, *_):
        self.enough.set()
        for thread in self.threads:
            thread.join()

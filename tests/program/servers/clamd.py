"""Debian's anti-virus server clamd, in the place of the server that the program drives.

Its one signature is the tests' own and found in one file: its name is the server's answer.
"""

import contextlib
import os
import re
import socket
import subprocess
from pathlib import Path

import pytest

from daemons import Server
from host import BOUND, errors_file, wait_until

# Where it runs, and the errors file while it does: its first process has ended when it is in the
# background.
BOTH = pytest.mark.parametrize("foreground, errors", [("no", "0"), ("yes", None)])
RUNS = (0, "Service is started\n")
RUNS_NOT = (1, "Service is not running\n")
PATTERN = "a pattern of the tests"


class Clamd(Server):
    def __init__(self, host, foreground="no"):
        super().__init__(host, "clamd")
        self.foreground = foreground
        self.socket = host.dir / "socket"
        self.log = host.dir / "log"
        self.database = host.dir / "database"
        self.database.mkdir()
        self.infected = host.file("infected", PATTERN)
        self.clean = host.file("clean", "no pattern")

    def configuration(self, word):
        self.sign(word)
        return f"""\
LocalSocket {self.socket}
PidFile {self.pid_file}
LogFile {self.log}
DatabaseDirectory {self.database}
Foreground {self.foreground}
"""

    def sign(self, word, name="test"):
        """Replaces a file of signatures at once: the server may be reading it."""
        new = self.host.file("new", signature(word))
        new.replace(self.database / f"{name}.ndb")

    def connection(self):
        made = socket.socket(socket.AF_UNIX)
        made.settimeout(BOUND)
        made.connect(str(self.socket))
        return made

    def ask(self, command):
        """The server's answer to a command; None where there is no whole answer."""
        with contextlib.suppress(OSError), self.connection() as connection:
            connection.sendall(f"z{command}\0".encode())
            return answer_of(connection)
        return None

    def answer(self):
        return found(self.ask(f"SCAN {self.infected}"))

    def holds_open(self, path):
        with contextlib.suppress(FileNotFoundError):  # it may close any meanwhile
            return path in [number.readlink() for number in
                            Path(f"/proc/{self.pid()}/fd").iterdir()]
        return False

    def stop(self):
        assert self.control("--kill-service") == (0, "")
        wait_until(lambda: not self.socket.exists(), "the end of the socket")
        wait_until(lambda: errors_file("aveserver") == "0", "the errors file")
        assert self.control("--service-started") == RUNS_NOT

    def found_by_pgrep(self):
        search = subprocess.run(["pgrep", "-f", f"{self.host.kav}/bin/aveserver"],
                                stdout=subprocess.PIPE, text=True, timeout=BOUND, check=True)
        return search.stdout

    def hold_up_loading(self):
        """Lets the server wait for the last file of its database, until load()."""
        os.mkfifo(self.database / "last.ndb")

    def load(self):
        # Each pass of the server over its database is one opening.
        wait_until(lambda: self.socket.exists() or offered(self.database / "last.ndb"),
                   "the end of the loading")


def signature(word, pattern=PATTERN):
    return f"{word}:0:*:{pattern.encode().hex()}\n"


def answer_of(connection):
    text = b"".join(iter(lambda: connection.recv(4096), b"")).decode()
    return text[:-1] if text.endswith("\0") else None


def found(answer):
    """The name of the signature that an answer tells of."""
    named = re.search(r": (\w+)\.UNOFFICIAL FOUND$", answer or "")
    return named and named[1]


def offered(fifo):
    """Gives a signature to whoever has the fifo open; always None."""
    with contextlib.suppress(OSError):
        end = os.open(fifo, os.O_WRONLY | os.O_NONBLOCK)
        os.write(end, signature("last", "another pattern of the tests").encode())
        os.close(end)

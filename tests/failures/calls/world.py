"""The host that the program sees, remade for every run.

Works only as the first process of a process namespace with an /etc and a /tmp of its own
(tests/support/private_root): every process that a run leaves behind becomes a child of this one,
so none is missed, and the files have the names that the program really uses.
"""

import os
import signal
from dataclasses import dataclass
from pathlib import Path
from urllib.parse import unquote

from scenarios import PANEL, ROOT, SERVER

PROGRAM = os.environ["AVMANAGER"]
FAIL_CALL = os.environ["FAIL_CALL"]
OUT, ERR, LOG = "/tmp/out", "/tmp/err", "/tmp/log"
BOUND = 20  # seconds, for what takes milliseconds


class Astray(Exception):
    """A run that cannot even be looked at: it did not end within the bound, it took the server
    with it, or it made a call that no list has."""


@dataclass(frozen=True)
class Call:
    """A system call of one of our processes."""

    process: str
    name: str
    k: int
    result: int
    subject: str
    chosen: bool = False  # it was made to fail


def text_of(path):
    """A file byte for byte: each is a character."""
    return Path(path).read_bytes().decode("latin-1")


def snapshot():
    """The text of every file below /tmp and beside the panel configuration, but of those that the
    test itself keeps: a file of a name that nobody thought of is seen, too. A clone or a build
    below /tmp is a mount of its own and no part of this world."""
    found = []
    for top in ("/tmp", os.path.dirname(PANEL)):
        for folder, folders, names in os.walk(top):
            folders[:] = [name for name in folders if not os.path.ismount(f"{folder}/{name}")]
            found += [f"{folder}/{name}" for name in names]
    texts = {path: text_of(path) for path in sorted(found)
             if path not in (OUT, ERR, LOG) and os.path.isfile(path)}
    if texts.get(f"{ROOT}/pid") == f"{server.pid}\n":
        texts[f"{ROOT}/pid"] = SERVER
    return texts


def make(scenario):
    """The files of a scenario, and no others."""
    for path in snapshot():
        os.unlink(path)
    for path, text in scenario.files().items():
        os.makedirs(os.path.dirname(path), exist_ok=True)
        Path(path).write_text(f"{server.pid}\n" if text == SERVER else text)
        if path == scenario.program and "program not executable" not in scenario:
            os.chmod(path, 0o755)


class Server:
    """The process in a live pid file. It ignores SIGHUP and ends on SIGTERM."""

    pid = 0
    running = False

    def ensure(self):
        if not self.running:
            signal.signal(signal.SIGHUP, signal.SIG_IGN)
            self.pid = os.posix_spawn("/bin/sleep", ["sleep", "100000"], {})
            self.running = True
            signal.signal(signal.SIGHUP, signal.SIG_DFL)

    def settle(self, told):
        """After a run: its end, which comes when it was told and at no other time."""
        if told and self.running:
            os.waitpid(self.pid, 0)
            self.running = False
        if told == self.running:
            raise Astray("the server ended without a signal")


server = Server()


def others():
    """The children of this process, the server apart."""
    return {int(pid) for pid in Path("/proc/1/task/1/children").read_text().split()} - {server.pid}


def overdue(_signal, _frame):
    raise Astray(f"did not end within {BOUND} s")


def wait_for_all(first):
    """Waits until no process is left but the server. Returns the exit status of `first`. After an
    overdue run it ends every other process of this namespace, which is ours alone."""
    ended = None
    signal.signal(signal.SIGALRM, overdue)
    signal.alarm(BOUND)
    try:
        while others():
            pid, status = os.waitpid(-1, 0)
            if pid == first:
                ended = os.waitstatus_to_exitcode(status)
            elif pid == server.pid:
                server.running = False
    except Astray:
        for entry in os.listdir("/proc"):
            if entry.isdigit() and int(entry) not in (os.getpid(), server.pid):
                os.kill(int(entry), signal.SIGKILL)
        while others():
            os.waitpid(-1, 0)
        raise
    finally:
        signal.alarm(0)
    return ended


def spawn(argv, path="/nowhere:/bin"):
    flags = os.O_WRONLY | os.O_CREAT | os.O_TRUNC | os.O_APPEND
    return os.posix_spawn(
        argv[0], argv, {"PATH": path, "LC_ALL": "C"}, setsigdef=[signal.SIGPIPE], file_actions=[
            (os.POSIX_SPAWN_OPEN, 0, "/dev/null", os.O_RDONLY, 0),
            (os.POSIX_SPAWN_OPEN, 1, OUT, flags, 0o644),
            (os.POSIX_SPAWN_OPEN, 2, ERR, flags, 0o644),
        ])


def parse(log):
    """The events of fail_call: the calls, and the end of each process by its name ("exited N",
    "died N", "became PATH")."""
    calls, ends = [], {}
    for line in log.splitlines():
        process, event, *rest = (unquote(word, "latin-1") for word in line.split(" ", 4))
        if event in ("became", "exited", "died"):
            ends[process] = f"{event} {rest[0]}"
        else:
            k, result, subject = rest
            calls.append(Call(process, event, int(k), int(result.lstrip("!")), subject,
                              result.startswith("!")))
    return calls, ends


def traced(failure, target, *program, path=""):
    """The calls of a program and the ends of its processes, with one failure or none. Signals
    reach the process `target` only. No process is left then but the server."""
    fail = failure.options() if failure else []
    status = wait_for_all(spawn([FAIL_CALL, LOG, str(target), *fail, *program], path))
    if status != 0:
        raise Astray(f"fail_call ended with {status}")
    return parse(text_of(LOG))

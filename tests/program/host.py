"""A host for one run of the program, as far as the program can see.

`Host` is a directory with a `path` of stand-ins for the system tools, a server tree `kav` whose
programs are stand-ins too, and the `record` in which they note how they were called. The program
runs with a scrubbed environment. This process adopts the orphans that a run leaves behind, so
that a test sees how every process of a daemon start ended.
"""

import contextlib
import ctypes
import os
import select
import shutil
import signal
import subprocess
import tempfile
import time
from dataclasses import dataclass
from pathlib import Path
from types import SimpleNamespace
from urllib.parse import unquote_to_bytes

# A copy that every user may run: the project may lie where only its owner may look.
FOLDER = tempfile.TemporaryDirectory()  # removed with this object, at the end
os.chmod(FOLDER.name, 0o755)
PROGRAM = shutil.copy(os.environ["AVMANAGER"], FOLDER.name)
PROBE = os.environ["PROBE"]
TOOLS = ("cat", "cp", "chown")
SERVER_PROGRAMS = ("aveserver", "keepup2date", "parse_avstat.pl", "other")
BOUND = 20.0

PR_SET_CHILD_SUBREAPER = 36
ctypes.CDLL(None).prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0)

# What this process was started with is not for the program.
for descriptor in map(int, os.listdir("/proc/self/fd")):
    with contextlib.suppress(OSError):
        os.set_inheritable(descriptor, descriptor < 3)


@dataclass
class Result:
    """What one run of the program left: its own end, and that of its orphans by pid."""

    status: int
    out: bytes
    err: bytes
    pid: int
    orphans: dict

    @property
    def answer(self):
        return self.status, self.out.decode()


def unescaped_lines(path):
    """The lines of a file of the probe's, without its %XX."""
    return [os.fsdecode(unquote_to_bytes(line)) for line in path.read_text().splitlines()]


def wait_until(condition, what):
    """Waits for a condition to hold; a test that waits for ever fails instead."""
    end = time.monotonic() + BOUND
    pause = 0.0005
    while not condition():
        assert time.monotonic() < end, f"never happened: {what}"
        time.sleep(pause)
        pause = min(2 * pause, 0.02)


def wait_for_end(pid):
    """Waits for a child of ours; returns its raw wait status."""
    process = os.pidfd_open(pid)
    ended = select.select([process], [], [], BOUND)[0]
    os.close(process)
    if not ended:
        os.kill(pid, signal.SIGKILL)
    status = os.waitpid(pid, 0)[1]
    assert ended, f"process {pid} never ended"
    return status


def children():
    """The pids of this process's children, adopted ones included."""
    own = os.getpid()
    return [int(pid) for pid in Path(f"/proc/{own}/task/{own}/children").read_text().split()]


class Host:
    def __init__(self, directory):
        self.dir = Path(directory)
        self.path = self.dir / "path"
        self.kav = self.dir / "kav"
        self.record = self.dir / "record"
        self.pid_file = self.dir / "pid"
        self.with_pid = f"--service-pidfile={self.pid_file}"
        for made in (self.path, self.record, self.kav / "bin"):
            made.mkdir(parents=True)
        for tool in TOOLS:
            shutil.copy(PROBE, self.path / tool)
        for program in SERVER_PROGRAMS:
            shutil.copy(PROBE, self.kav / "bin" / program)
        self.env = {"PATH": str(self.path), "LC_ALL": "C", "HOME": str(self.dir)}

    # --- setting up ---

    def file(self, name, content=""):
        """Makes a file in the host's directory; returns its path."""
        path = self.dir / name
        path.write_bytes(content if isinstance(content, bytes) else content.encode())
        return path

    def act(self, name, steps):
        """Tells a stand-in what to do when it is called."""
        (self.record / f"{name}.act").write_text(steps)

    def remove(self, name):
        """Takes a stand-in away."""
        for place in (self.path, self.kav / "bin"):
            (place / name).unlink(missing_ok=True)

    def process(self, *verb, out="process.out"):
        """Starts a probe as a child of the test; returns its pid."""
        out = self._new(out)
        pid = os.posix_spawn(PROBE, ["probe", *verb], self.env,
                             file_actions=[(os.POSIX_SPAWN_DUP2, out, 1)])
        os.close(out)
        return pid

    def server(self):
        """Starts a process that keeps a pid file and prints the signals that it gets."""
        pid = self.process("serve", str(self.pid_file))
        wait_until(self.pid_file.exists, "the server's pid file")
        return pid

    def pid(self):
        """What a server writes into the pid file, as soon as it does."""
        wait_until(self.pid_file.exists, "the service's pid file")
        return int(self.pid_file.read_text())

    # --- running ---

    def start(self, *arguments, env=None, prepare=None, out="out"):
        """Starts the program without waiting; `prepare` runs in the child before exec, `out` is
        the name of a file or a descriptor."""
        words = [PROGRAM, *map(os.fspath, arguments)]
        env = self.env if env is None else env
        streams = [os.open(os.devnull, os.O_RDONLY),
                   os.dup(out) if isinstance(out, int) else self._new(out), self._new("err")]
        if prepare:
            pid = os.fork()
            if pid == 0:
                try:
                    for target, stream in enumerate(streams):
                        os.dup2(stream, target)
                    os.closerange(3, 256)
                    prepare()
                    os.execve(PROGRAM, words, env)
                finally:
                    os._exit(124)
        else:
            pid = os.posix_spawn(PROGRAM, words, env, file_actions=[
                (os.POSIX_SPAWN_DUP2, stream, target) for target, stream in enumerate(streams)])
        for stream in streams:
            os.close(stream)
        return pid

    def _new(self, name):
        return os.open(self.dir / name, os.O_WRONLY | os.O_CREAT | os.O_TRUNC, 0o644)

    def run(self, *arguments, settle=True, **options):
        """Runs the program to its end, and with `settle` also the processes it leaves."""
        # Before the start: a quick run's own processes may be adopted as soon as it returns.
        others = set(children())
        return self.finish(self.start(*arguments, **options), others if settle else None)

    def control(self, command, *more, service="other", **options):
        """Runs a command for a service."""
        return self.run(command, f"--kav-dir={self.kav}", f"--service={service}", *more, **options)

    def finish(self, pid, others=None):
        """Waits for a run, and for every process that it leaves if `others` tells which are not
        its own."""
        status = os.waitstatus_to_exitcode(wait_for_end(pid))
        orphans = {} if others is None else self.settle(others)
        return Result(status, (self.dir / "out").read_bytes(), (self.dir / "err").read_bytes(),
                      pid, orphans)

    def settle(self, others=()):
        """Waits for every adopted process to end; returns their exit codes by pid."""
        orphans = {}
        while left := set(children()) - set(others):
            for pid in left:
                orphans[pid] = os.waitstatus_to_exitcode(wait_for_end(pid))
        return orphans

    def shut_down(self):
        """Ends whatever a test left running."""
        while left := children():
            for pid in left:
                os.kill(pid, signal.SIGKILL)
                os.waitpid(pid, 0)
        if left := [*Path("/tmp").glob("zrckav_*")]:
            subprocess.run(["rm", "-rf", *left], check=True)

    # --- looking ---

    def calls(self):
        """The calls of stand-ins so far: one text of name and arguments for each."""
        path = self.record / "calls"
        return unescaped_lines(path) if path.exists() else []

    def reports(self, name):
        """What the calls of a stand-in were started with, in the order of their pids."""
        found = [path for path in self.record.glob(f"{name}.*") if path.suffix != ".act"]
        return [self._read(path) for path in sorted(found, key=lambda p: int(p.suffix[1:]))]

    def report(self, name):
        """What the one call of a stand-in was started with."""
        (found,) = self.reports(name)
        return found

    @staticmethod
    def _read(path):
        report = SimpleNamespace(argv=[], env={}, fds={})
        for key, value in (line.split(" ", 1) for line in unescaped_lines(path)):
            if key == "argv":
                report.argv.append(value)
            elif key == "env":
                name, text = value.split("=", 1)
                report.env[name] = text
            elif key == "fd":
                number, target = value.split(" ", 1)
                report.fds[int(number)] = target
            else:
                setattr(report, key, value)
        return report


def errors_file(service):
    """The content of a service's errors file, or None where there is none."""
    try:
        return Path(f"/tmp/zrckav_{service}_errors").read_text()
    except FileNotFoundError:  # a start may just remove it
        return None

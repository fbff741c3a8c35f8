"""The host that the program sees, remade for every run, and what a run left of it.

Works only as the first process of a process namespace with an /etc and a /tmp of its own
(tests/support/private_root): every process that a run leaves behind becomes a child of this one,
so none is missed, and the files have the names that the program really uses.
"""

import os
import signal
from dataclasses import dataclass
from pathlib import Path
from urllib.parse import unquote_to_bytes

from scenarios import PANEL, ROOT, TEXTS, errors_file, panel_text, pid_text, program_text

PROGRAM = os.environ["AVMANAGER"]
FAIL_CALL = os.environ["FAIL_CALL"]
OUT, ERR, LOG = Path("/tmp/out"), Path("/tmp/err"), Path("/tmp/log")
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


def make_programs(scenario):
    """Everything that stays the same between the runs of a scenario."""
    os.system(f"rm -rf {ROOT} /tmp/zrckav_*")
    for folder in ("path", "none", "kav/bin", "kav/proc_avstat"):
        (ROOT / folder).mkdir(parents=True)
    for tool in ("cat", "cp", "chown") if scenario.tools else ():
        (ROOT / "path" / tool).symlink_to(f"/bin/{tool}")
    if scenario.program != "missing":
        program = ROOT / "kav/bin" / scenario.service
        program.write_text(program_text(scenario))
        program.chmod(0o644 if scenario.program == "not executable" else 0o755)


def write(path, text):
    """A file with that text, or none."""
    if text is None:
        path.unlink(missing_ok=True)
    else:
        path.write_text(text)


def make_files(scenario, server):
    """What a run may change."""
    absent = scenario.pid_file in ("unnamed", "absent")
    write(ROOT / "pid", None if absent else pid_text(scenario, server))
    write(ROOT / "service.conf",
          TEXTS["service.conf"] if scenario.config == "present" else None)
    write(ROOT / "source", TEXTS["source"] if scenario.source else None)
    write(ROOT / "target", TEXTS["target"] if scenario.target else None)
    write(errors_file(scenario), "77" if scenario.old_errors else None)
    write(PANEL, panel_text(scenario))


def text_of(path):
    """A file byte for byte: each is a character."""
    return path.read_bytes().decode("latin-1")


def snapshot():
    """Every file below /tmp and beside the panel configuration, but those that the test itself
    keeps: a file of a name that nobody thought of is seen, too. A clone or a build below /tmp is
    a mount of its own and no part of this world."""
    found = []
    for top in (OUT.parent, PANEL.parent):
        for folder, folders, names in os.walk(top):
            inside = [Path(folder, name) for name in folders]
            folders[:] = [path.name for path in inside
                          if path != ROOT / "path" and not path.is_mount()]
            found += [Path(folder, name) for name in names]
    return {str(path): text_of(path) for path in sorted(found)
            if path not in (OUT, ERR, LOG) and path.is_file()}


class Server:
    """The process in a live pid file. It ignores SIGHUP and ends on SIGTERM."""

    pid = 0

    def ensure(self):
        if self.pid == 0:
            signal.signal(signal.SIGHUP, signal.SIG_IGN)
            self.pid = os.posix_spawn("/bin/sleep", ["sleep", "100000"], {})
            signal.signal(signal.SIGHUP, signal.SIG_DFL)

    def settle(self, told):
        """After a run: its end, which comes when it was told and at no other time."""
        if told and self.pid != 0:
            os.waitpid(self.pid, 0)
            self.pid = 0
        if told != (self.pid == 0):
            raise Astray("the server ended without a signal")


SERVER = Server()


def children():
    return {int(pid) for pid in Path("/proc/1/task/1/children").read_text().split()}


def end_everything():
    """After an overdue run: ends every other process of this namespace, which is ours alone."""
    own = {os.getpid(), SERVER.pid}
    for entry in Path("/proc").iterdir():
        if entry.name.isdigit() and int(entry.name) not in own:
            os.kill(int(entry.name), signal.SIGKILL)
    while children() - {SERVER.pid}:
        os.waitpid(-1, 0)


def overdue(_signal, _frame):
    raise Astray(f"did not end within {BOUND} s")


def wait_for_all(first):
    """Waits until no process is left but the server. Returns the exit status of `first`."""
    ended = None
    signal.signal(signal.SIGALRM, overdue)
    signal.alarm(BOUND)
    try:
        while children() - {SERVER.pid}:
            pid, status = os.waitpid(-1, 0)
            if pid == first:
                ended = os.waitstatus_to_exitcode(status)
            elif pid == SERVER.pid:
                SERVER.pid = 0
    except Astray:
        end_everything()
        raise
    finally:
        signal.alarm(0)
    return ended


def spawn(argv):
    env = {"PATH": f"{ROOT}/none:{ROOT}/path", "LC_ALL": "C"}
    flags = os.O_WRONLY | os.O_CREAT | os.O_TRUNC | os.O_APPEND
    return os.posix_spawn(argv[0], argv, env, setsigdef=[signal.SIGPIPE], file_actions=[
        (os.POSIX_SPAWN_OPEN, 0, "/dev/null", os.O_RDONLY, 0),
        (os.POSIX_SPAWN_OPEN, 1, OUT, flags, 0o644),
        (os.POSIX_SPAWN_OPEN, 2, ERR, flags, 0o644),
    ])


def readable(subject):
    return unquote_to_bytes(subject).decode("latin-1")


def parse(log):
    """The events of fail_call: the calls, and the end of each process by its name ("exited N",
    "died N", "became PATH")."""
    calls, ends = [], {}
    for line in log.splitlines():
        process, event, *rest = line.split(" ", 4)
        if event in ("became", "exited", "died"):
            ends[process] = readable(f"{event} {' '.join(rest)}")
        else:
            k, result, *on = rest
            calls.append(Call(process, event, int(k), int(result.lstrip("!")),
                              readable("".join(on)), result.startswith("!")))
    return calls, ends


def traced(failure, target, *program):
    """The calls of a program and the ends of its processes, with one failure or none. Signals
    reach the process `target` only. No process is left then but the server."""
    fail = failure.options() if failure else []
    status = wait_for_all(spawn([FAIL_CALL, LOG, str(target), *fail, *program]))
    if status != 0:
        raise Astray(f"fail_call ended with {status}")
    return parse(LOG.read_text())

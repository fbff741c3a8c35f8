"""The main commands, each in a state in which it has something to do, and what it then leaves.

`run` gives one outcome: exit status, standard output, and the effect, which is a text that the
command's own look at the host makes. `ORDINARY` is what each command gives in ordinary
surroundings; a test for others says what is different there.
"""

import os
import signal
from dataclasses import dataclass, replace
from pathlib import Path

from host import errors_file, wait_until


@dataclass(frozen=True)
class Outcome:
    status: int = 0
    out: str = ""
    effect: str = ""

    def but(self, **changes):
        return replace(self, **changes)


SERVICE = ("--kav-dir={kav}", "--service=other")
WITH_PID = (*SERVICE, "--service-pidfile={dir}/pid")
COMMANDS = {
    "nothing": ((), Outcome()),
    "help": (("--help",), Outcome()),
    "unknown": (("--bogus",), Outcome(1, "Unknown option '--bogus'\n")),
    "check-install": (("--check-install", "--kav-dir={kav}"),
                      Outcome(0, "Kaspersky Anti-Virus server is installed\n")),
    "delete-file": (("--delete-file", "--file={dir}/doomed"), Outcome(0, "", "deleted")),
    "service-started": (("--service-started", *WITH_PID), Outcome(0, "Service is started\n")),
    "kill-service": (("--kill-service", *WITH_PID), Outcome(0, "", "terminated")),
    "reload": (("--restart-service", "--kav-dir={kav}", "--service=aveserver",
                "--service-pidfile={dir}/nobody"), Outcome()),
    "restart-service": (("--restart-service", *WITH_PID),
                        Outcome(0, "", "terminated, errors: 0")),
    "config-file-content": (("--config-file-content", "--file={dir}/new"),
                            Outcome(0, "new text\n")),
    "save-to-config-file": (("--save-to-config-file", "--file={dir}/new",
                             "--config-file={dir}/old"), Outcome(0, "", "new text\n")),
    "start-daemon": (("--start-service", *SERVICE), Outcome(0, "", "errors: 0")),
    "start-foreground": (("--start-service", *SERVICE, "--no-daemon=1"),
                         Outcome(0, "", "errors: 0")),
}
ARGUMENTS = {name: arguments for name, (arguments, _) in COMMANDS.items()}
ORDINARY = {name: outcome for name, (_, outcome) in COMMANDS.items()}
# Those that read the pid file, through a pipe.
READERS = ("service-started", "kill-service", "reload", "restart-service")


def fill(host, text):
    """Puts the host's folder and its server tree into a text, or into each of several."""
    if isinstance(text, str):
        return text.replace("{dir}", str(host.dir)).replace("{kav}", str(host.kav))
    return [fill(host, item) for item in text]


def stopped_server(host):
    """A process in the pid file that cannot act, so that what it was sent stays to be seen."""
    pid = host.server()
    os.kill(pid, signal.SIGSTOP)
    wait_until(lambda: state_of(pid, "State").startswith("T"), "the server's stop")
    return pid


def state_of(pid, key):
    """A line of the kernel's description of a process."""
    for line in Path(f"/proc/{pid}/status").read_text().splitlines():
        if line.startswith(key + ":"):
            return line.split(":", 1)[1].strip()
    raise KeyError(key)


def was_sent(pid, number):
    return bool(int(state_of(pid, "ShdPnd"), 16) & 1 << number - 1)


def run(host, name, more=(), **options):
    for file, content in (("doomed", ""), ("new", "new text\n"), ("old", "old text\n"),
                          ("nobody", "0\n")):
        host.file(file, content)
    server = stopped_server(host) if "{dir}/pid" in "".join(ARGUMENTS[name]) else None
    result = host.run(*fill(host, ARGUMENTS[name]), *more, **options)
    outcome = Outcome(result.status, result.out.decode(), effect(host, name, server))
    if server:
        os.kill(server, signal.SIGKILL)
        host.settle()
        host.pid_file.unlink()
    Path("/tmp/zrckav_other_errors").unlink(missing_ok=True)
    return outcome


def effect(host, name, server):
    """What the command did to the host, in words; empty for nothing."""
    found = []
    if not (host.dir / "doomed").exists():
        found.append("deleted")
    if server and was_sent(server, signal.SIGTERM):
        found.append("terminated")
    if (text := errors_file("other")) is not None:
        found.append(f"errors: {text}")
    if name == "save-to-config-file":
        found.append((host.dir / "old").read_text())
    return ", ".join(found)

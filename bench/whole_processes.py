"""Measures the program as a whole against others, in a private root (see scripts/bench).

    whole_processes.py BUILD OUT ROUNDS

BUILD holds `avmanager` and the programs of bench/. Writes OUT/processes.json (times, peak memory
and page faults of every run) and OUT/breakdown.json (system calls and instructions of one run).
"""

import json
import os
import re
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

BUILD, OUT, ROUNDS = Path(sys.argv[1]), Path(sys.argv[2]), sys.argv[3]
ENVIRONMENT = {"PATH": "/usr/bin:/bin:/usr/sbin:/sbin", "LC_ALL": "C", "HOME": "/"}

# What an administrator would write in place of each command.
SHELL = {
    "check-install": '[ -e "$0/bin/aveserver" ] && echo installed',
    "service-started": '[ -n "$(cat "$1")" ] && echo started',
    "start-service": '[ -s "$2" ] || { setsid "$0/bin/other" </dev/null >/dev/null 2>&1 & }',
}


def installed(program):
    """A copy, as an installation makes one: written in one go. How a file was written decides how
    much of it a page fault brings in, and a linker writes in small pieces."""
    (OUT / "installed").mkdir(exist_ok=True)
    return shutil.copy(BUILD / program, OUT / "installed")


def commands(tree):
    """The command lines by label. `running` is the pid file of a process that runs."""
    kav, running, absent = tree / "kav", tree / "running.pid", tree / "absent.pid"
    ours = installed("avmanager")
    empty, hard_empty = map(installed, ("bench/peer_empty", "bench/peer_hardened_empty"))
    floor, hard_floor = map(installed, ("bench/peer_floor", "bench/peer_hardened_floor"))
    service = [f"--kav-dir={kav}", "--service=other"]
    return {
        "empty": [empty],
        "empty again": [empty],
        "hardened empty": [hard_empty],
        "help": [ours, "--help"],
        "check-install": [ours, "--check-install", f"--kav-dir={kav}"],
        "floor check-install": [floor, "installed", kav / "bin/aveserver"],
        "hardened floor check-install": [hard_floor, "installed", kav / "bin/aveserver"],
        "sh check-install": ["sh", "-c", SHELL["check-install"], kav],
        "start-stop-daemon --status": ["start-stop-daemon", "--status", "--pidfile", running],
        "service-started": [ours, "--service-started", *service, f"--service-pidfile={running}"],
        "floor service-started": [floor, "status", running],
        "hardened floor service-started": [hard_floor, "status", running],
        "sh service-started": ["sh", "-c", SHELL["service-started"], kav, running],
        "start-service": [ours, "--start-service", *service, f"--service-pidfile={absent}"],
        "floor start-service": [floor, "start", absent, kav / "bin/other"],
        "hardened floor start-service": [hard_floor, "start", absent, kav / "bin/other"],
        "sh start-service": ["sh", "-c", SHELL["start-service"], kav, running, absent],
    }


def make_tree(tree):
    """A server whose programs do nothing, and the pid file of this process."""
    (tree / "kav/bin").mkdir(parents=True)
    for program in ("aveserver", "other"):
        shutil.copy(BUILD / "bench/peer_empty", tree / "kav/bin" / program)
    (tree / "running.pid").write_text(f"{os.getpid()}\n")


def measure(lines):
    plan = []
    for label, line in lines.items():
        plan += ["--"] * bool(plan) + [label, *map(str, line)]
    subprocess.run([BUILD / "bench/bench_processes", OUT / "processes.json", ROUNDS, *plan],
                   env=ENVIRONMENT, check=True)


def system_calls(line):
    """Of the process itself, exec and exit included."""
    with tempfile.NamedTemporaryFile() as log:
        subprocess.run(["strace", "-qq", "-e", "signal=none", "-o", log.name, *map(str, line)],
                       env=ENVIRONMENT, check=True, stdout=subprocess.PIPE)
        return sum(" = " in text for text in Path(log.name).read_text().splitlines())


def instructions(line):
    """Of the process itself, in user space, as callgrind counts them."""
    run = subprocess.run(["valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null",
                          *map(str, line)], env=ENVIRONMENT, check=True,
                         stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    first = re.search(r"==(\d+)==", run.stderr)[1]
    return int(re.search(rf"=={first}== Collected : (\d+)", run.stderr)[1])


def main():
    with tempfile.TemporaryDirectory() as made:
        tree = Path(made)
        make_tree(tree)
        lines = commands(tree)
        measure(lines)
        broken = {label: {"calls": system_calls(lines[label]),
                          "instructions": instructions(lines[label])}
                  for label in ("empty", "hardened empty", "hardened floor check-install", "help",
                                "check-install", "hardened floor service-started",
                                "service-started")}
        (OUT / "breakdown.json").write_text(json.dumps(broken, indent=1) + "\n")


main()

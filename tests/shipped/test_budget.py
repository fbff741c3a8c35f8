"""Compares the system calls of every command in its common states with budget.toml.

What the C library does at a start and around a fork differs between its versions. A program that
does nothing else tells it, so the budget is the product's own and holds on every release.

Unlike time, they are the same on every run: a call more, or memory taken in smaller steps, shows
here and nowhere else. A state that fails prints the list that it made; when that is what it
should be, it is the new budget.
"""

import os
import shutil
import signal
import subprocess
import tomllib
from pathlib import Path

import pytest

import calls

BUDGET = tomllib.loads((Path(__file__).parent / "budget.toml").read_text())
KEYS = {"name", "args", "files", "status", "most", "calls"}
PANEL_CONFIGURATION = Path("/etc/zrc/zrc.conf")


def become_a_server():
    os.setsid()
    # One that is asked to reload must not end by it.
    signal.signal(signal.SIGHUP, signal.SIG_IGN)


class Host:
    """A server tree whose programs end at once, and a process to have a pid file for."""

    def __init__(self, directory):
        self.dir = directory
        (directory / "kav/bin").mkdir(parents=True)
        for program in ("aveserver", "other", "keepup2date", "parse_avstat.pl"):
            shutil.copy("/bin/true", directory / "kav/bin" / program)
        self.process = subprocess.Popen(["/bin/sleep", "60"], preexec_fn=become_a_server)

    def fill(self, text):
        values = {"dir": self.dir, "kav": self.dir / "kav", "pid": self.process.pid}
        for key, value in values.items():
            text = text.replace(f"{{{key}}}", str(value))
        return text


@pytest.fixture
def host(tmp_path):
    made = Host(tmp_path)
    yield made
    made.process.kill()
    made.process.wait()
    PANEL_CONFIGURATION.unlink(missing_ok=True)
    for left in Path("/tmp").glob("zrckav_*"):
        left.unlink()


def states():
    for state in BUDGET["state"]:
        assert state.keys() <= KEYS, state["name"]
        yield pytest.param(state, id=state["name"])


@pytest.fixture(scope="session")
def words(tmp_path_factory):
    return calls.of_the_c_library(tmp_path_factory.mktemp("empty"))


@pytest.fixture(scope="session")
def thrown(tmp_path_factory):
    return calls.of_a_throw(tmp_path_factory.mktemp("thrown"))


@pytest.mark.parametrize("state", states())
def test_system_calls_are_those_of_the_budget(host, state, words, thrown):
    for name, content in state.get("files", {}).items():
        path = PANEL_CONFIGURATION if name == "PANEL" else host.dir / name
        path.write_text(host.fill(content))

    lists, status = calls.trace(host.dir, [host.fill(text) for text in state["args"]],
                                {"PATH": "/bin", "LC_ALL": "C"})

    assert status == state.get("status", 0)
    lists = {process: [call for call in each if call not in thrown]
             for process, each in lists.items()}
    made = {process: calls.folded(each, words) for process, each in lists.items()}
    assert made == state["calls"]
    counts = [int(word.partition("*")[2] or 1) for word in made["manager"].split()]
    # An empty program has its START and its end, too.
    assert sum(counts) - 2 <= state.get("most", 1000)


def test_the_targets_are_kept():
    """The three that were promised stay in the budget."""
    most = {state["name"]: state["most"] for state in BUDGET["state"] if "most" in state}
    assert most["help"] <= 1
    assert most["check-install: installed"] <= 3
    assert most["check-install: not installed"] <= 3
    assert most["service-started: running"] <= 17


def test_every_command_has_a_state():
    commands = {"delete-file", "check-install", "start-service", "service-started",
                "kill-service", "restart-service", "config-file-content",
                "save-to-config-file", "help"}
    named = {text[2:] for state in BUDGET["state"] for text in state["args"]}
    assert commands <= named


def test_a_list_says_which_process_made_which_call():
    log = "\n".join([
        '10 execve("/x/avmanager", ["avmanager"], 0x1 /* 2 vars */) = 0',
        "10 pipe2([3, 4], 0) = 0",
        "10 clone(child_stack=NULL, flags=SIGCHLD <unfinished ...>",
        "11 close(1) = 0",
        "10 <... clone resumed>, child_tidptr=0x7f) = 11",
        '11 execve("/bin/cat", ["cat"], 0x1 /* 2 vars */) = 0',
        "11 brk(NULL) = 0x5555",
        '10 read(3, "= 5 \\n", 1024) = 5',
        "10 wait4(11, [{WIFEXITED(s) && WEXITSTATUS(s) == 0}], 0, NULL) = 11",
        "10 exit_group(0) = ?",
    ])
    assert calls.by_process(log) == {
        "manager": ["execve", "pipe2", "clone", "read", "wait4", "exit_group"],
        "manager.1": ["close", "execve"],
    }


def test_the_c_librarys_calls_fold_into_their_words():
    words = {"START": ["a", "b"], "FORK": ["mask", "clone", "mask"], "FORKED": ["mask"]}
    assert calls.folded(["a", "b", "b", "b", "c"], words) == "START b*2 c"
    assert calls.folded(["mask", "a", "b", "mask", "clone", "mask"], words) == "FORKED a b FORK"
    assert calls.folded(["mask", "mask"], words) == "FORKED mask"
    assert calls.folded(["a", "c"], words) == "a c"

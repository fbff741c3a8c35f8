"""The hosts that fleet/hosts has made, each with a running stand-in server."""

import concurrent.futures
import json
import os
import re
import subprocess
import time
from dataclasses import dataclass
from pathlib import Path

import pytest

ROOT = Path(__file__).resolve().parents[3]
HOSTS = ROOT / "fleet/hosts"
SERVICE = {"avmanager_kav_dir": "/opt/kav", "avmanager_pid_file": "/opt/kav/pid",
           "avmanager_config_file": "/opt/kav/conf"}
WHICH = ("--kav-dir=/opt/kav", "--service=aveserver", "--service-pidfile=/opt/kav/pid")
PROOF = ["grep", "-q", "level high$", "/opt/kav/log"]
AS_NEW = {"bin", "conf", "log", "pid"}
BOUND = 120.0


@dataclass
class Ended:
    """What a play came to: its exit status and output, and what it did to each host."""

    status: int
    out: str

    def counted(self, host):
        """The host's numbers in the recap: ok, changed, unreachable, failed, ..."""
        line = re.search(rf"^{host} +: (.*)$", self.out, re.M)
        return {name: int(number) for name, number in re.findall(r"(\w+)=(\d+)", line[1])}


class Fleet:
    """The hosts, the engine, and the files of one test on the engine's side."""

    def __init__(self, folder, count):
        assert "ANSIBLE_INVENTORY" in os.environ, "fleet/test makes the hosts"
        self.folder = folder
        self.names = [f"h{number}" for number in range(1, count + 1)]
        self.inventory = Path(os.environ["ANSIBLE_INVENTORY"])
        self.report_file = folder / "report"
        for path in self.inventory.glob("*_vars/*"):
            path.unlink()
        self.each(self.make)

    def each(self, act):
        """Does something to all hosts at once."""
        with concurrent.futures.ThreadPoolExecutor(len(self.names)) as pool:
            return dict(zip(self.names, pool.map(act, self.names)))

    # --- hosts ---

    @staticmethod
    def on(host, *command, check=True, given=None):
        given = given.encode() if isinstance(given, str) else given
        run = subprocess.run([HOSTS, "--on", host, *command], capture_output=True, check=False,
                             input=given)
        assert not check or run.returncode == 0, run.stdout + run.stderr
        return run.stdout.decode()

    def make(self, host):
        """Makes a host anew, with a server that runs at level low."""
        subprocess.run([HOSTS, "--again", host], check=True)
        self.start(host)

    def start(self, host):
        self.on(host, "avmanager", "--start-service", *WHICH, "--config-file=/opt/kav/conf")
        wait_until(lambda: "pid" in self.files(host))

    def replace_server(self, host, old, new):
        """Changes the program of a host's server, which is then started from it."""
        program = self.on(host, "cat", "/opt/kav/bin/aveserver")
        assert old in program
        self.on(host, "sh", "-c", "kill $(cat /opt/kav/pid); cat >/opt/kav/bin/aveserver; "
                "while [ -e /opt/kav/pid ]; do sleep 0.1; done", given=program.replace(old, new))
        self.start(host)

    def level(self, host):
        """What the server logged last, and the level of its configuration."""
        log, conf = (self.on(host, "tail", "-n", "1", f"/opt/kav/{name}").strip()
                     for name in ("log", "conf"))
        return log, conf

    def files(self, host):
        return set(self.on(host, "ls", "/opt/kav").split())

    # --- the engine ---

    def configuration(self, name, log="/opt/kav/log", level="high"):
        path = self.folder / name
        path.write_text(f"PidFile /opt/kav/pid\nLog {log}\nLevel {level}\n")
        return str(path)

    def tell(self, name, **variables):
        """Sets variables of one host or group in the inventory."""
        folder = self.inventory / ("host_vars" if name in self.names else "group_vars")
        folder.mkdir(exist_ok=True)
        (folder / f"{name}.json").write_text(json.dumps(variables))

    def begin(self, *arguments, **variables):
        """Starts the rolling play."""
        told = {"avmanager_hosts": ":".join(self.names), "avmanager_proof": PROOF,
                "avmanager_report": str(self.report_file)} | variables
        told = {name: value for name, value in told.items() if value is not None}
        if not (self.inventory / "group_vars/all.json").exists():
            self.tell("all", avmanager_config_source=self.configuration("new"))
        return play("zarnic.avmanager.rolling", "-e", json.dumps(told), *arguments)

    def roll(self, *arguments, **variables):
        return ended(self.begin(*arguments, **variables))

    def report(self):
        """The lines of the report by host."""
        return dict(line.split(" ", 1) for line in self.report_file.read_text().splitlines())

    def role(self, *arguments, **variables):
        """Runs the role on the first host."""
        return self.tasks(*arguments, vars=SERVICE | variables, roles=["zarnic.avmanager.avmanager"])

    def tasks(self, *arguments, **told):
        """Runs a play on the first host."""
        path = self.folder / "play.yml"
        path.write_text(json.dumps([{"hosts": "h1", "gather_facts": False, **told}]))
        return ended(play(path, *arguments))


def play(*arguments):
    return subprocess.Popen(["ansible-playbook", *arguments], stdout=subprocess.PIPE,
                            stderr=subprocess.STDOUT, text=True, start_new_session=True)


def ended(running):
    out, _ = running.communicate()
    print(out)
    return Ended(running.returncode, out)


def wait_until(condition):
    limit = time.monotonic() + BOUND
    while not condition():
        assert time.monotonic() < limit
        time.sleep(0.1)


@pytest.fixture
def fleet(tmp_path):
    """Six hosts, as new: one for each command of a change."""
    return Fleet(tmp_path, 6)


@pytest.fixture
def few(tmp_path):
    """Three hosts, as new."""
    return Fleet(tmp_path, 3)


@pytest.fixture
def one(tmp_path):
    """The first host, as new."""
    return Fleet(tmp_path, 1)

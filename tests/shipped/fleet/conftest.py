"""The twelve hosts that fleet/hosts has made, each with a running stand-in server."""

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

    def __init__(self, folder):
        assert "ANSIBLE_INVENTORY" in os.environ, "fleet/test makes the hosts"
        self.folder = folder
        self.names = [f"h{number}" for number in range(1, 13)]
        self.inventory = Path(os.environ["ANSIBLE_INVENTORY"])
        self.report_file = folder / "report"

    # --- hosts ---

    @staticmethod
    def on(host, *command, check=True):
        run = subprocess.run([HOSTS, "--on", host, *command], capture_output=True, text=True,
                             check=False)
        assert not check or run.returncode == 0, run.stdout + run.stderr
        return run.stdout

    def make(self, host):
        """Makes a host anew, with a server that runs at level low."""
        subprocess.run([HOSTS, "--again", host], check=True)
        self.on(host, "avmanager", "--start-service", *WHICH, "--config-file=/opt/kav/conf")
        wait_until(lambda: self.on(host, "ls", "/opt/kav").count("pid"))

    def replace_server(self, host, old, new):
        """Changes the program of a host's server, which is then started from it."""
        program = self.on(host, "cat", "/opt/kav/bin/aveserver")
        assert old in program
        changed = self.folder / "aveserver"
        changed.write_text(program.replace(old, new))
        pid = self.on(host, "cat", "/opt/kav/pid").strip()
        self.on(host, "sh", "-c", f"kill {pid}; while [ -e /opt/kav/pid ]; do sleep 0.1; done")
        with changed.open() as text:
            subprocess.run([HOSTS, "--on", host, "sh", "-c", "cat >/opt/kav/bin/aveserver"],
                           stdin=text, check=True)
        self.on(host, "avmanager", "--start-service", *WHICH, "--config-file=/opt/kav/conf")
        wait_until(lambda: self.on(host, "ls", "/opt/kav").count("pid"))

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
        return path

    def tell(self, host, **variables):
        """Sets variables of one host."""
        folder = self.inventory / "host_vars"
        folder.mkdir(exist_ok=True)
        (folder / f"{host}.json").write_text(json.dumps(variables))

    def begin(self, *arguments, **variables):
        """Starts the rolling play."""
        told = {"avmanager_report": str(self.report_file), "avmanager_proof": PROOF} | variables
        self.group(avmanager_config_source=str(self.configuration("new")))
        return subprocess.Popen(
            ["ansible-playbook", ROOT / "fleet/rolling.yml", "-e", json.dumps(told), *arguments],
            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)

    def group(self, **variables):
        folder = self.inventory / "group_vars"
        folder.mkdir(exist_ok=True)
        (folder / "all.json").write_text(json.dumps(variables))

    def roll(self, *arguments, **variables):
        return ended(self.begin(*arguments, **variables))

    def report(self):
        """The lines of the report by host."""
        return dict(line.split(" ", 1) for line in self.report_file.read_text().splitlines())

    def role(self, *arguments, host="h1", **variables):
        """Runs the role on one host."""
        play = self.folder / "play.yml"
        play.write_text(json.dumps([{
            "hosts": host, "gather_facts": False, "vars": variables,
            "roles": [str(ROOT / "fleet/roles/avmanager")]}]))
        return ended(subprocess.Popen(["ansible-playbook", play, *arguments],
                                      stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True))


def ended(play):
    out, _ = play.communicate()
    print(out)
    return Ended(play.returncode, out)


def wait_until(condition):
    limit = time.monotonic() + BOUND
    while not condition():
        assert time.monotonic() < limit
        time.sleep(0.1)


def made_anew(fleet, names):
    with concurrent.futures.ThreadPoolExecutor(4) as pool:
        list(pool.map(fleet.make, names))
    for kind in ("host_vars", "group_vars"):
        for path in fleet.inventory.glob(f"{kind}/*"):
            path.unlink()
    return fleet


@pytest.fixture
def fleet(tmp_path):
    """All hosts, as new."""
    made = Fleet(tmp_path)
    return made_anew(made, made.names)


@pytest.fixture
def few(tmp_path):
    """The first five hosts, as new."""
    made = Fleet(tmp_path)
    made.names = made.names[:5]
    return made_anew(made, made.names)


@pytest.fixture
def one(tmp_path):
    """The first host, as new."""
    made = Fleet(tmp_path)
    return made_anew(made, made.names[:1])

"""What becomes of a service when the panel that starts it is a unit of a service manager.

As root where systemd runs, these are real units, made by systemd-run. Elsewhere namespaces stand for
them: with the first process of its process ids everything that a unit started is killed, and a
mount namespace has a /tmp of its own. No private root: systemd would not see into it.
"""

import contextlib
import fcntl
import os
import shutil
import subprocess
import tempfile
from pathlib import Path

import pytest

from host import PROGRAM, wait_until

ROOT = os.geteuid() == 0
SYSTEMD = ROOT and Path("/run/systemd/system").is_dir()
SERVICE = f"unit-{os.getpid()}"
ERRORS = Path(f"/tmp/zrckav_{SERVICE}_errors")
# The service holds a lock as long as it lives, and ends when it is no longer wanted: a process id
# means little in another namespace.
SCRIPT = """#!/bin/sh
exec 9>"{panel}/lock"
flock 9
echo "$$" >"{panel}/pid"
while [ -e "{panel}/wanted" ]; do sleep 0.1; done
"""
START = 'avmanager --start-service "--kav-dir=$PWD" "--service-pidfile=$PWD/pid"' + \
    f" --service={SERVICE}"


@pytest.fixture(name="panel")
def folder_of_a_panel():
    """A folder that no /tmp hides, with the program and a server tree of one service."""
    panel = Path(tempfile.mkdtemp(dir="/var/lib" if ROOT else "/var/tmp"))
    shutil.copy(PROGRAM, panel / "avmanager")
    service = panel / "bin" / SERVICE
    service.parent.mkdir()
    service.write_text(SCRIPT.format(panel=panel))
    service.chmod(0o755)
    (panel / "wanted").touch()
    yield panel
    (panel / "wanted").unlink()
    if lives(panel):
        wait_until(ERRORS.exists, "the service's end")
    shutil.rmtree(panel)
    ERRORS.unlink(missing_ok=True)


def lives(panel):
    with contextlib.suppress(FileNotFoundError), open(panel / "lock") as lock:
        try:
            fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except BlockingIOError:
            return True
    return False


def unit(panel, script, kill_mode="control-group", private_tmp="no"):
    """Runs a shell script as a unit to the unit's end; returns what it printed."""
    script = f'cd "{panel}" && PATH=$PWD:/usr/bin:/bin && {script}'
    if SYSTEMD:
        launcher = ["systemd-run", "--wait", "--pipe", "--quiet", "--collect",
                    f"--property=KillMode={kill_mode}", f"--property=PrivateTmp={private_tmp}"]
    else:
        launcher = spaces(["--pid", "--fork"] if kill_mode == "control-group" else [],
                          ["--mount"] if private_tmp == "yes" else [])
        if private_tmp == "yes":
            script = f"mount -t tmpfs none /tmp && {script}"
    done = subprocess.run([*launcher, "sh", "-c", script], stdout=subprocess.PIPE, text=True,
                          timeout=60, check=False)
    assert done.returncode == 0
    return done.stdout


def spaces(*options):
    """unshare with these options, in a user namespace where the caller may not do it otherwise."""
    wanted = [word for option in options for word in option]
    if not wanted:
        return []
    for attempt in (["unshare", *wanted], ["unshare", "--user", "--map-root-user", *wanted]):
        tried = subprocess.run([*attempt, "true"], capture_output=True, text=True, check=False)
        if tried.returncode == 0:
            return attempt
    return pytest.skip(f"no namespaces on this machine: {tried.stderr}")


def start(panel, through="", **properties):
    """A unit starts the service, waits until it runs, and ends."""
    unit(panel, f"{through} {START} && until [ -s pid ]; do sleep 0.02; done", **properties)


def test_a_unit_takes_what_it_started_along(panel):
    """Its pid file stays, so the service counts as running, and no errors file tells of its end."""
    start(panel)
    wait_until(lambda: not lives(panel), "the service's end")
    assert not ERRORS.exists()
    assert unit(panel, f'{START} || echo "$?"') == "Service is running already\n1\n"


def test_a_unit_that_ends_its_main_process_alone_leaves_the_service(panel):
    start(panel, kill_mode="process")
    assert lives(panel)


def test_a_unit_with_a_tmp_of_its_own_hides_the_errors_file(panel):
    (panel / "bin" / SERVICE).write_text("#!/bin/sh\nexit 3\n")
    said = unit(panel, f"! {START} --no-daemon=1 && cat {ERRORS}", private_tmp="yes")
    assert said == "Service failed\n3"
    assert not ERRORS.exists()


# No namespace stands for a scope, so this one exists only under a real systemd:
# tests/support/booted boots one.
if SYSTEMD:
    def test_a_scope_of_its_own_keeps_the_service(panel):
        start(panel, through="systemd-run --scope --quiet --collect")
        assert lives(panel)

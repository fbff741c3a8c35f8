"""What the program trusts, and what whoever controls that can make it do. docs/security.md has
the table; what another file shows anyway is not shown here again."""

import os
import signal
import time
from pathlib import Path

from host import errors_file, wait_for_end
from special_files import STRANGER, give_away, make_fifo, make_link, read_from_waiting_writer

ERRORS = Path("/tmp/zrckav_other_errors")


def protection(name):
    """A setting of the kernel, which is the whole machine's and not for a test to change."""
    return int(Path(f"/proc/sys/fs/protected_{name}").read_text())


def plant(host, make):
    """Lets something be made in the errors file's place while the service runs: the old one
    has been removed then, and the new one is written when the program has ended."""
    host.act("other", f"serve {host.pid_file}")
    pid = host.start("--start-service", f"--kav-dir={host.kav}", "--service=other",
                     "--no-daemon=1")
    server = host.pid()
    make(ERRORS)
    os.kill(server, signal.SIGTERM)
    return pid


# --- the arguments ---

def test_a_service_name_may_lead_out_of_the_server_tree(host):
    (host.dir / "elsewhere").symlink_to(host.kav / "bin/other")
    host.control("--start-service", service="../../elsewhere")
    assert host.report("elsewhere").argv == [f"{host.kav}/bin/../../elsewhere"]


def test_any_file_that_root_may_read_can_be_copied(host):
    secret = host.file("secret", "secret")
    secret.chmod(0)
    link = make_link(host.dir / "link", secret)
    host.run("--save-to-config-file", f"--file={link}", f"--config-file={host.dir}/target")
    assert (host.dir / "target").read_text() == "secret"


# --- the pid file ---

def test_a_writable_pid_file_is_believed_whoever_owns_it(host):
    victim = host.process("sleep", "100")
    host.file("pid", f"{victim}\n").chmod(0o666)
    give_away(host.pid_file)
    host.control("--kill-service", host.with_pid, settle=False)
    assert wait_for_end(victim) == signal.SIGTERM


# --- the server tree ---

def test_whoever_writes_the_server_tree_runs_programs(host):
    """Owner and mode of the program and its folder are not looked at."""
    program = host.kav / "bin/other"
    program.chmod(0o777)
    (host.kav / "bin").chmod(0o777)
    give_away(program)
    host.control("--start-service")
    assert host.report("other").uid == str(os.getuid())


# --- /tmp ---

def test_a_link_of_a_stranger_that_is_planted_while_the_service_runs(host):
    """Without fs.protected_symlinks root writes the exit code where the link says."""
    victim = host.file("victim", "text")
    assert wait_for_end(plant(host, lambda place: give_away(make_link(place, victim)))) == 0
    assert victim.read_text() == ("text" if protection("symlinks") else "0")


def test_a_dangling_link_of_a_stranger_makes_a_file(host):
    """Its status cannot be queried, so it is not removed: no race is needed."""
    give_away(make_link(ERRORS, host.dir / "made"))
    host.control("--start-service", "--no-daemon=1")
    assert (host.dir / "made").exists() == (not protection("symlinks"))


def test_a_file_of_a_stranger_that_is_planted_while_the_service_runs(host):
    """Without fs.protected_regular root writes into it; with it, not at all. Either way the file
    stays the stranger's, who may write there what he likes."""
    def make(place):
        place.write_text("42")
        give_away(place)

    assert wait_for_end(plant(host, make)) == 0
    assert ERRORS.stat().st_uid == STRANGER
    assert errors_file("other") == ("42" if protection("regular") else "0")


def test_a_hard_link_that_is_planted_while_the_service_runs(host):
    """fs.protected_hardlinks keeps a stranger from making one to a file that is not his."""
    victim = host.file("victim", "text")
    assert wait_for_end(plant(host, lambda place: os.link(victim, place))) == 0
    assert victim.read_text() == "0"


def test_a_fifo_of_a_stranger_that_is_planted_while_the_service_runs(host):
    """Without fs.protected_fifos the start waits until somebody reads."""
    def make(place):
        make_fifo(place).chmod(0o666)
        give_away(place)

    pid = plant(host, make)
    if not protection("fifos"):
        time.sleep(0.2)  # one that does not wait has ended by then
        assert read_from_waiting_writer(ERRORS) == b"0"
    assert wait_for_end(pid) == 0


def test_the_errors_file_gets_the_callers_umask(host):
    for umask, mode in (0, 0o664), (0o077, 0o600):
        host.control("--start-service", "--no-daemon=1", prepare=lambda: os.umask(umask))
        assert ERRORS.stat().st_mode & 0o777 == mode


# --- what is inherited, and what is followed ---

def test_descriptors_of_the_caller_reach_the_server(host):
    secret = host.file("secret")
    host.control("--start-service", prepare=lambda: os.dup2(os.open(secret, os.O_RDONLY), 7))
    assert host.report("other").fds[7] == str(secret)


def test_saving_through_a_link_replaces_and_gives_to_root_what_it_points_to(host):
    victim = host.file("victim", "text")
    give_away(victim)
    link = make_link(host.dir / "link", victim)
    host.run("--save-to-config-file", f"--file={host.file('new', 'new')}",
             f"--config-file={link}")
    assert (victim.read_text(), victim.stat().st_uid) == ("new", 0)

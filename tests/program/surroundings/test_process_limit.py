"""RLIMIT_NPROC, as an ordinary user: root is not held to it."""

import os
import resource
from pathlib import Path

import pytest

from commands import Outcome, ORDINARY, run

# Nobody else's, so that only the processes of the run itself are counted.
USER = 61234
REFUSED = "Resource temporarily unavailable\n"
UNABLE = "Unable to run as daemon\n"
FORKLESS = ("nothing", "help", "unknown", "check-install", "delete-file")


def is_mapped(user):
    ranges = [map(int, line.split()) for line in
              Path("/proc/self/uid_map").read_text().splitlines()]
    return any(first <= user < first + count for first, _, count in ranges)


def limited(processes):
    def become():
        os.setgroups([])
        os.setgid(USER)
        os.setuid(USER)
        resource.setrlimit(resource.RLIMIT_NPROC, (processes, processes))

    return become


@pytest.fixture
def user_host(open_host):
    if not is_mapped(USER):
        pytest.skip(f"user {USER} is not mapped in this user namespace")
    return open_host


def prepared(host):
    """What root made before and the user is to change."""
    for name in ("new", "old"):
        host.file(name).chmod(0o666)
    return host


# chown fails for an ordinary user, which is not examined.
NO_CHILD = {
    **{name: ORDINARY[name] for name in FORKLESS},
    "service-started": Outcome(1, REFUSED),
    "kill-service": Outcome(1, REFUSED),
    "reload": Outcome(1, REFUSED),
    "restart-service": Outcome(1, REFUSED),
    "config-file-content": Outcome(1, REFUSED),
    "save-to-config-file": Outcome(1, REFUSED, "old text\n"),
    "start-daemon": Outcome(1, UNABLE),
    "start-foreground": Outcome(1, REFUSED),
}


@pytest.mark.parametrize("name", NO_CHILD)
def test_no_child_at_all(user_host, name):
    assert run(prepared(user_host), name, prepare=limited(1)) == NO_CHILD[name]


# A child of root's server may not be signalled by this user, which is not examined either.
ONE_CHILD = {
    **{name: ORDINARY[name] for name in FORKLESS},
    "service-started": ORDINARY["service-started"],
    "kill-service": Outcome(),
    "reload": ORDINARY["reload"],
    "config-file-content": ORDINARY["config-file-content"],
    "save-to-config-file": ORDINARY["save-to-config-file"],
    # The program has run and ended with 0. The child that is to be the cat of the errors file
    # cannot fork the feeder of its text, and says so.
    "start-foreground": Outcome(0, REFUSED),
}


@pytest.mark.parametrize("name", ONE_CHILD)
def test_one_child_at_a_time(user_host, name):
    assert run(prepared(user_host), name, prepare=limited(2)) == ONE_CHILD[name]


def test_a_feeder_beside_the_child(user_host):
    outcome = run(prepared(user_host), "start-foreground", prepare=limited(3))
    assert outcome == ORDINARY["start-foreground"]


DAEMONS = ("start-daemon", "restart-service")


@pytest.mark.parametrize("name", DAEMONS)
def test_a_daemon_start_with_one_child_depends_on_who_has_ended(user_host, name):
    """The leader's fork is refused while the invoking process is still there. Either way the
    invoking process ends with 0, and the leader says what it could not do, or nothing."""
    for _ in range(20):
        outcome = run(prepared(user_host), name, prepare=limited(2))
        assert outcome in (Outcome(0, UNABLE), Outcome())


@pytest.mark.parametrize("name", DAEMONS)
def test_room_for_every_process_of_a_daemon_start(user_host, name):
    """The three that detach the service may all be there still when the service, the cat of its
    errors file and that one's feeder are."""
    for _ in range(20):
        outcome = run(prepared(user_host), name, prepare=limited(6))
        assert outcome == Outcome(0, "", "errors: 0")

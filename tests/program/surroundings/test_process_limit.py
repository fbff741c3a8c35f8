"""RLIMIT_NPROC: so many processes and not one more."""

import pytest

from commands import Outcome, ORDINARY, run
from limits import need_another_user, processes

REFUSED = "Resource temporarily unavailable\n"
UNABLE = "Unable to run as daemon\n"
FORKLESS = ("nothing", "help", "unknown", "check-install", "delete-file")


@pytest.fixture
def user_host(open_host):
    """What root made before and the user is to change."""
    need_another_user()
    for name in ("new", "old"):
        open_host.file(name).chmod(0o666)
    return open_host


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
    assert run(user_host, name, prepare=processes(1)) == NO_CHILD[name]


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
    assert run(user_host, name, prepare=processes(2)) == ONE_CHILD[name]


def test_a_feeder_beside_the_child(user_host):
    outcome = run(user_host, "start-foreground", prepare=processes(3))
    assert outcome == ORDINARY["start-foreground"]


DAEMONS = ("start-daemon", "restart-service")


@pytest.mark.parametrize("name", DAEMONS)
def test_a_daemon_start_with_one_child_depends_on_who_has_ended(user_host, name):
    """The leader's fork is refused while the invoking process is still there. Either way the
    invoking process ends with 0, and the leader says what it could not do, or nothing."""
    for _ in range(20):
        outcome = run(user_host, name, prepare=processes(2))
        assert outcome in (Outcome(0, UNABLE), Outcome())


@pytest.mark.parametrize("name", DAEMONS)
def test_room_for_every_process_of_a_daemon_start(user_host, name):
    """The three that detach the service may all be there still when the service, the cat of its
    errors file and that one's feeder are."""
    for _ in range(20):
        outcome = run(user_host, name, prepare=processes(6))
        assert outcome == Outcome(0, "", "errors: 0")

"""Standard streams that are closed, or that take nothing."""

import os

import pytest

from commands import ORDINARY, READERS, run
from host import wait_for_end

COMBINATIONS = [frozenset(stream for stream in range(3) if bits & 1 << stream)
                for bits in range(8)]


def closing(streams):
    return lambda: [os.close(stream) for stream in streams]


def expected(name, closed):
    """A pipe takes the lowest free numbers, and each end is closed before it is replaced.

    With 0 and 1 closed the capture's write end is 1 itself: the child closes it, so its cat has
    no standard output and fails. With either closed, the cat of the errors file loses its input
    (the read end is 0) or its output (the file is opened as 1): the file is made, and empty.
    The daemon's null streams fill all three places first.
    """
    outcome = ORDINARY[name]
    if name in READERS and {0, 1} <= closed:
        outcome = outcome.but(status=1, effect="")
    if name == "start-foreground" and {0, 1} & closed:
        outcome = outcome.but(effect="errors: ")
    return outcome.but(out="") if 1 in closed else outcome


@pytest.mark.parametrize("closed", COMBINATIONS, ids=lambda closed: f"closed{sorted(closed)}")
@pytest.mark.parametrize("name", ORDINARY)
def test_closed_streams(host, name, closed):
    assert run(host, name, prepare=closing(closed)) == expected(name, closed)


@pytest.mark.parametrize("closed", COMBINATIONS, ids=lambda closed: f"closed{sorted(closed)}")
def test_a_failed_program_is_reported_whichever_streams_are_closed(host, closed):
    host.act("other", "exit 3")
    outcome = run(host, "start-foreground", prepare=closing(closed))
    assert (outcome.status, outcome.out) == (1, "" if 1 in closed else "Service failed\n")


@pytest.mark.parametrize("closed", COMBINATIONS, ids=lambda closed: f"closed{sorted(closed)}")
def test_the_capture_of_an_empty_pid_file_leaves_the_daemon_three_null_streams(host, closed):
    host.file("pid")
    host.run("--start-service", f"--kav-dir={host.kav}", "--service=other",
             f"--service-pidfile={host.dir}/pid", prepare=closing(closed))
    if {0, 1} <= closed:
        assert host.reports("other") == []
        return
    (report,) = host.reports("other")
    assert {n: report.fds[n] for n in range(3)} == dict.fromkeys(range(3), "/dev/null")


@pytest.mark.parametrize("name", ORDINARY)
def test_standard_output_on_a_full_device(host, name):
    """What cannot be said is not an error: status and effect stay."""
    def fill_output():
        os.dup2(os.open("/dev/full", os.O_WRONLY), 1)

    assert run(host, name, prepare=fill_output) == ORDINARY[name].but(out="")


@pytest.mark.parametrize("name", ORDINARY)
def test_standard_output_in_a_pipe_that_nobody_reads(host, name):
    """With SIGPIPE ignored, as the harness leaves it, a broken pipe is like a full device."""
    def break_output():
        read, write = os.pipe()
        os.dup2(write, 1)
        os.close(read)

    assert run(host, name, prepare=break_output) == ORDINARY[name].but(out="")


def test_standard_output_that_is_not_read_is_waited_for(host):
    """A full pipe: the content is neither lost nor cut when the reader comes at last."""
    content = b"0123456789abcdef" * 65536
    read, write = os.pipe()
    os.set_inheritable(write, True)
    # Copied before the harness closes whatever is above 2 in the child.
    path = host.file("large", content)
    pid = host.start("--config-file-content", f"--file={path}",
                     prepare=lambda: os.dup2(os.open(f"/proc/{os.getppid()}/fd/{write}",
                                                     os.O_WRONLY), 1))
    received = bytearray(os.read(read, 1))
    os.close(write)
    while chunk := os.read(read, 65536):
        received += chunk
    os.close(read)
    assert wait_for_end(pid) == 0
    assert received == content

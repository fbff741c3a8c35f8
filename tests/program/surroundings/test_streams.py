"""Standard streams that are closed, or that take nothing."""

import os
import select
import signal
import socket

import pytest

from commands import ARGUMENTS, ORDINARY, READERS, fill, run
from host import BOUND, wait_for_end

each_combination = pytest.mark.parametrize(
    "closed", [{stream for stream in range(3) if bits & 1 << stream} for bits in range(8)],
    ids=lambda closed: f"closed{sorted(closed)}")


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


@each_combination
@pytest.mark.parametrize("name", ORDINARY)
def test_closed_streams(host, name, closed):
    assert run(host, name, prepare=closing(closed)) == expected(name, closed)


@each_combination
@pytest.mark.parametrize("pid_file", [(), ("--service-pidfile={dir}/pid",)], ids=["none", "empty"])
def test_a_daemon_has_three_null_streams(host, closed, pid_file):
    """Whatever place the capture of a pid file leaves its read end in."""
    host.file("pid")
    host.run(*fill(host, ARGUMENTS["start-daemon"] + pid_file), prepare=closing(closed))
    if pid_file and {0, 1} <= closed:
        assert host.reports("other") == []
        return
    fds = host.report("other").fds
    assert {n: fds[n] for n in range(3)} == dict.fromkeys(range(3), "/dev/null")
    assert len(fds) == 3 or pid_file


@pytest.mark.parametrize("letters", [1, 1_500, 100_000])
def test_an_answer_of_any_length_is_one_write(host, letters):
    """With its line feed: of two, whoever reads might see the first one alone. This kind of
    socket keeps apart what each write sends."""
    reader, writer = socket.socketpair(socket.AF_UNIX, socket.SOCK_SEQPACKET)
    name = "A" * letters
    pid = host.start(f"--{name}", out=writer.fileno())
    writer.close()
    with reader:
        writes = list(iter(lambda: reader.recv(1 << 20), b""))
    assert writes == [f"Unknown option '--{name}'\n".encode()]
    assert os.waitstatus_to_exitcode(wait_for_end(pid)) == 1


def full_output():
    os.dup2(os.open("/dev/full", os.O_WRONLY), 1)


def broken_output():
    read, write = os.pipe()
    os.dup2(write, 1)
    os.close(read)


@pytest.mark.parametrize("output", [full_output, broken_output])
@pytest.mark.parametrize("name", ORDINARY)
def test_standard_output_that_takes_nothing(host, name, output):
    """What cannot be said is not an error: status and effect stay. With SIGPIPE ignored, as the
    harness leaves it, a broken pipe is like a full device."""
    assert run(host, name, prepare=output) == ORDINARY[name].but(out="")


@pytest.mark.parametrize("blocked, status", [(set(), -signal.SIGPIPE), ({signal.SIGPIPE}, 0)])
def test_sigpipe_is_left_to_the_caller(host, blocked, status):
    """By default the program ends by it, as cat does."""
    def prepare():
        signal.signal(signal.SIGPIPE, signal.SIG_DFL)
        signal.pthread_sigmask(signal.SIG_BLOCK, blocked)
        broken_output()

    assert host.run(*fill(host, ARGUMENTS["check-install"]), prepare=prepare).status == status


def test_a_caller_that_reads_to_the_end_does_not_wait_for_the_service(host):
    """As cron and ssh without a terminal do."""
    host.act("other", f"serve {host.pid_file}")
    read, write = os.pipe()
    pid = host.start(*fill(host, ARGUMENTS["start-daemon"]), out=write)
    os.close(write)
    with open(read, "rb", buffering=0) as pipe:
        assert select.select([pipe], [], [], BOUND)[0]
        assert pipe.read(1) == b""
    assert wait_for_end(pid) == 0
    os.kill(host.pid(), signal.SIGTERM)
    host.settle()

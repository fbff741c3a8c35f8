"""Fifos: the program waits as the tool that it runs waits, and goes on when it goes on.

Each wait is seen from the fifo's other end, which can be opened only once this one is."""

import os
import stat

import pytest

from commands import ORDINARY, run
from host import Result, wait_for_end, wait_until
from special_files import make_fifo, read_from_waiting_writer, write_to_waiting_reader


@pytest.fixture
def fifo(host):
    return make_fifo(host.dir / "fifo")


def finish(host, pid):
    status = os.waitstatus_to_exitcode(wait_for_end(pid))
    host.settle()
    return Result(status, (host.dir / "out").read_bytes(), (host.dir / "err").read_bytes(), pid)


def is_running(pid):
    return os.waitpid(pid, os.WNOHANG) == (0, 0)


def control(host, command, fifo):
    return host.start(command, f"--kav-dir={host.kav}", "--service=other",
                      f"--service-pidfile={fifo}")


def test_as_pid_file(host, fifo):
    pid = control(host, "--service-started", fifo)
    assert is_running(pid)
    write_to_waiting_reader(fifo, b"0\n")
    result = finish(host, pid)
    assert (result.status, result.out) == (0, b"Service is started\n")
    assert host.calls() == [f"cat {fifo}"]


def test_as_pid_file_that_is_read_twice(host, fifo):
    """Each cat takes what it is given: the second one's text is the pid."""
    server = host.server(host.dir / "pid")
    pid = control(host, "--kill-service", fifo)
    write_to_waiting_reader(fifo, b"0\n")
    wait_until(lambda: len(host.calls()) == 2, "the second cat")
    assert is_running(pid)
    write_to_waiting_reader(fifo, f"{server}\n".encode())
    assert wait_for_end(pid) == 0
    assert wait_for_end(server) == 0


def test_as_the_file_that_is_shown(host, fifo):
    pid = host.start("--config-file-content", f"--file={fifo}")
    write_to_waiting_reader(fifo, b"text")
    result = finish(host, pid)
    assert (result.status, result.out, result.err) == (0, b"text", b"")


def test_as_the_source(host, fifo):
    old = host.file("old", "old")
    pid = host.start("--save-to-config-file", f"--file={fifo}", f"--config-file={old}")
    write_to_waiting_reader(fifo, b"new")
    assert finish(host, pid).status == 0
    assert old.read_text() == "new"


def test_as_the_file_that_is_replaced(host, fifo):
    new = host.file("new", "new")
    pid = host.start("--save-to-config-file", f"--file={new}", f"--config-file={fifo}")
    assert read_from_waiting_writer(fifo) == b"new"
    result = finish(host, pid)
    assert (result.status, result.out, result.err) == (0, b"", b"")
    assert stat.S_ISFIFO(fifo.stat().st_mode)


def test_as_the_file_that_is_deleted(host, fifo):
    """Removed without being opened, so nothing waits."""
    assert host.run("--delete-file", f"--file={fifo}").status == 0
    assert not fifo.exists()


@pytest.mark.parametrize("service", ["other", "parse_avstat.pl", "keepup2date"])
def test_as_the_services_configuration_file(host, fifo, service):
    """The name is passed on; the program alone opens it."""
    result = host.run("--start-service", f"--kav-dir={host.kav}", f"--service={service}",
                      f"--config-file={fifo}", "--no-daemon=1")
    assert (result.status, result.out) == (0, b"")
    assert host.calls()[0].endswith(str(fifo))


def test_as_the_server(host, fifo):
    host.remove("aveserver")
    fifo.rename(host.kav / "bin/aveserver")
    assert run(host, "check-install") == ORDINARY["check-install"]


def test_as_the_panel_configuration(host, panel_configuration):
    """The one file that the program opens by itself, and so waits for by itself."""
    make_fifo(panel_configuration)
    pid = host.start("--check-install", f"--kav-dir={host.kav}")
    assert is_running(pid)
    write_to_waiting_reader(panel_configuration, b"PRODUCT_ROOT_D /x\n")
    result = finish(host, pid)
    assert (result.status, result.out.decode()) == (0, ORDINARY["check-install"].out)

"""Fifos: the program waits as the tool that it runs waits, and goes on when it goes on.

Each wait is seen from the fifo's other end, which can be opened only once this one is. What does
not open the file, and so does not wait, is in test_special_files.py."""

import stat

import pytest

from commands import ORDINARY
from host import wait_until
from special_files import make_fifo, read_from_waiting_writer, write_to_waiting_reader


@pytest.fixture
def fifo(host):
    return make_fifo(host.dir / "fifo")


def control(host, command, fifo):
    return host.start(command, f"--kav-dir={host.kav}", "--service=other",
                      f"--service-pidfile={fifo}")


def test_as_pid_file(host, fifo):
    pid = control(host, "--service-started", fifo)
    write_to_waiting_reader(fifo, b"0\n")
    assert host.finish(pid).answer == (0, "Service is started\n")
    assert host.calls() == [f"cat {fifo}"]


def test_as_pid_file_that_is_read_twice(host, fifo):
    """Each cat takes what it is given: the second one's text is the pid."""
    server = host.server(host.dir / "pid")
    pid = control(host, "--kill-service", fifo)
    write_to_waiting_reader(fifo, b"0\n")
    wait_until(lambda: len(host.calls()) == 2, "the second cat")
    write_to_waiting_reader(fifo, f"{server}\n".encode())
    assert host.finish(pid).status == 0
    host.settle()
    assert (host.dir / "process.out").read_text() == "TERM\n"


def test_as_the_file_that_is_shown(host, fifo):
    pid = host.start("--config-file-content", f"--file={fifo}")
    write_to_waiting_reader(fifo, b"text")
    result = host.finish(pid)
    assert (result.answer, result.err) == ((0, "text"), b"")


def test_as_the_source(host, fifo):
    old = host.file("old", "old")
    pid = host.start("--save-to-config-file", f"--file={fifo}", f"--config-file={old}")
    write_to_waiting_reader(fifo, b"new")
    assert host.finish(pid).status == 0
    assert old.read_text() == "new"


def test_as_the_file_that_is_replaced(host, fifo):
    new = host.file("new", "new")
    pid = host.start("--save-to-config-file", f"--file={new}", f"--config-file={fifo}")
    assert read_from_waiting_writer(fifo) == b"new"
    result = host.finish(pid)
    assert (result.answer, result.err) == ((0, ""), b"")
    assert stat.S_ISFIFO(fifo.stat().st_mode)


def test_as_the_panel_configuration(host, panel_configuration):
    """The one file that the program opens by itself, and so waits for by itself."""
    make_fifo(panel_configuration)
    pid = host.start("--check-install", f"--kav-dir={host.kav}")
    write_to_waiting_reader(panel_configuration, b"PRODUCT_ROOT_D /x\n")
    assert host.finish(pid).answer == (0, ORDINARY["check-install"].out)

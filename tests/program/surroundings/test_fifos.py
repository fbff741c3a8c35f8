"""Fifos: the program waits as the tool that it runs waits, and goes on when it goes on.

Each wait is seen from the fifo's other end, which can be opened only once this one is. What does
not open the file, and so does not wait, is in test_special_files.py."""

from commands import ORDINARY
from special_files import make_fifo, write_to_waiting_reader


def test_as_pid_file(host):
    fifo = make_fifo(host.dir / "fifo")
    pid = host.start("--service-started", f"--kav-dir={host.kav}", "--service=other",
                     f"--service-pidfile={fifo}")
    write_to_waiting_reader(fifo, b"0\n")
    assert host.finish(pid).answer == (0, "Service is started\n")
    assert host.calls() == [f"cat {fifo}"]


def test_as_the_panel_configuration(host, panel_configuration):
    """The one file that the program opens by itself, and so waits for by itself."""
    make_fifo(panel_configuration)
    pid = host.start("--check-install", f"--kav-dir={host.kav}")
    write_to_waiting_reader(panel_configuration, b"PRODUCT_ROOT_D /x\n")
    assert host.finish(pid).answer == (0, ORDINARY["check-install"].out)

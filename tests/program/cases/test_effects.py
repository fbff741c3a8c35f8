"""What the commands do to files, and what the panel's configuration does not change."""

import os

import pytest

from commands import ORDINARY, Outcome, run
from special_files import give_away


def save(host, source, target):
    return host.run("--save-to-config-file", f"--file={source}", f"--config-file={target}")


@pytest.mark.parametrize("name", [*ORDINARY][3:])
def test_a_refused_command_line_does_nothing(host, name):
    before = "old text\n" if name == "save-to-config-file" else ""
    assert run(host, name, more=["-x"]) == Outcome(1, "Unknown option '-x'\n", before)
    assert host.calls() == []


@pytest.mark.parametrize("size, date", [(3 << 30, 0), (0, 1 << 32)])
def test_a_server_of_any_size_and_date_counts_as_installed(host, size, date):
    """More than 32 bits of either would make the question for its status fail."""
    os.truncate(host.kav / "bin/aveserver", size)
    os.utime(host.kav / "bin/aveserver", (date, date))
    assert host.run("--check-install", f"--kav-dir={host.kav}").status == 0


def test_saving_replaces_the_content_and_gives_it_to_root(host):
    source, target = host.file("new", "new\n"), host.file("conf", "old\n")
    give_away(target)
    group = target.stat().st_gid
    result = save(host, source, target)
    assert (result.answer, result.err) == ((0, ""), b"")
    assert target.read_text() == "new\n"
    assert (target.stat().st_uid, target.stat().st_gid) == (0, group)


def test_chown_waits_for_cp(host):
    """It finds the file that a slow cp makes."""
    host.act("cp", "sleep 0.2; exec /bin/cp")
    result = save(host, host.file("new", "new\n"), host.dir / "conf")
    assert (result.answer, result.err) == ((0, ""), b"")


@pytest.mark.parametrize("content", [
    "PRODUCT_ROOT_D /opt/zrc\n", "this line is=bad\nname\n=\n", "A " + "x" * 1_000_000,
], ids=["good", "bad", "long"])
@pytest.mark.parametrize("name", ["check-install", "delete-file"])
def test_the_panel_configuration_does_not_change_a_command(
        host, panel_configuration, name, content):
    panel_configuration.write_text(content)
    assert run(host, name) == ORDINARY[name]
    assert (host.dir / "err").read_text() == ""


def test_each_capture_leaves_one_descriptor_for_the_next_child(host):
    host.file("pid", "0")
    host.control("--kill-service", host.with_pid)
    # The read end of a capture's own pipe is closed in its child, an earlier one's is not.
    assert [sorted(cat.fds) for cat in host.reports("cat")] == [[0, 1, 2], [0, 1, 2, 3]]

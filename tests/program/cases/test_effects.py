"""What the commands do to files, and what the panel's configuration does not change."""

import os

import pytest

from commands import ORDINARY, Outcome, run
from special_files import give_away

COMMANDLESS = ("nothing", "help", "unknown")


def save(host, source, target):
    return host.run("--save-to-config-file", f"--file={source}", f"--config-file={target}")


def test_delete_file_removes_the_file(host):
    path = host.file("gone", "text")
    assert host.run("--delete-file", f"--file={path}").answer == (0, "")
    assert not path.exists()


@pytest.mark.parametrize("name", [name for name in ORDINARY if name not in COMMANDLESS])
def test_a_refused_command_line_does_nothing(host, name):
    before = "old text\n" if name == "save-to-config-file" else ""
    assert run(host, name, more=["-x"]) == Outcome(1, "Unknown option '-x'\n", before)
    assert host.calls() == []


def test_a_server_that_is_not_executable_counts_as_installed(host):
    (host.kav / "bin/aveserver").chmod(0)
    assert host.run("--check-install", f"--kav-dir={host.kav}").status == 0


def test_a_server_of_any_size_and_date_counts_as_installed(host):
    """More than 32 bits of either would make the question for its status fail."""
    os.truncate(host.kav / "bin/aveserver", 3 << 30)
    assert host.run("--check-install", f"--kav-dir={host.kav}").status == 0
    os.truncate(host.kav / "bin/aveserver", 0)
    os.utime(host.kav / "bin/aveserver", (1 << 32, 1 << 32))
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
    None,
    "",
    "PRODUCT_ROOT_D /opt/zrc\n",
    "this line is=bad\nname\n=\n",
    "A " + "x" * 1_000_000,
])
def test_the_panel_configuration_does_not_change_a_command(host, panel_configuration, content):
    if content is not None:
        panel_configuration.write_text(content)
    installed = host.run("--check-install", f"--kav-dir={host.kav}")
    deleted = host.run("--delete-file", f"--file={host.file('gone')}")
    assert (installed.answer, installed.err) == \
        ((0, "Kaspersky Anti-Virus server is installed\n"), b"")
    assert (deleted.answer, deleted.err) == ((0, ""), b"")


def test_each_capture_leaves_one_descriptor_for_the_next_child(host):
    host.file("pid", "0")
    host.run("--kill-service", f"--kav-dir={host.kav}", "--service=other",
             f"--service-pidfile={host.dir}/pid")
    first, second = host.reports("cat")
    # The read end of a capture's own pipe is closed in its child, an earlier one's is not.
    assert sorted(first.fds) == [0, 1, 2]
    assert sorted(second.fds) == [0, 1, 2, 3]

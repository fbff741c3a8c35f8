"""What the commands do to files, and what the panel's configuration does not change."""

import os
from pathlib import Path

import pytest


def test_delete_file_removes_the_file(host):
    path = host.file("gone", "text")
    result = host.run("--delete-file", f"--file={path}")
    assert (result.status, result.out) == (0, b"")
    assert not path.exists()


def test_delete_file_leaves_a_directory(host):
    assert host.run("--delete-file", f"--file={host.kav}").status == 0
    assert host.kav.is_dir()


def test_a_refused_command_line_deletes_nothing(host):
    path = host.file("kept", "text")
    assert host.run("--delete-file", f"--file={path}", "--bogus").status == 1
    assert path.read_text() == "text"


def test_a_directory_in_the_servers_place_counts_as_installed(host):
    host.remove("aveserver")
    (host.kav / "bin/aveserver").mkdir()
    result = host.run("--check-install", f"--kav-dir={host.kav}")
    assert (result.status, result.out) == (0, b"Kaspersky Anti-Virus server is installed\n")


def test_a_server_that_is_not_executable_counts_as_installed(host):
    (host.kav / "bin/aveserver").chmod(0)
    assert host.run("--check-install", f"--kav-dir={host.kav}").status == 0


def test_saving_replaces_the_content_and_gives_it_to_root(host):
    source, target = host.file("new", "new\n"), host.file("conf", "old\n")
    group = 4
    try:
        os.chown(target, 1, group)
    except PermissionError:
        pytest.skip("this user can give files to nobody")
    except OSError:
        pytest.skip("no other user is mapped here")
    result = host.run("--save-to-config-file", f"--file={source}", f"--config-file={target}")
    assert (result.status, result.out, result.err) == (0, b"", b"")
    assert target.read_text() == "new\n"
    assert (target.stat().st_uid, target.stat().st_gid) == (0, group)


def test_saving_a_source_that_does_not_exist_still_changes_the_owner(host):
    target = host.file("conf", "old\n")
    host.act("chown", "exit 0")
    result = host.run("--save-to-config-file", f"--file={host.dir}/none",
                      f"--config-file={target}")
    assert (result.status, result.out) == (0, b"")
    assert b"No such file or directory" in result.err
    assert target.read_text() == "old\n"
    assert host.calls()[-1] == f"chown root {target}"


def test_the_tools_wait_for_each_other(host):
    """chown starts only when cp has ended."""
    host.act("cp", f"exec {host.file('slow', SLOW)}")
    (host.dir / "slow").chmod(0o755)
    host.act("chown", f"exec {host.file('late', LATE)}")
    (host.dir / "late").chmod(0o755)
    host.run("--save-to-config-file", f"--file={host.dir}/a", f"--config-file={host.dir}/b")
    assert (host.dir / "b.order").read_text() == "cp ended\nchown\n"


SLOW = """#!/bin/sh
/bin/sleep 0.2
echo cp ended >> "$2.order"
"""
LATE = """#!/bin/sh
echo chown >> "$2.order"
"""

PANEL_CONFIGURATION = Path("/etc/zrc/zrc.conf")


@pytest.mark.parametrize("content", [
    None,
    "",
    "PRODUCT_ROOT_D /opt/zrc\n",
    "this line is=bad\nname\n=\n",
    "A " + "x" * 1_000_000,
])
def test_the_panel_configuration_does_not_change_a_command(host, content):
    if content is not None:
        PANEL_CONFIGURATION.write_text(content)
    try:
        installed = host.run("--check-install", f"--kav-dir={host.kav}")
        deleted = host.run("--delete-file", f"--file={host.file('gone')}")
    finally:
        PANEL_CONFIGURATION.unlink(missing_ok=True)
    assert (installed.status, installed.err) == (0, b"")
    assert installed.out == b"Kaspersky Anti-Virus server is installed\n"
    assert (deleted.status, deleted.out, deleted.err) == (0, b"", b"")


def test_a_directory_as_panel_configuration_changes_nothing(host):
    PANEL_CONFIGURATION.mkdir()
    try:
        result = host.run("--check-install", f"--kav-dir={host.kav}")
    finally:
        PANEL_CONFIGURATION.rmdir()
    assert (result.status, result.err) == (0, b"")


def test_the_tools_are_found_through_path_by_their_bare_names(host):
    host.run("--config-file-content", f"--file={host.file('conf', 'text')}")
    (cat,) = host.reports("cat")
    assert cat.argv == ["cat", f"{host.dir}/conf"]


def test_each_capture_leaves_one_descriptor_for_the_next_child(host):
    host.file("pid", "0")
    host.run("--kill-service", f"--kav-dir={host.kav}", "--service=other",
             f"--service-pidfile={host.dir}/pid")
    first, second = host.reports("cat")
    # The read end of a capture's own pipe is closed in its child, an earlier one's is not.
    assert sorted(first.fds) == [0, 1, 2]
    assert sorted(second.fds) == [0, 1, 2, 3]

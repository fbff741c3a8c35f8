"""The role on one host: the states it brings a service to, and what it installs."""

import os
import shutil
import subprocess

import pytest

from conftest import ROOT, SERVICE

PACKAGE = """Package: avmanager
Version: {version}
Architecture: all
Maintainer: nobody <nobody@localhost>
Description: a package of the test
"""


def changed(run):
    assert run.status == 0
    return run.counted("h1")["changed"]


@pytest.mark.parametrize("check", [[], ["--check"]], ids=["run", "check"])
def test_each_state_changes_exactly_what_is_not_so(one, check):
    def state(name):
        return changed(one.role(*check, avmanager_state=name, **SERVICE))

    def pid():
        return one.on("h1", "cat", "/opt/kav/pid", check=False)

    first = pid()
    assert [state("asked"), state("started"), pid()] == [0, 0, first]
    assert [state("reloaded"), pid()] == [1, first]
    if check:
        assert [state("restarted"), state("stopped"), pid()] == [1, 1, first]
        assert one.level("h1")[0] == "started, level low"
        return
    assert one.level("h1")[0] == "reloaded, level low"
    assert state("restarted") == 2
    second = pid()
    assert second not in (first, "")
    assert [state("stopped"), pid(), state("stopped"), state("asked")] == [1, "", 0, 0]
    assert [state("reloaded"), state("started")] == [1, 0]
    assert pid() not in (second, "")


def test_a_service_that_ends_at_its_start_fails_with_its_exit_code(one):
    changed(one.role(avmanager_state="stopped", **SERVICE))
    one.on("h1", "rm", "/opt/kav/conf")
    run = one.role(avmanager_state="started", avmanager_patience=2, **SERVICE)
    assert run.status != 0
    assert "aveserver ended with exit code 2" in run.out


def test_a_new_configuration_is_told_to_the_service_by_a_restart_or_a_reload(one):
    told = {**SERVICE, "avmanager_state": "started"}
    high = {"avmanager_config_source": str(one.configuration("high"))}
    low = {"avmanager_config_source": str(one.configuration("low", level="low"))}
    assert changed(one.role(**told, **high)) == 3  # the copy, the configuration, the reload
    assert one.level("h1") == ("reloaded, level high", "Level high")
    assert changed(one.role(**told, **high)) == 0
    assert changed(one.role(**told, **low, avmanager_apply="restart")) == 4
    assert one.level("h1") == ("started, level low", "Level low")
    assert one.files("h1") == {"bin", "conf", "conf.before", "log", "pid"}


def test_a_configuration_is_compared_to_the_last_byte(one):
    told = {**SERVICE, "avmanager_state": "asked"}
    source = one.folder / "source"
    for text in (b"a\n", b"a", b"\n\na\n\n", b"[1, 2]\n", b"{{ a }} \xc3\xa9 'b' \"c\"\n"):
        source.write_bytes(text)
        assert changed(one.role(**told, avmanager_config_source=str(source))) == 2
        assert one.on("h1", "cat", "/opt/kav/conf").encode() == text
        assert changed(one.role(**told, avmanager_config_source=str(source))) == 0


def test_where_there_was_no_configuration_none_is_kept_and_root_owns_the_new_one(one):
    one.on("h1", "sh", "-c", "rm /opt/kav/conf; echo older >/opt/kav/conf.before")
    source = str(one.configuration("source"))
    assert changed(one.role(**SERVICE, avmanager_state="asked", avmanager_config_source=source)) == 1
    assert one.files("h1") == {"bin", "conf", "log", "pid"}
    assert one.on("h1", "stat", "-c", "%U %a", "/opt/kav/conf") == "root 600\n"


def test_a_save_that_fails_is_seen_though_the_program_says_nothing(one):
    """The disk of the configuration is full: the copy is cut short, and nothing is saved."""
    one.on("h1", "sh", "-c", "mkdir /small && mount -t tmpfs -o size=64k small /small &&"
           "head -c 30000 /dev/zero | tr '\\0' a >/small/conf && head -c 20000 /dev/zero >/small/x")
    told = SERVICE | {"avmanager_config_file": "/small/conf", "avmanager_state": "asked"}
    run = one.role(**told, avmanager_config_source=str(one.configuration("source")))
    assert run.status != 0
    assert "/small/conf.before is not whole" in run.out
    assert one.on("h1", "cat", "/small/conf") == "a" * 30000


def test_another_service_is_restarted_without_an_overlap(one):
    one.on("h1", "sh", "-c", "cp /opt/kav/bin/aveserver /opt/kav/bin/other &&"
           "sed -i 's/note(.ended.)/sleep 6; note(\"ended\")/' /opt/kav/bin/other")
    changed(one.role(avmanager_state="stopped", **SERVICE))
    told = SERVICE | {"avmanager_service": "other", "avmanager_apply": "restart",
                      "avmanager_patience": 30}
    assert changed(one.role(avmanager_state="started", **told)) == 1
    assert changed(one.role(avmanager_state="restarted", **told)) == 2
    log = one.on("h1", "cat", "/opt/kav/log").splitlines()
    assert log[-3:] == ["started, level low", "ended", "started, level low"]
    refused = one.role(avmanager_state="reloaded", **told)
    assert refused.status != 0 and refused.counted("h1")["changed"] == 0


def package(folder, version):
    """A package with the program of this build."""
    tree = folder / "tree"
    (tree / "DEBIAN").mkdir(parents=True, exist_ok=True)
    (tree / "DEBIAN/control").write_text(PACKAGE.format(version=version))
    (tree / "usr/sbin").mkdir(parents=True, exist_ok=True)
    shutil.copy(os.environ["AVMANAGER"], tree / "usr/sbin/avmanager")
    path = folder / f"avmanager_{version}_all.deb"
    subprocess.run(["dpkg-deb", "--build", tree, path], check=True, capture_output=True)
    return str(path)


def test_a_package_is_installed_once(one):
    one.on("h1", "rm", "/usr/sbin/avmanager")
    told = SERVICE | {"avmanager_state": "asked", "avmanager_package": package(one.folder, "1.0")}
    assert one.role("--check", **told).status == 0
    assert "avmanager" not in one.on("h1", "ls", "/usr/sbin").split()
    assert changed(one.role(**told)) == 2
    assert one.on("h1", "dpkg-query", "-W", "-f", "${Version}", "avmanager") == "1.0"
    assert changed(one.role(**told)) == 0
    assert changed(one.role(**told | {"avmanager_package": package(one.folder, "1.1")})) == 2


def test_a_program_file_is_installed_once(one):
    one.on("h1", "rm", "/usr/sbin/avmanager")
    told = SERVICE | {"avmanager_state": "asked",
                      "avmanager_program_source": os.environ["AVMANAGER"]}
    assert changed(one.role("--check", **told)) == 1
    assert [changed(one.role(**told)), changed(one.role(**told))] == [1, 0]
    assert one.on("h1", "stat", "-c", "%U %G %a", "/usr/sbin/avmanager") == "root root 755\n"


def test_the_engine_documents_every_argument():
    shown = subprocess.run(["ansible-doc", "-r", ROOT / "fleet/roles", "-t", "role", "avmanager"],
                           capture_output=True, text=True, check=True).stdout
    entries = shown.split("ENTRY POINT: ")[1:]
    tasks = {path.stem for path in (ROOT / "fleet/roles/avmanager/tasks").glob("*.yml")}
    described = {entry.split()[0].strip("*`") for entry in entries}
    assert tasks - described == {"change", "start_now", "stop_now"}
    defaults = (ROOT / "fleet/roles/avmanager/defaults/main.yml").read_text()
    assert all(line.split(":")[0] in shown for line in defaults.splitlines()[1:])

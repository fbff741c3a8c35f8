"""The role and the modules on one host: the states they bring a service to, and what is installed."""

import os
import shutil
import subprocess

import pytest

from conftest import AS_NEW, SERVICE, wait_until

PACKAGE = """Package: avmanager
Version: {version}
Architecture: all
Maintainer: nobody <nobody@localhost>
Description: a package of the test
"""
WITH_A_CHANGE = AS_NEW | {"conf.before", "conf.rollout"}


def changed(run):
    assert run.status == 0
    return run.counted("h1")["changed"]


def pid(one):
    return one.on("h1", "cat", "/opt/kav/pid", check=False)


@pytest.mark.parametrize("check", [[], ["--check"]], ids=["run", "check"])
def test_each_state_changes_exactly_what_is_not_so(one, check):
    def states(*names):
        tasks = [{"zarnic.avmanager.service": {name[10:]: value for name, value in SERVICE.items()}
                  | {"state": name}} for name in names]
        return changed(one.tasks(*check, tasks=tasks))

    first = pid(one)
    assert [states("started", "started"), pid(one)] == [0, first]
    if check:
        assert [states("restarted", "stopped", "reloaded"), pid(one)] == [3, first]
        assert one.level("h1")[0] == "started, level low"
        return
    assert [states("reloaded"), pid(one), one.level("h1")[0]] == [1, first, "reloaded, level low"]
    assert states("restarted") == 1
    second = pid(one)
    assert second not in (first, "")
    assert [states("stopped", "stopped"), pid(one)] == [1, ""]
    assert [states("reloaded", "started"), pid(one) not in (second, "")] == [1, True]


def test_a_crash_that_left_its_pid_file_is_no_running_service(one):
    one.on("h1", "sh", "-c", "kill -9 $(cat /opt/kav/pid)")
    left = pid(one)
    assert changed(one.role()) == 1
    assert pid(one) != left


def test_a_service_that_ends_at_its_start_fails_with_its_exit_code(one):
    assert changed(one.role(avmanager_state="stopped")) == 1
    one.on("h1", "rm", "/opt/kav/conf")
    run = one.role(avmanager_patience=2)
    assert run.status != 0 and "aveserver ended with exit code 2" in run.out


def test_a_new_configuration_is_told_to_the_service_by_a_restart_or_a_reload(one):
    high = {"avmanager_config_source": one.configuration("high")}
    low = {"avmanager_config_content": "PidFile /opt/kav/pid\nLog /opt/kav/log\nLevel low\n"}
    assert changed(one.role(**high)) == 1
    assert one.level("h1") == ("reloaded, level high", "Level high")
    assert changed(one.role(**high)) == 0
    assert changed(one.role(**low, avmanager_state="restarted")) == 1
    assert one.level("h1") == ("started, level low", "Level low")
    assert one.files("h1") == WITH_A_CHANGE
    assert changed(one.role(**high, avmanager_state="stopped")) == 2
    assert (pid(one), one.level("h1")[1]) == ("", "Level high")


def test_a_configuration_is_compared_to_the_last_byte(one):
    told = {"avmanager_apply": "restart", "avmanager_state": "stopped"}
    source = one.folder / "source"
    for text in (b"a\n", b"a", b"\n\na\n\n", b"[1, 2]\n", b"{{ a }} \xc3\xa9 'b' \"c\"\n", b"\xff\n"):
        source.write_bytes(text)
        assert changed(one.role(**told, avmanager_config_source=str(source))) >= 1
        seen = one.on("h1", "od", "-An", "-tx1", "-v", "/opt/kav/conf")
        assert bytes.fromhex(seen) == text
    assert changed(one.role(**told, avmanager_config_source=str(source))) == 0


def test_a_vaults_file_is_a_configuration_too(one):
    source = one.configuration("secret")
    word = one.folder / "word"
    word.write_text("open\n")
    subprocess.run(["ansible-vault", "encrypt", "--vault-password-file", word, source], check=True,
                   capture_output=True)
    assert changed(one.role("--vault-password-file", str(word), avmanager_config_source=source)) == 1
    assert one.level("h1") == ("reloaded, level high", "Level high")


def test_where_there_was_no_configuration_none_is_kept_and_root_owns_the_new_one(one):
    one.on("h1", "sh", "-c", "rm /opt/kav/conf; echo older >/opt/kav/conf.before")
    assert changed(one.role(avmanager_config_source=one.configuration("source"))) == 1
    assert one.files("h1") == AS_NEW | {"conf.rollout"}
    assert one.on("h1", "stat", "-c", "%U %a", "/opt/kav/conf") == "root 600\n"


def test_of_two_services_only_the_changed_one_is_told(one):
    """One by one and without an overlap: the other is slow to end."""
    one.on("h1", "sh", "-c", """cd /opt/kav
        sed 's/note(.ended.)/sleep 3; note("ended")/' bin/aveserver >bin/other; chmod 755 bin/other
        sed 's,/opt/kav/pid,/opt/kav/other.pid,; s,/log,/other.log,' conf >other.conf""")
    other = {"service": "other", "pid_file": "/opt/kav/other.pid", "config_file": "/opt/kav/other.conf",
             "apply": "restart"}
    assert changed(one.role(avmanager_services=[{}, other])) == 1
    before, told = one.level("h1")[0], {"config_source": one.configuration("new")}
    both = [told, other | {"config_content": "PidFile /opt/kav/other.pid\nLog /opt/kav/other.log\nLevel b\n"}]
    assert changed(one.role(avmanager_services=[{}, both[1]])) == 1
    assert one.on("h1", "tail", "-n", "3", "/opt/kav/other.log") == \
        "started, level low\nended\nstarted, level b\n"
    assert one.level("h1")[0] == before
    assert changed(one.role(avmanager_services=both)) == 1
    assert one.level("h1")[0] == "reloaded, level high"
    refused = one.role(avmanager_services=[other | {"state": "reloaded"}])
    assert refused.status != 0 and "Only aveserver can be reloaded" in refused.out


def test_a_handler_and_a_misspelt_argument(one):
    restarts = [{"ansible.builtin.command": "true", "notify": "Restart the anti-virus server"}]
    first = pid(one)
    assert changed(one.tasks(vars=SERVICE, roles=["zarnic.avmanager.avmanager"], tasks=restarts)) == 2
    assert pid(one) != first
    refused = one.role(avmanager_configsource="/a")
    assert refused.status != 0 and "unknown: avmanager_configsource" in refused.out


def test_a_user_without_rights_is_told_what_is_missing(one):
    one.on("h1", "useradd", "--create-home", "nobodys")
    run = one.tasks(tasks=[{"zarnic.avmanager.service_info": {"kav_dir": "/a", "pid_file": "/b"},
                            "become": True, "become_user": "nobodys", "become_method": "su"}])
    assert run.status != 0 and "set 'become: true'" in run.out


def package(folder, version):
    """A package with the program of this build."""
    tree = folder / "tree"
    (tree / "DEBIAN").mkdir(parents=True, exist_ok=True)
    (tree / "DEBIAN/control").write_text(PACKAGE.format(version=version))
    (tree / "usr/sbin").mkdir(parents=True, exist_ok=True)
    shutil.copy(os.environ["AVMANAGER"], tree / "usr/sbin/avmanager")
    path = folder / f"avmanager_{version}_all.deb"
    subprocess.run(["dpkg-deb", "--build", tree, path], check=True, capture_output=True)
    return {"avmanager_package": str(path)}


def test_a_package_is_installed_once_and_goes_back_only_when_told(one):
    def version():
        return one.on("h1", "dpkg-query", "-W", "-f", "${Version}", "avmanager", check=False)

    one.on("h1", "rm", "/usr/sbin/avmanager")
    old, new = package(one.folder, "1.0"), package(one.folder, "1.1")
    assert one.role("--check", **new).status == 0
    assert "avmanager" not in one.on("h1", "ls", "/usr/sbin").split()
    assert [changed(one.role(**new)), version(), changed(one.role(**new))] == [2, "1.1", 0]
    assert [changed(one.role("--tags", "install", **old)), version()] == [1, "1.1"]
    assert [changed(one.role(**old, avmanager_downgrade=True)), version()] == [1, "1.0"]


def test_a_package_of_a_repository_has_a_version(one):
    package(one.folder, "1.0")
    package(one.folder, "1.1")
    given = subprocess.run("dpkg-scanpackages -m . >Packages 2>/dev/null; tar -c *.deb Packages", shell=True,
                           cwd=one.folder, check=True, capture_output=True).stdout
    one.on("h1", "sh", "-c", """mkdir /srv/packages && cd /srv/packages && tar -x &&
        echo 'deb [trusted=yes] file:/srv/packages ./' >/etc/apt/sources.list && rm -rf /etc/apt/sources.list.d &&
        apt-get update""", given=given)
    told = {"avmanager_package": "avmanager", "avmanager_version": "1.0"}
    assert [changed(one.role(**told)), changed(one.role(**told))] == [1, 0]
    assert changed(one.role(**told | {"avmanager_version": "1.1"})) == 1


def test_a_program_file_is_installed_once(one):
    one.on("h1", "rm", "/usr/sbin/avmanager")
    told = {"avmanager_program_source": os.environ["AVMANAGER"]}
    assert one.role("--check", "--tags", "install", **told).counted("h1")["changed"] == 1
    assert [changed(one.role(**told)), changed(one.role(**told))] == [1, 0]
    assert one.on("h1", "stat", "-c", "%U %G %a", "/usr/sbin/avmanager") == "root root 755\n"

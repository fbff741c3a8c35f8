"""The rolling play, over ssh: what it does to each host, and what it says of it."""

import os
import subprocess

import pytest

from conftest import AS_NEW, wait_until

LOW = ("started, level low", "Level low")
HIGH = ("reloaded, level high", "Level high")
GONE = "rolled back, failed: Reload the service: Service reloading failed"
HANGS = 'note("reloaded, level $config{Level}");'


def broken(fleet, *names):
    """Gives hosts a configuration with which their server ends at the reload."""
    source = fleet.configuration("broken", log="/nowhere/log")
    for name in names:
        fleet.tell(name, avmanager_config_source=source)


def test_all_are_done_but_two_and_a_second_run_changes_nothing(fleet):
    """One cannot bear its configuration, and one cannot be reached."""
    broken(fleet, "h5")
    good = {"h1", "h2", "h4", "h6"}
    subprocess.run(["ip", "link", "set", "h3", "down"], check=True)
    try:
        rolled = fleet.roll(avmanager_batches=[1, 2, 3])
    finally:
        subprocess.run(["ip", "link", "set", "h3", "up"], check=True)
    assert rolled.status != 0 and f"h5 {GONE}" in rolled.out
    expected = dict.fromkeys(good, "done") | {"h3": "unreachable", "h5": GONE}
    assert fleet.report() == expected
    assert {name: fleet.level(name) for name in fleet.names} == dict.fromkeys(good, HIGH) | {
        "h3": LOW, "h5": LOW}
    assert fleet.files("h1") == fleet.files("h5") == AS_NEW | {"conf.before", "conf.rollout"}
    assert fleet.on("h1", "tail", "-n", "1", "/opt/kav/conf.before") == "Level low\n"

    second = fleet.roll(avmanager_batches=[6], avmanager_hosts="h1:h2:h4:h6")
    assert second.status == 0
    assert fleet.report() == dict.fromkeys(good, "nothing to do")
    assert {second.counted(name)["changed"] for name in good} == {0}


def test_a_host_that_cannot_be_rolled_back_stays_locked_for_a_person(few):
    """And the canary that fails stops the play."""
    few.replace_server("h1", HANGS, "$SIG{TERM} = 'IGNORE'; sleep 60 while 1;")
    told = {"avmanager_batches": [1, 2], "avmanager_patience": 2}
    few.roll(**told)
    assert few.report() == dict.fromkeys(few.names, "not begun") | {
        "h1": "NOT ROLLED BACK, failed: Let the service prove that it works: exit status 1; "
              "Stop the service: aveserver still runs 2 seconds after SIGTERM"}

    assert few.roll(**told).status != 0
    assert few.report()["h1"].startswith("left out: /opt/kav/conf.lock exists since ")
    assert "NOT ROLLED BACK" in few.report()["h1"]
    for part in ("install", "configure", "service"):
        role = few.role("--tags", part, avmanager_program_source="/usr/bin/true")
        assert role.counted("h1")["failed"] == 1 and "/opt/kav/conf.lock exists" in role.out

    few.on("h1", "sh", "-c", "kill -9 $(cat /opt/kav/pid)")
    assert few.roll(avmanager_take_over=True, **told).status == 0
    assert few.report() == dict.fromkeys(few.names, "done")
    assert few.level("h1") == ("started, level high", "Level high")
    assert "conf.lock" not in few.files("h1")


@pytest.mark.parametrize("allowed, last", [(1, "not begun"), (2, "done")])
def test_the_play_stops_after_too_many_failures(fleet, allowed, last):
    broken(fleet, "h2", "h3")
    assert fleet.roll(avmanager_hosts="h1:h2:h3:h4:h5", avmanager_batches=[1, 3, 1],
                      avmanager_failures=allowed).status != 0
    assert fleet.report() == {"h1": "done", "h2": GONE, "h3": GONE, "h4": "done", "h5": last}


def test_a_check_run_foretells_and_changes_nothing(few):
    few.on("h2", "sh", "-c", "kill $(cat /opt/kav/pid)")
    wait_until(lambda: "pid" not in few.files("h2"))
    few.report_file.write_text("kept\n")

    def seen():
        return few.each(lambda name: few.on(name, "ls", "-lR", "--time-style=full-iso", "/opt/kav"))

    before = seen()
    told = few.roll("--check", "--diff", "-v", avmanager_batches=[3])
    assert told.status == 0
    assert told.out.count("-Level low\n+Level high\n") == 3
    assert told.out.count("aveserver would be reloaded") == 2
    assert told.out.count("aveserver would be started") == 1
    assert [told.counted(name)["changed"] for name in few.names] == [1, 1, 1]
    assert seen() == before
    assert few.report_file.read_text() == "kept\n"
    assert "Level" not in few.roll("--check", "--diff", avmanager_show_diff=False).out


@pytest.mark.parametrize("wrong, told", [
    ({"avmanager_patience": "soon"}, "argument 'patience' is of type"),
    ({"avmanager_apply": "replace"}, "value of apply must be one of: reload, restart"),
    ({"avmanager_kav_dir": "kav"}, "kav_dir is not an absolute path"),
    ({"avmanager_proof": {}}, "argument 'proof' is of type"),
    ({"avmanager_service": "other"}, "Only aveserver can be reloaded"),
    ({"avmanager_configsource": "/a"}, "unknown arguments: ['avmanager_configsource']"),
    ({"avmanager_config_source": "/nowhere"}, "'/nowhere'")], ids=str)
def test_a_wrong_argument_is_refused_before_anything_is_done(one, wrong, told):
    refused = one.roll(**wrong)
    assert refused.status != 0 and told in refused.out
    assert (refused.counted("h1")["changed"], one.files("h1")) == (0, AS_NEW)
    assert one.report() == {"h1": "not finished"}


def test_a_program_is_installed_first_and_its_failure_has_a_line(one):
    assert one.roll(avmanager_program_source="/nowhere").status != 0
    assert one.report()["h1"].startswith("failed: Install the program file: Could not find or access '/nowhere'")
    assert one.files("h1") == AS_NEW
    one.on("h1", "rm", "/usr/sbin/avmanager")
    assert one.roll().status != 0
    assert one.report() == {"h1": "failed: Ask how the service was found: "
                                  "[Errno 2] No such file or directory: '/usr/sbin/avmanager'"}
    assert one.roll(avmanager_program_source=os.environ["AVMANAGER"]).status == 0


def test_hosts_and_batches_are_heard_only_where_they_are_named(few):
    few.tell("all", avmanager_config_source=few.configuration("new"), avmanager_hosts="h1")
    refused = few.roll(avmanager_hosts=None)
    assert refused.status != 0 and "name some by -e avmanager_hosts=HOSTS" in refused.out
    few.tell("h1", avmanager_batches=[3])
    refused = few.roll()
    assert refused.status != 0 and "unknown arguments: ['avmanager_batches but by -e']" in refused.out
    assert few.files("h1") == AS_NEW


def test_a_report_and_a_configuration_are_found_from_the_folder_of_the_engines_start(one, monkeypatch):
    monkeypatch.chdir(one.folder)
    one.configuration("mine")
    assert one.roll(avmanager_report="said", avmanager_config_source="mine").status == 0
    assert (one.folder / "said").read_text() == "h1 done\n"


@pytest.mark.parametrize("way", ["ansible-playbook", "ansible-pull"])
def test_a_host_pulls_by_the_same_play(one, way):
    """The engine on the host itself, with a connection to itself."""
    repository = one.folder / "repository"
    repository.mkdir()
    (repository / "site.yml").write_text('[{"import_playbook": "zarnic.avmanager.rolling"}]')
    one.configuration("repository/new")
    subprocess.run(f"""cd {repository} && git init -q && git add . &&
        git -c user.name=a -c user.email=a commit -qm a""", shell=True, check=True)
    given = subprocess.run(["tar", "-C", "/", "-ch", f"{repository}"[1:],
                            "run/fleet/collections"], capture_output=True, check=True).stdout
    told = ("-i h1, -c local -e avmanager_hosts=h1 -e avmanager_report=/srv/report -e avmanager_kav_dir=/opt/kav "
            "-e avmanager_pid_file=/opt/kav/pid -e avmanager_config_file=/opt/kav/conf "
            f"-e avmanager_config_source={repository}/new -e ansible_python_interpreter=/usr/bin/python3")
    started = {"ansible-playbook": "ansible-playbook zarnic.avmanager.rolling",
               "ansible-pull": f"ansible-pull -d /srv/pulled -U {repository} site.yml"}[way]
    one.on("h1", "tar", "-C", "/", "-x", given=given)
    print(one.on("h1", "sh", "-c", f"HOME=/srv ANSIBLE_COLLECTIONS_PATH=/run/fleet/collections {started} {told}"))
    assert one.on("h1", "cat", "/srv/report") == "h1 done\n"
    assert one.level("h1") == HIGH

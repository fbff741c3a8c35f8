"""The rolling play, over ssh: what it does to each host, and what it says of it."""

import subprocess

import pytest

from conftest import HOSTS, wait_until

FEW = "h1:h2:h3:h4:h5"
LOW = ("started, level low", "Level low")
HIGH = ("reloaded, level high", "Level high")
GONE = "rolled back, failed: Reload the service: Service reloading failed"
HANGS = 'note("reloaded, level $config{Level}");'


def broken(fleet, *names):
    """Gives hosts a configuration with which their server ends at the reload."""
    source = fleet.configuration("broken", log="/nowhere/log")
    for name in names:
        fleet.tell(name, avmanager_config_source=str(source))


def test_all_twelve_are_done_and_a_second_run_changes_nothing(fleet):
    assert fleet.roll(avmanager_batches=[1, 4, 7]).status == 0
    assert fleet.report() == dict.fromkeys(fleet.names, "done")
    assert {fleet.level(name) for name in fleet.names} == {HIGH}
    assert all({"conf.before"} == fleet.files(name) - {"bin", "conf", "log", "pid"}
               for name in fleet.names)
    assert fleet.on("h1", "tail", "-n", "1", "/opt/kav/conf.before") == "Level low\n"

    second = fleet.roll(avmanager_batches=[12])
    assert second.status == 0
    assert fleet.report() == dict.fromkeys(fleet.names, "nothing to do")
    assert {second.counted(name)["changed"] for name in fleet.names} == {0}


def test_a_host_that_cannot_bear_the_configuration_is_rolled_back(fleet):
    broken(fleet, "h5")
    rolled = fleet.roll(avmanager_batches=[1, 5, 6])
    assert rolled.status != 0
    assert f"h5 {GONE}" in rolled.out
    assert fleet.report() == dict.fromkeys(fleet.names, "done") | {"h5": GONE}
    assert fleet.level("h5") == LOW
    assert {fleet.level(name) for name in fleet.names if name != "h5"} == {HIGH}
    assert "conf.lock" not in fleet.files("h5")


def test_a_host_that_cannot_be_reached_is_left_out(few):
    subprocess.run(["ip", "link", "set", "h3", "down"], check=True)
    try:
        rolled = few.roll(avmanager_hosts=FEW, avmanager_batches=[1, 4])
    finally:
        subprocess.run(["ip", "link", "set", "h3", "up"], check=True)
    assert rolled.status != 0
    assert few.report() == dict.fromkeys(few.names, "done") | {"h3": "unreachable"}
    assert few.level("h3") == LOW
    assert few.level("h4") == HIGH


def test_a_server_that_hangs_at_the_reload_is_seen_by_its_proof(few):
    few.replace_server("h4", HANGS, "sleep 60 while 1;")
    assert few.roll(avmanager_hosts=FEW, avmanager_batches=[1, 4], avmanager_patience=3).status != 0
    assert few.report() == dict.fromkeys(few.names, "done") | {
        "h4": "rolled back, failed: Let the service prove that it works: non-zero return code"}
    assert few.level("h4") == LOW


def test_a_host_that_cannot_be_rolled_back_stays_locked_for_a_person(few):
    few.replace_server("h1", HANGS, "$SIG{TERM} = 'IGNORE'; sleep 60 while 1;")
    told = {"avmanager_hosts": FEW, "avmanager_batches": [1, 4], "avmanager_patience": 3}
    few.roll(**told)
    stays = ("NOT ROLLED BACK, failed: Let the service prove that it works: non-zero return code; "
             "Refuse a service that stays: aveserver still runs 3 seconds after SIGTERM, "
             "or has left /opt/kav/pid behind")
    assert few.report() == dict.fromkeys(few.names, "not begun") | {"h1": stays}

    few.roll(**told)
    assert few.report()["h1"].startswith("left out: ")
    assert "/opt/kav/conf.lock" in few.report()["h1"]

    few.on("h1", "sh", "-c", "kill -9 $(cat /opt/kav/pid); rm /opt/kav/pid")
    assert few.roll(avmanager_take_over=True, **told).status == 0
    assert few.report() == dict.fromkeys(few.names, "done")
    assert few.level("h1") == ("started, level high", "Level high")
    assert "conf.lock" not in few.files("h1")


def test_the_play_stops_after_a_canary_that_fails(fleet):
    broken(fleet, *fleet.names)
    assert fleet.roll(avmanager_batches=[1, 11]).status != 0
    assert fleet.report() == dict.fromkeys(fleet.names, "not begun") | {"h1": GONE}
    assert {fleet.level(name) for name in fleet.names} == {LOW}


@pytest.mark.parametrize("allowed, last", [(1, "not begun"), (2, "done")])
def test_the_play_stops_after_too_many_failures(few, allowed, last):
    broken(few, "h2", "h3")
    assert few.roll(avmanager_hosts=FEW, avmanager_batches=[1, 3, 1],
                    avmanager_failures=allowed).status != 0
    assert few.report() == {"h1": "done", "h2": GONE, "h3": GONE, "h4": "done", "h5": last}


def test_of_two_plays_at_once_the_second_leaves_the_host_out(few):
    first = few.begin(avmanager_hosts="h1")
    wait_until(lambda: "conf.lock" in few.files("h1"))
    other = few.configuration("other", level="medium")
    few.report_file = few.folder / "second"
    assert few.roll(avmanager_hosts="h1:h2", avmanager_config_source=str(other)).status != 0
    report = few.report()
    first.communicate()
    assert first.returncode == 0
    assert report["h1"].startswith("left out: ") and "conf.lock" in report["h1"]
    assert report["h2"] == "not begun"
    assert few.level("h1") == HIGH


def test_a_play_that_was_killed_leaves_its_lock_and_is_taken_over(few):
    play = few.begin(avmanager_hosts="h1")
    wait_until(lambda: few.on("h1", "tail", "-n", "1", "/opt/kav/conf") == "Level high\n")
    play.kill()
    play.communicate()
    assert few.roll(avmanager_hosts="h1").status != 0
    assert few.report()["h1"].startswith("left out: ")
    assert few.roll(avmanager_hosts="h1", avmanager_take_over=True).status == 0
    assert few.level("h1") == HIGH
    assert "conf.lock" not in few.files("h1")


def test_a_host_that_is_lost_while_at_work_is_reported(few):
    play = few.begin(avmanager_hosts="h1:h2", avmanager_batches=[2])
    wait_until(lambda: "conf.before" in few.files("h2"))
    subprocess.run(["ip", "link", "set", "h2", "down"], check=True)
    play.communicate()
    subprocess.run(["ip", "link", "set", "h2", "up"], check=True)
    assert play.returncode != 0
    assert few.report() == {"h1": "done", "h2": "not finished"}
    assert "conf.lock" in few.files("h2")


def test_a_check_run_foretells_and_changes_nothing(few):
    few.on("h2", "avmanager", "--kill-service", "--kav-dir=/opt/kav", "--service=aveserver",
           "--service-pidfile=/opt/kav/pid")
    wait_until(lambda: "pid" not in few.files("h2"))
    before = [few.on(name, "ls", "-lR", "--time-style=full-iso", "/opt/kav") for name in few.names]
    told = few.roll("--check", "--diff", avmanager_hosts="h1:h2", avmanager_batches=[2])
    assert told.status == 0
    assert told.out.count("-Level low\n+Level high\n") == 2
    assert "aveserver would be reloaded" in told.out and "aveserver would be started" in told.out
    assert [told.counted(name)["changed"] for name in ("h1", "h2")] == [2, 2]
    after = [few.on(name, "ls", "-lR", "--time-style=full-iso", "/opt/kav") for name in few.names]
    assert after == before


@pytest.mark.parametrize("wrong", [
    {"avmanager_patience": "soon"}, {"avmanager_apply": "replace"}, {"avmanager_service": ["a"]},
    {"avmanager_kav_dir": "kav"}, {"avmanager_pid_file": "/opt/$HOME"}, {"avmanager_proof": {}},
    {"avmanager_package": "/a", "avmanager_program_source": "/b"},
    {"avmanager_service": "other"}], ids=str)
def test_a_wrong_argument_is_refused_before_anything_is_done(one, wrong):
    refused = one.roll(avmanager_hosts="h1", **wrong)
    assert refused.status != 0
    assert refused.counted("h1")["changed"] == 0
    assert one.files("h1") == {"bin", "conf", "log", "pid"}
    assert "Lock the host" not in refused.out


def test_the_play_and_the_role_are_clean_for_production():
    checked = subprocess.run(
        ["ansible-lint", "--offline", "--nocolor", "--profile", "production",
         "fleet/rolling.yml", "fleet/roles/avmanager"],
        cwd=HOSTS.parent.parent, capture_output=True, text=True, check=False)
    assert checked.returncode == 0, checked.stdout
    assert "0 failure(s), 0 warning(s)" in checked.stdout + checked.stderr

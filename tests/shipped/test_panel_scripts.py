"""The scripts for a panel and for monitoring, whatever the pid file holds, with cron's PATH."""

import pytest

import places

DOC = "/usr/share/doc/avmanager/examples"
PID = "/run/kav/aveserver.pid"
CRON = "env -i PATH=/usr/bin:/bin /bin/sh -c"
CHECK = f"{CRON} '{DOC}/check-aveserver /opt/kav {PID} %s'; echo $?"
START = f"{CRON} '{DOC}/panel-start /opt/kav /etc/kav/aveserver.conf {PID}'; echo $?"
# Another program in the background, whose number is in the file.
STRANGER = f"/usr/bin/sleep 100 & echo $! >{PID}"
NO_ID = f"CRITICAL: no process id in {PID}"
RUNNING, STARTED = ["Service is running already", "1"], ["Service is started", "0"]


@pytest.fixture(name="host")
def host_whose_time_is_short(tmp_path):
    host = places.Host(tmp_path)
    sleep = tmp_path / "usr/sbin/sleep"
    sleep.write_text("#!/bin/sh\nexec /usr/bin/sleep 0.1\n")
    sleep.chmod(0o755)
    return host


@pytest.mark.parametrize("made, checked, started", [
    ("", "CRITICAL: Service is not running", STARTED),
    (f">{PID}", "CRITICAL: Service is not running", STARTED),
    (f"echo >{PID}", NO_ID, RUNNING),
    (f"echo text >{PID}", NO_ID, RUNNING),
    (f"echo 0 >{PID}", "CRITICAL: no such process", RUNNING),
    (f"echo -2 >{PID}", NO_ID, RUNNING),
    (f"echo 99999999 >{PID}", "CRITICAL: no such process", RUNNING),
    (STRANGER, "CRITICAL: process N is not the server", RUNNING),
    ("rm /opt/kav/bin/aveserver", "CRITICAL: Service is not running", ["Service is not running", "1"]),
    ("rm /usr/sbin/avmanager", "CRITICAL: timeout: failed to run command 'avmanager': "
     "No such file or directory", None)])
def test_they_tell_what_the_pid_file_means(host, made, checked, started):
    shown = host.session([made, CHECK % "", START, f"pgrep -fc 'sleep 100'; cat {PID} 2>&1"])
    number = shown[3][-1]
    assert [line.replace(f"process {number} ", "process N ") for line in shown[1]] == [checked, "2"]
    assert started in (None, shown[2])
    assert shown[3][0] == ("1" if made == STRANGER else "0")


@pytest.mark.parametrize("command, said", [
    ("", ["OK: Service is started", "0"]), ("true", ["OK: Service is started", "0"]),
    ("grep low /run/kav/log", ["OK: Service is started", "0"]),
    ("grep high /run/kav/log", ["CRITICAL: no answer to grep", "2"])])
def test_the_check_asks_a_server_that_runs(host, command, said):
    assert host.session([START, CHECK % command]) == [STARTED, said]


def test_a_slash_at_the_end_of_the_folder_does_not_matter(host):
    for start, check in ("", "/"), ("/", ""):
        shown = host.session([START.replace("/opt/kav", f"/opt/kav{start}"),
                              CHECK.replace("/opt/kav", f"/opt/kav{check}") % "", f"rm {PID}"])
        assert shown == [STARTED, ["OK: Service is started", "0"], []]


def test_a_program_is_known_by_its_file_and_not_by_its_name(host):
    """By the file alone: the process calls itself otherwise. In the second run another one has the
    file's name."""
    program = "cp /usr/bin/sleep /opt/kav/bin/aveserver"
    run = f"bash -c 'exec -a another /opt/kav/bin/aveserver 100' & echo $! >{PID}; /usr/bin/sleep 0.5"
    assert host.session([program, run, CHECK % ""])[2] == ["OK: Service is started", "0"]
    replaced = "mv /opt/kav/bin/aveserver /opt/kav/other; cp /opt/kav/other /opt/kav/bin/aveserver"
    assert host.session([run, replaced, CHECK % ""])[2][-1] == "2"


def test_a_missing_argument_starts_nothing(host):
    said, left = host.session([f"{DOC}/panel-start /opt/kav /etc/kav/aveserver.conf; echo $?",
                               "ls /run/kav"])
    assert said[-1] == "2" and "usage" in said[0]
    assert left == []

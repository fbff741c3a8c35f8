"""One run of a service's program: the processes of a start, what they inherit, what they leave."""

import os
import signal
from pathlib import Path

import pytest

from commands import state_of
from host import children, errors_file, wait_until

FOREGROUND = "--no-daemon=1"


def start(host, *more, **options):
    return host.control("--start-service", *more, **options)


def test_the_invoking_process_ends_while_the_service_runs(host):
    Path("/tmp/zrckav_other_errors").write_text("7")
    host.act("other", f"serve {host.pid_file}")
    result = start(host, settle=False)
    assert (result.answer, result.err) == ((0, ""), b"")
    server = host.pid()
    assert errors_file("other") is None
    os.kill(server, signal.SIGTERM)
    host.settle()
    assert errors_file("other") == "0"


def test_the_service_is_in_a_session_of_its_own_and_not_its_leader(host):
    """The service process runs the program, and is itself left to whoever adopts orphans, as the
    leader is."""
    result = start(host)
    report = host.report("other")
    assert int(report.sid) not in (os.getsid(0), result.pid, int(report.pid))
    assert report.sid == report.pgid
    assert {int(report.sid), int(report.ppid)} <= result.orphans.keys()
    assert int(report.pid) not in result.orphans
    host.act("other", "report")
    shown = start(host, FOREGROUND).out.decode()
    assert f"\nsid {os.getsid(0)}\n" in shown


def test_who_is_left_to_init(host):
    """Where init reaps nobody each start leaves four dead processes, two of them at the service's
    end: its own and the writer of the errors file's text."""
    host.act("other", f"serve {host.pid_file}")
    start(host, settle=False)
    server = host.pid()

    def dead():
        return [pid for pid in children() if state_of(pid, "State").startswith("Z")]

    wait_until(lambda: len(dead()) == 2, "the end of session leader and detached process")
    os.kill(server, signal.SIGTERM)
    wait_until(lambda: len(dead()) == 4, "the end of service process and writer")
    assert int(host.report("other").ppid) in dead()
    assert errors_file("other") == "0"


@pytest.mark.parametrize("more, ignored", [([], 1 << signal.SIGHUP - 1), ([FOREGROUND], 0)])
def test_only_hangup_is_ignored(host, more, ignored):
    """A reload may be asked for before the server has its handler."""
    def plain():
        for number in (signal.SIGPIPE, signal.SIGXFSZ):
            signal.signal(number, signal.SIG_DFL)

    start(host, *more, prepare=plain)
    report = host.report("other")
    assert (int(report.ignored, 16), int(report.blocked, 16)) == (ignored, 0)


def test_ignored_child_signal_is_not_reset(host):
    """Nothing can be reaped then, so the service process fails after its program has run. The
    program runs until this process has adopted the service process and so sees its end."""
    host.act("other", f"serve {host.pid_file}")
    start(host, settle=False, prepare=lambda: signal.signal(signal.SIGCHLD, signal.SIG_IGN))
    server = host.pid()
    report = host.report("other")
    service = int(report.ppid)
    wait_until(lambda: service in children(), "the adoption of the service process")
    os.kill(server, signal.SIGTERM)
    assert host.settle()[service] == 255
    assert int(report.ignored, 16) & 1 << signal.SIGCHLD - 1
    assert errors_file("other") is None


def test_working_directory_and_umask_stay(host):
    def move():
        os.chdir(host.kav)
        os.umask(0o027)

    start(host, prepare=move)
    report = host.report("other")
    assert (report.cwd, report.umask) == (str(host.kav), "27")


def test_the_capture_of_the_pid_file_stays_open_in_the_service(host):
    host.file("pid")
    start(host, host.with_pid)
    fds = host.report("other").fds
    assert sorted(fds) == [0, 1, 2, 3]
    assert fds[3].startswith("pipe:")


@pytest.mark.parametrize("service", [
    "keepup2date2", "keepup2dat", "Keepup2date", "parse_avstat", "parse_avstat.plx",
])
def test_names_are_compared_byte_by_byte(host, service):
    """What only resembles the updater or the statistics script is started as any other."""
    (host.kav / "bin/other").rename(host.kav / "bin" / service)
    start(host, "--config-file=/none", "--service-pidfile=/none", service=service)
    assert host.calls() == [f"{service} -c /none", "cat"]


def test_the_first_element_is_the_program_path_as_it_was_joined(host):
    host.run("--start-service", f"--kav-dir={host.kav}/", "--service=other")
    assert host.report("other").argv == [f"{host.kav}//bin/other"]


@pytest.mark.parametrize("more, answer, errors", [
    ([], (0, ""), "13"), ([FOREGROUND], (1, "Permission denied\nService failed\n"), "1"),
])
def test_a_program_that_is_not_executable(host, more, answer, errors):
    (host.kav / "bin/other").chmod(0o644)
    result = start(host, *more)
    assert (result.answer, errors_file("other")) == (answer, errors)
    assert (255 in result.orphans.values()) == (more == [])


def test_a_program_without_an_interpreter_line_is_run_by_a_shell(host):
    (host.kav / "bin/other").write_text("[ /proc/$$/exe -ef /bin/sh ] && echo $0 >&2\nexit 5\n")
    result = start(host, FOREGROUND)
    assert result.answer == (1, "Service failed\n")
    assert result.err.decode() == f"{host.kav}/bin/other\n"
    assert errors_file("other") == "5"


def test_a_stopped_program_counts_as_ended_by_a_signal(host):
    host.act("other", "stop")
    assert start(host, settle=False).status == 0
    wait_until(lambda: host.reports("other"), "the program's start")
    report = host.report("other")
    wait_until(lambda: not os.path.exists(f"/proc/{report.ppid}/exe"), "the body's end")
    assert errors_file("other") is None
    os.kill(int(report.pid), signal.SIGKILL)
    host.settle()


def test_every_exit_code_is_recorded(host):
    for code in range(256):
        host.act("other", f"exit {code}")
        assert start(host, FOREGROUND).answer == ((1, "Service failed\n") if code else (0, ""))
        assert errors_file("other") == str(code)


def test_an_errors_file_of_before_outlives_a_pid_file_that_cannot_be_read(host):
    host.remove("cat")
    host.file("pid", "1")
    Path("/tmp/zrckav_other_errors").write_text("7")
    assert start(host, FOREGROUND, host.with_pid).answer == (1, "Error\n")
    assert errors_file("other") == "7"


def test_the_errors_file_is_written_by_a_cat_that_is_waited_for(host):
    host.act("cat", "sleep 0.2; exec /bin/cat")
    start(host, FOREGROUND, settle=False)
    assert errors_file("other") == "0"
    cat = host.report("cat")
    assert cat.argv == ["cat"]
    assert cat.fds[0].startswith("pipe:")
    assert cat.fds[1] == "/tmp/zrckav_other_errors"
    assert sorted(cat.fds) == [0, 1, 2]

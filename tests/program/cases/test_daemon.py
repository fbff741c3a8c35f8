"""One run of a service's program: the processes of a start, what they inherit, what they leave."""

import os
import signal
from pathlib import Path

import pytest

from commands import state_of
from host import children, errors_file, wait_until


def start(host, *more, service="other", **options):
    return host.run("--start-service", f"--kav-dir={host.kav}", f"--service={service}", *more,
                    **options)


def only_report(host, name="other"):
    (report,) = host.reports(name)
    return report


def test_the_invoking_process_ends_while_the_service_runs(host):
    Path("/tmp/zrckav_other_errors").write_text("7")
    host.act("other", f"serve {host.dir}/pid")
    result = start(host, settle=False)
    assert (result.status, result.out, result.err) == (0, b"", b"")
    wait_until((host.dir / "pid").exists, "the service's pid file")
    assert errors_file("other") is None
    os.kill(int((host.dir / "pid").read_text()), signal.SIGTERM)
    host.settle()
    assert errors_file("other") == "0"


def test_the_service_is_in_a_session_of_its_own_and_not_its_leader(host):
    result = start(host)
    report = only_report(host)
    assert int(report.sid) not in (os.getsid(0), result.pid, int(report.pid))
    assert report.sid == report.pgid
    assert int(report.sid) in result.orphans


def test_who_waits_for_whom(host):
    """The service process runs the program and is itself left to whoever adopts orphans."""
    result = start(host)
    report = only_report(host)
    service_process = int(report.ppid)
    assert service_process in result.orphans
    assert result.orphans[service_process] == 0
    assert int(report.pid) not in result.orphans


def test_who_is_left_to_init(host):
    """Where init reaps nobody each start leaves four dead processes, two of them at the service's
    end: its own and the writer of the errors file's text."""
    host.act("other", f"serve {host.dir}/pid")
    start(host, settle=False)
    wait_until((host.dir / "pid").exists, "the service's pid file")
    service_process = int(only_report(host).ppid)

    def dead():
        return [pid for pid in children() if state_of(pid, "State").startswith("Z")]

    wait_until(lambda: len(dead()) == 2, "the end of session leader and detached process")
    os.kill(int((host.dir / "pid").read_text()), signal.SIGTERM)
    wait_until(lambda: len(dead()) == 4, "the end of service process and writer")
    assert service_process in dead()
    assert errors_file("other") == "0"


def test_only_hangup_is_ignored(host):
    def plain():
        for number in (signal.SIGPIPE, signal.SIGXFSZ):
            signal.signal(number, signal.SIG_DFL)

    start(host, prepare=plain)
    report = only_report(host)
    assert int(report.ignored, 16) == 1 << signal.SIGHUP - 1
    assert int(report.blocked, 16) == 0


def test_a_hangup_before_the_server_has_its_handler_does_not_end_it(host):
    """A reload may be asked for that early; in the foreground nothing protects the program."""
    script = host.file("early", "#!/bin/sh\nkill -HUP $$\nexit 3\n")
    script.chmod(0o755)
    host.act("other", f"exec {script}")
    start(host)
    assert errors_file("other") == "3"
    start(host, "--no-daemon=1")
    assert errors_file("other") is None


def test_foreground_leaves_hangup_alone(host):
    start(host, "--no-daemon=1")
    assert not int(only_report(host).ignored, 16) & 1 << signal.SIGHUP - 1


def test_ignored_child_signal_is_not_reset(host):
    """Nothing can be reaped then, so the service process fails after its program has run. The
    program runs until this process has adopted the service process and so sees its end."""
    host.act("other", f"serve {host.dir}/pid")
    start(host, settle=False, prepare=lambda: signal.signal(signal.SIGCHLD, signal.SIG_IGN))
    wait_until((host.dir / "pid").exists, "the service's pid file")
    report = only_report(host)
    service = int(report.ppid)
    wait_until(lambda: service in children(), "the adoption of the service process")
    os.kill(int(report.pid), signal.SIGTERM)
    assert host.settle()[service] == 255
    assert int(report.ignored, 16) & 1 << signal.SIGCHLD - 1
    assert errors_file("other") is None


def test_working_directory_and_umask_stay(host):
    def move():
        os.chdir(host.kav)
        os.umask(0o027)

    start(host, prepare=move)
    assert only_report(host).cwd == str(host.kav)
    assert only_report(host).umask == "27"


def test_the_capture_of_the_pid_file_stays_open_in_the_service(host):
    host.file("pid")
    start(host, f"--service-pidfile={host.dir}/pid")
    fds = only_report(host).fds
    assert sorted(fds) == [0, 1, 2, 3]
    assert fds[3].startswith("pipe:")


@pytest.mark.parametrize("service", [
    "keepup2date2", "keepup2dat", "Keepup2date", "parse_avstat", "parse_avstat.plx",
])
def test_names_are_compared_byte_by_byte(host, service):
    """What only resembles the updater or the statistics script is started as any other."""
    (host.kav / "bin/other").rename(host.kav / "bin" / service)
    start(host, "--config-file=/none", f"--service-pidfile={host.dir}/none", service=service)
    assert host.calls() == [f"{service} -c /none", "cat"]


@pytest.mark.parametrize("slash", ["", "/"])
def test_the_first_element_is_the_program_path_as_it_was_joined(host, slash):
    host.run("--start-service", f"--kav-dir={host.kav}{slash}", "--service=other")
    assert only_report(host).argv == [f"{host.kav}{slash}/bin/other"]


@pytest.mark.parametrize("more, answer, errors", [
    ([], (0, ""), "13"), (["--no-daemon=1"], (1, "Permission denied\nService failed\n"), "1"),
])
def test_a_program_that_is_not_executable(host, more, answer, errors):
    (host.kav / "bin/other").chmod(0o644)
    result = start(host, *more)
    assert (result.answer, errors_file("other")) == (answer, errors)
    assert (255 in result.orphans.values()) == (more == [])


def test_a_program_without_an_interpreter_line_is_run_by_a_shell(host):
    (host.kav / "bin/other").write_text("[ /proc/$$/exe -ef /bin/sh ] && echo $0 >&2\nexit 5\n")
    result = start(host, "--no-daemon=1")
    assert (result.status, result.out) == (1, b"Service failed\n")
    assert result.err.decode() == f"{host.kav}/bin/other\n"
    assert errors_file("other") == "5"


def test_a_stopped_program_counts_as_ended_by_a_signal(host):
    host.act("other", "stop")
    result = start(host, settle=False)
    assert result.status == 0
    wait_until(lambda: host.reports("other"), "the program's start")
    program = int(only_report(host).pid)
    service_process = int(only_report(host).ppid)
    wait_until(lambda: not os.path.exists(f"/proc/{service_process}/exe"), "the body's end")
    assert errors_file("other") is None
    os.kill(program, signal.SIGKILL)
    host.settle()


def test_every_exit_code_is_recorded(host):
    for code in range(256):
        host.act("other", f"exit {code}")
        result = start(host, "--no-daemon=1")
        assert errors_file("other") == str(code)
        assert result.status == (1 if code else 0)
        assert result.out == (b"Service failed\n" if code else b"")


def test_an_errors_file_of_before_outlives_a_pid_file_that_cannot_be_read(host):
    host.remove("cat")
    Path("/tmp/zrckav_other_errors").write_text("7")
    result = start(host, "--no-daemon=1", f"--service-pidfile={host.file('pid', '1')}")
    assert (result.status, result.out) == (1, b"Error\n")
    assert errors_file("other") == "7"


def test_a_foreground_start_ends_after_its_errors_file_is_written(host):
    host.act("cat", "sleep 0.2; exec /bin/cat")
    start(host, "--no-daemon=1", settle=False)
    assert errors_file("other") == "0"


def test_the_errors_files_cat_has_a_pipe_and_the_file(host):
    start(host, "--no-daemon=1")
    (cat,) = host.reports("cat")
    assert cat.argv == ["cat"]
    assert cat.fds[0].startswith("pipe:")
    assert cat.fds[1] == "/tmp/zrckav_other_errors"
    assert sorted(cat.fds) == [0, 1, 2]

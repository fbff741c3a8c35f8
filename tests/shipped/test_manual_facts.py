"""The single facts of avmanager(8) are so: paths, signals and times are compared with the sources,
exit statuses with runs. The document of messages has those of a start's processes."""

import os
import re
import signal
import subprocess
from contextlib import suppress

import pytest

import pages
from pages import ROOT

PAGE = "avmanager.8"
PROGRAM = os.environ["AVMANAGER"]


@pytest.mark.parametrize("section, said, source, so", [
    ("FILES", r"Pa (/etc/\S+)", "conf/autoprepend.cpp", 'conf_path = "(.+?)"'),
    ("FILES", r"Pa (/tmp/\w+) Ns Ar name Ns Pa (\w+)",
     "manager/service_body.cpp", r'"(/tmp/\w+)" \+ service \+ "(\w+)"'),
    ("COMMANDS", r"(?:Sends|runs is sent) (SIG\w+)",
     "manager/running_service.cpp", r"void termByPidFile.*?kill\(pid, (\w+)"),
    ("COMMANDS", r"it is sent (SIG\w+)",
     "manager/running_service.cpp", r"void reloadByPidFile.*?kill\(pid, (\w+)"),
    ("COMMANDS", r"(\d+) seconds", "manager/running_service.cpp", r"reload_seconds = (\d+)"),
    ("EXAMPLES", r"takes (\d+) seconds", "manager/running_service.cpp", r"reload_seconds = (\d+)"),
    ("SIGNALS", r"(SIG\w+|\b\d+),", "manager/running_service.cpp", r"kill\(pid, (\w+)"),
    ("SIGNALS", r"with (SIG\w+) ignored", "manager/daemon.cpp", r"sigaction\((\w+), &ignore"),
])
def test_the_page_says_what_the_source_says(section, said, source, so):
    told = re.findall(said, " ".join(pages.section(PAGE, section)))
    facts = re.findall(so, (ROOT / source).read_text("utf-8"), re.S)
    assert facts and list(dict.fromkeys(told)) == facts


def status(process, when):
    """The status that the document of messages gives to a process for what it says of it."""
    found, = [row[1] for row in pages.messages() if row[0] == process and when in row[2]]
    return found


@pytest.mark.parametrize("when, words", [("A command succeeded", ["-h"]), ("none was given", []),
                                         ("An error was printed", ["--check-install"])])
def test_the_program_ends_as_the_page_says(when, words):
    run = subprocess.run([PROGRAM, *words], capture_output=True, check=False)
    said, = [item.split()[0] for item in pages.items(PAGE, "EXIT STATUS", "tag") if when in item]
    assert said == str(run.returncode)


def waited_for():
    """The ends of all children."""
    with suppress(ChildProcessError):
        while True:
            yield os.wait()[1]


# Ends when its service process belongs to this one. With SIGCHLD ignored a process takes the ends of
# its children with it, so the others may not be seen.
ORPHAN = "until [ $(cut -d ' ' -f 4 /proc/$PPID/stat) -eq 1 ]; do :; done; exit 0"


@pytest.mark.parametrize("when, service, body, child, left", [
    ("the program ended with 0", "x", "exit 0", signal.SIG_DFL, 4),
    ("was ended or stopped by a signal", "x", "kill -TERM $$", signal.SIG_DFL, 3),
    ("was not to be run", "parse_avstat.pl", "exit 3", signal.SIG_DFL, 3),
    ("the program failed", "x", "exit 3", signal.SIG_DFL, 4),
    ("could not be waited for", "x", ORPHAN, signal.SIG_IGN, None)])
def test_the_processes_of_a_start_end_as_the_document_says(tmp_path, when, service, body, child, left):
    """This process is the first of its private root, so they are left to it."""
    list(waited_for())  # whatever another test has left
    program = tmp_path / "bin" / service
    program.parent.mkdir()
    program.write_text(f"#!/bin/sh\n{body}\n")
    program.chmod(0o755)
    subprocess.run([PROGRAM, "--start-service", f"--kav-dir={tmp_path}", f"--service={service}"],
                   preexec_fn=lambda: signal.signal(signal.SIGCHLD, child), check=True)
    ends = [str(os.waitstatus_to_exitcode(end)) for end in waited_for()]
    expected = [status(*row) for row in (
        ("the session leader", "was forked"), ("the detached process", "was forked"),
        ("the service process", when), ("the service process's own children", "the writer"))]
    if left is None:
        assert expected[2] in ends and set(ends) <= set(expected)
    else:
        assert sorted(ends) == sorted(expected[:left])

"""The environment, `PATH`, the program's own name and its working directory."""

import ctypes
import os

import pytest

from commands import ARGUMENTS, ORDINARY, Outcome, run
from host import PROGRAM
from limits import need_another_user, processes


@pytest.mark.parametrize("name", ORDINARY)
def test_an_empty_environment(host, name):
    """Without a PATH the tools are searched for where the system has them."""
    assert run(host, name, env={}) == ORDINARY[name]
    assert host.calls() == (["other"] if ORDINARY[name].effect.endswith("errors: 0") else [])
    assert all(report.env == {} for report in host.reports("other"))


def unable(name, reason):
    """Nothing that is to be found through PATH is; what has a path of its own is started."""
    return {
        "config-file-content": Outcome(0, reason + "\n"),
        "save-to-config-file": Outcome(0, 2 * (reason + "\n"), "old text\n"),
        "service-started": Outcome(1, "Error\n"),
        "kill-service": Outcome(1, "Error\n"),
        "reload": Outcome(1, "Error\n"),
        "restart-service": Outcome(1, "Error\n"),
        # The file is opened before its cat is found to be missing.
        "start-daemon": Outcome(0, "", "errors: "),
        "start-foreground": Outcome(0, "", f"errors: {reason}\n"),
    }.get(name, ORDINARY[name])


MISSING = "No such file or directory"
DENIED = "Permission denied"


def build(host, entry):
    """Makes one entry of PATH: a folder without, or with, something of the tools' names."""
    place = host.dir / entry
    if entry == "loop":
        place.symlink_to(place)
    elif entry == "file":
        place.write_text("")
    elif entry == "tools":
        return str(host.path)
    elif entry == "long":
        return str(host.dir / ("x" * 300))
    elif entry != "absent":
        place.mkdir()
    for tool in ("cat", "cp", "chown"):
        if entry == "refused":
            (place / tool).write_text("")
        elif entry == "looping":
            (place / tool).symlink_to(place / tool)
        elif entry == "dangling":
            (place / tool).symlink_to(place / "nowhere")
        elif entry == "folders":
            (place / tool).mkdir()
    return str(place)


# The C library passes over an entry without the tool, or where it may not be run, and then says
# why the last one failed, a refusal before all else. Any other failure ends its search at once.
@pytest.mark.parametrize("name", ORDINARY)
@pytest.mark.parametrize("entries, reason", [
    ("absent", MISSING),
    ("empty", MISSING),
    ("file", "Not a directory"),
    ("file:empty", MISSING),
    ("dangling", MISSING),
    ("refused", DENIED),
    ("folders", DENIED),
    ("refused:empty", DENIED),
    ("loop", "Too many levels of symbolic links"),
    ("looping", "Too many levels of symbolic links"),
    ("loop:tools", "Too many levels of symbolic links"),
    ("long", "File name too long"),
    ("absent:tools", None),
    ("file:tools", None),
    ("dangling:tools", None),
    ("refused:tools", None),
    ("folders:tools", None),
    ("tools:loop", None),
])
def test_entries_of_path(host, name, entries, reason):
    host.env["PATH"] = ":".join(build(host, entry) for entry in entries.split(":"))
    expected = unable(name, reason) if reason else ORDINARY[name]
    assert run(host, name) == expected


@pytest.mark.parametrize("path", ["", ":", "absent:", ":absent"])
def test_an_empty_entry_of_path_is_the_working_directory(host, path):
    host.env["PATH"] = path
    elsewhere = host.dir / "elsewhere"
    elsewhere.mkdir()
    text = host.file("text", "text")
    arguments = ("--config-file-content", f"--file={text}")
    assert host.run(*arguments, prepare=lambda: os.chdir(elsewhere)).out.decode() == \
        MISSING + "\n"
    assert host.run(*arguments, prepare=lambda: os.chdir(host.path)).out == b"text"


def test_an_unreadable_entry_of_path(open_host):
    """A folder that may not be read may still be searched: only the second one refuses."""
    need_another_user()
    text = open_host.file("text", "text")
    arguments = ("--config-file-content", f"--file={text}")
    for mode, out in ((0o711, "text"), (0o600, DENIED + "\n")):
        open_host.path.chmod(mode)
        for tool in open_host.path.iterdir():
            tool.unlink()
        (open_host.path / "cat").symlink_to("/bin/cat")
        open_host.env["PATH"] = str(open_host.path)
        assert open_host.run(*arguments, prepare=processes(100)).out.decode() == out
    open_host.env["PATH"] = f"{open_host.path}:/usr/bin:/bin"
    assert open_host.run(*arguments, prepare=processes(100)).out == b"text"


def execute(arguments, environment):
    """The system call itself: Python's own wants at least one argument."""
    def strings(texts):
        return (ctypes.c_char_p * (len(texts) + 1))(*map(os.fsencode, texts), None)

    execve = ctypes.CDLL(None).execve
    return lambda: execve(os.fsencode(PROGRAM), strings(arguments), strings(environment))


def test_no_name_at_all(host):
    """An argument vector without a single element is an empty command line."""
    null = ctypes.c_void_p(None)
    for start in (execute([], []),
                  lambda: ctypes.CDLL(None).execve(os.fsencode(PROGRAM), null, null)):
        result = host.run(prepare=start)
        assert (result.answer, result.err) == ((0, ""), b"")


@pytest.mark.parametrize("name", ["", "--help", "--bogus", "x" * 131071],
                         ids=["empty", "help", "bogus", "longest"])
def test_the_programs_name_means_nothing(host, name):
    result = host.run(prepare=execute([name, "--bogus"], ["PATH="]))
    assert (result.answer, result.err) == ((1, "Unknown option '--bogus'\n"), b"")


def into_a_deleted_folder(host):
    def delete():
        (host.dir / "gone").mkdir()
        os.chdir(host.dir / "gone")
        (host.dir / "gone").rmdir()

    return delete


@pytest.mark.parametrize("name", ORDINARY)
def test_a_deleted_working_directory(host, name):
    assert run(host, name, prepare=into_a_deleted_folder(host)) == ORDINARY[name]
    assert all(report.cwd.endswith("/gone (deleted)") for report in host.reports("other"))


@pytest.mark.parametrize("name, answer", [
    ("check-install", (1, "Kaspersky Anti-Virus server is not installed\n")),
    ("service-started", (1, "Service is not running\n")),
    ("delete-file", (0, "")),
    ("config-file-content", (0, "")),
    ("start-foreground", (1, MISSING + "\nService failed\n")),
])
def test_names_in_a_deleted_working_directory_are_absent(host, name, answer):
    relative = [text.replace("{dir}", "none").replace("{kav}", "none")
                for text in ARGUMENTS[name]]
    assert host.run(*relative, prepare=into_a_deleted_folder(host)).answer == answer

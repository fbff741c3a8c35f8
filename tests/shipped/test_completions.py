"""What the tab key does in bash and zsh, and that it offers what the program takes."""

import shutil

import pytest

import interface
from pages import ROOT
from terminal import SHELLS, Terminal, missing, words_of

FORMS = interface.forms()
SERVER = ["aveserver", "keepup2date", "parse_avstat.pl"]


def word_of(option):
    """How an option is offered: the one whose value is always the same has it already."""
    return "--no-daemon=1" if option == "no-daemon" else f"--{option}="


def check(terminal, line, completed):
    got = terminal.completed(f"avmanager {line}")
    position = len(words_of("avmanager " + line.partition("|")[0])) - 1
    assert words_of(got)[position] == completed.strip().format(home=terminal.home)
    if "|" not in line:
        assert got.endswith(" ") == completed.endswith(" ")


@pytest.fixture(name="terminal", scope="module", params=SHELLS)
def terminal_in_a_home(request, tmp_path_factory):
    if lacking := missing(request.param):
        pytest.skip(f"not installed: {' '.join(lacking)}")
    home = tmp_path_factory.mktemp("home")
    shutil.copytree(ROOT / "examples/server/bin", home / "my kav/bin")
    (home / "my kav/bin/notes").touch()
    for folder in ("a:b/c", "aveserver", "x=y/z", "my kav/bin/folder"):
        (home / folder).mkdir(parents=True)
    for name in ("plain.conf", "w$x", 'ü "q"'):
        (home / name).touch()
    opened = Terminal(request.param, home)
    opened.home = home
    yield opened
    opened.close()


def test_the_commands_come_first(terminal):
    assert terminal.offered("avmanager ") == sorted(f"--{name}" for name in FORMS)
    assert terminal.completed("avmanager --ch") == "avmanager --check-install "


@pytest.mark.parametrize("command", FORMS)
def test_then_the_options_that_the_program_takes_with_it(terminal, command):
    required, optional = FORMS[command]
    offered = [word_of(name) for name in (*required, *optional)]
    assert terminal.offered(f"avmanager --{command} --") == (sorted(offered) or ["--"])


def test_an_option_is_not_offered_twice(terminal):
    line = "avmanager --kav-dir=/x --restart-service --service=y "
    assert terminal.offered(line) == ["--config-file=", "--service-pidfile="]


@pytest.mark.parametrize("line, completed", [
    ("--start-service --no", "--no-daemon=1 "),
    ("--start-service --no-daemon=", "--no-daemon=1 "),
    ("--check-install --k", "--kav-dir="),
    ("--check-install --kav-dir= --k", "--kav-dir="),
    ("--check-install --kav-dir=m", "--kav-dir=my kav/"),
    ("--check-install --kav-dir=my\\ k", "--kav-dir=my kav/"),
    ("--check-install --kav-dir=pl", "--kav-dir=pl"),
    ("--check-install --file=pl", "--file=pl"),
    ("--kav-dir=a", "--kav-dir=a"),
    ("--bogus=pl", "--bogus=pl"),
    ("--check-install=pl", "--check-install=pl"),
    ("--delete-file --file=pl", "--file=plain.conf "),
    ('--delete-file --file="pl', "--file=plain.conf "),
    ("--delete-file --file=w\\$", "--file=w$x "),
    ("--delete-file --file=ü", '--file=ü "q" '),
    ("--delete-file --file=my", "--file=my kav/"),
    ("--delete-file --file=x=pl", "--file=x=pl"),
    ("--restart-service --service-pidfile=pl", "--service-pidfile=plain.conf "),
    ("--restart-service --config-file=pl", "--config-file=plain.conf "),
    ("--service-started --kav-dir=my\\ kav --service=av", "--service=aveserver "),
    ("--service-started --kav-dir='$HOME/my kav' --service=av", "--service=av"),
    ("--service-started --kav-dir=\\$HOME/my\\ kav --service=av", "--service=av"),
    ("--service-started --kav-dir=$unset --service=fals", "--service=fals"),
    # Not /bin/false.
    ("--service-started --service=fals", "--service=fals"),
    ("--service-started --kav-dir=/nowhere --service=av", "--service=av"),
    ("--config-file-content --file=x > pl", "plain.conf "),
    ("--config-file-content --file=x >pl", ">plain.conf "),
    ("--config-file-content --file=x 2>pl", "2>plain.conf "),
    ("--config-file-content --file=x >> w\\$", "w$x "),
    ("--config-file-content > plain.conf --f", "--file="),
    ("--config-file-content '>' --f", "--file="),
    ("--config-file-content \\> --f", "--file="),
    ("--help --k", "--k"),
    ("-h --ch", "--ch"),
    ("word --ch", "--check-install "),
])
def test_a_word_is_completed(terminal, line, completed):
    check(terminal, line, completed)


@pytest.mark.parametrize("line, completed", [
    ("--check-install --kav-dir='my k", "--kav-dir=my kav/"),
    ('--check-install --kav-dir=my\\ kav/"b', "--kav-dir=my kav/bin/"),
    ("--check-install --kav-dir=~/m", "--kav-dir={home}/my kav/"),
    ("--check-install --kav-dir=a:b/", "--kav-dir=a:b/c/"),
    ("--check-install --kav-dir=x=y/", "--kav-dir=x=y/z/"),
    ('--service-started "--kav-dir=my kav" --service=k', "--service=keepup2date "),
    ("--service-started --service=k| --kav-dir='my kav'", "--service=keepup2date"),
    ("--service-started --kav-dir=$HOME/my\\ kav --service=av", "--service=aveserver "),
])
def test_a_word_is_left_as_it_is_by_bash(terminal, line, completed):
    if terminal.process.command.endswith("zsh"):
        check(terminal, line, completed)
    else:
        assert terminal.completed(f"avmanager {line}") == f"avmanager {line.replace('|', '')}"


def test_the_services_are_the_programs_of_the_folder(terminal):
    line = "avmanager --kill-service --kav-dir=/x --kav-dir=my\\ kav/ --service="
    assert terminal.offered(line) == SERVER


def test_folders_alone_are_offered_for_the_folder(terminal):
    offered = terminal.offered("avmanager --check-install --kav-dir=")
    assert [word.rstrip("/") for word in offered if word[0] != "."] == [
        "a:b", "aveserver", "my kav", "x=y"]


@pytest.mark.parametrize("terminal", ["bash-completion", "zsh"], indirect=True)
def test_it_works_behind_a_command_that_runs_others(terminal):
    assert terminal.completed("sudo avmanager --ch") == "sudo avmanager --check-install "
    for value in ("m", "my\\ k"):
        line = terminal.completed(f"sudo avmanager --check-install --kav-dir={value}")
        assert words_of(line)[-1] == "--kav-dir=my kav/"
    assert "my kav" in [word.rstrip("/") for word in terminal.offered(
        "sudo avmanager --check-install --kav-dir=")]


@pytest.mark.parametrize("line", [
    "--service-started --kav-dir=$(touch made) --service=av",
    "--service-started --kav-dir=${HOME:-$(touch made)} --service=av",
    "--service-started --kav-dir=${HOME[$(touch made)]} --service=av", "'x]$(touch made)' --ch",
    "--check-install --kav-dir=`touch made`", "--delete-file --file=$(touch made)/",
    '--delete-file --file="$(touch made)'])
def test_nothing_of_the_line_is_run(terminal, line):
    terminal.completed(f"avmanager {line}")
    assert not (terminal.home / "made").exists()


@pytest.mark.parametrize("terminal", ["bash"], indirect=True)
def test_there_is_no_value_where_words_are_not_cut_in_front_of_it(terminal):
    line = "avmanager --start-service --no-daemon="
    terminal.process.sendline("\x05\x15before=$COMP_WORDBREAKS; COMP_WORDBREAKS=${before//=}")
    assert terminal.completed(line) == line
    terminal.process.sendline("\x05\x15COMP_WORDBREAKS=$before")

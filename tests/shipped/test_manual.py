"""The manual pages are sound, and avmanager(8) says what is so: its examples are run, its lists
compared with the program's."""

import os
import re
import shutil
import string
import subprocess

import pytest

import interface
import pages
import places
from pages import ROOT

PROGRAM = os.environ["AVMANAGER"]


# --- the pages as such ---

def checked(tool, *arguments, width=160):
    """Runs a tool for manual pages, which is to complain of nothing; returns what it prints."""
    if shutil.which(tool) is None:
        pytest.skip(f"{tool} is not installed")
    run = subprocess.run([tool, *arguments], capture_output=True, text=True, check=False,
                         env={**os.environ, "LC_ALL": "C.UTF-8", "MANWIDTH": str(width)})
    assert (run.returncode, run.stderr) == (0, "")
    return run.stdout


@pytest.mark.parametrize("page", pages.PAGES, ids=lambda page: page.name)
def test_mandoc_has_nothing_to_complain_of(page):
    assert checked("mandoc", "-T", "lint", "-W", "warning", page) == ""


@pytest.mark.parametrize("page", pages.PAGES, ids=lambda page: page.name)
def test_groff_has_nothing_to_complain_of(page):
    checked("man", "--warnings=w", "-E", "UTF-8", "-Tutf8", "-Z", "-l", page, width=80)


def test_a_search_for_an_antivirus_finds_the_manager():
    assert "antivirus" in checked("lexgrog", ROOT / "manual/avmanager.8")


@pytest.mark.parametrize("page", pages.PAGES, ids=lambda page: page.name)
@pytest.mark.parametrize("tool, arguments",
                         [("man", ["-l"]), ("mandoc", ["-T", "ascii", "-O", "width=160"])])
def test_what_is_to_be_typed_or_seen_is_shown_as_it_is(tool, arguments, page):
    """No word of it was taken for a macro, no character for another."""
    shown = " ".join(re.sub(".\b", "", checked(tool, *arguments, page)).split())
    literal = [line for display in pages.displays(page.name, "EXAMPLES") for line in display]
    quoted = [text.strip('"') for text in re.findall(
        r"^\.Ql (.+?)(?: [.,:])?$", "\n".join(pages.lines(page.name)), re.M)]
    headings = [line[4:] for line in pages.lines(page.name) if re.match(r"\.S[hs] ", line)]
    assert [text for text in (*literal, *quoted, *headings)
            if " ".join(text.split()) not in shown] == []


# --- avmanager(8) ---

def test_the_synopsis_has_the_programs_commands_and_options():
    assert len(interface.commands()) == 9
    assert pages.forms("avmanager.8") == interface.forms()


@pytest.mark.parametrize("section", ["SYNOPSIS", "COMMANDS"])
def test_a_command_of_one_letter_is_in_the_page(section):
    taken = [letter for letter in string.ascii_letters
             if interface.complaint(f"-{letter}") != f"Unknown option '-{letter}'"]
    assert re.findall(r"(?:\.Nm\n\.|, )Fl (\w)$",
                      "\n".join(pages.section("avmanager.8", section)), re.M) == taken


def test_options_in_brackets_are_ignored_without_a_value_and_others_are_not():
    for command, (required, optional) in pages.forms("avmanager.8").items():
        for name in required:
            others = required[:required.index(name)]
            words = [f"--{command}", *(f"--{other}=x" for other in others), f"--{name}"]
            assert interface.complaint(*words) == f"Incorrect long option '--{name}'"
        for name in optional:
            words = [f"--{command}", *(f"--{other}=x" for other in required), f"--{name}"]
            assert interface.complaint(*words) == f"Unknown option '--{interface.REFUSED}'"


def test_nothing_is_an_error_with_help():
    said = " ".join(pages.section("avmanager.8", "DESCRIPTION"))
    assert "With .Fl Fl help and .Fl h nothing is an error." in said
    assert [interface.complaint(word) for word in ("--help", "-h")] == ["", ""]


def test_every_command_and_option_is_explained():
    forms = pages.forms("avmanager.8")
    named = [re.findall(r"Fl Fl ([\w-]+)", "\n".join(pages.section("avmanager.8", name)))
             for name in ("COMMANDS", "OPTIONS")]
    assert forms.keys() <= set(named[0])
    assert set(pages.answers("avmanager.8")) == forms.keys()
    options = {name for required, others in forms.values() for name in (*required, *others)}
    assert {re.match(r"Fl Fl ([\w-]+)", heading)[1]
            for heading in pages.headings("avmanager.8", "OPTIONS", "tag")} == options


def test_the_lines_of_each_command_are_the_programs():
    listed = pages.answers("avmanager.8")
    documented = {command: {row[0].strip('"') for row in pages.messages()
                            if row[0].startswith('"') and f"`{command}`" in row[1]}
                  for command in listed}
    assert listed == documented
    assert sorted({line for lines in listed.values() for line in lines}) == interface.literals(
        r"(?:Service|Kaspersky|Unable) [\w -]+")


def test_the_common_lines_are_the_programs():
    documented = {row[0].strip('"') for row in pages.messages()
                  if re.fullmatch("`T(No|Bad|Unkn)[LS]Opt`", row[1]) and "library" not in row[2]}
    assert set(pages.headings("avmanager.8", "DIAGNOSTICS", "diag")) == documented | {"Error"}
    assert interface.literals("Error") == ["Error"]


# --- its examples ---

def test_the_scripts_of_the_page_are_the_examples():
    scripts = [display for display in pages.displays("avmanager.8", "EXAMPLES")
               if display[0].startswith("#!")]
    assert {display[1].split()[1] for display in scripts} == set(places.SHOWN)
    for display in scripts:
        assert "\n".join(display) + "\n" == (ROOT / "examples" / display[1].split()[1]).read_text()


@pytest.fixture(name="host", scope="module")
def host_of_the_examples(tmp_path_factory):
    return places.Host(tmp_path_factory.mktemp("host"))


@pytest.fixture(name="outputs", scope="module")
def outputs_of_the_examples(host):
    """Each command of the examples with the lines that it is to show and those that it shows."""
    expected = [row for display in pages.displays("avmanager.8", "EXAMPLES")
                if not display[0].startswith("#!") for row in pages.commands_of(display)]
    assert len(expected) > 20
    shown = host.session([command for command, _ in expected])
    return [(*row, got) for row, got in zip(expected, shown, strict=True)]


def test_the_examples_show_what_they_are_said_to_show(outputs):
    assert [(command, got) for command, _, got in outputs] == [
        (command, lines) for command, lines, _ in outputs]


def test_the_examples_do_what_they_are_said_to_do(host, outputs):
    assert outputs
    assert (host.folder / "run/kav/log").read_text().splitlines() == [
        "started, level low",  # and killed
        "started, level low", "reloaded, level high", "ended"]


def test_the_examples_have_every_command(outputs):
    typed = " ".join((*(command for command, *_ in outputs), *(
        line for display in pages.displays("avmanager.8", "EXAMPLES") for line in display)))
    assert [command for command in pages.forms("avmanager.8")
            if f"avmanager --{command} " not in typed] == ["help"]


@pytest.mark.parametrize("row", pages.headings("avmanager.8", "COMMANDS", "column"))
def test_a_program_gets_the_arguments_that_the_table_says(tmp_path, row):
    service, arguments = pages.without_macros(row).split(" Ta ")
    service = service.replace("any other name", "aveserver")
    values = {"dir": tmp_path, "config-file": tmp_path / "c", "service-pidfile": tmp_path / "p"}
    expected = re.sub(r"\b(dir|config-file|service-pidfile)\b",
                      lambda found: str(values[found[1]]), arguments).split()
    (tmp_path / "bin").mkdir()
    (tmp_path / "c").touch()
    program = tmp_path / "bin" / service
    program.write_text('#!/bin/sh\nprintf "%s\\n" "$@"\n')
    program.chmod(0o755)
    run = subprocess.run([PROGRAM, "--start-service", "--no-daemon=1", f"--service={service}",
                          f"--kav-dir={tmp_path}", f"--config-file={tmp_path}/c",
                          f"--service-pidfile={tmp_path}/p"],
                         capture_output=True, text=True, check=True)
    assert run.stdout.splitlines() == expected

"""Each configuration file of a tool is one that something obeys."""

import configparser
import json
import re
import subprocess

import pytest

from project import PRODUCT, ROOT, name, sources, tracked


def test_clang_format_agrees():
    files = sources(*PRODUCT, "tests", "examples", "bench")
    checked = subprocess.run(["clang-format", "--dry-run", "--Werror", *files],
                             capture_output=True, text=True, check=False)
    assert checked.stderr == ""
    assert checked.returncode == 0


def test_shellcheck_agrees():
    scripts = [path for path in tracked()
               if re.match(rb"#!.*\b(ba)?sh\n|# shellcheck shell=", path.read_bytes())]
    assert len(scripts) > 10
    checked = subprocess.run(["shellcheck", *scripts], capture_output=True, text=True,
                             check=False, cwd=ROOT)
    assert (checked.returncode, checked.stdout) == (0, "")


def texts():
    """All files but a fuzzer's inputs and the picture that gnuplot draws."""
    found = [path for path in tracked()
             if not re.search(r"/corpus/|/performance-\w+\.svg$", name(path))]
    assert len(found) > 50
    return found


def editor_settings(section):
    parser = configparser.ConfigParser()
    parser.read_string("[top]\n" + (ROOT / ".editorconfig").read_text())
    return dict(parser[section]) if section in parser else {}


HOLDS = {
    "charset = utf-8": lambda data: data.decode("utf-8") is not None,
    "end_of_line = lf": lambda data: b"\r" not in data,
    "indent_style = space": lambda data: not any(
        line.startswith(b"\t") for line in data.split(b"\n")),
    "insert_final_newline = true": lambda data: data == b"" or
    data.endswith(b"\n") and not data.endswith(b"\n\n"),
    "trim_trailing_whitespace = true": lambda data: not any(
        line != line.rstrip() for line in data.split(b"\n")),
}


def test_editors_and_the_formatter_indent_alike():
    width = re.search(r"^IndentWidth: (\d+)$", (ROOT / ".clang-format").read_text(), re.M)[1]
    assert editor_settings("*").pop("indent_size") == width


@pytest.mark.parametrize("rule", HOLDS)
def test_editorconfig_is_obeyed(rule):
    settings = {f"{key} = {value}" for key, value in editor_settings("*").items()
                if key != "indent_size"}
    assert settings == set(HOLDS)
    key = rule.split(" = ")[0]
    assert [name(path) for path in texts() if not HOLDS[rule](path.read_bytes())
            and key not in editor_settings(name(path))] == []


def test_scripts_are_sound_for_their_shell():
    scripts = [path for path in tracked()
               if path.read_bytes()[:2] == b"#!" and b"sh" in path.read_bytes().split(b"\n")[0]]
    assert scripts
    for script in scripts:
        shell = "bash" if b"bash" in script.read_bytes().split(b"\n")[0] else "sh"
        subprocess.run([shell, "-n", script], check=True)
        assert script.stat().st_mode & 0o111, f"{name(script)} is not executable"


def test_all_tests_run_the_tidy_preset():
    """It takes as long as a build of the product, so it is a run of its own."""
    presets = json.loads((ROOT / "CMakePresets.json").read_text())["configurePresets"]
    (tidy,) = [preset for preset in presets if preset["name"] == "tidy"]
    assert tidy["cacheVariables"]["CMAKE_CXX_CLANG_TIDY"].startswith("clang-tidy")
    assert re.search(r'^ordinary=".*\btidy\b', (ROOT / "scripts/test").read_text(), re.M)
    assert "WarningsAsErrors: '*'" in (ROOT / ".clang-tidy").read_text()

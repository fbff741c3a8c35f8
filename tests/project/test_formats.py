"""Each configuration file of a tool is one that something obeys, and no file is too long to be read
in one go. The length of functions is clang-tidy's."""

import configparser
import json
import re
import subprocess

import pytest

from project import CXX, PRODUCT, ROOT, name, sources, tracked


def test_clang_format_agrees():
    files = sources(*PRODUCT, "tests", "examples", "bench")
    checked = subprocess.run(["clang-format", "--dry-run", "--Werror", *files],
                             capture_output=True, text=True, check=False)
    assert (checked.returncode, checked.stderr) == (0, "")


def test_shellcheck_agrees_with_scripts_that_can_be_called():
    scripts = [path for path in tracked()
               if re.match(rb"#!.*\b(ba)?sh\n|# shellcheck shell=", path.read_bytes())]
    assert len(scripts) > 10
    checked = subprocess.run(["shellcheck", *scripts], capture_output=True, text=True,
                             check=False, cwd=ROOT)
    assert (checked.returncode, checked.stdout) == (0, "")
    assert [name(path) for path in scripts if path.read_bytes()[:2] == b"#!"
            and not path.stat().st_mode & 0o111] == []


@pytest.mark.parametrize("longest, is_test", [(250, False), (400, True)])
def test_no_file_of_code_is_too_long(longest, is_test):
    """A table of a test's rows is one thing to read."""
    code = [path for path in tracked() if name(path).startswith("tests/") == is_test
            and (path.suffix in (*CXX, ".c", ".py") or path.read_bytes()[:2] == b"#!")]
    assert len(code) > 50
    assert [name(path) for path in code if path.read_text().count("\n") > longest] == []


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


# What breaks a setting.
BREAKS = {
    "charset = utf-8": lambda data: not is_utf8(data),
    "end_of_line = lf": lambda data: b"\r" in data,
    "indent_style = space": lambda data: re.search(rb"^\t", data, re.M),
    "insert_final_newline = true": lambda data: re.search(rb"(?:[^\n]|\n\n)\Z", data),
    "trim_trailing_whitespace = true": lambda data: re.search(rb"[^\S\n]$", data, re.M),
}


def is_utf8(data):
    try:
        return data.decode() is not None
    except UnicodeDecodeError:
        return False


def test_editorconfig_is_obeyed():
    """The width of an indent by the formatter, and all else as above."""
    settings = editor_settings("*")
    width = re.search(r"^IndentWidth: (\d+)$", (ROOT / ".clang-format").read_text(), re.M)[1]
    assert settings.pop("indent_size") == width
    assert {f"{key} = {value}" for key, value in settings.items()} == set(BREAKS)
    assert [(name(path), rule) for path in texts() for rule, breaks in BREAKS.items()
            if breaks(path.read_bytes())
            and rule.split(" = ")[0] not in editor_settings(name(path))] == []


def test_all_tests_run_the_tidy_preset():
    """It takes as long as a build of the product, so it is a run of its own."""
    presets = json.loads((ROOT / "CMakePresets.json").read_text())["configurePresets"]
    (tidy,) = [preset for preset in presets if preset["name"] == "tidy"]
    assert tidy["cacheVariables"]["CMAKE_CXX_CLANG_TIDY"].startswith("clang-tidy")
    assert re.search(r'^ordinary=".*\btidy\b', (ROOT / "scripts/test").read_text(), re.M)
    assert "WarningsAsErrors: '*'" in (ROOT / ".clang-tidy").read_text()

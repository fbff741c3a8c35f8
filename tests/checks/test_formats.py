"""Each configuration file of a tool is one that something obeys."""

import subprocess

import pytest

from project import ROOT, name, sources, tracked

TEXT = (".h", ".cpp", ".c", ".py", ".toml", ".md", ".txt", ".cmake", ".json", ".pl", ".sh", "")


def test_clang_format_agrees():
    files = sources("lib", "conf", "manager", "tests", "examples", "bench")
    checked = subprocess.run(["clang-format", "--dry-run", "--Werror", *files],
                             capture_output=True, text=True, check=False)
    assert checked.stderr == ""
    assert checked.returncode == 0


def texts():
    found = [path for path in tracked() if path.suffix in TEXT
             and not any(part in name(path) for part in ("/corpus/", "LICENSE"))]
    assert len(found) > 50
    return found


@pytest.mark.parametrize("rule, holds", [
    ("ends with one line feed", lambda data: data == b"" or
     data.endswith(b"\n") and not data.endswith(b"\n\n")),
    ("has no trailing white space", lambda data: not any(
        line != line.rstrip() for line in data.split(b"\n"))),
    ("has no carriage return", lambda data: b"\r" not in data),
    ("is indented by blanks", lambda data: not any(
        line.startswith(b"\t") for line in data.split(b"\n"))),
    ("is UTF-8", lambda data: data.decode("utf-8") is not None),
])
def test_editorconfig_is_obeyed(rule, holds):
    assert [name(path) for path in texts() if not holds(path.read_bytes())] == [], rule


def test_scripts_are_sound_for_their_shell():
    scripts = [path for path in tracked()
               if path.read_bytes()[:2] == b"#!" and b"sh" in path.read_bytes().split(b"\n")[0]]
    assert scripts
    for script in scripts:
        shell = "bash" if b"bash" in script.read_bytes().split(b"\n")[0] else "sh"
        subprocess.run([shell, "-n", script], check=True)
        assert script.stat().st_mode & 0o111, f"{name(script)} is not executable"


def test_the_presets_name_the_tidy_configuration_and_it_exists():
    assert "clang-tidy" in (ROOT / "CMakePresets.json").read_text()
    assert (ROOT / ".clang-tidy").exists()

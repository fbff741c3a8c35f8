"""Every script tells what it does without doing it, and refuses what it does not know before it
does anything: below a path with a blank, called by a link, where it finds no tool to do it with."""

import itertools
import shutil
import subprocess

import pytest

from project import ROOT, name, tracked

FOLDERS = ("fleet", "packaging", "scripts", "scripts/inside")
SCRIPTS = [name(path) for path in tracked() if path.read_bytes()[:2] == b"#!"
           and name(path.parent) in FOLDERS] + ["docs/site/filter", "examples/clamd/tour",
                                                "examples/tour"]
# All that a script may need until it knows that its arguments are right.
TOOLS = ("dirname", "dpkg-query", "grep", "realpath", "sed")
WRONG = {
    "docs/site/filter": [[]],
    "examples/clamd/tour": [[], ["/dev/null"], ["{tool}", "surplus"]],
    "examples/tour": [[], ["/dev/null"], ["{tool}", "surplus"]],
    "fleet/demo": [["/nonexistent"], ["{tool}", "surplus"]],
    "fleet/hosts": [[], ["3"], ["x", "{tool}", "true"], ["3", "/nonexistent", "true"],
                    ["--server"], ["--server", "none", "3", "{tool}", "true"],
                    ["--on", "h1", "true"], ["--site", "3", "{tool}", "true"]],
    "fleet/measure": [[], ["--hosts=x", "{tool}"], ["/nonexistent"]],
    "fleet/test": [[], ["/nonexistent"]],
    "packaging/cross": [[], ["arm64"]],
    "packaging/try": [[], ["deb", "rpm"]],
    "scripts/bench": [["--quick", "surplus"]],
    "scripts/demo": [["surplus"], ["clamd", "surplus"]],
    "scripts/docs": [["surplus"]],
    "scripts/faults": [["surplus"], ["--scenario", "none"], ["--quick", "--scenario", "help"],
                       ["--workers", "0"]],
    "scripts/fuzz": [[], ["options"], ["none", "1"], ["options", "x"], ["options", "1", "surplus"]],
    "scripts/inside/bare-debian": [["/"], ["/", "true"]],
    "scripts/inside/emulated": [["aarch64"], ["aarch64", "true"], ["none", "true"]],
    "scripts/install": [[], ["dash", "--bogus"]],
    "scripts/mutants": [["-3"], ["0"], ["x"], ["5", "none"]],
    "scripts/on-bare-debian": [[], ["bookworm"], ["../x", "true"]],
    "scripts/package": [["surplus"], ["try", "surplus"]],
    "scripts/portability": [["i386", "none"]],
    "scripts/picture": [["program", "surplus"]],
    "scripts/test": [["tidy", "none"], ["all", "tidy"], ["d"]],
}


@pytest.fixture(name="call", scope="module")
def call_by_a_link(tmp_path_factory):
    """Calls a script of a copy of the project, which it must not change."""
    top = tmp_path_factory.mktemp("a blank")
    tools, temporary, link = top / "tools", top / "tmp", top / "a link"
    for path in tracked():
        copy = top / "the project" / name(path)
        copy.parent.mkdir(parents=True, exist_ok=True)
        shutil.copy2(path, copy)
    for folder in (tools, temporary):
        folder.mkdir()
    for tool in TOOLS:
        (tools / tool).symlink_to(shutil.which(tool))

    def everything():
        return {path: path.lstat().st_mtime_ns for path in top.rglob("*")}

    def call(script, *arguments):
        link.unlink(missing_ok=True)
        link.symlink_to(top / "the project" / script)
        before = everything()
        line = [link, *(argument.format(tool=tools / "sed") for argument in arguments)]
        run = subprocess.run(line, cwd=top, env={"PATH": str(tools), "TMPDIR": str(temporary)},
                             stdin=subprocess.DEVNULL, capture_output=True, text=True,
                             timeout=60, check=False)
        assert everything() == before
        return run

    return call


def head(script):
    """The comment, or the text, that a script begins with."""
    text = (ROOT / script).read_text().partition("\n")[2]
    if text.startswith('"""'):
        return text.split('"""')[1]
    return "\n".join(line[2:] for line in itertools.takewhile(
        lambda line: line.startswith("#"), text.splitlines()))


@pytest.mark.parametrize("script", SCRIPTS)
def test_help_is_its_head_and_nothing_else(call, script):
    run = call(script, "--help")
    assert (run.returncode, run.stderr) == (0, "")
    assert f"    {script}" in head(script)
    assert head(script).strip() in run.stdout


@pytest.mark.parametrize("script, arguments", [
    *((script, ["--bogus"]) for script in SCRIPTS),
    *((script, line) for script, lines in WRONG.items() for line in lines)])
def test_a_wrong_argument_is_refused(call, script, arguments):
    run = call(script, *arguments)
    assert (run.returncode, run.stdout) == (2, "")
    assert run.stderr

"""The first change of CONTRIBUTING.md shows what it is said to show, from the clone to the commit."""

import os
import re
import shlex
import shutil
import subprocess

from pages import ROOT

IDENTITY = {f"GIT_{who}_{what}": "a@example.org" for who in ("AUTHOR", "COMMITTER")
            for what in ("NAME", "EMAIL")}


def git(folder, *arguments):
    return subprocess.run(["git", *arguments], cwd=folder, env=os.environ | IDENTITY, check=True,
                          stdout=subprocess.PIPE, text=True).stdout


def repository(folder):
    """The project as it is, with what is not committed."""
    for name in git(ROOT, "ls-files", "-z", "--cached", "--others", "--exclude-standard").split("\0"):
        if (ROOT / name).is_file():
            (folder / name).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy2(ROOT / name, folder / name)
    for command in ("init --quiet", "add --all", "commit --quiet --message all"):
        git(folder, *command.split())
    return folder


def test_the_first_change_shows_what_it_is_said_to_show(tmp_path):
    page = (ROOT / "CONTRIBUTING.md").read_text()
    session = "".join(re.findall(r"^```\n(.*?)^```$", page, re.M | re.S))
    commands = re.findall(r"^\$ (.*)$", session, re.M)
    assert len(commands) > 10
    script = "".join(f"printf '%s\\n' {shlex.quote('$ ' + command)}\n{command}\n" for command in commands)
    script = script.replace("--quiet URL ", f"--quiet {shlex.quote(str(repository(tmp_path / 'project')))} ")
    shown = subprocess.run(["sh", "-c", script], cwd=tmp_path, env=os.environ | IDENTITY, check=False,
                           stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                           timeout=600, text=True).stdout
    assert shown.replace(str(tmp_path / "project"), "URL") == session

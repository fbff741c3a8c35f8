"""The session of README shows what its comments say, and leaves nothing."""

import os
import re
import shutil

import places
from pages import ROOT

BLOCKS = re.findall(r"^(?:    .*\n)+", (ROOT / "README.md").read_text(), re.M)


def test_the_session_shows_what_it_says(tmp_path):
    host = places.Host(tmp_path)
    shutil.copytree(ROOT / "examples/server", tmp_path / "run/clone/examples/server")
    (tmp_path / "run/clone/build/release").mkdir(parents=True)
    (tmp_path / "usr/sbin/avmanager").rename(tmp_path / "run/clone/build/release/avmanager")
    block, = [block for block in BLOCKS if "kav=" in block]
    rows = [re.fullmatch(r" +(.*?)(?: +# (.*))?", line).groups() for line in block.splitlines()]
    shown = host.session([command for command, _ in rows], "cd /run/clone")
    assert [" ".join(lines) for lines in shown] == [
        "" if said is None or said.startswith("(") else said for _, said in rows]
    assert len(shown) > 8
    assert os.listdir(tmp_path / "opt") == ["kav"]
    assert os.listdir(tmp_path / "tmp") == []

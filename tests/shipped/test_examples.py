"""Each example does what the session beside it shows, and is short enough to be read at once. The
page of the libraries shows parts of them."""

import os
import re
import shlex
import socket
import subprocess
from pathlib import Path

import pytest

FOLDER = Path(__file__).resolve().parents[2] / "examples"
BUILT = Path(os.environ["EXAMPLES"])
SESSIONS = sorted(FOLDER.glob("*.expected"))
LONGEST = 59


@pytest.fixture
def log(tmp_path):
    """The examples' own /dev with a log daemon's socket in it, and their own /etc/zrc."""
    (tmp_path / "zrc").mkdir()
    (tmp_path / "dev").mkdir()
    with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as bound:
        bound.bind(str(tmp_path / "dev/log"))
        bound.settimeout(10)
        yield bound


def typed(command, folder):
    """What a shell prints for a command, on both streams. In a mount namespace of its own, so
    that nothing reaches the machine's log, wherever this test is run."""
    mounts = "mount --bind dev /dev && mount --bind zrc /etc/zrc"
    return subprocess.run(
        ["unshare", "--mount", "sh", "-c", f'{mounts} && exec sh -c "$1" 2>&1', "sh", command],
        cwd=folder, env={"PATH": os.environ["PATH"], "LC_ALL": "C"}, timeout=60, check=False,
        stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, text=True).stdout


@pytest.mark.parametrize("session", SESSIONS, ids=lambda path: path.stem)
def test_it_does_what_its_session_shows(session, tmp_path, log):
    (tmp_path / session.stem).symlink_to(BUILT / session.stem)
    shown = session.read_text()
    commands = re.findall(r"^\$ (.*)$", shown, re.M)
    assert "".join(f"$ {command}\n{typed(command, tmp_path)}" for command in commands) == shown


def test_the_warning_arrives_in_the_system_log(tmp_path, log):
    typed(shlex.quote(str(BUILT / "messages")), tmp_path)
    priority = 3 * 8 + 4  # a daemon's warning
    assert re.fullmatch(rf"<{priority}>.{{15}} messages\[\d+\]: a warning to the log",
                        log.recv(4096).decode())


def test_each_has_a_session_and_is_short():
    lengths = {path.stem: path.read_text().count("\n") for path in FOLDER.glob("*.cpp")}
    assert lengths.keys() == {session.stem for session in SESSIONS}
    assert len(lengths) >= 7
    assert {name: lines for name, lines in lengths.items() if lines > LONGEST} == {}


def unindented(text):
    return "\n" + re.sub(r"^ +", "", text, flags=re.M)


def test_the_page_of_the_libraries_shows_parts_of_them():
    page = (FOLDER.parent / "docs/libraries.md").read_text()
    linked = [re.findall(r"\(\.\./examples/(\w+)\.cpp\)", section) for section in page.split("\n## ")]
    assert {name for names in linked for name in names} == {session.stem for session in SESSIONS}
    shown = [(names, block) for names, section in zip(linked, page.split("\n## "))
             for block in re.findall(r"^```.*\n((?:.*\n)*?)```$", section, re.M)]
    assert len(shown) >= 10
    assert [block for names, block in shown if not any(
        unindented(block) in unindented((FOLDER / f"{name}.cpp").read_text()) for name in names)] == []


def test_the_page_of_the_libraries_names_what_the_headers_declare():
    rows = re.findall(r"^\| .* \| (`.*`)[^|]* \| `(zarnic/(\w+)/\w+\.h)` \| `(\w+)` \|$",
                      (FOLDER.parent / "docs/libraries.md").read_text(), re.M)
    assert len(rows) >= 10
    for names, header, folder, component in rows:
        (found,) = [*FOLDER.parent.glob(f"lib/*/include/{header}"),
                    *FOLDER.parent.glob(f"conf/include/{header}")]
        declared = re.sub("//.*", "", found.read_text())
        assert folder == component
        assert [name for name in re.findall(r"(\w+)`", names)
                if not re.search(rf"\b{name}\b", declared)] == []

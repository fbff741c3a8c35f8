"""docs/operations.md and docs/security.md say what is so: each row is brought about, its commands are
typed, and what they show and change is compared. A row that takes more than that names its test."""

import concurrent.futures
import re
import shutil
from pathlib import Path

import pytest

import interface
import places
from pages import ROOT

PAGES = ("operations", "security")
BLOCKS = re.findall(r"^(?:    .*\n)+", (ROOT / "docs/operations.md").read_text(), re.M)
NAMES, SAVE, CLAMD, UNIT, CHECK, CRON = (re.sub("^    ", "", block, flags=re.M) for block in BLOCKS)
TESTS = "\n".join(path.read_text() for path in (ROOT / "tests/program").rglob("test_*.py"))
SERVER = r"\d+ (?:/usr/bin/perl|/bin/sh) /opt/kav/bin/\w+(?: -c /etc/kav/aveserver\.conf)?"
HELP = NAMES + r"""
within() { n=0; until eval "$1"; do n=$((n + 1)); [ $n -lt 200 ] || exit; /usr/bin/sleep 0.05; done; }
wait_up() { within '[ -s "$pid" ]'; }
wait_errors() { within '[ -s "$errors" ]'; }
up() { start; wait_up; }
another_user() { setpriv --reuid=65534 "$@" || [ $? -ne 127 ] || echo "No other user"; }
crash() { number=$(cat "$pid"); kill -KILL $number; within '[ ! -d /proc/$number ]'; }
write_program() { printf '#!/bin/sh\n%s\n' "$1" >"$kav/bin/$service"; }
"""


def told(page):
    """The rows of the page's tables: what is seen, and its cause where the table has one."""
    text = (ROOT / f"docs/{page}.md").read_text()
    for heading, table in re.findall(r"^\| (\w.*) \|\n\|[-|]+\|\n((?:\|.*\n)+)", text, re.M):
        for row in table.splitlines():
            cells = [cell.strip() for cell in row.strip("|").split(" | ")]
            yield " | ".join(cells[:2 if "Cause" in heading else 1]), cells


def known(page):
    """What the file beside this one says of each row: its verbs with their texts."""
    text = (Path(__file__).parent / f"{page}.rows").read_text()
    for row in re.sub("^#.*\n", "", text, flags=re.M).strip().split("\n\n"):
        name, *lines = row.splitlines()
        yield name, [(line.partition(" ")[0], line.partition(" ")[2]) for line in lines]


ROWS = {name: cells for page in PAGES for name, cells in told(page)}
KNOWN = {name: lines for page in PAGES for name, lines in known(page)}


def commands(cell):
    return re.findall("`([^`]+)`", cell)


@pytest.mark.parametrize("page", PAGES)
def test_every_row_is_known(page):
    assert [name for name, _ in told(page)] == [name for name, _ in known(page)]


def test_every_test_that_holds_a_row_exists():
    held = [text for lines in KNOWN.values() for verb, text in lines if verb == "held"]
    assert [name for name in held if f"def {name}(" not in TESTS] == []


def test_every_line_that_tells_of_a_failure_has_a_row_in_the_alphabet():
    seen = [re.match('"(.*?)"', name)[1] for name, _ in told("operations") if name.startswith('"')]
    lines = seen[:seen.index("Unknown option '--NAME'") + 1]
    assert lines == sorted(lines)
    assert {*interface.literals(r"(?:Service|Kaspersky|Unable) [\w -]+|Error")} - set(lines) == {
        "Kaspersky Anti-Virus server is installed"}


def session(folder, typed):
    """On a host of its own, whose time is short."""
    host = places.Host(folder)
    (folder / "usr/sbin/sleep").write_text(
        '#!/bin/sh\n[ "$1" = 1 ] && exec /usr/bin/sleep 0.5\nexec /usr/bin/sleep 2\n')
    (folder / "usr/sbin/sleep").chmod(0o755)
    return host.session(typed, HELP)


def steps(row):
    """The commands of a row, each with the pattern of what it shows."""
    own = {verb: commands(cell) for verb, cell in zip(("look", "out"), ROWS[row][2:])}
    for verb, text in KNOWN[row]:
        command, _, shown = text.partition(" =>") if verb in ("typed", "after") else (
            own[verb].pop(0), "", text)
        yield command, shown.strip().replace("SERVER", SERVER)


SHOWN = [row for row, lines in KNOWN.items() if lines[0][0] not in ("held", "never")]


@pytest.fixture(name="shown", scope="module")
def shown_on_several_hosts_at_once(tmp_path_factory):
    folders = [tmp_path_factory.mktemp("host") for _ in SHOWN]  # not in several threads at once
    with concurrent.futures.ThreadPoolExecutor(4) as hosts:
        return dict(zip(SHOWN, hosts.map(lambda folder, row: session(
            folder, [command for command, _ in steps(row)]), folders, SHOWN)))


@pytest.mark.parametrize("row", SHOWN)
def test_the_way_out_leads_out(shown, row):
    typed, patterns = zip(*steps(row))
    if any("No other user" in line for lines in shown[row] for line in lines):
        pytest.skip("no other user is mapped in this user namespace")
    assert [(command, lines) for command, pattern, lines in zip(typed, patterns, shown[row])
            if not re.fullmatch(pattern, "\n".join(lines))] == []


def test_a_configuration_is_saved_and_put_back_as_told(tmp_path):
    level = "tail -n 1 /run/kav/log"
    before, save, compare, look, back = SAVE.splitlines()
    setup, *shown, dates, restored, old = session(tmp_path, [
        'up; sed s/low/high/ "$conf" >"$conf.new"', before, save, compare, level, look, back, level])
    assert setup == []
    assert re.fullmatch(SERVER, shown[2][0])
    assert re.fullmatch(SERVER, restored[0])
    assert shown == [[], [], shown[2][:1], ["reloaded, level high"]]
    assert len(dates) == 2
    assert old == ["reloaded, level low"]


@pytest.mark.parametrize("typed", [
    "(kav=/opt/kav/; up)", "up; kav=/opt/other", "up; pgrep() { return 127; }",
    "up; pgrep() { return 1; }"])  # as one that does not know these options
def test_the_pid_file_of_a_server_that_runs_is_not_deleted(tmp_path, typed):
    assert session(tmp_path, [typed, "stale", 'ls "$pid"'])[2] == ["/run/kav/aveserver.pid"]


@pytest.mark.parametrize("other", [
    "/usr/bin/tail -f /opt/kav/bin/aveserver", "/opt/kav/bin/aveserver2 100",
    "/run/opt/kav/bin/aveserver 100",
    "unshare --pid --fork /opt/kav/bin/aveserver -c /etc/kav/aveserver.conf"])
def test_other_processes_are_not_ended(tmp_path, other):
    copies = "mkdir -p /run/opt/kav/bin; for copy in /opt/kav/bin/aveserver2 /run/opt/kav/bin/aveserver;"
    assert session(tmp_path, [f"{copies} do cp /usr/bin/sleep $copy; done", f"{other} & sleep 1",
                              "servers; end", "kill -0 $! && echo there"])[2:] == [[], ["there"]]


def test_cron_mails_what_is_critical_alone(tmp_path):
    line = CRON.partition(" root ")[2].rstrip()
    typed = f"env -i PATH=/usr/bin:/bin /bin/sh -c '{line}'"
    assert session(tmp_path, [typed, "up", typed]) == [["CRITICAL: Service is not running"], [], []]


CLAMD_CONF = """\
LocalSocket /opt/kav/socket
PidFile /run/kav/aveserver.pid
LogFile /opt/kav/log
DatabaseDirectory /opt/kav/database
"""


def test_the_monitoring_finds_a_real_server_that_hangs(tmp_path):
    """Which takes connections: `ask` does not see it."""
    if not Path("/usr/sbin/clamd").exists():
        pytest.skip("clamd is not installed")
    host, kav = places.Host(tmp_path), tmp_path / "opt/kav"
    shutil.copy("/usr/sbin/clamd", kav / "bin/aveserver")
    shutil.copy(ROOT / "examples/clamd/files/clean", kav)
    (kav / "database").mkdir()
    shutil.copy(ROOT / "examples/clamd/signatures/first.ndb", kav / "database")
    (tmp_path / "etc/kav/aveserver.conf").write_text(CLAMD_CONF)
    (kav / "client.conf").write_text(CLAMD_CONF.splitlines()[0])
    asks = CHECK.splitlines()[-1]
    shown = host.session([CLAMD, "up; ask 2>&1 | tail -n 1", CHECK, 'kill -STOP "$(cat "$pid")"; ask', asks], HELP)
    assert shown == [[], ["PONG"], ["OK: Service is started"] * 2, ["PONG"],
                     ["CRITICAL: no answer to clamdscan"]]

"""A host finishes what it began, wherever the change is interrupted: the table of docs/fleet.md."""

import json
import os
import re
import subprocess
from pathlib import Path
from signal import SIGKILL

import pytest

from conftest import ROOT, wait_until

PAGE = ROOT / "docs/fleet.md"
TABLE = re.compile(r"(?<=^\| Interruption \| The host \| The next play \|\n\|---\|---\|---\|\n)"
                   r"(\|[^\n]*\n)*", re.M)
LOW, HIGH = ("started, level low", "Level low"), ("reloaded, level high", "Level high")
HANGS = 'note("reloaded, level $config{Level}");'
LEFT = "left out: /opt/kav/conf.lock exists"

# A manager that waits at its nth command. Those of a change are six: ask, copy, save, ask, reload, ask.
WAITS = """#!/bin/sh
n=$(($(cat /commands) + 1))
echo $n >/commands
if [ $n = "$(cat /stop)" ]; then echo $n >/waits; while [ -e /stop ]; do sleep 0.1; done; fi
exec /usr/sbin/real "$@"
"""


@pytest.fixture(scope="module")
def row():
    """Takes what was seen of an interruption: a row of the page. FLEET_DOCS=1 writes the page."""
    seen, page = [], PAGE.read_text()

    def saw(*cells):
        seen.append("| " + " | ".join(cells) + " |\n")
        assert seen[-1] in TABLE.search(page)[0] or os.environ.get("FLEET_DOCS")

    yield saw
    if os.environ.get("FLEET_DOCS"):
        PAGE.write_text(TABLE.sub(lambda _: "".join(seen), page))


def at_every_step(fleet, **variables):
    """Begins a change in which each host waits at another step."""
    fleet.each(lambda host: fleet.on(host, "sh", "-c", f"""cd /usr/sbin; mv avmanager real
        cat >avmanager; chmod 755 avmanager; echo 0 >/commands; echo {host[1:]} >/stop""", given=WAITS))
    play = fleet.begin(avmanager_batches=[6], **variables)
    wait_until(lambda: all(fleet.each(lambda host: fleet.on(host, "find", "/waits", check=False)
                                      ).values()))
    return play


def workers(fleet):
    """The ids of each host's rollout: the process that works, the one that answers for it, and the
    ssh server's for their connection."""
    return fleet.each(lambda host: fleet.on(host, "sh", "-c", """
        up() { sed 's/.*) . //; s/ .*//' /proc/$1/stat; }
        for id in $(ls /proc | grep '^[0-9]*$'); do
            [ "$(readlink /proc/$id/fd/* 2>/dev/null | grep -c conf.rollout)" = 0 ] || worker=$id
        done
        module=$(up $worker) shell=$(up $(up $worker))
        echo $worker $module $(up $shell)""").split())


def go_on(fleet):
    fleet.each(lambda host: fleet.on(host, "rm", "-f", "/stop"))


def at_an_end(fleet):
    wait_until(lambda: not any("conf.lock" in files for files in fleet.each(fleet.files).values()))


def record(fleet, host):
    return json.loads(fleet.on(host, "cat", "/opt/kav/conf.rollout"))


def warned(ended):
    """What a play said of the one before; it breaks its lines."""
    return " ".join(ended.out.split()).partition("[WARNING]: The rollout before this one: ")[2]


def whole(fleet, levels):
    """Every host has one of the two configurations, its service runs with it, and nothing is left."""
    seen = fleet.each(fleet.level)
    assert set(seen.values()) <= set(levels), seen
    for host in fleet.names:
        assert fleet.files(host) - {"conf.before"} == {"bin", "conf", "conf.rollout", "log", "pid"}
        fleet.on(host, "sh", "-c", "kill -0 $(cat /opt/kav/pid)")


def network_down(fleet, play):
    for host in fleet.names:
        subprocess.run(["ip", "link", "set", host, "down"], check=True)
    go_on(fleet)
    at_an_end(fleet)
    play.wait()
    for host in fleet.names:
        subprocess.run(["ip", "link", "set", host, "up"], check=True)


def to_each(*signals):
    """Sends signals, each to the worker (0), the one that answers (1), or the connection's server (2)."""
    def send(fleet, _play):
        ids = workers(fleet)
        fleet.each(lambda host: [fleet.on(host, "kill", f"-{signal}", ids[host][to])
                                 for signal, to in signals])
        go_on(fleet)
    return send


def engine_killed(fleet, play):
    os.killpg(play.pid, SIGKILL)
    go_on(fleet)


def manager_removed(fleet, _play):
    fleet.each(lambda host: fleet.on(host, "rm", "/usr/sbin/avmanager"))
    go_on(fleet)


@pytest.mark.parametrize("name, interrupt, said", [
    ("the engine is killed", engine_killed, None),
    ("ssh's connection is cut", to_each(("TERM", 2)), "not finished"),
    ("the network goes down and comes back", network_down, "not finished"),
    ("the module gets SIGTERM, SIGHUP", to_each(("TERM", 0), ("TERM", 1), ("HUP", 0), ("HUP", 1)), "done"),
    ("the manager is removed", manager_removed, "done")], ids=lambda value: value
    if isinstance(value, str) else "")
def test_a_host_finishes_without_its_caller(fleet, row, name, interrupt, said):
    play = at_every_step(fleet)
    interrupt(fleet, play)
    print(play.communicate())
    at_an_end(fleet)
    whole(fleet, {HIGH})
    assert {record(fleet, host)["line"] for host in fleet.names} == {"done"}
    assert (fleet.report() if said else {}) == (dict.fromkeys(fleet.names, said) if said else {})
    fleet.each(lambda host: fleet.on(host, "mv", "-f", "/usr/sbin/real", "/usr/sbin/avmanager"))
    assert fleet.roll(avmanager_batches=[6]).status == 0
    assert fleet.report() == dict.fromkeys(fleet.names, "nothing to do")
    row(name, "has the new configuration", "`nothing to do`")


def test_two_plays_at_once_and_a_host_that_dies(fleet, row):
    play = at_every_step(fleet)
    fleet.report_file = fleet.folder / "second"
    fleet.roll(avmanager_batches=[6], avmanager_take_over=True)
    assert fleet.report() == dict.fromkeys(fleet.names, f"{LEFT}, and its maker is at work")
    row("two plays at once", "has the first one's", "`left out: ... exists, and its maker is at work`")

    to_each(("KILL", 1), ("KILL", 0))(fleet, play)
    play.communicate()
    fleet.roll(avmanager_batches=[6])
    lines = fleet.report()
    assert all(re.match(rf"{LEFT} since [\d: +-]+: not finished, [A-Z]", lines[host])
               for host in fleet.names), lines
    saved = {host for host in fleet.names if fleet.level(host)[1] == HIGH[1]}
    assert saved - {"h3"} == {"h4", "h5", "h6"}  # its manager may have outlived the rollout
    row("the host loses power", "stays locked", "`left out: ... exists since TIME: not finished, STEP`")

    assert fleet.roll(avmanager_batches=[6], avmanager_take_over=True).status == 0
    assert fleet.report() == dict.fromkeys(fleet.names, "done")
    whole(fleet, {HIGH})
    row("the same, with `avmanager_take_over`", "has the new configuration", "`done`")


def test_a_change_that_cannot_be_is_undone_though_the_engine_is_killed(fleet, row):
    play = at_every_step(fleet, avmanager_config_source=fleet.configuration("x", log="/nowhere/log"))
    engine_killed(fleet, play)
    play.communicate()
    at_an_end(fleet)
    whole(fleet, {LOW})
    reason = "rolled back, failed: Reload the service: Service reloading failed"
    assert {record(fleet, host)["line"] for host in fleet.names} == {reason}
    again = fleet.roll(avmanager_batches=[6])
    assert reason in warned(again)
    assert fleet.report() == dict.fromkeys(fleet.names, "done")
    row("the engine is killed, and the server dies", "has the old configuration",
        "a warning with the line, then `done`")


@pytest.mark.parametrize("name, new", [
    ("hangs at the reload", "sleep 60 while 1;"),
    ("dies at the reload", "exit 3;"),
    ("dies 2 s after the reload", HANGS + " alarm 7;")])
def test_a_server_that_does_not_bear_the_change(one, row, name, new):
    one.replace_server("h1", HANGS, new)
    told = {"avmanager_patience": 2, "avmanager_settle": 4}
    assert one.roll(**told).status != 0
    assert re.match("rolled back, failed: (Reload the service|Let the service prove)", one.report()["h1"])
    whole(one, {LOW})
    assert one.report()["h1"] in warned(one.roll(**told))
    row(f"the server {name}", "has the old configuration", "a warning with the line")


# Whatever a save leaves free, another process takes.
FILLS = """#!/bin/sh
/usr/sbin/real "$@"
[ "$*" != "--save-to-config-file --file=/small/conf.new --config-file=/small/conf" ] ||
    { : >/small/conf && cat /dev/zero >/small/y 2>/dev/null; exit 0; }
"""


@pytest.mark.parametrize("name, used, grows, manager, line", [
    ("at the copy", 44, 0, WAITS, "failed: Keep a copy: /small/conf.before is not whole: cp: "),
    ("at the save", 12, 16000, WAITS, "rolled back, failed: Save the configuration: /small/conf is not whole: cp: "),
    ("at the save and after it", 12, -14000, FILLS, "rolled back, failed: Save the configuration: /small/conf is not whole")])
def test_a_full_disk(one, row, name, used, grows, manager, line):
    """Of 80 kB the configuration has 16, the record 4, and what is brought 16 and what it grows by."""
    one.on("h1", "sh", "-c", f"""mkdir /small && mount -t tmpfs -o size=80k small /small && cd /small &&
        (cat /opt/kav/conf; yes '' | head -c 14000) >conf && head -c {used}k /dev/zero >x""")
    one.on("h1", "sh", "-c", "cd /usr/sbin; mv avmanager real; cat >avmanager; chmod 755 avmanager; "
           "echo 0 >/commands; echo 0 >/stop", given=manager)
    new = one.folder / "large"
    new.write_text(Path(one.configuration("new")).read_text() + "\n" * (14000 + grows))
    before = one.on("h1", "md5sum", "/small/conf")
    told = {"avmanager_config_file": "/small/conf", "avmanager_config_source": str(new)}
    one.roll(**told)
    assert one.report()["h1"].startswith(line)
    assert one.on("h1", "md5sum", "/small/conf") == before
    assert one.level("h1")[0] == LOW[0]
    assert not one.on("h1", "find", "/small", "-name", "*.new", "-o", "-name", "*.lock")
    assert one.report()["h1"] in warned(one.roll(**told))
    row(f"the disk is full {name}", "has the old configuration", "a warning with the line")

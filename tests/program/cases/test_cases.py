"""Runs the cases that are kept as data in *.toml. A case reads:

    [[case]]
    name = "what holds"
    args = ["--check-install", "--kav-dir={kav}"]

and may have, all empty or 0 when left out:

    files   = { name = "content" }   files in the case's directory before the run
    missing = ["cat"]                stand-ins that are taken away
    acts    = { cat = "exit 3" }     what stand-ins do (see tests/support/probe.cpp)
    out, err, status                 what the program prints and its exit status
    calls   = ["cat {dir}/pid"]      the stand-ins called, in this order
    service = 255                    exit status of the service process of a daemon start
    errors  = { other = "3" }        errors files by service; any other one fails the case

{dir} and {kav} stand for the case's directory and its server tree.
"""

import tomllib
from pathlib import Path

import pytest

from commands import fill

KEYS = {"name", "args", "files", "missing", "acts", "out", "err", "status", "calls", "service",
        "errors"}


def load():
    for path in sorted(Path(__file__).parent.glob("*.toml")):
        for case in tomllib.loads(path.read_text())["case"]:
            unknown = case.keys() - KEYS
            assert not unknown, f"{path.name}: {case['name']}: {unknown}"
            yield pytest.param(case, id=f"{path.stem}: {case['name']}")


@pytest.mark.parametrize("case", load())
def test_case(host, case):
    for name, content in case.get("files", {}).items():
        host.file(name, fill(host, content))
    for name in case.get("missing", []):
        host.remove(name)
    for name, steps in case.get("acts", {}).items():
        host.act(name, fill(host, steps))

    result = host.run(*fill(host, case["args"]))

    assert result.out.decode() == fill(host, case.get("out", ""))
    assert result.err.decode() == fill(host, case.get("err", ""))
    assert result.status == case.get("status", 0)
    assert host.calls() == fill(host, case.get("calls", []))
    left = {path.name[len("zrckav_"):-len("_errors")]: path.read_text()
            for path in Path("/tmp").glob("zrckav_*")}
    assert left == case.get("errors", {})
    ended = sorted(result.orphans.values())
    if "service" in case:
        # The session leader and the detached process end with 0 beside the service process;
        # a feeder of the errors file's text may be among them, with 0 too.
        assert ended and ended[-1] == case["service"]
        assert set(ended[:-1]) <= {0}
    else:
        assert set(ended) <= {0}

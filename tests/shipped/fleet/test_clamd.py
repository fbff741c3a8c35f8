"""The rolling play with Debian's clamd, on hosts of `fleet/hosts --server clamd`: a server whose
process lives, but finds nothing."""

import re

import yaml

from conftest import ROOT, wait_until

TOLD = yaml.safe_load(re.search(r"^    avmanager_apply: .*\n(    .*\n)*",
                                (ROOT / "docs/fleet.md").read_text(), re.M)[0])
FAILED = "rolled back, failed: Let the service prove that it works: "


def test_a_server_that_finds_nothing_is_rolled_back_although_it_lives(few):
    """Another socket, and a limit above which clamd calls a file clean without a look at it."""
    old = few.on("h1", "cat", "/opt/kav/conf")
    new = {"h1": old + "LogClean yes\n", "h2": old.replace("socket", "elsewhere"),
           "h3": old + "MaxFileSize 1\n"}
    few.tell("all", **TOLD)
    for name, content in new.items():
        few.tell(name, avmanager_config_content=content)
    assert few.roll(avmanager_batches=[3], avmanager_proof=None).status != 0

    assert few.report() == {
        "h1": "done", "h3": f"{FAILED}exit status 1",
        "h2": f"{FAILED}ERROR: Could not connect to clamd on LocalSocket /opt/kav/socket: No such file or directory"}
    assert few.each(lambda name: few.on(name, "cat", "/opt/kav/conf")) == new | {"h2": old, "h3": old}
    for name in few.names:
        wait_until(lambda: few.on(name, *TOLD["avmanager_proof"], check=False))
        # Each server ended when it was told to: none had died before.
        log = few.on(name, "cat", "/opt/kav/log")
        assert log.count("--- Stopped at") == (1 if name == "h1" else 2)

"""A host for what documents tell to type: at the places that they name lie the manager, the examples
of its package, and a stand-in server. The host has mounts and processes of its own, which end with the
session."""

import os
import shutil
import subprocess

from pages import ROOT

MARK = "\036"
PATH = "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin"
SHOWN = ("check-aveserver", "panel-start")
# The first process takes the ends of all orphans, as it waits.
ENTER = """set -e
cd "$1"
mkdir -p /etc/kav /etc/zrc
for place in etc/kav etc/zrc opt run usr/sbin usr/share/doc tmp; do
    mount --bind "$place" "/$place"
done
cd /
/bin/sh /run/script 2>&1 & wait $!
"""


class Host:
    def __init__(self, folder):
        self.folder = folder
        for made in ("etc/kav", "etc/zrc", "opt", "run/kav", "tmp", "usr/sbin", "usr/share/doc/avmanager/examples"):
            (folder / made).mkdir(parents=True)
        shutil.copy(os.environ["AVMANAGER"], folder / "usr/sbin/avmanager")
        shutil.copytree(ROOT / "examples/server/bin", folder / "opt/kav/bin")
        for script in SHOWN:
            shutil.copy(ROOT / "examples" / script, folder / "usr/share/doc/avmanager/examples")
        (folder / "etc/kav/aveserver.conf").write_text(
            "PidFile /run/kav/aveserver.pid\nLog /run/kav/log\nLevel low\n")

    def session(self, commands, before=""):
        """The lines that each command shows, on both streams."""
        (self.folder / "run/script").write_text(
            f"mark() {{ status=$?; printf '{MARK}'; return $status; }}\n{before}\n"
            + "".join(f"mark\n{command}\n" for command in commands))
        with (self.folder / "output").open("wb") as output:
            subprocess.run(["unshare", "--mount", "--pid", "--fork", "--kill-child", "--mount-proc",
                            "/bin/sh", "-c", ENTER, "sh", self.folder], stdin=subprocess.DEVNULL,
                           stdout=output, stderr=subprocess.STDOUT, check=False, timeout=120, cwd="/",
                           env={"PATH": PATH, "LC_ALL": "C", "HOME": "/root"})
        setup, *shown = (self.folder / "output").read_text().split(MARK)
        assert (setup, len(shown)) == ("", len(commands))
        return [text.splitlines() for text in shown]

"""File systems and special files that are made for one test."""

import os
import subprocess
from contextlib import contextmanager, suppress

import pytest

from host import BOUND

# Somebody who is not root and not the owner of /tmp.
STRANGER = 65534


def mount(path, options):
    done = subprocess.run(["mount", "-t", "tmpfs", "-o", options, "none", path],
                          capture_output=True, text=True, check=False)
    if done.returncode != 0:
        pytest.skip(f"no mount of a tmpfs: {done.stderr}")


def remount_read_only(path):
    mount(path, "remount,ro")


@contextmanager
def file_system(path):
    """A file system of four pages on a new folder."""
    path.mkdir()
    mount(path, "size=16k,mode=755")
    try:
        yield path
    finally:
        subprocess.run(["umount", "--lazy", path], check=True)
        path.rmdir()


def fill(path):
    """Leaves no room for data in the file system of a folder."""
    with suppress(OSError), open(path / "filler", "wb", buffering=0) as filler:
        while filler.write(b"x" * 4096):
            pass


def make_fifo(path):
    os.mkfifo(path)
    return path


def make_link(path, target):
    path.symlink_to(target)
    return path


def give_away(path):
    """Makes a stranger the owner, where there is a stranger."""
    try:
        os.lchown(path, STRANGER, STRANGER)
    except OSError:
        pytest.skip("no other user is mapped in this user namespace")


def make_special(host, kind, path=None):
    """What lies where a file is expected; a kind that is a link leads to what it says."""
    path = path or host.dir / "special"
    if kind == "folder":
        path.mkdir()
    elif kind == "fifo":
        make_fifo(path)
    else:
        make_link(path, {"dangling": host.dir / "nowhere", "looping": path, "null": "/dev/null",
                         "linked": host.dir / "text"}[kind])
        if kind == "linked":
            host.file("text", "text")
    return path


def write_to_waiting_reader(fifo, content):
    """Waits until somebody has the fifo open for reading, or is held in opening it."""
    subprocess.run(["tee", fifo], input=content, stdout=subprocess.DEVNULL, timeout=BOUND,
                   check=True)


def read_from_waiting_writer(fifo):
    """All that is written into the fifo until its writers are gone."""
    return subprocess.run(["cat", fifo], stdout=subprocess.PIPE, timeout=BOUND, check=True).stdout

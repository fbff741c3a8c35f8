"""File systems and special files that are made for one test."""

import ctypes
import os
import select
from contextlib import contextmanager
from pathlib import Path

import pytest

from host import wait_until

MS_RDONLY = 1
MS_REMOUNT = 32
MNT_DETACH = 2
PAGE = 4096
# Somebody who is not root and not the owner of /tmp.
STRANGER = 65534
libc = ctypes.CDLL(None, use_errno=True)


def mount(path, flags=0, options=""):
    if libc.mount(b"none", os.fsencode(path), b"tmpfs", flags, options.encode()) != 0:
        pytest.skip(f"no mount of a tmpfs: {os.strerror(ctypes.get_errno())}")


@contextmanager
def file_system(path, pages):
    """A file system of so many pages on a new folder."""
    path.mkdir(exist_ok=True)
    mount(path, 0, f"size={pages * PAGE},mode=755")
    try:
        yield path
    finally:
        libc.umount2(os.fsencode(path), MNT_DETACH)
        path.rmdir()


def make_read_only(path):
    mount(path, MS_REMOUNT | MS_RDONLY)


def fill(path):
    """Leaves no room for data in the file system of a folder."""
    with open(path / "filler", "wb", buffering=0) as filler:
        try:
            while True:
                filler.write(b"x" * PAGE)
        except OSError:
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


def _opened(fifo, flags):
    try:
        return os.open(fifo, flags | os.O_NONBLOCK)
    except OSError:
        return None


def write_to_waiting_reader(fifo, content):
    """Waits until somebody has the fifo open for reading, or is held in opening it."""
    found = []
    wait_until(lambda: found.append(_opened(fifo, os.O_WRONLY)) or found[-1] is not None,
               f"a reader of {fifo.name}")
    os.write(found[-1], content)
    os.close(found[-1])


def read_from_waiting_writer(fifo):
    """All that is written into the fifo until its writers are gone."""
    descriptor = os.open(fifo, os.O_RDONLY | os.O_NONBLOCK)
    content = bytearray()
    ended = []

    def at_end():
        if select.select([descriptor], [], [], 0)[0]:
            try:
                chunk = os.read(descriptor, PAGE)
            except BlockingIOError:
                return False
            content.extend(chunk)
            # Before the first writer the fifo is at its end, too.
            ended.append(chunk == b"" and content != b"")
        return bool(ended) and ended[-1]

    wait_until(at_end, f"a writer of {fifo.name}")
    os.close(descriptor)
    return bytes(content)


def listing(path):
    return sorted(entry.name for entry in Path(path).iterdir())

"""File systems and special files that are made for one test."""

import ctypes
import os
import select
import socket
import stat
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


def make_socket(path):
    """A name in the file system that is a socket; nobody listens."""
    made = socket.socket(socket.AF_UNIX)
    # By a short name: an address holds 107 bytes.
    here = os.getcwd()
    os.chdir(path.parent)
    made.bind(path.name)
    os.chdir(here)
    made.close()
    return path


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


def make_null(path):
    """A null device of the test's own: the machine's is not for a test to write to."""
    try:
        os.mknod(path, stat.S_IFCHR | 0o600, os.makedev(1, 3))
    except PermissionError:
        pytest.skip("no device may be made in a user namespace")
    return path


def make_special(host, kind, path=None, content="text"):
    """What lies where a file is expected; a kind that is a link leads to what it says."""
    path = path or host.dir / "special"
    if kind == "dangling":
        make_link(path, host.dir / "nowhere")
    elif kind == "looping":
        make_link(path, path)
    elif kind == "linked":
        make_link(path, host.file("text", content))
    elif kind == "null":
        make_link(path, "/dev/null")
    elif kind == "device":
        make_null(path)
    elif kind == "linked device":
        make_link(path, make_null(host.dir / "device"))
    elif kind == "socket":
        make_socket(path)
    elif kind == "folder":
        path.mkdir()
    elif kind == "fifo":
        make_fifo(path)
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

"""Limits on a run of the program: what is set in its child before it starts."""

import os
import resource
import signal
import subprocess
from pathlib import Path

import pytest

from host import PROGRAM

MEGABYTE = 1 << 20
# A user of this private root's own: the kernel counts a user's processes on the whole machine, and
# other tests run at the same time.
USER = 20_000 + os.stat("/proc/self/ns/pid").st_ino % 40_000


def limited(kind, amount):
    return lambda: resource.setrlimit(kind, (amount, amount))


def descriptors(count):
    return limited(resource.RLIMIT_NOFILE, count)


def memory(size):
    return limited(resource.RLIMIT_AS, size)


def no_growth(disposition):
    """Files may not grow; who tries gets the kernel's SIGXFSZ, unless that is ignored."""
    def prepare():
        signal.signal(signal.SIGXFSZ, disposition)
        limited(resource.RLIMIT_FSIZE, 0)()

    return prepare


def processes(count):
    """So many processes, as an ordinary user: root is not held to it."""
    def become():
        os.setgroups([])
        os.setgid(USER)
        os.setuid(USER)
        limited(resource.RLIMIT_NPROC, count)()

    return become


def need_another_user():
    ranges = [map(int, line.split()) for line in
              Path("/proc/self/uid_map").read_text().splitlines()]
    if not any(first <= USER < first + count for first, _, count in ranges):
        pytest.skip(f"user {USER} is not mapped in this user namespace")


def has_loader():
    """Whether the program needs memory and descriptors for a loader of shared libraries."""
    headers = subprocess.run(["readelf", "-W", "-l", PROGRAM], capture_output=True, text=True,
                             check=True, env={"PATH": "/usr/bin:/bin", "LC_ALL": "C"}).stdout
    assert " LOAD " in headers
    return " INTERP " in headers

"""The project's files, as the checks read them."""

import json
import os
import re
import subprocess
import tempfile
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
BUILD = Path(os.environ["AVMANAGER_BUILD"])
PRODUCT = ("lib", "conf", "manager")
CXX = (".h", ".cpp")


def tracked():
    """Every file of the project that exists: as git lists them, or all outside build/."""
    listed = subprocess.run(
        ["git", "-C", ROOT, "ls-files", "--cached", "--others", "--exclude-standard"],
        capture_output=True, text=True, check=False)
    if listed.returncode == 0:
        paths = [ROOT / name for name in listed.stdout.splitlines()]
    else:
        paths = [path for path in ROOT.rglob("*")
                 if not {".git", "build", "__pycache__"} & set(path.relative_to(ROOT).parts)]
    found = sorted(path for path in paths if path.is_file())
    assert len(found) > 50
    return found


def sources(*folders):
    """The C++ files below the folders, which must be some."""
    found = [path for path in tracked() if path.suffix in CXX
             and any(path.is_relative_to(ROOT / folder) for folder in folders)]
    assert found
    return found


def name(path):
    return path.relative_to(ROOT).as_posix()


def includes(path):
    """The include lines of a file, each with its quotes or brackets."""
    return re.findall(r'^\s*#\s*include\s+(["<][^">]+[">])', path.read_text(), re.MULTILINE)


def without_comments(text):
    return re.sub(r"//[^\n]*", "", text)


def ctest_tests():
    """What ctest knows of every test. Asked in a folder of its own: it begins a new log even for a
    list, and the build folder's is that of the run that this is a part of."""
    with tempfile.TemporaryDirectory() as folder:
        Path(folder, "CTestTestfile.cmake").write_text(f"subdirs([==[{BUILD}]==])\n")
        listed = subprocess.run(["ctest", "--test-dir", folder, "--show-only=json-v1"],
                                capture_output=True, text=True, check=True)
    return json.loads(listed.stdout)["tests"]

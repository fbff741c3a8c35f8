"""What the shipped program weighs: in the file, and in memory at each start.

The streams and locales of the C++ library come in by one careless include, and cost half a
megabyte and some twenty page faults in every command.
"""

import os
import re
import shutil
import subprocess
import tempfile
from pathlib import Path

PROGRAM = os.environ["AVMANAGER"]
EMPTY = os.environ["ONE_LINE"]
STREAMS = re.compile(r"\bstd::(?:__cxx11::)?(?:basic_)?(?:[iof]*stream\b|ios\b|ios_base|streambuf|"
                     r"filebuf|[io]*stringstream|stringbuf|locale\b|codecvt|collate|ctype|messages|"
                     r"money|moneypunct|num_get|num_put|numpunct|time_get|time_put)")
MOST_BYTES = 943_718  # 0.9 MiB
MOST_FAULTS_OF_OUR_OWN = 6


def test_there_are_no_streams_and_locales_in_it():
    listed = subprocess.run(["nm", "--demangle", PROGRAM + ".debug"], capture_output=True,
                            text=True, check=True).stdout.splitlines()
    names = {line.split(maxsplit=2)[-1] for line in listed}
    assert "main" in names
    assert sorted(name for name in names if STREAMS.search(name)) == []


def test_no_object_of_the_libraries_but_the_empty_list_is_made_before_main():
    """A static object of a tool may use the libraries before main: what is made then is too late."""
    archives = sorted(Path(PROGRAM).parent.glob("*/**/libzarnic-*.a"))
    assert len(archives) == 4
    made = subprocess.run(["readelf", "--section-headers", "--wide", *archives],
                          capture_output=True, text=True, check=True).stdout
    assert re.findall(r" (\.(?:init_array|ctors)\S*)", made) == [".init_array.00101"]


def test_its_relocations_are_packed():
    dynamic = subprocess.run(["readelf", "--dynamic", "--wide", PROGRAM], capture_output=True,
                             text=True, check=True).stdout
    assert "(RELR)" in dynamic


def test_the_file_is_small():
    assert Path(PROGRAM).stat().st_size <= MOST_BYTES


def faults(program, *arguments):
    """The page faults of a program from its start to its end: the least of several runs. Of a
    copy, as an installation makes one: how a file was written decides how much of it a fault
    brings in, and a linker writes in small pieces."""
    def once(copy):
        to_null = [(os.POSIX_SPAWN_OPEN, 1, "/dev/null", os.O_WRONLY, 0)]
        pid = os.posix_spawn(copy, [copy, *arguments], {}, file_actions=to_null)
        _, status, usage = os.wait4(pid, 0)
        assert status == 0
        return usage.ru_minflt + usage.ru_majflt

    # On the build's own file system: the private /tmp is memory.
    with tempfile.TemporaryDirectory(dir=Path(program).parent) as folder:
        copy = shutil.copy(program, folder)
        return min(once(copy) for _ in range(20))


def test_a_start_touches_hardly_more_pages_than_an_empty_program(tmp_path):
    (tmp_path / "bin").mkdir()
    (tmp_path / "bin/aveserver").touch()
    ours = faults(PROGRAM, "--check-install", f"--kav-dir={tmp_path}")
    assert ours <= faults(EMPTY) + MOST_FAULTS_OF_OUR_OWN

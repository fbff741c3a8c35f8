"""The shipped program as the kernel and the loader see it: its own headers, read by readelf.

Holds for both ways of linking. A program with an interpreter is loaded with shared libraries and
has the library's checking functions among its undefined symbols; one without is static and has
them among its own.
"""

import os
import re
import subprocess

import pytest

PROGRAM = os.environ["AVMANAGER"]
# What the diagnostics format through; its sizes are known only when the program runs, so the
# checks cannot be optimised away.
CHECKED = {"__vfprintf_chk", "__snprintf_chk"}


def readelf(option):
    return subprocess.run(["readelf", "-W", option, PROGRAM], capture_output=True, text=True,
                          check=True, env={**os.environ, "LC_ALL": "C"}).stdout


def segments():
    """The program headers as (type, flags, offset of the first byte, bytes in memory)."""
    line = re.compile(r"^ +([A-Z_]+) +0x\w+ 0x(\w+) 0x\w+ 0x\w+ 0x(\w+) ([RWE ]{3}) 0x\w+$",
                      re.MULTILINE)
    found = [(kind, flags, int(address, 16), int(size, 16))
             for kind, address, size, flags in line.findall(readelf("-l"))]
    assert "LOAD" in {kind for kind, *_ in found}
    return found


def dynamic(tag):
    """The value of an entry of the dynamic section, or an empty text."""
    found = re.search(rf"\({tag}\) +(.*)", readelf("-d"))
    return found.group(1) if found else ""


def is_static():
    return "INTERP" not in {kind for kind, *_ in segments()}


def symbols():
    """Names of all symbols, without version; those of a stripped static program are gone."""
    rows = re.findall(r"^ +\d+: \w+ +\w+ +\w+ +\w+ +\w+ +(\w+) ([^\s@]+)", readelf("-s"),
                      re.MULTILINE)
    if is_static() and not rows:
        pytest.skip("a static program without symbols does not tell what it calls")
    assert rows
    return {name: section for section, name in rows}


def test_it_is_linked_in_one_of_the_two_ways_that_are_shipped():
    needed = re.findall(r"\(NEEDED\)", readelf("-d"))
    assert is_static() == (needed == [])


def test_it_can_be_loaded_anywhere():
    assert re.search(r"Type: +DYN \(Position-Independent Executable file\)", readelf("-h"))
    assert "PIE" in dynamic("FLAGS_1").split()
    assert min(address for kind, _, address, _ in segments() if kind == "LOAD") == 0


def test_everything_is_resolved_before_main():
    assert "NOW" in dynamic("FLAGS_1").split()
    assert "BIND_NOW" in dynamic("FLAGS").split()


def test_what_was_relocated_becomes_read_only():
    """Up to the end of the relocated tables: none of them is left writable behind it."""
    (relro,) = [entry for entry in segments() if entry[0] == "GNU_RELRO"]
    _, flags, start, size = relro
    assert flags.strip() == "R"
    tables = re.findall(r"\] (\.(?:got|got\.plt|dynamic|data\.rel\.ro|init_array|fini_array)) +\w+ "
                        r"+(\w+) \w+ (\w+)", readelf("-S"))
    assert {name for name, *_ in tables} >= {".got", ".dynamic", ".data.rel.ro"}
    outside = [name for name, address, length in tables
               if not start <= int(address, 16) <= int(address, 16) + int(length, 16)
               <= start + size]
    assert outside == []


def test_the_stack_is_not_executable():
    assert [flags for kind, flags, *_ in segments() if kind == "GNU_STACK"] == ["RW "]


def test_no_segment_is_both_writable_and_executable():
    assert [entry for entry in segments() if "W" in entry[1] and "E" in entry[1]] == []
    assert [entry for entry in segments() if "E" in entry[1]] != []


def test_the_stack_is_guarded():
    """In the program's own code: the libraries of a static program bring the symbol anyway."""
    where = symbols()["__stack_chk_fail"]
    assert (where != "UND") == is_static()
    entry = "_Z14runCommandLineiPKPKc"
    if entry not in symbols():
        pytest.skip("a program without symbols does not tell which code is its own")
    code = subprocess.run(["objdump", "-d", f"--disassemble={entry}", PROGRAM],
                          capture_output=True, text=True, check=True).stdout
    assert "__stack_chk_fail" in code


def test_the_c_library_checks_sizes():
    found = symbols()
    assert CHECKED - found.keys() == set()
    assert {name for name in CHECKED if (found[name] == "UND") == is_static()} == set()


def test_no_folder_for_libraries_is_named_in_it():
    """A folder that somebody else may write to would hand them the program."""
    assert dynamic("RPATH") == dynamic("RUNPATH") == ""

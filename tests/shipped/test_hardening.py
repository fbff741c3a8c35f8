"""The shipped program as the kernel and the loader see it: its own headers, read by readelf.

Holds for both ways of linking. A program with an interpreter is loaded with shared libraries and
has the library's checking functions among its undefined symbols; one without is static and has
them among its own.
"""

import os
import re
import subprocess

PROGRAM = os.environ["AVMANAGER"]
SYMBOLS = os.environ.get("SYMBOLS", PROGRAM + ".debug")  # what was stripped from it
# What the diagnostics format through; its sizes are known only when the program runs, so the
# checks cannot be optimised away.
CHECKED = {"__vfprintf_chk", "__snprintf_chk"}


def readelf(option, file=PROGRAM):
    return subprocess.run(["readelf", "-W", option, file], capture_output=True, text=True,
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
    """The section, address and size of every symbol by its name without version."""
    rows = re.findall(r"^ +\d+: (\w+) +(\w+) +\w+ +\w+ +\w+ +(\w+) ([^\s@]+)",
                      readelf("-s", SYMBOLS), re.MULTILINE)
    assert rows
    return {name: (section, int(address, 16), int(size, 0))
            for address, size, section, name in rows}


def disassembly(symbol):
    """The code of a function in the shipped program."""
    _, address, size = symbol
    assert size > 0
    return subprocess.run(["objdump", "-d", f"--start-address={address}",
                           f"--stop-address={address + size}", PROGRAM],
                          capture_output=True, text=True, check=True).stdout


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
    known = symbols()
    section, address, _ = known["__stack_chk_fail"]
    assert (section != "UND") == is_static()
    guard = f"{address:x}" if is_static() else "<__stack_chk_fail@plt>"
    # The front end; some compilers make it a part of main.
    code = [disassembly(known[name]) for name in ("main", "_Z14runCommandLineiPKPKc")
            if name in known]
    assert re.search(rf"\b(?:call|jmp)q? .*{guard}", "".join(code))


def test_the_c_library_checks_sizes():
    found = symbols()
    assert CHECKED - found.keys() == set()
    assert {name for name in CHECKED if (found[name][0] == "UND") == is_static()} == set()


def test_no_folder_for_libraries_is_named_in_it():
    """A folder that somebody else may write to would hand them the program."""
    assert dynamic("RPATH") == dynamic("RUNPATH") == ""

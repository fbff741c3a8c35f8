"""The shipped program as the kernel and the loader see it: its own headers, read by readelf.

Holds for both ways of linking. A program with an interpreter is loaded with shared libraries and
has the library's checking functions among its undefined symbols; one without is static and has
them among its own.
"""

import os
import re
import subprocess

PROGRAM = os.environ["AVMANAGER"]


def output(*command):
    return subprocess.run(command, capture_output=True, text=True, check=True,
                          env={**os.environ, "LC_ALL": "C"}).stdout


# Kind, address, bytes in memory and flags.
SEGMENTS = [(kind, int(address, 16), int(size, 16), flags) for kind, address, size, flags in
            re.findall(r"^ +([A-Z_]+) +0x\w+ 0x(\w+) 0x\w+ 0x\w+ 0x(\w+) ([RWE ]{3}) 0x\w+$",
                       output("readelf", "-lW", PROGRAM), re.M)]
DYNAMIC = dict(re.findall(r"\((\w+)\) +(.*)", output("readelf", "-dW", PROGRAM)))
STRIPPED = os.environ.get("SYMBOLS", PROGRAM + ".debug")
# Section, address and size by name without version.
SYMBOLS = {name: (section, int(address, 16), int(size, 0)) for address, size, section, name in
           re.findall(r"^ +\d+: (\w+) +(\w+) +\w+ +\w+ +\w+ +(\w+) ([^\s@]+)",
                      output("readelf", "-sW", STRIPPED), re.M)}
IS_STATIC = "INTERP" not in {kind for kind, *_ in SEGMENTS}
# What the diagnostics format through; its sizes are known only when the program runs, so the
# checks cannot be optimised away.
CHECKED = ("__vfprintf_chk", "__snprintf_chk")


def test_it_is_linked_in_one_of_the_two_ways_that_are_shipped():
    assert IS_STATIC == ("NEEDED" not in DYNAMIC)


def test_it_can_be_loaded_anywhere():
    assert re.search(r"Type: +DYN \(Position-Independent Executable file\)",
                     output("readelf", "-h", PROGRAM))
    assert "PIE" in DYNAMIC["FLAGS_1"].split()
    assert min(address for kind, address, *_ in SEGMENTS if kind == "LOAD") == 0


def test_everything_is_resolved_before_main():
    assert "NOW" in DYNAMIC["FLAGS_1"].split()
    assert "BIND_NOW" in DYNAMIC["FLAGS"].split()


def test_what_was_relocated_becomes_read_only():
    """Up to the end of the relocated tables: none of them is left writable behind it."""
    ((_, start, size, flags),) = [entry for entry in SEGMENTS if entry[0] == "GNU_RELRO"]
    assert flags.strip() == "R"
    tables = re.findall(r"\] (\.(?:got|got\.plt|dynamic|data\.rel\.ro|init_array|fini_array)) +\w+ "
                        r"+(\w+) \w+ (\w+)", output("readelf", "-SW", PROGRAM))
    assert {name for name, *_ in tables} >= {".got", ".dynamic", ".data.rel.ro"}
    assert [name for name, address, length in tables
            if not start <= int(address, 16) <= int(address, 16) + int(length, 16)
            <= start + size] == []


def test_nothing_that_can_be_written_can_be_executed():
    assert [flags for kind, *_, flags in SEGMENTS if kind == "GNU_STACK"] == ["RW "]
    assert [flags for *_, flags in SEGMENTS if "W" in flags and "E" in flags] == []
    assert [flags for *_, flags in SEGMENTS if "E" in flags] != []


def test_the_stack_is_guarded():
    """In the program's own code: the libraries of a static program bring the symbol anyway. The
    front end's is looked at; some compilers make it a part of main."""
    section, guard, _ = SYMBOLS["__stack_chk_fail"]
    assert (section != "UND") == IS_STATIC
    named = f"{guard:x}" if IS_STATIC else "<__stack_chk_fail@plt>"
    code = ""
    for name in {"main", "_Z14runCommandLineiPKPKc"} & SYMBOLS.keys():
        _, start, size = SYMBOLS[name]
        code += output("objdump", "-d", f"--start-address={start}",
                       f"--stop-address={start + size}", PROGRAM)
    assert re.search(rf"\b(?:call|jmp)q? .*{named}", code)


def test_the_c_library_checks_sizes():
    assert [(SYMBOLS[name][0] == "UND") == IS_STATIC for name in CHECKED] == [False, False]


def test_no_folder_for_libraries_is_named_in_it():
    """A folder that somebody else may write to would hand them the program."""
    assert not {"RPATH", "RUNPATH"} & DYNAMIC.keys()

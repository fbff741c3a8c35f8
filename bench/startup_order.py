"""Writes cmake/startup_order.ld: the pieces of the C and C++ libraries that run in every
invocation, in the order in which they run, so that the linker lays them side by side.

    cmake --preset release -B build/order -DAVMANAGER_TESTS=OFF \\
        -DCMAKE_EXE_LINKER_FLAGS=-Wl,-Map=avmanager.map
    cmake --build build/order --target avmanager
    tests/support/private_root /usr/bin/python3 bench/startup_order.py \\
        "$PWD/build/order/avmanager" "$PWD/build/order/avmanager.map" > order
    mv order cmake/startup_order.ld

To be run again when the compiler or the C library changes. Steps through the program on the
processor itself: which variants of the string functions run depends on it.
"""

import bisect
import ctypes
import os
import re
import signal
import sys

PTRACE_TRACEME, PTRACE_SINGLESTEP, PTRACE_GETREGS = 0, 9, 12
RIP = 16  # the instruction pointer's place among the registers of x86-64
LIBC = ctypes.CDLL(None, use_errno=True)
LIBC.ptrace.argtypes = [ctypes.c_long, ctypes.c_long, ctypes.c_void_p, ctypes.c_void_p]
INPUT_SECTION = re.compile(r"^ (\.text[\w.$@-]*)\s+0x([0-9a-f]+)\s+0x([0-9a-f]+) (\S+)$", re.M)
MEMBER = re.compile(r"(lib[\w+]+\.a)\(([^)]+)\)$")

HEAD = """\
/* Where the C and C++ libraries' start-up code goes: side by side, in the order in which it runs.
   Left to the linker it is strewn over the whole program, and each new page of it is a page
   fault, which costs more than running it. Written by bench/startup_order.py. A name that the
   libraries of another system do not have changes nothing. */
SECTIONS
{
  .text.startup_first :
  {
    *crt1.o(.text)
    *crti.o(.text)
    *crtbeginS.o(.text)
"""
TAIL = """\
  }
  /* Left alone it stands behind all other code, and every end is one more page fault. */
  .fini :
  {
    KEEP (*(SORT_NONE(.fini)))
  }
}
INSERT BEFORE .text;
"""


def load_address(pid, program):
    with open(f"/proc/{pid}/maps") as maps:
        return next(int(line.split("-")[0], 16) for line in maps if line.rstrip().endswith(program))


def executed(program, arguments):
    """The offsets of the instructions that run, in their first order."""
    pid = os.fork()
    if pid == 0:
        os.dup2(os.open("/tmp/out", os.O_WRONLY | os.O_CREAT, 0o600), 1)
        LIBC.ptrace(PTRACE_TRACEME, 0, None, None)
        os.execv(program, [program, *arguments])
    registers = (ctypes.c_ulong * 32)()
    os.waitpid(pid, 0)
    base = load_address(pid, program)
    seen = {}
    while True:
        LIBC.ptrace(PTRACE_GETREGS, pid, None, ctypes.byref(registers))
        seen.setdefault(registers[RIP] - base)
        LIBC.ptrace(PTRACE_SINGLESTEP, pid, None, None)
        if os.WIFEXITED(os.waitpid(pid, 0)[1]):
            return list(seen)


def sections(map_text):
    """(address, size, section, file) of every piece of code, ascending."""
    placed = map_text.split("Linker script and memory map")[1]
    found = [(int(address, 16), int(size, 16), section, file)
             for section, address, size, file in INPUT_SECTION.findall(placed)]
    return sorted(each for each in found if each[0] and each[1])


def touched(pieces, offsets):
    """The pieces that ran, with the number of their instructions that did."""
    starts = [piece[0] for piece in pieces]
    counts = {}
    for offset in offsets:
        piece = pieces[bisect.bisect(starts, offset) - 1]
        if piece[0] <= offset < piece[0] + piece[1]:
            counts[piece] = counts.get(piece, 0) + 1
    return counts


def pattern(section, file):
    """One line of the linker script; None for our own code, which the compiler places."""
    member = MEMBER.search(file)
    if not member:
        return None
    if member[1] == "libc.a":
        return f"*libc.a:{member[2]}(.text .text.*)"
    return f"*({section})" if section != ".text" else f"*{member[1]}:{member[2]}(.text)"


def main():
    signal.signal(signal.SIGCHLD, signal.SIG_DFL)
    program, map_file = sys.argv[1:3]
    os.makedirs("/tmp/bin/aveserver")
    with open("/tmp/pid", "w") as pid_file:
        pid_file.write("1\n")
    service = ["--kav-dir=/tmp", "--service=other", "--service-pidfile=/tmp/pid"]
    offsets = [offset for arguments in (["--check-install", "--kav-dir=/tmp"],
                                        ["--service-started", *service],
                                        ["--start-service", *service[:2]],
                                        ["--check-install", "--kav-dir=/none"])
               for offset in executed(program, arguments)]
    with open(map_file) as text:
        counts = touched(sections(text.read()), offsets)
    first, last = {}, {}
    for (_, size, section, file), count in counts.items():
        # A big piece of which next to nothing runs would only push the others apart.
        group = last if size > 6000 and count * 50 < size else first
        if line := pattern(section, file):
            group[line] = None
    body = "".join(f"    {line}\n" for line in [*first, *last])
    sys.stdout.write(HEAD + body + TAIL)


main()

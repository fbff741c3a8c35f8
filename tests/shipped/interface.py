"""The commands and options of the program, as it tells them itself when it refuses a command line.

Nothing is ever done: each command line that is asked has an option that no command takes. The
program looks at it last, so whatever it complains of before is the answer.
"""

import os
import re
import subprocess
from pathlib import Path

PROGRAM = os.environ["AVMANAGER"]
MANAGER = Path(__file__).resolve().parents[2] / "manager"
REFUSED = "zzz"


def literals(pattern):
    """What the manager's sources have in quotes, so far as it matches."""
    sources = "\n".join(path.read_text() for path in sorted(MANAGER.glob("*.cpp")))
    return sorted(set(re.findall(f'"({pattern})"', sources)))


# Every name that could be one of an option.
NAMES = literals("[a-z][a-z-]+")


def complaint(*words):
    """What the program says of a command line that has an option that nobody takes."""
    said = subprocess.run([PROGRAM, *words, f"--{REFUSED}"], capture_output=True, text=True,
                          check=False, env={}, cwd="/").stdout
    return said.removesuffix("\n")


def commands():
    return [name for name in NAMES if complaint(f"--{name}") != f"Unknown option '--{name}'"]


def required(command):
    """The options that a command asks for, in its order."""
    found = []
    while asked := re.fullmatch("Requires long option '--(.*)'", say_with(command, found)):
        found.append(asked[1])
    return found


def optional(command):
    """The other options that a command takes. Help complains of nothing, so it takes none."""
    given = required(command)
    if say_with(command, given) == "":
        return set()
    return {name for name in NAMES if name not in (*given, command)
            and say_with(command, [*given, name]) == f"Unknown option '--{REFUSED}'"}


def say_with(command, names, value="x"):
    return complaint(f"--{command}", *(f"--{name}={value}" for name in names))


def forms():
    """All of it, as the manual's synopsis tells it."""
    return {command: (required(command), optional(command)) for command in commands()}

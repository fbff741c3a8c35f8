"""Manual pages, as their tests read them: the source, whose macros say what is what."""

import re
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
PAGES = sorted((ROOT / "manual").glob("*.[1-9]"))
ESCAPES = {r"\e": "\\", r"\(aq": "'", r"\&": ""}


def lines(page):
    """The lines of a page without its comments, their escapes undone."""
    text = re.sub(r'^\.\\".*\n', "", (ROOT / "manual" / page).read_text("utf-8"), flags=re.M)
    return re.sub(r"\\(?:\(\w\w|.)", lambda found: ESCAPES[found[0]], text).splitlines()


def section(page, name, level="Sh"):
    """The lines between a heading and the next of its level."""
    all_lines = lines(page)
    start = all_lines.index(f".{level} {name}") + 1
    ends = [number for number, line in enumerate(all_lines)
            if number > start and line.startswith((f".{level} ", ".Sh "))]
    return all_lines[start:min(ends, default=len(all_lines))]


def displays(page, name, level="Sh"):
    """The literal displays of a section, a list of lines each."""
    found, inside = [], False
    for line in section(page, name, level):
        if line.startswith(".Bd -literal"):
            found.append([])
            inside = True
        elif line == ".Ed":
            inside = False
        elif inside:
            found[-1].append(line)
    assert found
    return found


def forms(page):
    """What the synopsis says of each command: its required options in their order, and the set of
    the others."""
    found = {}
    for line in section(page, "SYNOPSIS"):
        name = (re.findall(r"Fl Fl ([\w-]+)", line) or [None])[0]
        if line == ".Nm":
            command = None
        elif name is None:
            assert line == ".Fl h"
        elif command is None:
            command = name
            found[command] = ([], set())
        elif line.startswith(".Op "):
            found[command][1].add(name)
        else:
            found[command][0].append(name)
    return found


def answers(page):
    """The lines that the page lists with each command."""
    found = {}
    for line in section(page, "COMMANDS"):
        if heading := re.match(r"\.It Fl Fl ([\w-]+)", line):
            listed = found.setdefault(heading[1], set())
        elif text := re.fullmatch(r"\.Ql (.+)", line):
            listed.add(text[1])
    return found


def items(page, name, kind):
    """The items of the lists of a kind in a section, which have no lists inside."""
    lists = re.findall(rf"^\.Bl -{kind}.*?^\.El$", "\n".join(section(page, name)), re.M | re.S)
    return [item for one in lists
            for item in re.split(r"^\.It ", one.removesuffix("\n.El"), flags=re.M)[1:]]


def headings(page, name, kind):
    """The headings of such items: their first lines."""
    return [item.splitlines()[0] for item in items(page, name, kind)]


def without_macros(text):
    """A line of macros as it is shown, without the brackets of what is optional."""
    text = re.sub(r" Ns (Ar )?", "", text).replace("Fl ", "-")
    return re.sub(r"\b(Ar|Cm|Em|Li|Op|Pa|Va) ", "", text)


def messages():
    """The rows of the document of messages, as lists of cells."""
    text = (ROOT / "docs/messages.md").read_text("utf-8")
    return [[cell.strip() for cell in line.strip("|").split("|")]
            for line in text.splitlines() if line.startswith("|")]


def commands_of(display):
    """The commands of a session after their prompts, each with the lines that it shows."""
    found = []
    for line in display:
        if line.startswith("# "):
            found.append((line[2:], []))
        elif not found[-1][1] and found[-1][0].endswith("\\"):
            found[-1] = (f"{found[-1][0]}\n{line}", [])
        else:
            found[-1][1].append(line)
    return found

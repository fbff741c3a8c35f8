"""What the tables of docs/messages.md say."""

import re
from pathlib import Path

DOCUMENT = Path(__file__).resolve().parents[3] / "docs/messages.md"
SYSTEM_TEXT = "the system's text for the error number"

# The processes of a daemon start, each the child of the one before.
GENERATIONS = ("the invoking process", "the session leader", "the detached process",
               "the service process", "the service process's own children")


def cells(line):
    return [cell.strip() for cell in line.strip().strip("|").split("|")]


def rows():
    """Every row of every table, by the headings of its columns."""
    found, headings = [], None
    for line in DOCUMENT.read_text().splitlines():
        if not line.startswith("|"):
            headings = None
        elif headings is None:
            headings = cells(line)
        elif not set(line) <= set("|-: "):
            found.append(dict(zip(headings, cells(line), strict=True)))
    return found


def has_line(command, text):
    """Whether a row has that text and, where its table tells commands apart, that command."""
    return any(row.get("Text") == text and f"`{command}`" in row.get("Command", f"`{command}`")
               for row in rows())


def daemon_statuses(error_numbers):
    """The exit statuses in a daemon start, a set for each of GENERATIONS: empty, so that none is
    right, when the document does not have it."""
    cell_of = {row["Process"]: row["Status"] for row in rows() if "Process" in row}
    return [statuses(cell_of.get(process, ""), error_numbers) for process in GENERATIONS]


def statuses(cell, error_numbers):
    numbers = {int(number) for number in re.findall(r"\b\d+\b", cell)}
    return numbers | (set(error_numbers) if "the error number" in cell else set())

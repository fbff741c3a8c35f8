"""What an administrator can look up: the lines of each command and the exit statuses, read from
docs/messages.md. Wider than the model, which says the one outcome of each failure: a mistake in
the model cannot let through what the document does not have."""

import os
import re
from pathlib import Path

from failures import ERRORS
from scenarios import SERVICE_SAYS, SOURCE

DOCUMENT = Path(__file__).resolve().parents[3] / "docs/messages.md"
NUMBERS = sorted({number for numbers in ERRORS.values() for number in numbers})
SYSTEM_TEXT = "|".join(re.escape(os.strerror(number)) for number in NUMBERS)

# The processes of a daemon start, each the child of the one before.
GENERATIONS = ("the invoking process", "the session leader", "the detached process",
               "the service process", "the service process's own children")


def rows():
    """Every row of every table of the document, by the headings of its columns."""
    found = []
    for table in re.findall(r"(?:^\|.*\n)+", DOCUMENT.read_text("utf-8"), re.M):
        headings, _, *lines = ([cell.strip() for cell in line.strip("|").split("|")]
                               for line in table.splitlines())
        found += [dict(zip(headings, cells, strict=True)) for cells in lines]
    return found


MESSAGES = rows()


def is_line(scenario, line):
    """Whether the document has the line, for this command where its table tells them apart, or a
    program said it. What a library says ("Says") is not for the manager's users."""
    command = f"`{scenario.command}`"
    texts = [row["Text"].strip('"') for row in MESSAGES
             if "Text" in row and "Says" not in row and command in row.get("Command", command)]
    forms = [re.escape(text).replace("NAME", r"[\w-]+") for text in texts]
    if "the system's text for the error number" in texts:
        forms.append(SYSTEM_TEXT)
    return (line in (SERVICE_SAYS, *SOURCE.split())
            or any(re.fullmatch(form, line) for form in forms))


def daemon_statuses(process):
    """The exit statuses in a daemon start; none where the document does not have the process. A
    child that was to become the cat of a pid file ends as the session leader does."""
    generation = GENERATIONS[min(process.count("."), len(GENERATIONS) - 1)]
    cell = " ".join(row["Status"] for row in MESSAGES if row.get("Process") == generation)
    numbers = {int(number) for number in re.findall(r"\b\d+\b", cell)}
    return numbers | (set(NUMBERS) if "error number" in cell else set())


def is_end(scenario, process, end):
    """No process dies, and the invoking process does not become a program either."""
    kind, _, status = end.partition(" ")
    if kind == "became":
        return process != "1"
    statuses = daemon_statuses(process) if scenario.daemon else {0, 1}
    return kind == "exited" and int(status) in statuses


def unlisted(scenario, outcome):
    """Every line, end and text of the errors file that the document does not have."""
    found = [f"line {line!r}" for line in outcome.lines if not is_line(scenario, line)]
    found += [f"{process} {end}" for process, end in outcome.ends.items()
              if not is_end(scenario, process, end)]
    errors = outcome.files.get(scenario.errors, "")
    if not re.fullmatch(rf"\d*|({SYSTEM_TEXT})\n", errors):
        found.append(f"errors file {errors!r}")
    return found

"""The lines and the exit statuses of each command, whatever fails. Wider than the model, which says
the one outcome of each failure: a mistake in the model cannot let through what no administrator
could look up. docs/messages.md must have every line for its command, and the statuses of a daemon
start are read from there."""

import os
import re
from pathlib import Path

from failures import ERRORS
from scenarios import SERVICE_SAYS, TEXTS

DOCS = Path(__file__).resolve().parents[3] / "docs"
SYSTEM_TEXT = "the system's text for the error number"

# The processes of a daemon start, each the child of the one before.
GENERATIONS = ("the invoking process", "the session leader", "the detached process",
               "the service process", "the service process's own children")


def cells(line):
    return [cell.strip() for cell in line.strip().strip("|").split("|")]


def rows(document):
    """Every row of every table of a document, by the headings of its columns."""
    found, headings = [], None
    for line in (DOCS / document).read_text("utf-8").splitlines():
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
               for row in rows("messages.md"))


def daemon_statuses(error_numbers):
    """The exit statuses in a daemon start, a set for each of GENERATIONS: empty, so that none is
    right, when the document does not have it."""
    cells_of = {process: [row["Status"] for row in rows("messages.md")
                          if row.get("Process") == process] for process in GENERATIONS}
    return [numbers_in(" ".join(cells_of[process]), error_numbers) for process in GENERATIONS]


def numbers_in(cell, error_numbers):
    numbers = {int(number) for number in re.findall(r"\b\d+\b", cell)}
    return numbers | (set(error_numbers) if "error number" in cell else set())


ERROR_NUMBERS = sorted({number for numbers in ERRORS.values() for number in numbers})
SYSTEM_TEXTS = {os.strerror(number) for number in ERROR_NUMBERS}
DAEMON = daemon_statuses(ERROR_NUMBERS)

RUNNING = {"Error", *SYSTEM_TEXTS}
WRONG = {"delete-file": "Requires long option '--file'", "": "Unknown option '--bogus'",
         "kill-service": "Unknown option '--bogus'"}
LINES = {
    "": set(),
    "help": set(),
    "delete-file": set(),
    "check-install": {"Kaspersky Anti-Virus server is installed",
                      "Kaspersky Anti-Virus server is not installed"},
    "start-service": {"Service is running already", "Service failed", "Unable to run as daemon",
                      *RUNNING},
    "service-started": {"Service is started", "Service is not running", *RUNNING},
    "kill-service": {"Service is stopped already", *RUNNING},
    "restart-service": {"Service reloading failed", "Unable to run as daemon", *RUNNING},
    "config-file-content": SYSTEM_TEXTS,
    "save-to-config-file": SYSTEM_TEXTS,
}


def of_programs(scenario):
    """Lines that are not ours."""
    own = {SERVICE_SAYS}
    if scenario.command == "config-file-content":
        own |= set(TEXTS["source"].splitlines())
    return own


def starts_daemon(scenario):
    return scenario.command == "restart-service" or (
        scenario.command == "start-service" and not scenario.foreground)


def statuses(scenario, process):
    """The exit statuses of a process while it is ours. In a daemon start they depend on its
    generation, which its name tells: "1" is the invoking process, "1.2.1" its grandchild. A child
    that was to become the cat of a pid file ends as the session leader does."""
    if starts_daemon(scenario):
        return DAEMON[min(process.count("."), len(DAEMON) - 1)]
    return {0} if scenario.command == "help" else {0, 1}


def is_listed_end(scenario, process, end):
    """No process dies, and the invoking process does not become a program either."""
    kind, _, status = end.partition(" ")
    if kind == "became":
        return process != "1"
    return kind == "exited" and int(status) in statuses(scenario, process)


def errors_texts(scenario):
    """The errors file: absent, empty, or the exit code of the program or of the child that could
    not become it; and a daemon has no stream to write a system text to."""
    daemon = starts_daemon(scenario)
    codes = {scenario.ends, *map(str, DAEMON[-1] if daemon else {1})}
    texts = set() if daemon else {text + "\n" for text in SYSTEM_TEXTS}
    return {None, "", *codes, *texts, *({"77"} if scenario.old_errors else ())}


def unlisted(scenario, outcome):
    """Every line, status and text of the errors file that the document does not have."""
    lines = LINES[scenario.command] | of_programs(scenario)
    if scenario.bare or scenario.extra:
        lines = lines | {WRONG.get(scenario.command)}
    found = [f"line {line!r}" for line in outcome.lines if line not in lines]
    found += [f"{process} {end}" for process, end in outcome.ends.items()
              if not is_listed_end(scenario, process, end)]
    if outcome.errors not in errors_texts(scenario):
        found.append(f"errors file {outcome.errors!r}")
    return found


def missing_in_document():
    """The lines above that the document does not have for their command, and the processes without
    a status. System texts are there as a kind, and wrong command lines with a NAME."""
    wanted = {(command, SYSTEM_TEXT if line in SYSTEM_TEXTS else f'"{line}"')
              for command, lines in LINES.items() for line in lines}
    wanted |= {(command, '"' + line.replace("bogus", "NAME").replace("--file", "--NAME") + '"')
               for command, line in WRONG.items()}
    processes = [process for process, known in zip(GENERATIONS, DAEMON) if not known]
    return processes + [f"--{command}: {text}" for command, text in sorted(wanted)
                        if not has_line(command, text)]

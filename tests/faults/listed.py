"""The lines and the exit statuses of each command, whatever fails. Wider than the model, which says
the one outcome of each failure: a mistake in the model cannot let through what no administrator
could look up. docs/messages.md must have every line."""

import os
from pathlib import Path

from errors import ERRORS

DOCUMENT = Path(__file__).resolve().parents[2] / "docs/messages.md"
ERROR_NUMBERS = sorted({number for numbers in ERRORS.values() for number in numbers})
SYSTEM_TEXTS = {os.strerror(number) for number in ERROR_NUMBERS}
DAEMON_STATUSES = {0, 1, 255, *ERROR_NUMBERS}

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
STATUSES = {command: {0, 1} for command in LINES} | {
    "help": {0}, "start-service": DAEMON_STATUSES, "restart-service": DAEMON_STATUSES}


def of_programs(scenario):
    """Lines that are not ours."""
    import world

    own = {world.SERVICE_SAYS}
    if scenario.command == "config-file-content":
        own |= set(world.TEXTS["source"].splitlines())
    return own


def unlisted(scenario, outcome):
    """Every line, status and text of the errors file that the document does not have."""
    command = scenario.command
    lines = LINES[command] | of_programs(scenario)
    if scenario.bare or scenario.extra:
        lines = lines | {WRONG.get(command)}
    found = [f"line {line!r}" for line in outcome.lines if line not in lines]
    for process, end in outcome.ends.items():
        kind, _, status = end.partition(" ")
        if kind == "died" or kind == "exited" and int(status) not in STATUSES[command]:
            found.append(f"{process} {end}")
    texts = {None, "", "77", *(str(status) for status in DAEMON_STATUSES | {3}),
             *(text + "\n" for text in SYSTEM_TEXTS)}
    if outcome.errors not in texts:
        found.append(f"errors file {outcome.errors!r}")
    return found


def missing_in_document():
    """The lines above that the document does not quote. System texts are there as a kind, and
    wrong command lines with a NAME."""
    text = DOCUMENT.read_text()
    own = set().union(*LINES.values()) - SYSTEM_TEXTS
    own |= {line.replace("bogus", "NAME").replace("--file", "--NAME") for line in WRONG.values()}
    return sorted(line for line in own if f'"{line}"' not in text)

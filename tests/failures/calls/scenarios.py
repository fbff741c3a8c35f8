"""What the host looks like and which command runs: one entry per scenario. And the texts of the
host, which the runs are made from and the model answers from."""

from dataclasses import dataclass, replace
from pathlib import Path

STALE = 99_999_999  # above any process number that the kernel gives
ROOT = Path("/tmp/world")
PANEL = Path("/etc/zrc/zrc.conf")
SERVICE_SAYS = "service output"
TEXTS = {"service.conf": "configuration\n", "source": "first\nsecond\n", "target": "old\n"}


@dataclass(frozen=True)
class Scenario:
    name: str
    command: str = ""
    pid_file: str = "unnamed"  # or absent, empty, live, stale, zero, long
    service: str = "other"
    config: str = "unnamed"  # or absent, present: the service's configuration file
    ends: str = "0"  # the exit status of the service's program, or killed
    program: str = "present"  # or missing, not executable
    foreground: bool = False
    tools: bool = True  # whether cat, cp and chown are found
    source: bool = True  # whether the file that is read, copied or deleted exists
    target: bool = True  # whether the file that is copied to exists
    panel: bool | str = True  # whether the panel configuration exists, or large
    old_errors: bool = False  # whether an errors file of an earlier run exists
    extra: tuple = ()  # further arguments
    bare: bool = False  # only these

    def __str__(self):
        return self.name


def errors_file(scenario):
    return Path(f"/tmp/zrckav_{scenario.service}_errors")


def arguments(scenario):
    """The command line of a scenario."""
    line = [f"--{scenario.command}"] if scenario.command else []
    if not scenario.bare:
        line += {
            "delete-file": [f"--file={ROOT}/source"],
            "check-install": [f"--kav-dir={ROOT}/kav"],
            "config-file-content": [f"--file={ROOT}/source"],
            "save-to-config-file": [f"--file={ROOT}/source", f"--config-file={ROOT}/target"],
        }.get(scenario.command) or service_options(scenario)
    return [*line, *scenario.extra]


def service_options(scenario):
    line = [f"--kav-dir={ROOT}/kav", f"--service={scenario.service}"]
    if scenario.pid_file != "unnamed":
        line.append(f"--service-pidfile={ROOT}/pid")
    if scenario.config != "unnamed":
        line.append(f"--config-file={ROOT}/service.conf")
    if scenario.foreground:
        line.append("--no-daemon=1")
    return line


def program_text(scenario):
    """The service's program, which says something first: it shows where its output went."""
    last = "kill -9 $$" if scenario.ends == "killed" else f"exit {scenario.ends}"
    return f"#!/bin/sh\necho {SERVICE_SAYS}\n{last}\n"


def pid_text(scenario, server):
    """The text of the pid file. The long one makes the program ask for more memory."""
    return {"live": f"{server}\n", "stale": f"{STALE}\n", "zero": "0\n",
            "long": "0 " + "x" * 40_000}.get(scenario.pid_file, "")


def panel_text(scenario):
    """The panel configuration. The large one makes the program ask for more memory."""
    if scenario.panel == "large":
        return "".join(f"NAME_{i} value\n" for i in range(100)) + f"LAST {'x' * 200_000}\n"
    return "PRODUCT_ROOT_D /opt/zrc\n" if scenario.panel else None


def control(command):
    """One of the commands that look at the pid file, in each state of it."""
    states = ("unnamed", "absent", "empty", "live", "stale", "zero")
    return [Scenario(f"{command}, pid file {state}", command, state, panel=state != "stale")
            for state in states]


def starts(daemon):
    """Starts of each kind of service with each outcome."""
    base = Scenario("", "start-service", foreground=not daemon)
    how = "daemon" if daemon else "foreground"
    kinds = [
        replace(base, name="aveserver, no configuration", service="aveserver"),
        replace(base, name="aveserver, configuration, exits 3", service="aveserver",
                config="present", ends="3", pid_file="absent"),
        replace(base, name="keepup2date", service="keepup2date", pid_file="absent",
                config="present", old_errors=True),
        replace(base, name="keepup2date, exits 3", service="keepup2date", pid_file="empty",
                ends="3", panel=False),
        replace(base, name="keepup2date, killed", service="keepup2date", ends="killed"),
        replace(base, name="statistics", service="parse_avstat.pl", config="present"),
        replace(base, name="statistics, exits 3", service="parse_avstat.pl", config="present",
                ends="3", old_errors=True),
        replace(base, name="statistics, configuration absent", service="parse_avstat.pl",
                config="absent", old_errors=True),
        replace(base, name="killed, old errors", ends="killed", old_errors=True),
        replace(base, name="pid file live", pid_file="live"),
        replace(base, name="pid file stale", pid_file="stale"),
        replace(base, name="program missing", program="missing"),
        replace(base, name="program not executable", program="not executable"),
        replace(base, name="no cat", tools=False),
        replace(base, name="no cat, exits 3", tools=False, ends="3"),
    ]
    return [replace(one, name=f"start-service, {how}, {one.name}") for one in kinds]


def restarts():
    base = Scenario("", "restart-service")
    server = replace(base, service="aveserver")
    kinds = [replace(server, name=f"aveserver {state}", pid_file=state)
             for state in ("absent", "empty", "live", "stale", "zero")]
    kinds += [
        replace(base, name="keepup2date absent", service="keepup2date", pid_file="absent"),
        replace(base, name="keepup2date empty", service="keepup2date", pid_file="empty"),
        replace(base, name="keepup2date live, exits 3", service="keepup2date",
                pid_file="live", ends="3", config="present"),
        replace(base, name="statistics empty", service="parse_avstat.pl", pid_file="empty",
                config="present", old_errors=True),
        replace(base, name="statistics live", service="parse_avstat.pl", pid_file="live",
                config="present"),
        replace(base, name="statistics stale, configuration absent", pid_file="stale",
                service="parse_avstat.pl"),
        replace(base, name="other live, killed", pid_file="live", ends="killed"),
    ]
    return [replace(one, name=f"restart-service, {one.name}") for one in kinds]


SCENARIOS = [
    Scenario("empty command line", bare=True),
    Scenario("help", "help", bare=True),
    Scenario("short help", bare=True, extra=("-h",)),
    Scenario("unknown option", bare=True, extra=("--bogus",)),
    Scenario("delete-file, no file named", "delete-file", bare=True),
    Scenario("kill-service, unknown option", "kill-service", "live", extra=("--bogus",)),
    Scenario("delete-file", "delete-file"),
    Scenario("delete-file, absent", "delete-file", source=False, panel=False),
    Scenario("check-install", "check-install", service="aveserver"),
    Scenario("check-install, absent", "check-install", service="aveserver", program="missing"),
    Scenario("check-install, large panel configuration", "check-install",
             service="aveserver", panel="large"),
    *control("service-started"),
    *control("kill-service"),
    Scenario("service-started, long pid file", "service-started", "long"),
    Scenario("kill-service, long pid file", "kill-service", "long"),
    Scenario("service-started, no cat", "service-started", "live", tools=False),
    Scenario("kill-service, no cat", "kill-service", "live", tools=False),
    *starts(daemon=False),
    *starts(daemon=True),
    *restarts(),
    Scenario("config-file-content", "config-file-content"),
    Scenario("config-file-content, absent", "config-file-content", source=False),
    Scenario("config-file-content, no cat", "config-file-content", tools=False),
    Scenario("save-to-config-file", "save-to-config-file"),
    Scenario("save-to-config-file, source absent", "save-to-config-file", source=False),
    Scenario("save-to-config-file, target absent", "save-to-config-file", target=False),
    Scenario("save-to-config-file, no tools", "save-to-config-file", tools=False, panel=False),
]

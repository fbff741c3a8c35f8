"""What the host looks like and which command runs. The name of a scenario says both: the command,
and in what the host differs from the ordinary one."""

STALE = 99_999_999  # above any process number that the kernel gives
ROOT = "/tmp/world"
PANEL = "/etc/zrc/zrc.conf"
SERVICE_SAYS = "service output"
SOURCE = "first\nsecond\n"
SERVER = "server\n"  # in the place of its process number
SERVICES = ("aveserver", "keepup2date", "parse_avstat.pl")

# The long texts make the program ask for more memory.
PID_FILES = {"empty": "", "live": SERVER, "stale": f"{STALE}\n", "zero": "0\n",
             "long": "0 " + "x" * 40_000}
LARGE_PANEL = "".join(f"NAME_{i} value\n" for i in range(100)) + f"LAST {'x' * 200_000}\n"

BARE = {"empty command line": [], "help": ["--help"], "short help": ["-h"],
        "unknown option": ["--bogus"], "delete-file, no file named": ["--delete-file"]}
OPTIONS = {
    "delete-file": [f"--file={ROOT}/source"],
    "check-install": [f"--kav-dir={ROOT}/kav"],
    "config-file-content": [f"--file={ROOT}/source"],
    "save-to-config-file": [f"--file={ROOT}/source", f"--config-file={ROOT}/target"],
}


class Scenario:
    def __init__(self, name):
        self.name = name
        self.words = name.split(", ")
        self.command = self.words[0]
        self.service = next((word for word in SERVICES if word in self), "other")
        self.pid_file = next((word[9:] for word in self.words if word.startswith("pid file")), None)
        self.ends = 3 if "exits 3" in self else "killed" if "killed" in self else 0
        self.long = "pid file long" in self or "large panel" in self
        self.daemon = (self.command in ("start-service", "restart-service")
                       and "foreground" not in self)
        self.program = f"{ROOT}/kav/bin/{self.service}"
        self.errors = f"/tmp/zrckav_{self.service}_errors"
        self.path = "/nowhere:/none" if "no tools" in self else "/nowhere:/bin"

    def __contains__(self, word):
        return word in self.words

    def arguments(self):
        if self.name in BARE:
            return BARE[self.name]
        line = [f"--{self.command}", *(OPTIONS.get(self.command) or self._of_service())]
        return [*line, "--bogus"] if "unknown option" in self else line

    def _of_service(self):
        line = [f"--kav-dir={ROOT}/kav", f"--service={self.service}"]
        if self.pid_file:
            line.append(f"--service-pidfile={ROOT}/pid")
        if self.configuration():
            line.append(f"--config-file={self.configuration()}")
        return [*line, "--no-daemon=1"] if "foreground" in self else line

    def configuration(self):
        named = "configuration" in self or "configuration absent" in self
        return f"{ROOT}/service.conf" if named else ""

    def files(self):
        """Every file before the run, and its text. The service's program says something first: it
        shows where its output went."""
        last = "kill -9 $$" if self.ends == "killed" else f"exit {self.ends}"
        texts = {
            f"{ROOT}/pid": PID_FILES.get(self.pid_file),
            f"{ROOT}/service.conf": "configuration\n" if "configuration" in self else None,
            f"{ROOT}/source": None if "source absent" in self else SOURCE,
            f"{ROOT}/target": None if "target absent" in self else "old\n",
            self.program: None if "program missing" in self
            else f"#!/bin/sh\necho {SERVICE_SAYS}\n{last}\n",
            self.errors: "77" if "old errors" in self else None,
            PANEL: None if "no panel" in self
            else LARGE_PANEL if "large panel" in self else "PRODUCT_ROOT_D /opt/zrc\n",
        }
        return {path: text for path, text in texts.items() if text is not None}


STATES = ("pid file absent", "pid file empty", "pid file live", "pid file stale", "pid file zero")
CONTROL = ("", ", pid file absent", ", pid file empty", ", pid file live", ", pid file stale, no panel",
           ", pid file zero", ", pid file long", ", pid file live, no tools")
STARTS = (
    "aveserver", "aveserver, pid file absent, configuration, exits 3",
    "keepup2date, pid file absent, configuration, old errors",
    "keepup2date, pid file empty, exits 3, no panel", "keepup2date, killed",
    "parse_avstat.pl, configuration", "parse_avstat.pl, configuration, exits 3, old errors",
    "parse_avstat.pl, configuration absent, old errors", "killed, old errors",
    "pid file live", "pid file stale", "program missing", "program not executable", "no tools",
    "no tools, exits 3",
)
RESTARTS = (
    *(f"aveserver, {state}" for state in STATES),
    "keepup2date, pid file absent", "keepup2date, pid file empty",
    "keepup2date, pid file live, configuration, exits 3",
    "parse_avstat.pl, pid file empty, configuration, old errors",
    "parse_avstat.pl, pid file live, configuration", "parse_avstat.pl, pid file stale",
    "pid file live, killed",
)
NAMES = (
    *BARE, "kill-service, pid file live, unknown option", "delete-file",
    "delete-file, source absent, no panel", "check-install, aveserver",
    "check-install, aveserver, program missing", "check-install, aveserver, large panel",
    *(f"{command}{state}" for command in ("service-started", "kill-service") for state in CONTROL),
    *(f"start-service, {how}, {kind}" for how in ("foreground", "daemon") for kind in STARTS),
    *(f"restart-service, {kind}" for kind in RESTARTS),
    "config-file-content", "config-file-content, source absent", "config-file-content, no tools",
    "save-to-config-file", "save-to-config-file, source absent",
    "save-to-config-file, target absent", "save-to-config-file, no tools, no panel",
)
SCENARIOS = [Scenario(name) for name in NAMES]

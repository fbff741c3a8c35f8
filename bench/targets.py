"""What is compared with what, and how much is allowed."""

from dataclasses import dataclass


@dataclass
class Comparison:
    """`ours` over `peer` by their medians; met when at most `limit`. None: only reported.

    `limited_by` names in five words a fixed time of ours: where processes start faster, it is a
    larger share, and may exceed the limit."""

    work: str
    ours: str
    peer: str
    limit: float | None = None
    limited_by: str = ""


RELOCATED = "pages of relocated C++ data"
ARGUMENTS = "the child's array of arguments"


def _capture():
    for size, text, plain, popen in ((0, "0 B", (1.12, ARGUMENTS), 1.0),
                                     (1 << 10, "1 KiB", (1.12, ARGUMENTS), 1.0),
                                     (1 << 20, "1 MiB", (1.05,), None),
                                     (64 << 20, "64 MiB", (1.05,), None)):
        ours = f"capture/checkedOutput/{size}"
        yield Comparison(f"capture {text}", ours, f"capture/pipe, fork, exec, read/{size}", *plain)
        yield Comparison(f"capture {text}", ours, f"capture/popen/{size}", popen)


def _run():
    for size, text, plain in ((0, "a small process", (1.10, ARGUMENTS)),
                              (256, "256 MiB in use", (1.03,))):
        ours = f"run/TExec::run/{size}"
        yield Comparison(f"run, wait; {text}", ours,
                         f"run/fork, execvp, waitpid/{size}", *plain)
        yield Comparison(f"run, wait; {text}", ours, f"run/posix_spawn/{size}")


def _configuration():
    for count, *limit in ((31, 1.0, "two allocations for each variable"), (310,), (3100,)):
        yield Comparison(f"configuration of {count} variables",
                         f"configuration/conf_read_file_r/{count}",
                         f"configuration/ini_parse/{count}", *limit)


LIBRARIES = [
    *_run(),
    *_capture(),
    Comparison("pipeline of three", "pipeline/three TExec/1024", "pipeline/sh -c/1024", 1.0),
    *_configuration(),
    Comparison("eight options", "command line/TOParsing/8", "command line/getopt_long/8", 3.5),
    Comparison("eight options", "command line/TOParsing/8",
               "command line/Boost.Program_options/8", 0.1),
    Comparison("100 arguments", "arguments/TEArgs/100",
               "arguments/std::vector<std::string>/100", 1.1),
]

PROCESSES = [
    Comparison("what cannot be told apart", "empty again", "empty"),
    Comparison("a random address", "hardened empty", "empty"),
    Comparison("`--help`", "help", "hardened empty"),
    Comparison("`--check-install`", "check-install", "hardened empty", 1.08, RELOCATED),
    Comparison("`--check-install`", "check-install", "empty"),
    Comparison("`--check-install`", "check-install", "hardened floor check-install"),
    Comparison("`--check-install`", "check-install", "floor check-install"),
    Comparison("`--check-install`", "check-install", "start-stop-daemon --status", 0.87),
    Comparison("`--check-install`", "check-install", "sh check-install"),
    Comparison("`--service-started`", "service-started", "hardened floor service-started", 1.05,
               RELOCATED),
    Comparison("`--service-started`", "service-started", "floor service-started"),
    Comparison("`--service-started`", "service-started", "start-stop-daemon --status"),
    Comparison("`--service-started`", "service-started", "sh service-started"),
    Comparison("`--start-service`", "start-service", "hardened floor start-service", 1.05,
               RELOCATED),
    Comparison("`--start-service`", "start-service", "floor start-service"),
    Comparison("`--start-service`", "start-service", "sh start-service"),
]


@dataclass
class Absolute:
    """One number that must stay below a limit, or for a count at most at it."""

    what: str
    value: object  # a function of the results
    limit: float
    unit: str = ""  # none for a count


ABSOLUTES = [
    Absolute("split, query and check eight options",
             lambda results: results.time("command line/TOParsing/8"), 2.0, "us"),
    Absolute("peak memory of `--check-install`",
             lambda results: results.processes["check-install"]["memory"], 2.0, "MiB"),
    Absolute("peak memory of `--service-started`, its cat included",
             lambda results: results.processes["service-started"]["memory"], 2.0, "MiB"),
    Absolute("peak memory of `--start-service`",
             lambda results: results.processes["start-service"]["memory"], 2.0, "MiB"),
    Absolute("size of the executable", lambda results: results.executable, 0.9, "MiB"),
    Absolute("system calls of `--help`",
             lambda results: results.breakdown["help"]["calls"], 15),
    Absolute("system calls of `--check-install`",
             lambda results: results.breakdown["check-install"]["calls"], 18),
    Absolute("system calls of `--service-started`, parent",
             lambda results: results.breakdown["service-started"]["calls"], 24),
]

"""The measurements as the report reads them: medians by label, in microseconds."""

import json
import statistics
from pathlib import Path

UNITS = {"ns": 1e-3, "us": 1.0, "ms": 1e3, "s": 1e6}


def load_libraries(path):
    """Median and least of the repetitions of each benchmark of the libraries, by its name."""
    times = {}
    for run in json.loads(Path(path).read_text())["benchmarks"]:
        if run["run_type"] == "iteration":
            name = run["run_name"].removesuffix("/real_time")
            times.setdefault(name, []).append(run["real_time"] * UNITS[run["time_unit"]])
    return {name: {"time": statistics.median(values), "best": min(values)}
            for name, values in times.items()}


def load_processes(path):
    """Of each command: median and least time, median peak memory in MiB and page faults."""
    return {command["label"]: {
        "time": statistics.median(command["microseconds"]),
        "best": min(command["microseconds"]),
        "memory": statistics.median(command["maxrss_kib"]) / 1024,
        "faults": statistics.median(command["faults"]),
    } for command in json.loads(Path(path).read_text())["commands"]}


class Results:
    """Everything that one run of scripts/bench measured."""

    def __init__(self, folder, executable):
        folder = Path(folder)
        self.libraries = load_libraries(folder / "libraries.json")
        self.processes = load_processes(folder / "processes.json")
        self.breakdown = json.loads((folder / "breakdown.json").read_text())
        self.executable = Path(executable).stat().st_size / (1 << 20)

    def time(self, name, which="time"):
        """The median of a benchmark or of a whole process; or its "best"."""
        return (self.processes.get(name) or self.libraries[name])[which]

    def ratio(self, comparison, which="time"):
        return self.time(comparison.ours, which) / self.time(comparison.peer, which)

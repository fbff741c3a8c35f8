"""Processes as the model sees them: what a call, a fork, an exec and a wait do, and what a failure
of one of them does."""

import os
from collections import Counter
from dataclasses import dataclass, field
from errno import EACCES, ENODEV, ENOENT, ENOTDIR, ESTALE, ETIMEDOUT

SEARCHED_ON = (ENOENT, ESTALE, ENOTDIR, ENODEV, ETIMEDOUT)


class UserError(Exception):
    """A condition that the user is to read."""


class CallError(Exception):
    """A failed system call whose number decides what happens."""

    def __init__(self, number):
        super().__init__(os.strerror(number))
        self.number = number


class OtherError(Exception):
    """What nobody tells apart."""


class Became(Exception):
    """The process is another program now."""

    def __init__(self, path, status):
        super().__init__(f"became {path}")
        self.status = status  # an exit code, or "killed"


@dataclass
class Process:
    name: str
    open: dict  # where each descriptor leads: to a path, or to the list of texts in a stream
    made: Counter = field(default_factory=Counter)
    since_first: Counter = field(default_factory=Counter)  # by those it comes from, too
    serves: bool = False  # below the function that runs in place of a program
    births: int = 0


class Machine:
    def __init__(self, scenario, failure):
        self.scenario = scenario
        self.failure = failure
        self.files = scenario.files()
        self.calls = {"1": []}
        self.ends = {}
        self.statuses = {}
        self.out = []

    def call(self, process, name, *subject):
        """Makes a call; returns 0, or the error that it is chosen to fail with."""
        process.made[name] += 1
        process.since_first[name] += 1
        self.calls[process.name].append((name, " ".join(map(str, subject))))
        return self.failure.error_of(process, name) if self.failure else 0

    def must(self, process, name, *subject):
        if error := self.call(process, name, *subject):
            raise CallError(error)

    # --- processes ---

    def fork(self, process, body):
        """Runs `body` in a child to its end. Returns the child; raises CallError."""
        self.must(process, "fork")
        process.births += 1
        child = Process(f"{process.name}.{process.births}", dict(process.open), Counter(),
                        Counter(process.since_first), process.serves)
        self.calls[child.name] = []
        self.end(child, body)
        return child

    def end(self, process, body):
        """Runs a body as the program or its copies end: at the function's own border, or at the
        front end, with the last word on standard output."""
        try:
            status = body(process)
            self.ends[process.name] = f"exited {status}"
        except Became as became:
            self.ends[process.name] = str(became)
            status = became.status
        except (UserError, CallError, OtherError) as error:
            status = self.caught(process, error)
            self.ends[process.name] = f"exited {status}"
        self.statuses[process.name] = status

    def caught(self, process, error):
        if process.serves:
            return error.number if isinstance(error, CallError) else 255
        self.say(process, ("Error" if isinstance(error, OtherError) else str(error)) + "\n")
        return 1

    def wait(self, process, child):
        """The status of a child; raises CallError."""
        self.must(process, "wait")
        return self.statuses[child.name]

    def execute(self, process, name, program):
        """Becomes a program, found through PATH unless the name has a slash. `program` says what
        it does and returns its status. Raises Became or CallError."""
        last = denied = 0
        folders = self.scenario.path.split(":")
        for path in [name] if "/" in name else [f"{folder}/{name}" for folder in folders]:
            error = self.call(process, "execve", path) or self.refusal(path)
            if not error:
                raise Became(path, program(process))
            if error == EACCES:
                denied = EACCES
            elif error not in SEARCHED_ON:
                raise CallError(error)
            last = error
        raise CallError(denied or last)

    def refusal(self, path):
        """Why the kernel itself does not start that file; 0 when it does."""
        if path not in self.files and not path.startswith("/bin/"):
            return ENOENT
        return EACCES if "program not executable" in self.scenario and path in self.files else 0

    # --- descriptors ---

    def lowest(self, process, leads_to):
        number = next(number for number in range(100) if number not in process.open)
        process.open[number] = leads_to
        return number

    def open(self, process, path, exists=True):
        """A descriptor, or -1."""
        refused = self.call(process, "open", path) or not exists
        return -1 if refused else self.lowest(process, path)

    def pipe(self, process):
        """The read end and the write end; raises CallError."""
        self.must(process, "pipe")
        stream = []
        return self.lowest(process, stream), self.lowest(process, stream)

    def close(self, process, number):
        """Gives it up, even when it is reported to have failed."""
        self.call(process, "close", number)
        process.open.pop(number, None)

    def dup2(self, process, source, target):
        if not self.call(process, "dup2", source, target) and source in process.open:
            process.open[target] = process.open[source]

    def replace(self, process, target, source, *closed):
        """A closed standard stream stays closed when the copy is refused."""
        for number in (target, *closed):
            self.close(process, number)
        self.dup2(process, source, target)
        self.close(process, source)

    def content(self, process, number):
        leads_to = process.open.get(number)
        return "".join(leads_to) if isinstance(leads_to, list) else self.files.get(leads_to, "")

    def drain(self, process, number, chunk):
        """Reads a text to its end, which an error is too."""
        text = self.content(process, number)
        for start in range(0, len(text), chunk):
            if self.call(process, "read", number):
                return text[:start]
        self.call(process, "read", number)
        return text

    def say(self, process, text):
        """One write. What is refused is lost; nobody looks."""
        if not self.call(process, "write", 1, text):
            self.put(process, text)

    def put(self, process, text):
        """What is written to standard output comes to where that leads."""
        leads_to = process.open.get(1)
        if isinstance(leads_to, list):
            leads_to.append(text)
        elif leads_to in self.files:
            self.files[leads_to] += text

"""Processes as the model sees them: what a call, a fork, an exec and a wait do, and what a failure
of one of them does."""

import os
from dataclasses import dataclass
from errno import EACCES, ENODEV, ENOENT, ENOTDIR, ESTALE, ETIMEDOUT

from scenarios import ROOT

MANAGER, NULL, ERRORS, CLOSED = "manager", "null", "errors", "closed"
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
    out: object  # MANAGER, NULL, ERRORS, CLOSED, or the list of texts in a pipe
    text: object = None  # what standard input gives; CLOSED
    serves: bool = False  # below the function that runs in place of a program
    births: int = 0


class Machine:
    def __init__(self, scenario, failure):
        self.scenario = scenario
        self.failure = failure
        self.counts = {}
        self.calls = {}
        self.ends = {}
        self.statuses = {}
        self.texts = []
        self.errors = "77" if scenario.old_errors else None

    def call(self, process, name, subject=None):
        """Makes a call; returns 0, or the error that it is chosen to fail with."""
        key = (process.name, name)
        self.counts[key] = k = self.counts.get(key, 0) + 1
        if subject is not None:
            self.calls.setdefault(process.name, []).append((name, subject))
        return self.failure.error if self.failure and self.failure.hits(*key, k) else 0

    def fork(self, process, body):
        """Runs `body` in a child to its end. Returns the child; raises CallError."""
        if error := self.call(process, "fork", ""):
            raise CallError(error)
        process.births += 1
        child = Process(f"{process.name}.{process.births}", process.out, process.text,
                        process.serves)
        self.calls.setdefault(child.name, [])
        self.end(child, body)
        return child

    def end(self, process, body):
        """Runs a body as the program or its copies end: at the function's own border, or at the
        front end, with the last word on standard output."""
        try:
            status = body(process)
        except Became as became:
            self.ends[process.name] = str(became)
            self.statuses[process.name] = became.status
            return
        except (UserError, CallError, OtherError) as error:
            status = self.caught(process, error)
        self.ends[process.name] = f"exited {status}"
        self.statuses[process.name] = status

    def caught(self, process, error):
        if process.serves:
            return error.number if isinstance(error, CallError) else 255
        self.say(process, ("Error" if isinstance(error, OtherError) else str(error)) + "\n")
        return 1

    def say(self, process, text):
        """One write. What is refused is lost; nobody looks."""
        if not self.call(process, "write", text):
            self.put(process.out, text)

    def put(self, out, text):
        if out == MANAGER:
            self.texts.append(text)
        elif out == ERRORS:
            self.errors = (self.errors or "") + text
        elif isinstance(out, list):
            out.append(text)

    def copy(self, process, name, goal):
        """dup2 onto a closed standard stream: `goal`, or CLOSED when it is refused."""
        return CLOSED if self.call(process, name) else goal

    def wait(self, process, child):
        """The status of a child; raises CallError."""
        if error := self.call(process, "wait", ""):
            raise CallError(error)
        return self.statuses[child.name]

    def execute(self, process, name, program):
        """Becomes a program, found through PATH unless the name has a slash. `program` says what
        it does and returns its status. Raises Became or CallError."""
        last = denied = 0
        for path in [name] if "/" in name else [f"{ROOT}/none/{name}", f"{ROOT}/path/{name}"]:
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
        if "/none/" in path or ("/path/" in path and not self.scenario.tools):
            return ENOENT
        if "/path/" in path:
            return 0
        return {"missing": ENOENT, "not executable": EACCES}.get(self.scenario.program, 0)

"""The steps of the program, said once more and plainly: each takes the process that does it and
says what the host is like afterwards, whichever call fails."""

from errno import ECHILD, EINTR

from machine import CLOSED, ERRORS, NULL, CallError, Machine, OtherError, UserError
from scenarios import (
    PANEL, ROOT, SERVICE_SAYS, TEXTS, errors_file, panel_text, pid_text, program_text,
)

TERM, HUP, PROBE = 15, 1, 0


class Model(Machine):
    """One invocation, and what it changes."""

    def __init__(self, scenario, failure):
        super().__init__(scenario, failure)
        self.files = dict(TEXTS)
        if not scenario.target:
            self.files.pop("target")
        self.signals = []

    def has(self, path):
        """Whether a file of the world exists."""
        one = self.scenario
        return {"pid": one.pid_file not in ("unnamed", "absent"),
                "service.conf": one.config == "present", "source": one.source,
                "server": one.program != "missing",
                "errors": self.errors is not None}[path]

    def left(self):
        """The files of the world at the end."""
        one = self.scenario
        names = [name for name in ("pid", "service.conf", "source") if self.has(name)]
        files = {name: self.files.get(name) for name in [*names, "target"]}
        files["pid"] = self.pid_file_text() if "pid" in names else None
        left = {f"{ROOT}/{name}": text for name, text in files.items() if text is not None}
        if one.program != "missing":
            left[f"{ROOT}/kav/bin/{one.service}"] = program_text(one)
        if one.panel:
            left[str(PANEL)] = panel_text(one)
        return left

    def found(self, process, path, kind):
        return not self.call(process, "stat", str(path)) and self.has(kind)

    def load_panel(self, process):
        """Reads the panel configuration to the first failure; nothing depends on it."""
        if self.call(process, "open", str(PANEL)) or not self.scenario.panel:
            return
        self.drain(process, panel_text(self.scenario), 4096)

    # --- the pid file ---

    def pid_text(self, process):
        """The pid file's text through cat; empty when there is none."""
        path = f"{ROOT}/pid"
        if self.scenario.pid_file == "unnamed" or not self.found(process, path, "pid"):
            return ""
        if error := self.call(process, "pipe", ""):
            raise CallError(error)
        pipe = []

        def cat(child):
            child.out = self.copy(child, "dup2", pipe)
            self.execute(child, "cat", self.cat_of(self.pid_file_text()))

        child = self.fork(process, cat)
        text = self.drain(process, "".join(pipe), 1024)
        status = self.reap(process, child)
        if status != 0:
            raise OtherError
        return text

    def pid_file_text(self):
        return pid_text(self.scenario, "server")

    def cat_of(self, text):
        """cat of a file, which fails when it has no standard output."""

        def cat(process):
            self.put(process.out, text)
            return 1 if process.out == CLOSED else 0

        return cat

    def drain(self, process, text, chunk):
        """Reads a text to its end, which an error is too."""
        for start in range(0, len(text), chunk):
            if self.call(process, "read", ""):
                return text[:start]
        self.call(process, "read", "")
        return text

    def reap(self, process, child):
        """Waits again when interrupted; a child that is not there has ended well."""
        while True:
            try:
                return self.wait(process, child)
            except CallError as error:
                if error.number == ECHILD:
                    return 0
                if error.number != EINTR:
                    raise OtherError from error

    def send(self, process, text, signal):
        """Sends the pid that a text begins with a signal, unless it is 0; returns its outcome,
        or None when there is nobody to send it to."""
        word = text.split()[0] if text.split() else "0"
        if not word.isdigit() and word != "server" or word == "0":
            return None
        error = self.call(process, "kill", "") or (3 if word != "server" else 0)
        self.signals.append((word if word == "server" else int(word), signal, -error))
        return error

    # --- running programs ---

    def run(self, process, name, program):
        child = self.fork(process, lambda child: self.execute(child, name, program))
        return self.wait(process, child)

    def service(self, process):
        self.put(process.out, SERVICE_SAYS + "\n")
        ends = self.scenario.ends
        return ends if ends == "killed" else int(ends)

    def body(self, process):
        """One run of the service's program and the record of its exit code."""
        one = self.scenario
        errors = str(errors_file(one))
        if self.found(process, errors, "errors"):
            self.remove_errors(process, errors)
        config = f"{ROOT}/service.conf" if one.config != "unnamed" else ""
        if one.service == "parse_avstat.pl" and not self.found(process, config, "service.conf"):
            return 0
        name = f"{ROOT}/kav/bin/{one.service}"
        child = self.fork(process, lambda child: self.execute(child, name, self.service))
        try:
            status = self.wait(process, child)
        except CallError as error:
            raise OtherError from error
        if status == "killed":
            self.remove_errors(process, errors)
            return 0
        self.record(process, errors, str(status))
        if status != 0:
            raise UserError("Service failed")
        return 0

    def remove_errors(self, process, path):
        if not self.call(process, "unlink", path):
            self.errors = None

    def record(self, process, path, code):
        """cat, from a text and to the errors file."""

        def recorder(child):
            if error := self.call(child, "pipe", ""):
                raise CallError(error)
            pipe = []
            self.fork(child, lambda writer: self.writer(writer, pipe, code))
            child.text = self.copy(child, "dup2", "".join(pipe))
            child.out = self.open_errors(child, path)
            self.execute(child, "cat", self.cat_of_input)

        self.wait(process, self.fork(process, recorder))

    def writer(self, process, pipe, code):
        process.out = self.copy(process, "dup2", pipe)
        self.say(process, code)
        return 0

    def open_errors(self, process, path):
        if self.call(process, "open", path):
            self.call(process, "dup2")
            return CLOSED
        self.errors = ""
        return self.copy(process, "dup2", ERRORS)

    def cat_of_input(self, process):
        if CLOSED in (process.text, process.out):
            return 1
        self.put(process.out, process.text)
        return 0

    # --- the daemon ---

    def daemon(self, process):
        """Detaches, and runs the body in a process of its own."""
        self.fork_away(process, self.leader)
        return 0

    def fork_away(self, process, body):
        try:
            self.fork(process, body)
        except CallError as error:
            raise UserError("Unable to run as daemon") from error

    def leader(self, process):
        self.call(process, "setsid", "")
        self.fork_away(process, self.detached)
        return 0

    def detached(self, process):
        null = not self.call(process, "open", "/dev/null")
        for stream in ("in", "out", "err"):
            copied = not self.call(process, "dup2") and null
            if stream == "out" and copied:
                process.out = NULL
        self.fork(process, self.serve)
        return 0

    def serve(self, process):
        process.serves = True
        return self.body(process)

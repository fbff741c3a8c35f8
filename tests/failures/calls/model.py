"""The steps of the program, said once more and plainly: each takes the process that does it and
says what the host is like afterwards, whichever call fails."""

from errno import ECHILD, EINTR, ESRCH
from signal import SIGHUP, SIGPIPE, SIGTERM

from machine import CallError, Machine, OtherError, Process, UserError
from observe import Outcome, comparable
from scenarios import PANEL, ROOT, SERVICE_SAYS


class Model(Machine):
    """One invocation, and what it changes."""

    def __init__(self, scenario, failure):
        super().__init__(scenario, failure)
        self.signals = []

    def found(self, process, path):
        return not self.call(process, "stat", path) and path in self.files

    def load_panel(self, process):
        """Reads the panel configuration to the first failure; nothing depends on it."""
        number = self.open(process, PANEL, PANEL in self.files)
        if number >= 0:
            self.call(process, "fstat", number)
            self.drain(process, number, 4096)
            self.close(process, number)

    def cat(self, path):
        """cat of a file, or of standard input. It fails when a stream that it needs is closed."""

        def program(process):
            if 1 not in process.open or not path and 0 not in process.open:
                return 1
            self.put(process, self.files[path] if path else self.content(process, 0))
            return 0

        return program

    # --- the pid file ---

    def pid_text(self, process):
        """The pid file's text through cat; empty when there is none. The read end stays open."""
        path = f"{ROOT}/pid"
        if self.scenario.pid_file is None or not self.found(process, path):
            return ""
        read, write = self.pipe(process)

        def capture(child):
            self.replace(child, 1, write, read)
            self.execute(child, "cat", self.cat(path))

        child = self.fork(process, capture)
        self.close(process, write)
        text = self.drain(process, read, 1024)
        if self.reap(process, child) != 0:
            raise OtherError
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
        word = (text.split() or ["0"])[0]
        if word == "0":
            return None
        error = self.call(process, "kill") or (0 if word == "server" else ESRCH)
        self.signals.append((word if word == "server" else int(word), signal, -error))
        return error

    def reload(self, process):
        text = self.pid_text(process)
        if self.send(process, text, SIGHUP) is None:
            return
        self.call(process, "sleep")
        if self.send(process, text, 0):
            raise UserError("Service reloading failed")

    # --- running programs ---

    def run(self, process, name, program):
        child = self.fork(process, lambda child: self.execute(child, name, program))
        return self.wait(process, child)

    def service(self, process):
        self.put(process, SERVICE_SAYS + "\n")
        return self.scenario.ends

    def body(self, process):
        """One run of the service's program and the record of its exit code."""
        one = self.scenario
        if self.found(process, one.errors):
            self.remove(process, one.errors)
        if one.service == "parse_avstat.pl" and not self.found(process, one.configuration()):
            return 0
        child = self.fork(process, lambda child: self.execute(child, one.program, self.service))
        try:
            status = self.wait(process, child)
        except CallError as error:
            raise OtherError from error
        if status == "killed":
            self.remove(process, one.errors)
            return 0
        self.wait(process, self.fork(process, lambda child: self.record(child, str(status))))
        if status != 0:
            raise UserError("Service failed")
        return 0

    def remove(self, process, path):
        if not self.call(process, "unlink", path):
            self.files.pop(path, None)

    def record(self, process, code):
        """Becomes cat, from a text and to the errors file."""
        read, write = self.pipe(process)

        def writer(child):
            self.call(child, "rt_sigaction", int(SIGPIPE))
            self.replace(child, 1, write, read)
            self.say(child, code)
            return 0

        self.fork(process, writer)
        self.replace(process, 0, read, write)
        number = self.open(process, self.scenario.errors)
        if number >= 0:
            self.files[self.scenario.errors] = ""
        self.replace(process, 1, number)
        self.execute(process, "cat", self.cat(None))

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
        self.call(process, "setsid")
        self.call(process, "rt_sigaction", int(SIGHUP))
        self.fork_away(process, self.detached)
        return 0

    def detached(self, process):
        null = self.open(process, "/dev/null")
        for stream in (0, 1, 2):
            self.dup2(process, null, stream)
        if null > 2:
            self.close(process, null)
        self.fork(process, self.serve)
        return 0

    def serve(self, process):
        process.serves = True
        return self.body(process)

    # --- the commands ---

    def preamble(self, process):
        """What comes before every command: the command line, then the panel configuration."""
        if "unknown option" in self.scenario:
            raise UserError("Unknown option '--bogus'")
        if "no file named" in self.scenario:
            raise UserError("Requires long option '--file'")
        self.load_panel(process)

    def command(self, process):
        """The one that the scenario names. Returns the exit status."""
        if self.scenario.command in ("empty command line", "help", "short help"):
            return 0
        self.preamble(process)
        command = getattr(self, self.scenario.command.replace("-", "_"))
        return command(process) or 0

    def delete_file(self, process):
        self.remove(process, f"{ROOT}/source")

    def check_install(self, process):
        if not self.found(process, f"{ROOT}/kav/bin/aveserver"):
            raise UserError("Kaspersky Anti-Virus server is not installed")
        self.say(process, "Kaspersky Anti-Virus server is installed\n")

    def start_service(self, process):
        if self.pid_text(process):
            raise UserError("Service is running already")
        return self.daemon(process) if self.scenario.daemon else self.body(process)

    def service_started(self, process):
        if not self.pid_text(process):
            raise UserError("Service is not running")
        self.say(process, "Service is started\n")

    def kill_service(self, process):
        if not self.pid_text(process):
            raise UserError("Service is stopped already")
        self.send(process, self.pid_text(process), SIGTERM)

    def restart_service(self, process):
        running = self.pid_text(process)
        if running and self.scenario.service == "aveserver":
            return self.reload(process)
        if running:
            self.send(process, self.pid_text(process), SIGTERM)
        return self.daemon(process)

    def config_file_content(self, process):
        if self.found(process, f"{ROOT}/source"):
            self.run(process, "cat", self.cat(f"{ROOT}/source"))

    def save_to_config_file(self, process):
        source, target = f"{ROOT}/source", f"{ROOT}/target"

        def copy(_process):
            if source not in self.files:
                return 1
            self.files[target] = self.files[source]
            return 0

        self.run(process, "cp", copy)
        self.run(process, "chown", lambda _process: 0)


def expected(scenario, failure=None):
    """The outcome of the scenario with that failure."""
    model = Model(scenario, failure)
    model.end(Process("1", {0: "/dev/null", 1: model.out, 2: []}), model.command)
    return Outcome(model.ends, comparable(scenario, model.calls),
                   sorted("".join(model.out).splitlines()), model.files, model.signals)

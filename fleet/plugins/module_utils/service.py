"""A service of this host, driven by the commands of the anti-virus manager."""

import os
import re
import signal
import subprocess
import time

from ansible.module_utils.basic import AnsibleModule

ARGUMENTS = {
    "name": {"default": "aveserver"},
    "kav_dir": {"required": True},
    "pid_file": {"required": True},
    "config_file": {},
    "program": {"default": "/usr/sbin/avmanager"},
    "patience": {"type": "int", "default": 10},
}
DEADLINE = 60  # seconds for a command of the manager; a reload takes 5 of them by design
PROOF_DEADLINE = 5

# Every answer that the manager may give, and whether the command did something.
ANSWERS = {
    "service-started": {(0, "Service is started\n"): True, (1, "Service is not running\n"): False},
    "start-service": {(0, ""): True, (1, "Service is running already\n"): False},
    "kill-service": {(0, ""): True, (1, "Service is stopped already\n"): False},
    "restart-service": {(0, ""): True},
}


class Failed(Exception):
    """A step failed; the text is the line that says why."""


def made_module(**more):
    """The engine's module with the arguments of all our modules and with more."""
    module = AnsibleModule(argument_spec=dict(ARGUMENTS, **more), supports_check_mode=True)
    for name in ("kav_dir", "pid_file", "config_file", "program"):
        if module.params[name] is not None and not module.params[name].startswith("/"):
            module.fail_json(msg=f"{name} is not an absolute path: {module.params[name]}")
    if os.geteuid() != 0:
        module.fail_json(msg="The manager works as root: set 'become: true'")
    return module


def run(argv, seconds, executable=None):
    """Runs a program without a shell; returns its exit status, its output and its errors.

    The output goes to memory, not through a pipe: a grandchild that keeps a pipe open would be
    waited for after the deadline."""
    out, err = os.memfd_create("out"), os.memfd_create("err")
    try:
        with subprocess.Popen(argv, executable=executable, cwd="/", stdin=subprocess.DEVNULL,
                              stdout=out, stderr=err, start_new_session=True) as child:
            try:
                status = child.wait(seconds)
            except subprocess.TimeoutExpired:
                os.killpg(child.pid, signal.SIGKILL)
                return None, "", f"no answer within {seconds} seconds"
        return status, *(os.pread(file, 1 << 16, 0).decode(errors="replace") for file in (out, err))
    except OSError as error:
        return None, "", str(error)
    finally:
        os.close(out)
        os.close(err)


def first_line(status, out, err):
    return next(filter(str.strip, (out + err).splitlines()), f"exit status {status}")


def within(seconds, pause=0.2):
    """Comes round at once, and again after each pause until the time is over."""
    end = time.monotonic() + seconds
    yield
    while time.monotonic() < end:
        time.sleep(pause)
        yield


def started(pid):
    """When a process started, in the kernel's count; None when it is not there."""
    try:
        with open(f"/proc/{pid}/stat", encoding="ascii", errors="replace") as file:
            state, *rest = file.read().rpartition(")")[2].split()
    except OSError:
        return None
    return None if state in "ZX" else rest[18]


def remove(path):
    try:
        os.unlink(path)
    except FileNotFoundError:
        pass


class Service:
    """What the manager is asked and told of one service. Its step is what failed."""

    def __init__(self, params):
        self.name, self.patience = params["name"], params["patience"]
        self.pid_file, self.program = params["pid_file"], params["program"]
        self.options = [f"--kav-dir={params['kav_dir']}", f"--service={self.name}",
                        f"--service-pidfile={self.pid_file}"]
        self.config_file = params["config_file"]
        self.errors_file = f"/tmp/zrckav_{self.name}_errors"
        self.step = "Ask how the service was found"
        self.known = self.process()
        # A package that replaces or removes the manager in the middle of a change must not end it.
        self.held = os.open(self.program, os.O_RDONLY) if os.path.isfile(self.program) else None

    def at(self, step):
        self.step = step

    def manage(self, command, *options):
        """Runs the manager, by the file that was there at the beginning."""
        held = f"/proc/{os.getpid()}/fd/{self.held}" if self.held is not None else None
        return run([self.program, f"--{command}", *options], DEADLINE, held)

    def tell(self, command):
        options = list(self.options)
        if self.config_file and command in ("start-service", "restart-service"):
            options.append(f"--config-file={self.config_file}")
        ended = self.manage(command, *options)
        if ended[:2] not in ANSWERS[command]:
            raise Failed(first_line(*ended))
        return ANSWERS[command][ended[:2]]

    def process(self):
        """The process that the pid file names: its id and its start, since ids come again."""
        try:
            with open(self.pid_file, encoding="ascii", errors="replace") as file:
                pid = re.match(r"\s*(\d+)", file.read(64))
        except OSError:
            return None
        return (int(pid[1]), start) if pid and (start := started(pid[1])) else None

    def would_run(self):
        """A check run may come before the program is there: then nothing runs."""
        return self.held is not None and self.runs()

    def runs(self):
        """What the manager says, and whether the process is there: the manager believes any text
        of the pid file. A number that is another process by now counts as none."""
        process = self.process()
        reused = process and self.known and process[0] == self.known[0] and process != self.known
        return self.tell("service-started") and process is not None and not reused

    def start(self):
        """Starts a service that does not run; returns whether it had to."""
        if self.runs():
            return False
        self.at("Start the service")
        remove(self.pid_file)
        remove(self.errors_file)  # what it holds from now on is of this start
        self.tell("start-service")
        for _try in within(self.patience):
            if self.exit_code() not in ("", "0"):
                raise Failed(f"{self.name} ended with exit code {self.exit_code()}")
            if self.runs():
                self.known = self.process()
                return True
        raise Failed(f"{self.name} does not run {self.patience} seconds after its start")

    def exit_code(self):
        """What the start left in the errors file. A program that goes into the background by
        itself ends with 0 and runs."""
        try:
            with open(self.errors_file, encoding="ascii", errors="replace") as file:
                return file.read(64)
        except FileNotFoundError:
            return ""

    def stop(self):
        """Stops a service that runs, and waits until its process has ended; returns whether it
        had to. A process that is gone leaves its pid file behind, and nothing is signalled."""
        process = self.process()
        had_to = self.runs()
        if had_to:
            self.at("Stop the service")
            self.tell("kill-service")
            if not any(started(process[0]) != process[1] for _try in within(self.patience)):
                raise Failed(f"{self.name} still runs {self.patience} seconds after SIGTERM")
        remove(self.pid_file)
        return had_to

    def reload(self):
        if self.start():
            return True
        self.at("Reload the service")
        return self.tell("restart-service")

    def restart(self):
        """Not the manager's restart: it reloads "aveserver", and starts others beside the old
        process, which may then remove the new one's pid file."""
        self.stop()
        return self.start()

    def prove(self, command):
        """Lets the service prove that it works: its process is there, and a command of the
        administrator's ends with 0. Only the command sees a service that hangs."""
        self.at("Let the service prove that it works")
        for _try in within(self.patience if command else 0, 1):
            ended = run(command, PROOF_DEADLINE) if command else (0, "", "")
            if ended[0] == 0:
                break
        else:
            raise Failed(first_line(*ended))
        if not self.runs():
            raise Failed(f"{self.name} does not run")

"""The change of one host's configuration, which is finished there whatever becomes of its caller."""

import fcntl
import json
import os
import signal
import time

from ansible_collections.zarnic.avmanager.plugins.module_utils.service import Failed, first_line, remove

GOOD, UNFINISHED = ("done", "nothing to do"), "not finished"
RECORD_SIZE = 4096  # more than a line of 900 characters takes


def read(path):
    """A file's bytes, or None."""
    try:
        with open(path, "rb") as file:
            return file.read()
    except FileNotFoundError:
        return None


def to_disk(path):
    file = os.open(path, os.O_RDONLY)
    os.fsync(file)
    os.close(file)


def apart(work):
    """Does the work in a process of its own, which no end of ssh and no ordinary signal reaches;
    returns what it answers. The caller may die: the answer is in the record, too."""
    for number in (signal.SIGHUP, signal.SIGINT, signal.SIGTERM):
        signal.signal(number, lambda *_args: None)  # not ignored: programs would inherit that
    reading, writing = os.pipe()
    worker = os.fork()
    if worker == 0:
        try:
            os.setsid()
            null = os.open(os.devnull, os.O_RDWR)
            for stream in range(3):
                os.dup2(null, stream)
            os.close(reading)
            answer = json.dumps(work()).encode()
            while answer:
                answer = answer[os.write(writing, answer):]
        finally:
            os._exit(0)  # the caller's own end must not be done twice
    os.close(writing)
    with open(reading, "rb") as pipe:
        answer = pipe.read()
    os.waitpid(worker, 0)
    return json.loads(answer or '{"line": "not finished"}')


class Lock:
    """The folder CONFIG-FILE.lock, which only one can make and which stays when its maker dies.
    The file CONFIG-FILE.rollout says what became of the latest change, and its lock in the kernel
    whether the maker lives."""

    def __init__(self, config_file):
        self.folder, self.file = f"{config_file}.lock", f"{config_file}.rollout"
        self.record = {"line": UNFINISHED}
        self.taken_over = False
        self.earlier = self.latest()

    def latest(self):
        try:
            return json.loads(read(self.file) or "{}")
        except ValueError:
            return {}

    def exists(self, take_over):
        """Why the host is to be left alone, or None."""
        if not os.path.isdir(self.folder):
            return None
        since = " since {at}: {line}, {step}".format_map(self.earlier) if self.earlier else ""
        try:
            with open(self.file, "rb") as file:
                fcntl.flock(file, fcntl.LOCK_SH | fcntl.LOCK_NB)
        except BlockingIOError:
            return f"left out: {self.folder} exists, and its maker is at work"
        except FileNotFoundError:
            since = ""
        return None if take_over else f"left out: {self.folder} exists{since}"

    def take(self, take_over):
        """Takes the lock, with room on the disk for the answer; returns why not, or None."""
        held = os.open(self.file, os.O_RDWR | os.O_CREAT, 0o600)
        try:
            fcntl.flock(held, fcntl.LOCK_EX | fcntl.LOCK_NB)
            self.earlier = self.latest()
            os.mkdir(self.folder, 0o700)
        except BlockingIOError:
            return self.exists(False) or f"left out: {self.folder} exists"
        except FileExistsError:
            if not take_over:
                os.close(held)
                return self.exists(False)
            self.taken_over = True
        self.held = held
        try:
            self.note(step="Lock the host")
        except OSError:
            os.rmdir(self.folder)
            raise
        to_disk(os.path.dirname(self.folder))
        return None

    def note(self, **told):
        """Writes down where the work is: in place, since a full disk must not lose the answer."""
        self.record.update(told, at=time.strftime("%Y-%m-%d %H:%M:%S %z"))
        text = json.dumps(self.record, ensure_ascii=False).encode(errors="replace")
        os.pwrite(self.held, text.ljust(RECORD_SIZE - 1) + b"\n", 0)


class Rollout:
    """The whole change of one host. Calling it returns what the module answers."""

    def __init__(self, params, service, wanted):
        self.params, self.service, self.wanted = params, service, wanted
        self.file = params["config_file"]
        self.kept, self.staged = f"{self.file}.before", f"{self.file}.new"
        self.lock = Lock(self.file)
        self.saved = self.told = self.new = self.changed = False

    def __call__(self):
        try:
            line = self.lock.take(self.params["take_over"])
        except OSError as error:
            line = f"failed: Lock the host: {error}"
        if line:
            return self.answer(line)
        self.service.at = self.at
        try:
            self.look()
            self.change()
            line = "done" if self.new else "nothing to do"
        except Exception as failure:  # whatever it is, the host must come to an end
            line = self.undone(f"failed: {self.service.step}: {failure}"[:400])
        self.lock.note(line=line)
        if not line.startswith("NOT"):
            os.rmdir(self.lock.folder)
        return self.answer(line)

    def foretold(self):
        """What a check run answers: it only looks."""
        left_out = self.lock.exists(self.params["take_over"])
        if left_out:
            return self.answer(left_out)
        self.new, runs = read(self.file) != self.wanted, self.service.would_run()
        told = f"{self.params['apply']}ed" if runs and self.new else \
            "started" if self.params["start"] and not runs else None
        self.changed = self.new or told is not None
        return dict(self.answer("done" if self.new else "nothing to do"),
                    foretold=f"{self.service.name} would be {told}" if told else "")

    def answer(self, line):
        return {"line": line, "changed": self.changed, "earlier": self.lock.earlier}

    def at(self, step):
        self.service.step = step
        self.lock.note(step=step)

    def look(self):
        """Finds out how the host is. After a change that came to no end, the service may not know
        its configuration, and the copy that was kept is the old one."""
        self.at("Ask how the service was found")
        remove(self.staged)
        earlier = self.lock.earlier
        unfinished = self.lock.taken_over or earlier.get("line", "").startswith((UNFINISHED, "NOT"))
        self.ran = self.service.runs() or bool(unfinished and earlier.get("ran"))
        self.before = self.old = read(self.file)
        self.is_kept = unfinished and earlier.get("is_kept", False)
        if self.is_kept:
            self.old = read(self.kept)
        self.new = unfinished or self.before != self.wanted
        self.lock.note(ran=self.ran, is_kept=self.is_kept)
        self.changed = self.new

    def change(self):
        if self.before != self.wanted:
            self.save()
        if self.params["start"] or self.ran:
            self.told = True
            self.changed |= getattr(self.service, self.params["apply"] if self.new else "start")()
            for pause in sorted({0, self.params["settle"]}):
                time.sleep(pause)
                self.service.prove(self.params["proof"])

    def save(self):
        try:
            self.at("Bring the new configuration to the host")
            self.write(self.staged, self.wanted)
            if not self.is_kept:
                self.at("Keep a copy")
                remove(self.kept)
                if self.old is not None:
                    self.copy(self.file, self.kept, self.old)
                self.is_kept = True
                self.lock.note(is_kept=True)
            self.at("Save the configuration")
            self.saved = True
            self.copy(self.staged, self.file, self.wanted)
        finally:
            remove(self.staged)
            if not self.is_kept:
                remove(self.kept)

    def copy(self, source, destination, content):
        """The manager's answers to a save say nothing: what became of it is seen in the file."""
        ended = self.service.manage("save-to-config-file", f"--file={source}",
                                    f"--config-file={destination}")
        if read(destination) != content:
            raise Failed(f"{destination} is not whole: {first_line(*ended)}")
        to_disk(destination)

    @staticmethod
    def write(path, content):
        with open(path, "wb", opener=lambda *how: os.open(*how, 0o600)) as file:
            file.write(content)
        to_disk(path)

    def undone(self, line):
        """Puts back what a failed change has changed; returns the line that says so."""
        if not (self.saved or self.told and self.new):
            self.changed = False
            return line
        try:
            self.at("Put the old configuration back")
            self.put_back()
            if self.told:
                self.service.stop()
            if self.told and self.ran:
                self.service.start()
            self.changed = False
            return f"rolled back, {line}"
        except Exception as worse:
            return f"NOT ROLLED BACK, {line}; {self.service.step}: {worse}"[:900]

    def put_back(self):
        """Without the manager, which may be what has failed, and into the file as it is: it keeps
        its mode. A full disk has room for a name, and so for the copy that was kept."""
        if self.old is None:
            remove(self.file)
        elif read(self.file) != self.old:
            try:
                self.write(self.file, self.old)
            except OSError:
                os.replace(self.kept, self.file)

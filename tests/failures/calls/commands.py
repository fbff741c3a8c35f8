"""The expected outcome: what each command does with the host of a scenario, step by step."""

from machine import MANAGER, Process, UserError
from model import HUP, PROBE, TERM, Model
from observe import Outcome, once
from scenarios import ROOT, TEXTS


def preamble(model, process):
    """What comes before every command: the command line, then the panel configuration."""
    if "--bogus" in model.scenario.extra:
        raise UserError("Unknown option '--bogus'")
    if model.scenario.bare and model.scenario.command == "delete-file":
        raise UserError("Requires long option '--file'")
    model.load_panel(process)


def no_command(model, process):
    if "--bogus" in model.scenario.extra:
        raise UserError("Unknown option '--bogus'")
    return 0


def delete_file(model, process):
    preamble(model, process)
    if not model.call(process, "unlink", f"{ROOT}/source"):
        model.files.pop("source")
    return 0


def check_install(model, process):
    preamble(model, process)
    if not model.found(process, f"{ROOT}/kav/bin/aveserver", "server"):
        raise UserError("Kaspersky Anti-Virus server is not installed")
    model.say(process, "Kaspersky Anti-Virus server is installed\n")
    return 0


def start_service(model, process):
    preamble(model, process)
    if model.pid_text(process):
        raise UserError("Service is running already")
    if model.scenario.foreground:
        return model.body(process)
    return model.daemon(process)


def service_started(model, process):
    preamble(model, process)
    if not model.pid_text(process):
        raise UserError("Service is not running")
    model.say(process, "Service is started\n")
    return 0


def kill_service(model, process):
    preamble(model, process)
    if not model.pid_text(process):
        raise UserError("Service is stopped already")
    model.send(process, model.pid_text(process), TERM)
    return 0


def reload(model, process):
    text = model.pid_text(process)
    if model.send(process, text, HUP) is None:
        return 0
    model.call(process, "sleep", "")
    if model.send(process, text, PROBE):
        raise UserError("Service reloading failed")
    return 0


def restart_service(model, process):
    preamble(model, process)
    running = model.pid_text(process)
    if running and model.scenario.service == "aveserver":
        return reload(model, process)
    if running:
        model.send(process, model.pid_text(process), TERM)
    return model.daemon(process)


def config_file_content(model, process):
    preamble(model, process)
    if model.found(process, f"{ROOT}/source", "source"):
        model.run(process, "cat", model.cat_of(TEXTS["source"]))
    return 0


def save_to_config_file(model, process):
    preamble(model, process)

    def copy(_process):
        if model.scenario.source:
            model.files["target"] = model.files["source"]
        return 0 if model.scenario.source else 1

    model.run(process, "cp", copy)
    model.run(process, "chown", lambda _process: 0)
    return 0


COMMANDS = {
    "": no_command,
    "help": no_command,
    "delete-file": delete_file,
    "check-install": check_install,
    "start-service": start_service,
    "service-started": service_started,
    "kill-service": kill_service,
    "restart-service": restart_service,
    "config-file-content": config_file_content,
    "save-to-config-file": save_to_config_file,
}


def expected(scenario, failure=None):
    """The outcome of the scenario with that failure."""
    model = Model(scenario, failure)
    program = Process("1", MANAGER)
    model.calls["1"] = []
    model.end(program, lambda process: COMMANDS[scenario.command](model, process))
    lines = sorted("".join(model.texts).splitlines())
    calls = {process: once(made) for process, made in model.calls.items()}
    return Outcome(model.ends, calls, lines, model.errors, model.left(), model.signals)

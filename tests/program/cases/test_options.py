"""The options of each command: which it requires, in which order, and which it knows at all."""

import pytest

SERVICE = ["kav-dir", "service"]
# Those that must be there, in the order in which they are asked for, and those that may be.
COMMANDS = {
    "--delete-file": (["file"], []),
    "--check-install": (["kav-dir"], []),
    "--start-service": (SERVICE, ["config-file", "service-pidfile", "no-daemon"]),
    "--service-started": (SERVICE, ["service-pidfile"]),
    "--kill-service": (SERVICE, ["service-pidfile"]),
    "--restart-service": (SERVICE, ["config-file", "service-pidfile"]),
    "--config-file-content": (["file"], []),
    "--save-to-config-file": (["file", "config-file"], []),
}
VALUES = {name for required, optional in COMMANDS.values() for name in required + optional}
# After all of them in the order in which unknown options are looked for.
UNKNOWN = "--unknown"

each_command = pytest.mark.parametrize("command", COMMANDS)


def refuses(host, reason, option, *arguments):
    assert host.run(*arguments).answer == (1, f"{reason} '{option}'\n")
    return host.calls() == []


@each_command
def test_the_first_missing_option_is_reported_before_an_unknown_one(host, command):
    given = [command, UNKNOWN, "-x"]
    for name in COMMANDS[command][0]:
        option = f"--{name}"
        assert refuses(host, "Requires long option", option, *given)
        for without_value in (option, option + "="):
            assert refuses(host, "Incorrect long option", option, *given, without_value)
        given.append(option + "=/none")
    assert refuses(host, "Unknown option", "-x", *given)


@each_command
def test_an_option_of_another_command_is_unknown(host, command):
    required, optional = COMMANDS[command]
    given = [command, *(f"--{name}=/none" for name in required), UNKNOWN]
    for name in VALUES:
        option = f"--{name}"
        refused = UNKNOWN if name in required + optional else option
        assert refuses(host, "Unknown option", refused, *given, option + "=/none")


@pytest.mark.parametrize("command", [name for name in COMMANDS if COMMANDS[name][1]])
def test_an_optional_option_without_a_value_is_ignored(host, command):
    required, optional = COMMANDS[command]
    given = [command, *(f"--{name}=/none" for name in required), UNKNOWN]
    for name in optional:
        for without_value in (f"--{name}", f"--{name}="):
            assert refuses(host, "Unknown option", UNKNOWN, *given, without_value)

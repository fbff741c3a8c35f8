#!/usr/bin/python
"""The module zarnic.avmanager.service."""

DOCUMENTATION = """
module: service
short_description: Brings a service of the anti-virus server to a state
description: Works through the anti-virus manager, and waits on the host until the service says that it is so.
extends_documentation_fragment: zarnic.avmanager.service
options:
  state:
    description:
      - The state to bring the service to. A reload or a restart is done at each run.
      - Both start a service that does not run. Only C(aveserver) can be reloaded.
    type: str
    choices: [started, stopped, reloaded, restarted]
    default: started
  take_over: {type: bool, default: false, description: "Works on a host that a rollout left locked, too."}
"""

EXAMPLES = """
- name: Start the server
  zarnic.avmanager.service:
    kav_dir: /opt/kav
    pid_file: /opt/kav/pid
    config_file: /opt/kav/conf
"""

RETURN = "running: {description: Whether the service runs now., returned: always, type: bool}"

from ansible_collections.zarnic.avmanager.plugins.module_utils.rollout import Lock
from ansible_collections.zarnic.avmanager.plugins.module_utils.service import (
    Failed, Service, made_module)

DONE = {"started": "start", "stopped": "stop", "reloaded": "reload", "restarted": "restart"}


def bring(service, state, foretell):
    """Brings the service to its state; returns whether that changed something."""
    if foretell:
        return state in ("reloaded", "restarted") or service.would_run() != (state == "started")
    return getattr(service, DONE[state])()


def main():
    module = made_module(state={"choices": list(DONE), "default": "started"},
                         take_over={"type": "bool", "default": False})
    params = module.params
    if params["state"] == "reloaded" and params["name"] != "aveserver":
        module.fail_json(msg=f"Only aveserver can be reloaded, and {params['name']} restarted")
    if params["state"] != "stopped" and not params["config_file"]:
        module.fail_json(msg=f"config_file is missing, and state is {params['state']}")
    locked = params["config_file"] and Lock(params["config_file"]).exists(params["take_over"])
    if locked:
        module.fail_json(msg=locked)
    service = Service(params)
    try:
        changed = bring(service, params["state"], module.check_mode)
        module.exit_json(changed=changed, running=service.would_run())
    except Failed as failure:
        module.fail_json(msg=f"{service.step}: {failure}")


if __name__ == "__main__":
    main()

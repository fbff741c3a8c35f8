#!/usr/bin/python
"""The module zarnic.avmanager.service_info."""

DOCUMENTATION = """
module: service_info
short_description: Asks how a service of the anti-virus server is
description: Asks the anti-virus manager and reads what the latest rollout left; changes nothing.
extends_documentation_fragment: zarnic.avmanager.service
"""

EXAMPLES = """
- name: Ask whether the server runs
  zarnic.avmanager.service_info:
    kav_dir: /opt/kav
    pid_file: /opt/kav/pid
    config_file: /opt/kav/conf
  register: server
  failed_when: not server.running or server.locked
"""

RETURN = """
running: {description: "Whether the service runs, and its process is there.", returned: always, type: bool}
pid: {description: "The process id, or null.", returned: always, type: int}
locked: {description: Whether a rollout has locked the host., returned: when config_file is given, type: bool}
rollout:
  description: What became of the latest rollout, with C(line), C(step) and C(at); or empty.
  returned: when config_file is given
  type: dict
"""

from ansible_collections.zarnic.avmanager.plugins.module_utils.rollout import Lock
from ansible_collections.zarnic.avmanager.plugins.module_utils.service import (
    Failed, Service, made_module)


def main():
    module = made_module()
    told = {}
    if module.params["config_file"]:
        lock = Lock(module.params["config_file"])
        told = {"locked": lock.exists(False) is not None, "rollout": lock.earlier}
    service = Service(module.params)
    try:
        module.exit_json(running=service.runs(), pid=(service.known or [None])[0], **told)
    except Failed as failure:
        module.fail_json(msg=str(failure))


if __name__ == "__main__":
    main()

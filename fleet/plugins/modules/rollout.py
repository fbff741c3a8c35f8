#!/usr/bin/python
"""The module zarnic.avmanager.rollout."""

DOCUMENTATION = """
module: rollout
short_description: Changes the configuration of a service, or leaves all as it was
description:
  - Locks the host, keeps the old configuration as C(CONFIG-FILE.before) and saves the new one. Then
    it tells the service, and lets it prove that it works.
  - When that fails, the old configuration comes back, and the service is started with it if it ran.
  - Once begun, the host finishes this by itself, whatever becomes of the connection. What came of
    it is in C(CONFIG-FILE.rollout). Only a host that loses power stays locked.
extends_documentation_fragment: zarnic.avmanager.service
options:
  config_file: {required: true}
  content: {type: str, required: true, description: The new configuration. What the engine logs hides it.}
  encoding:
    description: Use C(base64) for files, since the engine takes some texts for lists or for secrets.
    type: str
    choices: [text, base64]
    default: text
  apply:
    description: How a service that runs is told. Only C(aveserver) can be reloaded.
    type: str
    choices: [reload, restart]
    default: reload
  start: {type: bool, default: true, description: Starts a service that does not run.}
  proof:
    description:
      - A command and its arguments that ends with 0 when the service works. It runs on the host
        without a shell, has 5 seconds, and is tried for C(patience) seconds.
    type: list
    elements: str
    default: []
  settle: {type: int, default: 0, description: Seconds after which the service proves itself once more.}
  show_diff: {type: bool, default: true, description: Shows the configurations where a difference is asked for.}
  take_over: {type: bool, default: false, description: "Works on a host that a dead rollout left locked, too."}
"""

EXAMPLES = """
- name: Change the server's configuration
  zarnic.avmanager.rollout:
    kav_dir: /opt/kav
    pid_file: /opt/kav/pid
    config_file: /opt/kav/conf
    content: "{{ lookup('ansible.builtin.file', 'kav.conf', rstrip=false) | b64encode }}"
    encoding: base64
    proof: [test, -s, /opt/kav/log]
"""

RETURN = """
line:
  description: The line of the report, as docs/fleet.md of the sources lists them.
  returned: when the arguments were right
  type: str
  sample: "rolled back, failed: Reload the service: Service reloading failed"
foretold: {description: What would be done to the service., returned: in check mode, type: str}
earlier:
  description: What became of the rollout before this one, with C(line), C(step) and C(at).
  returned: when the arguments were right
  type: dict
"""

import base64

from ansible_collections.zarnic.avmanager.plugins.module_utils.rollout import GOOD, Rollout, apart, read
from ansible_collections.zarnic.avmanager.plugins.module_utils.service import (
    Failed, Service, made_module)

ARGUMENTS = {
    "config_file": {"required": True},
    "content": {"required": True, "no_log": True},
    "encoding": {"choices": ["text", "base64"], "default": "text"},
    "apply": {"choices": ["reload", "restart"], "default": "reload"},
    "start": {"type": "bool", "default": True},
    "proof": {"type": "list", "elements": "str", "default": []},
    "settle": {"type": "int", "default": 0},
    "show_diff": {"type": "bool", "default": True},
    "take_over": {"type": "bool", "default": False},
}


def main():
    module = made_module(**ARGUMENTS)
    params = module.params
    content = params["content"].encode(errors="surrogateescape")
    if params["encoding"] == "base64":
        content = base64.b64decode(content)
    if params["apply"] == "reload" and params["name"] != "aveserver":
        module.fail_json(msg=f"Only aveserver can be reloaded, and {params['name']} restarted")
    before = read(params["config_file"])
    rollout = Rollout(params, Service(params), content)
    try:
        answer = rollout.foretold() if module.check_mode else apart(rollout)
    except Failed as failure:
        module.fail_json(msg=f"{rollout.service.step}: {failure}")
    if module._diff and params["show_diff"] and before != content:
        answer["diff"] = {"before": (before or b"").decode(errors="replace"),
                          "after": content.decode(errors="replace"),
                          "before_header": rollout.file, "after_header": "the new configuration"}
    if answer.get("earlier", {}).get("line", "done") not in GOOD and answer["line"][:4] != "left":
        module.warn("The rollout before this one: {at} {line}".format_map(answer["earlier"]))
    (module.exit_json if answer["line"] in GOOD else module.fail_json)(msg=answer["line"], **answer)


if __name__ == "__main__":
    main()

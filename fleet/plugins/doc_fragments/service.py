"""What the modules' documentation has in common."""


class ModuleDocFragment:
    """The options that name a service."""

    DOCUMENTATION = """
options:
  name: {type: str, default: aveserver, description: "Name of the service, which is its program's."}
  kav_dir: {type: str, required: true, description: Folder of the anti-virus server.}
  pid_file: {type: str, required: true, description: Pid file of the service.}
  config_file: {type: str, description: "The service's configuration. A start and a reload need it."}
  program: {type: str, default: /usr/sbin/avmanager, description: Path of the manager.}
  patience: {type: int, default: 10, description: Seconds before a service counts as failed.}
requirements: [python >= 3.8]
author: The avmanager authors (@avmanager)
"""

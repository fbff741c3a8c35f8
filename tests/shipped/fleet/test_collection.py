"""The collection as an administrator gets it: packed, documented and clean."""

import json
import os
import re
import subprocess
import sys

import pytest
import yaml

from conftest import ROOT

MODULES = sorted(path.stem for path in (ROOT / "fleet/plugins/modules").glob("*.py"))


def output(*command, **more):
    run = subprocess.run(command, capture_output=True, text=True, check=False, **more)
    assert run.returncode == 0, run.stdout + run.stderr
    return run.stdout + run.stderr


def documented(kind, name):
    shown = output("ansible-doc", "--json", "-t", kind, f"zarnic.avmanager.{name}")
    return json.loads(shown)[f"zarnic.avmanager.{name}"]


@pytest.mark.parametrize("out, reason", [("", "exit status 3"), (" \n\nwhy\nmore\n", "why")])
def test_a_reason_is_the_first_line_that_says_anything(out, reason):
    path = ROOT / "fleet/plugins/module_utils/service.py"
    told = f"import runpy; print(runpy.run_path({str(path)!r})['first_line'](3, {out!r}, ''))"
    assert output("/usr/bin/python3", "-B", "-c", told) == f"{reason}\n"


def installed(folder):
    """What the archive of the collection becomes in an empty folder."""
    output("ansible-galaxy", "collection", "build", "--output-path", folder, ROOT / "fleet")
    (archive,) = folder.glob("*.tar.gz")
    output("ansible-galaxy", "collection", "install", "--offline", archive,
           env={**os.environ, "ANSIBLE_COLLECTIONS_PATH": str(folder / "c")})
    return folder / "c/ansible_collections/zarnic/avmanager"


def test_the_play_runs_by_name_from_the_archive_alone(one, monkeypatch):
    assert {path.name for path in installed(one.folder).iterdir()} == {
        "FILES.json", "MANIFEST.json", "README.md", "ansible.cfg", "meta", "playbooks", "plugins", "roles", "tests"}
    monkeypatch.setenv("ANSIBLE_COLLECTIONS_PATH", str(one.folder / "c"))
    monkeypatch.chdir("/")
    assert one.roll().status == 0
    assert one.report() == {"h1": "done"}


@pytest.mark.parametrize("module", MODULES)
def test_the_examples_of_a_module_are_right(one, module):
    examples = yaml.safe_load(documented("module", module)["examples"])
    assert examples
    one.configuration("kav.conf", level="low")
    assert one.tasks(tasks=examples).status == 0


@pytest.mark.parametrize("module", MODULES)
def test_a_module_answers_what_it_documents(one, module):
    told = {"kav_dir": "/opt/kav", "pid_file": "/opt/kav/pid", "config_file": "/opt/kav/conf"}
    if module == "rollout":
        told["content"] = "new"
    run = one.tasks("--check", tasks=[
        {f"zarnic.avmanager.{module}": told, "register": "answer"},
        {"ansible.builtin.assert": {"that": [f"answer.{name} is defined" for name in documented("module", module)["return"]]}}])
    assert run.status == 0


def test_the_inventory_of_the_page_is_whole(tmp_path):
    page = (ROOT / "docs/fleet.md").read_text()
    inventory = tmp_path / "inventory.yml"
    inventory.write_text(re.sub("^    ", "", re.search("^    all:\n(    .*\n)*", page, re.M)[0], flags=re.M))
    hosts = json.loads(output("ansible-inventory", "-i", inventory, "--list"))["_meta"]["hostvars"]
    assert len(hosts) == 200
    told = {name.removeprefix("avmanager_") for name in hosts["av001.example.org"]} - {"ansible_user"}
    assert told == {"kav_dir", "pid_file", "config_file", "config_source"}
    collection = installed(tmp_path)
    line, = re.findall("^    (ansible-playbook .* --check --diff)$", page, re.M)
    assert "hosts (200)" in output("sh", "-c", f"{line} --list-hosts", cwd=tmp_path, env={
        **os.environ, "ANSIBLE_COLLECTIONS_PATH": str(tmp_path / "c"), "ANSIBLE_CONFIG": str(collection / "ansible.cfg")})


def test_every_argument_of_the_role_is_documented_and_used():
    entries = documented("role", "avmanager")["entry_points"]
    role = "".join(path.read_text() for path in (ROOT / "fleet/roles/avmanager").glob("[thv]*/*.yml"))
    for name in entries["main"]["options"]:
        assert name in role or f"item.{name.removeprefix('avmanager_')}" in role, name
    play_file = (ROOT / "fleet/playbooks/rolling.yml").read_text()
    assert all(name in play_file for name in documented("module", "rollout")["doc"]["options"]
               if name not in ("start",))


def test_all_is_clean_for_production():
    """The changelog is the project's, so that galaxy.yml is left out. So is meta: each version of the
    linter knows other engines."""
    said = output("ansible-lint", "--offline", "--nocolor", "--profile", "production", "playbooks", "roles",
                  "plugins", cwd=ROOT / "fleet")
    assert "0 failure(s), 0 warning(s)" in said


def test_it_is_as_sane_as_debians_packages_can_tell(one):
    """What is left out needs packages from elsewhere."""
    folder = installed(one.folder)
    output("git", "init", "-q", cwd=folder)
    left_out = ("ansible-doc", "import", "pep8", "pylint", "runtime-metadata", "validate-modules", "yamllint")
    output("ansible-test", "sanity", "--python", f"3.{sys.version_info.minor}",
           *(f"--skip-test={name}" for name in left_out), cwd=folder, env={**os.environ, "HOME": str(one.folder)})

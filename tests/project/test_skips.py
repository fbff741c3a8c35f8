"""What a test run says: a skip is seen, by the suite's exit status and by its reason at the end,
and a failure says how to run that test again."""

import os
import shlex
import subprocess
import sys

import pytest

from conftest import VARIABLES, again
from project import BUILD, ROOT, ctest_tests

SKIPPING = "import pytest\ndef test_a(): pytest.skip('why')\ndef test_b(): assert {holds}\n"


def suite(folder, **variables):
    """Runs the tests of a folder under the rules for every suite."""
    env = {name: value for name, value in os.environ.items() if name != "AVMANAGER_FORBID_SKIPS"}
    return subprocess.run([sys.executable, "-B", "-m", "pytest", "-q", "-rs", "-p", "conftest",
                           "-p", "no:cacheprovider", folder],
                          env=env | {"PYTHONPATH": str(ROOT / "tests")} | variables,
                          capture_output=True, text=True, check=False)


@pytest.mark.parametrize("forbidden, holds, status",
                         [(False, True, 77), (True, True, 1), (False, False, 1)])
def test_a_suite_with_a_skip_does_not_pass(tmp_path, forbidden, holds, status):
    (tmp_path / "test_it.py").write_text(SKIPPING.format(holds=holds))
    run = suite(tmp_path, **({"AVMANAGER_FORBID_SKIPS": "1"} if forbidden else {}))
    assert run.returncode == status
    assert "SKIPPED [1]" in run.stdout and "why" in run.stdout


def test_the_reasons_are_shown_at_the_end_of_a_test_run(tmp_path):
    (tmp_path / "CTestTestfile.cmake").write_text(
        'add_test(it sh -c "echo SKIPPED why; exit 77")\n'
        "set_tests_properties(it PROPERTIES SKIP_RETURN_CODE 77)\n")
    custom = (BUILD / "CTestCustom.cmake").read_text()
    assert str(BUILD) in custom  # not the folder it is run in: with a preset that is another
    (tmp_path / "CTestCustom.cmake").write_text(custom.replace(str(BUILD), str(tmp_path)))
    run = subprocess.run(["ctest", "--test-dir", tmp_path], capture_output=True, text=True,
                         check=True)
    assert "it (Skipped)" in run.stdout
    assert run.stdout.splitlines()[-1] == "SKIPPED why"


FAILING = """import os, pytest
@pytest.mark.parametrize("text", ["it's a \\"b\\" $HOME"])
def test_a(text): assert os.environ["PROBE"] != "not this one's", text
@pytest.fixture
def broken(): assert False
def test_b(broken): pass
def test_c(): pass
"""


def test_a_failed_test_says_how_to_run_it_alone(tmp_path):
    (tmp_path / "test_it.py").write_text(FAILING)
    lines = suite(tmp_path, PROBE="not this one's").stdout.splitlines()
    commands = [line.removeprefix("Run again: ") for line in lines if line.startswith("Run again")]
    ends = [subprocess.run(command, shell=True, cwd="/", capture_output=True, text=True,
                           check=False).stdout.splitlines()[-1] for command in commands]
    assert [end.split(" in ")[0].strip("= ") for end in ends] == ["1 failed", "1 error"]


def test_a_test_in_a_private_root_is_run_again_in_one():
    command = again("file::test", private=True)
    assert f"{ROOT}/tests/support/private_root" in map(os.path.realpath, shlex.split(command))
    assert again("file::test", private=False).count("private_root") == 0


def test_what_ctest_tells_a_suite_is_told_again():
    told = {entry.partition("=")[0] for test in ctest_tests()
            if "pytest" in test.get("command", []) for entry in
            next((known["value"] for known in test["properties"]
                  if known["name"] == "ENVIRONMENT"), [])}
    assert {"AVMANAGER", "PROBE"} <= told <= set(VARIABLES)

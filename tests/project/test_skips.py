"""A skip is seen: by the suite's exit status, and by its reason at the end of a test run."""

import os
import subprocess
import sys

import pytest

from project import BUILD, ROOT

SKIPPING = "import pytest\ndef test_a(): pytest.skip('why')\ndef test_b(): assert {holds}\n"


@pytest.mark.parametrize("forbidden, holds, status",
                         [(False, True, 77), (True, True, 1), (False, False, 1)])
def test_a_suite_with_a_skip_does_not_pass(tmp_path, forbidden, holds, status):
    (tmp_path / "test_it.py").write_text(SKIPPING.format(holds=holds))
    env = {name: value for name, value in os.environ.items() if name != "AVMANAGER_FORBID_SKIPS"}
    env["PYTHONPATH"] = str(ROOT / "tests")
    if forbidden:
        env["AVMANAGER_FORBID_SKIPS"] = "1"
    run = subprocess.run([sys.executable, "-B", "-m", "pytest", "-q", "-rs", "-p", "conftest",
                          "-p", "no:cacheprovider", tmp_path],
                         env=env, capture_output=True, text=True, check=False)
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

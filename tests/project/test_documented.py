"""Every name that a public header declares is documented where it is declared. Doxygen decides, as
it does for the site; it lets a destructor and a constructor without arguments pass. Concepts, which
it lets pass, too, are looked for here."""

import os
import re
import shutil
import subprocess

import pytest

from project import name, sources, tracked

if shutil.which("doxygen") is None:
    pytest.skip("doxygen is not installed", allow_module_level=True)


def complaints(folder, settings=""):
    """What Doxygen, set as for the site, says of the public headers; no site is made.

    Of a copy, whose path is plain: Doxygen hands it to a shell between double quotes."""
    project = folder / "project"
    for path in tracked():
        copy = project / name(path)
        copy.parent.mkdir(parents=True, exist_ok=True)
        shutil.copy(path, copy)
    run = subprocess.run(["doxygen", "-"], cwd=project, text=True, capture_output=True, check=False,
                         env={**os.environ, "SITE": str(folder)},
                         input=f"@INCLUDE = docs/site/Doxyfile\n{settings}\n"
                               "GENERATE_HTML = NO\nGENERATE_XML = YES\n"
                               f"OUTPUT_DIRECTORY = {folder}\n")
    assert (run.returncode == 0) == (run.stderr == "")
    return run.stderr


def bare_concepts(text):
    """The concepts that no comment stands before since the last empty line."""
    return re.findall(r"(?:\A|\n\n)(?:(?!//|\n\n).)*?\bconcept (\w+)", text, re.S)


def test_every_public_name_is_documented(tmp_path):
    assert complaints(tmp_path) == ""
    headers = [path for path in sources("lib", "conf") if "/include/zarnic/" in name(path)]
    assert headers
    assert [found for path in headers for found in bare_concepts(path.read_text())] == []


def test_a_concept_without_a_comment_is_found():
    assert bare_concepts("// A.\ntemplate <int N>\nconcept A = N > 1;\n\n"
                         "template <int N>\nconcept B = N > 2;\n") == ["B"]


def test_a_name_without_a_comment_is_found(tmp_path):
    header = tmp_path / "header.h"
    header.write_text("// A header.\n\n#pragma once\n\n// A class.\nclass A {\n  public:\n"
                      "    A(int a);\n\n    // B.\n    void b();\n    void c() {\n        d();\n"
                      "    }\n\n    int e;\n\n  private:\n    int f;\n};\n\n"
                      "int g();  // G\n\nint h();\n")
    found = complaints(tmp_path, f"INPUT = {header}")
    assert set(re.findall(r"Member (.+) \(\w+\) of .* is not documented", found)) == {
        "A(int a)", "e", "h()"}

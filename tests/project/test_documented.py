"""Every name that a public header declares is documented where it is declared."""

import re

import pytest

from project import name, sources

HEADERS = [path for path in sources("lib", "conf") if "include" in path.parts]


def public_lines(path):
    """The lines of a header without what its classes keep private, and without inline bodies."""
    hidden = None  # the line that ends what is left out
    for line in path.read_text().splitlines():
        indent = line[:len(line) - len(line.lstrip())]
        if hidden is not None:
            hidden = None if line.startswith(hidden) else hidden
        elif line.strip() == "private:":
            hidden = indent[:-2] + "};"
        else:
            yield line
            if indent and line.endswith("{") and not re.match(r"\s*(class|struct|enum)\b", line):
                hidden = indent + "}"
    yield ""


def blocks(path):
    """The runs of lines between empty lines, labels, braces and directives. A comment stands for
    all declarations of its run, that of a struct or an enumeration for its first members too."""
    run = []
    for line in public_lines(path):
        ends = re.match(r"\s*($|#|public:|\}|namespace )", line)
        opens = re.match(r"\s*class\b.*\{$", line)
        if not ends:
            run.append(line)
        if run and (ends or opens):
            yield run
            run = []


def needs_no_comment(line):
    """An override has its comment in the base; a class is documented where it is defined."""
    return "//" in line or line.endswith(" override;") or re.fullmatch(r" *class \w+;", line)


def undocumented(path):
    return [run[0].strip() for run in blocks(path)
            if not run[0].strip().startswith("//") and not all(map(needs_no_comment, run))]


@pytest.mark.parametrize("path", HEADERS, ids=name)
def test_every_public_name_is_documented(path):
    assert undocumented(path) == []


def test_a_name_without_a_comment_is_found(tmp_path):
    header = tmp_path / "header.h"
    header.write_text("// A class.\nclass A {\n  public:\n    A();\n\n    // B.\n    void b();\n"
                      "    void c() {\n        d();\n    }\n\n    int e;\n\n  private:\n"
                      "    int f;\n};\n\nint g();  // G\n\nint h();\n")
    assert undocumented(header) == ["A();", "int e;", "int h();"]

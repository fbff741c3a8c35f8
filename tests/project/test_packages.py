"""What the packages say of themselves is what the project says, and no objection is silenced
without a reason."""

import re

from project import ROOT

OBJECTIONS = ("debian/avmanager.lintian-overrides", "packaging/rpmlint.toml")


def found(pattern, file):
    return re.search(pattern, (ROOT / file).read_text(), re.MULTILINE)[1]


def test_all_name_one_version():
    version = found(r"^project\(\w+ VERSION (\S+) ", "CMakeLists.txt")
    assert found(r"^Version: +(\S+)$", "packaging/avmanager.spec") == version
    assert found(r"\A\w+ \((\S+)\) ", "debian/changelog") == version
    assert found(r"^## (\S+)$", "CHANGELOG.md") == version


def unexplained(text):
    """The lines that silence something without a comment in front of them."""
    lines = [line.strip() for line in text.splitlines()]
    silencing = re.compile(r'"|avmanager:')
    return [line for before, line in zip(["", *lines], lines)
            if silencing.match(line) and not before.startswith("#")]


def test_every_override_has_its_reason():
    for file in OBJECTIONS:
        assert unexplained((ROOT / file).read_text()) == []


def test_an_override_without_a_reason_is_found():
    assert unexplained('# Why.\n"a",\n"b",\n') == ['"b",']

"""What the packages say of themselves is what the project says, and no objection is silenced
without a reason."""

import re

from project import ROOT

OBJECTIONS = [path for pattern in ("debian/*overrides*", "debian/source/*overrides*",
                                   "packaging/rpmlint.toml") for path in ROOT.glob(pattern)]


def found(pattern, file):
    return re.search(pattern, (ROOT / file).read_text(), re.MULTILINE)[1]


def test_all_name_one_version():
    version = found(r"^project\(\w+ VERSION (\S+) ", "CMakeLists.txt")
    assert found(r"^Version: +(\S+)$", "packaging/avmanager.spec") == version
    assert found(r"\A\w+ \((\S+)\) ", "debian/changelog") == version
    assert found(r"^## (\S+)$", "CHANGELOG.md") == version
    assert found(r"^version: (\S+)$", "fleet/galaxy.yml") == version


def test_all_name_one_licence():
    """The one that Debian calls Expat."""
    assert found(r"\A(\w+) License$", "LICENSE") == "MIT"
    assert found(r"^License: +(.+)$", "packaging/avmanager.spec") == "MIT"
    assert found(r"^License: +(.+)$", "debian/copyright") == "Expat"


def unexplained(text, silencing):
    """The lines that silence something without a comment in front of them."""
    lines = [line.strip() for line in text.splitlines()]
    return [line for before, line in zip(["", *lines], lines)
            if re.match(silencing, line) and not before.startswith("#")]


def test_every_override_has_its_reason():
    assert len(OBJECTIONS) > 1
    for path in OBJECTIONS:
        silencing = r'"|Filters = \[.' if path.suffix == ".toml" else "[^#]"
        assert unexplained(path.read_text(), silencing) == []


def test_an_override_without_a_reason_is_found():
    assert unexplained('# Why.\n"a",\n"b",\n', '"') == ['"b",']

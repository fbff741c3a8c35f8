"""What the packages say of themselves is what the project says, and no objection is silenced
without a reason."""

import re
from datetime import datetime

from project import ROOT

OBJECTIONS = [path for pattern in ("debian/*overrides*", "debian/source/*overrides*",
                                   "packaging/rpmlint.toml") for path in ROOT.glob(pattern)]


def found(pattern, file):
    return re.search(pattern, (ROOT / file).read_text(), re.MULTILINE)[1]


def test_all_name_one_version():
    version = found(r"^project\(\w+ VERSION (\S+) ", "CMakeLists.txt")
    assert found(r"^Version: +(\S+)$", "packaging/avmanager.spec") == version
    assert found(r"\A\w+ \((\S+)\) ", "debian/changelog") == version
    assert found(r"^## (\S+) \(", "CHANGELOG.md") == version
    assert found(r"^version: (\S+)$", "fleet/galaxy.yml") == version


def test_all_name_one_date():
    day = found(r"^## \S+ \((\d{4}-\d\d-\d\d)\)$", "CHANGELOG.md")
    for pattern, form, file in ((r"^ -- .*  (.+) \d\d:", "%a, %d %b %Y", "debian/changelog"),
                                (r"^\* (\w+ \w+ \d+ \d+) ", "%a %b %d %Y", "packaging/avmanager.spec")):
        assert datetime.strptime(found(pattern, file), form).date().isoformat() == day


def test_all_name_one_licence():
    """The one that Debian calls Expat."""
    assert found(r"\A(\w+) License$", "LICENSE") == "MIT"
    assert found(r"^License: +(.+)$", "packaging/avmanager.spec") == "MIT"
    assert found(r"^License: +(.+)$", "debian/copyright") == "Expat"


def test_every_override_has_its_reason():
    assert len(OBJECTIONS) > 1
    for path in OBJECTIONS:
        silencing = r'"|Filters = \[.' if path.suffix == ".toml" else "[^#]"
        lines = [line.strip() for line in path.read_text().splitlines()]
        assert [line for before, line in zip(["", *lines], lines)
                if re.match(silencing, line) and not before.startswith("#")] == []

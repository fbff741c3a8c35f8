"""zrc.conf(5) says what is so: the product's reader reads its examples, and its file and its
variables are compared with the library's."""

import os
import re
import subprocess
from pathlib import Path

import pytest

import pages
from pages import ROOT

PANEL_FILE = os.environ["PANEL_FILE"]
PANEL_CONFIGURATION = Path("/etc/zrc/zrc.conf")
PAGE = "zrc.conf.5"


def panel_file(*arguments):
    """What the product's reader says: pairs of a name and a value."""
    said = subprocess.run([PANEL_FILE, *arguments], capture_output=True,
                          check=True).stdout.decode().split("\0")
    return list(zip(said[:-1:2], said[1::2], strict=True))


def test_the_file_is_the_librarys():
    source = (ROOT / "conf/autoprepend.cpp").read_text()
    assert pages.section(PAGE, "SYNOPSIS") == [
        ".Pa " + re.search('conf_path = "(.+)"', source)[1]]


def test_the_variables_and_their_defaults_are_the_librarys():
    assert not PANEL_CONFIGURATION.exists()
    header = (ROOT / "conf/include/zarnic/conf/autoprepend.h").read_text()
    names = re.findall(r"^ +ZRC_CONF_(?!END\b)(\w+)", header, re.M)
    assert names
    items = [item.splitlines() for item in pages.items(PAGE, "VARIABLES", "tag")]
    rows = [re.fullmatch(r"Va (\w+) Pq (?:Pa|Li) (\S+)", heading).groups() for heading, _ in items]
    assert rows == panel_file("see", *names)


def typed(text):
    """What cat -A shows so."""
    return text.replace("$", "\n").replace("^I", "\t").replace("^M", "\r")


WHITE_SPACE = pages.displays(PAGE, "White space at the end of a value", "Ss")[0]


@pytest.mark.parametrize("row", WHITE_SPACE)
def test_a_line_is_read_as_the_page_says(tmp_path, row):
    line, _, value = re.fullmatch(r"(.*?\$?) +(\|(.*)\||skipped)", row).groups()
    file = tmp_path / "zrc.conf"
    file.write_text(typed(line))
    assert panel_file("read", file) == ([] if value is None else [("DUMP_D", typed(value))])
    shown = subprocess.run(["cat", "-A", file], capture_output=True, text=True, check=True).stdout
    assert shown == line + "\n" * line.endswith("$")


def test_programs_see_what_the_page_says_of_its_example():
    file, seen = pages.displays(PAGE, "EXAMPLES")
    expected = [re.fullmatch(r"(\w+) +\|(.*)\|", row).groups() for row in seen]
    assert not PANEL_CONFIGURATION.exists()
    PANEL_CONFIGURATION.write_text("\n".join(file) + "\n")
    try:
        assert panel_file("see", *(name for name, _ in expected)) == expected
    finally:
        PANEL_CONFIGURATION.unlink()

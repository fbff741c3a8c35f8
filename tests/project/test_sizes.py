"""Files and functions stay small enough to be read in one go."""

import re
import statistics

from project import PRODUCT, ROOT, name, sources, tracked

LONGEST_FILE = 250
LONGEST_TEST = 400  # a table of rows is one thing to read
LONGEST_FUNCTION = 60


def test_no_file_of_code_is_too_long():
    long = [(name(path), lines) for path in tracked()
            if (path.suffix in (".h", ".cpp", ".c", ".py") or path.read_bytes()[:2] == b"#!")
            and (lines := path.read_text().count("\n")) > (
                LONGEST_TEST if name(path).startswith("tests/") else LONGEST_FILE)]
    assert long == []


def function_lengths(path):
    """Line counts of the functions of a formatted source: a body opens at the end of a line
    that begins at the left edge and closes with a brace there."""
    lengths = []
    start = None
    for number, line in enumerate(path.read_text().splitlines()):
        if start is None and re.match(r"[A-Za-z_\[].*\)?.*\{$", line) and not re.match(
                r"(namespace|class|struct|enum|extern|union)\b|.*=\s*\{$", line):
            start = number
        elif start is None and re.match(r"[A-Za-z_\[].*\}$", line) and "(" in line:
            lengths.append((name(path), 1))
        elif start is not None and line == "}":
            lengths.append((name(path), number - start + 1))
            start = None
    return lengths


def test_functions_of_the_product_are_short():
    lengths = [length for path in sources(*PRODUCT) if path.suffix == ".cpp"
               for length in function_lengths(path)]
    assert len(lengths) > 100
    assert [entry for entry in lengths if entry[1] > LONGEST_FUNCTION] == []
    assert statistics.median(length for _, length in lengths) <= 12

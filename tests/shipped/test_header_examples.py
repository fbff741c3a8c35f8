"""The example at the head of each public header compiles, and does what it says."""

import os
import re
import subprocess
import tomllib
from pathlib import Path

import pytest

ROOT = Path(__file__).resolve().parents[2]
BUILT = Path(os.environ["AVMANAGER"]).parent
TABLE = tomllib.loads((Path(__file__).parent / "header_examples.toml").read_text())
HEADERS = {header.as_posix().partition("/include/")[2]: header
           for header in [*ROOT.glob("lib/*/include/zarnic/*/*.h"),
                          *ROOT.glob("conf/include/zarnic/*/*.h")]}


def example(header):
    """The lines of code in a header's first comment: those that are set in, below an empty line."""
    head = HEADERS[header].read_text().partition("#pragma once")[0]
    blocks = re.findall(r"^//\n((?:(?://   .*|//)\n)+)", head, re.M)
    return "".join(re.sub(r"^//", "", line) + "\n" for block in blocks for line in block.splitlines())


def function(number, header, row):
    code = re.sub(r"^ *#.*\n", "", example(header), flags=re.M)
    if "inside" in row:
        code = code.replace(row["inside"][0], "".join(row["inside"]))
    return (f"void example{number}() {{\n{row.get('before', '')}\n"
            f"{code}\n{row.get('after', '')}\n}}\n")


@pytest.fixture(scope="module")
def program(tmp_path_factory):
    """One program of all examples; its argument is the number of one."""
    includes = {line.strip() for header in TABLE for line in example(header).splitlines()
                if line.lstrip().startswith("#include")}
    includes |= {f'#include "{header}"' for header in HEADERS}
    includes |= {f"#include <{name}>" for name in ("cstdio", "cstdlib", "string", "sys/resource.h", "unistd.h")}
    text = "\n".join([*sorted(includes), "using namespace zarnic; using namespace zarnic::sys;",
                      "using namespace zarnic::opt;",
                      *(function(*row) for row in zip(range(len(TABLE)), *zip(*TABLE.items()))),
                      "int main(int, char** argv) { void (*const all[])() = {",
                      *(f"example{number}," for number in range(len(TABLE))),
                      "}; all[std::atoi(argv[1])](); }", ""])
    folder = tmp_path_factory.mktemp("examples")
    (folder / "all.cpp").write_text(text)
    archives = [next(BUILT.glob(f"**/libzarnic-{name}.a")) for name in ("opt", "sys", "error", "conf")]
    subprocess.run(["g++", "-std=c++20", "-fno-lto", folder / "all.cpp", "-o", folder / "all",
                    *(f"-I{ROOT / path}/include" for path in ("lib/error", "lib/opt", "lib/sys", "conf")),
                    *archives], check=True)
    return folder / "all"


@pytest.mark.parametrize("header", TABLE)
def test_it_does_what_it_says(header, program):
    run = subprocess.run([program, str(list(TABLE).index(header))], stdout=subprocess.PIPE,
                         timeout=20, text=True, check=True)
    assert run.stdout == TABLE[header]["prints"].removeprefix("\n")


def test_every_example_is_tried():
    assert sorted(TABLE) == sorted(header for header in HEADERS if example(header))

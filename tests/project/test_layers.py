"""Includes point down only, and the few places that are told apart stay apart."""

import re

import pytest

from project import PRODUCT, ROOT, includes, name, sources, without_comments

# The arrows between folders, as the picture of the architecture draws them.
ARROWS = re.findall(r'^ *"([\w/]+)" -> "([\w/]+)"$',
                    (ROOT / "docs/architecture-layers.dot").read_text(), re.MULTILINE)
LAYERS = {layer for arrow in ARROWS for layer in arrow}


def public(layer):
    """The folder of a library's public headers, as an include names it."""
    return f"zarnic/{layer.rpartition('/')[2]}"


def includable(layer):
    """The folders that a layer may include: its own, and the public ones that its arrows reach."""
    below = [includable(target) - {target} for source, target in ARROWS if source == layer]
    return {layer, public(layer)}.union(*below)


def folder_of(include):
    return include.strip('"').rpartition("/")[0]


def own_header(source):
    """The include of the header of a source's name, or None where there is none."""
    layer = name(source).rpartition("/")[0]
    in_public = f"{public(layer)}/{source.stem}.h"
    if (ROOT / layer / "include" / in_public).exists():
        return f'"{in_public}"'
    header = source.with_suffix(".h")
    return f'"{name(header)}"' if header.exists() else None


@pytest.mark.parametrize("layer", sorted(LAYERS))
def test_includes_point_down_only(layer):
    wrong = [(name(path), include) for path in sources(layer) for include in includes(path)
             if include.startswith('"') and folder_of(include) not in includable(layer)]
    assert wrong == []


def files_of(layer):
    """The files of a layer by name, a header and its source being one, with those of the same
    layer that each includes."""
    found = {}
    for path in sources(layer):
        own = found.setdefault(path.stem, set())
        for include in includes(path):
            if folder_of(include) in (layer, public(layer)):
                own.add(include.strip('"').rpartition("/")[2].removesuffix(".h"))
    return {stem: included - {stem} for stem, included in found.items()}


@pytest.mark.parametrize("layer", sorted(LAYERS))
def test_the_files_of_a_folder_have_an_order(layer):
    """No file leads back to itself by its includes: who reads one reads on downwards."""
    left = files_of(layer)
    while free := [stem for stem, included in left.items() if not included & left.keys()]:
        for stem in free:
            left.pop(stem)
    assert left == {}


def test_every_product_folder_is_a_known_layer():
    folders = {name(path).rpartition("/")[0] for path in sources(*PRODUCT)}
    libraries = LAYERS - {"manager"}
    assert folders == LAYERS | {f"{layer}/include/{public(layer)}" for layer in libraries}


def test_every_source_includes_its_own_header_first():
    sources_with_header = [(path, header) for path in sources(*PRODUCT)
                           if path.suffix == ".cpp" and (header := own_header(path))]
    assert len(sources_with_header) > 15
    wrong = [name(path) for path, header in sources_with_header if includes(path)[0] != header]
    assert wrong == []


def test_the_entry_only_calls_run_command_line():
    code = without_comments((ROOT / "manager/main.cpp").read_text())
    assert " ".join(code.split()) == (
        '#include "manager/front_end.h" '
        "int main(int argc, char** argv) { return runCommandLine(argc, argv); }")


PUBLIC = [f"{layer}/include" for layer in sorted(LAYERS - {"manager"})]


@pytest.mark.parametrize("pattern, folders, users", [
    # It would make streams and locales before main.
    (r"#include <iostream>", PRODUCT, []),
    (r"#include <boost", PRODUCT, ["lib/sys/output.cpp"]),
    # The errors stand on the standard library alone, public headers on no private one.
    (r"#include <(.*/|.*\.h>)", ["lib/error"], []),
    (r'#include "(?!zarnic/)', PUBLIC, []),
    # No second count by hand, and no other shared pointer.
    (r"new int\b|shared_ptr", ["lib", "manager"],
     ["lib/error/include/zarnic/error/shared_handle.h"]),
    # No command checks the command line or loads the configuration by itself.
    (r"zrcConfInit\(|\.check\(\)", ["manager"],
     ["manager/front_end.cpp", "manager/preamble.cpp"]),
    # What ends the process.
    (r"\b_?[eE]xit\(|\babort\(|\bterminate\(", PRODUCT,
     ["conf/diagnostics.cpp", "lib/sys/include/zarnic/sys/function_call.h",
      "lib/sys/preparers.cpp", "manager/daemon.cpp"]),
    # Helpers of the tests rest on nothing that is tested.
    (r'#include "(?!tests/support/)', ["tests/support"], []),
])
def test_what_stands_in_few_places_stands_in_no_other(pattern, folders, users):
    found = [name(path) for path in sources(*folders)
             if re.search(pattern, without_comments(path.read_text()))]
    assert found == users

"""Every test file runs, every source has one, and every document link leads somewhere."""

import re

import pytest

from project import PRODUCT, ROOT, ctest_tests, name, sources, tracked


TEST_FILE = re.compile(r"tests/(.*/)(?:test_(\w+)\.py|(\w+)_test\.cpp)")


def test_every_test_file_is_run_by_ctest():
    tests = {found[1] + (found[2] or found[3]) for path in tracked()
             if (found := TEST_FILE.fullmatch(name(path)))}
    assert len(tests) > 50
    assert tests - {test["name"] for test in ctest_tests()} == set()


def test_every_source_has_a_test_of_its_name():
    without = [name(path) for path in sources(*PRODUCT)
               if path.suffix == ".cpp" and path.name != "main.cpp"
               and not (ROOT / "tests/unit" / path.parent.name / f"{path.stem}_test.cpp").exists()]
    assert without == []


def documented(pattern):
    """What the documents say that looks like this, each with the document."""
    return [(path, found) for path in tracked() if path.suffix == ".md"
            for found in re.findall(pattern, path.read_text())]


def test_every_link_and_path_of_a_document_leads_to_a_file():
    """`folder/file` in a document is a promise."""
    folders = "|".join({re.escape(name(path).partition("/")[0]) for path in tracked()
                        if path.parent != ROOT})
    links = [(path, path.parent / link) for path, link in
             documented(r"\]\(([^)#:]+)(?:#[^)]*)?\)")]
    paths = [(path, ROOT / named) for path, named in documented(rf"`((?:{folders})/[\w./-]+)`")]
    assert len(links) > 10 and len(paths) > 10
    assert [broken for broken in links + paths if not broken[1].exists()] == []


def test_no_document_has_a_gap_to_be_filled_in():
    assert documented(r"@[A-Z]+@|TODO|FIXME") == []


@pytest.mark.parametrize("document", ["deliberate"])
def test_every_test_that_a_document_names_exists(document):
    text = (ROOT / f"docs/{document}.md").read_text()
    named = set(re.findall(r"`([A-Z]\w+\.\w+|test_\w+)`", text))
    assert len(named) > 10
    everything = "\n".join(path.read_text() for path in tracked()
                           if name(path).startswith("tests/") and path.suffix in (".cpp", ".py"))
    missing = [test for test in named
               if not re.search(r"\b" + r",\s*".join(test.split(".")) + r"\b", everything)]
    assert missing == []


def test_every_case_that_a_document_names_exists():
    named = {case for _, case in documented(r'case "([^"]+)"')}
    assert len(named) > 10
    cases = set(re.findall(r'^name = "([^"]+)"$', "\n".join(
        path.read_text() for path in (ROOT / "tests/program/cases").glob("*.toml")), re.M))
    assert named - cases == set()


def texts_of_messages():
    """The texts that the document of messages lists, and its index: text, source and test."""
    tables, index = (ROOT / "docs/messages.md").read_text().split("## Index by text")
    return (re.findall(r'^\| "(.+?)"(?: \||,)', tables, re.M),
            re.findall(r'^\| "(.+)" \| `(.+)` \| `(.+)` \|$', index, re.M))


def test_every_text_is_in_the_source_and_in_the_test_that_the_index_names():
    texts, index = texts_of_messages()
    assert len(texts) > 20 and index == sorted(index, key=lambda row: row[0].lower())
    assert [text for text in texts if not any(row[0] in text for row in index)] == []
    assert [(text, file) for text, *files in index for file in files
            if text not in (ROOT / file).read_text()] == []


def test_every_function_that_the_architecture_names_is_in_that_file():
    rows = re.findall(r"^\| [^|]+ \| (`[^|]+`) \| `([^|]+)` \|$",
                      (ROOT / "docs/architecture.md").read_text(), re.M)
    assert len(rows) > 5
    assert [(name, file) for names, file in rows for name in re.findall(r"`(\w+)`", names)
            if f"{name}(" not in (ROOT / file).read_text()] == []

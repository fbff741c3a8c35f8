"""Every test file runs, every source has one, and every document link leads somewhere."""

import re

import pytest

from project import PRODUCT, ROOT, ctest_tests, name, sources, tracked


def known_tests():
    return {test["name"] for test in ctest_tests()}


def test_every_googletest_file_is_run_by_ctest():
    files = {name(path)[len("tests/"):-len("_test.cpp")] for path in tracked()
             if name(path).startswith("tests/") and name(path).endswith("_test.cpp")}
    assert files
    assert files - known_tests() == set()


def test_every_source_has_a_test_of_its_name():
    without = [name(path) for path in sources(*PRODUCT)
               if path.suffix == ".cpp" and path.name != "main.cpp"
               and not (ROOT / "tests/unit" / path.parent.name / f"{path.stem}_test.cpp").exists()]
    assert without == []


def test_every_pytest_file_is_run_by_ctest():
    files = {f"{name(path.parent)[len('tests/'):]}/{path.stem[len('test_'):]}"
             for path in tracked() if path.name.startswith("test_") and path.suffix == ".py"}
    assert files
    assert files - known_tests() == set()


def test_every_link_of_a_document_leads_to_a_file():
    documents = [path for path in tracked() if path.suffix == ".md"]
    assert documents
    broken = [(name(path), link) for path in documents
              for link in re.findall(r"\]\(([^)#:]+)(?:#[^)]*)?\)", path.read_text())
              if not (path.parent / link).exists()]
    assert broken == []


def test_every_path_that_a_document_names_exists():
    """`folder/file` in a document is a promise."""
    files = tracked()
    folders = "|".join({re.escape(name(path).partition("/")[0]) for path in files
                        if path.parent != ROOT})
    broken = [(name(path), named) for path in files if path.suffix == ".md"
              for named in re.findall(rf"`((?:{folders})/[\w./-]+)`", path.read_text())
              if not (ROOT / named).exists()]
    assert broken == []


@pytest.mark.parametrize("document", ["deliberate", "security"])
def test_every_test_that_a_document_names_exists(document):
    text = (ROOT / f"docs/{document}.md").read_text()
    named = set(re.findall(r"`([A-Z]\w+\.\w+|test_\w+)`", text))
    assert len(named) > 10
    everything = "\n".join(path.read_text() for path in tracked()
                           if name(path).startswith("tests/") and path.suffix in (".cpp", ".py"))
    missing = [test for test in named
               if not re.search(r"\b" + r",\s*".join(test.split(".")) + r"\b", everything)]
    assert missing == []


def test_no_document_has_a_gap_to_be_filled_in():
    gaps = [(name(path), gap) for path in tracked() if path.suffix == ".md"
            for gap in re.findall(r"@[A-Z]+@|TODO|FIXME", path.read_text())]
    assert gaps == []


@pytest.mark.parametrize("document, least", [("deliberate", 10)])
def test_every_case_that_a_document_names_exists(document, least):
    named = set(re.findall(r'case "([^"]+)"', (ROOT / f"docs/{document}.md").read_text()))
    assert len(named) >= least
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

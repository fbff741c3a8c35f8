"""What other compilers, languages, linkers and build tools make of the libraries and the program."""

import re
import subprocess

import pytest

from installation import BUILD, CONSUMER, SOURCE, configure, installed, run


@pytest.fixture(scope="session", name="stage")
def staged(tmp_path_factory):
    stage = tmp_path_factory.mktemp("stage")
    installed(stage, BUILD, "--component", "development")
    return stage


@pytest.fixture(scope="session", name="archives")
def built_by_each(stage, tmp_path_factory):
    """What links zarnic-sys as each compiler built it. As shipped it is g++'s."""
    folder = tmp_path_factory.mktemp("clang")
    configure("clang++", folder, f"-DZARNIC_SOURCE={SOURCE}", "-DCMAKE_UNITY_BUILD=ON")
    run("cmake", "--build", folder, "--target", "own")
    return {"g++": [stage / f"lib/libzarnic-{name}.a" for name in ("sys", "error")],
            "clang++": [folder / f"zarnic/lib/{name}/libzarnic-{name}.a"
                        for name in ("sys", "error")]}


def build(stage, output, *words, compiler="g++"):
    run(compiler, "-std=c++20", "-I", stage / "include", "-o", output, *words)
    return output


def compiled(compiler, stage, *options):
    """The compiler's complaints."""
    return subprocess.run([compiler, "-I", stage / "include", *options], text=True, check=False,
                          stderr=subprocess.PIPE).stderr


def headers(stage, libraries):
    found = [path for library in libraries for path in stage.glob(f"include/zarnic/{library}/*.h")]
    assert len(found) > 2
    return found


def test_an_older_language_is_told_which_one_is_needed(stage):
    """By every header, in front of all other errors."""
    for header in headers(stage, ["error", "opt", "sys"]):
        said = compiled("g++", stage, "-std=gnu++17", "-Wfatal-errors", "-fsyntax-only",
                        "-include", header, "-x", "c++", "/dev/null")
        assert "error: #error" in said and "-std=c++20" in said, header


@pytest.mark.parametrize("compiler, libraries, options", [
    ("g++", ["conf"], ["-std=c++11", "-pedantic-errors"]),  # takes an older language
    ("clang++", ["conf"], ["-std=c++11", "-pedantic-errors"]),
    ("g++", ["error", "opt", "sys", "conf"], ["-std=c++20", "-Weffc++"]),
])
def test_strict_style_has_nothing_to_remark(compiler, libraries, options, stage):
    includes = [word for header in headers(stage, libraries) for word in ("-include", header)]
    assert compiled(compiler, stage, "-Wall", "-Wextra", *options, "-fsyntax-only", *includes,
                    CONSUMER / f"use_{libraries[0]}.cpp") == ""


@pytest.mark.parametrize("lto", [[], ["-flto"]], ids=["plain", "lto"])
@pytest.mark.parametrize("ours, theirs, linker", [("g++", "clang++", "lld"),
                                                  ("clang++", "g++", "bfd")])
def test_each_compiler_links_what_the_other_built(ours, theirs, linker, lto, archives, stage,
                                                  tmp_path):
    assert run(build(stage, tmp_path / "use", *lto, f"-fuse-ld={linker}", CONSUMER / "use_sys.cpp",
                     *archives[ours], compiler=theirs)) == "two words\n"


WHOLE = "-Wl,--whole-archive archives -Wl,--no-whole-archive"


@pytest.mark.parametrize("order", ["tool archives", "archives tool archives", f"tool {WHOLE}",
                                   f"{WHOLE} tool"])
def test_numbers_are_the_tool_s_by_its_locale_and_ours_by_none(order, archives, stage, tmp_path):
    """In whichever order they are linked: no template of Boost's is defined twice."""
    words = {"tool": [build(stage, tmp_path / "tool.o", "-c", CONSUMER / "use_numbers.cpp")],
             "archives": archives["g++"]}
    linked = [part for word in order.split() for part in words.get(word, [word])]
    assert run(build(stage, tmp_path / "use", *linked)) == "4,2\nchild failed (exit code=42): \n"


def test_a_plugin_may_keep_our_symbols_to_itself(archives, stage, tmp_path):
    """And the program that loads it still knows the errors."""
    plugin = build(stage, tmp_path / "plugin.so", "-shared", "-fPIC", "-fvisibility=hidden",
                   "-Wl,--exclude-libs,ALL", CONSUMER / "plugin.cpp", *archives["g++"])
    exported = run("nm", "--dynamic", "--defined-only", plugin)
    assert re.findall(r"\S*(?:zarnic|plugin)\S*", exported) == ["open_by_plugin"]
    assert run(build(stage, tmp_path / "use", CONSUMER / "use_plugin.cpp", plugin,
                     *archives["g++"])) == "open: No such file or directory\n"


def test_a_plugin_that_goes_leaves_the_program_its_empty_list(archives, stage, tmp_path):
    plugin = build(stage, tmp_path / "plugin.so", "-shared", "-fPIC", CONSUMER / "use_sys.cpp",
                   *archives["g++"])
    tool = build(stage, tmp_path / "use", "-rdynamic", CONSUMER / "use_list.cpp", *archives["g++"])
    assert run(tool, plugin) == "still a list\n"


@pytest.mark.parametrize("generator, program", [("Unix Makefiles", "avmanager"),
                                                ("Ninja Multi-Config", "Release/avmanager")])
def test_the_program_builds_with_other_tools(generator, program, tmp_path):
    """And with the flags of a distribution; it is stripped in each."""
    run("cmake", "-G", generator, "-S", SOURCE, "-B", tmp_path, "-DAVMANAGER_TESTS=OFF",
        "-DCMAKE_UNITY_BUILD=ON", "-DCMAKE_CXX_FLAGS=-D_FORTIFY_SOURCE=3",
        "-DCMAKE_COMPILE_WARNING_AS_ERROR=ON", "-DCMAKE_CXX_FLAGS_RELEASE=-O1",
        *(["-DCMAKE_BUILD_TYPE=Release"] if generator == "Unix Makefiles" else []))
    run("cmake", "--build", tmp_path, "--target", "avmanager", "--config", "Release")
    program = tmp_path / program
    licence = SOURCE / "LICENSE"
    assert run(program, "--config-file-content", f"--file={licence}") == licence.read_text()
    assert ".symtab" not in run("readelf", "-SW", program)
    assert program.with_suffix(".debug").exists()

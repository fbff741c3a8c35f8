"""What other tools link: the libraries as `cmake --install` stages them, and as a subdirectory."""

import json
import os
import shlex
import subprocess
from pathlib import Path

import pytest

BUILD = Path(os.environ["AVMANAGER_BUILD"])
SOURCE = Path(__file__).resolve().parents[2]
CONSUMER = Path(__file__).parent / "consumer"
# What the program of each component says.
SAYS = {
    "error": "open: No such file or directory\n",
    "opt": "/etc/hosts\n",
    "sys": "two words\n",
    "conf": "/usr/local/zrc/logrotate/sbin/logrotate\n",
}
compilers = pytest.mark.parametrize("compiler", ["g++", "clang++"])


def run(*command, **variables):
    done = subprocess.run(command, env={**os.environ, "LC_ALL": "C", **variables}, text=True,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
    assert done.returncode == 0, done.stdout
    return done.stdout


@pytest.fixture(scope="session", name="stage")
def staged(tmp_path_factory):
    """A tree that lies elsewhere than it was configured for, in a folder with a blank."""
    stage = tmp_path_factory.mktemp("a stage")
    run("cmake", "--install", BUILD, "--prefix", "/usr", DESTDIR=stage)
    return stage / "usr"


def build(compiler, folder, *settings):
    run("cmake", "-G", "Ninja", "-S", CONSUMER, "-B", folder, f"-DCMAKE_CXX_COMPILER={compiler}",
        *settings)
    run("cmake", "--build", folder)


def says(folder):
    return {component: run(folder / f"use_{component}") for component in SAYS}


@compilers
def test_find_package(compiler, stage, tmp_path):
    build(compiler, tmp_path, f"-DCMAKE_PREFIX_PATH={stage}", f"-DCOMPONENTS={';'.join(SAYS)}")
    assert says(tmp_path) == SAYS


def test_an_unknown_component_is_not_found(stage, tmp_path):
    failed = subprocess.run(["cmake", "-G", "Ninja", "-S", CONSUMER, "-B", tmp_path,
                             "-DCOMPONENTS=sys;mail", f"-DCMAKE_PREFIX_PATH={stage}"],
                            capture_output=True, text=True, check=False)
    assert failed.returncode != 0
    assert "zarnic has no component mail" in failed.stderr


@compilers
@pytest.mark.parametrize("component", SAYS)
def test_pkg_config(compiler, component, stage, tmp_path):
    (found,) = stage.rglob("pkgconfig")
    flags = run("pkg-config", "--cflags", "--libs", f"zarnic-{component}", PKG_CONFIG_PATH=found)
    program = tmp_path / "use"
    # As a makefile has it: the shell takes the flags apart.
    run("sh", "-c", f'"$0" -std=c++20 -o "$1" "$2" {flags}', compiler, program,
        CONSUMER / f"use_{component}.cpp")
    assert run(program) == SAYS[component]


@compilers
def test_a_subdirectory_keeps_to_itself(compiler, tmp_path):
    """The parent gets the four libraries, but no warnings, tests, programs or installed files.

    It may compile the sources of each as one, which is quicker."""
    build(compiler, tmp_path, f"-DZARNIC_SOURCE={SOURCE}", f"-DCOMPONENTS={';'.join(SAYS)}",
          "-DCMAKE_UNITY_BUILD=ON")
    assert says(tmp_path) == SAYS
    own = [entry["command"] for entry in json.loads((tmp_path / "compile_commands.json").read_text())
           if not Path(entry["file"]).is_relative_to(tmp_path / "zarnic")]
    assert len(own) == len(SAYS)
    assert [word for command in own for word in shlex.split(command)
            if word.startswith(("-W", "-f"))] == []
    assert "No tests were found" in run("ctest", "--test-dir", tmp_path)
    run("cmake", "--install", tmp_path, "--prefix", tmp_path / "installed")
    assert {path.name for path in (tmp_path / "installed").rglob("*") if path.is_file()} == {
        f"use_{component}" for component in SAYS}


def installed(folder, component):
    run("cmake", "--install", BUILD, "--prefix", folder, "--component", component)
    return {str(path.relative_to(folder)) for path in folder.rglob("*") if path.is_file()}


def test_a_host_gets_the_program_with_its_manual_and_nothing_else(tmp_path):
    files = installed(tmp_path, "program")
    documents = {name for name in files if name.startswith("share/doc/")}
    assert files - documents == {
        "sbin/avmanager", "share/man/man5/zrc.conf.5", "share/man/man8/avmanager.8",
        "share/bash-completion/completions/avmanager", "share/zsh/site-functions/_avmanager"}
    assert {"share/doc/avmanager/LICENSE", "share/doc/avmanager/operations.md"} <= documents
    assert [path for path in tmp_path.rglob("*") if path.is_dir() and not any(path.iterdir())] == []


def test_examples_come_with_the_libraries_and_build_where_they_lie(stage, tmp_path):
    (examples,) = stage.rglob("examples")
    assert "share/doc/avmanager/examples/pipeline.cpp" in installed(tmp_path / "i", "development")
    run("cmake", "-G", "Ninja", "-S", examples, "-B", tmp_path / "b",
        f"-DCMAKE_PREFIX_PATH={stage}")
    run("cmake", "--build", tmp_path / "b")
    said = run(tmp_path / "b/pipeline", tmp_path / "fruit")
    assert f"$ ./pipeline fruit\n{said}" in (examples / "pipeline.expected").read_text()


def test_archives_hold_plain_code_alone(stage):
    """What one release of a compiler writes for its own linker stops every other."""
    archives = list(stage.rglob("*.a"))
    assert len(archives) == len(SAYS)
    for archive in archives:
        assert ".gnu.lto" not in run("readelf", "-SW", archive)
        assert "__gnu_lto" not in run("readelf", "-sW", archive)

"""What other tools link: the libraries as `cmake --install` stages them, and as a subdirectory."""

import re
import shlex
import subprocess

import pytest

from installation import BUILD, CONSUMER, SOURCE, configure, installed, run

# What the program of each component says.
SAYS = {
    "error": "open: No such file or directory\n",
    "opt": "/etc/hosts\n",
    "sys": "two words\n",
    "conf": "/usr/local/zrc/logrotate/sbin/logrotate\n",
}
compilers = pytest.mark.parametrize("compiler", ["g++", "clang++"])


@pytest.fixture(scope="session", name="stage")
def staged(tmp_path_factory):
    """A tree that was moved since it was installed, to a folder with a blank."""
    installed_to = tmp_path_factory.mktemp("installed") / "usr"
    run("cmake", "--install", BUILD, "--prefix", installed_to)
    return installed_to.rename(tmp_path_factory.mktemp("a stage") / "usr")


def says(folder):
    return {component: run(folder / f"use_{component}") for component in SAYS}


@compilers
def test_find_package(compiler, stage, tmp_path):
    configure(compiler, tmp_path, f"-DCMAKE_PREFIX_PATH={stage}", f"-DCOMPONENTS={';'.join(SAYS)}")
    run("cmake", "--build", tmp_path)
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

    def ask(*what):
        return run("pkg-config", *what, f"zarnic-{component}", PKG_CONFIG_PATH=found)

    assert f"project(avmanager VERSION {ask('--modversion').strip()} " in (
        SOURCE / "CMakeLists.txt").read_text()
    flags = ask("--cflags", "--libs")
    program = tmp_path / "use"
    # As a makefile has it: the shell takes the flags apart.
    run("sh", "-c", f'"$0" -std=c++20 -o "$1" "$2" {flags}', compiler, program,
        CONSUMER / f"use_{component}.cpp")
    assert run(program) == SAYS[component]


def test_the_tool_of_the_readme_is_whole(stage, tmp_path):
    """Beside its CMakeLists.txt, and by pkg-config."""
    tool, project = [re.sub("^    ", "", block, flags=re.M) for block in re.findall(
        r"^(?:    .*\n|\n(?=    ))+", (SOURCE / "README.md").read_text(), re.M)
        if "#include" in block or "find_package" in block]
    (tmp_path / "tool.cpp").write_text(tool)
    (tmp_path / "CMakeLists.txt").write_text(project)
    run("cmake", "-S", tmp_path, "-B", tmp_path / "b", f"-DCMAKE_PREFIX_PATH={stage}")
    run("cmake", "--build", tmp_path / "b")
    line, = re.findall(r"`(g\+\+ .*)`:", (SOURCE / "README.md").read_text())
    (tmp_path / "usr").symlink_to(stage)  # a plain name, as the line has no quotes
    found = tmp_path / "usr" / next(stage.rglob("pkgconfig")).relative_to(stage)
    run("sh", "-c", f"cd {tmp_path} && {line}", PKG_CONFIG_PATH=found)
    assert [run(tmp_path / tool) for tool in ("b/tool", "tool")] == [
        "It said: two words\nexit code 1\n"] * 2


@pytest.mark.parametrize("prefix, paths", [
    ("/usr", ""), ("/opt/zarnic", "-I/opt/zarnic/include -L/opt/zarnic/lib ")])
def test_a_package_names_plain_paths_or_none(prefix, paths, tmp_path):
    run("cmake", "--install", BUILD, "--prefix", prefix, DESTDIR=tmp_path)
    (found,) = tmp_path.rglob("pkgconfig")
    said = run("pkg-config", "--cflags", "--libs", "zarnic-sys", PKG_CONFIG_PATH=found)
    assert said.strip() == f"{paths}-lzarnic-sys -lzarnic-error"


def options(folder):
    """What the parent's own targets are compiled and linked with."""
    commands = run("ninja", "-C", folder, "-t", "commands", *(f"use_{name}" for name in SAYS))
    return {word for command in commands.splitlines() if "CMakeFiles/use_" in command
            for word in shlex.split(command) if word.startswith("-") and "/" not in word}


def settings(folder):
    """The parent's settings; those of others are the folders in which packages lie."""
    entries = run("cmake", "-LA", "-N", "-B", folder).splitlines()
    return {entry for entry in entries if not re.match(r"\w+_DIR:|ZARNIC_SOURCE:", entry)}


def test_a_subdirectory_keeps_to_itself(stage, tmp_path):
    """The parent gets the four libraries, but no warnings, options, tests, programs or installed
    files. It may compile the sources of each as one, which is quicker. The other compiler tells
    nothing more: what it makes of the sources, our own presets show."""
    parent, other = tmp_path / "parent", tmp_path / "other"
    common = [f"-DCOMPONENTS={';'.join(SAYS)}", "-DCMAKE_UNITY_BUILD=ON",
              f"-DCMAKE_PREFIX_PATH={stage}"]
    configure("g++", other, *common)
    configure("g++", parent, f"-DZARNIC_SOURCE={SOURCE}", *common)
    run("cmake", "--build", parent)
    assert says(parent) == SAYS
    assert options(parent) == options(other) - {"-isystem"}
    assert settings(parent) == settings(other)
    assert "No tests were found" in run("ctest", "--test-dir", parent)
    assert not any("zarnic" in name for name in installed(tmp_path / "all", parent))
    ours = installed(tmp_path / "ours", parent, "--component", "zarnic")
    assert "lib/libzarnic-sys.a" in ours and not any("use_" in name for name in ours)


def test_a_host_gets_the_program_with_its_manual_and_nothing_else(tmp_path):
    files = installed(tmp_path, BUILD, "--component", "program")
    documents = {name for name in files if name.startswith("share/doc/")}
    assert files - documents == {
        "sbin/avmanager", "share/man/man5/zrc.conf.5", "share/man/man8/avmanager.8",
        "share/bash-completion/completions/avmanager", "share/zsh/site-functions/_avmanager"}
    assert {"share/doc/avmanager/LICENSE", "share/doc/avmanager/operations.md"} <= documents
    assert [path for path in tmp_path.rglob("*") if path.is_dir() and not any(path.iterdir())] == []


def test_every_public_header_is_installed(stage):
    headers = {path.name for folder in ("lib/*", "conf")
               for path in SOURCE.glob(f"{folder}/include/zarnic/*/*.h")}
    assert headers == {path.name for path in stage.glob("include/zarnic/*/*.h")}


def test_examples_come_with_the_libraries_and_build_where_they_lie(stage, tmp_path):
    (examples,) = stage.rglob("examples")
    assert "share/doc/avmanager/examples/pipeline.cpp" in installed(
        tmp_path / "i", BUILD, "--component", "development")
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

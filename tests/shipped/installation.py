"""The libraries as tools find them: installed, or below a folder of the tool's own."""

import os
import subprocess
from pathlib import Path

BUILD = Path(os.environ["AVMANAGER_BUILD"])
SOURCE = Path(__file__).resolve().parents[2]
CONSUMER = Path(__file__).parent / "consumer"


def run(*command, **variables):
    done = subprocess.run(command, env={**os.environ, "LC_ALL": "C", **variables}, text=True,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
    assert done.returncode == 0, done.stdout
    return done.stdout


def installed(folder, build, *options):
    run("cmake", "--install", build, "--prefix", folder, *options)
    return {str(path.relative_to(folder)) for path in folder.rglob("*") if path.is_file()}


def configure(compiler, folder, *entries):
    run("cmake", "-G", "Ninja", "-S", CONSUMER, "-B", folder, f"-DCMAKE_CXX_COMPILER={compiler}",
        *entries)

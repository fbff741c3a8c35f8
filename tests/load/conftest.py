"""The black-box harness, for many runs at a time."""

import importlib.util
import sys
from pathlib import Path

HARNESS = Path(__file__).resolve().parents[1] / "blackbox"
sys.path.insert(0, str(HARNESS))

# By its file: under its own name it would be this module.
spec = importlib.util.spec_from_file_location("blackbox_conftest", HARNESS / "conftest.py")
blackbox = importlib.util.module_from_spec(spec)
spec.loader.exec_module(blackbox)

host = blackbox.host

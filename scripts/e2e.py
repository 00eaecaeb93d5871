"""For the scripts beside it: finds the modules of the end-to-end tests, and the release build unless told another."""

import os
import sys

ROOT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..")
os.environ.setdefault("RAVELIN_BUILD", os.path.join(ROOT, "build", "release"))
sys.path.insert(0, os.path.join(ROOT, "tests", "e2e"))
sys.dont_write_bytecode = True

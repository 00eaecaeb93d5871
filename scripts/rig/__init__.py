"""What plays and end-to-end tests stand on: real programs, the virtual substation, peers on the bus, databases."""

import os
import sys

ROOT = os.path.abspath(os.path.join(os.path.dirname(__file__), "..", ".."))
BUILD = os.path.abspath(os.environ.get("RAVELIN_BUILD", os.path.join(ROOT, "build", "release")))

sys.dont_write_bytecode = True

#!/usr/bin/env python3
"""The commands of docs/tour.md that need no running portal do what the text says.

    tour_test.py BUILD-FOLDER
"""

import json
import pathlib
import re
import subprocess
import sys

tour = (pathlib.Path(__file__).parents[2] / "docs/tour.md").read_text()
blocks = re.findall(r"^```\n(.*?)^```$", tour, re.M | re.S)


def run(program):
    found = [block for block in blocks if f"build/release/bin/{program}" in block]
    assert len(found) == 1, (program, found)
    command = found[0].replace("build/release", sys.argv[1])
    return subprocess.run(["bash", "-c", command], check=True, capture_output=True, text=True).stdout


played = json.loads(run("hotspot-replay"))
assert (played["status"], played["body"]) == (200, "anna, 1m"), played
assert run("hotspot-lint").strip().endswith("0 errors, 0 warnings, 2 notes")

#!/usr/bin/env python3
"""The figures of docs/assurance.md that the tree itself can tell, the tests that it names, its presets and labels.

What was measured once stands there with its command and is no matter of this test.
"""

import json
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).parents[2]
sys.path.insert(0, str(ROOT / "tests/http"))

from requests_file import read_requests, read_verdicts  # noqa: E402
from verdicts import compared  # noqa: E402

TEXT = (ROOT / "docs/assurance.md").read_text("utf-8")
FLAT = re.sub(r"\s+", " ", TEXT)


def read(name):
    return (ROOT / name).read_text("utf-8")


def distinct(record, *who):
    return len({tuple(compared(record[name])) for name in who})


def counted():
    """(a sentence with groups for figures, what they have to be)"""
    entries = read_requests(ROOT / "tests/http/requests")
    records = read_verdicts(ROOT / "tests/http/verdicts").values()
    differing = [one for one in records if distinct(one, "hotspot", "nginx", "lighttpd") > 1]
    apart = sum(distinct(one, "nginx", "lighttpd") > 1 for one in differing)
    yield r"plays ([\d,]+) raw requests", len(entries)
    yield r"In (\d+) requests the three agree; each of the (\d+) differences", len(entries) - len(differing), len(differing)
    yield r"differ from each other in (\d+) of the (\d+)\. In the other (\d+)", apart, len(differing), len(differing) - apart
    yield r"All (\d+) are played over TLS", len(entries)

    probes = json.loads(read("tests/data/probes.json"))
    over_tls = sum(probe["url"].startswith("https:") for probe in probes)
    yield (r"the (\d+) questions of tests/data/probes.json, (\d+) by HTTP and (\w+) by HTTPS",
           len(probes), len(probes) - over_tls, ["none", "one", "two", "three"][over_tls])

    missed = 0
    for line in read("tests/checks/unreached.txt").splitlines():
        if line and not line.startswith("#"):
            missed += int(re.fullmatch(r"(?:\d+ or )?(\d+) of \d+ branches", line.rsplit(" | ", 2)[1])[1])
    total = int(re.search(r"of (\d+) branches \(", FLAT)[1])
    yield r"reach (\d+) of (\d+) lines and (\d+) of (\d+) branches", ..., ..., total - missed, total


def check_counts():
    for pattern, *wanted in counted():
        found = re.search(pattern, FLAT)
        if not found:
            yield f"no sentence like {pattern}"
            continue
        for figure, right in zip(found.groups(), wanted, strict=True):
            if right is not ... and figure.replace(",", "") != str(right):
                yield f"\"{found[0]}\": {figure} is {right}"


def check_targets():
    targets = {file.stem for file in (ROOT / "fuzz").glob("*.dict")}
    rows = set(re.findall(r"^\| (\w+) \| [\d,]+ \| [\d,]+ \| [\d,]+ \| [\d,]+ \| \d+ \|$", TEXT, re.M))
    for target in targets ^ rows:
        yield f"the table of fuzzing and fuzz/*.dict differ: {target}"


def check_names():
    sources = {path: path.read_text("utf-8") for path in (ROOT / "tests").rglob("*_test.cc")}
    everything = "\n".join(sources.values())
    for suite, name in set(re.findall(r"`([A-Z]\w+)\.([A-Z]\w+)`", TEXT)):
        if not re.search(rf"TEST(_[FP])?\(\s*{suite},\s*{name}\s*\)", everything):
            yield f"no test {suite}.{name}"
    presets = json.loads(read("CMakePresets.json"))["testPresets"]
    for preset in set(re.findall(r"ctest --preset ([\w-]+)", TEXT)) - {one["name"] for one in presets}:
        yield f"no preset {preset}"
    for name in set(re.findall(r"\b((?:tests|tools|fuzz|docs|bench)/[\w/]+\.\w+)", TEXT)):
        if not (ROOT / name).exists():
            yield f"no file {name}"


told = [*check_counts(), *check_targets(), *check_names()]
print("\n".join(told))
sys.exit(1 if told else 0)

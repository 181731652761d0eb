#!/usr/bin/env python3
"""Every link of every document leads to a file, and to a heading that is there; every document is in the list."""

import pathlib
import re
import sys
import urllib.parse

ROOT = pathlib.Path(__file__).parents[2]
LINK = re.compile(r"""!?\[[^\]]*\]\(([^)\s]+)\)|<img src="([^"]+)\"""")
CODE = re.compile(r"```.*?```|`[^`\n]*`", re.S)


def without_code(text):
    return CODE.sub("", text)


def headings(text):
    """The names that a heading can be linked by."""
    text = re.sub(r"```.*?```", "", text, flags=re.S)
    names = (re.sub(r"[`*]", "", line).strip().lower() for line in re.findall(r"^#+ (.*)$", text, re.M))
    return {re.sub(r"[^\w\- ]", "", name).replace(" ", "-") for name in names}


def documents():
    for file in sorted(ROOT.rglob("*.md")):
        parts = file.relative_to(ROOT).parts
        if parts[0] not in ("build", ".git") and "node_modules" not in parts:
            yield file


def problems():
    linked = set()
    found = 0
    for file in documents():
        name = file.relative_to(ROOT)
        for link in map("".join, LINK.findall(without_code(file.read_text()))):
            if re.match(r"[a-z]+:", link):
                yield f"{name}: {link} leads out of the project"
                continue
            found += 1
            path, _, heading = link.partition("#")
            target = (file.parent / urllib.parse.unquote(path)).resolve() if path else file
            if name == pathlib.Path("docs/README.md"):
                linked.add(target)
            if not target.exists():
                yield f"{name}: {link} is not there"
            elif heading and heading not in headings(target.read_text()):
                yield f"{name}: {link}: no such heading"
    for file in sorted((ROOT / "docs").glob("*.md")):
        if file.name != "README.md" and file not in linked:
            yield f"docs/README.md: has no link to {file.name}"
    if found < 30:
        yield f"only {found} links were found"


told = list(problems())
print("\n".join(told))
sys.exit(1 if told else 0)

#!/usr/bin/env python3
"""The tables of variables in docs/page-variables.md are what hotspot-lint says of them.

    variables_table.py HOTSPOT-LINT [--write]

Each table stands between "<!-- variables: TOPIC -->" and "<!-- end -->". Exit status 1 and a line for each difference
when they are not the same; --write writes them anew.
"""

import difflib
import json
import pathlib
import re
import subprocess
import sys

FORMS = {
    "yes-no": "`yes` or `no`", "true-false": "`true` or `false`", "number": "number", "duration": "duration",
    "bytes": "size", "address": "address", "error-type": "word", "octal": "octal escapes", "text": "text",
    "url": "address of a page",
}
TABLE = re.compile(r"(<!-- variables: ([a-z]+) -->\n).*?(<!-- end -->)", re.S)


def row(variable):
    form = FORMS[variable["kind"]]
    if variable["influencedBy"] == "client":
        form += " from the guest"
    if variable["canBeEmpty"]:
        form += ", or empty"
    meaning = variable["meaning"]
    if variable["always"] != "*":
        pages = ", ".join(f"`{page}`" for page in variable["always"].split())
        sometimes = ", ".join(f"`{page}`" for page in variable["sometimes"].split())
        meaning += f"; only on {pages}" + (f", sometimes {sometimes}" if sometimes else "")
    return f"| `{variable['name']}` | {meaning} | {form} |"


def main():
    program, *options = sys.argv[1:]
    listed = subprocess.run([program, "--list-variables", "--json"], check=True, capture_output=True, text=True).stdout
    topics = {}
    for variable in json.loads(listed):
        topics.setdefault(variable["topic"], []).append(row(variable))
    file = pathlib.Path(__file__).parents[2] / "docs/page-variables.md"
    text = file.read_text()
    shown = [match[2] for match in TABLE.finditer(text)]
    if sorted(shown) != sorted(topics):
        sys.exit(f"{file}: has tables of {', '.join(shown)}; there are variables of {', '.join(topics)}")
    table = lambda rows: "\n".join(["| name | value | form |", "|---|---|---|", *rows, ""])
    wanted = TABLE.sub(lambda match: match[1] + table(topics[match[2]]) + match[3], text)
    if options == ["--write"]:
        file.write_text(wanted)
    elif wanted != text:
        sys.stdout.writelines(difflib.unified_diff(text.splitlines(True), wanted.splitlines(True), "as it is", "as it should be"))
        sys.exit(f"{file}: its tables are not the program's; tests/docs/variables_table.py HOTSPOT-LINT --write mends them")


main()

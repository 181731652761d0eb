#!/usr/bin/env python3
"""One short round of every measurement of bench/: they still run, and say what they should.

Usage: tests/checks/bench.py [BENCH-OPTION...]   given to bench/run; --secs 1 --rounds 1 without any

Asserts nothing about speed: each measurement has its tables with all their rows, and every figure is
a number above zero. Exit status: 0 when that is so.
"""

import os
import re
import subprocess
import sys

SERVING = {"requests a second", "CPU a request, us", "p99, ms", "the manager's CPU a request, us", "both, us"}
SIDES = {"ping-pong", "1,000 sessions", "1,000,000 sessions"}
# What stands above a table (its beginning, or the table's first line), and the rows that it must have.
TABLES = {
    "Login page, keep-alive": SERVING,
    "Login page, a connection for each request": SERVING,
    "Intercepted request, redirected": SERVING,
    "Memory with 256 idle connections": {"after a run"},
    "200 logins that the manager does not answer": {"throughput", "p99, ms"},
    "Status of one session": SIDES,
    "| | start, s |": {"1,000 sessions", "1,000,000 sessions"},
    "Medians of": {"login page of 5 KB; cached template of ctemplate",
                            "the same with its variables; ctemplate's dictionary and page",
                            "64 KB, mostly literal; memcpy of the output"},
    "Twice the text": set(),  # a row for each hostile text
}
# Google Benchmark's own lines.
TIMED = ("variables", "loginPageRendered", "loginPageServed", "plainTextRendered", "plainTextCopied")
# May be too short for the digits printed.
MAY_BE_ZERO = {"start, s"}


def tables(text):
    """(the line above, column names, rows of cells) of each table in the text"""
    above, rows = "", []
    for line in [*text.splitlines(), ""]:
        if line.startswith("|"):
            rows.append([cell.strip() for cell in line.strip("|").split("|")])
        elif rows:
            head = "| " + " | ".join(rows[0]) + " |"
            # Some tables stand below another one's title.
            yield above or head.replace("|  |", "| |"), rows[0], rows[2:]
            above, rows = "", []
        elif line.strip():
            above = line


def problems_of(text):
    found = {}
    for above, columns, rows in tables(text):
        for title, names in TABLES.items():
            if above.startswith(title):
                found[title] = True
                missing = names - {row[0] for row in rows}
                if missing or not rows:
                    yield f"{title}: no row {sorted(missing) or 'at all'}"
        for row in rows:
            for column, cell in zip(columns[1:], row[1:], strict=True):
                for figure in filter(None, re.split(r" / ", cell.replace(" MiB", ""))):
                    plain = figure.replace(",", "")
                    good = re.fullmatch(r"\d+(\.\d+)?", plain)
                    if not good or (float(plain) == 0 and column not in MAY_BE_ZERO):
                        yield f"{above}: {row[0]}, {column}: {figure}"
    for title in TABLES:
        if title not in found:
            yield f"no table \"{title}\""
    for name in TIMED:
        timed = re.search(rf"^{name} +(\d[\d.]*) ns", text, re.MULTILINE)
        if not timed or float(timed[1]) == 0:
            yield f"no time of {name}"


def main():
    os.chdir(os.path.join(os.path.dirname(os.path.realpath(__file__)), "../.."))
    options = sys.argv[1:] or ["--secs", "1", "--rounds", "1"]
    ran = subprocess.run(["bench/run", *options], stdout=subprocess.PIPE, text=True, check=False)
    print(ran.stdout)
    wrong = [*problems_of(ran.stdout)]
    if ran.returncode != 0:
        wrong.append(f"bench/run ended with {ran.returncode}")
    sys.exit("\n".join(wrong) if wrong else 0)


if __name__ == "__main__":
    main()

#!/usr/bin/env python3
"""Counts the module's instructions for one status page with callgrind, against those on record.

The module is one of its own, built with the release's flags whatever the build around it has. Only
instructions in the module's own file count: the C library chooses its memchr() and the like by the
processor, also by the one that valgrind shows it.
"""

import argparse
import os
import re
import subprocess
import sys
import tempfile

FEW, MANY = 20, 220
MOST = 1.05


def own_cost(profile, module):
    """Instructions in the module's file, without what it calls elsewhere."""
    names = {}
    ours = called = False
    total = 0
    with open(profile, encoding="utf-8", errors="replace") as lines:
        for line in lines:
            if called:
                called = False  # the line behind "calls=" is the callee's
            elif match := re.match(r"ob=\((\d+)\)(?: (.*))?$", line.rstrip("\n")):
                if match[2]:
                    names[match[1]] = match[2]
                ours = names[match[1]] == module
            elif match := re.match(r"cob=\((\d+)\)(?: (.*))?$", line.rstrip("\n")):
                if match[2]:
                    names[match[1]] = match[2]
            elif line.startswith("calls="):
                called = True
            elif ours and (match := re.match(r"[+\-*\d]\S* (\d+)$", line)):
                total += int(match[1])
    return total


def play(driver, module, pages, count):
    """Instructions in all, and what the driver says."""
    with tempfile.TemporaryDirectory(prefix="hotspot-cost-") as directory:
        profile = os.path.join(directory, "profile")
        run = subprocess.run(
            ["valgrind", "--tool=callgrind", "--toggle-collect=serveCounted",
             f"--callgrind-out-file={profile}", driver, module, pages, str(count)],
            capture_output=True, text=True)
        if run.returncode != 0:
            sys.exit(f"valgrind failed ({run.returncode}):\n{run.stdout}{run.stderr}")
        facts = dict(line.split(" ", 1) for line in run.stdout.splitlines())
        return own_cost(profile, module), facts


def recorded(record):
    with open(record, encoding="ascii") as lines:
        return dict(line.rstrip("\n").rsplit(": ", 1) for line in lines if not line.startswith("#"))


def write_record(record, figures):
    with open(record, encoding="ascii") as lines:
        heading = [line for line in lines if line.startswith("#")]
    with open(record, "w", encoding="ascii") as file:
        file.writelines(heading)
        file.writelines(f"{compiler}: {count}\n" for compiler, count in sorted(figures.items()))


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", required=True, help="build folder")
    parser.add_argument("--record", action="store_true", help="write the figure down")
    args = parser.parse_args()
    here = os.path.dirname(os.path.realpath(__file__))
    build = os.path.realpath(args.build)
    driver = os.path.join(build, "bin/serve-status-pages")
    module = os.path.join(build, "lib/hotspot-counted.so")
    pages = os.path.join(here, "pages/")
    record = os.path.join(here, "instructions.txt")

    few, _ = play(driver, module, pages, FEW)
    many, facts = play(driver, module, pages, MANY)
    # The difference: what is done once does not count.
    count = round((many - few) / (MANY - FEW))
    compiler = facts["compiler"]
    print(f"One status page of {facts['page']} bytes, {compiler}: {count} instructions in the "
          f"module, {facts['allocations']} allocations")
    if count < 1000:
        sys.exit("That cannot be: the count does not work")
    figures = recorded(record)
    if args.record:
        figures[compiler] = count
        write_record(record, figures)
        return
    again = f"tests/module/cost/count_instructions.py --build {args.build} --record"
    if compiler not in figures:
        sys.exit(f"Nothing is on record for this compiler; to write it down: {again}")
    ratio = count / int(figures[compiler])
    print(f"On record: {figures[compiler]}, ratio {ratio:.3f}, at most {MOST}")
    if ratio > MOST:
        sys.exit(f"The module does more than it did. If that has to be: {again}")


if __name__ == "__main__":
    main()

#!/usr/bin/env python3
"""Lines and branches of the module that its tests reach.

Usage: tests/checks/coverage.py BUILD      a build folder of the preset coverage

Runs the module's tests in it, prints a table, and every line and branch that none of them reached.
What is not reached has to stand in tests/checks/unreached.txt, with the number of branches and the
reason, and nothing else may.
Exit status: 0 when that is so and both goals are met.
"""

import json
import os
import re
import subprocess
import sys
from collections import defaultdict

FOLDERS = ("commands", "host", "servlet", "template", "vars")
TESTS = ("commands_radius_tests", "commands_tests", "servlet_content_type_tests",
         "servlet_memory_tests", "servlet_system_tests", "servlet_tests", "servlet_threads_tests",
         "vars_tests", "template-test", "tools-test")
GOALS = {"lines": 98, "branches": 92}


def forget_counts(build):
    for folder, _, files in os.walk(build):
        for name in files:
            if name.endswith(".gcda"):
                os.remove(os.path.join(folder, name))


def run_tests(build):
    for test in TESTS:
        print(f"  {test}", flush=True)
        done = subprocess.run([os.path.join(build, "bin", test), "--gtest_brief=1"],
                              capture_output=True, text=True, check=False)
        if done.returncode != 0:
            sys.exit(done.stdout + done.stderr + f"{test} failed")


def measure(root, build):
    filters = [argument for folder in FOLDERS for argument in ("--filter", f"{folder}/")]
    report = subprocess.run(
        ["gcovr", "--root", root, *filters, "--exclude-throw-branches", "--json", "-", build],
        capture_output=True, text=True, check=False)
    if report.returncode != 0:
        sys.exit(report.stderr)
    return json.loads(report.stdout)["files"]


def explained(path):
    """file -> source line without its indentation -> (what is not reached, reason)"""
    reasons = defaultdict(dict)
    with open(path, encoding="ascii") as file:
        for number, line in enumerate(file, 1):
            if line.strip() and not line.startswith("#"):
                # A source line may hold the separator itself.
                name, _, rest = line.partition(" | ")
                parts = [part.strip() for part in (name, *rest.rsplit(" | ", 2))]
                if len(parts) != 4 or not all(parts):
                    sys.exit(f"{path}:{number}: wanted: file | source line | what | reason")
                if parts[1] in reasons[parts[0]]:
                    sys.exit(f"{path}:{number}: stands there twice")
                reasons[parts[0]][parts[1]] = tuple(parts[2:])
    return reasons


def ways_to_say(what):
    """What is the same each time; or, of a branch that is a matter of moments, "2 or 3 of 27 branches"."""
    either = re.fullmatch(r"(\d+) or (\d+) (of \d+ branches)", what or "")
    return [f"{count} {either[3]}" for count in either.groups()[:2]] if either else [what]


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    build = sys.argv[1]
    root = os.path.realpath(os.path.join(os.path.dirname(__file__), "../.."))
    forget_counts(build)
    print("Tests of the module:")
    run_tests(build)

    reasons = explained(os.path.join(root, "tests/checks/unreached.txt"))
    totals = {"lines": [0, 0], "branches": [0, 0]}
    unreached, wrong = [], []
    print(f"\n{'file':30} {'lines':>12} {'branches':>12}")
    for entry in measure(root, build):
        name = entry["file"]
        with open(os.path.join(root, name), encoding="utf-8") as file:
            source = file.read().splitlines()
        counts = {"lines": [0, 0], "branches": [0, 0]}
        for line in entry["lines"]:
            if line["gcovr/noncode"]:
                continue
            branches = [b["count"] for b in line["branches"] if not b["throw"]]
            counts["lines"][0] += 1
            counts["lines"][1] += line["count"] > 0
            counts["branches"][0] += len(branches)
            counts["branches"][1] += sum(count > 0 for count in branches)
            if line["count"] == 0 or 0 in branches:
                text = source[line["line_number"] - 1].strip()
                what = f"{branches.count(0)} of {len(branches)} branches" if line["count"] else "line"
                known, reason = reasons[name].pop(text, (None, None))
                unreached.append(f"{name}:{line['line_number']}: {what}: {text}\n    {reason}")
                if what not in ways_to_say(known):
                    wrong.append(f"not reached: {name} | {text} | {what}; in the list: {known}")
        for kind, (all_of, reached) in counts.items():
            totals[kind][0] += all_of
            totals[kind][1] += reached
        print(f"{name:30}" + "".join(f" {reached:5} of {all_of:4}"
                                     for all_of, reached in counts.values()))
    print("\nNot reached:\n" + "\n".join(unreached) + "\n")
    for name, lines in reasons.items():
        wrong += [f"explained, but reached or not there: {name}: {text}" for text in lines]
    for kind, (all_of, reached) in totals.items():
        percent = 100 * reached / all_of
        print(f"{kind}: {reached} of {all_of}, {percent:.1f} % (goal {GOALS[kind]} %)")
        if percent < GOALS[kind]:
            wrong.append(f"{kind} below the goal")
    sys.exit("\n".join(wrong) if wrong else 0)


if __name__ == "__main__":
    main()

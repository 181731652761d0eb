#!/usr/bin/env python3
"""The manual page of every program against what the program itself says with --help: the same options."""

import re
import subprocess
import unittest

import installed

LONG = re.compile(r"(?<![\w-])--[a-z][a-z-]*[a-z]")
OPTION = re.compile(rf"{LONG.pattern}|(?<![\w-])-[A-Za-z](?![\w-])")


def helped(*command):
    """The text of --help, with those of the commands below."""
    text = subprocess.run([*command, "--help"], capture_output=True, encoding="utf8", check=True, timeout=60).stdout
    below = re.search(r"^Subcommands:\n((?: .*\n?)+)", text, re.MULTILINE)
    # The name of a command stands two blanks from the margin, its description may go on behind more.
    names = re.findall(r"^ {2}(\S+)", below[1], re.MULTILINE) if below else []
    return "\n".join([text, *(helped(*command, name) for name in names)])


def manual(program):
    """The source of a manual page, without what makes its letters bold or its dashes dashes."""
    (path,) = (installed.SOURCES / "packaging").glob(f"{program}.[18]")
    return re.sub(r"\\f[A-Z]", "", path.read_text("utf8")).replace("\\-", "-")


class Manuals(unittest.TestCase):
    def test_options_are_those_of_the_program(self):
        for program in installed.programs():
            with self.subTest(program):
                told = helped(installed.BUILD / "bin" / program)
                page = manual(program)
                # An option is described where it is the tag of a paragraph; elsewhere it is merely mentioned.
                described = set(OPTION.findall("\n".join(re.findall(r"^\.TP.*\n(.*)$", page, re.MULTILINE))))
                self.assertEqual(described, set(OPTION.findall(told)))
                self.assertLessEqual(set(LONG.findall(page)), described)
                self.assertIn("--help", described)

    def test_version_is_the_projects(self):
        version = re.search(r"^project\(hotspot VERSION (\S+) ", (installed.SOURCES / "CMakeLists.txt").read_text("utf8"),
                            re.MULTILINE)[1]
        for program in installed.programs():
            with self.subTest(program):
                command = [installed.BUILD / "bin" / program, "--version"]
                ran = subprocess.run(command, capture_output=True, encoding="utf8", check=True, timeout=60)
                self.assertEqual(ran.stdout, f"{program} {version}\n")


if __name__ == "__main__":
    unittest.main()

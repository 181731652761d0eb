#!/usr/bin/env python3
"""The Debian packages' control files, without building them: what is installed lies in exactly one package, and what
is promised of services and scripts is written there."""

import fnmatch
import re
import subprocess
import tempfile
import unittest
from pathlib import Path

import installed

DEBIAN = installed.SOURCES / "packaging/debian"
# What each service gives up.
SANDBOX = """DynamicUser=yes
NoNewPrivileges=yes
ProtectSystem=strict
ProtectHome=yes
PrivateTmp=yes
PrivateDevices=yes
ProtectClock=yes
ProtectControlGroups=yes
ProtectHostname=yes
ProtectKernelLogs=yes
ProtectKernelModules=yes
ProtectKernelTunables=yes
ProtectProc=invisible
RestrictNamespaces=yes
RestrictRealtime=yes
RestrictSUIDSGID=yes
LockPersonality=yes
MemoryDenyWriteExecute=yes
SystemCallArchitectures=native
SystemCallFilter=@system-service
SystemCallFilter=~@privileged @resources""".split("\n")


def stanzas():
    """The stanzas of debian/control, each as {field: value}."""
    for text in (DEBIAN / "control").read_text("utf8").strip().split("\n\n"):
        yield dict(re.findall(r"^([\w-]+):[ \n]((?:.*(?:\n .*)*))", text, re.MULTILINE))


def packages():
    return {stanza["Package"]: stanza for stanza in stanzas() if "Package" in stanza}


def names_in(field):
    """Names of the packages in a list of dependencies, without versions and substitutions."""
    return {re.match(r"[\w.+-]+", item.strip())[0] for item in field.split(",")
            if item.strip() and not item.strip().startswith("${")}


def install_lines():
    """(package, pattern) for each line of each .install file."""
    for path in sorted(DEBIAN.glob("*.install")):
        for line in path.read_text("utf8").splitlines():
            yield path.stem, line.split()[0]


def matches(path, pattern):
    """As dh_install: a directory stands for all below it, "*" for no slash."""
    pieces, wanted = path.split("/"), pattern.split("/")
    return len(pieces) >= len(wanted) and all(map(fnmatch.fnmatchcase, pieces, wanted))


class Packages(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        with tempfile.TemporaryDirectory(prefix="hs-debian-") as root:
            installed.install(Path(root) / "usr")
            cls.files = installed.files_below(Path(root))
        cls.homes = {path: [package for package, pattern in install_lines() if matches(path, pattern)]
                     for path in cls.files}

    def test_every_installed_file_is_in_exactly_one_package(self):
        self.assertGreater(len(self.files), 100)
        for path, homes in self.homes.items():
            self.assertEqual(len(homes), 1, f"{path}: {homes}")

    def test_every_line_of_what_packages_hold_finds_something(self):
        for package, pattern in install_lines():
            if pattern.startswith("packaging/"):
                self.assertTrue((installed.SOURCES / pattern).is_file(), pattern)
            else:
                self.assertTrue(any(matches(path, pattern) for path in self.files), f"{package}: {pattern}")

    def test_a_program_comes_with_its_manual_page(self):
        for program in installed.programs():
            home = self.homes[f"usr/bin/{program}"]
            manual = [path for path in self.files if re.fullmatch(rf"usr/share/man/man[18]/{program}\.[18]", path)]
            self.assertEqual([self.homes[path] for path in manual], [home], program)

    def test_every_package_is_described_and_filled(self):
        filled = {package for package, _ in install_lines()}
        self.assertEqual(filled, set(packages()))
        synopses = {stanza["Description"].split("\n")[0] for stanza in packages().values()}
        self.assertEqual(len(synopses), len(packages()))

    def test_packages_depend_on_each_other_by_names_that_exist(self):
        for package, stanza in packages().items():
            for field in ("Depends", "Recommends", "Suggests"):
                for name in names_in(stanza.get(field, "")):
                    if name.startswith("hotspot"):
                        self.assertIn(name, packages(), package)
        # Whoever is linked to the library has it.
        for path, (home,) in self.homes.items():
            if path.startswith("usr/bin/"):
                self.assertIn("hotspot-common", names_in(packages()[home]["Depends"]), path)

    def test_what_the_build_needs_is_what_is_installed_for_it(self):
        text = (installed.SOURCES / "packaging/install-deps.sh").read_text("utf8")
        known = set()
        for group in ("build", "packages"):
            known |= set(re.search(rf"^{group}=\(([^)]*)\)", text, re.MULTILINE)[1].split())
        source = next(stanzas())
        wanted = {re.sub(r"^debhelper-compat$", "debhelper", name) for name in names_in(source["Build-Depends"])}
        self.assertLessEqual(wanted, known)

    def test_nobody_is_named(self):
        self.assertTrue(next(stanzas())["Maintainer"].endswith("@localhost.invalid>"))


class Services(unittest.TestCase):
    def test_both_are_confined(self):
        for name in ("hotspot-manager", "hotspot-web"):
            unit = (installed.BUILD / f"packaging/{name}.service").read_text("utf8").split("\n")
            for line in SANDBOX:
                self.assertIn(line, unit, name)
            sets = [line for line in unit if line.startswith("CapabilityBoundingSet=")]
            self.assertEqual(sets, [{"hotspot-manager": "CapabilityBoundingSet=",
                                     "hotspot-web": "CapabilityBoundingSet=CAP_NET_BIND_SERVICE"}[name]])

    def test_directories_and_group_are_those_of_the_settings(self):
        unit = (installed.BUILD / "packaging/hotspot-manager.service").read_text("utf8")
        self.assertIn("\nStateDirectory=hotspot\n", unit)
        self.assertIn("\nRuntimeDirectory=hotspot\n", unit)
        usual = subprocess.run([installed.BUILD / "bin/hotspot-manager", "--help"], capture_output=True,
                               encoding="utf8", check=True).stdout
        for path in ("/run/hotspot/manager.sock", "/run/hotspot/admin.sock", "/var/lib/hotspot/manager.db"):
            self.assertIn(path, usual)
        group = re.search(r'^group = "(\w+)"$',
                          (installed.SOURCES / "packaging/settings/manager.toml").read_text("utf8"), re.MULTILINE)[1]
        made = (DEBIAN / "hotspot-common.postinst").read_text("utf8")
        for name in ("hotspot-manager", "hotspot-web"):
            text = (installed.BUILD / f"packaging/{name}.service").read_text("utf8")
            members = re.search(r"^SupplementaryGroups=(.*)$", text, re.MULTILINE)[1].split()
            self.assertIn(group, members)
            for member in members:
                self.assertRegex(made, rf"for group in [^;]*\b{member}\b[^;]*;")


class Scripts(unittest.TestCase):
    def test_each_stops_at_the_first_mistake_and_leaves_room_for_the_helpers(self):
        scripts = [path for path in DEBIAN.iterdir() if re.search(r"\.(pre|post)(inst|rm)$", path.name)]
        self.assertEqual(len(scripts), 5)
        for path in scripts:
            text = path.read_text("utf8")
            self.assertTrue(text.startswith("#!/bin/sh\nset -e\n"), path.name)
            self.assertTrue(text.endswith("\n#DEBHELPER#\n"), path.name)
            subprocess.run(["sh", "-n", path], check=True)

    def test_the_build_says_how_it_is_used(self):
        script = installed.SOURCES / "packaging/build-packages.sh"
        for words, status, stream in ((["--help"], 0, "stdout"), ([], 2, "stderr"), (["a", "b"], 2, "stderr"),
                                      (["--nothing"], 2, "stderr")):
            ran = subprocess.run([script, *words], capture_output=True, encoding="utf8", check=False)
            self.assertEqual(ran.returncode, status, words)
            self.assertTrue(getattr(ran, stream).startswith("Usage: packaging/build-packages.sh OUT\n"), words)


if __name__ == "__main__":
    unittest.main()

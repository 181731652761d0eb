#!/usr/bin/env python3
"""What `cmake --install` puts into a directory, and a portal that runs from there."""

import contextlib
import json
import os
import re
import subprocess
import tempfile
import unittest
from pathlib import Path

import installed


class Install(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.stack = contextlib.ExitStack()
        cls.root = Path(cls.stack.enter_context(tempfile.TemporaryDirectory(prefix="hs-install-")))
        cls.prefix = cls.root / "usr"
        installed.install(cls.prefix)

    @classmethod
    def tearDownClass(cls):
        cls.stack.close()

    def test_every_program_is_there_with_its_manual_page(self):
        self.assertGreaterEqual(len(installed.programs()), 5)
        self.assertEqual(installed.files_below(self.prefix / "bin"), installed.programs())
        manuals = [path.name for path in (self.prefix / "share/man").rglob("*.[18]")]
        self.assertEqual(sorted(name[:-2] for name in manuals), installed.programs())
        for section in (1, 8):
            for path in (self.prefix / f"share/man/man{section}").iterdir():
                self.assertTrue(path.name.endswith(f".{section}"), path)
                self.assertRegex(path.read_text("utf8"), rf"^\.TH HOTSPOT\S* {section}\b")

    def test_programs_run_from_any_place_and_need_nothing_of_the_build_tree(self):
        for program in installed.programs():
            path = self.prefix / "bin" / program
            ran = subprocess.run([path, "--help"], capture_output=True, encoding="utf8", check=False, cwd="/")
            self.assertEqual((ran.returncode, ran.stderr), (0, ""), program)
            dynamic = subprocess.run(["readelf", "-d", path], capture_output=True, encoding="utf8", check=True).stdout
            self.assertEqual(re.findall(r"(?:RPATH|RUNPATH)\S* +Library \S+ \[(.*)\]", dynamic),
                             ["$ORIGIN/../lib/hotspot"], program)

    def test_pages_are_those_of_the_build(self):
        for pages, one in (("share/hotspot/pages", "login.html"), ("share/hotspot/optional-pages", "rlogin.html")):
            built = installed.files_below(installed.BUILD / pages)
            self.assertIn(one, built)
            self.assertEqual(installed.files_below(self.prefix / pages), built)

    def test_documents_and_examples_are_there(self):
        docs = self.prefix / "share/doc/hotspot"
        # Without what makes the pictures.
        documents = [name for name in installed.files_below(installed.SOURCES / "docs") if not name.endswith(".mjs")]
        self.assertEqual(installed.files_below(docs / "docs"), documents)
        self.assertEqual(installed.files_below(docs / "examples"), ["manager.toml", "minimal_host.cc", "web.toml"])
        self.assertTrue((docs / "CHANGELOG.md").is_file())

    def test_units_start_what_is_installed_with_the_settings_of_the_system(self):
        for name in ("hotspot-manager", "hotspot-web"):
            unit = (self.prefix / f"lib/systemd/system/{name}.service").read_text("utf8")
            started = re.search(r"^ExecStart=(\S+) --config (\S+)$", unit, re.MULTILINE)
            self.assertEqual(Path(started[1]).name, name)
            self.assertEqual(started[2], f"/etc/hotspot/{name.removeprefix('hotspot-')}.toml")
            self.assertTrue((self.prefix / "bin" / Path(started[1]).name).is_file())

    def test_replay_finds_the_installed_module(self):
        ran = subprocess.run([self.prefix / "bin/hotspot-replay"], encoding="utf8", capture_output=True, check=False,
                             input='{"request": {"path": "/nothing.html"}}\n')
        self.assertEqual((ran.returncode, ran.stderr), (0, ""))
        self.assertEqual(json.loads(ran.stdout)["sendError"], [404, ""])

    def test_a_host_of_somebody_elses_builds_against_the_headers(self):
        flags = subprocess.run([os.environ["HOTSPOT_PKG_CONFIG"], "--cflags", "--libs", "hotspot"], check=True,
                               capture_output=True, encoding="utf8", env={
                                   **os.environ, "PKG_CONFIG_LIBDIR": str(next(self.prefix.rglob("pkgconfig")))})
        host = self.root / "minimal-host"
        source = self.prefix / "share/doc/hotspot/examples/minimal_host.cc"
        # A program without the sanitizers cannot use a library with them.
        sanitize = os.environ["HOTSPOT_SANITIZE"]
        subprocess.run([os.environ["HOTSPOT_CXX"], "-std=c++20", source, "-o", host, *flags.stdout.split(),
                        *([f"-fsanitize={sanitize}"] if sanitize else [])], check=True)
        # Every header stands on its own.
        headers = installed.files_below(self.prefix / "include/hotspot")
        self.assertGreaterEqual(len(headers), 9)
        text = "".join(f'#include "{name}"\n' for name in headers)
        subprocess.run([os.environ["HOTSPOT_CXX"], "-std=c++20", "-fsyntax-only", "-x", "c++", "-",
                        *[flag for flag in flags.stdout.split() if flag[:2] in ("-I", "-D")]],
                       input=text, encoding="utf8", check=True)
        page = subprocess.run([host, self.prefix / "lib/hotspot/hotspot.so",
                               f"{self.prefix}/share/hotspot/pages/", "login"],
                              check=True, capture_output=True, encoding="utf8").stdout
        self.assertTrue(page.startswith("HTTP/1.1 200 OK\n"), page)
        self.assertIn("<form", page)

    def test_the_portal_runs_from_there(self):
        with contextlib.ExitStack() as stack:
            directory = Path(stack.enter_context(tempfile.TemporaryDirectory(prefix="hs-run-")))
            portal = installed.Portal(stack, self.prefix, directory)
            self.assertEqual(portal.ctl("user", "add", "anna", text="a password\n").returncode, 0)
            browser = installed.Browser()
            status, _, page = browser.ask(f"{portal.url}/login")
            self.assertEqual(status, 200)
            self.assertIn('name="username"', page)
            status, headers, _ = browser.ask(f"{portal.url}/news", host="www.example.com")
            self.assertEqual(status, 302)
            self.assertTrue(headers["Location"].startswith("http://127.0.0.1:8080/login?dst="), headers["Location"])
            fields = {"username": "anna", "password": "wrong"}
            status, _, page = browser.ask(f"{portal.secure_url}/login", fields)
            self.assertEqual(status, 200)
            self.assertNotIn("<h1>You are logged in</h1>", page)
            status, _, page = browser.ask(f"{portal.secure_url}/login", {**fields, "password": "a password"})
            self.assertEqual(status, 200)
            self.assertIn("<h1>You are logged in</h1>", page)
            self.assertIn("anna", portal.ctl("session", "list").stdout)


if __name__ == "__main__":
    unittest.main()

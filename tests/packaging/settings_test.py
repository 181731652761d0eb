#!/usr/bin/env python3
"""The settings files that are shipped: the programs take them as they are, and they are safe."""

import os
import subprocess
import tempfile
import tomllib
import unittest

import installed

SETTINGS = installed.SOURCES / "packaging/settings"


class Settings(unittest.TestCase):
    def test_the_manager_takes_its_file(self):
        text = (SETTINGS / "manager.toml").read_text("utf8")
        self.assertEqual(text.count('\ngroup = "hotspot"\n'), 1)
        with tempfile.NamedTemporaryFile("w", encoding="utf8", suffix=".toml") as file:
            # The group is made when it is installed.
            file.write(text.replace('"hotspot"', f'"{os.getgid()}"'))
            file.flush()
            ran = subprocess.run([installed.BUILD / "bin/hotspot-manager", "--config", file.name, "--check-config"],
                                 capture_output=True, encoding="utf8", check=False)
        self.assertEqual((ran.returncode, ran.stdout, ran.stderr), (0, "the settings are valid\n", ""))

    def test_the_web_server_takes_its_file(self):
        ran = subprocess.run([installed.BUILD / "bin/hotspot-web", "--config", SETTINGS / "web.toml",
                              "--check-config"], capture_output=True, encoding="utf8", check=False)
        # The certificate is made when it is installed; it is looked at behind everything else.
        self.assertNotEqual(ran.returncode, 0)
        self.assertRegex(ran.stderr, r"web\.toml:\d+: key: cannot use /etc/hotspot/key\.pem: No such file")

    def test_nothing_is_open_to_others_before_the_owner_says_so(self):
        web = tomllib.loads((SETTINGS / "web.toml").read_text("utf8"))
        self.assertEqual({listen["address"] for listen in web["listen"]}, {"127.0.0.1"})
        manager = tomllib.loads((SETTINGS / "manager.toml").read_text("utf8"))
        self.assertIs(manager["trial"], False)
        for name in ("plain-passwd", "admin-group"):
            self.assertNotIn(name, manager)
        for text in ("password", "passwd"):
            self.assertNotIn(text, (SETTINGS / "manager.toml").read_text("utf8"))

    def test_both_files_agree(self):
        web, manager = (tomllib.loads((SETTINGS / name).read_text("utf8")) for name in ("web.toml", "manager.toml"))
        for name in ("html-dir", "dns-name"):
            self.assertEqual(web[name], manager[name])


if __name__ == "__main__":
    unittest.main()

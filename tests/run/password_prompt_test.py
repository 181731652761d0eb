#!/usr/bin/env python3
"""hotspotctl's password prompt on a terminal: no echo, asked twice, the terminal as before however it ends."""

import contextlib
import os
import pty
import select
import signal
import subprocess
import tempfile
import termios
import time
import unittest
from pathlib import Path

BUILD = Path(os.environ["HOTSPOT_BUILD_DIR"])
PATIENCE_SECS = 60


class Terminal:
    """A program on a terminal of its own."""

    def __init__(self, stack, *command):
        self.ours, self.theirs = pty.openpty()
        stack.callback(os.close, self.ours)
        stack.callback(os.close, self.theirs)
        self.before = termios.tcgetattr(self.theirs)
        self.text = ""
        self.process = subprocess.Popen(command, stdin=self.theirs, stdout=self.theirs, stderr=self.theirs,
                                        start_new_session=True, preexec_fn=self.take)
        stack.callback(self.process.wait)
        stack.callback(self.process.kill)

    def take(self):
        # In the new process: its Ctrl-C is this terminal's.
        with contextlib.suppress(OSError):
            os.close(os.open(os.ttyname(self.theirs), os.O_RDWR))

    def read(self, secs=0.0):
        ready, _, _ = select.select([self.ours], [], [], secs)
        if ready:
            self.text += os.read(self.ours, 65536).decode()
        return bool(ready)

    def await_text(self, text):
        end = time.monotonic() + PATIENCE_SECS
        while text not in self.text:
            if time.monotonic() > end:
                raise AssertionError(f"{text!r} did not come, but {self.text!r}")
            self.read(0.1)

    def type(self, text):
        os.write(self.ours, text.encode())

    def status(self):
        status = self.process.wait(PATIENCE_SECS)
        while self.read():
            pass
        return status

    def echoes(self):
        return bool(termios.tcgetattr(self.theirs)[3] & termios.ECHO)


class PasswordPromptTest(unittest.TestCase):
    def setUp(self):
        self.stack = contextlib.ExitStack()
        self.addCleanup(self.stack.close)
        directory = Path(self.stack.enter_context(tempfile.TemporaryDirectory(prefix="hotspot-prompt-")))
        self.socket = directory / "admin.sock"
        manager = subprocess.Popen(
            [BUILD / "bin/hotspot-manager", "--socket", directory / "portal.sock", "--admin-socket", self.socket,
             "--database", directory / "manager.db", "--html-dir", f"{directory}/"],
            stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.stack.callback(manager.wait)
        self.stack.callback(manager.terminate)
        end = time.monotonic() + PATIENCE_SECS
        while self.ctl("server", "show").returncode != 0:
            self.assertIsNone(manager.poll())
            self.assertLess(time.monotonic(), end)
            time.sleep(0.05)

    def ctl(self, *words):
        return subprocess.run([BUILD / "bin/hotspotctl", "--socket", self.socket, *words], stdin=subprocess.DEVNULL,
                              capture_output=True, text=True, check=False)

    def add_user(self):
        return Terminal(self.stack, BUILD / "bin/hotspotctl", "--socket", self.socket, "user", "add", "anna")

    def test_password_is_asked_for_twice_and_never_shown(self):
        terminal = self.add_user()
        terminal.await_text("Password: ")
        self.assertFalse(terminal.echoes())
        terminal.type("S3cret\n")
        terminal.await_text("Once more: ")
        self.assertFalse(terminal.echoes())
        terminal.type("S3cret\n")
        self.assertEqual(terminal.status(), 0, terminal.text)
        self.assertNotIn("S3cret", terminal.text)
        self.assertEqual(termios.tcgetattr(terminal.theirs), terminal.before)
        self.assertEqual(self.ctl("user", "show", "anna").returncode, 0)

    def test_passwords_that_differ_change_nothing(self):
        terminal = self.add_user()
        terminal.await_text("Password: ")
        terminal.type("S3cret\n")
        terminal.await_text("Once more: ")
        terminal.type("Secret\n")
        self.assertEqual(terminal.status(), 1)
        self.assertIn("the two passwords differ", terminal.text)
        self.assertEqual(termios.tcgetattr(terminal.theirs), terminal.before)
        self.assertNotEqual(self.ctl("user", "show", "anna").returncode, 0)

    def test_no_password_changes_nothing(self):
        for typed in ("\n", "\x04"):
            with self.subTest(typed):
                terminal = self.add_user()
                terminal.await_text("Password: ")
                terminal.type(typed)
                self.assertEqual(terminal.status(), 1)
                self.assertIn("no password was given", terminal.text)
                self.assertEqual(termios.tcgetattr(terminal.theirs), terminal.before)
        self.assertNotEqual(self.ctl("user", "show", "anna").returncode, 0)

    def test_terminal_is_as_before_when_a_signal_ends_it(self):
        for prompt in ("Password: ", "Once more: "):
            with self.subTest(prompt):
                terminal = self.add_user()
                terminal.await_text("Password: ")
                if prompt != "Password: ":
                    terminal.type("S3cret\n")
                    terminal.await_text(prompt)
                self.assertFalse(terminal.echoes())
                terminal.type("\x1a\x03")  # Ctrl-Z, which does nothing here, and Ctrl-C
                self.assertEqual(terminal.status(), -signal.SIGINT)
                self.assertEqual(termios.tcgetattr(terminal.theirs), terminal.before)
        for number in (signal.SIGTERM, signal.SIGHUP, signal.SIGQUIT):
            with self.subTest(number):
                terminal = self.add_user()
                terminal.await_text("Password: ")
                terminal.process.send_signal(number)
                self.assertEqual(terminal.status(), -number)
                self.assertEqual(termios.tcgetattr(terminal.theirs), terminal.before)
        self.assertNotEqual(self.ctl("user", "show", "anna").returncode, 0)


if __name__ == "__main__":
    unittest.main()

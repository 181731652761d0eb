#!/usr/bin/env python3
"""./run: its options, what it refuses, that it starts the portal, and that nothing is left however it ends."""

import contextlib
import os
import signal
import socket
import subprocess
import tempfile
import time
import unittest
import urllib.request
from pathlib import Path

SOURCES = Path(os.environ["HOTSPOT_SOURCE_DIR"])
BUILD = os.environ["HOTSPOT_BUILD_DIR"]
PATIENCE_SECS = 120


def free_ports(count):
    with contextlib.ExitStack() as stack:
        probes = [stack.enter_context(socket.socket()) for _ in range(count)]
        for probe in probes:
            probe.bind(("127.0.0.1", 0))
        return [str(probe.getsockname()[1]) for probe in probes]


def eventually(probe):
    end = time.monotonic() + PATIENCE_SECS
    while not probe():
        if time.monotonic() > end:
            return False
        time.sleep(0.02)
    return True


def children_of(pid):
    """All that a process started, and what that started."""
    try:
        words = Path(f"/proc/{pid}/task/{pid}/children").read_text(encoding="ascii").split()
    except FileNotFoundError:
        return []
    return [each for word in words for each in (int(word), *children_of(int(word)))]


def alive(pid):
    try:
        return ") Z " not in Path(f"/proc/{pid}/stat").read_text(encoding="ascii", errors="replace")
    except (FileNotFoundError, ProcessLookupError):
        return False


def command_of(pid):
    """Nothing when it is gone: among what a script starts is what ends at once."""
    try:
        return Path(f"/proc/{pid}/cmdline").read_text(encoding="utf-8", errors="replace")
    except (FileNotFoundError, ProcessLookupError):
        return ""


class RunTest(unittest.TestCase):
    def setUp(self):
        # Short: it holds sockets, whose paths are limited.
        self.directory = tempfile.TemporaryDirectory(prefix="hotspot-run-")
        self.addCleanup(self.directory.cleanup)
        self.state = f"{self.directory.name}/s"
        self.run_process = None
        self.port, self.tls_port = free_ports(2)

    def call(self, *options):
        return subprocess.run([SOURCES / "run", *options], stdin=subprocess.DEVNULL, capture_output=True, text=True,
                              timeout=PATIENCE_SECS, check=False)

    def mine(self):
        return ["--build", BUILD, "--state", self.state, "--port", self.port, "--tls-port", self.tls_port]

    def check_refused(self, options, *words):
        result = self.call(*options)
        self.assertEqual((result.returncode, result.stdout), (1, ""), result)
        self.assertTrue(result.stderr.startswith("run: ") and result.stderr.count("\n") == 1, result.stderr)
        for word in words:
            self.assertIn(word, result.stderr)

    def start(self):
        """Starts it and waits for the portal; its process, and all those that it started. SIGINT means what it means at
        a terminal, also where the tests run in the background."""
        output = open(f"{self.directory.name}/output", "w+", encoding="utf-8")
        self.addCleanup(output.close)
        process = subprocess.Popen([SOURCES / "run", *self.mine()], stdin=subprocess.DEVNULL, stdout=output,
                                   stderr=subprocess.STDOUT, start_new_session=True,
                                   preexec_fn=lambda: signal.signal(signal.SIGINT, signal.SIG_DFL))
        self.addCleanup(process.wait)
        self.addCleanup(process.terminate)

        def text():
            return Path(output.name).read_text(encoding="utf-8")

        self.output = text
        self.assertTrue(eventually(lambda: "The portal is up." in text() or process.poll() is not None), text())
        self.assertIsNone(process.poll(), text())
        started = children_of(process.pid)
        # The manager, the web server and a worker of it at least.
        self.assertGreaterEqual(len(started), 3)
        return process, started

    def check_nothing_left(self, started):
        self.assertTrue(eventually(lambda: not any(map(alive, started))), [each for each in started if alive(each)])
        for port in (self.port, self.tls_port):
            with socket.socket() as probe, self.assertRaises(ConnectionRefusedError):
                probe.connect(("127.0.0.1", int(port)))

    def test_help_tells_every_option_and_starts_nothing(self):
        result = self.call("--help")
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        for option in ("--port", "--tls-port", "--state", "--build", "--help"):
            self.assertIn(option, result.stdout)

    def test_mistakes_are_one_line(self):
        self.check_refused(["--prot", "8080"], '"--prot"', "--help")
        self.check_refused(["--port"], "--port wants a value")
        self.check_refused(["--port", "0"], '"0" is no port')
        self.check_refused(["--port", "65536"], "65536")
        self.check_refused(["--port", "http"], "http")
        self.check_refused(["--port", self.port, "--tls-port", self.port], "differ")
        self.check_refused(["--build", self.directory.name], "bin/hotspot-manager", self.directory.name)
        self.check_refused(["--build", BUILD, "--state", "/tmp/" + 90 * "x"], "too long")

    def test_occupied_port_is_named(self):
        with socket.socket() as other:
            other.bind(("127.0.0.1", 0))
            other.listen()
            self.port = str(other.getsockname()[1])
            self.check_refused(self.mine(), f"port {self.port} is taken", "--port")

    def test_portal_is_served_until_a_signal_and_nothing_is_left(self):
        for number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
            with self.subTest(number):
                process, started = self.start()
                with urllib.request.urlopen(f"http://127.0.0.1:{self.port}/login", timeout=PATIENCE_SECS) as answer:
                    self.assertIn(b"<form", answer.read())
                self.check_refused([*self.mine()[:4], "--port", "1", "--tls-port", "2"], "another ./run is using")
                process.send_signal(number)
                self.assertEqual(process.wait(PATIENCE_SECS), 0, self.output())
                self.check_nothing_left(started)

    def test_end_of_a_service_is_told_and_ends_the_other(self):
        process, started = self.start()
        managers = [each for each in started if "hotspot-manager" in command_of(each)]
        os.kill(managers[0], signal.SIGKILL)
        self.assertEqual(process.wait(PATIENCE_SECS), 1)
        self.assertIn("run: hotspot-manager was killed by SIGKILL", self.output())
        self.assertNotRegex(self.output(), r"run: line \d")
        self.check_nothing_left(started)

    def test_killed_itself_it_takes_along_what_it_started(self):
        process, started = self.start()
        process.kill()
        process.wait(PATIENCE_SECS)
        self.check_nothing_left(started)


if __name__ == "__main__":
    unittest.main()

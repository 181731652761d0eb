"""An installed tree (`cmake --install` into a temporary directory), and a portal that runs from one."""

import contextlib
import html
import http.cookiejar
import os
import re
import ssl
import subprocess
import time
import urllib.parse
import urllib.request
from pathlib import Path

SOURCES = Path(__file__).resolve().parents[2]
BUILD = Path(os.environ["HOTSPOT_BUILD_DIR"])
PATIENCE_SECS = 120


def install(prefix):
    subprocess.run([os.environ["HOTSPOT_CMAKE"], "--install", BUILD, "--prefix", prefix], check=True,
                   stdout=subprocess.DEVNULL)


def files_below(directory):
    """Names of all files below a directory, relative to it."""
    return sorted(str(path.relative_to(directory)) for path in directory.rglob("*") if not path.is_dir())


def programs():
    """Names of the portal's programs, without those of the tests, as the build tree has them."""
    return sorted(path.name for path in (BUILD / "bin").iterdir()
                  if re.fullmatch(r"hotspot-(web|manager|lint|preview|replay)|hotspotctl", path.name))


def eventually(what, probe):
    end = time.monotonic() + PATIENCE_SECS
    while True:
        found = probe()
        if found:
            return found
        if time.monotonic() > end:
            raise SystemExit(f"{what}: not within {PATIENCE_SECS} s")
        time.sleep(0.05)


class Program:
    """A program that runs until its test is over."""

    def __init__(self, stack, log, *command):
        self.log = log
        with open(log, "wb") as output:
            self.process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=output, stderr=output)
        stack.callback(self.stop)

    def text(self):
        return self.log.read_text("utf8")

    def check(self):
        if self.process.poll() is not None:
            raise SystemExit(f"{self.process.args[0]} ended:\n{self.text()}")
        return True

    def stop(self):
        self.process.terminate()
        status = self.process.wait(PATIENCE_SECS)
        if status != 0 or "Sanitizer" in self.text():
            raise SystemExit(f"{self.process.args[0]} ended with {status}:\n{self.text()}")


class Portal:
    """Manager and web server of an installed tree, with the settings that came with it: only the places are others,
    and the system chooses the ports."""

    def __init__(self, stack: contextlib.ExitStack, prefix: Path, directory: Path):
        self.prefix, self.directory = prefix, directory
        subprocess.run(["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes",
                        "-days", "2", "-subj", "/CN=127.0.0.1", "-keyout", directory / "key.pem",
                        "-out", directory / "certificate.pem"], check=True, capture_output=True)
        manager = Program(stack, directory / "manager.log", prefix / "bin/hotspot-manager",
                          "--config", self.settings("manager.toml"), "--group", str(os.getgid()),
                          "--socket", directory / "manager.sock", "--admin-socket", directory / "admin.sock",
                          "--database", directory / "manager.db")
        eventually("the manager answers", lambda: manager.check() and self.ctl("server", "show").returncode == 0)
        web = Program(stack, directory / "web.log", prefix / "bin/hotspot-web",
                      "--config", self.settings("web.toml"), "--manager-socket", directory / "manager.sock")
        ports = eventually("the web server listens", lambda: web.check() and re.search(
            r"listening on http://127\.0\.0\.1:(\d+)\n.*listening on https://127\.0\.0\.1:(\d+)\n", web.text(), re.S))
        self.url, self.secure_url = f"http://127.0.0.1:{ports[1]}", f"https://127.0.0.1:{ports[2]}"

    def settings(self, name):
        """The example settings with the places of this tree."""
        text = (self.prefix / "share/doc/hotspot/examples" / name).read_text("utf8")
        for place, here in (("/usr/share/hotspot", self.prefix / "share/hotspot"), ("/etc/hotspot", self.directory)):
            assert place in text or place == "/etc/hotspot", name
            text = text.replace(place, str(here))
        text = re.sub(r"^port = \d+$", "port = 0", text, flags=re.MULTILINE)
        (self.directory / name).write_text(text, "utf8")
        return self.directory / name

    def ctl(self, *words, text=""):
        return subprocess.run([self.prefix / "bin/hotspotctl", "--socket", self.directory / "admin.sock", *words],
                              input=text, capture_output=True, encoding="utf8", check=False)


class Browser:
    """Follows no redirect and believes every certificate."""

    class NoRedirect(urllib.request.HTTPRedirectHandler):
        def redirect_request(self, *_):
            return None

    def __init__(self):
        self.opener = urllib.request.build_opener(
            urllib.request.ProxyHandler({}), self.NoRedirect(),
            urllib.request.HTTPSHandler(context=ssl._create_unverified_context()),
            urllib.request.HTTPCookieProcessor(http.cookiejar.CookieJar()))

    def ask(self, url, fields=None, host=None):
        """Status, headers and page."""
        data = urllib.parse.urlencode(fields).encode() if fields else None
        request = urllib.request.Request(url, data, {"Host": host} if host else {})
        try:
            answer = self.opener.open(request, timeout=PATIENCE_SECS)
        except urllib.error.HTTPError as error:
            answer = error
        with answer:
            return answer.status, answer.headers, html.unescape(answer.read().decode("utf8"))

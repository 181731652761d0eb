"""Starts the servers that the tests compare, on loopback ports, with their files in a temporary directory."""

import os
import re
import shutil
import signal
import socket
import subprocess
import sys
import time
from pathlib import Path

BUILD = Path(os.environ["HOTSPOT_BUILD_DIR"])
NGINX = os.environ.get("HOTSPOT_NGINX", "nginx")
LIGHTTPD = os.environ.get("HOTSPOT_LIGHTTPD", "lighttpd")
SECRET = "this text lies outside of every page directory"
SERVE_LOCAL = 0x10000000  # a listener's flag: whatever host a request names is this server


def eventually(what, probe, within=20.0):
    end = time.monotonic() + within
    while True:
        found = probe()
        if found:
            return found
        if time.monotonic() > end:
            raise SystemExit(f"{what}: not within {within} s")
        time.sleep(0.02)


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def answers(port):
    try:
        socket.create_connection(("127.0.0.1", port), 1).close()
        return True
    except OSError:
        return False


def text_of(path):
    """A file's bytes, each a character; nothing when it is not there."""
    try:
        return Path(path).read_bytes().decode("latin-1")
    except FileNotFoundError:
        return ""


class Program:
    """A process in a session of its own, whose output goes to a file. It does not outlive the thread that starts it."""

    def __init__(self, stack, directory, *command, **environment):
        self.directory = directory
        self.output = directory / "output"
        with open(self.output, "wb") as log:
            self.process = subprocess.Popen(
                ["setpriv", "--pdeathsig", "TERM", *map(str, command)], stdin=subprocess.DEVNULL, stdout=log, stderr=log,
                start_new_session=True, env={**os.environ, **environment})
        stack.callback(self.stop)

    def running(self):
        return self.process.poll() is None

    def check(self):
        if not self.running():
            raise SystemExit(f"{self.process.args[3]} ended:\n{text_of(self.output)}")

    def stop(self):
        """Asks it to end; its logs are whole afterwards."""
        if self.running():
            self.process.send_signal(signal.SIGTERM)
            try:
                self.process.wait(30)
            except subprocess.TimeoutExpired:
                os.killpg(self.process.pid, signal.SIGKILL)
                self.process.wait()
        if "Sanitizer" in text_of(self.output):
            raise SystemExit(text_of(self.output))


def make_certificate(directory):
    """A certificate and its key, and the settings of hotspot-web that name them."""
    files = [directory / "certificate.pem", directory / "key.pem"]
    settings = f'certificate = "{files[0]}"\nkey = "{files[1]}"\n'
    if files[0].exists():
        return settings
    made = subprocess.run(
        ["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes",
         "-days", "2", "-subj", "/CN=p", "-out", files[0], "-keyout", files[1]],
        capture_output=True, text=True, check=False)
    if made.returncode:
        raise SystemExit(f"openssl: {made.stderr}")
    return settings


class HotspotWeb(Program):
    """hotspot-web with a module, on a plain port and one with TLS; `settings` are lines of its TOML file, `flags`
    those of both listeners."""

    def __init__(self, stack, directory, module, settings="", workers=2, address="127.0.0.1", ports=(0, 0),
                 flags=0, **environment):
        directory.mkdir(exist_ok=True)
        self.access_log = directory / "access.log"
        self.address = address
        config = directory / "web.toml"
        config.write_text(f"""
module = "{module}"
access-log = "{self.access_log}"
server-names = ["p"]
workers = {workers}
{make_certificate(directory)}
{settings}
[[listen]]
address = "{address}"
port = {ports[0]}
flags = {flags}
[[listen]]
address = "{address}"
port = {ports[1]}
flags = {flags}
tls = true
""")
        super().__init__(stack, directory, BUILD / "bin/hotspot-web", "--config", config, **environment)
        found = eventually("hotspot-web listens", self.listening)
        self.port, self.tls_port = map(int, found.groups())

    def listening(self):
        self.check()
        address = re.escape(self.address)
        return re.search(rf"listening on http://{address}:(\d+)\n.*listening on https://{address}:(\d+)\n",
                         text_of(self.output), re.DOTALL)

    def workers(self):
        pid = self.process.pid
        return [int(word) for word in text_of(f"/proc/{pid}/task/{pid}/children").split()]


def timeouts(secs):
    """Settings of hotspot-web that give a silent client up after so many seconds."""
    return "".join(f"{name}-timeout = {secs}\n" for name in ("header", "body", "idle"))


def add_literal_names(pages):
    """Files that are found by who decodes a path exactly once: "/%2561" is the file "%61"."""
    for name in ("%61", "%2e%2e/secret", "%2e%2e%2fsecret", "d%2fa", "a%00", "a%"):
        path = pages / name
        path.parent.mkdir(exist_ok=True)
        path.write_text(f"the file {name}\n")


def start_manager(stack, directory, settings="", **environment):
    """The real manager, with pages of its own; `settings` are lines of its TOML file, `web_settings` are what
    hotspot-web needs of it. A second call for a directory starts it again after its end."""
    directory.mkdir(exist_ok=True)
    pages = directory / "pages"
    # Pages that are served already are not written over.
    if not pages.exists():
        shutil.copytree(BUILD / "share/hotspot/pages", pages)
        add_literal_names(pages)
    (directory / "secret").write_text(SECRET)
    managers = directory / "manager"
    managers.mkdir(exist_ok=True)
    admin = managers / "admin.sock"
    config = managers / "manager.toml"
    config.write_text(f"""
socket = "{directory}/portal.sock"
admin-socket = "{admin}"
database = "{managers}/manager.db"
html-dir = "{pages}/"
dns-name = "p"
{settings}
""")
    manager = Program(stack, managers, BUILD / "bin/hotspot-manager", "--config", config, **environment)

    def ready():
        manager.check()
        show = [BUILD / "bin/hotspotctl", "--socket", admin, "server", "show"]
        return subprocess.run(show, capture_output=True, check=False).returncode == 0

    eventually("hotspot-manager answers", ready)
    manager.pages = pages
    manager.web_settings = f'manager-socket = "{directory}/portal.sock"\nhtml-dir = "{pages}/"\n'
    return manager


def start_portal(stack, directory, settings, manager_settings=""):
    """The real module, pages and manager behind hotspot-web."""
    manager = start_manager(stack, directory, manager_settings)
    web = HotspotWeb(stack, directory / "web", BUILD / "lib/hotspot.so", manager.web_settings + settings)
    web.manager = manager
    return web


def start_seen(stack, directory, settings):
    """hotspot-web with a module that tells what reached it. Every host is its own: it would end the connection
    with a request for another's, and what follows shows where a request ended."""
    return HotspotWeb(stack, directory, os.environ["HOTSPOT_SEEN_SERVLET"], settings, flags=SERVE_LOCAL)


def make_pages(directory):
    """What a static server serves, with a file beside it that it must not serve."""
    (directory / "pages/d").mkdir(parents=True)
    for name in ("a", "b", "c", "next", "index.html"):
        (directory / "pages" / name).write_text(f"page {name}\n")
    add_literal_names(directory / "pages")
    (directory / "secret").write_text(SECRET)
    return directory / "pages"


class Reference(Program):
    """A static server on a port that is chosen for it; tries again when that was just taken."""

    def __init__(self, stack, directory, *command, config, text):
        for _ in range(5):
            self.port = free_port()
            config.write_text(text.replace("PORT", str(self.port)))
            super().__init__(stack, directory, *command)
            eventually(f"{command[0]} listens", lambda: answers(self.port) or not self.running())
            if self.running():
                return
        self.check()


def start_nginx(stack, directory, timeout_secs):
    pages = make_pages(directory)
    config = directory / "nginx.conf"
    return Reference(
        stack, directory, NGINX, "-p", directory, "-c", config, "-e", f"{directory}/error.log",
        config=config, text=f"""
{"user root;" if os.geteuid() == 0 else ""}
daemon off;
worker_processes 1;
pid {directory}/pid;
events {{ worker_connections 768; }}
http {{
  log_format seen escape=json '$remote_addr "$status" "$request" "$uri" "$args" "$host" "$bytes_sent"';
  access_log {directory}/access.log seen;
  client_header_timeout {timeout_secs}s;
  client_body_timeout {timeout_secs}s;
  keepalive_timeout {timeout_secs}s;
  lingering_timeout 1s;
  default_type text/plain;
  client_body_temp_path {directory}/t1;
  proxy_temp_path {directory}/t2;
  fastcgi_temp_path {directory}/t3;
  uwsgi_temp_path {directory}/t4;
  scgi_temp_path {directory}/t5;
  server {{
    listen 127.0.0.1:PORT;
    server_name "";
    root {pages};
    index index.html;
  }}
}}
""")


def start_lighttpd(stack, directory, timeout_secs):
    pages = make_pages(directory)
    # A static page is answered without a look at the body: a script has it read, and tells its length.
    (pages / "a").write_text("printf 'X-Length: %s\\r\\nContent-Length: 0\\r\\n\\r\\n' $CONTENT_LENGTH\n")
    config = directory / "lighttpd.conf"
    return Reference(stack, directory, LIGHTTPD, "-D", "-f", config, config=config, text=f"""
server.modules = ( "mod_accesslog", "mod_cgi" )
$HTTP["request-method"] == "POST" {{ cgi.assign = ( "/a" => "/bin/sh" ) }}
server.bind = "127.0.0.1"
server.port = PORT
server.document-root = "{pages}"
index-file.names = ( "index.html" )
server.errorlog = "{directory}/error.log"
server.max-read-idle = {timeout_secs}
server.max-keep-alive-idle = {timeout_secs}
accesslog.filename = "{directory}/access.log"
accesslog.format = "%h \\"%s\\" \\"%r\\" \\"%U\\" \\"%q\\" \\"%{{Host}}i\\" \\"%O\\""
""")


def version(command, pattern):
    """What a program's -v says of its version."""
    try:
        ran = subprocess.run([command, "-v"], capture_output=True, text=True, check=False)
    except OSError as error:
        sys.exit(f"{command}: {error}; packaging/install-deps.sh test installs it")
    return re.search(pattern, ran.stdout + ran.stderr).group(0)

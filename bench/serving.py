#!/usr/bin/env python3
"""hotspot-web against nginx and lighttpd, all serving the same bytes, in one run. bench/run calls it."""

import argparse
import contextlib
import os
import re
import shutil
import signal
import socket
import statistics
import subprocess
import tempfile
import time

CONNECTIONS = 32
WAITING = 200
IDLE = 256
TICKS = os.sysconf("SC_CLK_TCK")


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def eventually(what, probe):
    for _ in range(6000):
        found = probe()
        if found:
            return found
        time.sleep(0.02)
    raise SystemExit(f"{what}: not within two minutes")


def read(path):
    with open(path, "rb") as file:
        return file.read()


def exchange(port, request):
    """One request on a connection of its own: head and body of the answer."""
    with socket.create_connection(("127.0.0.1", port), 30) as client:
        client.sendall(request.replace("\n", "\r\n").encode())
        answer = b""
        while piece := client.recv(65536):
            answer += piece
    head, _, body = answer.partition(b"\r\n\r\n")
    return head.decode(), body


def get(port, path, host="127.0.0.1"):
    return exchange(port, f"GET {path} HTTP/1.1\nHost: {host}\nConnection: close\n\n")


class Program:
    """A process with the processes that it started."""

    def __init__(self, stack, log, *command):
        self.log = log
        with open(log, "wb") as output:
            self.process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=output,
                                            stderr=output, start_new_session=True)
        stack.callback(self.stop)

    def stop(self):
        self.process.send_signal(signal.SIGTERM)
        try:
            self.process.wait(2)
        except subprocess.TimeoutExpired:
            # Requests that wait for a manager would hold up the end for as long.
            for pid in reversed(self.pids()):
                os.kill(pid, signal.SIGKILL)
            self.process.wait()

    def pids(self):
        own = self.process.pid
        children = read(f"/proc/{own}/task/{own}/children").split()
        return [own] + [int(child) for child in children]

    def cpu_secs(self):
        total = 0
        for pid in self.pids():
            fields = read(f"/proc/{pid}/stat").rpartition(b")")[2].split()
            total += int(fields[11]) + int(fields[12])
        return total / TICKS

    def pss_mib(self):
        """Memory in MiB, shared pages divided among those who share them."""
        total = 0
        for pid in self.pids():
            total += int(re.search(rb"Pss:\s+(\d+)", read(f"/proc/{pid}/smaps_rollup")).group(1))
        return total / 1024


class Nginx(Program):
    def __init__(self, stack, directory, page, redirect):
        self.port = free_port()
        root = os.path.join(directory, "nginx")
        os.makedirs(os.path.join(root, "pages"))
        for name, body in (("login.html", page), ("redirect.html", redirect[1])):
            with open(os.path.join(root, "pages", name), "wb") as file:
                file.write(body)
        config = os.path.join(root, "nginx.conf")
        user = "user root;" if os.geteuid() == 0 else ""
        # What Debian's own file says, with an access log as hotspot-web has one, and without the
        # limit on requests of a connection, which hotspot-web does not have.
        with open(config, "w", encoding="ascii") as file:
            file.write(f"""
{user}
daemon off;
worker_processes auto;
pid {root}/pid;
error_log {root}/error.log;
events {{ worker_connections 768; }}
http {{
  sendfile on;
  tcp_nopush on;
  keepalive_requests 1000000000;
  access_log {root}/access.log;
  default_type text/html;
  client_body_temp_path {root}/t1;
  proxy_temp_path {root}/t2;
  fastcgi_temp_path {root}/t3;
  uwsgi_temp_path {root}/t4;
  scgi_temp_path {root}/t5;
  server {{
    listen 127.0.0.1:{self.port};
    root {root}/pages;
    location = /login {{ try_files /login.html =404; }}
    location = /news {{
      add_header Location "{redirect[0]}";
      try_files /redirect.html =404;
    }}
  }}
}}
""")
        super().__init__(stack, os.path.join(root, "log"), shutil.which("nginx") or
                         "/usr/sbin/nginx", "-p", root, "-c", config)
        eventually("nginx answers", self.answers)

    def answers(self):
        with contextlib.suppress(OSError):
            return get(self.port, "/login")[1]


class Lighttpd(Program):
    def __init__(self, stack, directory, page, redirect):
        self.port = free_port()
        root = os.path.join(directory, "lighttpd")
        os.makedirs(os.path.join(root, "pages"))
        for name, body in (("login", page), ("news", redirect[1])):
            with open(os.path.join(root, "pages", name), "wb") as file:
                file.write(body)
        config = os.path.join(root, "lighttpd.conf")
        # The same as of nginx: its own defaults, a worker a processor, an access log, and no limit
        # on the requests of a connection.
        with open(config, "w", encoding="ascii") as file:
            file.write(f"""
server.modules = ("mod_accesslog", "mod_setenv")
server.port = {self.port}
server.bind = "127.0.0.1"
server.document-root = "{root}/pages"
server.errorlog = "{root}/error.log"
server.max-worker = {os.cpu_count()}
server.max-keep-alive-requests = 1000000000
server.upload-dirs = ("{root}")
accesslog.filename = "{root}/access.log"
mimetype.assign = ("" => "text/html")
$HTTP["url"] == "/news" {{ setenv.add-response-header = ("Location" => "{redirect[0]}") }}
""")
        super().__init__(stack, os.path.join(root, "log"), shutil.which("lighttpd") or
                         "/usr/sbin/lighttpd", "-D", "-f", config)
        eventually("lighttpd answers", self.answers)

    def answers(self):
        with contextlib.suppress(OSError):
            return get(self.port, "/login")[1]


class Portal(Program):
    """hotspot-web; its manager is somebody else's."""

    def __init__(self, stack, directory, build, manager_socket, pages):
        log = os.path.join(directory, "web.log")
        super().__init__(
            stack, log, os.path.join(build, "bin/hotspot-web"), "--listen", "127.0.0.1:0",
            "--module", os.path.join(build, "lib/hotspot.so"), "--manager-socket", manager_socket,
            "--html-dir", pages, "--access-log", os.path.join(directory, "access.log"))
        listening = rb"listening on http://127\.0\.0\.1:(\d+)"
        self.port = int(eventually("hotspot-web listens",
                                   lambda: re.search(listening, read(log))).group(1))


def start_manager(stack, directory, build, pages):
    path = os.path.join(directory, "portal.sock")
    manager = Program(
        stack, os.path.join(directory, "manager.log"), os.path.join(build, "bin/hotspot-manager"),
        "--socket", path, "--admin-socket", os.path.join(directory, "admin.sock"), "--database",
        os.path.join(directory, "manager.db"), "--html-dir", pages, "--dns-name", "127.0.0.1")
    eventually("hotspot-manager listens", lambda: os.path.exists(path))
    return manager, path


class Sample:
    def __init__(self, program, seconds, path, *headers, also=None):
        before = program.cpu_secs()
        also_before = also.cpu_secs() if also else 0
        text = subprocess.run(
            ["wrk", "-t", "1", "-c", str(CONNECTIONS), "-d", f"{seconds}s", "--latency",
             *[f"-H{header}" for header in headers], f"http://127.0.0.1:{program.port}{path}"],
            check=True, capture_output=True, text=True).stdout
        if re.search("Non-2xx|Socket errors", text):
            raise SystemExit(f"answers that are none:\n{text}")
        count = int(re.search(r"(\d+) requests in", text).group(1))
        self.rate = float(re.search(r"Requests/sec:\s+([\d.]+)", text).group(1))
        number, unit = re.search(r"99%\s+([\d.]+)(us|ms|s)", text).groups()
        self.p99_ms = float(number) * {"us": 0.001, "ms": 1, "s": 1000}[unit]
        self.cpu_us = (program.cpu_secs() - before) * 1e6 / count
        self.also_us = (also.cpu_secs() - also_before) * 1e6 / count if also else 0


def spread(values, digits=2):
    return " / ".join(f"{value:.{digits}f}" for value in
                      (min(values), statistics.median(values), max(values)))


def compare(title, references, portal, manager, rounds, seconds, path, *headers):
    """All in turn; prints a table."""
    theirs, ours = {name: [] for name in references}, []
    for program in (*references.values(), portal):
        Sample(program, 1, path, *headers)
    for _ in range(rounds):
        for name, program in references.items():
            theirs[name].append(Sample(program, seconds, path, *headers))
        ours.append(Sample(portal, seconds, path, *headers, also=manager))
    print(f"\n{title}: min / median / max of {rounds} rounds of {seconds} s\n")
    print("| ", "".join(f"| {name} " for name in references), "| hotspot-web ",
          "".join(f"| ratio to {name} " for name in references), "|", sep="")
    print("|---" * (2 * len(references) + 2), "|", sep="")
    for what, field, digits in (("requests a second", "rate", 0),
                                ("CPU a request, us", "cpu_us", 1), ("p99, ms", "p99_ms", 2)):
        own = [getattr(sample, field) for sample in ours]
        columns, ratios = [], []
        for samples in theirs.values():
            other = [getattr(sample, field) for sample in samples]
            columns.append(spread(other, digits))
            ratios.append(spread([y / x for x, y in zip(other, own)]))
        print("|", " | ".join([what, *columns, spread(own, digits), *ratios]), "|")
    none = [""] * len(references)
    for what, values in (("the manager's CPU a request, us", [s.also_us for s in ours]),
                         ("both, us", [s.cpu_us + s.also_us for s in ours])):
        print("|", " | ".join([what, *none, spread(values, 1), *none]), "|")


@contextlib.contextmanager
def idle_connections(port):
    """Keep-alive connections that have had one answer each."""
    clients = []
    try:
        for _ in range(IDLE):
            client = socket.create_connection(("127.0.0.1", port))
            clients.append(client)
            client.sendall(b"GET /login HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n")
            answer = b""
            while not answer.endswith(b"</html>\n"):
                answer += client.recv(65536)
        yield
    finally:
        for client in clients:
            client.close()


def memory(programs):
    print(f"\nMemory with {IDLE} idle connections, MiB (PSS of all processes)\n")
    print("| ", "".join(f"| {name} " for name in programs), "|", sep="")
    print("|---" * (len(programs) + 1), "|", sep="")
    rows = []
    for program in programs.values():
        with idle_connections(program.port):
            rows.append(f"{program.pss_mib():.1f}")
    print("| after a run |", " | ".join(rows), "|")


def late(build, pages, rounds, seconds):
    ratios, quiet_p99, busy_p99 = [], [], []
    for _ in range(rounds):
        with contextlib.ExitStack() as stack:
            directory = stack.enter_context(tempfile.TemporaryDirectory(prefix="hotspot-bench-"))
            path = os.path.join(directory, "late.sock")
            Program(stack, os.path.join(directory, "manager.log"),
                    os.path.join(build, "bin/bench-late-manager"), path, pages)
            eventually("the manager listens", lambda: os.path.exists(path))
            portal = Portal(stack, directory, build, path, pages)
            Sample(portal, 1, "/login")
            quiet = Sample(portal, seconds, "/login")
            for _ in range(WAITING):
                client = stack.enter_context(socket.create_connection(("127.0.0.1", portal.port)))
                client.sendall(b"GET /login?username=late HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n")
            time.sleep(0.5)
            busy = Sample(portal, seconds, "/login")
            ratios.append(busy.rate / quiet.rate)
            quiet_p99.append(quiet.p99_ms)
            busy_p99.append(busy.p99_ms)
    print(f"\n{WAITING} logins that the manager does not answer: min / median / max of {rounds} "
          f"rounds of {seconds} s\n")
    print("| | quiet | while they wait |")
    print("|---|---|---|")
    print(f"| throughput | 1 | {spread(ratios)} |")
    print(f"| p99, ms | {spread(quiet_p99)} | {spread(busy_p99)} |")


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", required=True)
    parser.add_argument("--secs", type=int, default=3)
    parser.add_argument("--rounds", type=int, default=5)
    parser.add_argument("what", nargs="+",
                        choices=["login", "connect", "redirect", "late", "memory"])
    args = parser.parse_args()
    build = os.path.realpath(args.build)
    pages = os.path.join(build, "share/hotspot/pages/")

    with contextlib.ExitStack() as stack:
        directory = stack.enter_context(tempfile.TemporaryDirectory(prefix="hotspot-bench-"))
        manager, manager_socket = start_manager(stack, directory, build, pages)
        portal = Portal(stack, directory, build, manager_socket, pages)
        head, page = get(portal.port, "/login")
        assert head.startswith("HTTP/1.1 200 ") and page.endswith(b"</html>\n"), head
        head, body = get(portal.port, "/news", "www.example.com")
        assert head.startswith("HTTP/1.1 302 "), head
        location = re.search(r"Location: (\S+)", head).group(1)
        references = {"nginx": Nginx(stack, directory, page, (location, body)),
                      "lighttpd": Lighttpd(stack, directory, page, (location, body))}
        print(f"Login page {len(page)} bytes, redirect {len(body)} bytes; "
              f"{len(portal.pids()) - 1} workers each; {CONNECTIONS} connections")

        sides = (references, portal, manager, args.rounds, args.secs)
        if "login" in args.what:
            compare("Login page, keep-alive", *sides, "/login")
        if "connect" in args.what:
            compare("Login page, a connection for each request", *sides, "/login",
                    "Connection: close")
        if "redirect" in args.what:
            # The portal ends the connection with each of them: nginx and lighttpd are asked to.
            compare("Intercepted request, redirected, a connection for each", *sides, "/news",
                    "Host: www.example.com", "Connection: close")
        if "memory" in args.what:
            memory({**references, "hotspot-web": portal})
    if "late" in args.what:
        late(build, pages, args.rounds, args.secs)


if __name__ == "__main__":
    main()

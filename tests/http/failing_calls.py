#!/usr/bin/env python3
"""Each call of the web server fails in turn: the Nth of a kind, for all N, once and several times in a row.

failing_calls.py [--most N] [--some N] [--seed S] [--call KIND]: with --most no more than so many places are tried for
each request and kind of call, with --some no more than so many requests for each kind of call, chosen by the seed.

A visit is made of requests that take every way through the server. Whatever fails in it, each request ends soon
with its answer, a whole answer that tells of trouble, or without a byte; the next visit is right; no descriptor,
no thread and no busy loop is left. A worker may end where memory runs out, but never by a signal.
"""

import argparse
import contextlib
import errno
import itertools
import mmap
import os
import random
import re
import shutil
import signal
import socket
import ssl
import struct
import subprocess
import sys
import tempfile
import threading
import time
from pathlib import Path

import servers

PATIENCE_SECS = 30
# Far longer than the patience above: what only a time-out would end counts as hanging.
TIMEOUT_SECS = 300
FOREVER = 1 << 30
LARGE_BYTES = 3_000_000

# What may fail, with the errors that the system gives for it.
CALLS = {
    "accept4": ["EMFILE", "ENFILE", "ENOMEM", "ENOBUFS", "ECONNABORTED", "EINTR", "EAGAIN", "EPERM"],
    "recv": ["EINTR", "EAGAIN", "ECONNRESET", "ENOMEM", "EIO"],
    "read": ["EINTR", "EAGAIN", "ECONNRESET", "EIO"],
    "sendmsg": ["EINTR", "EAGAIN", "EPIPE", "ECONNRESET", "ENOBUFS", "ENOMEM"],
    "write": ["EINTR", "EAGAIN", "EPIPE", "ECONNRESET", "ENOBUFS"],
    "send": ["EINTR", "EAGAIN", "EPIPE", "ECONNRESET", "ENOBUFS"],
    "socket": ["EMFILE", "ENFILE", "ENOMEM", "ENOBUFS"],
    "connect": ["EAGAIN", "ECONNREFUSED", "ENOENT", "EINTR"],
    "poll": ["EINTR", "ENOMEM"],
    "ppoll": ["EINTR", "ENOMEM"],
    "epoll_ctl add": ["ENOMEM", "ENOSPC"],
    "epoll_ctl mod": ["ENOMEM"],
    "epoll_wait": ["EINTR"],
    "fcntl dup": ["EMFILE"],
    "open": ["EMFILE", "ENFILE", "ENOMEM", "EIO"],
    "fstat": ["EIO", "ENOMEM"],
    "mmap": ["ENOMEM", "ENFILE", "EAGAIN"],
    "getsockname": ["ENOBUFS"],
    "shutdown": ["ENOTCONN"],
    "pthread_create": ["EAGAIN"],
    "fwrite": ["ENOSPC", "EIO"],
    "fflush": ["ENOSPC", "EIO"],
    "malloc": ["ENOMEM"],
}
# Those with which a connection itself breaks, or with which nobody can wait any more until it takes more bytes.
BREAKING = {"sendmsg", "write", "epoll_ctl mod", "malloc"}
# What a server that has threads and connections at hand does not call again.
OF_A_FRESH_SERVER = {"socket", "connect", "pthread_create"}
# Those that can fail for longer, and the requests that meet them.
PERSISTENT_CALLS = {"accept4": "EMFILE", "recv": "ENOMEM", "sendmsg": "ENOBUFS", "send": "ENOBUFS", "socket": "EMFILE",
                    "connect": "EAGAIN", "poll": "ENOMEM", "ppoll": "ENOMEM", "epoll_ctl add": "ENOSPC",
                    "fcntl dup": "EMFILE", "open": "ENFILE", "mmap": "ENOMEM", "getsockname": "ENOBUFS",
                    "pthread_create": "EAGAIN", "fwrite": "ENOSPC", "malloc": "ENOMEM"}
PERSISTENT = ("page", "interception", "late body", "TLS page", "slow manager")
# And those of a life: from the start to the end.
CALLS_OF_A_LIFE = {
    "socket": ["EMFILE"], "bind": ["EADDRINUSE", "EACCES"], "listen": ["EADDRINUSE"], "mmap": ["ENOMEM"],
    "fork": ["EAGAIN", "ENOMEM"], "epoll_create1": ["EMFILE"], "eventfd": ["ENFILE"], "timerfd_create": ["EMFILE"],
    "pipe": ["EMFILE"], "epoll_ctl add": ["ENOSPC"], "epoll_ctl mod": ["ENOMEM"], "fcntl dup": ["EMFILE"],
    "open": ["EMFILE"], "getsockname": ["ENOBUFS"], "malloc": ["ENOMEM"],
}


class Plan:
    """Which call fails; failing_calls.cc has the same fields."""

    FORM = "iIIiII40s"

    def __init__(self, path):
        path.write_bytes(bytes(struct.calcsize(self.FORM)))
        with open(path, "r+b") as file:
            self.memory = mmap.mmap(file.fileno(), 0)

    def set(self, call, error, first, count, process):
        # The place last: it is what makes the plan one.
        self.clear()
        struct.pack_into("iI", self.memory, 0, getattr(errno, error), 0)
        struct.pack_into("IiII40s", self.memory, 8, count, process, 0, 0, call.encode())
        struct.pack_into("I", self.memory, 4, first)

    def clear(self):
        struct.pack_into("I", self.memory, 4, 0)

    def seen(self):
        return struct.unpack_from("I", self.memory, 16)[0]

    def failed(self):
        return struct.unpack_from("I", self.memory, 20)[0]


def unverified():
    context = ssl.create_default_context()
    context.check_hostname = False
    context.verify_mode = ssl.CERT_NONE
    return context


CONTEXT = unverified()
ANSWER = re.compile(rb"HTTP/1\.1 (\d{3}) [^\r]*\r\n((?:[^\r]+\r\n)*)\r\n")


def read_answer(client):
    """What came until the connection ended."""
    data = b""
    with contextlib.suppress(ConnectionError, ssl.SSLError):
        while piece := client.recv(65536):
            data += piece
    return data


def outcome(data):
    """The statuses of whole answers ("200 200"), "closed" for none, "cut" when the last one is not whole."""
    statuses = []
    while data:
        head = ANSWER.match(data)
        if head is None:
            return "cut"
        data = data[head.end():]
        if head.group(1) == b"100":
            continue
        length = re.search(rb"(?m)^Content-Length: (\d+)\r$", head.group(2))
        size = int(length.group(1)) if length else 0
        if len(data) < size:
            return "cut"
        data = data[size:]
        statuses.append(head.group(1).decode())
    return " ".join(statuses) or "closed"


def ask(web, pieces, tls=False, held=None, late=False):
    """Sends the pieces, each when what the one before sets going has begun, and reads to the end."""
    with socket.socket() as plain:
        plain.settimeout(PATIENCE_SECS)
        if late:
            plain.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 65536)
        try:
            plain.connect(("127.0.0.1", web.tls_port if tls else web.port))
            client = plain
            if tls:
                client = CONTEXT.wrap_socket(plain, server_hostname="p")
            with client:
                if held:
                    os.kill(held, signal.SIGSTOP)
                try:
                    for piece in pieces:
                        client.sendall(piece)
                        if held or late or len(pieces) > 1:
                            time.sleep(0.005)
                finally:
                    if held:
                        os.kill(held, signal.SIGCONT)
                return outcome(read_answer(client))
        except TimeoutError:
            return "hangs"
        except (ConnectionError, ssl.SSLError):
            return "closed"


def get(path, host="p"):
    return f"GET {path} HTTP/1.1\r\nHost: {host}\r\nConnection: close\r\n\r\n".encode()


def post(path, body, length=None, more=""):
    head = (f"POST {path} HTTP/1.1\r\nHost: p\r\nConnection: close\r\n{more}"
            f"Content-Type: application/x-www-form-urlencoded\r\nContent-Length: {length or len(body)}\r\n\r\n")
    return [head.encode(), body.encode()]


LOGIN = "username=nobody&password=x"
WAITING = "Expect: 100-continue\r\n"


# name -> (the pieces of a request, how it is asked, what it is answered when nothing fails)
REQUESTS = {
    "page": ([get("/login")], {}, "200"),
    "two pages": ([get("/login").replace(b"close", b"keep-alive") + get("/style.css")], {}, "200 200"),
    "interception": ([get("/news", "www.example.com")], {}, "302"),
    "TLS interception": ([get("/news", "www.example.com")], {"tls": True}, "302"),
    "slow manager": ([get("/login")], {"held": True}, "200"),
    "late body": (post("/login", LOGIN, more=WAITING), {}, "200"),
    "large file": ([get("/large.bin")], {"late": True}, "200"),
    "long body": (post("/login", "x" * 200000), {}, "400"),
    "unread body": ([get("/style.css").replace(b"\r\n\r\n", b"\r\nContent-Length: 5\r\n\r\nx")], {}, "200"),
    "malformed": ([b"GET / HTTP/1.1\r\nHost: p\r\nHost: p\r\n\r\n"], {}, "400"),
    "TLS page": ([get("/login")], {"tls": True}, "200"),
    "TLS slow manager": ([get("/login")], {"tls": True, "held": True}, "200"),
    "TLS late body": (post("/login", LOGIN, more=WAITING), {"tls": True}, "200"),
    "TLS large file": ([get("/large.bin")], {"tls": True, "late": True}, "200"),
}
# What a request may be answered that something failed for.
TROUBLE = {"200", "302", "400", "404", "405", "500", "503"}


class Subject:
    """hotspot-web with one worker, whose calls fail; started anew when the worker has ended."""

    def __init__(self, stack, directory):
        self.stack, self.directory = stack, directory
        self.library = directory / "failing_calls.so"
        shutil.copy(os.environ["HOTSPOT_FAILING_CALLS"], self.library)
        self.plan = Plan(directory / "plan")
        self.manager = servers.start_manager(stack, directory / "manager")
        (self.manager.pages / "large.bin").write_bytes(b"x" * LARGE_BYTES)
        self.problems, self.ended, self.failures, self.web = [], 0, 0, None
        self.start()

    def environment(self):
        # A path with a blank would be two for the loader: the temporary directory has none.
        return {"LD_PRELOAD": str(self.library), "FAILING_CALLS": str(self.directory / "plan"),
                "ASAN_OPTIONS": "verify_asan_link_order=0:allocator_may_return_null=1"}

    def start(self, fresh=False):
        """Starts the server anew; when it is to be fresh it has served nothing yet."""
        self.stop()
        self.web = servers.HotspotWeb(
            self.stack, self.directory / "web", servers.BUILD / "lib/hotspot.so",
            self.manager.web_settings + servers.timeouts(TIMEOUT_SECS), workers=1, **self.environment())
        self.web.manager = self.manager
        (self.worker,) = servers.eventually("a worker is there", self.web.workers)
        if not fresh:
            self.check_right("at the start", ["slow manager", "TLS page"])
            self.descriptors = self.count_descriptors()

    def stop(self):
        """Ends the server and looks at what it said."""
        if self.web is None:
            return
        self.web.stop()
        log = servers.text_of(self.web.output)
        if re.search(r"was ended by signal|does not end|unfinished|terminate called", log):
            self.problems.append(f"a worker did not end as it should:\n{log[-2000:]}")

    def count_descriptors(self):
        return len(os.listdir(f"/proc/{self.worker}/fd"))

    def processor_secs(self):
        fields = servers.text_of(f"/proc/{self.worker}/stat").rpartition(")")[2].split()
        return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK") if fields else 0

    def ask(self, what):
        pieces, how, _ = REQUESTS[what]
        if "held" in how:
            how = how | {"held": self.manager.process.pid}
        return ask(self.web, pieces, **how)

    def check_right(self, when, requests=tuple(REQUESTS)):
        for what in requests:
            came, right = self.ask(what), REQUESTS[what][2]
            if came != right:
                self.problems.append(f"{when}: {what}: {came} instead of {right}")

    def begin(self, call):
        if call in OF_A_FRESH_SERVER:
            self.start(fresh=True)

    def calls(self, what, call):
        """How many calls of that kind the request makes when none fails."""
        self.begin(call)
        self.plan.set(call, "EIO", FOREVER, 1, self.worker)
        self.check_right(f"counting {call}", [what])
        self.plan.clear()
        return self.plan.seen()

    def attempt(self, what, call, error, first, count):
        """One request in which something fails, and one after it."""
        when = f"{what}: {count} x {call} {error} from the {first}. on"
        self.begin(call)
        self.plan.set(call, error, first, count, self.worker)
        came = self.ask(what)
        failed = self.plan.failed()
        self.failures += failed
        self.plan.clear()
        if came == "hangs" or (came == "cut" and call not in BREAKING):
            self.problems.append(f"{when}: {came}")
        elif came not in ("closed", "cut") and not set(came.split()) <= TROUBLE:
            self.problems.append(f"{when}: answered {came}")
        if failed:
            self.settle(when)

    def settle(self, when):
        """What a fault leaves behind, and whether all is right again."""
        # The end of a worker is seen a little later than that of its connections.
        if self.ask("page") != "200" or self.web.workers() != [self.worker]:
            self.ended += 1
            servers.eventually("another worker", lambda: self.web.workers() not in ([], [self.worker]))
            self.check_right(f"after {when}, by another worker", ["page"])
            self.start()
            return
        try:
            servers.eventually("descriptors are closed", lambda: self.count_descriptors() <= self.descriptors, 10)
        except SystemExit:
            self.problems.append(f"{when}: {self.count_descriptors()} descriptors, {self.descriptors} before")
            self.start()

    def check_idle(self, when):
        before = self.processor_secs()
        time.sleep(0.4)
        used = self.processor_secs() - before
        if used > 0.1:
            self.problems.append(f"{when}: {used:.2f} s of processor in 0.4 s of idleness")


def sweep(subject, call, errors, most, some, chosen):
    """The places at which a call of that kind can fail, in so many of the requests that make it; returns how many
    there were."""
    tried = met = 0
    subject.failures = 0
    for what in chosen.sample(list(REQUESTS), len(REQUESTS)):
        places = list(itertools.product(range(1, subject.calls(what, call) + 1), errors, (1, 4)))
        if len(places) > most:
            places = chosen.sample(places, most)
        for first, error, count in places:
            subject.attempt(what, call, error, first, count)
        tried += len(places)
        met += bool(places)
        if met == some:
            break
    if not subject.failures:
        subject.problems.append(f"{call}: none failed in {tried} tries: nothing was shown")
    subject.check_right(f"after {call}")
    subject.check_idle(call)
    return tried


def persist(subject, call, error):
    """Fails every time for a while: the server does not keep a processor busy meanwhile, and serves again after it. Returns
    whether anything failed: which way a reply is waited for is a matter of moments."""
    subject.start()
    subject.begin(call)
    when = f"{call} {error} all the time"
    subject.plan.set(call, error, 1, FOREVER, subject.worker)
    asking = [threading.Thread(target=subject.ask, args=(what,)) for what in PERSISTENT]
    for each in asking:
        each.start()
    time.sleep(0.3)
    before = subject.processor_secs()
    time.sleep(0.4)
    used = subject.processor_secs() - before
    failed = subject.plan.failed()
    subject.plan.clear()
    for each in asking:
        each.join()
    if used > 0.2:
        subject.problems.append(f"{when}: {used:.2f} s of processor in 0.4 s")
    # The requests were played at once: each may have left a connection to the manager.
    subject.descriptors += len(PERSISTENT)
    subject.settle(when)
    return failed > 0


def live(subject, call, error, first):
    """A whole life in which one call fails, of the supervisor or of a worker: it serves in the end, or ends by itself
    with a word; told to stop it ends, and nothing is left. Returns whether the call was made at all."""
    when = f"a life with {call} {error} at the {first}."
    subject.plan.set(call, error, first, 1, 0)
    config = subject.directory / "web/web.toml"
    life = servers.Program(subject.stack, subject.directory / "web", servers.BUILD / "bin/hotspot-web",
                           "--config", config, **subject.environment())
    life.manager = subject.manager

    def serves():
        found = servers.HotspotWeb.listening(life) if life.running() else None
        if found:
            life.port, life.tls_port = map(int, found.groups())
        return not life.running() or (found and ask(life, [get("/login")]) == "200")

    life.address = "127.0.0.1"
    try:
        servers.eventually("a page", serves, PATIENCE_SECS)
    except SystemExit:
        subject.problems.append(f"{when}: neither serves nor ends")
    if life.running():
        life.process.send_signal(signal.SIGTERM)
    elif life.process.returncode == 0 or not servers.text_of(life.output):
        subject.problems.append(f"{when}: ended without a word, status {life.process.returncode}")
    failed = subject.plan.failed()
    try:
        life.process.wait(PATIENCE_SECS)
    except subprocess.TimeoutExpired:
        subject.problems.append(f"{when}: does not stop")
    subject.plan.clear()
    life.stop()
    try:
        servers.eventually("nothing is left", lambda: not group_alive(life.process.pid), PATIENCE_SECS)
    except SystemExit:
        subject.problems.append(f"{when}: a process is left")
    return failed > 0


def group_alive(group):
    with contextlib.suppress(ProcessLookupError):
        os.killpg(group, 0)
        return True
    return False


def live_all(subject, most, chosen):
    """Lives in which something fails: how many there were."""
    subject.stop()
    subject.web = None
    lives = 0
    for call, errors in CALLS_OF_A_LIFE.items():
        before = lives
        for error in errors:
            subject.plan.set(call, error, FOREVER, 1, 0)
            live(subject, call, error, FOREVER)
            places = list(range(1, subject.plan.seen() + 1))
            for first in chosen.sample(places, min(most, len(places))):
                lives += live(subject, call, error, first)
        if lives == before:
            subject.problems.append(f"{call}: failed in no life: nothing was shown")
    return lives


def main():
    options = argparse.ArgumentParser()
    options.add_argument("--most", type=int, default=FOREVER)
    options.add_argument("--some", type=int, default=len(REQUESTS))
    options.add_argument("--seed", type=int, default=1)
    options.add_argument("--call", default="")
    args = options.parse_args()
    chosen = random.Random(args.seed)
    with tempfile.TemporaryDirectory(prefix="hotspot-calls-") as name, contextlib.ExitStack() as stack:
        subject = Subject(stack, Path(name))
        for call, errors in CALLS.items():
            if args.call in ("", call):
                begun = time.monotonic()
                tried = sweep(subject, call, errors, args.most, args.some, chosen)
                print(f"{call:<16} {tried:6} places, {subject.ended} workers ended, "
                      f"{time.monotonic() - begun:.0f} s", flush=True)
        if args.call in ("", "persistent"):
            for call, error in PERSISTENT_CALLS.items():
                if not any(persist(subject, call, error) for _ in range(10)):
                    subject.problems.append(f"{call} {error} all the time: none failed: nothing was shown")
            print(f"{len(PERSISTENT_CALLS)} kinds that failed for a while, {subject.ended} workers ended", flush=True)
        if args.call in ("", "life"):
            begun = time.monotonic()
            print(f"{live_all(subject, args.most, chosen)} lives, {time.monotonic() - begun:.0f} s")
        subject.stop()
    for problem in subject.problems[:40]:
        print(problem)
    return 1 if subject.problems else 0


if __name__ == "__main__":
    sys.exit(main())

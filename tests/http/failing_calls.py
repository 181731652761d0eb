#!/usr/bin/env python3
"""Each call of the web server fails in turn: the Nth of a kind, for all N, once and several times in a row.

failing_calls.py [--most N] [--some N] [--lives N] [--jobs N] [--seed S] [--call KIND] [--how HOW]: with --most no more
than so many places are tried for each request and kind of call, with --some no more than so many requests for each kind
of call, chosen by the seed; --jobs servers are played with side by side.

A visit is made of requests that take every way through the server. Whatever fails in it, each request ends soon
with its page, with the page that it gets without a manager, with one of the server's own pages that it may get, or
without a byte, and never with another; the next visit is right; no descriptor,
no thread and no busy loop is left. A worker may end where memory runs out, but never by a signal.
"""

import collections
import contextlib
import functools
import itertools
import os
import random
import re
import signal
import subprocess
import sys
import threading
import time
from typing import NamedTuple

import answers
import faults
import servers
from asking import PATIENCE_SECS, ask, get, post

# Far longer than the patience above: what only a time-out would end counts as hanging.
TIMEOUT_SECS = 300
# More than the system takes of an answer at once (tcp_wmem in tcp(7): 4 MB), so that the server has to wait for room;
# encrypted, where an answer is written in pieces of 16 KB, enough of these.
LARGE_BYTES = 5_000_000
TLS_LARGE_BYTES = 700_000

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
    "stat": ["EACCES", "EIO", "ENOMEM"],
    "open": ["EMFILE", "ENFILE", "ENOMEM", "EIO"],
    "fstat": ["EIO", "ENOMEM"],
    "mmap": ["ENOMEM", "ENFILE", "EAGAIN"],
    "munmap": ["ENOMEM"],
    "close": ["EINTR", "EIO"],
    "gethostname": ["ENAMETOOLONG"],
    "getsockname": ["ENOBUFS"],
    "getsockopt": ["ENOBUFS"],
    "shutdown": ["ENOTCONN"],
    "pthread_create": ["EAGAIN"],
    "fwrite": ["ENOSPC", "EIO"],
    "fflush": ["ENOSPC", "EIO"],
    "malloc": ["ENOMEM"],
}
COUNTS = (1, 4)
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
    "open": ["EMFILE"], "getsockname": ["ENOBUFS"], "setsockopt": ["ENOBUFS"],
    "malloc": ["ENOMEM"],
}


# Without a name and a password: the manager has nothing to try.
LOGIN = "username=&password=&dst=http%3A%2F%2Fwww.example.com%2F"
WAITING = "Expect: 100-continue\r\n"


class Request(NamedTuple):
    """What is asked, how, and what may be answered."""

    pieces: list
    how: dict
    says: list  # of each answer when nothing fails: its status and a part of its body
    besides: list  # answers that tell of trouble, beside the one that is given without a manager


# What a page may be answered that cannot be read, that memory is missing for, or a descriptor or a thread.
OF_A_PAGE = [answers.standard(404), answers.standard(500), answers.standard(503)]
OF_A_FORM = OF_A_PAGE + [answers.standard(400, "can&#39;t read POST data")]
LOGIN_PAGE, STYLE = (200, b'name="username"'), (200, b":root {")
RETURNED = (200, b"http%3A%2F%2Fwww.example.com%2F")
REDIRECT = (302, b"http://p/login?dst=")

REQUESTS = {
    "page": Request([get("/login")], {}, [LOGIN_PAGE], OF_A_PAGE),
    "two pages": Request([get("/login").replace(b"close", b"keep-alive") + get("/style.css")], {},
                         [LOGIN_PAGE, STYLE], OF_A_PAGE),
    "interception": Request([get("/news", "www.example.com")], {}, [REDIRECT], OF_A_PAGE),
    "TLS interception": Request([get("/news", "www.example.com")], {"tls": True}, [REDIRECT], OF_A_PAGE),
    "slow manager": Request([get("/login")], {"held": True}, [LOGIN_PAGE], OF_A_PAGE),
    "late body": Request(post("/login", LOGIN, more=WAITING), {}, [RETURNED], OF_A_FORM),
    "large file": Request([get("/large.bin")], {"late": True}, [(200, b"x" * LARGE_BYTES)], OF_A_PAGE),
    "long body": Request(post("/login", "x" * 200000), {}, [(400, b"read POST data")], OF_A_FORM),
    "unread body": Request([get("/style.css").replace(b"\r\n\r\n", b"\r\nContent-Length: 5\r\n\r\nx")], {}, [STYLE],
                           OF_A_FORM),
    "malformed": Request([b"GET / HTTP/1.1\r\nHost: p\r\nHost: p\r\n\r\n"], {}, [(400, b"")],
                         [answers.standard(500)]),
    "TLS page": Request([get("/login")], {"tls": True}, [LOGIN_PAGE], OF_A_PAGE),
    "TLS slow manager": Request([get("/login")], {"tls": True, "held": True}, [LOGIN_PAGE], OF_A_PAGE),
    "TLS late body": Request(post("/login", LOGIN, more=WAITING), {"tls": True}, [RETURNED], OF_A_FORM),
    "TLS large file": Request([get("/tls_large.bin")], {"tls": True, "late": True},
                              [(200, b"x" * TLS_LARGE_BYTES)], OF_A_PAGE),
}


class Subject:
    """hotspot-web with one worker, whose calls fail; started anew when the worker has ended."""

    def __init__(self, stack, directory):
        self.stack, self.directory = stack, directory
        self.plan = faults.Plan(directory)
        self.problems, self.ended, self.web = [], 0, None
        self.right, self.alone = {}, {}
        self.start_manager()
        self.web = self.start_web()
        self.manager.stop()
        self.alone = {what: self.answers(what) for what in REQUESTS}
        self.start_manager()
        self.right = {what: self.answers(what) for what in REQUESTS}
        for what, request in REQUESTS.items():
            for answer, (status, part) in itertools.zip_longest(self.right[what], request.says):
                if answer.status != status or part not in answer.body:
                    raise SystemExit(f"{what}: answered {answer}")
        self.start()

    def start_manager(self):
        self.manager = servers.start_manager(self.stack, self.directory / "manager", "guesses-per-minute = 0\n")
        (self.manager.pages / "large.bin").write_bytes(b"x" * LARGE_BYTES)
        (self.manager.pages / "tls_large.bin").write_bytes(b"x" * TLS_LARGE_BYTES)

    def start_web(self):
        web = servers.HotspotWeb(
            self.stack, self.directory / "web", servers.BUILD / "lib/hotspot.so",
            self.manager.web_settings + servers.timeouts(TIMEOUT_SECS), workers=1, **self.plan.environment())
        (self.worker,) = servers.eventually("a worker is there", web.workers)
        return web

    def start(self, fresh=False):
        """Starts the server anew; when it is to be fresh it has served nothing yet."""
        self.stop()
        self.web = self.start_web()
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
        request = REQUESTS[what]
        how = request.how
        if "held" in how and self.manager.running():
            how = how | {"held": self.manager.process.pid}
        return ask(self.web, request.pieces, **how)

    def answers(self, what):
        """All that was answered, whole."""
        found, rest = answers.take(self.ask(what))
        if rest:
            raise SystemExit(f"{what}: {rest[:80]} behind {len(found)} answers")
        return found

    def wrong_with(self, what, data, breaks):
        """Says what may not be answered; nothing when all is as it may be."""
        if data is None:
            return "hangs"
        found, rest = answers.take(data)
        for number, answer in enumerate(found):
            if answer not in self.allowed(what, number):
                return f"answered {answer}"
        if rest and not breaks:
            return f"cut, {len(rest)} bytes"
        if rest and not any(answers.is_begun(rest, whole) for whole in self.allowed(what, len(found))):
            return f"cut, and not a right beginning: {rest[:300]}"
        return ""

    def allowed(self, what, number):
        if number >= len(self.right[what]):
            return []
        right, alone = self.right[what][number], self.alone[what][number]
        return [right, alone, answers.late(alone), *REQUESTS[what].besides]

    def check_right(self, when, requests=tuple(REQUESTS)):
        for what in requests:
            came = answers.take(self.ask(what) or b"")
            if came != (self.right[what], b""):
                self.problems.append(f"{when}: {what}: {[*map(str, came[0])]} and {came[1][:80]}")

    def begin(self, call):
        if call in OF_A_FRESH_SERVER:
            self.start(fresh=True)

    def calls(self, what, call):
        """How many calls of that kind the request makes when none fails."""
        self.begin(call)
        self.plan.set(call, "EIO", faults.FOREVER, 1, self.worker)
        self.check_right(f"counting {call}", [what])
        self.plan.clear()
        return self.plan.seen()

    def attempt(self, what, call, error, first, count):
        """One request in which something fails, and one after it. Whether anything failed."""
        when = f"{what}: {count} x {call} {error} from the {first}. on"
        self.begin(call)
        self.plan.set(call, error, first, count, self.worker)
        came = self.ask(what)
        failed = self.plan.failed()
        self.plan.clear()
        if wrong := self.wrong_with(what, came, call in BREAKING):
            self.problems.append(f"{when}: {wrong}")
        if failed:
            self.settle(when)
        return failed > 0

    def settle(self, when):
        """What a fault leaves behind, and whether all is right again."""
        came = answers.take(self.ask("page") or b"")
        if came != (self.right["page"], b"") or self.web.workers() != [self.worker]:
            # The end of a worker is seen a little later than that of its connections.
            try:
                servers.eventually("another worker", lambda: self.web.workers() not in ([], [self.worker]))
                self.ended += 1
                self.check_right(f"after {when}, by another worker", ["page"])
            except SystemExit:
                self.problems.append(f"after {when}: page: {[*map(str, came[0])]} and {came[1][:80]}")
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


def sweep(subject, call, requests, most, some, chosen):
    """Places at which a call of that kind can fail: each one, unless `most` of a request, of `some` requests in which it
    failed, are enough. Returns how many there were."""
    tried = met = 0
    for what in requests:
        attempt = functools.partial(subject.attempt, what, call)
        if most is None:
            tried += faults.every_place(attempt, CALLS[call], COUNTS)
            continue
        failed = faults.some_places(attempt, subject.calls(what, call), CALLS[call], COUNTS, most, chosen)
        tried += failed
        # Whether the server makes the call again is a matter of moments: only a request that met it counts.
        met += failed > 0
        if met == some:
            break
    if tried:
        subject.check_right(f"after {call}")
        subject.check_idle(call)
    return tried


def persist(subject, call):
    """Fails every time for a while: the server does not keep a processor busy meanwhile, and serves again after it. Returns
    whether anything failed: which way a reply is waited for is a matter of moments."""
    error = PERSISTENT_CALLS[call]
    subject.start()
    subject.begin(call)
    when = f"{call} {error} all the time"
    subject.plan.set(call, error, 1, faults.FOREVER, subject.worker)
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
                           "--config", config, **subject.plan.environment())
    life.manager = subject.manager

    def serves():
        found = servers.HotspotWeb.listening(life) if life.running() else None
        if found:
            life.port, life.tls_port = map(int, found.groups())
        return not life.running() or (found and answers.take(ask(life, [get("/login")]) or b"")[0] == subject.right["page"])

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


def live_all(subject, call, most, chosen):
    """Lives in which such a call fails: how many there were."""
    subject.stop()
    subject.web = None
    attempt = functools.partial(live, subject, call)
    return faults.some_of_a_life(subject.plan, attempt, CALLS_OF_A_LIFE[call], most, chosen)


def work(args, directory, taken):
    """What each unit came to: the number of places at which something failed, of workers that ended, and seconds;
    and what was wrong."""
    with contextlib.ExitStack() as stack:
        subject = Subject(stack, directory)
        for unit in taken:
            begun, ended = time.monotonic(), subject.ended
            chosen = random.Random(f"{args.seed} {unit}")
            if unit.how == "life":
                failed = live_all(subject, unit.call, args.lives, chosen)
            else:
                if subject.web is None:
                    subject.start()
                if unit.how == "once":
                    failed = sweep(subject, unit.call, unit.requests, args.most, args.some, chosen)
                else:
                    failed = any(persist(subject, unit.call) for _ in range(10))
            figures = collections.Counter(failed=failed, ended=subject.ended - ended, secs=time.monotonic() - begun)
            yield unit, (figures, subject.problems)
            subject.problems = []
        subject.stop()
        if subject.problems:
            raise SystemExit("\n".join(subject.problems))


def main():
    return faults.main(work, "workers", CALLS, REQUESTS, PERSISTENT_CALLS, CALLS_OF_A_LIFE)


if __name__ == "__main__":
    sys.exit(main())

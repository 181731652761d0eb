#!/usr/bin/env python3
"""Each call of the manager fails in turn: the Nth of a kind, for all N, once and several times in a row.

failing_calls_of_the_manager.py [--most N] [--some N] [--lives N] [--jobs N] [--seed S] [--call KIND] [--how HOW]: as
failing_calls.py has them.

Guests visit the portal through hotspot-web, and an administrator uses hotspotctl, while calls of the manager fail.
Whatever fails, each request ends soon with its own answer or with one that tells of the trouble; or the manager ends by
itself, with a line that says why and status 1, and is started again. Then everything that was answered is there: who
was logged in is so, once, with what was counted; the next visit is right; no descriptor is left.
"""

import collections
import contextlib
import functools
import json
import os
import random
import re
import signal
import subprocess
import sys
import time
from typing import NamedTuple

import answers
import faults
import servers
from asking import PATIENCE_SECS, ask, get, post

# What may fail, with the errors that the system gives for it.
CALLS = {
    "accept4": ["EMFILE", "ENFILE", "ENOMEM", "ENOBUFS", "ECONNABORTED", "EINTR", "EAGAIN", "EPERM"],
    "getsockopt": ["ENOBUFS"],
    "epoll_ctl add": ["ENOMEM", "ENOSPC"],
    "epoll_wait": ["EINTR"],
    "recv": ["EINTR", "EAGAIN", "ECONNRESET", "ENOMEM"],
    "send": ["EINTR", "EAGAIN", "EPIPE", "ENOBUFS", "ENOMEM"],
    "close": ["EINTR", "EIO"],
    "getrandom": ["ENOSYS"],
    "fopen": ["EMFILE", "ENFILE", "ENOMEM"],
    "file read": ["EIO"],
    "mmap": ["ENOMEM"],
    "pread": ["EIO"],
    "pwrite": ["ENOSPC", "EIO"],
    "fdatasync": ["EIO", "ENOSPC"],
    "malloc": ["ENOMEM"],
}
COUNTS = (1, 4)
# And those of a life: from the start to the end. What the event loop's library does for itself then it does not check.
CALLS_OF_A_LIFE = {
    "socket": ["EMFILE"], "bind": ["EADDRINUSE", "EACCES"], "listen": ["EADDRINUSE"], "dup": ["EMFILE"],
    "epoll_create1": ["EMFILE"], "eventfd": ["ENFILE"], "timerfd_create": ["EMFILE"], "pipe": ["EMFILE"],
    "pthread_create": ["EAGAIN"],
    "open": ["EMFILE", "EIO"], "fopen": ["EMFILE"], "fstat": ["EIO"], "pread": ["EIO"], "pwrite": ["ENOSPC", "EIO"],
    "fdatasync": ["EIO"], "ftruncate": ["EIO"], "malloc": ["ENOMEM"],
}

END = re.compile(r"hotspot-manager: cannot go on and ends: [^\n]+\n\Z")
RESIDENT, GUEST, COUNTED = "127.0.7.1", "127.0.7.2", "127.0.7.3"
SETTINGS = """guesses-per-minute = 0
plain-passwd = true
neighbour-table = "{table}"
"""
TABLE = "IP address HW type Flags HW address Mask Device\n" + "".join(
    f"{address} 0x1 0x2 02:00:00:00:00:0{address[-1]} * eth0\n" for address in (RESIDENT, GUEST, COUNTED))

# What hotspotctl may say when something fails.
TROUBLE = re.compile(r"hotspotctl: (?:hotspot manager cannot write its database|hotspot manager failed|"
                     r"this user may not talk to the hotspot manager|cannot reach the manager at [^\n]*|"
                     r"the manager closed the connection|cannot send)\n\Z")


# What a page of trouble says: of one request, or of the database.
TROUBLE_PAGE = re.compile(rb"The hotspot says: (?:The hotspot could not do this|The hotspot cannot save this at the moment)"
                          rb"\. Please try again later\.")
# What differs each time in what it says.
CHANGING = re.compile(rb'("(?:bytes-in|limit-uptime|uptime|idle|used-uptime)":) \d+')


class Visit(NamedTuple):
    """What somebody asks: a guest by HTTP, or hotspotctl by its words."""

    pieces: list = []
    address: str = GUEST
    words: list = []
    before: bool = False  # whether the guest is logged in before it
    after: bool = False  # and after it
    says: tuple = (200, b"")  # a part of what is answered when nothing fails
    trouble: bytes = b"Not logged in - p"  # the title of the page that tells of trouble


def login(name):
    return post("/login", f"username={name}&password=secret")


VISITS = {
    "login page": Visit([get("/login")], says=(200, b'name="username"')),
    "interception": Visit([get("/news", "www.example.com")], says=(302, b""), trouble=b"The hotspot does not answer - p"),
    "wrong password": Visit(post("/login", "username=ann&password=wrong"), says=(200, b"is not right.")),
    "wrong hash": Visit(post("/login", "username=hal&password=wrong"), says=(200, b"is not right.")),
    "login": Visit(login("ann"), after=True, says=(200, b"You are logged in")),
    "hashed login": Visit(login("hal"), after=True, says=(200, b"You are logged in")),
    "cookie login": Visit([b"COOKIE"], after=True, says=(200, b"You are logged in")),
    "second login": Visit(login("ann"), before=True, after=True, says=(200, b"You are logged in")),
    "status": Visit([get("/status")], RESIDENT, says=(200, b"Your session")),
    "log-out": Visit([get("/logout")], before=True, says=(200, b"You are logged out"),
                     trouble=b"Not logged out - p"),
    "sessions": Visit(words=["session", "list"], says=(0, RESIDENT.encode())),
    "report": Visit(words=["session", "report", COUNTED, "--bytes-in"], says=(0, b"bytes-in")),
    "change": Visit(words=["user", "set", "dan", "--limit-uptime"], says=(0, b"limit-uptime")),
}


def text_of(answer):
    """What a page says."""
    return b" ".join(re.sub(rb"(?s)<(script|style).*?</\1>|<[^>]*>", b" ", answer.body).split())


class Subject:
    """A manager whose calls fail, behind a hotspot-web whose calls do not; started anew when it has ended."""

    def __init__(self, stack, directory):
        self.stack, self.directory = stack, directory
        self.plan = faults.Plan(directory)
        self.problems, self.ended, self.descriptors = [], 0, faults.FOREVER
        self.table = directory / "neighbours"
        self.table.write_text(TABLE)
        self.counted, self.limit, self.cookie = 1000, 0, b""
        self.start()
        self.web = servers.HotspotWeb(stack, directory / "web", servers.BUILD / "lib/hotspot.so",
                                      self.manager.web_settings, workers=1)
        for words in (["ann"], ["hal", "--hash"], ["rob"], ["cat"], ["dan"]):
            self.must(["user", "add", *words, "--password", "secret"])
        for address, name in ((RESIDENT, "rob"), (COUNTED, "cat")):
            self.must_answer(login(name), address)
            self.must(["session", "report", address, "--bytes-in", str(self.counted), "--bytes-out", "123456789"])
        self.right = {what: self.play_right(what) for what in VISITS}
        self.end("at first")
        self.alone = {what: self.play(what) for what in VISITS if not VISITS[what].words}
        self.start()
        self.settle("at first")
        self.descriptors = self.count_descriptors()

    def start(self):
        self.manager = servers.start_manager(self.stack, self.directory / "manager",
                                             SETTINGS.format(table=self.table), **self.plan.environment())

    def end(self, when):
        """Asks the manager to end; nothing that was asked of it may be left then."""
        self.manager.stop()
        log = servers.text_of(self.manager.output)
        if self.manager.process.returncode or re.search(r"not answered at the end|terminate called", log):
            self.problems.append(f"{when}: status {self.manager.process.returncode}\n{log[-1000:]}")

    def restart(self, when):
        self.end(when)
        self.start()

    def ctl(self, *words):
        ran = subprocess.run([servers.BUILD / "bin/hotspotctl", "--socket", self.directory / "manager/manager/admin.sock",
                              "--json", *words], capture_output=True, check=False, timeout=PATIENCE_SECS)
        return ran.returncode, ran.stdout + ran.stderr

    def must(self, words):
        status, said = self.ctl(*words)
        if status:
            raise SystemExit(f"hotspotctl {words}: {said}")
        return said

    def http(self, pieces, address):
        """All that was answered, and the bytes behind it; nothing when that does not come."""
        came = ask(self.web, pieces, address=address)
        if came is None:
            return None
        if found := re.search(rb"Set-Cookie: loginID=([1-9]\d*);", came):
            self.cookie = found.group(1)
        return answers.take(came)

    def must_answer(self, pieces, address, part=b"You are logged in"):
        came = self.http(pieces, address)
        if not came or not came[0] or part not in came[0][0].body:
            raise SystemExit(f"{pieces}: {came}")

    def pieces(self, what):
        if what == "cookie login":
            return [get("/login", more=f"Cookie: loginID={self.cookie.decode()}\r\n")]
        return VISITS[what].pieces

    def words(self, what):
        if what == "report":
            return [*VISITS[what].words, str(self.counted + 1)]
        if what == "change":
            return [*VISITS[what].words, str(self.limit + 1)]
        return VISITS[what].words

    def play(self, what):
        """What was answered, to be compared with what is right."""
        visit = VISITS[what]
        if not visit.words:
            return self.http(self.pieces(what), visit.address)
        status, said = self.ctl(*self.words(what))
        return status, CHANGING.sub(rb"\1 0", said)

    def play_right(self, what):
        visit = VISITS[what]
        self.bring(visit.before)
        came = self.play(what)
        self.note(what)
        status, part = visit.says
        answered = (came[0][0].status, came[0][0].body) if not visit.words and came and came[0] else came
        if not answered or answered[0] != status or part not in answered[1]:
            raise SystemExit(f"{what}: {came}")
        return came

    def note(self, what):
        """What is to be kept from now on."""
        self.counted += what == "report"
        self.limit += what == "change"

    def sessions(self):
        return [(row["address"], row["user"]) for row in json.loads(self.must(["session", "list"]))]

    def bring(self, logged_in):
        """Has the guest logged in as the usual one, or not."""
        here = dict(self.sessions()).get(GUEST)
        if here and (here != "ann" or not logged_in):
            self.must_answer([get("/logout")], GUEST, b"You are logged out")
        if logged_in and here != "ann":
            self.must_answer(login("ann"), GUEST)

    def count_descriptors(self):
        return len(os.listdir(f"/proc/{self.manager.process.pid}/fd"))

    def wrong_with(self, what, came):
        """Says what may not be answered; nothing when all is as it may be."""
        if came is None:
            return "hangs"
        if came in (self.right[what], self.alone.get(what)):
            return ""
        if VISITS[what].words:
            return "" if came[0] and TROUBLE.match(came[1].decode()) else f"said {came}"
        found, rest = came
        if len(found) != 1 or rest:
            return f"{len(found)} answers and {rest[:80]}"
        said = text_of(found[0])
        # Who has a session keeps it, whatever cannot be looked up.
        if what == "second login" and said == text_of(self.right[what][0][0]):
            return ""
        # The login page will find the session again.
        if what == "status" and found[0].status == 302 and b"Location: http://p/login" in found[0].fields:
            return ""
        if found[0].status == 200 and said.startswith(VISITS[what].trouble) and len(TROUBLE_PAGE.findall(said)) == 1:
            return ""
        return f"answered {found[0]}: {said[:300]}"

    def calls(self, what, call, fresh):
        """How many calls of that kind the visit makes when none fails."""
        self.attempt(what, call, "EIO", faults.FOREVER, 1, fresh)
        return self.plan.seen()

    def attempt(self, what, call, error, first, count, fresh=False):
        """One visit in which something fails, and what is right after it. Whether anything failed."""
        when = f"{what}: {count} x {call} {error} from the {first}. on"
        visit = VISITS[what]
        if fresh:
            self.restart(f"before {when}")
        self.bring(visit.before)
        self.plan.set(call, error, first, count, self.manager.process.pid)
        came = self.play(what)
        failed = self.plan.failed()
        self.plan.clear()
        wrong = self.wrong_with(what, came)
        if wrong:
            self.problems.append(f"{when}: {wrong}")
        if failed:
            self.settle(when)
            self.check_kept(when, what, came == self.right[what])
        elif not wrong:
            self.note(what)
        return failed > 0

    def settle(self, when):
        """Whether the manager goes on, or has ended as it may."""
        came = self.play("status")
        if came != self.right["status"]:
            with contextlib.suppress(subprocess.TimeoutExpired):
                self.manager.process.wait(5)
            if self.manager.running():
                self.problems.append(f"after {when}: {self.wrong_with('status', came)}")
                return
        if not self.manager.running():
            self.ended += 1
            log = servers.text_of(self.manager.output)
            if self.manager.process.returncode != 1 or not END.search(log):
                self.problems.append(f"{when}: ended, status {self.manager.process.returncode}\n{log[-1000:]}")
            self.start()
            came = self.play("status")
            if came != self.right["status"]:
                self.problems.append(f"{when}, started again: {self.wrong_with('status', came)}")
        try:
            servers.eventually("descriptors are closed", lambda: self.count_descriptors() <= self.descriptors, 10)
        except SystemExit:
            self.problems.append(f"{when}: {self.count_descriptors()} descriptors, {self.descriptors} before")
            self.restart(when)

    def check_kept(self, when, what, answered):
        """Everything that was answered is there, and nothing that was not asked for."""
        visit, here = VISITS[what], [address for address, _ in self.sessions()]
        may_be = [sorted({RESIDENT, COUNTED} | ({GUEST} if logged_in else set()))
                  for logged_in in ((visit.after,) if answered else (visit.before, visit.after))]
        if sorted(here) not in may_be:
            self.problems.append(f"{when}: sessions of {here}")
        counted = json.loads(self.must(["session", "show", COUNTED]))["bytes-in"]
        limit = json.loads(self.must(["user", "show", "dan"]))["limit-uptime"]
        if answered:
            self.note(what)
        if counted not in (self.counted, self.counted + (what == "report")):
            self.problems.append(f"{when}: counted {counted}, not {self.counted}")
        if limit not in (self.limit, self.limit + (what == "change")):
            self.problems.append(f"{when}: a limit of {limit}, not {self.limit}")
        self.counted, self.limit = counted, limit


def forms(what, call):
    """Whether the manager is a fresh one: one that has been used has pages of the database, statements and tables at
    hand."""
    if call == "pread":
        return [True]
    return [False, True] if (what, call) == ("login", "malloc") else [False]


def sweep(subject, call, visits, most, some, chosen):
    """Places at which a call of that kind can fail: each one, unless `most` of a visit, of `some` visits in which it
    failed, are enough. Returns how many there were."""
    tried = met = 0
    for what in visits:
        if most is None:
            for fresh in forms(what, call):
                attempt = functools.partial(subject.attempt, what, call, fresh=fresh)
                tried += faults.every_place(attempt, CALLS[call], COUNTS)
            continue
        fresh = forms(what, call)[0]
        attempt = functools.partial(subject.attempt, what, call, fresh=fresh)
        failed = faults.some_places(attempt, subject.calls(what, call, fresh), CALLS[call], COUNTS, most, chosen)
        tried += failed
        met += failed > 0
        if met == some:
            break
    subject.restart(f"after {call}")
    return tried


def live(subject, call, error, first):
    """A whole life in which one call fails: it serves in the end, or ends by itself with a word; told to stop it ends.
    Returns whether the call was made at all."""
    when = f"a life with {call} {error} at the {first}."
    subject.plan.set(call, error, first, 1, 0)
    directory = subject.directory / "manager/manager"
    life = servers.Program(subject.stack, directory, servers.BUILD / "bin/hotspot-manager", "--config",
                           directory / "manager.toml", **subject.plan.environment())
    try:
        servers.eventually("an answer", lambda: not life.running() or subject.ctl("server", "show")[0] == 0, PATIENCE_SECS)
    except SystemExit:
        subject.problems.append(f"{when}: neither serves nor ends")
    by_itself = not life.running()
    if not by_itself:
        life.process.send_signal(signal.SIGTERM)
    try:
        status = life.process.wait(PATIENCE_SECS)
    except subprocess.TimeoutExpired:
        status = "not the end"
    failed = subject.plan.failed()
    subject.plan.clear()
    life.stop()
    log = servers.text_of(life.output)
    ended_well = status == 1 and log.endswith("\n") if by_itself or END.search(log) else status == 0
    if not ended_well:
        subject.problems.append(f"{when}: ended, status {status}:\n{log[-1000:]}")
    return failed > 0


def live_all(subject, call, most, chosen):
    """Lives in which such a call fails: how many there were."""
    subject.end(f"before the lives with {call}")
    attempt = functools.partial(live, subject, call)
    lives = faults.some_of_a_life(subject.plan, attempt, CALLS_OF_A_LIFE[call], most, chosen)
    subject.start()
    subject.settle(f"after the lives with {call}")
    return lives


def work(args, directory, taken):
    """What each unit came to, as faults.report() has it."""
    with contextlib.ExitStack() as stack:
        subject = Subject(stack, directory)
        for unit in taken:
            begun, ended = time.monotonic(), subject.ended
            chosen = random.Random(f"{args.seed} {unit}")
            if unit.how == "life":
                failed = live_all(subject, unit.call, args.lives, chosen)
            else:
                failed = sweep(subject, unit.call, unit.requests, args.most, args.some, chosen)
            figures = collections.Counter(failed=failed, ended=subject.ended - ended, secs=time.monotonic() - begun)
            yield unit, (figures, subject.problems)
            subject.problems = []


def main():
    return faults.main(work, "managers", CALLS, VISITS, (), CALLS_OF_A_LIFE)


if __name__ == "__main__":
    sys.exit(main())

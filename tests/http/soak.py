#!/usr/bin/env python3
"""Many mixed requests: memory, descriptors and threads of the portal stay as they are, and so do its answers.

Usage: soak.py [--requests N]      2,000,000 unless told otherwise

The figures of the first tenth, behind a warming-up, are compared with those of the last tenth. Each client first asks for
everything once, logged out and logged in: each later answer has to have the same status, and one of each batch,
chosen at random, the same fields and body.
"""

import argparse
import contextlib
import multiprocessing
import os
import random
import re
import socket
import subprocess
import sys
import tempfile
import time
from pathlib import Path
from typing import NamedTuple

import answers
import servers

CLIENTS = 4
BATCH = 16
# After so many batches a client comes back over a new connection.
BATCHES_EACH = 50
SAMPLES = 200
WARM_UP = 0.05
# What the figures may differ by: an allocator's unrest and a thread that happens to be kept.
MOST_MORE_MIB = 2.0
MOST_MORE_MAPPINGS = 32
MOST_MORE_FILES = 8
MOST_MORE_THREADS = 8

class Outcome(NamedTuple):
    """What a request is answered, and whether the guest is logged in behind it."""

    answer: answers.Answer
    logged_in: bool


def request(method, target, body="", host="p", more=""):
    head = f"{method} {target} HTTP/1.1\r\nHost: {host}\r\n{more}"
    if body:
        head += f"Content-Type: application/x-www-form-urlencoded\r\nContent-Length: {len(body)}\r\n"
    return (head + "\r\n" + body).encode("ascii")


LOGIN = request("POST", "/login", body="username=guest&password=guest")
WRONG_LOGIN = request("POST", "/login", body="username=nobody&password=x&dst=http%3A%2F%2Fwww.example.com%2F")
LOGOUT = request("GET", "/logout")
STATUS = request("GET", "/status")


def mix(number):
    """The requests of a client, the likely ones more than once; those that wait for the disk, or for a password's
    hash, are few: a hash costs as much as a hundred pages."""
    return [LOGIN, LOGOUT, WRONG_LOGIN] + 16 * [
        *[request("GET", "/login")] * 6,
        *[STATUS] * 3,
        *[request("GET", "/style.css")] * 3,
        request("GET", "/"),
        request("GET", "/nothing.html"),
        request("GET", "/%2e%2e/secret"),
        request("GET", "/advert"),
        request("GET", "/alogin"),
        request("GET", "/login?target=xx&var=" + "v" * 300),
        request("GET", "/login", more=f"Cookie: loginID={number}\r\n"),
        request("POST", "/status", body="x=" + "y" * 2000),
    ]


# Ends the connection.
INTERCEPTED = [
    *[request("GET", "/news?page=2", host="www.example.com")] * 6,
    request("PUT", "/any", host="www.example.com"),
]


class Client:
    """One guest; knows whether it is logged in, and what it is answered then."""

    def __init__(self, port, number):
        self.port, self.number = port, number
        self.requests = mix(number)
        self.logged_in = False
        self.right = {}
        self.connection = None

    def connect(self):
        self.connection = socket.create_connection(("127.0.0.1", self.port), 60,
                                                   source_address=(f"127.0.1.{self.number + 1}", 0))
        self.connection.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        return self.connection

    def ask(self, batch):
        """The answers to pipelined requests, as they come, each as (head, body)."""
        self.connection.sendall(b"".join(batch))
        data, at = b"", 0
        for each in batch:
            while not (head := answers.HEAD.match(data, at)):
                more = self.connection.recv(262144)
                if not more:
                    raise SystemExit(f"closed before an answer to {each[:60]}: {data[at:at + 200]!r}")
                data += more
            length = answers.LENGTH.search(head.group(2))
            if not length:
                raise SystemExit(f"an answer without a length: {head.group(0)!r}")
            at = head.end() + int(length.group(1))
            while len(data) < at:
                more = self.connection.recv(262144)
                if not more:
                    raise SystemExit(f"closed in the middle of an answer to {each[:60]}")
                data += more
            yield head, data[head.end():at]
        if len(data) != at:
            raise SystemExit(f"bytes behind the last answer: {data[at:at + 200]!r}")

    def learn(self):
        """Asks for everything, logged out and logged in."""
        for logged_in in (False, True):
            for each in {*self.requests, *INTERCEPTED}:
                with self.connect():
                    list(self.ask([LOGIN if logged_in else LOGOUT]))
                    ((head, body),) = self.ask([each])
                with self.connect():
                    ((status, _),) = self.ask([STATUS])
                self.right[each, logged_in] = Outcome(answers.of(head, body), status.group(1) == b"200")
        with self.connect():
            list(self.ask([LOGOUT]))

    def play(self, batch, looked_at):
        """Their statuses; of one of them the whole answer is compared."""
        for number, (head, body) in enumerate(self.ask(batch)):
            right = self.right[batch[number], self.logged_in]
            status = int(head.group(1))
            if status != right.answer.status or number == looked_at and answers.of(head, body) != right.answer:
                raise SystemExit(f"{batch[number][:80]}, {self.logged_in=}: {answers.of(head, body)} with "
                                 f"{head.group(0)!r}, and before {right.answer}")
            self.logged_in = right.logged_in
            yield status


def run_client(port, number, count, done, counts):
    chosen = random.Random(number)
    client = Client(port, number)
    client.learn()
    for outcome in client.right.values():
        counts[outcome.answer.status] += 1
    while done[number] < count:
        with client.connect() as connection:
            for batch_number in range(1, BATCHES_EACH + 1):
                batch = chosen.choices(client.requests, k=BATCH)
                if batch_number == BATCHES_EACH:
                    batch[-1] = chosen.choice(INTERCEPTED)
                for status in client.play(batch, chosen.randrange(BATCH)):
                    counts[status] += 1
                done[number] += BATCH
                if done[number] >= count:
                    break
            else:
                if connection.recv(1) != b"":
                    raise SystemExit("bytes behind the answer to an intercepted request")


def processes(leader):
    children = Path(f"/proc/{leader}/task/{leader}/children").read_text(encoding="ascii").split()
    return [leader] + [int(child) for child in children]


def figures(leaders):
    """MiB of memory (shared pages divided among those who share them), mappings, descriptors, threads.

    Of the memory without that of files: who else on the machine has the same libraries changes its share."""
    memory = mappings = files = threads = 0
    for leader in leaders:
        for pid in processes(leader):
            rollup = Path(f"/proc/{pid}/smaps_rollup").read_text(encoding="ascii")
            memory += sum(map(int, re.findall(r"^Pss_(?:Anon|Shmem): +(\d+)", rollup, re.MULTILINE)))
            mappings += Path(f"/proc/{pid}/maps").read_text(encoding="utf-8").count("\n")
            files += len(os.listdir(f"/proc/{pid}/fd"))
            threads += len(os.listdir(f"/proc/{pid}/task"))
    return memory / 1024, mappings, files, threads


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n", maxsplit=1)[0])
    parser.add_argument("--requests", type=int, default=2_000_000)
    count = parser.parse_args().requests // CLIENTS
    with contextlib.ExitStack() as stack:
        directory = Path(stack.enter_context(tempfile.TemporaryDirectory(prefix="hotspot-soak-")))
        # Guests may mistype as often as they like: a log-in is always one.
        web = servers.start_portal(stack, directory / "portal", "", "guesses-per-minute = 0\n")
        ctl = [servers.BUILD / "bin/hotspotctl", "--socket", directory / "portal/manager/admin.sock"]
        for words in (["server", "set", "plain-passwd=yes"], ["profile", "set", "default", "--shared-users", "0"],
                      ["user", "add", "guest", "--password", "guest"]):
            subprocess.run([*ctl, *words], check=True, stdout=subprocess.DEVNULL)
        done = multiprocessing.Array("q", CLIENTS, lock=False)
        counts = multiprocessing.Array("q", 600, lock=False)
        clients = [multiprocessing.Process(target=run_client, args=(web.port, i, count, done, counts))
                   for i in range(CLIENTS)]
        started = time.monotonic()
        for client in clients:
            client.start()
        samples = []
        every = count * CLIENTS / SAMPLES
        while any(client.is_alive() for client in clients):
            time.sleep(0.02)
            if sum(done) >= every * (len(samples) + 1):
                samples.append(figures([web.process.pid, web.manager.process.pid]))
        for client in clients:
            client.join()
            if client.exitcode != 0:
                sys.exit("a client was not answered")
        secs = time.monotonic() - started
        web.check()
        web.manager.check()

    statuses = {status: counts[status] for status in range(600) if counts[status]}
    print(f"{sum(done)} requests in {secs:.0f} s; answers by status: {statuses}")
    samples = samples[int(SAMPLES * WARM_UP):]
    tenth = len(samples) // 10
    wrong = []
    print("\n| | first tenth | last tenth |\n|---|---|---|")
    for i, (what, most) in enumerate((("memory, MiB", MOST_MORE_MIB), ("mappings", MOST_MORE_MAPPINGS),
                                      ("descriptors", MOST_MORE_FILES),
                                      ("threads", MOST_MORE_THREADS))):
        # The least: while a password is hashed, say, the manager has some 16 MiB more. What leaks stays.
        first = min(sample[i] for sample in samples[:tenth])
        last = min(sample[i] for sample in samples[-tenth:])
        print(f"| {what} | {first:.1f} | {last:.1f} |")
        if last > first + most:
            wrong.append(f"{what}: more than {most} above the first tenth")
    # Every kind of answer was among them, none that tells of trouble.
    if not {200, 302, 303, 404} <= statuses.keys():
        wrong.append("not every kind of answer was met")
    if statuses.keys() & {500, 502, 503}:
        wrong.append("answers that tell of trouble")
    sys.exit("\n".join(wrong) or 0)


if __name__ == "__main__":
    main()

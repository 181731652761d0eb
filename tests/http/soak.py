#!/usr/bin/env python3
"""Many mixed requests: memory, descriptors and threads of the portal stay as they are.

Usage: soak.py [--requests N]      2,000,000 unless told otherwise

The figures of the first tenth, behind a warming-up, are compared with those of the last tenth.
"""

import argparse
import contextlib
import multiprocessing
import os
import random
import re
import socket
import statistics
import subprocess
import sys
import tempfile
import time
from pathlib import Path

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

HEADS = re.compile(rb"HTTP/1\.1 (\d{3}) [^\r]*\r\n((?:[^\r]+\r\n)*)\r\n")
LENGTH = re.compile(rb"(?i)^content-length: *(\d+)\r$", re.MULTILINE)


def request(method, target, body="", host="p", more=""):
    head = f"{method} {target} HTTP/1.1\r\nHost: {host}\r\n{more}"
    if body:
        head += f"Content-Type: application/x-www-form-urlencoded\r\nContent-Length: {len(body)}\r\n"
    return (method, (head + "\r\n" + body).encode("ascii"))


def mix(number):
    """The requests of a client, the likely ones more than once."""
    return [
        *[request("GET", "/login")] * 6,
        *[request("GET", "/status")] * 3,
        *[request("GET", "/style.css")] * 3,
        request("GET", "/"),
        request("GET", "/nothing.html"),
        request("GET", "/%2e%2e/secret"),
        request("GET", "/advert"),
        request("GET", "/alogin"),
        request("GET", "/login?target=xx&var=" + "v" * 300),
        request("GET", "/login", more=f"Cookie: loginID={number}\r\n"),
        request("POST", "/login", body="username=guest&password=guest"),
        request("POST", "/login", body="username=nobody&password=x&dst=http%3A%2F%2Fwww.example.com%2F"),
        request("POST", "/status", body="x=" + "y" * 2000),
        request("GET", "/logout"),
    ]


# Ends the connection.
INTERCEPTED = [
    *[request("GET", "/news?page=2", host="www.example.com")] * 6,
    request("PUT", "/any", host="www.example.com"),
]


def read_answers(client, methods):
    """Reads the answers to pipelined requests; returns what their statuses were."""
    data = b""
    statuses = []
    at = 0
    for method in methods:
        while not (head := HEADS.match(data, at)):
            more = client.recv(262144)
            if not more:
                raise SystemExit(f"closed before an answer to {method}: {data[at:at + 200]!r}")
            data += more
        status = int(head.group(1))
        length = LENGTH.search(head.group(2) + b"\r")
        size = int(length.group(1)) if length and method != "HEAD" else 0
        if not length and method != "HEAD" and status not in (204, 304):
            raise SystemExit(f"an answer without a length: {head.group(0)!r}")
        at = head.end() + size
        while len(data) < at:
            data += client.recv(262144)
        statuses.append(status)
    if len(data) != at:
        raise SystemExit(f"bytes behind the last answer: {data[at:at + 200]!r}")
    return statuses


def run_client(port, number, count, done, counts):
    chosen = random.Random(number)
    requests = mix(number)
    while done[number] < count:
        with socket.create_connection(("127.0.0.1", port), 60,
                                      source_address=(f"127.0.1.{number + 1}", 0)) as client:
            client.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
            for batch_number in range(1, BATCHES_EACH + 1):
                batch = chosen.choices(requests, k=BATCH)
                if batch_number == BATCHES_EACH:
                    batch[-1] = chosen.choice(INTERCEPTED)
                client.sendall(b"".join(text for _, text in batch))
                for status in read_answers(client, [method for method, _ in batch]):
                    counts[status] += 1
                done[number] += BATCH
                if done[number] >= count:
                    break
            else:
                if client.recv(1) != b"":
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
        web = servers.start_portal(stack, directory / "portal", "")
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
        # Not the mean: while a password is hashed the manager has some 16 MiB more.
        first = statistics.median([sample[i] for sample in samples[:tenth]])
        last = statistics.median([sample[i] for sample in samples[-tenth:]])
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

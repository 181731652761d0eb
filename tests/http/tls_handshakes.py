#!/usr/bin/env python3
"""Hostile beginnings of TLS connections: handshakes that never end, and handshakes with changed bytes.

tls_handshakes.py [--begun N] [--changed N] [--seed S]

While handshakes are begun and left lying a good client gets its page, and the server ends each of them when the time
of a header is over. Changed bytes, chosen by the seed, end no worker, no other connection and leave no descriptor.
"""

import argparse
import asyncio
import contextlib
import os
import random
import resource
import socket
import ssl
import sys
import tempfile
import time
from pathlib import Path

import play
import servers

HEADER_SECS = 2
PATIENCE_SECS = 60
AT_ONCE = 32
CLIENTS_OF_AN_ADDRESS = 50
PAGE = b"GET /login HTTP/1.1\r\nHost: p\r\nConnection: close\r\n\r\n"


def context_of(version):
    context = play.tls_context()
    context.minimum_version = context.maximum_version = version
    return context


CONTEXTS = [context_of(ssl.TLSVersion.TLSv1_2), context_of(ssl.TLSVersion.TLSv1_3)]


class Handshake:
    """A client's half of a handshake, in memory."""

    def __init__(self, context, session=None):
        self.received, self.to_send = ssl.MemoryBIO(), ssl.MemoryBIO()
        self.tls = context.wrap_bio(self.received, self.to_send, server_hostname="p", session=session)

    def step(self):
        """Whether it is done; what it has to say is in to_send."""
        try:
            self.tls.do_handshake()
            return True
        except ssl.SSLWantReadError:
            return False


def client_hello():
    shake = Handshake(CONTEXTS[1])
    shake.step()
    return shake.to_send.read()


def fetch(port):
    """The good client: a page over a connection of its own; the seconds that it took."""
    begun = time.monotonic()
    with socket.create_connection(("127.0.0.1", port), PATIENCE_SECS) as plain:
        with CONTEXTS[1].wrap_socket(plain, server_hostname="p") as client:
            client.sendall(PAGE)
            answer = b""
            while piece := client.recv(65536):
                answer += piece
    if not answer.startswith(b"HTTP/1.1 200 ") or not answer.rstrip().endswith(b"</html>"):
        raise SystemExit(f"the good client did not get its page: {answer[:200]!r}")
    return time.monotonic() - begun


async def leave_lying(port, number, began):
    """A handshake that is begun and not gone on with: silent, a byte a second, or silent after the first flight.
    Returns after the server has ended it."""
    loop = asyncio.get_running_loop()
    hello = client_hello()
    with socket.socket() as client:
        client.setblocking(False)
        client.bind((f"127.5.0.{1 + number // CLIENTS_OF_AN_ADDRESS}", 0))
        await loop.sock_connect(client, ("127.0.0.1", port))
        began.append(time.monotonic())
        kind = number % 3
        try:
            if kind == 2:
                await loop.sock_sendall(client, hello)
            reading = asyncio.create_task(read_to_end(client))
            for byte in hello if kind == 1 else b"":
                done, _ = await asyncio.wait([reading], timeout=1)
                if done:
                    break
                await loop.sock_sendall(client, bytes([byte]))
            await asyncio.wait_for(reading, PATIENCE_SECS)
        except ConnectionError:
            pass


async def read_to_end(client):
    loop = asyncio.get_running_loop()
    with contextlib.suppress(ConnectionError):
        while await loop.sock_recv(client, 65536):
            pass


async def begin_many(port, count):
    """How many pages the good client got meanwhile, and the longest time that one took."""
    began = []
    tasks = [asyncio.create_task(leave_lying(port, number, began)) for number in range(count)]
    times = []
    while not all(task.done() for task in tasks):
        times.append(await asyncio.to_thread(fetch, port))
        await asyncio.sleep(0.02)
    await asyncio.gather(*tasks)
    return len(times), max(times)


def change(data, chosen):
    """The bytes of a flight with something wrong."""
    data = bytearray(data)
    for _ in range(chosen.choice((1, 1, 1, 2, 8))):
        at = chosen.randrange(len(data) + 1)
        end = min(len(data), at + chosen.choice((1, 2, 4, 40)))
        kind = chosen.randrange(10)
        if kind == 0 and at < len(data):
            data[at] ^= 1 << chosen.randrange(8)
        elif kind == 1 and at < len(data):
            data[at] = chosen.choice((0, 1, 0x7f, 0x80, 0xff))
        elif kind == 2:
            del data[at:end]
        elif kind == 3:
            data[at:at] = chosen.randbytes(chosen.choice((1, 2, 16, 300)))
        elif kind == 4:
            data[at:at] = data[at:end]
        elif kind == 5:
            del data[at:]
        elif kind == 6 and len(data) > 5:
            data[3:5] = chosen.randbytes(2)  # the record's length
        elif kind == 7 and len(data) > 9:
            data[6:9] = chosen.randbytes(3)  # the handshake message's
        elif kind == 8 and data:
            data[0] = chosen.choice((20, 21, 22, 23, 24, 0x80))  # the record's type
        else:
            # A whole record of another kind in front.
            body = chosen.choice((b"\x01", b"\x02\x28", b"\x01\x00", b"\x00\x00\x00\x00", chosen.randbytes(2000)))
            data[0:0] = bytes([chosen.choice((20, 21, 22, 23))]) + b"\x03\x03" + len(body).to_bytes(2, "big") + body
    return bytes(data)


async def play_changed(port, chosen, session):
    """A connection of which one flight (of the handshake, or the request) is changed."""
    loop = asyncio.get_running_loop()
    which, version = chosen.randrange(3), chosen.randrange(2)
    shake = Handshake(CONTEXTS[version], session if version == 0 and chosen.random() < 0.5 else None)
    with socket.socket() as client:
        client.setblocking(False)
        await loop.sock_connect(client, ("127.0.0.1", port))
        flight = 0
        try:
            while True:
                done = shake.step()
                if done:
                    shake.tls.write(PAGE)
                data = shake.to_send.read()
                last = flight == which or done
                if last:
                    data = change(data, chosen)
                await loop.sock_sendall(client, data)
                if last:
                    break
                flight += 1
                if not (piece := await loop.sock_recv(client, 65536)):
                    return
                shake.received.write(piece)
            if chosen.random() < 0.9:
                client.shutdown(socket.SHUT_WR)
                await asyncio.wait_for(read_to_end(client), PATIENCE_SECS)
        except TimeoutError:
            raise SystemExit("a connection with changed bytes was not ended") from None
        except OSError:
            pass  # ended by the server, or refused by this side of the handshake


async def play_all_changed(port, count, chosen):
    """Beside them a good client gets its page again and again. A session of an older protocol is resumed by some: its ticket is among the bytes that are changed."""
    with socket.create_connection(("127.0.0.1", port), PATIENCE_SECS) as plain:
        with CONTEXTS[0].wrap_socket(plain, server_hostname="p") as client:
            session = client.session
    left = iter(range(count))

    async def some():
        for _ in left:
            await play_changed(port, chosen, session)

    playing = asyncio.gather(*(some() for _ in range(AT_ONCE)))
    while not playing.done():
        await asyncio.to_thread(fetch, port)
        await asyncio.sleep(0.1)
    await playing


def descriptors(pids):
    return [len(os.listdir(f"/proc/{pid}/fd")) for pid in pids]


def main():
    options = argparse.ArgumentParser()
    options.add_argument("--begun", type=int, default=3000)
    options.add_argument("--changed", type=int, default=50000)
    options.add_argument("--seed", type=int, default=1)
    args = options.parse_args()
    wanted = 4 * args.begun + 400
    soft, hard = resource.getrlimit(resource.RLIMIT_NOFILE)
    if soft < wanted:
        resource.setrlimit(resource.RLIMIT_NOFILE, (wanted, max(wanted, hard)))
    with tempfile.TemporaryDirectory(prefix="hotspot-tls-") as name, contextlib.ExitStack() as stack:
        web = servers.start_portal(stack, Path(name) / "portal", f"""
max-connections = {args.begun + 200}
max-connections-per-client = {CLIENTS_OF_AN_ADDRESS + AT_ONCE}
header-timeout = {HEADER_SECS}
""")
        workers = web.workers()
        fetch(web.tls_port)
        before = descriptors(workers)
        begun = time.monotonic()
        pages, longest = asyncio.run(begin_many(web.tls_port, args.begun))
        print(f"{args.begun} handshakes begun and left lying were all ended after {time.monotonic() - begun:.1f} s; "
              f"meanwhile {pages} pages, the longest took {longest * 1000:.0f} ms", flush=True)

        begun = time.monotonic()
        asyncio.run(play_all_changed(web.tls_port, args.changed, random.Random(args.seed)))
        fetch(web.tls_port)
        print(f"{args.changed} connections with changed bytes in {time.monotonic() - begun:.1f} s")
        if web.workers() != workers:
            raise SystemExit(f"a worker ended:\n{servers.text_of(web.output)[-3000:]}")
        # The pool of connections to the manager may have grown by those that were used at once.
        servers.eventually("descriptors are closed",
                           lambda: all(now <= then + 4 for now, then in zip(descriptors(workers), before)))
        web.check()
    return 0


if __name__ == "__main__":
    sys.exit(main())

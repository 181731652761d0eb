#!/usr/bin/env python3
"""The web server is stopped and started again and again under load, or its workers are killed.

restarts.py [--stops N] [--kills N] [--seed S]

Stops: each answer that was begun is whole and the right one, each request that a server took (it is in the access log)
was answered, a TLS connection ends with a goodbye, and of each server no process and no listening socket is left. Kills:
only the connections of the worker that was killed break, another takes its place, and the manager is killed and started
again meanwhile: an answer is the right one, or the one that is given without a manager.
"""

import argparse
import asyncio
import collections
import contextlib
import os
import random
import signal
import socket
import ssl
import sys
import tempfile
import time
from pathlib import Path

import answers
import play
import servers

LARGE_BYTES = 1_000_000
CLIENTS = 25
PATIENCE_SECS = 60
PAGE = b"GET /login HTTP/1.1\r\nHost: p\r\n\r\n"
LAST_PAGE = PAGE[:-2] + b"Connection: close\r\n\r\n"
LARGE = PAGE.replace(b"/login", b"/large.bin")
FORM = (b"POST /login HTTP/1.1\r\nHost: p\r\nContent-Type: application/x-www-form-urlencoded\r\n"
        b"Content-Length: 26\r\n\r\n", b"username=nobody&password=x")

# The pieces of a request, whether it goes through TLS, whether its answer is read slowly.
KINDS = [((PAGE,), False, False), ((LAST_PAGE,), False, False), ((LARGE,), False, True), (FORM, False, False),
         ((PAGE,), True, False), ((LAST_PAGE,), True, False), ((LARGE,), True, True)]


class Broken(Exception):
    """The connection ended: before a byte of an answer, or in the middle of one."""

    def __init__(self, cut):
        super().__init__()
        self.cut = cut


class StrictTls(play.Tls):
    """Knows whether the connection ended with a goodbye."""

    context = play.tls_context()
    context.options &= ~ssl.OP_IGNORE_UNEXPECTED_EOF
    goodbye = False

    async def read(self):
        while True:
            try:
                piece = self.tls.read(65536)
                self.goodbye = not piece
                return piece
            except ssl.SSLWantReadError:
                await self.receive()
            except ssl.SSLError:
                return b""


class Client:
    """Asks again and again, until it is told to stop, from an address of its own."""

    def __init__(self, number, load):
        self.address = f"127.4.0.{1 + number}"
        self.pieces, self.tls, self.slow = KINDS[number % len(KINDS)]
        self.load = load
        self.whole = 0
        self.turned_away = 0
        self.connection = None
        self.port = 0
        self.allowed = []

    async def connect(self):
        plain = socket.socket()
        plain.setblocking(False)
        if self.slow:
            plain.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 32768)
        try:
            plain.bind((self.address, 0))
            self.port = plain.getsockname()[1]
            await asyncio.get_running_loop().sock_connect(plain, self.load.where(self.tls))
            self.connection = (StrictTls if self.tls else play.Plain)(plain)
            await self.connection.begin()
        except (OSError, ssl.SSLError):
            self.connection = None
            plain.close()
            raise Broken(False) from None

    def close(self):
        if self.connection is not None:
            self.connection.connection.close()
        self.connection = None

    async def answer(self):
        """One whole answer, and whether it is the connection's last."""
        data = await self.more(b"")
        while not (found := answers.take(data))[0]:
            data += await self.more(data)
            if self.slow:
                await asyncio.sleep(0.002)
        (answer, *more), rest = found
        if more or rest:
            self.load.problems.append(f"{self.address}: {len(more)} answers and {rest[:60]!r} behind an answer")
        return answer, b"Connection: close\r\n" in answers.HEAD.match(data).group(2)

    async def more(self, data):
        with contextlib.suppress(ConnectionError):
            if piece := await asyncio.wait_for(self.connection.read(), PATIENCE_SECS):
                return piece
        raise Broken(bool(data))

    async def request(self):
        """One request; what was answered."""
        if self.connection is None:
            await self.connect()
        for number, piece in enumerate(self.pieces):
            if number > 0:
                await asyncio.sleep(0.02)
            # The server may have ended the connection; what it said is read all the same.
            with contextlib.suppress(OSError):
                await self.connection.write(piece)
        answer, is_last = await self.answer()
        self.whole += 1
        if is_last:
            with contextlib.suppress(ConnectionError):
                rest = await self.connection.read()
                if rest:
                    self.load.problems.append(f"{self.address}: {rest[:60]!r} behind the last answer")
            if self.tls and not self.connection.goodbye:
                self.load.broken.append((self.address, self.port, "without a goodbye"))
            self.close()
        return answer

    async def learn(self):
        """One request, of a portal that nothing happens to: what it is answered is right."""
        self.allowed.append(await self.request())
        self.close()

    async def run(self):
        while not self.load.over:
            try:
                answer = await self.request()
                if answer not in self.allowed:
                    self.load.problems.append(f"{self.address}: {self.pieces[0][:30]} answered {answer}")
            except Broken as broken:
                self.turned_away += 1
                self.close()
                if broken.cut:
                    self.load.broken.append((self.address, self.port, "in the middle of an answer"))
                elif self.load.killing:
                    self.load.silent.append((self.address, self.port))
                await asyncio.sleep(0.01)
        self.close()


class Load:
    """A portal and all its clients."""

    def __init__(self, stack, directory, chosen, killing):
        self.stack, self.directory, self.chosen, self.killing = stack, directory, chosen, killing
        self.problems, self.broken, self.silent, self.over = [], [], [], False
        self.start_manager()
        (self.manager.pages / "large.bin").write_bytes(b"x" * LARGE_BYTES)
        # An address that nobody else uses: the ports have to be had again after each stop.
        self.address = f"127.{chosen.randint(20, 200)}.{os.getpid() >> 8 & 255}.{os.getpid() & 255 or 1}"
        self.ports = (0, 0)
        self.start()
        self.ports = (self.web.port, self.web.tls_port)
        self.clients = [Client(number, self) for number in range(CLIENTS)]

    def start_manager(self):
        self.manager = servers.start_manager(self.stack, self.directory / "manager")

    def start(self):
        self.web = servers.HotspotWeb(self.stack, self.directory / "web", servers.BUILD / "lib/hotspot.so",
                                      self.manager.web_settings, address=self.address, ports=self.ports)

    def where(self, tls):
        return (self.address, self.ports[1] if tls else self.ports[0])

    def listening(self):
        """Whether any process still has one of the ports."""
        wanted = {f"{port:04X}" for port in self.ports}
        rows = [row.split() for row in servers.text_of("/proc/net/tcp").split("\n")[1:-1]]
        number = "".join(f"{int(part):02X}" for part in reversed(self.address.split(".")))
        return any(row[3] == "0A" and row[1].split(":")[0] == number and row[1].split(":")[1] in wanted
                   for row in rows)

    async def stop_and_start(self, held):
        pid, workers = self.web.process.pid, self.web.workers()
        if held:
            os.kill(self.manager.process.pid, signal.SIGSTOP)
            await asyncio.sleep(0.03)
        self.web.process.send_signal(signal.SIGTERM)
        if held:
            await asyncio.sleep(0.1)
            os.kill(self.manager.process.pid, signal.SIGCONT)
        end = time.monotonic() + PATIENCE_SECS
        while self.web.running() and time.monotonic() < end:
            await asyncio.sleep(0.005)
        log = servers.text_of(self.web.output)
        if self.web.process.poll() != 0 or "unfinished" in log or "is killed" in log:
            self.problems.append(f"stopped with status {self.web.process.poll()}:\n{log}")
        left = [each for each in (pid, *workers) if os.path.exists(f"/proc/{each}")]
        if left or self.listening():
            self.problems.append(f"after a stop processes {left} or sockets were left")
        self.web.stop()
        await asyncio.to_thread(self.start)

    async def stops(self, count):
        for number in range(count):
            await asyncio.sleep(self.chosen.uniform(0.05, 0.3))
            await self.stop_and_start(held=number % 3 == 2)

    def connections_of(self, pid):
        """The clients' ends of a process's connections, as (address, port)."""
        inodes = set()
        for number in os.listdir(f"/proc/{pid}/fd"):
            with contextlib.suppress(OSError):
                inodes.add(os.readlink(f"/proc/{pid}/fd/{number}"))
        found = set()
        for row in servers.text_of("/proc/net/tcp").split("\n")[1:-1]:
            fields = row.split()
            if f"socket:[{fields[9]}]" in inodes:
                address, port = fields[2].split(":")
                found.add((socket.inet_ntoa(bytes.fromhex(address)[::-1]), int(port, 16)))
        return found

    async def kills(self, count):
        self.lost = set()
        for number in range(count):
            await asyncio.sleep(self.chosen.uniform(0.05, 0.3))
            workers = self.web.workers()
            victim = self.chosen.choice(workers)
            # Standing still it takes no more connections while they are looked at.
            os.kill(victim, signal.SIGSTOP)
            while ") T " not in servers.text_of(f"/proc/{victim}/stat"):
                await asyncio.sleep(0.001)
            self.lost |= self.connections_of(victim)
            os.kill(victim, signal.SIGKILL)
            if number % 5 == 4:
                self.manager.process.kill()
                self.manager.process.wait()
                await asyncio.to_thread(self.start_manager)
            replaced = time.monotonic() + PATIENCE_SECS
            while len(self.web.workers()) < 2 or victim in self.web.workers():
                if time.monotonic() > replaced:
                    raise SystemExit("nobody took a killed worker's place")
                await asyncio.sleep(0.01)

    async def learn(self):
        """What each client may be answered."""
        for client in self.clients:
            await client.learn()
        if self.killing:
            self.manager.stop()
            for client in self.clients:
                await client.learn()
                client.allowed.append(answers.late(client.allowed[-1]))
            await asyncio.to_thread(self.start_manager)

    async def run(self, task):
        await self.learn()
        clients = [asyncio.create_task(client.run()) for client in self.clients]
        await task
        self.over = True
        await asyncio.gather(*clients)
        self.web.stop()

    def check(self):
        """What holds when all is over."""
        whole = sum(client.whole for client in self.clients)
        if self.killing:
            strangers = [one for one in self.broken if one[:2] not in self.lost]
            strangers += [one for one in self.silent if one not in self.lost]
            self.problems += [f"broke without a reason: {one}" for one in strangers[:10]]
            print(f"{whole} whole answers; {len(self.broken) + len(self.silent)} connections broke, "
                  f"{len(self.lost)} were a killed worker's")
            return
        self.problems += [f"broke: {one}" for one in self.broken[:10]]
        taken = collections.Counter(line.split(" ")[1] for line in
                                    servers.text_of(self.directory / "web/access.log").split("\n")[:-1])
        for client in self.clients:
            if taken[client.address] != client.whole:
                self.problems.append(f"{client.address}: {taken[client.address]} requests were taken, "
                                     f"{client.whole} answered, of {client.pieces[0][:30]}")
        print(f"{whole} whole answers, none cut; "
              f"{sum(client.turned_away for client in self.clients)} times turned away without a byte")


def play_out(stack, directory, chosen, kills, count):
    directory.mkdir()
    load = Load(stack, directory, chosen, kills)
    begun = time.monotonic()
    asyncio.run(load.run(load.kills(count) if kills else load.stops(count)))
    load.check()
    print(f"{count} times {'a worker killed' if kills else 'stopped'} in {time.monotonic() - begun:.0f} s", flush=True)
    return load.problems


def main():
    options = argparse.ArgumentParser()
    options.add_argument("--stops", type=int, default=60)
    options.add_argument("--kills", type=int, default=25)
    options.add_argument("--seed", type=int, default=1)
    args = options.parse_args()
    chosen = random.Random(args.seed)
    problems = []
    with tempfile.TemporaryDirectory(prefix="hotspot-restarts-") as name, contextlib.ExitStack() as stack:
        problems += play_out(stack, Path(name) / "stops", chosen, False, args.stops)
        problems += play_out(stack, Path(name) / "kills", chosen, True, args.kills)
    print("\n".join(problems))
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())

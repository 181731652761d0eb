"""Plays requests against a server, all at the same time, each from an address of its own."""

import asyncio
import contextlib
import socket
import ssl
from dataclasses import dataclass

AT_ONCE = 48
PAUSE_SECS = 0.03
WORD_SECS = 4  # how long a client waits for a word before it goes on
PATIENCE_SECS = 90  # longer than any server here waits for a silent client


@dataclass
class Played:
    client: str  # the address that the requests came from
    answer: bytes
    ended: bool  # the server closed the connection


def address(number):
    """The loopback address of one entry, by which it is found in a server's log."""
    return f"127.{1 + number // 50000}.{number // 250 % 200}.{1 + number % 250}"


class Plain:
    """The bytes of a connection as they are."""

    def __init__(self, connection):
        self.connection = connection
        self.loop = asyncio.get_running_loop()

    async def begin(self):
        pass

    async def read(self):
        return await self.loop.sock_recv(self.connection, 65536)

    async def write(self, data):
        await self.loop.sock_sendall(self.connection, data)

    async def end(self):
        """Nothing more will be written; reading goes on."""
        self.connection.shutdown(socket.SHUT_WR)


def tls_context():
    """Of a client that believes any certificate."""
    context = ssl.create_default_context()
    context.check_hostname = False
    context.verify_mode = ssl.CERT_NONE
    return context



class Tls(Plain):
    """The same through TLS, a record for each write."""

    context = tls_context()

    def __init__(self, connection):
        super().__init__(connection)
        self.received, self.to_send = ssl.MemoryBIO(), ssl.MemoryBIO()
        self.tls = self.context.wrap_bio(self.received, self.to_send, server_hostname="p")

    async def flush(self):
        if data := self.to_send.read():
            await super().write(data)

    async def receive(self):
        if data := await super().read():
            self.received.write(data)
        else:
            self.received.write_eof()

    async def begin(self):
        while True:
            try:
                self.tls.do_handshake()
                return await self.flush()
            except ssl.SSLWantReadError:
                await self.flush()
                await self.receive()

    async def read(self):
        while True:
            try:
                return self.tls.read(65536)
            except ssl.SSLWantReadError:
                await self.receive()
            except (ssl.SSLZeroReturnError, ssl.SSLEOFError):
                return b""

    async def write(self, data):
        self.tls.write(data)
        await self.flush()

    async def end(self):
        with contextlib.suppress(ssl.SSLWantReadError):
            self.tls.unwrap()
        await self.flush()


async def read_all(connection, said):
    pieces = []
    try:
        while piece := await connection.read():
            pieces.append(piece)
            said.set()
    except ConnectionError:
        pass
    said.set()
    return b"".join(pieces)


async def send_all(connection, entry, said, bytewise):
    for gap, piece in zip(["", *entry.gaps], entry.sent()):
        if gap == "~":
            await asyncio.sleep(PAUSE_SECS)
        elif gap == "?":
            with contextlib.suppress(TimeoutError):
                await asyncio.wait_for(said.wait(), WORD_SECS)
        if not bytewise:
            if piece:
                await connection.write(piece)
            continue
        for at in range(len(piece)):
            await connection.write(piece[at:at + 1])
            await asyncio.sleep(0)


async def play_one(port, entry, client, bytewise, through):
    with socket.socket() as plain:
        plain.setblocking(False)
        plain.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        plain.bind((client, 0))
        await asyncio.get_running_loop().sock_connect(plain, ("127.0.0.1", port))
        connection = through(plain)
        await connection.begin()
        said = asyncio.Event()
        reading = asyncio.create_task(read_all(connection, said))
        try:
            await send_all(connection, entry, said, bytewise or "bytes" in entry.how)
            if "stay" not in entry.how:
                await connection.end()
        except OSError:
            pass  # the server closed first; what it said is read all the same
        done, _ = await asyncio.wait([reading], timeout=PATIENCE_SECS)
        if not done:
            reading.cancel()
            return Played(client, b"", False)
        return Played(client, reading.result(), True)


async def play_all(port, entries, first_address, bytewise=False, through=Plain):
    """name -> Played."""
    places = asyncio.Semaphore(AT_ONCE)

    async def play(number, entry):
        async with places:
            return await play_one(port, entry, address(first_address + number), bytewise, through)

    played = await asyncio.gather(*(play(*each) for each in enumerate(entries)))
    return {entry.name: one for entry, one in zip(entries, played)}

"""Plays requests against a server, all at the same time, each from an address of its own."""

import asyncio
import contextlib
import socket
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


async def read_all(loop, connection, said):
    pieces = []
    try:
        while piece := await loop.sock_recv(connection, 65536):
            pieces.append(piece)
            said.set()
    except ConnectionError:
        pass
    said.set()
    return b"".join(pieces)


async def send_all(loop, connection, entry, said, bytewise):
    for gap, piece in zip(["", *entry.gaps], entry.sent()):
        if gap == "~":
            await asyncio.sleep(PAUSE_SECS)
        elif gap == "?":
            with contextlib.suppress(TimeoutError):
                await asyncio.wait_for(said.wait(), WORD_SECS)
        if not bytewise:
            await loop.sock_sendall(connection, piece)
            continue
        for at in range(len(piece)):
            await loop.sock_sendall(connection, piece[at:at + 1])
            await asyncio.sleep(0)


async def play_one(port, entry, client, bytewise):
    loop = asyncio.get_running_loop()
    with socket.socket() as connection:
        connection.setblocking(False)
        connection.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        connection.bind((client, 0))
        await loop.sock_connect(connection, ("127.0.0.1", port))
        said = asyncio.Event()
        reading = asyncio.create_task(read_all(loop, connection, said))
        try:
            await send_all(loop, connection, entry, said, bytewise or "bytes" in entry.how)
            if "stay" not in entry.how:
                connection.shutdown(socket.SHUT_WR)
        except OSError:
            pass  # the server closed first; what it said is read all the same
        done, _ = await asyncio.wait([reading], timeout=PATIENCE_SECS)
        if not done:
            reading.cancel()
            return Played(client, b"", False)
        return Played(client, reading.result(), True)


async def play_all(port, entries, first_address, bytewise=False):
    """name -> Played."""
    places = asyncio.Semaphore(AT_ONCE)

    async def play(number, entry):
        async with places:
            return await play_one(port, entry, address(first_address + number), bytewise)

    played = await asyncio.gather(*(play(*each) for each in enumerate(entries)))
    return {entry.name: one for entry, one in zip(entries, played)}

"""One request, or some, over a connection of their own; everything that was answered to them."""

import contextlib
import os
import signal
import socket
import ssl
import time

import play

PATIENCE_SECS = 30
CONTEXT = play.tls_context()


def read_answer(client):
    """What came until the connection ended."""
    data = b""
    with contextlib.suppress(ConnectionError, ssl.SSLError):
        while piece := client.recv(65536):
            data += piece
    return data


def ask(web, pieces, tls=False, held=None, late=False, address=""):
    """Sends the pieces, each when what the one before sets going has begun, and reads to the end. Nothing when that does
    not come. `held` is a process that stands still meanwhile, `address` the client's."""
    with socket.socket() as plain:
        plain.settimeout(PATIENCE_SECS)
        if late:
            plain.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 65536)
        if address:
            plain.bind((address, 0))
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
                return read_answer(client)
        except TimeoutError:
            return None
        except (ConnectionError, ssl.SSLError):
            return b""


def get(path, host="p", more=""):
    return f"GET {path} HTTP/1.1\r\nHost: {host}\r\nConnection: close\r\n{more}\r\n".encode()


def post(path, body, length=None, more=""):
    head = (f"POST {path} HTTP/1.1\r\nHost: p\r\nConnection: close\r\n{more}"
            f"Content-Type: application/x-www-form-urlencoded\r\nContent-Length: {length or len(body)}\r\n\r\n")
    return [head.encode(), body.encode()]

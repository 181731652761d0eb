"""Answers taken apart, and made comparable with the same page asked for at another moment."""

import re
from typing import NamedTuple

HEAD = re.compile(rb"HTTP/1\.1 (\d{3}) [^\r]*\r\n((?:[^\r]+\r\n)*)\r\n")
LENGTH = re.compile(rb"(?im)^content-length: *(\d+)\r$")
# What differs each time: the bytes of a challenge, how long a session has been there, a login's cookie.
CHALLENGE = re.compile(rb"(\\|%5C)\d{3}")
CUT_CHALLENGE = re.compile(rb"(?:\\\d{0,2}|%(?:5(?:C\d{0,2})?)?)\Z")
TIME = re.compile(rb"\b(?:\d+[wdhms])+\b")
SECONDS = re.compile(rb'\bdata-seconds="\d+"')
COOKIE = re.compile(rb"loginID=[1-9]\d*; expires=[^;]+")
# Fields that belong to the answer itself; the others to the moment or to the connection.
FIELDS = re.compile(rb"(?im)^(?:location|content-type|cache-control|set-cookie|retry-after): [^\r]*")

REASONS = {400: "Bad Request", 404: "Not Found", 500: "Internal Server Error", 503: "Service Unavailable"}


class Answer(NamedTuple):
    """Two are equal when they say the same."""

    status: int
    fields: tuple
    body: bytes

    def __str__(self):
        title = re.search(rb"<title>([^<]*)", self.body)
        shown = title.group(1) if title else self.body[:60]
        return f"{self.status} {shown.decode('utf-8', 'replace')!r} ({len(self.body)} bytes)"


def comparable(body):
    return SECONDS.sub(b"", TIME.sub(b"0s", CHALLENGE.sub(rb"\g<1>000", body)))


def is_begun(data, whole):
    """Whether these bytes, which are no whole answer, may be the beginning of that one."""
    head = HEAD.match(data)
    if head is None:
        line = b"HTTP/1.1 %d " % whole.status
        return data[:len(line)] == line[:len(data)]
    body = comparable(CUT_CHALLENGE.sub(b"", data[head.end():]))
    return int(head.group(1)) == whole.status and whole.body.startswith(body)


def fields_of(status, head):
    # What was said before the page failed stays.
    return tuple(COOKIE.sub(b"loginID=1", each) for each in sorted(FIELDS.findall(head))
                 if status < 400 or not each.startswith((b"Cache-Control", b"Location")))


def take(data):
    """The whole answers that the bytes begin with, but for those that announce others, and the bytes behind them."""
    found = []
    while head := HEAD.match(data):
        status = int(head.group(1))
        length = LENGTH.search(head.group(2))
        size = int(length.group(1)) if length else 0
        if len(data) < head.end() + size:
            break
        body, data = data[head.end():head.end() + size], data[head.end() + size:]
        if status >= 200:
            found.append(of(head, body))
    return found, data


def of(head, body):
    """An answer, of the match of its head."""
    status = int(head.group(1))
    return Answer(status, fields_of(status, head.group(2)), comparable(body))


def standard(status, text=""):
    """The web server's own page for a status."""
    title = f"{status} {REASONS[status]}"
    said = f"<p>{text}</p>\n" if text else ""
    fields = (b"Content-Type: text/html",) + ((b"Retry-After: 5",) if status == 503 else ())
    return Answer(status, fields, f"<!DOCTYPE html>\n<html><head><title>{title}</title></head>\n"
                                  f"<body><h1>{title}</h1>\n{said}</body></html>\n".encode())


# How a page that tells of a manager that cannot be reached differs from that of one that does not answer in time.
LATE = ((b"is out of order at the moment.", b"takes too long to answer."), (b"Try again a little later", b"Try again in a moment"),
        (b"manager is not reachable", b"manager did not answer in time"))


def late(answer):
    body = answer.body
    for unreachable, silent in LATE:
        body = body.replace(unreachable, silent)
    return answer._replace(body=body)

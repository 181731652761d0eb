"""Makes a verdict of what a server answered and logged: which requests it saw, which it refused and how.

A verdict is a list of items: "200 GET /a?x" for a request that was taken for one (with "@host" when that is
not "p", and its body where the server tells it), "400" for one that was refused, "100" for an interim answer,
"none" when the connection ended without an answer. Equal neighbours are counted: "3 x 200 GET /a".
"""

import re
from collections import defaultdict
from dataclasses import dataclass
from itertools import groupby

from servers import text_of

# What a static server says of a request that it understood.
UNDERSTOOD = {"200", "206", "301", "302", "304", "403", "404", "405", "412", "416"}
STRING = r'"((?:[^"\\]|\\.)*)"'
LONG = 60


@dataclass
class Seen:
    """One request as a server logged it."""
    status: str
    method: str = ""
    path: str = ""
    query: str = ""
    host: str = ""
    body: str = ""
    taken: bool = False
    answered: bool = True


def readable(text):
    """Characters below 256 as printable ASCII; a long text as its beginning and its length."""
    out = "".join(c if " " <= c <= "~" and c not in '\\"' else f"\\x{ord(c):02x}" for c in text)
    return out if len(out) <= LONG else f"{out[:20]}...({len(text)} bytes)"


JSON_ESCAPES = {"n": "\n", "t": "\t", "r": "\r", "b": "\b", "f": "\f"}


def unescape(text):
    """The characters that a log's escapes stand for."""
    def one(found):
        code = found.group(1)
        if code[0] in "ux" and len(code) > 1:
            return chr(int(code[1:], 16))
        return JSON_ESCAPES.get(code, code)
    return re.sub(r"\\(u00[0-9a-fA-F]{2}|x[0-9a-fA-F]{2}|.)", one, text)


def host_of(text):
    """Host without port, letter case and final dot: what differs there is no other host."""
    host = re.sub(r":\d*$", "", text).lower()
    return host.removesuffix(".") or "-"


def reference_log(path):
    """client -> [Seen] of nginx's and lighttpd's logs, which have the same fields."""
    seen = defaultdict(list)
    line_form = re.compile(r"(\S+) " + " ".join([STRING] * 6))
    for line in text_of(path).split("\n")[:-1]:
        found = line_form.fullmatch(line)
        if found is None:
            raise SystemExit(f"{path}: cannot read {line!r}")
        client = found.group(1)
        status, request, uri, query, host, sent = map(unescape, found.groups()[1:])
        seen[client].append(Seen(status, request.split(" ")[0], uri, query.removeprefix("?"),
                                 host_of(host), taken=status in UNDERSTOOD,
                                 answered=sent not in ("0", "-")))
    return seen


def hotspot_log(path):
    """client -> [Seen] of hotspot-web's access log; what the module saw is in the answers."""
    seen = defaultdict(list)
    line_form = re.compile(r"\S+ (\S+) https? " + STRING + r" (\d+|-) \d+ \d+us")
    for line in text_of(path).split("\n")[:-1]:
        found = line_form.fullmatch(line)
        if found is None:
            raise SystemExit(f"{path}: cannot read {line!r}")
        client, request, status = found.groups()
        seen[client].append(Seen(status, unescape(request.split(" ")[0])))
    return seen


def answers_of(data, seen):
    """[(status, head, number of interim answers before it)], as far as `data` can be read."""
    answers, interim = [], 0
    while found := re.match(rb"HTTP/1\.[01] (\d{3})[^\r]*\r\n(.*?\r\n)??\r\n", data, re.S):
        head = (found.group(2) or b"").decode("latin-1")
        data = data[found.end():]
        status = found.group(1).decode()
        if status.startswith("1"):
            interim += 1
            continue
        method = seen[len(answers)].method if len(answers) < len(seen) else ""
        length = re.search(r"^content-length: (\d+)\r$", head, re.I | re.M)
        if length and method != "HEAD" and status not in ("204", "304"):
            data = data[int(length.group(1)):]
        answers.append((status, head, interim))
        interim = 0
    return answers


def item(one):
    if not one.taken:
        return one.status
    text = f"{one.status} {readable(one.method)} {readable(one.path)}"
    if one.query:
        text += "?" + readable(one.query)
    if one.host != "p":
        text += " @" + readable(one.host)
    if one.body:
        text += " body=" + readable(one.body)
    return text


def joined(items):
    groups = [(text, len(list(same))) for text, same in groupby(items)]
    return ", ".join(f"{n} x {text}" if n > 1 else text for text, n in groups) or "none"


def verdict(name, played, seen):
    """The verdict of one entry; `seen` is what the log has of its client."""
    if not played.ended:
        return "no end"
    if played.answer and not played.answer.startswith(b"HTTP/1."):
        return joined(["bare " + item(one) for one in seen if one.answered])
    answers = answers_of(played.answer, seen)
    if len(answers) > len(seen):
        raise SystemExit(f"{name}: {len(answers)} answers, {len(seen)} logged: {played.answer!r}")
    items = []
    for number, one in enumerate(seen):
        if number < len(answers):
            status, head, interim = answers[number]
            if status != one.status:
                raise SystemExit(f"{name}: answered {status}, logged {one.status}")
            items += ["100"] * interim
            told = re.search(r"^X-Seen: " + " ".join([STRING] * 4) + r"\r$", head, re.M)
            if told:
                one.path, one.query, host, one.body = map(unescape, told.groups())
                one.host, one.taken = host_of(host), True
            length = re.search(r"^X-Length: (\d+)\r$", head, re.M)
            if length and length.group(1) != "0":
                one.body = f"({length.group(1)} bytes)"
        elif not one.answered:
            continue
        items.append(item(one))
    return joined(items)


def compared(text):
    """What of a verdict is compared between servers: not the status of a request that was taken, which is
    the page's matter, and not the body, which a static server does not tell."""
    parts = []
    for part in text.split(", "):
        part = re.sub(r"^(\d+ x )?(bare )?\d{3} (?=\S)(?!x )", r"\1\2", part)
        parts.append(re.sub(r" body=.*", "", part))
    return parts

"""Reads and writes the files of requests/ and verdicts/ (README.md has their form)."""

import re
from dataclasses import dataclass, field
from pathlib import Path

HOWS = {"bytes", "alone", "stay"}
ESCAPES = {"r": b"\r", "n": b"\n", "t": b"\t", "0": b"\0", "\\": b"\\", "{": b"{"}
TOKEN = re.compile(r"\\x([0-9a-f]{2})|\\([rnt0\\{])|\{((?:[^{}\\]|\\.)*)\*(\d+)\}|([^\\{])")
NEXT = b"GET /next HTTP/1.1\r\nHost: p\r\n\r\n"


@dataclass
class Entry:
    name: str
    how: set
    pieces: list = field(default_factory=lambda: [b""])
    gaps: list = field(default_factory=list)  # "~" or "?" between two pieces

    def data(self):
        return b"".join(self.pieces)

    def sent(self):
        """What goes out: the pieces, and the request that shows where the last one ended."""
        pieces = list(self.pieces)
        if "alone" not in self.how:
            pieces[-1] += NEXT
        return pieces


def decode(text, where):
    out, at = [], 0
    while at < len(text):
        token = TOKEN.match(text, at)
        if token is None:
            raise SystemExit(f"{where}: cannot read {text[at:]!r}")
        code, escape, repeated, times, plain = token.groups()
        if code is not None:
            out.append(bytes.fromhex(code))
        elif escape is not None:
            out.append(ESCAPES[escape])
        elif repeated is not None:
            out.append(decode(repeated, where) * int(times))
        else:
            out.append(plain.encode("ascii"))
        at = token.end()
    return b"".join(out)


def read_requests(folder):
    """All entries of a folder's files, by name, in their order."""
    entries, same_as = {}, {}
    for path in sorted(Path(folder).glob("*.txt")):
        entry = None
        for number, line in enumerate(path.read_text("ascii").splitlines(), 1):
            where = f"{path.name}:{number}"
            if not line or line.startswith("#"):
                continue
            if line.startswith("== "):
                name, _, how = line[3:].partition(" | ")
                entry = Entry(name, set(how.split(", ")) if how else set())
                if name in entries or not name.startswith(path.stem + ".") or entry.how - HOWS:
                    raise SystemExit(f"{where}: a name twice, of another file, or an unknown way")
                entries[name] = entry
            elif line in ("~", "?"):
                entry.pieces.append(b"")
                entry.gaps.append(line)
            elif line.startswith("@"):
                same_as[name] = (line[1:], where)
            elif line == ">" or line.startswith("> "):
                text, end = line[2:], b"\r\n"
                if re.search(r"(?<!\\)(\\\\)*\\$", text):
                    text, end = text[:-1], b""
                entry.pieces[-1] += decode(text, where) + end
            else:
                raise SystemExit(f"{where}: neither a name nor a line of a request: {line!r}")
    for name, (other, where) in same_as.items():
        if other not in entries:
            raise SystemExit(f"{where}: no request {other!r}")
        entries[name].pieces, entries[name].gaps = entries[other].pieces, entries[other].gaps
    return entries


def read_verdicts(folder):
    """name -> {who: verdict}; "why" is among them where there is an explanation."""
    records = {}
    for path in sorted(Path(folder).glob("*.txt")):
        record = None
        for number, line in enumerate(path.read_text("ascii").splitlines(), 1):
            if not line or line.startswith("#"):
                continue
            if line.startswith("== "):
                if line[3:] in records:
                    raise SystemExit(f"{path.name}:{number}: {line[3:]} is there twice")
                record = records.setdefault(line[3:], {})
            else:
                who, _, verdict = line.partition(" ")
                record[who] = verdict.strip()
    return records

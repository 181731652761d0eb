#!/usr/bin/env python3
"""Plays requests/ against hotspot-web, nginx and lighttpd and compares what each made of them with verdicts/.

verdicts_test.py [--record] [--only PREFIX]; --record writes down what was seen, and keeps the explanations.
"""

import argparse
import asyncio
import contextlib
import re
import sys
import tempfile
import time
from pathlib import Path

import play
import servers
import verdicts
from requests_file import read_requests, read_verdicts

HERE = Path(__file__).parent
WHO = ("hotspot", "portal", "nginx", "lighttpd")
# hotspot-web's other readings of the same requests, and whose verdict each has to repeat.
AGAIN = {"a byte at a time": "hotspot", "over TLS": "hotspot", "the portal over TLS": "portal"}
# Longer ones would take too long a byte at a time.
BYTEWISE_LIMIT = 1500
# Seconds after which the servers give a silent client up: one that will say more, and one that will not.
PATIENT_SECS, HASTY_SECS = 60, 4
# Whether "100 Continue" is due, and whether a body that nobody reads is there when the answer goes out.
DEPENDS_ON_PIECES = re.compile(rb"Expect:|/unread")


def versions():
    return {"nginx": servers.version(servers.NGINX, r"nginx/[\d.]+"),
            "lighttpd": servers.version(servers.LIGHTTPD, r"lighttpd/[\d.]+")}


class Fleet:
    """The four servers, with one time-out for silent clients."""

    def __init__(self, stack, directory, timeout_secs):
        directory.mkdir()
        settings = servers.timeouts(timeout_secs)
        self.directory = directory
        self.servers = {
            "hotspot": servers.start_seen(stack, directory / "seen", settings),
            "portal": servers.start_portal(stack, directory / "portal", settings),
            "nginx": servers.start_nginx(stack, directory / "nginx", timeout_secs),
            "lighttpd": servers.start_lighttpd(stack, directory / "lighttpd", timeout_secs),
        }

    async def play(self, entries, small):
        """Plays `entries` against all, and `small` a byte at a time against hotspot-web."""
        plays = [play.play_all(self.servers[who].port, entries, 0) for who in WHO]
        plays.append(play.play_all(self.servers["hotspot"].port, small, 10000, bytewise=True))
        plays += [play.play_all(self.servers[who].tls_port, entries, 20000, through=play.Tls)
                  for who in WHO[:2]]
        self.played = dict(zip((*WHO, *AGAIN), await asyncio.gather(*plays)))
        for server in self.servers.values():
            server.check()

    def verdicts(self):
        """who -> {name: verdict}. REQUIRES: the servers have ended, so that their logs are whole."""
        seen = {who: verdicts.hotspot_log(self.servers[who].access_log) for who in WHO[:2]}
        seen |= {who: verdicts.reference_log(self.directory / who / "access.log") for who in WHO[2:]}
        seen |= {again: seen[who] for again, who in AGAIN.items()}
        for results in self.played.values():
            for name, one in results.items():
                if servers.SECRET.encode() in one.answer:
                    sys.exit(f"{name}: a file outside of the page directory was served")
        return {who: {name: verdicts.verdict(f"{name} {who}", one, seen[who][one.client])
                      for name, one in results.items()}
                for who, results in self.played.items()}


async def play_fleets(patient, hasty, entries):
    small = [one for one in entries
             if len(one.data()) <= BYTEWISE_LIMIT and not one.how & {"bytes", "alone"}
             and not DEPENDS_ON_PIECES.search(one.data())]
    await asyncio.gather(patient.play([one for one in entries if "stay" not in one.how], small),
                         hasty.play([one for one in entries if "stay" in one.how], []))


def gather(entries):
    """who -> {name: verdict} for the four servers, and hotspot-web's again for each of AGAIN."""
    with tempfile.TemporaryDirectory(prefix="hotspot-http-") as name:
        with contextlib.ExitStack() as stack:
            patient = Fleet(stack, Path(name) / "patient", PATIENT_SECS)
            hasty = Fleet(stack, Path(name) / "hasty", HASTY_SECS)
            asyncio.run(play_fleets(patient, hasty, entries))
        found, more = patient.verdicts(), hasty.verdicts()
        return {who: found[who] | more[who] for who in found}


def differs(record):
    return len({tuple(verdicts.compared(record[who])) for who in ("hotspot", "nginx", "lighttpd")}) > 1


def check_hotspot(name, found):
    """What holds of hotspot-web's verdicts whatever was written down."""
    for how, who in AGAIN.items():
        seen = found[who][name]
        again = found[how].get(name, seen)
        if again != seen:
            yield f"{name}: {who}'s verdict is {seen!r}, {how} {again!r}"


def check(name, record, found, known):
    if not record:
        yield f"{name}: no verdict is written down; verdicts_test.py --record"
        return
    for who in WHO:
        now, then = found[who][name], record.get(who)
        if now != then:
            whose = (f"the verdict of {known[who]}, which is not ours to mend," if who in known else
                     {"hotspot": "hotspot-web's verdict", "portal": "the portal's answer"}[who])
            yield f"{name}: {whose} was {then!r} and is now {now!r}"
    if differs(record) and "why" not in record:
        yield f"{name}: the servers differ and no line says why"
    if not differs(record) and "why" in record:
        yield f"{name}: the servers agree, and a line explains a difference"


def look_again(entries, records, found):
    """On a busy machine a reference may give a client up between two of its pieces. Entries of which nginx or
    lighttpd made something else than written down are played once more, by themselves, and that counts;
    hotspot-web's verdicts have to be right at once. Returns how many there were."""
    doubtful = [one for one in entries if one.name in records
                and any(found[who][one.name] != records[one.name].get(who) for who in WHO[2:])]
    if doubtful:
        second = gather(doubtful)
        for one in doubtful:
            for who in WHO[2:]:
                if found[who][one.name] != records[one.name].get(who):
                    print(f"{one.name}: {who}: {found[who][one.name]!r}, by itself {second[who][one.name]!r}")
                    found[who][one.name] = second[who][one.name]
    return len(doubtful)


def write(entries, found, records):
    """Writes verdicts/ anew: a file for each of requests/."""
    texts = {}
    for entry in entries:
        name = entry.name
        lines = texts.setdefault(name.split(".")[0], [])
        record = {who: found[who][name] for who in WHO}
        why = records.get(name, {}).get("why")
        lines.append(f"\n== {name}")
        lines += [f"{who:<8} {record[who]}" for who in WHO]
        if differs(record):
            lines.append(f"why      {why}" if why else "# why is not written down yet")
        elif why:
            print(f"{name}: the servers agree; dropped: {why}")
    for stem, lines in texts.items():
        (HERE / "verdicts" / f"{stem}.txt").write_text("\n".join(lines).lstrip("\n") + "\n")


def main():
    options = argparse.ArgumentParser()
    options.add_argument("--record", action="store_true")
    options.add_argument("--only", default="", help="entries whose name begins so")
    args = options.parse_args()
    entries = list(read_requests(HERE / "requests").values())
    records = read_verdicts(HERE / "verdicts")
    known = versions()
    begun = time.monotonic()
    played = [one for one in entries if one.name.startswith(args.only)]
    found = gather(played)
    if args.record:
        write(played, found, records)
        (HERE / "verdicts/versions").write_text("".join(f"{v}\n" for v in known.values()))
        return 0

    problems = []
    written = (HERE / "verdicts/versions").read_text("ascii").split()
    if written != list(known.values()):
        print(f"verdicts were written down with {written}, these are {list(known.values())}")
    doubtful = look_again(played, records, found)
    for entry in played:
        problems += check_hotspot(entry.name, found)
        problems += check(entry.name, records.get(entry.name), found, known)
    problems += [f"{name}: a verdict without a request"
                 for name in records.keys() - {one.name for one in entries}]
    for problem in problems:
        print(problem)
    print(f"{len(played)} requests, {doubtful} of them once more, {len(problems)} problems, "
          f"{sum('why' in record for record in records.values())} differences explained, "
          f"{time.monotonic() - begun:.1f} s")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())

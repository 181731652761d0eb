"""A program whose Nth call of a kind fails (failing_calls.cc), several of them side by side, and their command line."""

import argparse
import collections
import contextlib
import errno
import functools
import itertools
import mmap
import multiprocessing
import os
import queue
import random
import shutil
import struct
import tempfile
import time
import traceback
from pathlib import Path
from typing import NamedTuple

FOREVER = 1 << 30
# What does not meet a call so many times does not make it.
CALLS_IT_NOT = 6


class Plan:
    """Which call fails; failing_calls.cc has the same fields."""

    FORM = "iIIiII40s"

    def __init__(self, directory):
        self.library = directory / "failing_calls.so"
        shutil.copy(os.environ["HOTSPOT_FAILING_CALLS"], self.library)
        self.path = directory / "plan"
        self.path.write_bytes(bytes(struct.calcsize(self.FORM)))
        with open(self.path, "r+b") as file:
            self.memory = mmap.mmap(file.fileno(), 0)

    def environment(self):
        """What a program needs to follow the plan. A path with a blank would be two for the loader: the temporary
        directory has none."""
        return {"LD_PRELOAD": str(self.library), "FAILING_CALLS": str(self.path),
                "ASAN_OPTIONS": "verify_asan_link_order=0:allocator_may_return_null=1"}

    def set(self, call, error, first, count, process):
        # The place last: it is what makes the plan one.
        self.clear()
        struct.pack_into("iI", self.memory, 0, getattr(errno, error), 0)
        struct.pack_into("IiII40s", self.memory, 8, count, process, 0, 0, call.encode())
        struct.pack_into("I", self.memory, 4, first)

    def clear(self):
        struct.pack_into("I", self.memory, 4, 0)

    def seen(self):
        return struct.unpack_from("I", self.memory, 16)[0]

    def failed(self):
        return struct.unpack_from("I", self.memory, 20)[0]


def every_place(attempt, errors, counts):
    """The first call of a kind fails, then the second, ...: until so many are not made. attempt(error, first, count)
    tells whether one failed. How many there were."""
    tried = attempts = 0
    for error in errors:
        for count in counts:
            first, missed = 1, 0
            # Once more: how many there are is a matter of moments, of a wait for one.
            while missed < 2:
                failed = attempt(error, first, count)
                missed = 0 if failed else missed + 1
                first += bool(failed)
                tried += bool(failed)
                attempts += 1
            if not tried and attempts >= CALLS_IT_NOT:
                return 0
    return tried


def some_places(attempt, calls, errors, counts, most, chosen):
    """attempt(error, first, count) at no more than `most` places, of so many calls. How many failed."""
    places = list(itertools.product(errors, range(1, calls + 1), counts))
    return sum(attempt(*place) for place in chosen.sample(places, min(most, len(places))))


def side_by_side(jobs, units, work):
    """Yields what the units came to, as pairs of a unit and its result, in the order in which they are done.

    work(directory, units) yields such pairs too, in one of so many processes, each with a directory of its own."""
    tasks, results = multiprocessing.Queue(), multiprocessing.Queue()
    for index in range(len(units)):
        tasks.put(index)

    def taken():
        with contextlib.suppress(queue.Empty):
            while True:
                yield units[tasks.get(timeout=1)]

    def run():
        try:
            with tempfile.TemporaryDirectory(prefix="hotspot-calls-") as name:
                for unit, result in work(Path(name), taken()):
                    results.put((unit, result))
            results.put(None)
        except BaseException:
            results.put(traceback.format_exc())
            raise

    processes = [multiprocessing.Process(target=run, daemon=True) for _ in range(jobs)]
    for process in processes:
        process.start()
    left = jobs
    while left:
        try:
            got = results.get(timeout=1)
        except queue.Empty:
            # One that was killed says nothing.
            if any(process.exitcode not in (None, 0) for process in processes):
                raise SystemExit("one of those side by side was killed") from None
            continue
        if isinstance(got, str):
            raise SystemExit(got)
        if got is None:
            left -= 1
        else:
            yield got
    for process in processes:
        process.join()


def report(results, who):
    """Prints what units of a kind and a call came to; the exit status. Each result is its figures (how many places
    failed, how many of `who` ended, and seconds) and what was wrong."""
    problems, sums = [], collections.defaultdict(collections.Counter)
    begun = time.monotonic()
    for unit, (figures, wrong) in results:
        problems += wrong
        sums[unit[:2]] += figures
        if wrong:
            print(unit, *wrong[:5], sep="\n", flush=True)
    for (how, call), sum_ in sums.items():
        print(f"{call:<16} {how:<12} {sum_['failed']:6} places, {sum_['ended']} {who} ended, {sum_['secs']:.0f} s")
        if not sum_["failed"]:
            problems.append(call)
            print(f"{call}, {how}: none failed: nothing was shown")
    print(f"{sum(each['failed'] for each in sums.values())} places in {time.monotonic() - begun:.0f} s")
    return 1 if problems else 0


class Unit(NamedTuple):
    """What one program is put through: "once" in each of the requests, "for a while", or in its "life"."""

    how: str
    call: str
    requests: tuple = ()


def units(args, calls, requests, while_calls, life_calls):
    for call in calls:
        if args.most is None:
            yield from (Unit("once", call, (what,)) for what in requests)
        else:
            yield Unit("once", call, tuple(random.Random(f"{args.seed} {call}").sample(list(requests), len(requests))))
    yield from (Unit("for a while", call) for call in while_calls)
    yield from (Unit("life", call) for call in life_calls)


def some_of_a_life(plan, live, errors, most, chosen):
    """live(error, first) at no more than so many of the calls that a life makes. How many failed."""
    failed = 0
    for error in errors:
        live(error, FOREVER)
        places = list(range(1, plan.seen() + 1))
        for first in chosen.sample(places, min(most, len(places))):
            failed += live(error, first)
    return failed


def main(work, who, calls, requests, while_calls, life_calls):
    """The command line: work(args, directory, units) is done side by side, and reported."""
    options = argparse.ArgumentParser()
    options.add_argument("--most", type=int)
    options.add_argument("--some", type=int, default=len(requests))
    options.add_argument("--lives", type=int, default=16)
    options.add_argument("--jobs", type=int, default=1)
    options.add_argument("--seed", type=int, default=1)
    options.add_argument("--call", default="", help="this kind alone")
    options.add_argument("--how", default="", help="once, for a while or life alone")
    args = options.parse_args()
    chosen = [unit for unit in units(args, calls, requests, while_calls, life_calls)
              if args.call in ("", unit.call) and args.how in ("", unit.how)]
    return report(side_by_side(args.jobs, chosen, functools.partial(work, args)), who)

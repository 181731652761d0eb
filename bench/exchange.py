#!/usr/bin/env python3
"""The manager's commands a second against bare ping-pong over the same kind of socket.

bench/run calls it. A manager with few sessions, one with many and the ping-pong take turns; while one
is measured the others stand still.
"""

import argparse
import contextlib
import os
import re
import signal
import subprocess
import tempfile
import time

from serving import Program, eventually, read, spread

FEW, MANY = 1000, 1000000
CONNECTIONS = 16


class Manager(Program):
    def __init__(self, stack, directory, build, sessions):
        database = os.path.join(directory, f"{sessions}.db")
        subprocess.run([os.path.join(build, "bin/bench-exchange"), "fill", database, str(sessions)],
                       check=True)
        os.chmod(database, 0o600)
        self.sessions = sessions
        self.path = os.path.join(directory, f"{sessions}.sock")
        begin = time.monotonic()
        super().__init__(
            stack, os.path.join(directory, f"{sessions}.log"),
            os.path.join(build, "bin/hotspot-manager"), "--socket", self.path, "--admin-socket",
            self.path + ".admin", "--database", database, "--html-dir", "/usr/share/hotspot/pages/",
            "--dns-name", "portal.example.net", "--location-name", "Example hotspot")
        eventually("hotspot-manager listens", lambda: re.search(b"serving on", read(self.log)))
        self.start_secs = time.monotonic() - begin
        self.start_mib = self.pss_mib()


class PingPong(Program):
    def __init__(self, stack, directory, build, reply_bytes):
        self.sessions = FEW
        self.path = os.path.join(directory, "echo.sock")
        super().__init__(stack, os.path.join(directory, "echo.log"),
                         os.path.join(build, "bin/bench-exchange"), "echo", self.path,
                         str(reply_bytes))
        eventually("the ping-pong listens", lambda: os.path.exists(self.path))


class Sample:
    def __init__(self, build, program, seconds):
        for pid in program.pids():
            os.kill(pid, signal.SIGCONT)
        before = program.cpu_secs()
        text = subprocess.run(
            [os.path.join(build, "bin/bench-exchange"), "load", program.path,
             str(program.sessions), str(CONNECTIONS), str(seconds)],
            check=True, capture_output=True, text=True).stdout
        facts = dict(line.split() for line in text.splitlines())
        self.rate = float(facts["rate"])
        self.request, self.reply = int(facts["request"]), int(facts["reply"])
        self.cpu_us = (program.cpu_secs() - before) * 1e6 / (self.rate * seconds)
        for pid in program.pids():
            os.kill(pid, signal.SIGSTOP)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", required=True)
    parser.add_argument("--secs", type=int, default=3)
    parser.add_argument("--rounds", type=int, default=5)
    args = parser.parse_args()
    build = os.path.realpath(args.build)
    with contextlib.ExitStack() as stack:
        directory = stack.enter_context(tempfile.TemporaryDirectory(prefix="hotspot-bench-"))
        few = Manager(stack, directory, build, FEW)
        first = Sample(build, few, 1)
        bare = PingPong(stack, directory, build, first.reply)
        many = Manager(stack, directory, build, MANY)
        sides = {"ping-pong": bare, "1,000 sessions": few, "1,000,000 sessions": many}
        for program in sides.values():
            Sample(build, program, 1)
        samples = {name: [] for name in sides}
        for _ in range(args.rounds):
            for name, program in sides.items():
                samples[name].append(Sample(build, program, args.secs))
        print(f"\nStatus of one session: {first.request} bytes there, {first.reply} back, "
              f"{CONNECTIONS} connections: min / median / max of {args.rounds} rounds of "
              f"{args.secs} s\n")
        print("| | commands a second | CPU a command, us | to the ping-pong | to 1,000 |")
        print("|---|---|---|---|---|")
        for name, side in samples.items():
            rates = [sample.rate for sample in side]
            columns = [spread(rates, 0), spread([sample.cpu_us for sample in side], 1)]
            for base in ("ping-pong", "1,000 sessions"):
                ratios = [a / b.rate for a, b in zip(rates, samples[base])]
                columns.append("" if name in (base, "ping-pong") else spread(ratios))
            print(f"| {name} | {' | '.join(columns)} |")
        print("\n| | start, s | memory after it, MiB | behind the rounds, MiB |")
        print("|---|---|---|---|")
        for name, program in (("1,000 sessions", few), ("1,000,000 sessions", many)):
            print(f"| {name} | {program.start_secs:.2f} | {program.start_mib:.1f} | "
                  f"{program.pss_mib():.1f} |")
        for program in sides.values():
            program.process.send_signal(signal.SIGCONT)


if __name__ == "__main__":
    main()

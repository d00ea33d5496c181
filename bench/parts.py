"""The parts of scripts/bench, which run as root inside its private namespace."""

import contextlib
import itertools
import json
import os
import shutil
import sqlite3
import subprocess
import sys
import time

from bench.results import row

FOLDER = "/usr/vexo/etc/private/session/sharing"
OURS, LIMIT = f"{FOLDER}/sharing.db", f"{FOLDER}/limit.db"  # as in rows.h
FILLED = "/tmp/filled.db"
SYSTEM = 1  # user and group id of the system account

PROGRAMS = ["bench_operations", "bench_limit"]
OPERATIONS = ["check", "login", "create", "get"]
PLACES = ["tmpfs", "disk"]
ACCOUNTS = ["root", "system"]


class Bench:
    """The programs of a build tree, and a database with a certain number of links."""

    def __init__(self, arguments, links):
        self.links = links
        self.rounds = arguments.rounds
        self._programs = arguments.build / "bin"
        self._disk = arguments.disk

    def program(self, name):
        return str(self._programs / name)

    @staticmethod
    def run(command, account="root", stdout=subprocess.PIPE, success=(0,)):
        """Runs a program, and returns its standard output."""
        ids = {} if account == "root" else {"user": SYSTEM, "group": SYSTEM, "extra_groups": []}
        done = subprocess.run(command, stdout=stdout, stderr=subprocess.PIPE, text=True,
                              check=False, **ids)
        if done.returncode not in success:
            sys.exit(f"bench: {command[0]} failed: {done.stderr.strip()}")
        return done.stdout

    def google(self, program, benchmark, account="root", iterations=1000, first=0):
        """The figures of one benchmark of a Google Benchmark program."""
        out = self.run([self.program(program), "--links", str(self.links),
                        "--iterations", str(iterations), "--first", str(first),
                        f"--benchmark_filter=^{benchmark}/", "--benchmark_format=json"], account)
        return json.loads(out)["benchmarks"][0]

    @staticmethod
    def in_turns(rounds, measure, both=PROGRAMS):
        """What a function of the program and the round returns, for each of two programs as a
        list.  Each of them is first in every other round, so that noise and changes of speed
        affect both."""
        figures = {program: [] for program in both}
        for number in range(rounds):
            for program in both if number % 2 == 0 else reversed(both):
                figures[program].append(measure(program, number))
        return figures.values()

    def fill(self):
        """Makes the database from which `install` makes copies."""
        for suffix in ("", "-wal", "-shm"):
            with contextlib.suppress(FileNotFoundError):
                os.remove(FILLED + suffix)
        self.run([self.program("bench_fill"), FILLED, str(self.links)])

    def install(self):
        """Gives ours and the limit a fresh copy of the database each."""
        for name in os.listdir(FOLDER):
            os.remove(f"{FOLDER}/{name}")
        for path in (OURS, LIMIT):
            shutil.copyfile(FILLED, path)
            os.chown(path, SYSTEM, SYSTEM)
            os.chmod(path, 0o660)
            with open(path, "rb") as file:
                os.fsync(file.fileno())  # so that nothing is written later

    @contextlib.contextmanager
    def place(self, name):
        """Copies of the database on tmpfs or on the disk."""
        on_disk = name == "disk"
        if on_disk:
            subprocess.run(["mount", "--bind", str(self._disk), FOLDER], check=True)
            os.chown(FOLDER, SYSTEM, SYSTEM)
        try:
            self.install()
            yield
        finally:
            for file in os.listdir(FOLDER):
                os.remove(f"{FOLDER}/{file}")
            if on_disk:
                subprocess.run(["umount", FOLDER], check=True)

    def row(self, part, name, unit, figures, **more):
        return row(self.links, part, name, unit, *figures, **more)


def operations(bench):
    """The median time of each operation."""
    for place, account in itertools.product(PLACES, ACCOUNTS):
        iterations = min(bench.links, 1000 if place == "tmpfs" else 300)
        with bench.place(place):
            for name in OPERATIONS:
                def median(program, number, name=name):
                    return bench.google(program, name, account, iterations,
                                        number * iterations)["p50_us"]
                yield bench.row("operations", name, "us", bench.in_turns(bench.rounds, median),
                                place=place, account=account)


def syncs(bench):
    """How often an operation waits for the disk, and switches an id of the process."""
    with bench.place("tmpfs"):
        for name in OPERATIONS:
            counted = [bench.google(program, name, iterations=200) for program in PROGRAMS]
            for part in ("syncs", "switches"):
                yield bench.row(part, name, "", [[counts[part]] for counts in counted])
        done = subprocess.run(
            [bench.program("bench_cold_check"), str(bench.links), "0"], check=True,
            stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True,
            env={"LD_PRELOAD": f"{bench.program('../lib/libbench_calls.so')}",
                 "BENCH_PRINT_SYNCS": "1"})
        yield bench.row("syncs", "cold check", "", [[float(done.stderr.split()[-1])], []])


def cold(bench):
    """A check with the start and the end of its program, and a program that does nothing."""
    iterations = 100

    def median(program, number):
        return bench.google("bench_cold", program, iterations=iterations,
                            first=number * iterations)["p50_us"]
    with bench.place("tmpfs"):
        figures = bench.in_turns(bench.rounds, median, ["check", "line"])
    yield bench.row("cold", "check", "us", figures, place="tmpfs", account="root")


def writers(bench):
    """Sixteen processes that write at the same time."""
    def run(program, _):
        return json.loads(bench.run([bench.program(program), "--links", str(bench.links),
                                     "--writers", "16", "--seconds", "2"]))
    for place in PLACES:
        with bench.place(place):
            ours, limit = bench.in_turns(min(bench.rounds, 5), run)
        for key, name, unit in (("operations_per_second", "16 writers", "1/s"),
                                ("longest_ms", "longest wait", "ms"),
                                ("p99_ms", "wait, 99 %", "ms")):
            figures = [[result[key] for result in results] for results in (ours, limit)]
            yield bench.row("writers", name, unit, figures, place=place, account="root")


def expire(count, links):
    """Lets `count` of the links expire, spread evenly."""
    for path in (OURS, LIMIT):
        connection = sqlite3.connect(path)
        with contextlib.closing(connection), connection:
            connection.execute(
                "UPDATE entry SET expire_at = 1 WHERE id * ?1 / ?2 != (id - 1) * ?1 / ?2",
                (count, links))


def purge(bench):
    """Deleting expired links."""
    for count in (0, 1000, 10000):
        if count >= bench.links:
            continue

        def one(program, _):
            bench.install()
            expire(count, bench.links)
            total = bench.google(program, "purge", iterations=1 if count else 20)
            return total["p50_us"] / max(count, 1)
        with bench.place("tmpfs"):
            figures = bench.in_turns(min(bench.rounds, 3), one)
        yield bench.row("purge", f"{count} links" if count else "nothing",
                        "us a link" if count else "us", figures, place="tmpfs", account="root")


def commands(bench):
    """Commands that read every link.  Nothing is compared with them."""
    def seconds(arguments):
        begin = time.monotonic()
        bench.run([bench.program("vexosharing"), *arguments], stdout=subprocess.DEVNULL,
                  success=(0, 1))  # 1: the check has found something
        return time.monotonic() - begin
    with bench.place("tmpfs"):
        for arguments in (["list"], ["list", "--json"], ["check"]):
            ours = [seconds(arguments) for _ in range(min(bench.rounds, 3))]
            yield bench.row("commands", " ".join(arguments), "s", (ours, []), place="tmpfs",
                            account="root")


PARTS = {part.__name__: part for part in (operations, syncs, cold, writers, purge, commands)}


def measure(arguments):
    """Yields the rows of the parts."""
    for links in arguments.links:
        bench = Bench(arguments, links)
        bench.fill()
        for name in arguments.only or PARTS:
            print(f"bench: {links} links: {name}", file=sys.stderr, flush=True)
            yield from PARTS[name](bench)

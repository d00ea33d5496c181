"""Instructions of each operation, as counted by callgrind, and the table of them."""

import json
import pathlib
import re
import subprocess
import sys

from bench import parts

TABLE = pathlib.Path(__file__).resolve().parent / "instructions.json"
LINKS = 1000
RUNS = 300
TOLERANCE = 5  # percent

CALLGRIND = ["valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null"]


def count(arguments):
    """Yields the name and the instructions of each operation, with the library."""
    bench = parts.Bench(arguments, LINKS)
    bench.fill()
    for name in parts.OPERATIONS:
        with bench.place("tmpfs"):
            yield name, round(counted(bench, [
                "--instr-atstart=no", bench.program("bench_operations"), "--links", str(LINKS),
                "--iterations", str(RUNS), f"--benchmark_filter=^{name}/"]) / RUNS)
    with bench.place("tmpfs"):
        yield "cold check", counted(bench, [bench.program("bench_cold_check"), str(LINKS), "0"])


def counted(bench, command):
    """The instructions of a program that callgrind runs."""
    done = subprocess.run(CALLGRIND + command, stdout=subprocess.DEVNULL,
                          stderr=subprocess.PIPE, text=True, check=False)
    found = re.search(r"Collected : (\d+)", done.stderr)
    if done.returncode != 0 or not found:
        sys.exit(f"bench: {' '.join(command)}: {done.stderr}")
    return int(found[1])


def compare(rows, write):
    """Prints how the instructions differ from the table, and returns the exit code."""
    is_now = dict(rows)
    if write:
        TABLE.write_text(json.dumps(is_now, indent=2) + "\n", encoding="utf-8")
        return 0
    was = json.loads(TABLE.read_text(encoding="utf-8"))
    print(f"{'':10} {'was':>10} {'is':>10} {'percent':>8}")
    worse = better = False
    for name, now in is_now.items():
        percent = 100 * (now / was[name] - 1)
        worse |= percent > TOLERANCE
        better |= percent < -TOLERANCE
        print(f"{name:10} {was[name]:10} {now:10} {percent:+8.1f}")
    if worse:
        print(f"bench: more than {TOLERANCE} % above {TABLE.name}", file=sys.stderr)
    elif better:
        print(f"bench: more than {TOLERANCE} % below {TABLE.name}: renew it with "
              "scripts/bench --instructions --write", file=sys.stderr)
    return 1 if worse else 0

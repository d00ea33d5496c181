#!/usr/bin/python3
"""Tests of scripts/bench: of what it prints and writes, not of times.

usage: bench_test.py BUILD [TEST...], in a private namespace
"""

import contextlib
import io
import json
import os
import pathlib
import signal
import sqlite3
import subprocess
import sys
import tempfile
import unittest
import unittest.mock
import xml.etree.ElementTree

PROJECT = pathlib.Path(__file__).resolve().parent.parent
sys.path.insert(0, str(PROJECT))

from bench import instructions, parts, plot, results  # pylint: disable=wrong-import-position

BUILD = sys.argv.pop(1)
BENCH = [PROJECT / "scripts/bench", "--build", BUILD]
LINKS = 20


def run(*arguments):
    return subprocess.run([*BENCH, *arguments], stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                          text=True, check=False)


class Bench(unittest.TestCase):
    """The program as a whole."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()  # in memory, which is faster than a disk
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def test_Run_OfPartsWithPrograms_HasFiguresOfEach(self):
        done = run("--rounds", "1", "--only", "cold", "--only", "purge", "--only", "commands",
                   "--output", self.folder / "results.json", "--disk", self.folder, str(LINKS))

        self.assertEqual(done.returncode, 0, done.stderr)
        rows = json.loads((self.folder / "results.json").read_text())["rows"]
        self.assertEqual([row["name"] for row in rows],
                         ["check", "nothing", "list", "list --json", "check"])
        self.assertTrue(all(row["ours"] > 0 for row in rows))

    def test_Run_OfTwoParts_PrintsAndWritesARowForEachFigure(self):
        output = self.folder / "results.json"
        done = run("--rounds", "2", "--only", "operations", "--only", "syncs", "--output", output,
                   "--disk", self.folder, str(LINKS), str(LINKS + 10))

        self.assertEqual(done.returncode, 0, done.stderr)
        rows = json.loads(output.read_text())["rows"]
        for links in (LINKS, LINKS + 10):
            self.assertEqual(
                {(row["name"], row["place"], row["account"]) for row in rows
                 if row["part"] == "operations" and row["links"] == links},
                {(name, place, account) for name in parts.OPERATIONS for place in parts.PLACES
                 for account in parts.ACCOUNTS})
        for row in rows:
            if row["part"] == "operations":
                self.assertGreater(row["ours"], 0)
                self.assertGreater(row["limit"], 0)
                self.assertEqual(row["ratio"], sorted(row["ratio"]))
                self.assertEqual(row["rounds"], 2)
        syncs = {row["name"]: row["ours"] for row in rows if row["part"] == "syncs"}
        self.assertEqual(set(syncs), {*parts.OPERATIONS, "cold check"})
        self.assertEqual(syncs["get"], 0)
        self.assertGreater(syncs["login"], 0)
        self.assertGreater(syncs["cold check"], 0)
        self.assertEqual({row["name"] for row in rows
                          if row["part"] == "switches" and row["limit"] >= 8},
                         set(parts.OPERATIONS))
        self.assertEqual(sum(row["part"] == "growth" for row in rows), 16)
        self.assertEqual(len(done.stdout.splitlines()), 1 + len(rows) + 2)
        self.assertIn("not a disk", done.stderr)
        self.assertEqual(os.listdir(self.folder), ["results.json"])

    def test_Interrupt_WhileMeasuring_LeavesNothingBehind(self):
        with subprocess.Popen([*BENCH, "--rounds", "1000", "--only", "operations", "--disk",
                               self.folder, str(LINKS)], stdout=subprocess.DEVNULL,
                              stderr=subprocess.PIPE, text=True) as bench:
            self.assertTrue(any("links: operations" in line for line in bench.stderr))
            bench.send_signal(signal.SIGTERM)
            bench.stderr.read()  # to the end: no process has it open any more

        self.assertEqual(bench.returncode, 130)
        self.assertEqual(os.listdir(self.folder), [])

    def test_Arguments_Invalid_AreRefused(self):
        for arguments in (["5"], ["many"], ["--rounds", "0"], ["--only", "nonsense"], ["--write"],
                          ["--instructions", "100"], ["--plot"], ["--disk", "/nowhere"],
                          ["--build", "/nowhere"], ["--output", "/nowhere/results.json"]):
            done = run(*arguments)
            self.assertEqual(done.returncode, 2, arguments)
            self.assertIn("bench: error:", done.stderr)


class Programs(unittest.TestCase):
    """Ours and the limit, in this namespace."""

    def test_BothPrograms_AfterTheSameOperations_HaveTheSameRows(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        arguments = unittest.mock.Mock(rounds=1, build=pathlib.Path(BUILD),
                                       disk=pathlib.Path(folder.name))
        bench = parts.Bench(arguments, LINKS)
        bench.fill()
        with bench.place("disk"):
            for name in parts.OPERATIONS:
                for program in parts.PROGRAMS:
                    bench.google(program, name, iterations=3)
            ours, limit = (self.rows(path) for path in (parts.OURS, parts.LIMIT))

        self.assertEqual(len(ours), 3)
        for table, rows in ours.items():
            self.assertGreater(len(rows), LINKS)
            self.assertEqual(rows, limit[table])

    @staticmethod
    def rows(path):
        """The rows of all tables, without random values and times."""
        columns = {"entry": "id, project_name, enabled, owner_uid, start_at, expire_at, "
                            "expire_times, use_count, auto_gc, data",
                   "session": "id, uid, ip", "token": "id, entry_id, session_id"}
        with contextlib.closing(sqlite3.connect(path)) as connection:
            return {table: connection.execute(
                        f"SELECT {names}, {last} FROM {table} ORDER BY id").fetchall()
                    for (table, names), last in zip(
                        columns.items(), ("length(hash)", "length(session_id)",
                                          "timeout > strftime('%s') + 80000"))}


class Results(unittest.TestCase):
    """What is computed from figures."""

    def test_Ratio_OfTimesAndOfSpeeds_IsAboveOneWhereOursIsFaster(self):
        times = results.row(10, "part", "name", "us", [2, 2, 2], [3, 4, 5])
        speeds = results.row(10, "part", "name", "1/s", [4, 4, 4], [2, 2, 1])

        self.assertEqual(times["ratio"], [1.75, 2, 2.25])
        self.assertEqual(speeds["ratio"], [2, 2, 3])
        self.assertNotIn("ratio", results.row(10, "part", "name", "s", [1], []))

    def test_Growth_ComparesTheLastNumberOfLinksWithTheFirst(self):
        rows = [results.row(links, "operations", "check", "us", [ours], [limit])
                for links, ours, limit in ((10, 2, 4), (100, 9, 9), (1000, 3, 5))]

        growth, = results.growth(rows)

        self.assertEqual((growth["links"], growth["ours"], growth["limit"]), (1000, 1.5, 1.25))
        self.assertEqual(results.growth(rows[:1]), [])

    def test_Instructions_AboveTheTolerance_AreAnError(self):
        table = json.loads(instructions.TABLE.read_text())
        for factor, code, message in ((1.04, 0, ""), (1.06, 1, "above"), (0.94, 0, "renew")):
            err = io.StringIO()
            with contextlib.redirect_stdout(io.StringIO()), contextlib.redirect_stderr(err):
                rows = {**table, "login": round(table["login"] * factor)}
                self.assertEqual(instructions.compare(rows.items(), False), code)
            self.assertIn(message, err.getvalue())
            self.assertEqual(message == "", err.getvalue() == "")

    def test_Plot_OfTwoNumbersOfLinks_DrawsACurveForEachOperation(self):
        rows = [results.row(links, "operations", name, "us", [links], [links], "tmpfs", "root")
                for links in (10, 1000) for name in parts.OPERATIONS]
        with tempfile.TemporaryDirectory() as name:
            folder = pathlib.Path(name)
            file = folder / "results.json"
            file.write_text(json.dumps({"rows": rows}))
            plot.draw([file], folder)
            tree = xml.etree.ElementTree.parse(folder / "operations.svg")

            self.assertEqual(len(tree.findall(".//{*}polyline")), 2 * len(parts.OPERATIONS))
            self.assertEqual(sorted(os.listdir(folder)), ["operations.svg", "results.json"])
            file.write_text(json.dumps({"rows": rows[:4]}))
            with self.assertRaises(SystemExit):
                plot.draw([file], folder)


if __name__ == "__main__":
    unittest.main()

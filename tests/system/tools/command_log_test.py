"""The subcommand log, and what show tells of visits."""

import json
import os
import pathlib
import shutil
import time

import command_support
from command_support import AS_ALICE, NOT_USABLE, REFUSED, WRONG_CALL, CommandTest

LOG = pathlib.Path("/usr/vexo/var/log/sharing/access.log")
NOW = int(time.time())


def line(link, seconds, event="list", **more):
    when = time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime(seconds))
    return json.dumps({"time": when, "link": link, "event": event, "status": 200, "path": "",
                       "bytes": 1, **more}, separators=(",", ":")) + "\n"


class RecordTest(CommandTest):
    def setUp(self):
        super().setUp()
        shutil.rmtree(LOG.parent, ignore_errors=True)
        LOG.parent.mkdir()

    def visit(self, *arguments, rotated="", **more):
        with open(f"{LOG}{rotated}", "a", encoding="utf-8") as file:
            file.write(line(*arguments, **more))

    def times(self, *arguments):
        return [item["time"] for item in self.json("log", *arguments)["items"]]


class Log(RecordTest):
    def test_prints_the_visits_of_the_link_from_the_oldest(self):
        self.visit("abc", 1800000002, "download", path="a/b", bytes=12, code=1,
                   address="192.0.2.0/24")
        self.visit("other", 1800000003)
        self.visit("abc", 1800000001, rotated=".1")

        shown = self.out("log", "abc").splitlines()

        self.assertEqual([row.split() for row in shown], [
            ["TIME", "EVENT", "STATUS", "CODE", "BYTES", "ADDRESS", "PATH"],
            ["2027-01-15", "09:00:01", "list", "200", "-", "1", "-"],
            ["2027-01-15", "09:00:02", "download", "200", "1", "12", "192.0.2.0/24", "a/b"]])

    def test_as_json_has_the_members_that_are_set(self):
        self.visit("abc", 1800000001)
        self.visit("abc", 1800000002, "login-failed", code=-9, address="192.0.2.0/24")

        self.assertEqual(self.json("log", "abc"), {
            "items": [{"time": 1800000001, "event": "list", "status": 200, "path": "",
                       "bytes": 1},
                      {"time": 1800000002, "event": "login-failed", "code": -9,
                       "status": 200, "path": "", "bytes": 1, "address": "192.0.2.0/24"}],
            "total": 2, "malformed": 0})

    def test_since_leaves_out_what_is_older(self):
        for ago in (90000, 3500, 10):
            self.visit("abc", NOW - ago)

        self.assertEqual(self.times("abc", "--since", "1h"), [NOW - 3500, NOW - 10])
        self.assertEqual(self.times("abc", "--since", "1970-01-02"),
                         [NOW - 90000, NOW - 3500, NOW - 10])
        self.assertEqual(self.times("abc", "--since", "99999w"),
                         [NOW - 90000, NOW - 3500, NOW - 10])
        self.assertEqual(self.times("abc", "--since", "2099-01-01"), [])

    def test_pages_are_those_of_list(self):
        for second in range(5):
            self.visit("abc", 1800000000 + second)

        self.assertEqual(self.times("abc", "--page", "2", "--page-size", "2"),
                         [1800000002, 1800000003])
        self.assertEqual(self.times("abc", "--page-size", "2"), [1800000000, 1800000001])
        self.assertEqual(self.json("log", "abc", "--page", "9")["total"], 5)
        done = self.call("log", "abc", "--page", "3", "--page-size", "2")
        self.assertEqual(done.stderr, b"vexosharing: page 3 of 3, 5 visits\n")
        done = self.call("log", "abc", "--page", "4", "--page-size", "2")
        self.assertEqual(done.stderr,
                         b"vexosharing: page 4 does not exist: 5 visits on 3 pages\n")

    def test_damaged_lines_are_counted(self):
        self.visit("abc", 1800000001)
        with open(LOG, "a", encoding="utf-8") as file:
            file.write('nonsense\n{"time":"20')

        self.assertEqual(self.json("log", "abc")["malformed"], 2)
        done = self.call("log", "abc")
        self.assertEqual(done.stderr,
                         b"vexosharing: warning: skipped 2 damaged lines\n")

    def test_hostile_text_is_printable(self):
        self.visit("abc", 1800000001, "x\x1b[2J", path="a\nb\u202ec", address="\x07")

        shown = self.out("log", "abc")

        self.assertEqual(len(shown.splitlines()), 2)
        for character in "\x1b\x07\u202e":
            self.assertNotIn(character, shown)

    def test_url_of_the_link_is_accepted(self):
        self.visit("abc", 1800000001)
        self.assertEqual(self.times("https://nas.example/sharing/abc/sub/"), [1800000001])

    def test_link_without_visits_is_no_failure(self):
        self.assertEqual(self.json("log", "abc"), {"items": [], "total": 0, "malformed": 0})
        done = self.call("log", "abc")
        self.assertEqual((done.returncode, done.stderr),
                         (0, b"vexosharing: no matching visits\n"))

    def test_visits_of_a_deleted_link_remain(self):
        link = self.create(project="files")
        self.visit(link, 1800000001)
        self.out("delete", link)
        self.assertEqual(self.times(link), [1800000001])

    def test_wrong_calls_are_refused(self):
        self.assertIn("invalid date",
                      self.refusal(WRONG_CALL, "log", "abc", "--since", "soon"))
        self.assertIn("invalid date",
                      self.refusal(WRONG_CALL, "log", "abc", "--since", "never"))
        self.refusal(WRONG_CALL, "log")
        self.refusal(NOT_USABLE, "log", "abc", **AS_ALICE)
        LOG.mkdir()
        self.assertIn("cannot read", self.refusal(REFUSED, "log", "abc"))
        shutil.rmtree(LOG.parent)
        self.assertIn("No such file", self.refusal(REFUSED, "log", "abc"))

    def test_system_account_reads_it(self):
        self.visit("abc", 1800000001)
        os.chmod(LOG, 0o640)
        os.chown(LOG, 1, 1)
        done = self.call("log", "abc", "--json", user=1, group=1, extra_groups=[])
        self.assertEqual(json.loads(done.stdout)["total"], 1)

    def test_lost_output_is_reported(self):
        self.visit("abc", 1800000001)
        self.assert_lost_output_is_reported("log", "abc")

    def test_memory_is_bounded_for_a_large_record(self):
        other = line("other", 1800000001, path="x" * 200) * 1000
        with open(LOG, "w", encoding="utf-8") as file:
            for _ in range(200):
                file.write(other)
        os.truncate(LOG, LOG.stat().st_size + (200 << 20))  # a line of 200 MiB
        with open(LOG, "a", encoding="utf-8") as file:
            file.write("\n")
        self.visit("abc", 1800000002)
        script = "ulimit -v 100000; exec /usr/vexo/bin/vexosharing log abc --json"
        if command_support.is_sanitized():
            self.skipTest("the sanitizer needs more memory")
        done = command_support.subprocess.run(
            ["bash", "-c", script], env=command_support.environment(),
            stdout=command_support.subprocess.PIPE, check=True)
        self.assertEqual(json.loads(done.stdout)["total"], 1)


class ShowVisits(RecordTest):
    def visits(self, link, *arguments):
        return self.json("show", link, *arguments).get("visits")

    def test_last_opening_and_downloads_are_shown(self):
        link = self.create(project="files")
        self.visit("other", 1800000000, rotated=".1")
        for second, event in enumerate(("list", "download", "zip", "part", "view",
                                        "login-failed", "missing")):
            self.visit(link, 1800000001 + second, event)

        self.assertEqual(self.visits(link), {"last_opened": 1800000005, "downloads": 2,
                                             "since": 1800000000})
        shown = self.out("show", link)
        self.assertRegex(shown, r"(?m)^Last opened: +2027-01-15 09:00:05$")
        self.assertRegex(shown, r"(?m)^Downloads: +2$")
        self.assertRegex(shown, r"(?m)^Logged since: +2027-01-15 09:00:00$")

    def test_link_that_was_never_opened_is_shown_as_such(self):
        link = self.create(project="files")
        LOG.touch()

        self.assertEqual(self.visits(link), {"last_opened": 0, "downloads": 0, "since": 0})
        shown = self.out("show", link)
        self.assertRegex(shown, r"(?m)^Last opened: +never$")
        self.assertNotIn("Logged since", shown)

    def test_nothing_is_shown_without_a_record(self):
        link = self.create(project="files")
        self.assertIsNone(self.visits(link))
        self.assertNotIn("Last opened", self.out("show", link))
        LOG.mkdir()
        self.assertIsNone(self.visits(link))

    def test_nothing_is_shown_for_other_applications_and_databases(self):
        photos = self.create()
        files = self.create(project="files")
        self.visit(files, 1800000001)
        self.out("backup", "/tmp/backup.db", "--force")

        self.assertIsNone(self.visits(photos))
        self.assertIsNone(self.visits(files, "--database", "/tmp/backup.db"))
        self.assertIsNotNone(self.visits(files))


if __name__ == "__main__":
    command_support.main()

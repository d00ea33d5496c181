"""list: filters, search, columns, order, pages and unreadable rows."""

import json
import os
import subprocess
import time

import command_support
from command_support import REFUSED, WRONG_CALL, CommandTest

HEADINGS = ["HASH", "TITLE", "PROJECT", "OWNER", "STATE", "EXPIRES", "USES", "PROTECTION"]


class List(CommandTest):
    def hashes(self, *arguments):
        return [link["hash"] for link in self.links(*arguments)]

    def rows(self, *arguments):
        """The table's rows, cell by cell."""
        lines = self.out("list", *arguments).splitlines()
        starts = [lines[0].index(heading) for heading in HEADINGS] + [None]
        return [[line[starts[i]:starts[i + 1]].strip() for i in range(len(HEADINGS))]
                for line in lines[1:]]

    def in_each_state(self):
        links = {"usable": self.create("--expire", "7d", "--uses", "2"),
                 "not_started": self.create("--start", "7d"),
                 "expired": self.create("--expire", "2020-01-01", "--start", "2019-01-01"),
                 "used_up": self.create("--uses", "1", "--start", "2019-01-01"),
                 "disabled": self.create("--expire", "2020-01-01")}
        self.login(links["used_up"])
        self.json("edit", links["disabled"], "--disable")
        return links

    def test_empty_database_has_no_links(self):
        self.json("delete", self.create())

        done = self.call("list")

        self.assertEqual((done.returncode, done.stdout), (0, b""))
        self.assertEqual(done.stderr, b"vexosharing: no matching links\n")
        self.assertEqual(self.json("list"), {"total": 0, "items": [], "unreadable": []})

    def test_table_has_a_line_for_each_link(self):
        password = self.create("--expire", "2090-01-01 18:30:59", "--generate-password")
        user = self.create("--uses", "3", "--user", "alice", "--title", "Notes of Bob",
                           owner="bob", project="notes")

        self.assertEqual(self.rows(), [
            [password, "", "photos", "alice", "usable", "2090-01-01 18:30", "0", "password"],
            [user, "Notes of Bob", "notes", "bob", "usable", "never", "0/3", "user"]])

    def test_json_objects_are_those_of_show(self):
        link = self.create("--app", '{"a":1}', "--private-data", '{"b":2}')

        listed = self.links()[0]

        shown = self.shown(link)
        self.assertEqual(listed, {name: shown[name] for name in listed})
        self.assertNotIn("private_data", listed)

    def test_state_filters_and_shows_each_state(self):
        links = self.in_each_state()

        for state, link in links.items():
            self.assertEqual(self.hashes("--state", state), [link])
            self.assertEqual(self.links("--state", state)[0]["state"], state)
        self.assertEqual([row[4] for row in self.rows()],
                         [state.replace("_", " ") for state in links])

    def test_states_at_their_edges(self):
        now = int(time.time())
        for column, value, state in (("expire_at", now - 1, "expired"),
                                     ("expire_at", now + 100, "usable"),
                                     ("start_at", now, "usable"),
                                     ("start_at", now + 100, "not_started")):
            link = self.create()
            self.sql(f"UPDATE entry SET {column} = ? WHERE hash = ?", value, link)
            self.assertEqual(self.shown(link)["state"], state)
            self.assertIn(link, self.hashes("--state", state))
        for count, state in ((1, "usable"), (2, "used_up"), (3, "used_up")):
            link = self.create("--uses", "2")
            self.sql("UPDATE entry SET use_count = ? WHERE hash = ?", count, link)
            self.assertEqual(self.shown(link)["state"], state)
            self.assertIn(link, self.hashes("--state", state))

    def test_link_at_its_use_limit_that_has_not_started_is_not_started(self):
        link = self.create("--uses", "1", "--start", "7d")
        self.sql("UPDATE entry SET use_count = 1")

        self.assertEqual(self.shown(link)["state"], "not_started")
        self.assertEqual(self.hashes("--state", "not_started"), [link])
        self.assertEqual(self.hashes("--state", "used_up"), [])
        self.assertEqual(self.json("stats")["states"]["not_started"], 1)
        visit = self.call("visit", link, "login", "--json")
        self.assertEqual(json.loads(visit.stdout)["result"], -3)

    def test_project_and_owner_narrow_the_list(self):
        project = "it's \"quoted\" 日本"
        one = self.create(project=project)
        two = self.create(owner="bob")
        three = self.create()

        self.assertEqual(self.hashes("--project", project), [one])
        self.assertEqual(self.hashes("--owner", "bob"), [two])
        self.assertEqual(self.hashes("--owner", "5001"), [one, three])
        self.assertEqual(self.hashes("--owner", "alice", "--project", "photos"), [three])
        self.assertEqual(self.hashes("--owner", "bob", "--project", project), [])
        self.assertEqual(self.hashes("--project", "' OR 1=1 --"), [])

    def test_search_finds_titles_and_paths_and_notes_of_the_application(self):
        title = self.create("--title", "Photos of Summer 50%_'x'")
        path = self.create("--app", '{"path":"/volume1/Summer","other":"winter"}')
        note = self.create("--app", '{"note":"for summer guests"}')
        self.create("--app", '{"path":["summer"],"note":5}')
        self.break_row(self.create("--title", "summer"))

        self.assertEqual(self.hashes("--search", "sUMMER")[:3], [title, path, note])
        self.assertNotIn("unreadable", self.call("list", "--search", "summer").stderr.decode())
        self.assertEqual(self.hashes("--search", "50%_'X'"), [title])
        self.assertEqual(self.hashes("--search", "%"), [title])
        self.assertEqual(self.hashes("--search", "winter"), [])
        self.assertEqual(self.hashes("--search", "summer", "--owner", "bob"), [])
        self.assertEqual(self.json("list", "--search", "volume1")["total"], 1)

    def test_columns_are_printed_in_the_order_given(self):
        link = self.create("--title", "Summer", "--start", "2020-01-02 03:04")

        text = self.out("list", "--columns", "title,hash,starts")

        self.assertEqual([line.split(None, 2) for line in text.splitlines()],
                         [["TITLE", "HASH", "STARTS"], ["Summer", link, "2020-01-02 03:04"]])
        self.assertEqual(self.out("list", "--columns=protection"), "PROTECTION\nnone\n")

    def test_wrong_columns_are_refused(self):
        for columns in ("size", "hash,", "", ",", "hash,size", "hash title"):
            self.assertIn("must consist of hash, title, project",
                          self.refusal(WRONG_CALL, "list", f"--columns={columns}"))
        self.assertIn("excludes", self.refusal(WRONG_CALL, "list", "--columns=hash", "--json"))

    def test_page_size_alone_prints_the_first_page(self):
        self.create()
        self.fill(7)

        self.assertEqual(self.hashes("--page-size", "3"), self.hashes()[:3])
        self.assertEqual(self.call("list", "--page-size", "3").stderr,
                         b"vexosharing: page 1 of 3, 8 links\n")

    def test_deleted_owner_is_named_by_number(self):
        link = self.create()
        self.sql("UPDATE entry SET owner_uid = 7777")

        self.assertEqual(self.hashes("--owner", "7777"), [link])
        self.assertEqual(self.rows()[0][3], "7777 (unknown)")
        self.assertEqual(self.links()[0]["owner_user"], "")

    def test_unknown_owner_is_refused(self):
        self.create()

        self.assertIn("user not found: nobody-here",
                      self.refusal(REFUSED, "list", "--owner", "nobody-here"))

    def test_each_order_sorts_by_its_column(self):
        self.create("--expire", "3d", "--start", "2020-01-02", project="b")
        self.create("--expire", "1d", owner="bob", project="c")
        self.create("--expire", "2d", "--start", "2020-01-01", project="a")
        self.sql("UPDATE entry SET use_count = 10 * (id % 3), hash = 'h' || (id % 2) || id")
        first, second, third = "h11", "h02", "h13"

        for order, expected in (("created", [first, second, third]),
                                ("hash", [second, first, third]),
                                ("project", [third, first, second]),
                                ("owner", [first, third, second]),
                                ("start", [second, third, first]),
                                ("expire", [second, third, first]),
                                ("uses", [third, first, second])):
            with self.subTest(order):
                self.assertEqual(self.hashes("--order", order), expected)
                if order != "owner":
                    self.assertEqual(self.hashes("--order", order, "--reverse"),
                                     expected[::-1])
        self.assertEqual(self.hashes("--order", "owner", "--reverse"),
                         [second, third, first])

    def test_links_that_never_expire_are_sorted_last(self):
        never = self.create()
        later, soon = self.create("--expire", "2d"), self.create("--expire", "1d")

        self.assertEqual(self.hashes("--order", "expire"), [soon, later, never])
        self.assertEqual(self.hashes("--order", "expire", "--reverse"),
                         [never, later, soon])

    def test_pages_have_no_gaps(self):
        self.create()
        self.fill(51)
        everything = self.hashes()

        self.assertEqual(self.hashes("--page", "1"), everything[:50])
        self.assertEqual(self.hashes("--page", "2"), everything[50:])
        self.assertEqual(self.hashes("--page", "3"), [])
        self.assertEqual(self.hashes("--page", "3", "--page-size", "7"), everything[14:21])
        self.assertEqual(self.hashes("--page", "2147483647", "--page-size", "2147483647"), [])

    def test_page_is_reported_with_the_number_of_pages(self):
        self.create()
        self.fill(51)
        for page, text in (("1", "page 1 of 2, 52 links"), ("2", "page 2 of 2, 52 links"),
                           ("3", "page 3 does not exist: 52 links on 2 pages")):
            done = self.call("list", "--page", page)
            self.assertEqual((done.returncode, done.stderr.decode()),
                             (0, f"vexosharing: {text}\n"))
            silent = self.call("list", "--page", page, "--json")
            self.assertEqual(silent.stderr, b"")
            self.assertEqual(json.loads(silent.stdout)["total"], 52)
        told = self.call("list", "--page", "1", "--state", "expired").stderr
        self.assertEqual(told, b"vexosharing: page 1 does not exist: 0 links on 0 pages\n")

    def test_dates_are_whole_at_eighty_columns(self):
        self.create("--expire", "2030-12-31 18:00", project="Pictures of the summer")
        self.sql("UPDATE entry SET owner_uid = 7777")
        self.create("--start", "7d")
        self.create("--uses", "3000", "--generate-password")
        self.sql("UPDATE entry SET use_count = 3000 WHERE id = 3")

        shown = self.on_terminal("list", env={"NO_COLOR": "1"})[1]

        self.assertIn(" 2030-12-31 18:00 ", shown)
        self.assertIn(" 3000/3000 ", shown)
        for line in shown.splitlines():
            self.assertLessEqual(len(line), 80)

    def test_many_links_are_complete_and_in_order(self):
        self.create()
        self.fill(1700)  # more than three batches

        for order in ("created", "hash"):
            hashes = self.hashes("--order", order)
            self.assertEqual(len(hashes), 1701)
            self.assertEqual([(one,) for one in hashes],
                             self.sql("SELECT hash FROM entry ORDER BY "
                                      + ("id" if order == "created" else "hash")))
        self.assertEqual(len(self.rows()), 1701)

    def test_unreadable_rows_are_counted_and_named(self):
        good = self.create()
        broken = [self.create() for _ in range(2)]
        for link, data in zip(broken, ("{", "[]")):
            self.break_row(link, data)

        done = self.call("list")

        self.assertEqual(done.returncode, 0)
        self.assertEqual(done.stderr.decode(),
                         f"vexosharing: warning: 2 unreadable rows: {broken[0]} (id 2), "
                         f"{broken[1]} (id 3); run vexosharing check\n")
        self.assertIn(good, done.stdout.decode())
        self.assertEqual(self.json("list")["unreadable"],
                         [{"id": 2, "hash": broken[0]}, {"id": 3, "hash": broken[1]}])

    def test_many_unreadable_rows_are_counted(self):
        self.create()
        self.fill(1200)
        self.sql("UPDATE entry SET data = '' WHERE id > 1")

        done = self.call("list")

        self.assertIn(b"1200 unreadable rows: copy1 (id 2), ", done.stderr)
        self.assertIn(b", copy10 (id 11), and 1190 more; run vexosharing check", done.stderr)
        self.assertEqual(len(self.json("list")["unreadable"]), 1200)

    def test_wrong_values_are_refused(self):
        self.create()
        for arguments, text in ((["--state", "sleepy"], "usable, not_started, expired"),
                                (["--state", ""], "must be one of"),
                                (["--order", "size"], "created, hash, project"),
                                (["--page", "0"], "must be from 1"),
                                (["--page", "-1"], ""),
                                (["--page", "x"], "must be from 1"),
                                (["--page", "1", "--page-size", "0"], "must be from 1"),
                                (["--owner", ""], "must not be empty"),
                                (["--project", ""], "must not be empty"),
                                (["--project", b"\xff"], "not valid UTF-8"),
                                (["surplus"], "too many arguments")):
            with self.subTest(arguments):
                self.assertIn(text, self.refusal(WRONG_CALL, "list", *arguments))

    def peak_memory(self):
        """Peak memory of listing all links, in KiB.  A sanitizer must not keep freed memory."""
        process = self.start("list", "--json", stdout=subprocess.DEVNULL,
                             env={"ASAN_OPTIONS": "quarantine_size_mb=0"})
        usage = os.wait4(process.pid, 0)[2]
        process.returncode = 0  # it has been waited for
        return usage.ru_maxrss

    def test_memory_does_not_grow_with_the_number_of_links(self):
        self.create("--app", '{"text":"' + "x" * 8000 + '"}')
        self.fill(4000)  # more than SQLite's own cache holds
        some = self.peak_memory()
        self.fill(4000, "more")

        self.assertLess(self.peak_memory() - some, 4 * 1024)


if __name__ == "__main__":
    command_support.main()

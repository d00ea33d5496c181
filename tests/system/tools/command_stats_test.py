"""The subcommands stats and block."""

import os

import command_support
from command_support import (AS_ALICE, BLOCKS, DATABASE, DONE, NOT_USABLE, REFUSED,
                             WRONG_CALL, CommandTest)


class Stats(CommandTest):
    def test_of_an_empty_database_are_zero(self):
        self.out("delete", self.create())

        told = self.json("stats")

        self.assertEqual((told["total"], told["logins"], told["projects"]), (0, 0, []))
        self.assertEqual(told["sessions"], {"total": 0, "alive": 0})

    def test_count_links_by_state_and_project(self):
        self.create()
        self.create("--expire", "2020-01-01")
        self.create("--start", "2099-01-01")
        self.create(project="docs")
        self.out("edit", self.create(project="docs"), "--disable")
        self.login(self.create("--uses", "1", project="docs"))

        told = self.json("stats")

        states = {"usable": 2, "not_started": 1, "expired": 1, "used_up": 1, "disabled": 1}
        self.assertEqual((told["total"], told["states"], told["logins"]), (6, states, 1))
        docs, photos = told["projects"]
        self.assertEqual((docs["project_name"], docs["total"], docs["logins"]),
                         ("docs", 3, 1))
        self.assertEqual(docs["states"], {"usable": 1, "not_started": 0, "expired": 0,
                                          "used_up": 1, "disabled": 1})
        self.assertEqual((photos["project_name"], photos["total"]), ("photos", 3))

    def test_add_up_the_logins(self):
        for uses in (3, 2147483647, 2147483647):
            link = self.create()
            self.sql("UPDATE entry SET use_count = ? WHERE hash = ?", uses, link)

        self.assertEqual(self.json("stats")["logins"], 3 + 2 * 2147483647)

    def test_count_sessions_and_tokens_alive_and_expired(self):
        link = self.create()
        for _ in range(3):
            self.login(link)
        self.sql("UPDATE session SET timeout = 5 WHERE id = 1")
        self.sql("UPDATE token SET timeout = 5 WHERE id < 3")

        told = self.json("stats")

        self.assertEqual(told["sessions"], {"total": 3, "alive": 2})
        self.assertEqual(told["tokens"], {"total": 3, "alive": 1})

    def test_sizes_of_file_and_log_are_counted(self):
        self.create()
        self.sql("PRAGMA wal_checkpoint(TRUNCATE)")

        told = self.json("stats")

        self.assertEqual(told["file_bytes"], DATABASE.stat().st_size)
        self.assertEqual(told["log_bytes"], 0)
        writer = self.lock()
        writer.execute("INSERT INTO session VALUES (NULL, 'x', 1, '::1', 9)")
        writer.execute("COMMIT")
        self.assertGreater(self.json("stats")["log_bytes"], 0)

    def test_round_a_large_size(self):
        self.create()
        self.fill(10000)
        self.sql("PRAGMA wal_checkpoint(TRUNCATE)")

        mebibytes = round(DATABASE.stat().st_size / 2**20)
        self.assertIn(f" {mebibytes} MiB and 0 KiB write-ahead log\n", self.out("stats"))

    def test_text_output_is_a_table(self):
        self.create(project="a project\x1b with a name")

        told = self.out("stats")

        self.assertRegex(told, r"(?m)^Links: +1$")
        self.assertRegex(told, r"(?m)^  usable: +1$")
        self.assertRegex(told, r"(?m)^a project\\x1b with a name +1 +1 +0 +0 +0 +0 +0$")
        self.assertIn("KiB", told)

    def test_fit_the_terminal(self):
        self.create(project="a long name " * 20)

        for columns in (80, 120):
            shown = self.on_terminal("stats", env={"NO_COLOR": "1",
                                                   "COLUMNS": str(columns)})[1]
            for line in shown.splitlines():
                self.assertLessEqual(len(line), columns, line)

    def test_damaged_file_is_reported(self):
        self.create()
        self.fill(3000)
        self.damage_middle()

        for more in ([], ["--json"]):
            self.assertIn("database error: ", self.refusal(NOT_USABLE, "stats", *more))

    def test_lost_output_is_reported(self):
        self.create()

        self.assert_lost_output_is_reported("stats")
        self.assert_lost_output_is_reported("stats", "--json")


class Block(CommandTest):
    def fail(self, address, times):
        """Lets visitors from the address fail."""
        link = self.create("--generate-password")
        for _ in range(times):
            done = self.call("visit", link, "login", "--address", address,
                             "--password-stdin", text="wrong\n")
            self.assertEqual(done.returncode, REFUSED, done.stderr)

    def test_list_of_nothing(self):
        self.fail("2001:db8:1:2::5", 1)
        self.assertEqual(self.out("block", "clear", "2001:db8:1:2::/64"),
                         "Cleared 2001:db8:1:2::/64: 1 failure.\n")
        self.assertEqual(self.json("block", "list"), {"addresses": []})
        done = self.call("block", "list")
        self.assertEqual((done.returncode, done.stdout), (DONE, b""))
        self.assertIn(b"no failed logins", done.stderr)

    def test_list_names_failing_and_blocked_addresses(self):
        self.fail("192.0.2.7", 2)
        self.fail("2001:db8:1:2::5", 10)

        one, other = self.json("block", "list")["addresses"]

        self.assertEqual((one["address"], one["failures"], one["blocked_until"]),
                         ("192.0.2.7", 2, 0))
        self.assertTrue(other["address"].startswith("2001:db8:1:2::"))
        self.assertGreater(other["blocked_until"], 0)
        told = self.out("block", "list")
        self.assertRegex(told, r"(?m)^192\.0\.2\.7 +2 .* not blocked$")
        self.assertRegex(told, r"(?m)^2001:db8:1:2::/64 .* \d\d:\d\d:\d\d$")

    def test_clear_unblocks_one_address_only(self):
        self.fail("192.0.2.7", 10)
        self.fail("192.0.2.8", 1)
        link = self.create()
        self.assertEqual(self.call("visit", link, "login", "--address",
                                   "192.0.2.7").returncode, REFUSED)

        told = self.out("block", "clear", "192.0.2.7")

        self.assertIn("unblocked", told)
        self.login(link, "--address", "192.0.2.7")
        self.assertEqual([one["address"] for one in
                          self.json("block", "list")["addresses"]], ["192.0.2.8"])
        self.assertEqual(self.out("block", "clear", "192.0.2.8"),
                         "Cleared 192.0.2.8: 1 failure.\n")

    def test_clear_accepts_any_address_of_the_network_in_any_form(self):
        self.fail("2001:db8:1:2::5", 1)
        self.assertTrue(self.json("block", "clear", "2001:DB8:1:2:0::9")["cleared"]
                        .startswith("2001:db8:1:2::"))
        self.fail("192.0.2.7", 1)
        self.assertEqual(self.json("block", "clear", "::ffff:192.0.2.7"),
                         {"cleared": "192.0.2.7"})

        self.assertEqual(self.json("block", "list"), {"addresses": []})

    def test_clear_of_an_address_without_failures_is_refused(self):
        self.assertIn("no failed logins from 192.0.2.7", self.refusal(REFUSED, "block", "clear",
                                                         "192.0.2.7"))
        self.fail("192.0.2.8", 1)
        self.refusal(REFUSED, "block", "clear", "192.0.2.7")

    def test_clear_of_an_invalid_address_is_a_usage_error(self):
        for nonsense in ("nonsense", "192.0.2.256", "192.0.2.7\n", "' OR 1 --"):
            self.assertIn("invalid address: ", self.refusal(WRONG_CALL, "block", "clear",
                                                     nonsense))
        self.refusal(WRONG_CALL, "block", "clear", "")

    def test_usage_errors_are_refused(self):
        self.refusal(WRONG_CALL, "block")
        self.refusal(WRONG_CALL, "block", "nonsense")
        self.refusal(WRONG_CALL, "block", "list", "--database", "/tmp/x.db")
        self.assertIn("ADDRESS", self.refusal(WRONG_CALL, "block", "clear"))

    def test_others_are_refused_in_one_line(self):
        for call in (["list"], ["clear", "192.0.2.7"]):
            said = self.refusal(NOT_USABLE, "block", *call, **AS_ALICE)
            self.assertIn("run this as root", said)

    def test_unreadable_store_is_an_error(self):
        file = BLOCKS / "autoblock.db"
        file.mkdir()
        self.addCleanup(file.rmdir)

        for call in (["list"], ["clear", "192.0.2.7"]):
            self.assertIn("cannot read the list of addresses", self.refusal(NOT_USABLE, "block", *call))

    def test_damaged_store_is_moved_aside(self):
        file = BLOCKS / "autoblock.db"
        damage = b"This is not a database.\n" * 500
        file.write_bytes(damage)
        os.chown(file, 1, 1)

        self.assertEqual(self.json("block", "list"), {"addresses": []})
        kept = list(BLOCKS.glob("autoblock.db.damaged-*"))
        self.assertEqual([path.read_bytes() for path in kept], [damage])
        self.assertFalse(file.exists())

    def test_lost_output_is_reported(self):
        for call in (["list"], ["list", "--json"], ["clear", "192.0.2.7"]):
            self.assert_lost_output_is_reported("block", *call,
                                            before=lambda: self.fail("192.0.2.7", 1))


if __name__ == "__main__":
    command_support.main()

"""The subcommand check."""

import json
import os
import pathlib
import signal
import sqlite3
import subprocess
import sys

import command_support
from command_support import (AS_ALICE, BLOCKS, DATABASE, DONE, INTERRUPTED, NOT_USABLE, REFUSED,
                             CommandTest)

MD5 = "5f4dcc3b5aa765d61d8327deb882cf99"

# Fills a list of failed logins, and then replaces rows again and again.
KEEP_WRITING = """
import sqlite3, sys
db = sqlite3.connect(sys.argv[1], isolation_level=None)
db.executescript("CREATE TABLE failure(address TEXT, at INTEGER);"
                 "CREATE INDEX failure_at ON failure(at); PRAGMA synchronous = OFF")
db.execute("BEGIN")
db.executemany("INSERT INTO failure VALUES ('192.0.2.1', ?)",
               ((number,) for number in range(20000)))
db.execute("COMMIT")
print(flush=True)
while True:
    db.execute("BEGIN IMMEDIATE")
    db.execute("DELETE FROM failure WHERE rowid IN (SELECT rowid FROM failure ORDER BY random() "
               "LIMIT 50)")
    db.executemany("INSERT INTO failure VALUES ('192.0.2.2', random())", ((),) * 50)
    db.execute("COMMIT")
"""

# Dies in a transaction that has already changed the file.
DIE_WRITING = """
import os, signal, sqlite3, sys
db = sqlite3.connect(sys.argv[1], isolation_level=None)
db.executescript("CREATE TABLE failure(address TEXT, at INTEGER); PRAGMA cache_size = 1; "
                 "CREATE INDEX failure_at ON failure(at)")
db.execute("BEGIN")
db.executemany("INSERT INTO failure VALUES ('192.0.2.1', ?)", ((n,) for n in range(20000)))
os.kill(os.getpid(), signal.SIGKILL)
"""


class Check(CommandTest):
    def found(self):
        """The problems and remarks; the exit code must agree."""
        done = self.call("check", "--json")
        found = json.loads(done.stdout)
        self.assertEqual(done.returncode, REFUSED if found["problems"] else DONE)
        for one in found["problems"] + found["remarks"]:
            self.assertTrue(one["text"] and one["advice"] and one["items"], one)
        return found

    def problems(self):
        """The problems found, by kind."""
        return {one["kind"]: one["items"] for one in self.found()["problems"]}

    def change_data(self, link, **members):
        for name, value in members.items():
            self.sql("UPDATE entry SET data = json_set(data, '$.' || ?, json(?)) "
                     "WHERE hash = ?", name, json.dumps(value), link)

    def test_database_older_than_the_application_id_is_used_and_repaired(self):
        link = self.create()
        self.sql("PRAGMA application_id = 0")

        self.assertEqual(self.shown(link)["hash"], link)
        self.assertEqual(self.problems(), {"missing_schema": ["missing application id"]})
        self.out("check", "--repair")
        self.assertEqual(self.sql("PRAGMA application_id"), [(0x56455853,)])
        self.assertEqual(self.problems(), {})

    def test_good_database_ends_with_0(self):
        self.create("--expire", "7d", "--generate-password")
        self.login(self.create("--expire", "7d"))

        self.assertEqual(self.out("check"), "Checked 2 links: no problems found.\n")
        self.assertEqual(self.json("check"), {"links": 2, "problems": [], "remarks": []})

    def test_links_without_expiry_are_remarks(self):
        link = self.create()

        found = self.json("check")

        self.assertEqual([one["kind"] for one in found["remarks"]], ["no_expiry"])
        self.assertEqual(found["remarks"][0]["items"], [link])
        self.assertIn("--expire", self.out("check"))

    def test_unreadable_rows_are_named(self):
        good, bad = self.create(), self.create()
        self.break_row(bad)
        row = self.sql("SELECT id FROM entry WHERE hash = ?", bad)[0][0]

        self.assertEqual(self.problems(), {"damaged_row": [f"{bad} (id {row})"]})
        shown = self.call("check").stdout.decode()
        self.assertIn("vexosharing delete", shown)
        self.out("delete", bad)
        self.assertEqual(self.problems(), {})
        self.assertEqual([link["hash"] for link in self.links()], [good])

    def test_unknown_users_and_groups_are_reported(self):
        link = self.create("--user", "alice", "--user", "nobody-yet", "--group", "no-group")
        other = self.create("--user", "bob")
        self.change_data(other, protect_uids=[5002, 5999], protect_gids=[5998])

        self.assertEqual(self.problems(), {"unknown_name": [
            f"{link} allows user nobody-yet", f"{link} allows group no-group",
            f"{other} allows user 5999", f"{other} allows group 5998"]})

    def test_deleted_owner_is_named_and_the_advice_works(self):
        self.create()
        link = self.create()
        self.sql("UPDATE entry SET owner_uid = 5999 WHERE hash = ?", link)
        self.create(owner="bob")

        self.assertEqual(self.problems(), {"owner_gone": [f"{link} of 5999"]})
        self.out("transfer", "--from", "5999", "--to", "bob")
        self.assertEqual(self.problems(), {})

    def test_md5_password_is_reported_and_not_printed(self):
        link = self.create("--generate-password")
        self.change_data(link, protect_password=MD5, protect_password_algo="md5",
                         protect_password_salt="")

        self.assertEqual(self.problems(), {"md5_password": [link]})
        self.assertNotIn(MD5, self.call("check").stdout.decode())
        self.out("edit", link, "--password-stdin", text="password\n")
        self.assertEqual(self.problems(), {})

    def test_unused_md5_password_is_no_problem(self):
        self.change_data(self.create(), protect_password=MD5, protect_password_algo="md5")

        self.assertEqual(self.problems(), {})

    def test_tokens_of_deleted_links_or_sessions_are_counted(self):
        link = self.create()
        self.login(link)
        self.sql("INSERT INTO token VALUES (NULL, 99, 1, 9), (NULL, 1, 98, 9), "
                 "(NULL, 1, 97, 9)")

        self.assertEqual(self.problems(), {
            "token_without_link": ["1 token of deleted links"],
            "token_without_session": ["2 tokens of deleted sessions"]})
        self.out("purge")
        self.assertEqual(self.problems(), {})

    def test_newer_schema_is_reported(self):
        self.create()
        self.sql("PRAGMA user_version = 3")

        self.assertEqual(self.problems(), {"schema_version": ["version 3"]})

    def test_usable_links_of_locked_and_expired_accounts_are_reported(self):
        locked, expired = self.create(owner="dave"), self.create(owner="carol")
        self.out("edit", self.create(owner="dave"), "--disable")

        found = self.found()["problems"]

        self.assertEqual([(one["kind"], one["items"]) for one in found],
                         [("owner_disabled", [f"{locked} of dave (locked)",
                                              f"{expired} of carol (expired)"])])
        self.assertEqual(len(found[0]["advice"]), 2)
        for step in found[0]["advice"]:
            self.out(*step.split()[1:])
        self.assertEqual(self.json("check")["problems"], [])

    def test_failed_lookup_is_not_a_missing_account(self):
        link = self.create("--user", "bob")
        switch = pathlib.Path("/etc/nsswitch.conf")
        self.addCleanup(switch.write_text, switch.read_text(encoding="utf-8"), encoding="utf-8")
        switch.write_text("passwd: files\ngroup: files\n", encoding="utf-8")
        source = pathlib.Path("/etc/passwd")
        self.addCleanup(source.write_text, source.read_text(encoding="utf-8"), encoding="utf-8")
        source.unlink()
        source.symlink_to("passwd")  # a loop cannot be opened
        self.addCleanup(source.unlink)

        found = self.json("check")

        self.assertEqual(found["problems"], [])
        failed = [one["items"] for one in found["remarks"] if one["kind"] == "lookup_failed"]
        self.assertEqual(failed, [[f"{link}: owner 5001", f"{link} allows user 5002"]])

    def test_damaged_sessions_and_tokens_are_named(self):
        self.login(self.create())
        for table in ("session", "token"):
            self.sql(f"UPDATE {table} SET timeout = 'soon'")
        self.assertEqual(self.problems(), {"damaged_session": ["id 1"],
                                           "damaged_token": ["id 1"]})

    def test_missing_indexes_and_triggers_are_named_and_repaired(self):
        self.create()
        names = self.sql("SELECT type, name FROM sqlite_master WHERE sql IS NOT NULL AND "
                         "type IN ('index', 'trigger') ORDER BY type, name")
        self.assertNotEqual(names, [])
        for kind, name in names:
            self.sql(f"DROP {kind} {name}")

        self.assertEqual(self.problems(), {"missing_schema": [f"missing {kind} {name}"
                                                             for kind, name in names]})

        self.assertEqual(self.json("check", "--repair")["problems"], [])
        self.assertEqual(len(self.links()), 1)

    def test_table_with_unexpected_columns_is_named(self):
        self.create()
        self.sql("ALTER TABLE session ADD COLUMN more TEXT")
        self.assertEqual(self.problems(), {"wrong_table": ["table session"]})

    def test_damaged_list_of_blocked_addresses_is_reported(self):
        self.create()
        blocks = BLOCKS / "autoblock.db"
        blocks.write_bytes(b"no database" * 500)
        (BLOCKS / "autoblock.db.damaged-1").touch()

        found = self.found()

        self.assertEqual([(one["kind"], one["items"]) for one in found["problems"]],
                         [("block_list", [f"{blocks}: not a database"])])
        self.assertIn(("moved_block_list", [f"{blocks}.damaged-1"]),
                      [(one["kind"], one["items"]) for one in found["remarks"]])
        self.assertEqual(blocks.read_bytes(), b"no database" * 500)

    def test_list_of_blocked_addresses_in_use_is_not_reported(self):
        self.create()
        writer = subprocess.Popen([sys.executable, "-c", KEEP_WRITING, BLOCKS / "autoblock.db"],
                                  stdout=subprocess.PIPE)
        try:
            writer.stdout.readline()
            for _ in range(30):
                self.assertEqual(self.problems(), {})
        finally:
            writer.kill()
            writer.communicate()

    def test_list_of_blocked_addresses_of_a_killed_writer_is_left_as_it_is(self):
        self.create()
        blocks = BLOCKS / "autoblock.db"
        killed = subprocess.run([sys.executable, "-c", DIE_WRITING, blocks], check=False)
        self.assertEqual(killed.returncode, -signal.SIGKILL)
        journal = BLOCKS / "autoblock.db-journal"
        before = blocks.read_bytes(), journal.read_bytes()

        self.assertEqual(self.problems(), {})

        self.assertEqual((blocks.read_bytes(), journal.read_bytes()), before)

    def test_invalid_url_configuration_is_reported_as_the_url_tool_reports_it(self):
        self.create()
        self.install_url_tool('[ "$1" = --check ] && echo "line 1: no host" && exit 1')
        self.assertEqual(self.problems(), {"url": ["line 1: no host"]})

        self.install_url_tool('[ "$1" = --check ] && echo "good"')
        self.assertEqual(self.json("check")["problems"], [])

    def test_system_is_not_checked_with_another_database(self):
        self.create("--database", "/tmp/other.db")
        self.addCleanup(pathlib.Path("/tmp/other.db").unlink)
        self.install_url_tool("exit 1")
        (BLOCKS / "autoblock.db").write_bytes(b"no database" * 500)
        self.assertEqual(self.json("check", "--database", "/tmp/other.db")["problems"], [])

    def test_wrong_mode_and_owner_are_reported_with_the_commands_to_correct_them(self):
        self.create()
        folder = DATABASE.parent
        self.addCleanup(os.chmod, folder, 0o750)
        self.addCleanup(os.chown, folder, 1, 1)
        os.chmod(DATABASE, 0o666)
        os.chown(DATABASE, 1, 42)
        os.chmod(folder, 0o755)

        found = self.json_of_refused("check")

        self.assertEqual(found["problems"][0]["items"],
                         [f"{folder} has mode 0755", f"{DATABASE} is owned by 1:42",
                          f"{DATABASE} has mode 0666"])
        advice = found["problems"][0]["advice"]
        self.assertEqual(advice, [f"chmod 0750 {folder}", f"chown 1:1 {DATABASE}",
                                  f"chmod 0660 {DATABASE}"])
        self.assertIn("To do:  {}\n        {}\n        {}\n".format(*advice),
                      self.call("check").stdout.decode())
        for command in advice:
            subprocess.run(command, shell=True, check=True)
        self.assertEqual(self.problems(), {})

    def test_wrong_mode_of_the_other_files_is_reported(self):
        self.create()
        self.lock()  # keeps them there
        beside = [f"{DATABASE}-wal", f"{DATABASE}-shm", f"{DATABASE}-lock"]
        for path in beside:
            os.chmod(path, 0o666)

        self.assertEqual(self.problems(), {"file_mode": [f"{path} has mode 0666"
                                                         for path in beside]})

    def test_other_users_get_no_findings(self):
        self.create()
        os.chmod(DATABASE.parent, 0o755)
        self.addCleanup(os.chmod, DATABASE.parent, 0o750)

        for more in ([], ["--json"]):
            said = self.refusal(NOT_USABLE, "check", *more, **AS_ALICE)
            self.assertIn("run this as root", said)

    def json_of_refused(self, *arguments):
        done = self.call(*arguments, "--json")
        self.assertEqual(done.returncode, REFUSED, done.stderr)
        return json.loads(done.stdout)

    def test_wrong_owner_is_reported_beside_what_a_copy_holds(self):
        self.create()
        os.chown(DATABASE, 0, 0)
        os.chmod(DATABASE, 0o600)

        done = self.call("check")

        self.assertEqual(done.returncode, REFUSED)
        self.assertIn(f"chown 1:1 {DATABASE}", done.stdout.decode())
        self.assertIn(f"chmod 0660 {DATABASE}", done.stdout.decode())
        self.assertIn("Checked 1 link: ", done.stdout.decode())

    def test_owner_and_mode_of_other_files_are_not_checked(self):
        foreign = pathlib.Path("/tmp/foreign.db")
        self.addCleanup(foreign.unlink)
        self.sql("CREATE TABLE bookmark (title)", path=foreign)
        os.chown(foreign, 1, 5001)

        roots = pathlib.Path("/tmp/roots%3f.db?#")
        self.addCleanup(roots.unlink)
        self.sql("CREATE TABLE bookmark (title)", path=roots)
        empty = pathlib.Path("/tmp/empty")
        self.addCleanup(empty.unlink)
        empty.touch()

        for path, text in (("/etc/passwd",
                            "cannot open database /etc/passwd: file is not a database"),
                           (foreign, "it belongs to another program"),
                           (roots, "it belongs to another program"),
                           (empty, "database not found: /tmp/empty")):
            for more in ([], ["--json"]):
                said = self.refusal(NOT_USABLE, "check", "--database", str(path), *more)
                self.assertIn(text, said)
                self.assertNotRegex(said, "chown|chmod")

    def test_directory_of_another_database_is_not_checked(self):
        other = pathlib.Path("/tmp/other.db")
        self.addCleanup(other.unlink)
        self.create("--expire", "7d", "--database", str(other))

        self.assertIn("no problems found", self.out("check", "--database", str(other)))

    def test_damaged_file_is_reported(self):
        self.create()
        connection = sqlite3.connect(DATABASE)
        connection.execute("PRAGMA writable_schema = ON")
        # The schema now names another column for the index than it was built from.
        connection.execute("UPDATE sqlite_master SET sql = replace(sql, 'owner_uid,', "
                           "'start_at,') WHERE name = 'entry_owner'")
        connection.commit()
        connection.close()

        self.assertIn("integrity", self.problems())

    def damage(self):
        """The findings for a damaged file."""
        found = self.json_of_refused("check")
        return found["links"], [one for one in found["problems"]
                                if one["kind"] == "integrity"][0]

    def test_damage_beside_the_links_hides_none_of_them_and_export_saves_them(self):
        self.create("--user", "nobody-yet")
        self.fill(3000)
        self.break_root_page("entry_owner")

        links, damage = self.damage()

        self.assertEqual(links, 3001)
        self.assertIn("vexosharing export", damage["advice"][0])
        self.assertIn("vexosharing restore", damage["advice"][1])
        self.assertIn("unknown_name", self.problems())
        self.assertEqual(len(self.out("export").splitlines()), 3001)

    def test_damaged_links_need_a_backup(self):
        self.create()
        self.fill(3000)
        self.break_root_page("entry")

        links, damage = self.damage()

        self.assertEqual(links, 0)
        self.assertEqual(damage["advice"],
                         ["vexosharing restore FILE with the latest backup"])
        self.assertIn("links: database disk image is malformed", damage["items"])
        self.assertEqual(self.call("export").returncode, NOT_USABLE)

    def test_damaged_tokens_and_sessions_are_reported(self):
        self.create()
        for table in ("token", "session"):
            self.break_root_page(table)

            items = self.damage()[1]["items"]

            self.assertIn("tokens: database disk image is malformed", items)

    def test_each_damaged_page_is_an_item_of_its_own(self):
        self.create()
        self.fill(3000)
        self.damage_middle()

        items = self.damage()[1]["items"]

        self.assertGreater(len(items), 50)
        self.assertEqual(items[0], "links: database disk image is malformed")
        for item in items:
            self.assertNotIn("\n", item)
            self.assertNotIn("***", item)

    def test_text_output_shortens_long_lists(self):
        self.create()
        self.fill(30)

        self.assertIn(", and 21 more\n", self.out("check"))
        self.assertEqual(len(self.json("check")["remarks"][0]["items"]), 31)

    def test_prints_no_secret(self):
        link = self.create("--generate-password", "--private-data", '{"key":"hush"}')
        session = self.login(self.create())
        self.sql("UPDATE entry SET owner_uid = 5999")
        stored = self.sql("SELECT json_extract(data, '$.protect_password') FROM entry "
                          "WHERE hash = ?", link)[0][0]

        for arguments in (["check"], ["check", "--json"]):
            said = self.call(*arguments).stdout.decode()
            for secret in (stored, session, "hush"):
                self.assertNotIn(secret, said)

    def test_fits_the_terminal(self):
        self.create("--user", "alice", "--user", "nobody-yet")
        self.fill(30)

        for columns in (80, 120):
            status, shown = self.on_terminal("check", env={"NO_COLOR": "1",
                                                           "COLUMNS": str(columns)})
            self.assertEqual(status, REFUSED)
            for line in shown.splitlines():
                self.assertLessEqual(len(line.removeprefix("\033[K")), columns, line)

    def test_interrupted_check_prints_no_findings(self):
        self.create("--user", "nobody-yet")
        self.fill(20000)
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            with self.subTest(number):
                process = self.start("check", stdout=subprocess.PIPE)
                command_support.wait_until(
                    lambda: command_support.uses_database(process))

                process.send_signal(number)
                out, errors = process.communicate(timeout=60)

                self.assertEqual(process.returncode, INTERRUPTED)
                self.assertEqual(out, b"")
                self.assertRegex(errors.decode(), r"interrupted after \d+ links?")

    def test_shows_its_progress_on_a_terminal(self):
        self.create("--expire", "7d")
        self.fill(2)

        with self.slow_accounts():
            status, shown = self.on_terminal("check")

        self.assertEqual(status, DONE)
        self.assertIn("checking links: 1 of 3", shown)
        self.assertTrue(shown.endswith("Checked 3 links: no problems found.\r\n"))
        self.assertEqual(self.call("check").stderr, b"")

    def test_lost_output_is_reported(self):
        self.create("--expire", "7d")

        self.assert_lost_output_is_reported("check")
        self.assert_lost_output_is_reported("check", "--json")


if __name__ == "__main__":
    command_support.main()

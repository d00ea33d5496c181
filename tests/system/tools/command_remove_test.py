"""The subcommands delete, revoke, transfer and purge."""

import subprocess

import command_support
from command_support import DONE, NOT_USABLE, REFUSED, WRONG_CALL, CommandTest

PAST, AHEAD = 1577836800, 4000000000


class Rows(CommandTest):
    def hashes(self):
        return [link["hash"] for link in self.links()]

    def count(self, table):
        return self.sql(f"SELECT COUNT(*) FROM {table}")[0][0]

    def add_tokens(self, link, count, timeout=AHEAD, session=99):
        for _ in range(count):
            self.sql("INSERT INTO token SELECT NULL, id, ?, ? FROM entry WHERE hash = ?",
                     session, timeout, link)

    def add_session(self, name, timeout):
        self.sql("INSERT INTO session VALUES (NULL, ?, 4294967295, '192.0.2.1', ?)", name,
                 timeout)
        return self.sql("SELECT id FROM session WHERE session_id = ?", name)[0][0]

    def forbid(self, action, table):
        self.sql(f"CREATE TRIGGER no_more BEFORE {action} ON {table} "
                 "BEGIN SELECT RAISE(ABORT, 'no more'); END")


class Delete(Rows):
    def test_links_are_deleted_with_their_tokens(self):
        links = [self.create() for _ in range(3)]
        for link in links:
            self.add_tokens(link, 2)

        text = self.out("delete", links[0], links[2])

        self.assertEqual(text, f"{links[0]}: deleted, 2 tokens\n"
                               f"{links[2]}: deleted, 2 tokens\n")
        self.assertEqual(self.hashes(), [links[1]])
        self.assertEqual(self.count("token"), 2)

    def test_json_names_deleted_and_missing_links(self):
        link = self.create()
        self.add_tokens(link, 1)

        done = self.call("delete", "nothing", link, "--json")

        self.assertEqual(done.returncode, REFUSED)
        self.assertEqual(done.stdout.decode(), '{"items":[{"hash":"%s","revoked":1}],'
                                               '"missing":["nothing"]}\n' % link)

    def test_unknown_link_is_reported_and_the_others_deleted(self):
        links = [self.create() for _ in range(2)]

        done = self.call("delete", links[0], "nothing", "' OR 1=1 --", links[1])

        self.assertEqual(done.returncode, REFUSED)
        self.assertIn(b"link not found: nothing\n", done.stderr)
        self.assertEqual(self.hashes(), [])

    def test_unknown_links_alone_delete_nothing(self):
        link = self.create()

        self.refusal(REFUSED, "delete", "%")
        self.refusal(REFUSED, "delete", "")

        self.assertEqual(self.hashes(), [link])

    def test_unreadable_row_can_be_deleted(self):
        link = self.create()
        self.break_row(link)

        self.assertEqual(self.out("delete", link), f"{link}: deleted, 0 tokens\n")

        self.assertEqual(self.count("entry"), 0)

    def test_unusual_hash_can_be_deleted(self):
        self.create()
        odd = "--x' \"\n\x1b"
        self.sql("UPDATE entry SET hash = ?", odd)

        self.assertEqual(self.out("delete", "--", odd),
                         "--x' \"\\n\\x1b: deleted, 0 tokens\n")

    def test_arguments_after_two_dashes_are_hashes(self):
        self.create()
        self.sql("UPDATE entry SET hash = '--x='")

        self.assertEqual(self.out("delete", "--", "--x="), "--x=: deleted, 0 tokens\n")

    def test_failed_statement_is_reported(self):
        link = self.create()
        self.forbid("DELETE", "entry")

        self.assertIn("database error: no more",
                      self.refusal(NOT_USABLE, "delete", link))
        self.assertEqual(self.hashes(), [link])


class Revoke(Rows):
    def test_tokens_are_deleted_and_the_link_stays(self):
        links = [self.create() for _ in range(2)]
        session = self.login(links[0])
        self.add_tokens(links[0], 1)
        self.add_tokens(links[1], 1)

        text = self.out("revoke", links[0])

        self.assertEqual(text, f"{links[0]}: revoked, 2 tokens\n")
        self.assertEqual(self.hashes(), links)
        self.assertEqual(self.count("token"), 1)
        self.assertEqual(self.call("visit", links[0], "check",
                                   env={"SHARING_SID": session}).returncode, REFUSED)

    def test_link_without_tokens_is_no_error(self):
        link = self.create()

        self.assertEqual(self.json("revoke", link),
                         {"items": [{"hash": link, "revoked": 0}], "missing": []})

    def test_unknown_link_is_refused(self):
        self.create()

        self.assertIn("link not found: nothing", self.refusal(REFUSED, "revoke", "nothing"))

    def test_failed_statement_is_reported(self):
        link = self.create()
        self.add_tokens(link, 1)
        self.forbid("DELETE", "token")

        self.assertIn("database error: no more",
                      self.refusal(NOT_USABLE, "revoke", link))


class Transfer(Rows):
    def owners(self):
        return [row[0] for row in self.sql("SELECT owner_uid FROM entry ORDER BY id")]

    def test_links_get_the_new_owner(self):
        for owner in ("bob", "alice", "bob", "carol"):
            self.create(owner=owner)

        text = self.out("transfer", "--from", "bob", "--to", "alice")

        self.assertEqual(text, "Transferred 2 links from bob to alice.\n")
        self.assertEqual(self.owners(), [5001, 5001, 5001, 5003])

    def test_deleted_user_is_named_by_number(self):
        self.create()
        self.sql("UPDATE entry SET owner_uid = 7777")

        self.assertEqual(self.json("transfer", "--from", "7777", "--to", "bob"),
                         {"from_uid": 7777, "to_uid": 5002, "links": 1})
        self.assertEqual(self.owners(), [5002])

    def test_unreadable_rows_are_transferred_too(self):
        self.break_row(self.create())

        self.out("transfer", "--from", "alice", "--to", "bob")

        self.assertEqual(self.owners(), [5002])

    def test_user_without_links_is_refused(self):
        self.create()

        self.assertIn("no links owned by bob",
                      self.refusal(REFUSED, "transfer", "--from", "bob", "--to", "alice"))

    def test_unknown_user_is_refused(self):
        self.create()
        for giver, taker, name in (("nobody-here", "bob", "nobody-here"),
                                   ("alice", "nobody-here", "nobody-here"),
                                   ("alice", "7777", "7777")):
            self.assertIn(f"user not found: {name}", self.refusal(REFUSED, "transfer", "--from",
                                                            giver, "--to", taker))
        self.assertEqual(self.owners(), [5001])

    def test_usage_errors_are_refused(self):
        self.create()
        self.assertIn("--from and --to are the same user",
                      self.refusal(WRONG_CALL, "transfer", "--from", "alice", "--to", "5001"))
        self.assertIn("must not be empty",
                      self.refusal(WRONG_CALL, "transfer", "--from", "", "--to", "bob"))
        self.assertIn("must not be empty",
                      self.refusal(WRONG_CALL, "transfer", "--from", "alice", "--to="))

    def test_failed_statement_is_reported(self):
        self.create()
        self.forbid("UPDATE", "entry")

        self.assertIn("database error: no more",
                      self.refusal(NOT_USABLE, "transfer", "--from", "alice", "--to", "bob"))
        self.assertEqual(self.owners(), [5001])


class Purge(Rows):
    def purged(self, *arguments):
        counts = self.json("purge", *arguments)
        return counts["links"], counts["sessions"], counts["tokens"]

    def test_expired_rows_are_deleted_and_counted(self):
        live = self.create("--expire", "7d")
        past = self.create("--expire", "2020-01-01")
        used_up = self.create("--uses", "1")
        self.sql("UPDATE entry SET use_count = 1 WHERE hash = ?", used_up)
        session = self.add_session("live", AHEAD)
        past_session = self.add_session("past", PAST)
        self.add_tokens(past, 2, session=session)        # go with their link
        self.add_tokens(live, 1, session=past_session)   # goes with its session
        self.add_tokens(live, 3, PAST, session)          # past themselves
        self.add_tokens(live, 1, AHEAD, session)         # stays

        text = self.out("purge")

        self.assertEqual(text, "Links:     2\nSessions:  1\nTokens:    6\n")
        self.assertEqual(self.hashes(), [live])
        self.assertEqual((self.count("session"), self.count("token")), (1, 1))
        self.assertEqual(self.purged(), (0, 0, 0))

    def test_kept_links_stay_in_the_general_purge(self):
        kept = self.create("--expire", "2020-01-01", "--keep")
        self.create("--expire", "2020-01-01")

        self.assertEqual(self.purged(), (1, 0, 0))

        self.assertEqual(self.hashes(), [kept])

    def test_all_includes_kept_links(self):
        self.create("--expire", "2020-01-01", "--keep")
        self.create("--expire", "2020-01-01", owner="bob")
        live = self.create("--keep")
        self.add_session("past", PAST)

        self.assertEqual(self.purged("--all"), (2, 1, 0))

        self.assertEqual(self.hashes(), [live])

    def test_owner_and_project_limit_it_and_keep_sessions(self):
        past = ["--expire", "2020-01-01", "--keep"]
        bobs = self.create(*past, owner="bob")
        notes = self.create(*past, project="notes")
        photos = self.create(*past)
        live = self.create()
        self.add_session("past", PAST)
        self.add_tokens(photos, 1)
        self.add_tokens(live, 1, PAST)

        self.assertEqual(self.purged("--owner", "alice", "--project", "photos"), (1, 0, 1))
        self.assertEqual(self.hashes(), [bobs, notes, live])
        self.assertEqual(self.purged("--owner", "5002"), (1, 0, 0))
        self.assertEqual(self.purged("--all", "--project", "notes"), (1, 0, 0))
        self.assertEqual(self.hashes(), [live])
        self.assertEqual((self.count("session"), self.count("token")), (1, 1))

    def test_deleted_owner_is_named_by_number(self):
        self.create("--expire", "2020-01-01")
        self.sql("UPDATE entry SET owner_uid = 7777")

        self.assertEqual(self.purged("--owner", "7777"), (1, 0, 0))

    def test_every_owners_links_of_a_project_need_all(self):
        self.create("--expire", "2020-01-01")

        self.assertIn("--all", self.refusal(WRONG_CALL, "purge", "--project", "photos"))

        self.assertEqual(len(self.links()), 1)

    def test_wrong_values_purge_nothing(self):
        self.create("--expire", "2020-01-01")
        for status, arguments in ((WRONG_CALL, ["--owner", ""]),
                                  (WRONG_CALL, ["--owner="]),
                                  (WRONG_CALL, ["--project", "", "--all"]),
                                  (WRONG_CALL, ["--owner", "alice", "--all"]),
                                  (WRONG_CALL, ["alice"]),
                                  (REFUSED, ["--owner", "nobody-here"])):
            with self.subTest(arguments):
                self.refusal(status, "purge", *arguments)
        self.assertEqual(len(self.links()), 1)

    def test_failed_purge_leaves_everything(self):
        self.create("--expire", "2020-01-01")
        self.add_session("past", PAST)
        self.forbid("DELETE", "session")

        self.assertIn("database error: no more", self.refusal(NOT_USABLE, "purge"))

        self.assertEqual(len(self.links()), 1)

    def test_purge_of_5001_links_is_complete(self):
        self.create("--expire", "2020-01-01")
        self.fill(5000)

        self.assertEqual(self.purged(), (5001, 0, 0))

    def test_waits_for_another_writer(self):
        self.create("--expire", "2020-01-01")
        blocker = self.lock()
        process = self.start("purge", stdout=subprocess.DEVNULL)
        command_support.wait_until(lambda: command_support.uses_database(process))
        blocker.execute("ROLLBACK")

        self.assertEqual(process.wait(60), DONE)
        self.assertEqual(self.links(), [])


if __name__ == "__main__":
    command_support.main()

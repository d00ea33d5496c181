"""Common behaviour of the subcommands: help, usage errors, permissions, database."""

import json
import os
import pathlib
import re
import signal
import subprocess
import time

import command_support
from command_support import (AS_ALICE, BLOCKS, DATABASE, DONE, INTERRUPTED, NOT_USABLE,
                             READER_LEFT, REFUSED, WRONG_CALL, CommandTest)

MAKES_DATABASE = {"create": ["create", "--project", "photos", "--owner", "alice"],
                  "import": ["import"]}
NEEDS_DATABASE = {
    "list": ["list"],
    "show": ["show", "abc"],
    "edit": ["edit", "abc", "--title", "x"],
    "delete": ["delete", "abc"],
    "revoke": ["revoke", "abc"],
    "transfer": ["transfer", "--from", "bob", "--to", "alice"],
    "purge": ["purge"],
    "visit": ["visit", "abc", "login"],
    "check": ["check"],
    "backup": ["backup", "/tmp/copy.db"],
    "rotate": ["rotate", "abc"],
    "export": ["export"],
    "stats": ["stats"],
}
ALL = {**MAKES_DATABASE, **NEEDS_DATABASE}
HELPED = [*ALL, "restore", "log", "block", "block list", "block clear", "help"]

# Calls in which something else would be refused, or read, if the caller were admitted.
MISTAKEN = {
    "create": [["create", "--project", "photos", "--owner", "nobody-here"],
               ["create", "--project", "photos", "--owner", "alice", "--start", "2030-01-02",
                "--expire", "2030-01-01"],
               ["create", "--project", "photos", "--owner", "alice", "--user="],
               ["create", "--project", "photos", "--owner", "alice", "--password-file",
                "/tmp/no-such-file"]],
    "list": [["list", "--owner", "nobody-here"], ["list", "--database", "/tmp/none.db"]],
    "show": [["show", "nothing"]],
    "edit": [["edit", "nothing", "--title", "x"], ["edit", "nothing"],
             ["edit", "nothing", "--password-file", "/tmp/no-such-file"]],
    "delete": [["delete", "nothing"]],
    "revoke": [["revoke", "nothing"]],
    "rotate": [["rotate", "nothing"]],
    "transfer": [["transfer", "--from", "nobody-here", "--to", "alice"],
                 ["transfer", "--from", "alice", "--to", "alice"]],
    "purge": [["purge", "--project", "photos"], ["purge", "--owner", "nobody-here"]],
    "visit": [["visit", "abc", "login"], ["visit", "abc", "login", "--password-stdin"],
              ["visit", "abc", "check"]],
    "check": [["check", "--database", "/etc/passwd"]],
    "backup": [["backup", "/no/such/folder/copy.db"], ["backup", "/etc/passwd"]],
    "export": [["export", "/no/such/folder/links.jsonl"], ["export", "/etc/passwd"]],
    "import": [["import", "/no/such/file"]],
    "block": [["block", "clear", "192.0.2.7"], ["block", "clear", "nonsense"]],
    "stats": [["stats", "--database", "/tmp/none.db"]],
}


def processor_time(process):
    """Seconds that the process has computed so far."""
    text = pathlib.Path(f"/proc/{process.pid}/stat").read_text(encoding="ascii")
    return int(text.rsplit(")", 1)[1].split()[11]) / os.sysconf("SC_CLK_TCK")


class SlowTest(CommandTest):
    def slow_down(self, table, when="1"):
        """Makes each deletion from the table, or that of some rows, take a second or more."""
        self.sql("CREATE TABLE slow_row AS WITH RECURSIVE n(i) AS (VALUES(1) UNION ALL "
                 "SELECT i + 1 FROM n WHERE i < 600) SELECT i FROM n")
        self.sql(f"CREATE TRIGGER slow BEFORE DELETE ON {table} WHEN {when} BEGIN "
                 "SELECT COUNT(*) FROM slow_row AS a, slow_row AS b, slow_row AS c; END")


class Help(CommandTest):
    def test_names_every_subcommand_and_exit_code(self):
        text = self.out("--help")

        for name in [*ALL, "block", "help"]:
            self.assertRegex(text, rf"(?m)^  {name} ")
        for code in ("0", "1", "2", "3", "130", "141"):
            self.assertRegex(text, rf"(?m)^  {code} +")

    def test_of_each_subcommand_ends_with_an_example_that_calls_it(self):
        for name in HELPED:
            with self.subTest(name):
                example = self.out(*name.split(), "--help").split("\nExample:\n")[1]
                self.assertRegex(example, rf"(?m)^  vexosharing {name}( |$)")

    def test_fits_a_terminal_of_eighty_columns(self):
        for name in ["", *HELPED]:
            for line in self.out(*name.split(), "--help").splitlines():
                self.assertLessEqual(len(line), 80, line)

    def test_parts_are_separated_by_one_blank_line(self):
        for name in ["", *HELPED]:
            text = self.out(*name.split(), "--help")
            self.assertIn("\n\nUsage: vexosharing", text)
            self.assertNotIn("\n\n\n", text)

    def test_needs_neither_a_database_nor_root(self):
        for call in (["list", "--help"], ["help", "list"], ["help"]):
            self.assertIn("Usage", self.out(*call, **AS_ALICE))

    def test_help_subcommand_prints_the_same_as_the_option(self):
        for name in ["", *HELPED]:
            with self.subTest(name):
                self.assertEqual(self.out("help", *name.split()),
                                 self.out(*name.split(), "--help"))

    def test_help_of_an_unknown_subcommand_is_a_usage_error(self):
        for names in (["nonsense"], ["block", "nonsense"], ["list", "nonsense"]):
            self.assertIn("unknown subcommand: nonsense",
                          self.refusal(WRONG_CALL, "help", *names))

    def test_version_is_printed(self):
        self.assertRegex(self.out("--version", **AS_ALICE), r"^vexosharing \d+\.\d+\.\d+\n$")


class UsageErrors(CommandTest):
    def test_end_with_2_and_point_to_the_help(self):
        self.assertIn("see vexosharing --help", self.refusal(WRONG_CALL))
        self.assertIn('unknown subcommand: nonsense; see vexosharing --help',
                      self.refusal(WRONG_CALL, "nonsense", "--more"))
        self.assertIn("unknown option: --nonsense; see vexosharing --help",
                      self.refusal(WRONG_CALL, "--nonsense"))
        for name, call in ALL.items():
            with self.subTest(name):
                said = self.refusal(WRONG_CALL, *call, "--nonsense")
                self.assertIn("unknown option: --nonsense", said)
                self.assertIn(f"see vexosharing {name} --help", said)

    def test_missing_arguments_are_named(self):
        for call, missing in ((["create", "--owner", "alice"], "--project"),
                              (["create", "--project", "photos"], "--owner"),
                              (["show"], "HASH"), (["edit"], "HASH"),
                              (["delete"], "HASH"), (["revoke"], "HASH"),
                              (["transfer", "--from", "bob"], "--to"),
                              (["visit", "abc"], "ACTION")):
            self.assertIn(missing, self.refusal(WRONG_CALL, *call))

    def test_missing_or_second_value_is_reported(self):
        for call in (["list", "--project"], ["list", "--project", "a", "--project", "b"],
                     ["visit", "abc", "check", "--address"]):
            self.assertRegex(self.refusal(WRONG_CALL, *call),
                             r": --\w+ requires exactly one value; see vexosharing \w+ --help$")

    def test_value_of_a_flag_is_reported_and_not_repeated(self):
        for call in (["visit", "abc", "login", "--password-stdin=open sesame"],
                     ["visit", "abc", "login", "--json=open sesame"]):
            said = self.refusal(WRONG_CALL, *call)
            self.assertRegex(said, r": --(json|password-stdin) does not take a value; see ")

    def test_unknown_option_is_reported_before_missing_ones_without_its_value(self):
        for call in (["create", "--projcet", "hunter2"], ["create", "--password=hunter2"],
                     ["create", "--owner", "alice", "--password", "hunter2"]):
            said = self.refusal(WRONG_CALL, *call)
            self.assertRegex(said, r": unknown option: --(projcet|password); see ")
            self.assertNotIn("hunter2", said)

    def test_empty_database_path_is_refused(self):
        for name in ALL:
            if name != "visit":
                self.assertIn("--database: must not be empty",
                              self.refusal(WRONG_CALL, *ALL[name], "--database="))

    def test_change_nothing(self):
        self.refusal(WRONG_CALL, *MAKES_DATABASE["create"], "--uses", "many")

        self.assertFalse(DATABASE.exists())


class Database(CommandTest):
    def test_missing_database_is_reported_and_not_created(self):
        for name, call in NEEDS_DATABASE.items():
            with self.subTest(name):
                self.assertIn(f"database not found: {DATABASE}",
                              self.refusal(NOT_USABLE, *call))
                self.assertEqual(list(DATABASE.parent.iterdir()), [])

    def test_locked_database_is_reported_after_one_wait(self):
        link = self.create()
        before = self.sql("SELECT * FROM entry")
        self.lock()
        processes = {name: self.start(*call, stdout=subprocess.PIPE) for name, call in {
            "create": MAKES_DATABASE["create"], "edit": ["edit", link, "--title", "x"],
            "delete": ["delete", link], "revoke": ["revoke", link], "purge": ["purge"],
            "transfer": ["transfer", "--from", "alice", "--to", "bob"]}.items()}
        for name, process in processes.items():
            with self.subTest(name):
                errors = process.communicate(timeout=60)[1]
                self.assertEqual(process.returncode, NOT_USABLE)
                self.assertEqual(errors, b"vexosharing: database error: database is locked; "
                                         b"another program is using it, try again later\n")
        self.assertEqual(self.sql("SELECT * FROM entry"), before)

    def test_create_creates_a_missing_database_for_the_system_account(self):
        self.create()

        status = DATABASE.stat()
        self.assertEqual((status.st_uid, status.st_gid, status.st_mode & 0o777),
                         (1, 1, 0o660))

    def test_other_users_are_refused_in_one_line(self):
        self.create()
        for name, call in ALL.items():
            with self.subTest(name):
                said = self.refusal(NOT_USABLE, *call, **AS_ALICE)
                self.assertIn("permission denied; run this as root", said)

    def test_other_users_are_refused_before_any_other_check(self):
        self.create()
        self.assertEqual(set(MISTAKEN), {*ALL, "block"})
        for call in sum(MISTAKEN.values(), []):
            with self.subTest(call):
                self.assertNotEqual(self.call(*call).returncode, DONE)
                self.assertIn("permission denied; run this as root",
                              self.refusal(NOT_USABLE, *call, **AS_ALICE))

    def test_other_users_are_refused_before_a_secret_is_read(self):
        for call in (MAKES_DATABASE["create"] + ["--password-stdin"],
                     ["edit", "abc", "--password-stdin"],
                     ["visit", "abc", "login", "--password-stdin"],
                     ["visit", "abc", "check"], ["import"]):
            reading, writing = os.pipe()
            os.write(writing, b"secret\n")
            os.close(writing)
            with self.subTest(call), open(reading, "rb") as given:
                self.refusal(NOT_USABLE, *call, stdin=given, **AS_ALICE)
                self.assertEqual(given.read(), b"secret\n")

    def test_system_account_may(self):
        self.create()

        listed = self.call("list", "--json", user=1, group=1, extra_groups=[])

        self.assertEqual(listed.returncode, DONE, listed.stderr)
        self.assertEqual(len(json.loads(listed.stdout)["items"]), 1)

    def test_root_without_the_capabilities_to_switch_accounts_gets_an_error(self):
        self.create()
        for capability in ("setuid", "setgid"):
            done = subprocess.run(
                ["/usr/bin/setpriv", f"--bounding-set=-{capability}",
                 f"--inh-caps=-{capability}", command_support.COMMAND, "list"],
                env=command_support.environment(), capture_output=True, check=False)
            self.assertEqual((done.returncode, done.stdout), (NOT_USABLE, b""), done.stderr)
            self.assertIn(b"CAP_SETUID and CAP_SETGID are required",
                          done.stderr)

    def test_file_that_is_not_a_database_is_reported(self):
        DATABASE.write_bytes(b"This is no database.\n" * 500)
        os.chown(DATABASE, 1, 1)
        DATABASE.chmod(0o660)
        for name, call in ALL.items():
            with self.subTest(name):
                self.assertIn("file is not a database; restore a backup",
                              self.refusal(NOT_USABLE, *call))

    def test_damaged_page_is_reported(self):
        self.create()
        self.fill(2000)
        self.damage_middle()

        for call in (["list"], ["list", "--json"], ["purge", "--all"]):
            listed = self.call(*call)
            self.assertEqual(listed.returncode, NOT_USABLE, listed.stderr)
            self.assertIn(b"database error: ", listed.stderr)

    def test_database_of_root_is_refused_with_a_hint(self):
        self.create()
        other = pathlib.Path("/tmp/of-root.db")
        self.addCleanup(other.unlink)
        other.write_bytes(DATABASE.read_bytes())
        other.chmod(0o600)

        said = self.refusal(NOT_USABLE, "purge", "--database", str(other))

        self.assertIn("chown 1:1", said)

    def test_database_that_is_not_writable_is_refused_with_a_hint(self):
        self.create()
        folder = DATABASE.parent
        DATABASE.chmod(0o440)
        self.assertIn("chmod 660", self.refusal(NOT_USABLE, "purge"))
        DATABASE.chmod(0o660)
        self.addCleanup(os.chown, folder, 1, 1)
        for owner, group, mode in ((0, 0, 0o755), (0, 1, 0o750)):
            os.chown(folder, owner, group)
            folder.chmod(mode)
            for call in (["purge"], MAKES_DATABASE["create"]):
                self.assertIn("directory not writable by the system account",
                              self.refusal(NOT_USABLE, *call))

    def test_directory_or_unreachable_path_is_refused(self):
        self.assertIn("not a regular file", self.refusal(NOT_USABLE, "list", "--database", "/tmp"))
        self.assertIn("Not a directory",
                      self.refusal(NOT_USABLE, "list", "--database", "/etc/passwd/x"))
        self.assertIn("directory not writable by the system account",
                      self.refusal(NOT_USABLE, *MAKES_DATABASE["create"], "--database",
                                   "/usr/vexo/x.db"))
        self.assertIn("directory not found: /usr/vexo/no-such-folder",
                      self.refusal(NOT_USABLE, *MAKES_DATABASE["create"], "--database",
                                   "/usr/vexo/no-such-folder/x.db"))

    def test_other_database_is_used_when_given(self):
        other = "/tmp/other.db"
        self.addCleanup(pathlib.Path(other).unlink)

        link = self.create("--database", other)

        self.assertFalse(DATABASE.exists())
        self.assertEqual([one["hash"] for one in self.links("--database", other)], [link])
        self.json("revoke", link, "--database", other)
        self.json("transfer", "--from", "alice", "--to", "bob", "--database", other)
        self.assertEqual(self.shown(link, "--database", other)["owner_user"], "bob")
        self.json("edit", link, "--title", "x", "--database", other)
        self.json("purge", "--database", other)
        self.json("delete", link, "--database", other)

    def test_visit_has_no_database_option(self):
        self.refusal(WRONG_CALL, "visit", "abc", "login", "--database", "/tmp/x.db")


class OtherFiles(CommandTest):
    """Files that are named by mistake."""

    def untouched(self, file, *call):
        """The error message of a call that must not change the file and those beside it."""
        def content():
            return {path: path.read_bytes() for path in file.parent.iterdir()}

        before = content()
        said = self.refusal(NOT_USABLE, *call)
        self.assertEqual(content(), before)
        return said

    def lay_empty(self):
        """Creates an empty file with the owner and mode of a database."""
        self.forget()
        DATABASE.touch()
        DATABASE.chmod(0o660)
        os.chown(DATABASE, 1, 1)

    def test_blocking_database_stays_as_it_is(self):
        link = self.create("--generate-password")
        self.call("visit", link, "login", "--password-stdin", text="wrong\n")
        blocks = BLOCKS / "autoblock.db"
        for name, call in ALL.items():
            if name != "visit":
                with self.subTest(name):
                    said = self.untouched(blocks, *call, "--database", str(blocks))
                    self.assertIn(f"cannot open database {blocks}: it belongs to another program", said)

        self.assertEqual(self.json("block", "list")["addresses"][0]["failures"], 1)

    def test_foreign_database_with_a_table_named_entry_stays_as_it_is(self):
        self.lay_empty()
        self.sql("CREATE TABLE entry (title)")
        self.sql("PRAGMA journal_mode = WAL")  # there are files beside it while it is open
        DATABASE.chmod(0o664)  # which check would mend in a file of ours
        for name, call in ALL.items():
            with self.subTest(name):
                self.assertIn(f"cannot open database {DATABASE}: it belongs to another program",
                              self.untouched(DATABASE, *call))

    def test_empty_file_stays_empty_when_it_is_read(self):
        self.lay_empty()
        for name, call in NEEDS_DATABASE.items():
            with self.subTest(name):
                self.assertIn(f"database not found: {DATABASE}",
                              self.untouched(DATABASE, *call))

    def test_empty_file_becomes_a_database_when_links_are_added(self):
        link = json.dumps({"hash": "abc", "project_name": "photos", "owner_user": "alice"})
        for call in MAKES_DATABASE.values():
            self.lay_empty()

            self.out(*call, text=link)

            self.assertEqual(len(self.links()), 1)


class ClosedOutput(CommandTest):
    def calls(self):
        """A call of each subcommand that prints something."""
        link = self.create()
        token = self.create()
        session = self.login(token)
        self.create(owner="bob")
        yield ["list"]
        yield ["show", link]
        yield ["log", link, "--json"]
        yield ["edit", link, "--title", "x"]
        yield ["revoke", link]
        yield ["transfer", "--from", "bob", "--to", "alice"]
        yield ["purge"]
        yield ["visit", token, "login"]
        yield ["visit", token, "check", session]
        yield ["delete", link]
        yield ["create", "--project", "photos", "--owner", "alice"]

    def test_lost_help_is_an_error(self):
        with open("/dev/full", "wb") as full:
            self.assertEqual(self.call("list", "--help", stdout=full).returncode, REFUSED)

    def each(self, *more, **options):
        for call in self.calls():
            session = call.pop() if call[2:3] == ["check"] else ""
            call += more
            with self.subTest(call):
                done = self.call(*call, env={"SHARING_SID": session}, **options)
                self.assertEqual(done.returncode, REFUSED, done.stderr)
                self.assertIn(b"cannot write to standard output",
                              done.stderr.splitlines()[-1])

    def test_closed_output_is_reported(self):
        self.each(stdout=None, preexec_fn=lambda: os.close(1))

        self.each("--json", stdout=None, preexec_fn=lambda: os.close(1))

    def test_full_disk_is_reported(self):
        with open("/dev/full", "wb") as full:
            self.each(stdout=full)
            self.each("--json", stdout=full)

    def test_reader_that_has_left_ends_the_call_quietly(self):
        reading, writing = os.pipe()
        os.close(reading)
        with open(writing, "wb") as output:
            for call in self.calls():
                if call[0] == "create" or call[2:3] == ["check"]:
                    continue
                with self.subTest(call):
                    done = self.call(*call, stdout=output)
                    self.assertEqual(done.returncode, READER_LEFT)
                    self.assertNotIn(b"standard output", done.stderr)

    def test_create_without_a_reader_reports_that_the_link_was_deleted(self):
        reading, writing = os.pipe()
        os.close(reading)
        with open(writing, "wb") as output:
            done = self.call(*MAKES_DATABASE["create"], stdout=output)

        self.assertEqual(done.returncode, REFUSED)
        self.assertEqual(done.stderr.splitlines()[-1], b"vexosharing: cannot write to "
                         b"standard output: the link was deleted")
        self.assertEqual(self.links(), [])

    def test_list_and_export_stop_quietly_when_their_reader_leaves(self):
        self.create()
        self.fill(20000)

        for arguments in (["list"], ["list", "--json"], ["export"]):
            process = self.start(*arguments, stdout=subprocess.PIPE)
            process.stdout.read(10)
            process.stdout.close()
            self.assertEqual(process.wait(60), READER_LEFT)
            self.assertEqual(process.stderr.read(), b"")

    def test_create_deletes_a_link_that_it_could_not_print(self):
        self.create()

        done = self.call(*MAKES_DATABASE["create"], "--generate-password", stdout=None,
                         preexec_fn=lambda: os.close(1))

        self.assertEqual(done.returncode, REFUSED)
        self.assertIn(b"the link was deleted", done.stderr)
        self.assertEqual(len(self.links()), 1)

    def test_no_file_is_opened_in_the_place_of_closed_streams(self):
        def close_both():
            os.close(1)
            os.close(2)

        process = self.start("visit", "abc", "login", "--password-stdin",
                             stdin=subprocess.PIPE, preexec_fn=close_both)
        command_support.wait_until(lambda: command_support.waits_for_input(process))

        for fd in (1, 2):
            self.assertEqual(os.readlink(f"/proc/{process.pid}/fd/{fd}"), "/dev/null")


class Interrupts(SlowTest):
    def interrupted(self, process):
        """What the interrupted process printed on its two streams."""
        out, errors = process.communicate(timeout=60)
        self.assertEqual(process.returncode, INTERRUPTED, errors)
        return out.decode(), errors.decode()

    def interrupted_while_waiting(self, *call):
        """The same for a call that is interrupted while it waits for another writer."""
        blocker = self.lock()
        process = self.start(*call, stdout=subprocess.PIPE)
        command_support.wait_until(lambda: command_support.uses_database(process))
        process.send_signal(signal.SIGINT)
        blocker.execute("ROLLBACK")
        return self.interrupted(process)

    def test_list_stops_between_rows_and_reports_their_number(self):
        self.create()
        self.fill(20000)
        for arguments in (["list"], ["list", "--json"]):
            process = self.start(*arguments, stdout=subprocess.PIPE, bufsize=0)
            begun = process.stdout.read(100)  # and now it waits for its reader

            process.send_signal(signal.SIGINT)
            out, errors = self.interrupted(process)

            self.assertRegex(errors, r"^vexosharing: interrupted after \d+ of 20001 links\n$")
            if "--json" in arguments:
                text = begun.decode() + out
                self.assertTrue(text.startswith('{"total":20001,"items":[\n{'), text)
                self.assertTrue(text.endswith("}"), text)
                json.loads(text + "]}")  # whole up to there, and not closed

    def test_delete_stops_between_links_and_reports_their_number(self):
        links = [self.create() for _ in range(3)]
        self.slow_down("entry", f"OLD.hash = '{links[1]}'")
        process = self.start("delete", *links, "--json", stdout=subprocess.PIPE)
        command_support.wait_until(lambda: processor_time(process) > 0.2)
        process.send_signal(signal.SIGINT)

        out, errors = self.interrupted(process)

        self.assertEqual([link["hash"] for link in json.loads(out)["items"]], links[:1])
        self.assertEqual(errors, "vexosharing: interrupted: 1 of 3 links deleted\n")
        self.assertEqual([link["hash"] for link in self.links()], links[1:])

    def test_delete_and_revoke_that_wait_change_nothing(self):
        link = self.create()
        self.login(link)
        for name, done in ("delete", "deleted"), ("revoke", "revoked"):
            out, errors = self.interrupted_while_waiting(name, link, "--json")
            self.assertEqual(json.loads(out), {"items": [], "missing": []})
            self.assertEqual(errors, f"vexosharing: interrupted: 0 of 1 link {done}\n")
        self.assertEqual(len(self.links()), 1)
        self.assertEqual(self.sql("SELECT COUNT(*) FROM token"), [(1,)])

    def test_interrupt_ends_wait_for_write_lock(self):
        link = self.create("--expire", "2020-01-01")
        before = self.sql("SELECT * FROM entry")
        self.hold_write_lock()
        for call in (["edit", link, "--title", "x"], ["delete", link], ["revoke", link],
                     ["transfer", "--from", "alice", "--to", "bob"], ["purge"],
                     MAKES_DATABASE["create"]):
            process = self.start(*call, stdout=subprocess.PIPE)
            command_support.wait_until(command_support.is_write_lock_awaited)
            begin = time.monotonic()
            process.send_signal(signal.SIGINT)

            self.assertIn("interrupted", self.interrupted(process)[1])
            self.assertLess(time.monotonic() - begin, 3)
        self.assertEqual(self.sql("SELECT * FROM entry"), before)

    def test_purge_leaves_everything(self):
        self.create("--expire", "2020-01-01")

        self.assertEqual(self.interrupted_while_waiting("purge"),
                         ("", "vexosharing: interrupted: nothing was changed\n"))
        self.assertEqual(len(self.links()), 1)

    def test_edit_and_transfer_that_wait_change_nothing(self):
        link = self.create()
        before = self.sql("SELECT * FROM entry")
        for call, rest in ((["edit", link, "--title", "x"], "0 of 1 link changed"),
                           (["transfer", "--from", "alice", "--to", "bob"],
                            "nothing was changed")):
            self.assertEqual(self.interrupted_while_waiting(*call),
                             ("", f"vexosharing: interrupted: {rest}\n"))
            self.assertEqual(self.sql("SELECT * FROM entry"), before)

    def test_create_that_waits_creates_no_link(self):
        self.create()
        self.assertEqual(self.interrupted_while_waiting(*MAKES_DATABASE["create"]),
                         ("", "vexosharing: interrupted: nothing was changed\n"))
        self.assertEqual(len(self.links()), 1)

    def purge_in_the_middle(self):
        """A purge that has deleted a link and is deleting a session."""
        self.create("--expire", "2020-01-01")
        self.sql("INSERT INTO session VALUES (NULL, 'past', 4294967295, '192.0.2.1', 1)")
        self.slow_down("session")
        process = self.start("purge", stdout=subprocess.PIPE)
        command_support.wait_until(lambda: processor_time(process) > 0.2)
        self.assertIsNone(process.poll())
        return process

    def nothing_was_purged(self):
        self.assertEqual([link["state"] for link in self.links("--state", "expired")],
                         ["expired"])
        self.assertEqual(self.sql("SELECT session_id FROM session"), [("past",)])
        self.sql("DROP TRIGGER slow")
        self.assertEqual(self.json("purge"), {"links": 1, "sessions": 1, "tokens": 0})

    def test_purge_that_has_begun_leaves_everything(self):
        process = self.purge_in_the_middle()

        process.send_signal(signal.SIGINT)

        self.assertEqual(self.interrupted(process),
                         ("", "vexosharing: interrupted: nothing was changed\n"))
        self.nothing_was_purged()

    def test_purge_that_is_killed_leaves_everything(self):
        process = self.purge_in_the_middle()

        process.kill()
        process.wait(60)

        self.nothing_was_purged()

    def test_waiting_for_a_password_ends(self):
        for call in (MAKES_DATABASE["create"] + ["--password-stdin"],
                     ["visit", "abc", "login", "--password-stdin"],
                     ["visit", "abc", "check"]):
            process = self.start(*call, stdin=subprocess.PIPE, stdout=subprocess.PIPE)
            command_support.wait_until(lambda p=process: command_support.waits_for_input(p))

            process.send_signal(signal.SIGINT)

            self.assertEqual(process.wait(60), INTERRUPTED)
        self.assertFalse(DATABASE.exists())

    def test_second_one_ends_the_program_at_once(self):
        process = self.purge_in_the_middle()

        process.send_signal(signal.SIGINT)
        time.sleep(1.2)  # within a second it counts as the same interrupt
        self.assertIsNone(process.poll())
        process.send_signal(signal.SIGINT)

        self.assertEqual(process.wait(10), INTERRUPTED)
        self.nothing_was_purged()


class Terminals(SlowTest):
    def test_colours_are_for_terminals_and_by_the_rule_of_no_color(self):
        self.create()

        self.assertNotIn("\033", self.out("list"))
        self.assertIn("\033[32m", self.on_terminal("list")[1])
        self.assertIn("\033[32m", self.on_terminal("list", env={"NO_COLOR": ""})[1])
        self.assertNotIn("\033", self.on_terminal("list", env={"NO_COLOR": "1"})[1])
        self.assertNotIn("\033", self.on_terminal("list", env={"TERM": "dumb"})[1])

    def test_tables_fit_the_width_of_the_terminal(self):
        project = "ein Projekt mit Umläuten äöü und 日本語の写真 " * 5
        self.create(project=project)
        self.create(owner="bob", project="short")

        for columns in (80, 100, 120):
            lines = self.on_terminal("list", env={"NO_COLOR": "1", "COLUMNS": str(columns)})
            for line in lines[1].splitlines():
                wide = len(re.findall("[日本語の写真]", line))
                self.assertLessEqual(len(line) + wide, columns, line)
            self.assertIn("…", lines[1])
        self.assertIn(project, self.out("list", env={"COLUMNS": "80"}))

    def test_show_continues_long_texts_on_the_next_line(self):
        link = self.create("--title", "word " * 30)

        shown = self.on_terminal("show", link, env={"NO_COLOR": "1"})[1]

        for line in shown.splitlines():
            self.assertLessEqual(len(line), 80)
        self.assertIn("word " * 30, self.out("show", link))

    def test_show_breaks_long_json_after_commas_and_keeps_urls_whole(self):
        self.install_url_tool("echo https://nas.example/" + "x" * 100 + "; echo 2")
        paths = [f"/volume1/photo/{i}.jpg" for i in range(10)]
        link = self.create("--app", json.dumps({"paths": paths}))

        lines = self.on_terminal("show", link, env={"NO_COLOR": "1"})[1].splitlines()

        self.assertIn("URL:           https://nas.example/" + "x" * 100, lines)
        begin = next(i for i, line in enumerate(lines) if line.startswith("App data:"))
        end = next(i for i, line in enumerate(lines) if line.startswith("Private data:"))
        self.assertGreater(end - begin, 2)
        for line in lines[begin:end]:
            self.assertLessEqual(len(line), 80)
        self.assertEqual(json.loads("".join(line[15:] for line in lines[begin:end])),
                         {"paths": paths})

    def test_message_of_a_purge_replaces_its_progress(self):
        self.create("--expire", "2020-01-01")
        self.sql("INSERT INTO session VALUES (NULL, 'past', 4294967295, '192.0.2.1', 1)")
        self.sql("CREATE TRIGGER no_more BEFORE DELETE ON session "
                 "BEGIN SELECT RAISE(ABORT, 'no more'); END")

        shown = self.on_terminal("purge")[1]

        self.assertTrue(shown.endswith(" of 3\033[K\r\033[Kvexosharing: database error: "
                                       "no more\r\n"), shown)

    def test_step_of_a_purge_is_shown_when_it_begins(self):
        self.create("--expire", "2020-01-01")
        self.sql("CREATE TRIGGER no_more BEFORE DELETE ON entry "
                 "BEGIN SELECT RAISE(ABORT, 'no more'); END")

        for arguments, steps in ([], 3), (["--owner", "alice"], 1):
            shown = self.on_terminal("purge", *arguments)[1]
            self.assertIn(f"\rpurging, step: 1 of {steps}\033[K\r\033[K", shown)

    def test_progress_of_a_purge_is_shown_and_wiped(self):
        self.create("--expire", "2020-01-01")

        status, shown = self.on_terminal("purge", env={"NO_COLOR": "1"})

        self.assertEqual(status, DONE)
        self.assertRegex(shown, "^" + "".join(rf"\rpurging, step: {step} of 3\033\[K"
                                              for step in (1, 2, 3)))
        self.assertTrue(shown.endswith("\r\033[KLinks:     1\r\nSessions:  0\r\n"
                                       "Tokens:    0\r\n"), shown)

    def test_password_prompt_does_not_echo(self):
        status, shown = self.on_terminal("create", "--project", "photos", "--owner", "alice",
                                         "--password-stdin", typed=b"open sesame\n")

        self.assertEqual(status, DONE)
        self.assertIn("password for the link: ", shown)
        self.assertNotIn("sesame", shown)
        self.login(self.links()[0]["hash"], "--password-stdin", text="open sesame\n")

    def test_progress_is_shown_on_a_terminal_only_and_wiped(self):
        self.create()
        self.fill(2)

        with self.slow_accounts():
            shown = self.shown_on_error_terminal("list", "--json")

        self.assertIn("reading links: 1 of 3", shown)
        self.assertTrue(shown.endswith("\r\033[K"), shown)
        self.assertEqual(self.call("list").stderr, b"")


if __name__ == "__main__":
    command_support.main()

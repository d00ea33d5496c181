"""The subcommands export and import."""

import contextlib
import json
import os
import pathlib
import shutil
import signal
import sqlite3
import subprocess
import sys
import tempfile
import time

import command_support
from command_support import (DATABASE, DONE, INTERRUPTED, NOT_USABLE, REFUSED, WRONG_CALL,
                             CommandTest)

SECRETS = {"protect_password", "protect_password_algo", "protect_password_salt",
           "private_data"}
ROWS = ("SELECT hash, project_name, enabled, owner_uid, start_at, expire_at, expire_times, "
        "use_count, auto_gc, data FROM entry ORDER BY id")
MEBIBYTE = 1024  # in the unit of ru_maxrss
BOUND = 64 * MEBIBYTE

# A child counts the memory of the process that started it as its own until it runs the
# command: so a small one starts it.
LAUNCHER = ("import resource, subprocess, sys; status = subprocess.call(sys.argv[1:]); "
            "print(resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss, file=sys.stderr); "
            "sys.exit(status)")


def line(**members):
    """A legal line of an import, with these members."""
    return {"hash": "abcdefghi", "project_name": "photos", "owner_user": "alice", **members}


def lines(*objects):
    return "".join(json.dumps(one) + "\n" for one in objects)


class ExportTest(CommandTest):
    def setUp(self):
        super().setUp()
        self.folder = pathlib.Path(tempfile.mkdtemp())
        self.addCleanup(shutil.rmtree, self.folder)
        self.file = self.folder / "links.jsonl"

    def left(self):
        return sorted(path.name for path in self.folder.iterdir())

    def make_one_of_each_kind(self):
        """Links that use every column and member; their hashes."""
        made = [
            self.create("--expire", "2099-01-01", "--start", "2020-01-01", "--uses", "7",
                        "--app", '{"album":"Süß \\"quoted\\" \'n\' more"}', "--private-data",
                        '{"key":[1,2.5,null,true,"hush"]}', "--no-match-ip", "--keep",
                        "--title", "Fotos 日本\n2", "--redirect-type", "always",
                        "--redirect-uri", "/x?a=1&b='", "--generate-password"),
            self.create("--user", "alice", "--user", "nobody-yet", "--group", "no-group",
                        "--group", "staff-test", "--redirect-type", "url_param",
                        owner="bob", project="o'neil"),
            self.create(),
        ]
        self.sql("UPDATE entry SET use_count = 3, enabled = 0 WHERE hash = ?", made[2])
        # Ids without a name beside names without an id, and a password in the old form.
        self.sql("UPDATE entry SET data = json_set(data, '$.protect_uids', "
                 "json('[5001, 5999]'), '$.protect_gids', json('[5100, 5998]')) "
                 "WHERE hash = ?", made[1])
        self.sql("UPDATE entry SET owner_uid = 5997, data = json_set(data, "
                 "'$.protect_type', 'password', '$.protect_password_algo', 'md5', "
                 "'$.protect_password', '5f4dcc3b5aa765d61d8327deb882cf99') "
                 "WHERE hash = ?", made[2])
        return made

    @staticmethod
    def rows():
        """The stored links; the order of ids means nothing."""
        rows = []
        for *columns, text in CommandTest.sql(ROWS):
            data = json.loads(text)
            for ids in ("protect_uids", "protect_gids"):
                data[ids].sort()
            rows.append((*columns, data))
        return rows

    def memory(self, *arguments, **options):
        """The peak memory of a call that must succeed, in KiB."""
        done = subprocess.run([sys.executable, "-S", "-c", LAUNCHER, command_support.COMMAND,
                               *arguments], env=command_support.environment(),
                              stderr=subprocess.PIPE, check=True, **options)
        return int(done.stderr)


class Export(ExportTest):
    def test_and_import_with_secrets_bring_every_column_back(self):
        self.make_one_of_each_kind()
        before = self.rows()
        self.out("export", "--with-secrets", str(self.file))
        self.forget()

        told = self.json("import", str(self.file))

        self.assertEqual(told, {"new_hashes": [], "imported": 3, "skipped": 0, "refused": 0,
                                "disabled": 0})
        self.assertEqual(self.rows(), before)

    def test_is_a_line_of_json_for_each_link_without_secrets(self):
        made = self.make_one_of_each_kind()

        told = self.out("export")

        links = [json.loads(text) for text in told.splitlines()]
        self.assertEqual([link["hash"] for link in links], made)
        for link in links:
            self.assertFalse(SECRETS & set(link), link)
        for (data,) in self.sql("SELECT data FROM entry"):
            stored = json.loads(data)
            for secret in (stored["protect_password"], stored["protect_password_salt"]):
                self.assertTrue(secret == "" or secret not in told)
        self.assertNotIn("hush", told)

    def test_has_the_secrets_with_the_option(self):
        self.create("--private-data", '{"key":"hush"}', "--generate-password")

        link = json.loads(self.out("export", "--with-secrets"))

        self.assertLessEqual(SECRETS, set(link))
        self.assertEqual(link["private_data"], {"key": "hush"})
        self.assertRegex(link["protect_password"], "^[0-9a-f]{40}$")

    def test_of_no_links_is_empty(self):
        link = self.create()
        self.out("delete", link)

        self.assertEqual(self.out("export"), "")

    def test_file_is_readable_by_its_owner_only_and_replaced_with_force_only(self):
        self.create()
        self.assertEqual(self.out("export", str(self.file)),
                         f"Exported 1 link to {self.file}.\n")
        self.assertEqual(self.file.stat().st_mode & 0o777, 0o600)
        self.file.write_text("precious")

        self.assertIn("--force", self.refusal(REFUSED, "export", str(self.file)))
        self.assertEqual(self.file.read_text(), "precious")
        self.assertEqual(self.json("export", "--force", str(self.file))["exported"], 1)
        self.assertEqual(len(self.file.read_text().splitlines()), 1)
        self.assertEqual(self.left(), ["links.jsonl"])

    def test_never_replaces_the_database(self):
        self.create()

        self.refusal(REFUSED, "export", "--force", str(DATABASE))

        self.assertEqual(len(self.links()), 1)

    def test_unreadable_rows_are_reported_with_exit_code_1(self):
        good, bad = self.create(), self.create()
        self.break_row(bad)

        done = self.call("export")

        self.assertEqual(done.returncode, REFUSED)
        self.assertEqual([json.loads(text)["hash"] for text in done.stdout.splitlines()],
                         [good])
        self.assertIn(f"1 unreadable row: {bad}".encode(), done.stderr)
        told = json.loads(self.call("export", "--json", str(self.file)).stdout)
        self.assertEqual(told["exported"], 1)
        self.assertEqual([link["hash"] for link in told["unreadable"]], [bad])

    def test_log_beside_the_name_does_not_matter_to_a_text(self):
        self.create()
        pathlib.Path(f"{self.file}-wal").touch()

        self.out("export", str(self.file))

        self.assertEqual(len(self.file.read_text().splitlines()), 1)

    def test_full_disk_is_reported_and_leaves_nothing(self):
        self.create("--app", '{"text":"' + "x" * 20000 + '"}')
        self.fill(100)
        subprocess.run(["mount", "-t", "tmpfs", "-o", "size=64k", "tmpfs", self.folder],
                       check=True)
        self.addCleanup(subprocess.run, ["umount", self.folder], check=True)

        said = self.refusal(REFUSED, "export", str(self.file))

        self.assertIn("No space left", said)
        self.assertEqual(self.left(), [])

    def test_lost_output_is_reported(self):
        self.create()

        self.assert_lost_output_is_reported("export")
        self.assert_lost_output_is_reported("export", str(self.file),
                                        before=lambda: self.file.unlink(missing_ok=True))

    def test_interrupted_export_reports_the_number_of_links(self):
        self.create()
        self.fill(20000)
        process = self.start("export", stdout=subprocess.PIPE)
        process.stdout.read(10)  # and now it waits for its reader

        process.send_signal(signal.SIGINT)
        _, errors = process.communicate(timeout=60)

        self.assertEqual(process.returncode, INTERRUPTED)
        self.assertRegex(errors.decode(), r"interrupted after \d+ of 20001 links")

    def test_interrupted_export_leaves_no_file(self):
        self.create()
        self.fill(2)
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            with self.subTest(number), self.slow_accounts(seconds=60):
                process = self.start("export", str(self.file), stdout=subprocess.PIPE)
                command_support.wait_until(lambda: self.left() or
                                           process.poll() is not None)

                process.send_signal(number)
                out, errors = process.communicate(timeout=60)

                self.assertEqual((process.returncode, out), (INTERRUPTED, b""))
                self.assertRegex(errors.decode(), r"^vexosharing: interrupted after \d of "
                                                  r"3 links: no file was written\n$")
                self.assertEqual(self.left(), [])

    def test_of_a_damaged_file_leaves_nothing(self):
        self.create()
        self.break_root_page("entry")

        said = self.refusal(NOT_USABLE, "export", str(self.file))

        self.assertIn("database error: ", said)
        self.assertEqual(self.left(), [])

    def test_shows_its_progress_on_a_terminal(self):
        self.create()
        self.fill(2)

        with self.slow_accounts():
            shown = self.on_terminal("export", str(self.file))[1]

        self.assertIn("exporting links: 1 of 3", shown)
        self.assertTrue(shown.endswith(f"Exported 3 links to {self.file}.\r\n"))

    def test_shows_no_progress_among_links_on_the_same_terminal(self):
        self.create()
        self.fill(2)

        with self.slow_accounts():
            shown = self.on_terminal("export")[1]

        self.assertEqual(len(shown.splitlines()), 3)
        self.assertNotIn("exporting", shown)


class Import(ExportTest):
    def refused_line(self, text, *arguments):
        """The reason why the only line is refused; nothing must be imported."""
        done = self.call("import", *arguments, text=text)
        self.assertEqual(done.returncode, REFUSED, done.stderr)
        self.assertIn(b"Imported:  0 links", done.stdout)
        self.assertEqual(self.sql("SELECT COUNT(*) FROM entry"), [(0,)])
        said = done.stderr.decode()
        self.assertEqual(len(said.splitlines()), 1, said)
        self.assertTrue(said.startswith("vexosharing: line 1: "), said)
        return said

    def test_short_line_has_the_defaults_of_create(self):
        self.out("import", text=lines(line()))

        row = self.rows()
        self.forget()
        link = self.create()
        self.sql("UPDATE entry SET hash = 'abcdefghi' WHERE hash = ?", link)
        self.assertEqual(row, self.rows())

    def test_creates_a_missing_database_and_skips_blank_lines(self):
        self.assertIn("Imported:  1 link\n",
                      self.out("import", text="\n" + lines(line()) + "\r\n \t\r\n"))

        status = DATABASE.stat()
        self.assertEqual((status.st_uid, status.st_mode & 0o777), (1, 0o660))

    def test_last_line_needs_no_end(self):
        self.assertIn("Imported:  1 link\n", self.out("import", text=json.dumps(line())))

    def test_link_without_its_stored_password_is_imported_disabled(self):
        self.create("--generate-password")
        exported = self.out("export")
        self.forget()

        told = self.out("import", text=exported)

        self.assertIn("--generate-password --enable", told)
        link = self.links()[0]
        self.assertEqual((link["enabled"], link["protect_type"]), (False, "password"))
        guess = self.call("visit", link["hash"], "login", "--password-stdin", text="guess\n")
        self.assertEqual(guess.returncode, REFUSED)
        opened = self.edited(link["hash"], "--generate-password", "--enable")
        self.login(link["hash"], "--password-stdin",
                   text=opened["password"] + "\n")

    def test_password_link_with_secrets_opens_with_its_password(self):
        link = self.create("--password-stdin", text="sesame\n")
        exported = self.out("export", "--with-secrets")
        self.forget()

        self.out("import", text=exported)

        self.login(link, "--password-stdin", text="sesame\n")

    def test_link_that_is_there_is_skipped_counted_and_kept(self):
        link = self.create("--title", "old")
        text = lines(line(hash=link, protect_title="new"), line())

        done = self.call("import", "--json", text=text)

        self.assertEqual(done.returncode, REFUSED)
        told = json.loads(done.stdout)
        self.assertEqual((told["imported"], told["skipped"], told["refused"]), (1, 1, 0))
        self.assertEqual([one["protect_title"] for one in self.links()], ["old", ""])

    def test_new_hash_is_assigned_only_if_the_old_one_exists(self):
        link = self.create()
        text = lines(line(hash=link), line())

        told = self.json("import", "--new-hash", text=text)

        self.assertEqual(told["imported"], 2)
        self.assertEqual([one["from"] for one in told["new_hashes"]], [link])
        self.assertEqual([one["hash"] for one in self.links()],
                         [link, told["new_hashes"][0]["to"], "abcdefghi"])

    def test_same_hash_twice_in_one_file_is_found(self):
        done = self.call("import", text=lines(line(), line()))

        self.assertEqual(done.returncode, REFUSED)
        self.assertIn(b"Skipped:   1 link", done.stdout)

    def test_invalid_line_stops_the_import_and_keeps_the_lines_before(self):
        text = lines(line(hash="a"), line(hash="b")) + "{\n" + lines(line(hash="c"))

        done = self.call("import", text=text)

        self.assertEqual(done.returncode, REFUSED)
        self.assertIn(b"vexosharing: line 3: ", done.stderr)
        self.assertIn(b"--keep-going", done.stdout)
        self.assertEqual([link["hash"] for link in self.links()], ["a", "b"])

    def test_keep_going_skips_invalid_lines(self):
        text = "{\n" + lines(line(hash="a")) + "[]\n" + lines(line(hash="b"))

        done = self.call("import", "--keep-going", "--json", text=text)

        self.assertEqual(done.returncode, REFUSED)
        told = json.loads(done.stdout)
        self.assertEqual((told["imported"], told["refused"]), (2, 2))
        self.assertEqual([text[:21] for text in done.stderr.decode().splitlines()],
                         ["vexosharing: line 1: ", "vexosharing: line 3: "])

    def test_each_invalid_line_is_refused_with_its_reason(self):
        whole = {"hash": "a", "project_name": "p", "owner_user": "alice"}
        for missing in whole:
            bad = {name: value for name, value in whole.items() if name != missing}
            self.assertIn(f'"{missing}" is required', self.refused_line(lines(bad)))
        stored = {"protect_password": "a" * 40, "protect_password_salt": "salt"}
        for members, reason in (
                ({"hash": ""}, '"hash" is required'),
                ({"hash": 5}, '"hash" must be a string'),
                ({"hash": "a\0b"}, '"hash" must be a string'),
                *(({"hash": odd}, '"hash" cannot be part of a URL')
                  for odd in ("a/b", "a b", "a%20b", "a?b", "a#b", "ä", "..", ".", "a\n")),
                ({"owner_user": "nobody-yet"}, "names an unknown user: nobody-yet"),
                ({"owner_user": "nobody-yet", "owner_uid": 5001}, "names an unknown user: nobody-yet"),
                ({"owner_user": "", "owner_uid": 4294967295}, '"owner_uid" must be a number'),
                ({"enabled": 1}, '"enabled" must be true or false'),
                ({"auto_gc": "yes"}, '"auto_gc" must be true'),
                ({"enable_match_ip": 0}, '"enable_match_ip" must be true'),
                ({"start_at": "2026-12-31"}, '"start_at" must be a number'),
                ({"expire_at": -1}, '"expire_at" must be a number'),
                ({"expire_at": 2**64}, "integer out of range"),
                ({"expire_times": 2**31}, '"expire_times" must be a number'),
                ({"use_count": 1.5}, '"use_count" must be a number'),
                ({"protect_type": "passwords"}, '"protect_type" must be one of none, password'),
                ({"protect_type": "user"}, "without any user or group"),
                ({"protect_users": "alice"}, '"protect_users" must be an array of strings'),
                ({"protect_groups": [5]}, '"protect_groups" must be an array of strings'),
                ({"protect_uids": ["alice"]}, '"protect_uids" must be an array of ids'),
                ({"protect_gids": [-1]}, '"protect_gids" must be an array of ids'),
                ({"redirect_type": ""}, '"redirect_type" must be one of'),
                ({"redirect_uri": []}, '"redirect_uri" must be a string'),
                ({"app": []}, '"app" must be an object'),
                ({"private_data": "x"}, '"private_data" must be an object'),
                ({**stored, "protect_password": "sesame"}, "is not a stored password"),
                ({**stored, "protect_password": "A" * 40}, "is not a stored password"),
                ({**stored, "protect_password_algo": "sha"}, '"protect_password_algo" must be'),
                ({**stored, "protect_password_algo": "md5"}, "is not a stored password"),
                ({**stored, "protect_password_salt": ""}, '_salt" is required'),
                ({"expires_at": 5}, 'unknown member: "expires_at"')):
            with self.subTest(members):
                said = self.refused_line(lines(line(**members)))
                self.assertIn(reason, said)
                self.assertNotIn("sesame", said)

    def test_anything_but_a_json_object_is_refused(self):
        for text in ("nonsense", "[]", '"x"', "{", lines(line()).strip() + " x",
                     "{'hash':'a'}", "[" * 2000, "\x1b[31m"):
            with self.subTest(text[:40]):
                self.assertNotIn("\x1b", self.refused_line(text))
        self.refused_line(b'{"hash":"\xff"}\n')

    def test_too_long_line_is_refused_and_the_next_one_imported(self):
        text = json.dumps(line(app={"x": "y" * 5000000})) + "\n" + lines(line())

        done = self.call("import", "--keep-going", text=text)

        self.assertIn(b"line 1: line too long", done.stderr)
        self.assertEqual([link["hash"] for link in self.links()], ["abcdefghi"])

    def test_user_is_found_by_name_and_not_by_number(self):
        self.out("import", text=lines(line(owner_uid=5002, protect_type="user",
                                           protect_users=["bob"])))

        link = self.shown("abcdefghi")
        self.assertEqual((link["owner_user"], link["protect_users"]), ("alice", ["bob"]))

    def test_user_named_twice_is_stored_once(self):
        self.out("import", text=lines(line(
            protect_type="user", protect_users=["bob", "ghost", "bob", "ghost"],
            protect_uids=[5002, 7777, 7777], protect_groups=["staff-test", "staff-test"])))

        data = json.loads(self.sql("SELECT data FROM entry")[0][0])
        self.assertEqual((data["protect_uids"], data["protect_extra_users"]),
                         ([5002, 7777], ["ghost"]))
        self.assertEqual(len(data["protect_gids"]), 1)

    def test_every_unreserved_character_can_be_in_a_hash(self):
        self.out("import", text=lines(line(hash="aZ09-._~")))

        self.assertEqual(self.links()[0]["hash"], "aZ09-._~")

    def test_unreadable_input_is_reported_and_no_database_created(self):
        self.assertIn("No such file", self.refusal(REFUSED, "import", "/no/such/file"))
        self.assertIn("Is a directory", self.refusal(REFUSED, "import", "/tmp"))
        self.refusal(WRONG_CALL, "import", "")

        self.assertFalse(DATABASE.exists())

    def test_closed_input_is_reported(self):
        done = self.call("import", stdin=None, preexec_fn=lambda: os.close(0))

        self.assertEqual(done.returncode, REFUSED)
        self.assertIn(b"cannot read beyond line 0", done.stderr)

    def test_full_disk_is_reported_and_whole_batches_are_kept(self):
        subprocess.run(["mount", "-t", "tmpfs", "-o", "size=4m,mode=0777", "tmpfs",
                        self.folder], check=True)
        self.addCleanup(subprocess.run, ["umount", self.folder], check=True)
        other = str(self.folder / "small.db")
        text = lines(*(line(hash=f"h{i}", app={"x": "y" * 1000}) for i in range(6000)))

        done = self.call("import", "--database", other, text=text)

        self.assertEqual(done.returncode, NOT_USABLE)
        self.assertIn(b"full; free some disk space", done.stderr)
        kept = self.sql("SELECT COUNT(*) FROM entry", path=other)[0][0]
        self.assertEqual(kept % 500, 0)
        self.assertIn(f"{kept} links imported before the error", done.stderr.decode())

    def test_slow_input_locks_nothing(self):
        self.create()
        process = self.start("import", stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        process.stdin.write(lines(line()).encode())
        process.stdin.flush()
        command_support.wait_until(lambda: command_support.waits_for_input(process))

        connection = sqlite3.connect(DATABASE, timeout=0)
        with contextlib.closing(connection):
            connection.execute("BEGIN IMMEDIATE")  # fails at once where somebody writes

        process.communicate(timeout=60)
        self.assertEqual(process.returncode, DONE)

    def test_interrupted_import_keeps_the_lines_read(self):
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            with self.subTest(number):
                self.interrupt(number)
                self.forget()

    def interrupt(self, number):
        process = self.start("import", stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        process.stdin.write(lines(*(line(hash=f"h{i}") for i in range(700))).encode() +
                            b'{"hash":"ha')
        process.stdin.flush()
        command_support.wait_until(lambda: DATABASE.exists() and
                                   command_support.waits_for_input(process))

        process.send_signal(number)
        out, errors = process.communicate(timeout=60)

        self.assertEqual(process.returncode, INTERRUPTED, errors)
        self.assertEqual(errors, b"vexosharing: interrupted: 700 links imported\n")
        self.assertIn(b"Imported:  700 links", out)
        self.assertEqual(self.sql("SELECT COUNT(*) FROM entry"), [(700,)])

    def test_killed_import_keeps_whole_batches_and_can_be_repeated(self):
        count = command_support.many(20000)
        text = lines(*(line(hash=f"h{i}") for i in range(count)))
        self.file.write_text(text, encoding="utf-8")
        with self.file.open("rb") as first_half:
            process = self.start("import", stdin=first_half, stdout=subprocess.PIPE)
            command_support.wait_until(self.has_links)

            process.kill()
            process.communicate(timeout=60)

        self.assertEqual(process.returncode, -signal.SIGKILL)
        self.assertEqual(self.sql("PRAGMA integrity_check"), [("ok",)])
        kept = self.sql("SELECT COUNT(*) FROM entry")[0][0]
        self.assertTrue(0 < kept < count and kept % 500 == 0, kept)
        again = json.loads(self.call("import", "--json", str(self.file)).stdout)
        self.assertEqual((again["imported"], again["skipped"]), (count - kept, kept))

    def has_links(self):
        try:
            return DATABASE.exists() and self.sql("SELECT COUNT(*) FROM entry") != [(0,)]
        except sqlite3.OperationalError:  # there is no table yet
            return False

    def test_into_a_damaged_file_is_refused(self):
        self.create()
        self.break_root_page("entry")

        done = self.call("import", text=lines(line()))

        self.assertEqual(done.returncode, NOT_USABLE)
        self.assertIn(b"database error: ", done.stderr)
        self.assertIn(b"0 links imported before the error", done.stderr)

    def on_slow_terminal(self, *arguments):
        """All that an import of two batches and a bad line shows, the second batch so late
        that there is progress to show."""
        seeing, terminal = os.openpty()
        self.addCleanup(os.close, seeing)
        # Messages of their own streams would come in any order.
        process = subprocess.Popen([command_support.COMMAND, "import", *arguments],
                                   env=command_support.environment(),
                                   stdin=subprocess.PIPE, stdout=terminal, stderr=terminal)
        os.close(terminal)
        process.stdin.write(lines(*(line(hash=f"h{i}") for i in range(500))).encode())
        process.stdin.flush()
        command_support.wait_until(self.has_links)
        time.sleep(0.3)  # more than what is not worth a line
        process.stdin.write(lines(*(line(hash=f"h{i}") for i in range(500, 1000))).encode())
        process.stdin.flush()
        command_support.wait_until(
            lambda: self.sql("SELECT COUNT(*) FROM entry") == [(1000,)] and
            command_support.waits_for_input(process))
        process.communicate(b"{\n", timeout=60)
        self.assertEqual(process.returncode, REFUSED)
        return command_support.read_terminal(seeing)

    def test_message_replaces_the_progress(self):
        self.assertIn("importing, line: 1000\033[K\r\033[Kvexosharing: line 1001: ",
                      self.on_slow_terminal())

    def test_progress_does_not_overwrite_an_array_on_the_same_terminal(self):
        shown = self.on_slow_terminal("--json")

        self.assertNotIn("importing", shown)
        self.assertIn('{"new_hashes":[', shown)

    def test_lost_output_is_reported_and_the_links_stay(self):
        self.assert_lost_output_is_reported("import", text=lines(line()), before=self.forget)

        self.assertEqual(len(self.links()), 1)


class Terminals(ExportTest):
    def test_progress_of_long_work_is_shown_and_wiped(self):
        self.create("--expire", "7d", "--user", "alice")
        self.fill(2)

        for call, progress in ((["export", str(self.file)], "exporting links: 1 of 3"),
                               (["check"], "checking links: 1 of 3"),
                               (["import", str(self.file), "--database", "/tmp/o.db"],
                                "importing, line: 3")):
            with self.subTest(call[0]), self.slow_accounts():
                shown = self.shown_on_error_terminal(*call)
                self.assertIn(progress, shown)
                self.assertTrue(shown.endswith("\r\033[K"), shown)
        pathlib.Path("/tmp/o.db").unlink()
        self.assertEqual(self.call("export").stderr, b"")


class Memory(ExportTest):
    """80 MiB and more of links: whoever keeps them all breaks the bound."""

    COUNT = 20000

    def setUp(self):
        if command_support.is_sanitized():
            self.skipTest("the sanitizer's own memory would be measured")
        super().setUp()

    def test_import_of_long_lines_streams(self):
        with self.file.open("w", encoding="utf-8") as file:
            for i in range(60):
                file.write(lines(line(hash=f"h{i}", app={"text": "x" * 1500000})))

        with self.file.open("rb") as text:
            self.assertLess(self.memory("import", stdin=text, stdout=subprocess.DEVNULL),
                            BOUND)

    def test_export_list_and_import_stream(self):
        self.create("--app", json.dumps({"text": "x" * 4096}))
        self.fill(self.COUNT - 1)
        with self.file.open("wb") as out:
            self.assertLess(self.memory("export", "--with-secrets", stdout=out), BOUND)
        self.assertLess(self.memory("list", "--json", stdout=subprocess.DEVNULL), BOUND)
        self.assertGreater(self.file.stat().st_size, BOUND * 1024)
        self.forget()

        with self.file.open("rb") as text:
            self.assertLess(self.memory("import", stdin=text, stdout=subprocess.DEVNULL),
                            BOUND)

        self.assertEqual(self.sql("SELECT COUNT(*) FROM entry"), [(self.COUNT,)])


if __name__ == "__main__":
    command_support.main()

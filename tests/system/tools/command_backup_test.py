"""The subcommand backup."""

import os
import pathlib
import shutil
import signal
import sqlite3
import subprocess
import tempfile
import threading

import command_support
from command_support import (DATABASE, DONE, INTERRUPTED, NOT_USABLE, REFUSED, WRONG_CALL,
                             CommandTest)


class Backup(CommandTest):
    def setUp(self):
        super().setUp()
        self.folder = pathlib.Path(tempfile.mkdtemp())
        self.addCleanup(shutil.rmtree, self.folder)
        self.copy = self.folder / "copy.db"

    def left(self):
        return sorted(path.name for path in self.folder.iterdir())

    def test_holds_everything_and_can_replace_the_database(self):
        link = self.create("--generate-password")
        self.login(self.create())

        told = self.json("backup", str(self.copy))

        self.assertEqual(told, {"file": str(self.copy), "bytes": self.copy.stat().st_size})
        self.assertEqual(self.left(), ["copy.db"])
        for table in ("entry", "session", "token", "sqlite_sequence"):
            rows = self.sql(f"SELECT * FROM {table}", path=self.copy)
            self.assertEqual(rows, self.sql(f"SELECT * FROM {table}"))
            self.assertNotEqual(rows, [])
        self.forget()
        shutil.copy(self.copy, DATABASE)
        os.chown(DATABASE, 1, 1)
        os.chmod(DATABASE, 0o660)
        self.assertIn(link, [one["hash"] for one in self.links()])
        self.assertEqual(self.json("check")["problems"], [])

    def test_includes_the_write_ahead_log(self):
        self.create()
        writer = self.lock()
        writer.execute("WITH RECURSIVE n(i) AS (VALUES(1) UNION ALL SELECT i + 1 FROM n "
                       "WHERE i < 2000) INSERT INTO session "
                       "SELECT NULL, i, 1, '::1', 9 FROM n")
        writer.execute("COMMIT")

        told = self.json("backup", str(self.copy))

        self.assertLess(DATABASE.stat().st_size, told["bytes"])
        self.assertEqual(told["bytes"], self.copy.stat().st_size)
        self.assertEqual(self.sql("SELECT COUNT(*) FROM session", path=self.copy), [(2000,)])

    def test_is_readable_by_its_owner_only_with_any_umask(self):
        self.create()

        self.out("backup", str(self.copy), preexec_fn=lambda: os.umask(0))

        self.assertEqual(self.copy.stat().st_mode & 0o777, 0o600)

    def test_is_one_file_without_a_write_ahead_log(self):
        self.create()
        self.out("backup", str(self.copy))

        self.assertEqual(self.copy.read_bytes()[18:20], b"\1\1")  # no write-ahead log

    def test_belongs_to_the_system_account_that_creates_it(self):
        self.create()
        os.chown(self.folder, 1, 1)

        self.out("backup", str(self.copy), user=1, group=1, extra_groups=[])

        self.assertEqual(self.copy.stat().st_uid, 1)

    def test_is_consistent_while_others_write(self):
        self.create(*["--app", '{"text":"' + "x" * 20000 + '"}'])
        self.fill(2000)
        stop = threading.Event()
        written = []

        def write():
            connection = sqlite3.connect(DATABASE, timeout=30)
            while not stop.is_set():
                # Two rows or none: a copy of half a transaction would hold one.
                with connection:
                    for half in "ab":
                        connection.execute(
                            "INSERT INTO session VALUES (NULL, ?, 1, '::1', 9)",
                            (f"{len(written)}{half}",))
                written.append(1)
            connection.close()

        writer = threading.Thread(target=write)
        writer.start()
        self.addCleanup(writer.join)
        self.addCleanup(stop.set)
        command_support.wait_until(lambda: len(written) > 3)
        before = len(written)
        self.out("backup", str(self.copy))
        after = len(written)

        rows = self.sql("SELECT COUNT(*) FROM session", path=self.copy)[0][0]
        self.assertGreater(after, before)  # nobody was kept waiting
        self.assertGreaterEqual(rows, 2 * before)
        self.assertEqual(rows % 2, 0)
        self.assertEqual(self.sql("PRAGMA integrity_check", path=self.copy), [("ok",)])

    def test_replaces_a_file_with_force_only(self):
        self.create()
        self.copy.write_text("precious")

        said = self.refusal(REFUSED, "backup", str(self.copy))

        self.assertIn("--force", said)
        self.assertEqual(self.copy.read_text(), "precious")
        self.out("backup", "--force", str(self.copy))
        self.assertEqual(self.sql("SELECT COUNT(*) FROM entry", path=self.copy), [(1,)])
        self.assertEqual(self.left(), ["copy.db"])

    def test_never_replaces_the_database_or_anything_but_a_regular_file(self):
        self.create()
        alias = self.folder / "alias.db"
        os.symlink(DATABASE, alias)
        before = DATABASE.stat().st_ino

        said = self.refusal(REFUSED, "backup", "--force", str(DATABASE))
        self.assertIn("the database itself", said)
        pipe = self.folder / "pipe"  # never a device of the machine: a fault would replace it
        os.mkfifo(pipe)
        for other in (alias, pipe, self.folder):
            self.assertIn("not a regular file", self.refusal(REFUSED, "backup", "--force", str(other)))

        self.assertEqual(DATABASE.stat().st_ino, before)
        self.assertTrue(pipe.is_fifo())
        pipe.unlink()
        self.assertEqual(self.left(), ["alias.db"])

    def test_never_replaces_the_files_beside_the_database(self):
        self.create()
        self.lock()  # keeps them there
        for part in ("-wal", "-shm", "-lock"):
            beside = pathlib.Path(f"{DATABASE}{part}")
            before = beside.stat().st_ino

            for arguments in (["backup", "--force"], ["export", "--force"]):
                said = self.refusal(REFUSED, *arguments, str(beside))

                self.assertIn("the database itself", said)
            self.assertEqual(beside.stat().st_ino, before)

    def test_existing_log_of_the_same_name_is_refused(self):
        self.create()
        for part in ("-wal", "-journal"):
            beside = pathlib.Path(f"{self.copy}{part}")
            beside.write_text("precious")
            self.assertIn(f"{beside} exists and would change the backup",
                          self.refusal(REFUSED, "backup", str(self.copy)))
            self.assertEqual(self.left(), [beside.name])
            self.copy.write_text("older")
            self.assertIn(f"{beside} exists and would change the backup",
                          self.refusal(REFUSED, "backup", "--force", str(self.copy)))
            self.assertEqual((self.copy.read_text(), beside.read_text()),
                             ("older", "precious"))
            self.assertEqual(self.left(), ["copy.db", beside.name])
            beside.unlink()
            self.copy.unlink()

        self.out("backup", str(self.copy))

    def test_dash_writes_the_copy_to_standard_output(self):
        link = self.create()
        with self.copy.open("wb") as output:
            done = self.call("backup", "-", stdout=output, cwd=self.folder,
                             env={"TMPDIR": str(self.folder)})

        self.assertEqual((done.returncode, done.stderr), (DONE, b""))
        self.assertEqual(self.left(), ["copy.db"])
        self.assertEqual(self.sql("SELECT hash FROM entry", path=self.copy), [(link,)])
        self.assertEqual(self.sql("PRAGMA integrity_check", path=self.copy), [("ok",)])

    def test_dash_is_refused_on_a_terminal_and_with_json(self):
        self.create()

        status, shown = self.on_terminal("backup", "-")

        self.assertEqual(status, WRONG_CALL)
        self.assertIn("cannot write a backup to a terminal", shown)
        self.assertIn("--json", self.refusal(WRONG_CALL, "backup", "-", "--json"))

    def test_dash_reports_a_full_output(self):
        self.create()
        with open("/dev/full", "wb") as full:
            done = self.call("backup", "-", stdout=full)

        self.assertEqual(done.returncode, REFUSED)
        self.assertIn(b"cannot write to standard output", done.stderr)

    def test_missing_directory_or_name_is_reported(self):
        self.create()

        self.assertIn("No such file", self.refusal(REFUSED, "backup", "/no/such/copy.db"))
        self.refusal(WRONG_CALL, "backup", "")
        self.assertIn("FILE", self.refusal(WRONG_CALL, "backup"))

    def test_directory_that_is_not_writable_is_reported(self):
        self.create()

        said = self.refusal(REFUSED, "backup", str(self.copy), user=1, group=1,
                            extra_groups=[])

        self.assertIn("Permission denied", said)

    def test_full_disk_is_reported_and_leaves_nothing(self):
        self.create()
        self.fill(2000)
        subprocess.run(["mount", "-t", "tmpfs", "-o", "size=64k", "tmpfs", self.folder],
                       check=True)
        self.addCleanup(subprocess.run, ["umount", self.folder], check=True)

        said = self.refusal(REFUSED, "backup", str(self.copy))

        self.assertIn("full", said)
        self.assertEqual(self.left(), [])

    def test_damaged_database_leaves_no_file(self):
        self.create()
        self.fill(3000)
        self.sql("PRAGMA wal_checkpoint(TRUNCATE)")
        self.overwrite(DATABASE.stat().st_size // 4096 // 2 * 4096, 4096)

        said = self.refusal(NOT_USABLE, "backup", str(self.copy))

        self.assertIn("the database is damaged", said)
        self.assertIn("vexosharing check", said)
        self.assertEqual(self.left(), [])

    def begin(self, **options):
        """Starts a long backup and waits until it writes."""
        process = self.start("backup", str(self.copy), stdout=subprocess.PIPE, **options)
        command_support.wait_until(lambda: self.left() or process.poll() is not None)
        return process

    def make_it_long(self):
        self.create("--app", '{"text":"' + "x" * 20000 + '"}')
        self.fill(5000)

    def test_interrupted_in_the_middle_leaves_nothing(self):
        self.make_it_long()
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            with self.subTest(number):
                process = self.begin()

                process.send_signal(number)
                out, errors = process.communicate(timeout=60)

                self.assertEqual(process.returncode, INTERRUPTED, errors)
                self.assertEqual((out, errors),
                                 (b"", b"vexosharing: interrupted: nothing was copied\n"))
                self.assertEqual(self.left(), [])

    def test_file_created_meanwhile_stays(self):
        self.make_it_long()
        process = self.begin()

        self.copy.write_text("precious")
        _, errors = process.communicate(timeout=60)

        self.assertEqual(process.returncode, REFUSED)
        self.assertIn(b"File exists", errors)
        self.assertEqual(self.copy.read_text(), "precious")
        self.assertEqual(self.left(), ["copy.db"])

    def test_ignored_hangup_does_not_stop_it(self):
        self.make_it_long()
        process = self.begin(
            preexec_fn=lambda: signal.signal(signal.SIGHUP, signal.SIG_IGN))  # as nohup

        process.send_signal(signal.SIGHUP)
        process.communicate(timeout=60)

        self.assertEqual(process.returncode, DONE)
        self.assertEqual(self.left(), ["copy.db"])

    def test_killed_in_the_middle_harms_neither_database_nor_an_older_copy(self):
        self.make_it_long()
        self.copy.write_text("older")
        process = self.start("backup", "--force", str(self.copy), stdout=subprocess.PIPE)
        command_support.wait_until(lambda: len(self.left()) > 1)

        process.kill()
        process.communicate(timeout=60)

        self.assertEqual(process.returncode, -signal.SIGKILL)
        self.assertEqual(self.copy.read_text(), "older")
        self.assertEqual(self.sql("PRAGMA integrity_check"), [("ok",)])
        self.out("backup", "--force", str(self.copy))
        self.assertEqual(self.sql("SELECT COUNT(*) FROM entry", path=self.copy), [(5001,)])

    def test_lost_output_is_reported_and_the_copy_stays(self):
        self.create()

        self.assert_lost_output_is_reported("backup", str(self.copy),
                                        before=lambda: self.copy.unlink(missing_ok=True))

        self.assertEqual(self.sql("SELECT COUNT(*) FROM entry", path=self.copy), [(1,)])
        self.assertEqual(self.left(), ["copy.db"])

    def test_of_another_database(self):
        other = str(self.folder / "other.db")
        os.chmod(self.folder, 0o777)
        self.create("--database", other)

        done = self.call("backup", str(self.copy), "--database", other)

        self.assertEqual(done.returncode, DONE, done.stderr)
        self.assertEqual(self.sql("SELECT COUNT(*) FROM entry", path=self.copy), [(1,)])


if __name__ == "__main__":
    command_support.main()

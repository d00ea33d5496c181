"""The subcommand restore, and reading of databases that are not the system account's."""

import os
import pathlib
import shutil
import sqlite3
import subprocess
import sys
import tempfile

import command_support
from command_support import DATABASE, NOT_USABLE, REFUSED, CommandTest


class RestoreTest(CommandTest):
    def setUp(self):
        super().setUp()
        self.folder = pathlib.Path(tempfile.mkdtemp())
        self.addCleanup(shutil.rmtree, self.folder)
        self.backup = self.folder / "backup.db"

    def back_up(self):
        """A backup with a link, its session and its token; the hash."""
        link = self.create()
        self.login(link)
        self.json("backup", str(self.backup))
        return link

    def rows(self, path=DATABASE):
        return [self.sql(f"SELECT * FROM {table}", path=path)
                for table in ("entry", "session", "token")]

    @staticmethod
    def contents():
        """Of the files in the folder of the database."""
        return {path.name: path.read_bytes() for path in DATABASE.parent.iterdir()}


class Restore(RestoreTest):
    def test_usable_database_gets_the_rows_of_the_backup_and_is_kept(self):
        self.back_up()
        saved = self.rows()[:1] + [[], []]  # sessions and tokens are not restored
        self.create()
        self.json("purge")
        replaced = self.rows()

        told = self.json("restore", str(self.backup))

        self.assertEqual((told["file"], told["links"]), (str(self.backup), 1))
        self.assertEqual(self.rows(), saved)
        kept = pathlib.Path(told["kept"])
        self.assertEqual(kept.parent, DATABASE.parent)
        self.assertEqual(self.rows(kept), replaced)
        status = kept.stat()
        self.assertEqual((status.st_uid, status.st_gid, status.st_mode & 0o777),
                         (1, 1, 0o660))
        self.assertEqual(self.json("check")["problems"], [])

    def test_links_that_others_create_during_the_restore_are_kept_or_restored(self):
        self.back_up()
        self.fill(20000)
        columns = ("project_name, enabled, owner_uid, start_at, expire_at, expire_times, "
                   "use_count, auto_gc, data")
        script = (
            "import sqlite3, sys; c = sqlite3.connect(sys.argv[1], timeout=30)\n"
            "for i in range(10**6):\n"
            f"    with c: c.execute('INSERT INTO entry SELECT NULL, ?, {columns} '\n"
            "                      'FROM entry LIMIT 1', (f'w{i}',))\n"
            "    print(f'w{i}', flush=True)")
        with subprocess.Popen([sys.executable, "-c", script, str(DATABASE)],
                              stdout=subprocess.PIPE, text=True) as writer:
            writer.stdout.readline()
            kept = self.json("restore", str(self.backup))["kept"]
            writer.kill()
            created = writer.stdout.read().split()

        found = {row[0] for path in (kept, DATABASE)
                 for row in self.sql("SELECT hash FROM entry", path=path)}
        self.assertTrue(created)
        self.assertEqual([link for link in created if link not in found], [])

    def test_stale_log_is_not_applied_to_the_restored_database(self):
        self.back_up()
        log = pathlib.Path(f"{DATABASE}-wal")
        reader = sqlite3.connect(DATABASE)
        self.addCleanup(reader.close)
        reader.execute("BEGIN")
        reader.execute("SELECT * FROM entry").fetchall()
        self.create()  # stays in the log, which the reader holds
        self.assertGreater(log.stat().st_size, 0)
        DATABASE.unlink()

        self.json("restore", str(self.backup))

        self.assertEqual(len(self.links()), 1)

    def test_text_names_the_previous_database(self):
        self.back_up()

        self.assertRegex(self.out("restore", str(self.backup)),
                         rf"^Restored 1 link; the previous database is {DATABASE}\.before-"
                         r"restore-\d+\.\n$")

    def test_missing_database_is_created(self):
        self.back_up()
        saved = self.rows()[:1] + [[], []]  # sessions and tokens are not restored
        self.forget()

        told = self.json("restore", str(self.backup))

        self.assertEqual((told["kept"], told["links"]), (None, 1))
        self.assertEqual(self.rows(), saved)
        status = DATABASE.stat()
        self.assertEqual((status.st_uid, status.st_gid, status.st_mode & 0o777),
                         (1, 1, 0o660))

    def test_damaged_database_is_replaced_and_kept(self):
        self.back_up()
        saved = self.rows()[:1] + [[], []]  # sessions and tokens are not restored
        self.fill(2000)
        for spoil in (self.damage_middle, lambda: DATABASE.write_bytes(b"x" * 5000)):
            spoil()
            damaged = DATABASE.read_bytes()

            told = self.json("restore", str(self.backup))

            self.assertEqual(self.rows(), saved)
            kept = pathlib.Path(told["kept"])
            self.assertEqual(kept.read_bytes(), damaged)
            kept.unlink()

    def test_connection_of_another_process_sees_the_restored_rows(self):
        link = self.back_up()
        other = sqlite3.connect(DATABASE)
        self.addCleanup(other.close)
        self.json("delete", link)
        count = "SELECT COUNT(*) FROM entry"
        self.assertEqual(other.execute(count).fetchall(), [(0,)])

        self.json("restore", str(self.backup))

        self.assertEqual(other.execute(count).fetchall(), [(1,)])
        with other:
            other.execute("DELETE FROM entry")
        self.assertEqual(self.links(), [])

    def test_waits_for_another_writer_whose_change_is_kept(self):
        link = self.back_up()
        writer = self.lock()
        writer.execute("UPDATE entry SET hash = 'meanwhile'")
        process = self.start("restore", str(self.backup))
        command_support.wait_until(lambda: command_support.uses_database(process))
        writer.execute("COMMIT")

        self.assertEqual(process.wait(60), 0, process.stderr.read())

        self.assertEqual([one["hash"] for one in self.links()], [link])

    def test_backup_that_cannot_be_used_changes_nothing(self):
        self.back_up()
        good = self.backup.read_bytes()
        foreign = self.folder / "foreign.db"
        self.sql("CREATE TABLE entry (hash)", path=foreign)
        half = len(good) // 2
        for content, status in ((good[:half] + b"\xff" * (len(good) - half), NOT_USABLE),
                                (foreign.read_bytes(), REFUSED), (b"no database", REFUSED),
                                (b"", REFUSED)):
            self.backup.write_bytes(content)
            before = self.rows(), sorted(self.contents())

            self.refusal(status, "restore", str(self.backup))

            self.assertEqual((self.rows(), sorted(self.contents())), before)
            self.assertEqual(self.backup.read_bytes(), content)

    def test_missing_backup_is_named(self):
        self.assertIn(f"{self.backup}: No such file or directory",
                      self.refusal(REFUSED, "restore", str(self.backup)))
        self.assertEqual(self.contents(), {})

    def test_database_of_another_program_is_not_replaced(self):
        self.back_up()
        self.forget()
        self.sql("CREATE TABLE other (x)")
        before = self.contents()

        self.assertIn("belongs to another program",
                      self.refusal(NOT_USABLE, "restore", str(self.backup)))

        self.assertEqual(self.contents(), before)


class Reading(RestoreTest):
    def calls(self, link):
        yield ["list"]
        yield ["show", link]
        yield ["stats"]
        yield ["export"]
        yield ["backup", str(self.folder / "copy.db"), "--force"]
        yield ["delete", link, "--dry-run"]

    def test_backup_of_root_is_read_and_stays_as_it_is(self):
        link = self.back_up()
        self.assertEqual(self.backup.stat().st_uid, 0)
        before = self.backup.read_bytes(), self.backup.stat().st_mtime_ns
        for call in self.calls(link):
            with self.subTest(call):
                self.out(*call, "--database", str(self.backup))

                self.assertEqual((self.backup.read_bytes(), self.backup.stat().st_mtime_ns),
                                 before)
                self.assertLessEqual({path.name for path in self.folder.iterdir()},
                                     {"backup.db", "copy.db"})
        self.assertEqual(list(pathlib.Path("/tmp").glob("vexosharing.*")), [])

    def test_backup_in_a_folder_of_root_is_read(self):
        link = self.back_up()
        os.chown(self.backup, 1, 1)
        self.backup.chmod(0o600)
        self.folder.chmod(0o500)
        for call in (["list"], ["show", link]):
            self.out(*call, "--database", str(self.backup))

    def test_changes_still_need_a_database_of_the_system_account(self):
        link = self.back_up()
        for call in (["delete", link], ["purge"], ["rotate", link]):
            self.refusal(NOT_USABLE, *call, "--database", str(self.backup))


if __name__ == "__main__":
    command_support.main()

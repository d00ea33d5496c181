"""Links to files and directories: share."""

import os
import pathlib
import shutil
import tempfile
import time

import command_support
from command_support import AS_ALICE, DATABASE, DONE, REFUSED, WRONG_CALL, CommandTest

ALICE, BOB = 5001, 5002
AS_SYSTEM = {"user": 1, "group": 1, "extra_groups": []}
DAY = 24 * 3600


class Share(CommandTest):
    def setUp(self):
        super().setUp()
        self.folder = pathlib.Path(tempfile.mkdtemp(dir="/usr/vexo"))
        self.addCleanup(shutil.rmtree, self.folder)
        self.folder.chmod(0o755)

    def file(self, name, owner=ALICE, mode=0o600):
        path = self.folder / name
        path.write_text("x", encoding="utf-8")
        os.chown(path, owner, owner)
        path.chmod(mode)
        return path

    def shared(self, *arguments, **options):
        data = self.json("share", *map(str, arguments), **options)
        return {**data.pop("link"), **data}

    def refused(self, *arguments, status=REFUSED, **options):
        said = self.refusal(status, "share", *map(str, arguments), **options)
        self.assertFalse(DATABASE.exists() and self.links())
        return said

    def test_link_belongs_to_the_owner_for_thirty_days_from_any_address(self):
        path = self.file("a.txt")
        before = time.time()

        link = self.shared(path)

        self.assertEqual((link["project_name"], link["owner_user"], link["app"]),
                         ("files", "alice", {"path": str(path)}))
        self.assertGreaterEqual(link["expire_at"], int(before) + 30 * DAY)
        self.assertLessEqual(link["expire_at"], time.time() + 30 * DAY)
        self.assertFalse(link["enable_match_ip"])
        self.assertEqual(link["protect_type"], "none")

    def test_options_of_create_win_over_the_defaults(self):
        path = self.file("a.txt", mode=0o644)

        link = self.shared(path, "--owner", "bob", "--expire", "never", "--match-ip", "--uses", "3",
                           "--title", "Summer", "--app", '{"hidden":true}',
                           "--generate-password")

        self.assertEqual((link["owner_user"], link["expire_at"], link["enable_match_ip"],
                          link["expire_times"], link["protect_title"], link["app"]),
                         ("bob", 0, True, 3, "Summer", {"hidden": True, "path": str(path)}))
        self.assertTrue(link["password"])

    def test_start_is_announced_on_request(self):
        path = self.file("a.txt")

        self.assertEqual(self.shared(path, "--announce", "--start", "2099-01-01",
                                     "--expire", "never")["app"],
                         {"announce": True, "path": str(path)})

    def test_path_is_the_real_one(self):
        path = self.file("a.txt")
        (self.folder / "link").symlink_to("a.txt")

        self.assertEqual(self.shared("link", cwd=self.folder)["app"], {"path": str(path)})
        self.assertEqual(self.shared("./../" + self.folder.name + "/a.txt",
                                     cwd=self.folder)["app"], {"path": str(path)})

    def test_output_is_that_of_create(self):
        self.install_url_tool()

        lines = self.out("share", str(self.file("a.txt"))).splitlines()

        self.assertRegex(lines[0], r"^Hash:  \w{9}$")
        self.assertEqual(lines[1:], [f"URL:   https://nas.example/sharing/{lines[0][7:]}"])

    def test_directory_is_shared(self):
        os.chown(self.folder, ALICE, ALICE)
        self.folder.chmod(0o700)

        self.assertEqual(self.shared(self.folder)["app"], {"path": str(self.folder)})

    def test_what_is_missing_is_refused(self):
        path = self.folder / "missing"

        self.assertIn(f"{path}: No such file or directory", self.refused(path))
        self.assertIn("Not a directory", self.refused(f"{self.file('a')}/b"))

    def test_neither_file_nor_directory_is_refused(self):
        path = self.folder / "pipe"
        os.mkfifo(path)

        self.assertIn("neither a file nor a directory", self.refused(path, "--owner", "alice"))

    def test_folders_of_the_system_are_refused(self):
        secret = pathlib.Path("/usr/vexo/etc/secret")
        secret.write_text("x", encoding="utf-8")
        os.chown(secret, ALICE, ALICE)
        self.addCleanup(secret.unlink)
        inside = self.folder / "inside"
        inside.symlink_to(secret)
        for path, folder in (("/proc", "/proc"), ("/proc/version", "/proc"),
                             ("/sys/kernel", "/sys"), ("/dev/shm", "/dev"),
                             ("/usr/vexo/etc", "/usr/vexo/etc"), (secret, "/usr/vexo/etc"),
                             (inside, "/usr/vexo/etc"), ("/usr/vexo", "/usr/vexo/etc"),
                             ("/", "/proc")):
            self.assertIn(f"{path}: {folder} cannot be shared",
                          self.refused(path, "--owner", "alice"))

    def test_folder_with_the_beginning_of_their_name_is_not(self):
        path = pathlib.Path("/usr/vexo/etcetera")
        path.write_text("x", encoding="utf-8")
        self.addCleanup(path.unlink)

        self.shared(path, "--owner", "alice")

    def test_what_belongs_to_root_needs_an_owner(self):
        path = self.file("a.txt", owner=0, mode=0o644)

        self.assertIn("belongs to root; name the owner with --owner", self.refused(path))
        self.assertEqual(self.shared(path, "--owner", "root")["owner_user"], "root")

    def test_owner_who_cannot_read_is_refused(self):
        path = self.file("a.txt", owner=BOB)
        self.assertIn(f"{path}: alice cannot read it", self.refused(path, "--owner", "alice"))

        os.chown(self.folder, BOB, BOB)
        self.folder.chmod(0o711)  # to be passed, not to be read
        self.assertIn("alice cannot read it", self.refused(self.folder, "--owner", "alice"))
        self.folder.chmod(0o744)
        self.assertIn("alice cannot read it", self.refused(self.folder, "--owner", "alice"))
        self.folder.chmod(0o700)
        path.chmod(0o644)
        self.assertIn("alice cannot read it", self.refused(path, "--owner", "alice"))

    def test_groups_of_the_owner_count(self):
        path = self.file("a.txt", owner=BOB, mode=0o640)
        os.chown(path, BOB, 5100)  # staff-test, with alice

        self.assertEqual(self.shared(path, "--owner", "alice")["owner_user"], "alice")

    def test_owner_without_an_account_is_refused(self):
        self.assertIn("user not found: 5999", self.refused(self.file("a.txt", owner=5999)))

    def test_name_that_is_not_utf8_is_refused(self):
        path = os.fsencode(self.folder) + b"/\xff"
        pathlib.Path(os.fsdecode(path)).touch()

        done = self.call("share", path, "--owner", "alice")

        self.assertEqual(done.returncode, REFUSED)
        self.assertIn(b"not valid UTF-8", done.stderr)

    def test_path_is_required_and_set_once(self):
        path = self.file("a.txt")

        self.assertIn("PATH", self.refused(status=WRONG_CALL))
        self.assertIn('--app must not contain "path": PATH sets it',
                      self.refused(path, "--app", '{"path":"/etc"}', status=WRONG_CALL))
        self.assertIn("--project", self.refused(path, "--project", "a", status=WRONG_CALL))
        self.assertIn("--no-match-ip", self.refused(path, "--no-match-ip", status=WRONG_CALL))

    def test_system_account_shares_for_itself_only(self):
        path = self.file("a.txt", mode=0o644)
        self.assertIn("only root can share it for alice",
                      self.refused(path, "--owner", "alice", **AS_SYSTEM))

    def test_drop_box_is_a_directory_with_its_limits(self):
        os.chown(self.folder, ALICE, ALICE)

        self.assertEqual(self.shared(self.folder, "--drop")["app"],
                         {"path": str(self.folder), "drop": True})
        for size, number in (("5000000000", 5 * 10**9), ("1k", 1000), ("20M", 20 * 10**6),
                             ("3G", 3 * 10**9), ("9007T", 9007 * 10**12), ("010", 10)):
            self.assertEqual(
                self.shared(self.folder, "--drop", "--max-bytes", size, "--max-files",
                            "7")["app"],
                {"path": str(self.folder), "drop": True, "max_bytes": number,
                 "max_files": 7})

    def test_drop_box_that_cannot_receive_is_refused(self):
        self.assertIn("not a directory", self.refused(self.file("a.txt"), "--drop"))
        os.chown(self.folder, BOB, BOB)
        self.assertIn("alice cannot write to it",
                      self.refused(self.folder, "--drop", "--owner", "alice"))

    def test_limits_of_a_drop_box_are_checked(self):
        for value in ("0", "-1", "1.5", "", "k", "1K", "1kB", "9008T", "99999999999999999999"):
            self.assertIn("--max-bytes",
                          self.refused(self.folder, "--drop", f"--max-bytes={value}",
                                       status=WRONG_CALL))
        self.refused(self.folder, "--drop", "--max-files", "0", status=WRONG_CALL)
        for option in ("--max-bytes", "--max-files"):
            self.assertIn("--drop", self.refused(self.folder, option, "1", status=WRONG_CALL))

    def test_other_accounts_cannot_share(self):
        self.assertEqual(self.call("share", self.file("a.txt"), **AS_ALICE).returncode,
                         command_support.NOT_USABLE)


if __name__ == "__main__":
    command_support.main()

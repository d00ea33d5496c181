"""The access log of the web front end."""

import calendar
import json
import os
import pathlib
import shutil
import socket
import subprocess
import time
import unittest

from fastcgi_support import FastCgiTransport, wait_until
from web_support import AS_SYSTEM, PASSWORD, PROGRAM, Visitor, WebTest, main, needs_program

LOG = pathlib.Path("/usr/vexo/var/log/sharing/access.log")
STAMP = pathlib.Path("/usr/vexo/etc/private/visit/record-failure")
SETTINGS = "/usr/vexo/etc/web.conf"
PLATFORM = "/usr/vexo/etc/platform.conf"


class RecordTest(WebTest):
    def recorded(self, link, count):
        """The lines of a link, of which there must be so many.  A server may answer before
        the last one is written."""
        lines = []

        def complete():
            text = LOG.read_bytes() if LOG.exists() else b""
            lines[:] = [json.loads(line) for line in text.splitlines()
                        if self.hash_of(link).encode() in line]
            return len(lines) >= count
        wait_until(complete)
        self.assertEqual(len(lines), count, lines)
        return lines

    def events(self, link, count):
        return [line["event"] for line in self.recorded(link, count)]

    def network(self, visitor):
        """What remains of the address of a visitor."""
        return visitor.address.rpartition(".")[0] + ".0/24"


class UploadTest(RecordTest):
    def test_files_for_a_drop_box_are_recorded(self):
        self.folder.chmod(0o777)
        link = self.share(app={"path": str(self.folder), "drop": True})
        kind = {"content_type": "multipart/form-data; boundary=b"}
        part = b'--b\r\nContent-Disposition: form-data; name="file"; filename="%b"\r\n\r\nx\r\n'
        self.visitor.get(link + "/")
        self.visitor.get(link + "/sub")
        empty = self.visitor.send("POST", link + "/", b"--b--\r\n", **kind)
        self.assertEqual(empty.status, 400)
        sent = self.visitor.send("POST", link + "/", part % b"a" + b"--b--\r\n", **kind)
        self.assertEqual(sent.status, 303)
        (line,) = self.recorded(link, 1)
        self.assertEqual((line["event"], line["status"], line["path"], line["bytes"]),
                         ("upload", 303, "", 0))


class VisitsTest(RecordTest):
    def test_each_visit_of_an_open_link_is_a_line(self):
        self.write("sub/notes.txt", b"0123456789")
        link = self.share()
        before = int(time.time())
        answers = [self.visitor.get(link + rest) for rest in (
            "/", "/sub/?sort=size", "/sub/notes.txt?view", "/sub/notes.txt",
            "/sub/notes.txt?download", "/sub/?zip", "/none")]
        lines = self.recorded(link, 7)
        after = int(time.time())

        self.assertEqual([(line["event"], line["path"]) for line in lines], [
            ("list", ""), ("list", "sub/"), ("view", "sub/notes.txt"),
            ("download", "sub/notes.txt"), ("download", "sub/notes.txt"), ("zip", "sub/"),
            ("missing", "none")])
        for line, answer in zip(lines, answers):
            with self.subTest(line):
                self.assertEqual(sorted(line), ["address", "bytes", "event", "link", "path",
                                                "status", "time"])
                self.assertEqual(line["link"], self.hash_of(link))
                self.assertEqual(line["status"], answer.status)
                self.assertEqual(line["bytes"], len(answer.body))
                self.assertEqual(line["address"], self.network(self.visitor))
                seconds = calendar.timegm(time.strptime(line["time"], "%Y-%m-%dT%H:%M:%SZ"))
                self.assertTrue(before <= seconds <= after, line["time"])

    def test_session_that_has_ended_does_not_matter_for_an_open_link(self):
        link = self.share()
        self.visitor.get(link + "/", cookie="sharing=" + "x" * 32)
        self.assertNotIn("code", self.recorded(link, 1)[0])

    def test_link_to_a_file_is_recorded_too(self):
        link = self.share(path=self.write("notes.txt"))
        for rest in ("/", "/?download", "/notes.txt"):
            self.visitor.get(link + rest)
        self.assertEqual(self.events(link, 3), ["view", "download", "download"])

    def test_redirect_of_a_link_is_recorded(self):
        link = self.share("--redirect-type", "always", "--redirect-uri", "/elsewhere")
        self.assertEqual(self.visitor.get(link).status, 303)
        self.assertEqual(self.events(link, 1), ["redirect"])

    def test_later_parts_of_a_file_are_no_downloads(self):
        self.write("film.mp4", b"0123456789")
        link = self.share()
        for asked in ("bytes=0-", "bytes=4-", "bytes=0-1", "bytes=-2", "bytes=7-8,0-1",
                      "bytes=2-3,5-6"):
            self.assertEqual(self.visitor.get(link + "/film.mp4", range=asked).status, 206)
        lines = self.recorded(link, 6)
        self.assertEqual([line["event"] for line in lines],
                         ["download", "part", "download", "part", "download", "part"])
        self.assertEqual([line["bytes"] for line in lines[:4]], [10, 6, 2, 2])

    def test_what_sends_no_content_leaves_no_line(self):
        self.write("notes.txt")
        link = self.share()
        file = link + "/notes.txt"
        self.assertEqual(self.visitor.get(link).status, 308)
        self.assertEqual(self.visitor.head(file).status, 200)
        etag = self.visitor.head(file).header("ETag")
        self.assertEqual(self.visitor.get(file, if_none_match=etag).status, 304)
        self.assertEqual(self.visitor.get(file, if_match='"x"').status, 412)
        self.assertEqual(self.visitor.get(file, range="bytes=99-").status, 416)
        self.assertEqual(self.visitor.head(link + "/").status, 200)
        self.visitor.get(file)
        self.assertEqual(self.events(link, 1), ["download"])

    def test_logins_are_recorded_with_the_code_of_the_library(self):
        self.write("notes.txt")
        link = self.share(password=PASSWORD)
        self.visitor.get(link + "/")
        self.visitor.post(link + "/notes.txt", password="guess")
        self.visitor.post(link, password="")
        self.log_in(link)
        self.log_in(link)  # is inside already
        self.visitor.get(link + "/notes.txt")
        self.visitor.post(link, action="logout")
        self.visitor.post(link, action="logout")  # is outside already
        self.visitor.get(link + "/notes.txt")
        lines = self.recorded(link, 4)
        self.assertEqual([(line["event"], line["code"], line["status"]) for line in lines], [
            ("login-failed", -9, 401), ("login", 1, 303), ("download", 1, 200),
            ("logout", 1, 303)])
        self.assertEqual(lines[0]["path"], "notes.txt")

    def test_refusals_are_recorded(self):
        users = self.share("--user", "alice")
        self.visitor.post(users, username="bob", password="bob-secret")
        self.visitor.post(users, {"Origin": "https://evil.example"}, username="alice",
                          password="alice-secret")
        lines = self.recorded(users, 2)
        self.assertEqual([(line["event"], line.get("code")) for line in lines],
                         [("refused", -10), ("refused", None)])

        once = self.share("--uses", "1")
        self.visitor.get(once + "/")
        self.visitor.post(once)
        other = self.new_visitor()
        other.get(once + "/")
        self.assertEqual(other.post(once).status, 410)
        self.assertEqual(self.events(once, 2), ["login", "used-up"])

    def test_blocked_visitors_are_recorded_when_they_try_to_log_in(self):
        link = self.share(password=PASSWORD)
        for _ in range(10):
            self.visitor.post(link, password="guess")
        self.visitor.get(link + "/")
        self.assertEqual(self.visitor.post(link, password=PASSWORD).status, 429)
        self.assertEqual(self.events(link, 11), ["login-failed"] * 10 + ["blocked"])

    def test_line_of_a_blocked_visitor_does_not_tell_whether_there_is_a_link(self):
        link = self.share(password=PASSWORD)
        for _ in range(10):
            self.visitor.post(link, password="guess")
        unknown = "/sharing/Unknown" + self.hash_of(link)[::-1]
        self.visitor.post(unknown + "/some/path", password="guess")
        (line,) = self.recorded(unknown, 1)
        self.assertEqual((line["event"], line["path"]), ("blocked", ""))

    def test_links_that_cannot_be_used_leave_no_line(self):
        links = [self.share("--expire", "2020-01-01"), self.share(project="photos"),
                 "/sharing/Unknown01"]
        for link in links:
            self.assertEqual(self.visitor.get(link + "/").status, 404)
            self.assertEqual(self.visitor.post(link + "/", password="x").status, 404)
        last = self.share()
        self.visitor.get(last + "/")
        self.assertEqual(self.events(last, 1), ["list"])
        for link in links:
            self.assertEqual(self.recorded(link, 0), [])

    def test_record_has_no_secret_but_the_hash(self):
        link = self.share(password=PASSWORD)
        visitor = self.new_visitor(**{"User-Agent": "curious-browser"})
        visitor.post(link, password="wrong-password-1")
        visitor.post(link + "/?q=hidden-query", password=PASSWORD)
        visitor.get(link + "/?q=hidden-query", referer="http://hidden-referer/")
        self.recorded(link, 3)
        text = LOG.read_text(encoding="utf-8")
        for secret in ("wrong-password-1", PASSWORD, "hidden-query", "hidden-referer",
                       "curious-browser", visitor.cookie_for(link), visitor.address):
            self.assertNotIn(secret, text)

    def test_hostile_paths_are_json_on_one_short_line(self):
        name = os.fsdecode(b'"\\,}{\n\x1b[2J\xff\xe2\x80\xae.txt')
        self.write(name)
        link = self.share()
        self.visitor.get(link + "/%22%5C%2C%7D%7B%0A%1B%5B2J%FF%E2%80%AE.txt")
        long = ("x" * 200, "%01" * 66, "%FF" * 66)
        for unit in long:
            self.visitor.get(link + f"/{unit}" * 19)
        lines = self.recorded(link, 1 + len(long))
        self.assertEqual((lines[0]["event"], lines[0]["path"]),
                         ("download", '"\\,}{\n\x1b[2J\ufffd\u202e.txt'))
        for line in lines[1:]:
            self.assertEqual(line["event"], "missing")
            self.assertTrue(line["path"].endswith("\u2026"))
        raw = LOG.read_bytes()
        self.assertNotIn(b"\x1b", raw)
        self.assertNotIn("\u202e".encode(), raw)
        self.assertLess(max(map(len, raw.splitlines(True))), 4096)

    def test_record_belongs_to_the_system_account(self):
        link = self.share()
        self.visitor.get(link + "/")
        self.recorded(link, 1)
        status = LOG.stat()
        self.assertEqual((oct(status.st_mode & 0o7777), status.st_uid, status.st_gid),
                         ("0o640", 1, 1))


class RotationTest(RecordTest):
    def test_visits_after_a_rotation_are_in_the_new_file(self):
        link = self.share()
        self.visitor.get(link + "/")
        self.recorded(link, 1)
        old = LOG.with_name("access.log.7")
        LOG.rename(old)
        self.addCleanup(old.unlink)
        self.visitor.get(link + "/?view")
        self.assertEqual(self.events(link, 1), ["list"])


class LargeFileTest(RecordTest):
    """Of a download that ends early, what was sent until then is recorded."""

    size = 64 << 20

    def setUp(self):
        super().setUp()
        self.write("large.bin", bytes(self.size))
        self.link = self.share()

    def assert_recorded_in_part(self):
        line, = self.recorded(self.link, 1)
        self.assertEqual((line["event"], line["status"]), ("download", 200))
        self.assertTrue(0 < line["bytes"] < self.size, line)


class BrokenOffTest(LargeFileTest):
    @unittest.skipUnless("BASE" in os.environ, "needs a server")
    def test_visitor_who_leaves_is_recorded_with_the_bytes_sent(self):
        base = self.transport.base
        with socket.create_connection((base.hostname, base.port), 60) as connection:
            connection.sendall(f"GET {self.link}/large.bin HTTP/1.1\r\nHost: {base.netloc}"
                               "\r\n\r\n".encode())
            for _ in range(100):
                connection.recv(10000)
        self.assert_recorded_in_part()

    def start(self):
        """The program, of whose answer the beginning was read."""
        environment = self.transport.environment(
            "GET", self.link + "/large.bin", {"Host": "x"}, self.visitor.address)
        program = subprocess.Popen([PROGRAM], stdout=subprocess.PIPE, env=environment,
                                   stdin=subprocess.DEVNULL, cwd="/", **AS_SYSTEM)
        self.addCleanup(program.stdout.close)
        program.stdout.read(1 << 20)
        return program

    @needs_program
    def test_server_that_closes_the_output_leaves_a_line_with_the_bytes_sent(self):
        program = self.start()
        program.stdout.close()
        self.assertEqual(program.wait(60), 1)
        self.assert_recorded_in_part()

    @needs_program
    def test_program_that_the_server_ends_records_the_bytes_sent(self):
        program = self.start()
        program.terminate()  # it waits for the pipe, or is about to write
        self.assertEqual(program.wait(60), 1)
        self.assert_recorded_in_part()


@needs_program
class FastCgiTest(LargeFileTest):
    """Large bodies are sent by a child, which records them."""

    def setUp(self):
        super().setUp()
        self.server = FastCgiTransport(self.folder.parent)
        self.addCleanup(self.server.listener.close)
        self.addCleanup(self.server.stop)

    def download(self):
        """A connection whose visitor has read the beginning of the file."""
        connection = self.server.connect()
        self.addCleanup(connection.socket.close)
        connection.send(self.server.environment(
            "GET", self.link + "/large.bin", {"Host": "x"}, self.visitor.address))
        connection.socket.sendall(b"\x01\x05\x00\x01\x00\x00\x00\x00")
        while len(connection.output) < 1 << 20:
            connection.read_some()
        return connection

    def test_whole_download_is_recorded_with_its_size(self):
        connection = self.download()
        while connection.read_some():
            pass
        self.assertTrue(connection.ended)
        line, = self.recorded(self.link, 1)
        self.assertEqual((line["event"], line["bytes"]), ("download", self.size))

    def test_visitor_who_leaves_is_recorded_with_the_bytes_sent(self):
        self.download().socket.close()
        self.assert_recorded_in_part()

    def test_service_that_is_stopped_records_the_bytes_sent(self):
        for _ in range(4):
            self.download()
        self.assertEqual(self.server.stop(), 0)
        for line in self.recorded(self.link, 4):
            self.assertTrue(0 < line["bytes"] < self.size, line)

    def test_requests_are_recorded_by_the_address_of_each(self):
        link = self.share()
        visitors = [Visitor(self.server) for _ in range(3)]
        for visitor in visitors:
            visitor.get(link + "/")
        self.assertEqual([line["address"] for line in self.recorded(link, 3)],
                         [self.network(visitor) for visitor in visitors])


@needs_program
class SettingsTest(RecordTest):
    def configure(self, path, text):
        with open(path, "w", encoding="utf-8") as file:
            file.write(text)
        self.addCleanup(pathlib.Path(path).unlink, missing_ok=True)

    def address_of(self, remote, **headers):
        """What is recorded of an address."""
        link = self.share()
        self.transport.send("GET", link + "/", {"Host": "x", **headers}, b"", remote)
        return self.recorded(link, 1)[0].get("address")

    def test_network_of_the_address_is_recorded(self):
        for remote, kept in (("192.0.2.77", "192.0.2.0/24"),
                             ("2001:db8:1:2:3::9", "2001:db8:1::/48"),
                             ("::ffff:192.0.2.77", "192.0.2.0/24")):
            self.assertEqual(self.address_of(remote), kept)

    def test_address_is_recorded_as_configured(self):
        self.configure(SETTINGS, "log_address = full\n")
        self.assertEqual(self.address_of("192.0.2.77"), "192.0.2.77")
        self.configure(SETTINGS, "log_address = none\n")
        self.assertIsNone(self.address_of("192.0.2.77"))
        self.configure(SETTINGS, "log_address = some\n")
        self.assertEqual(self.address_of("192.0.2.77"), "192.0.2.0/24")

    def test_address_behind_a_trusted_proxy_is_that_of_the_visitor(self):
        self.configure(PLATFORM, "trusted_proxies = 192.0.2.1\n")
        forwarded = {"X-Forwarded-For": "198.51.100.9"}
        self.assertEqual(self.address_of("192.0.2.1", **forwarded), "198.51.100.0/24")
        self.assertEqual(self.address_of("192.0.2.2", **forwarded), "192.0.2.0/24")


@needs_program
class FailureTest(RecordTest):
    """Nothing that happens to the access log harms an answer."""

    def setUp(self):
        super().setUp()
        self.write("notes.txt")
        self.link = self.share(password=PASSWORD)
        self.log_in(self.link)
        self.addCleanup(self.restore)

    def restore(self):
        shutil.rmtree(LOG.parent, ignore_errors=True)
        LOG.parent.unlink(missing_ok=True)
        LOG.parent.mkdir(mode=0o750)
        os.chown(LOG.parent, 1, 1)
        STAMP.unlink(missing_ok=True)

    def assert_answers(self):
        self.assertEqual(self.visitor.get(self.link + "/").page, "folder")
        self.assertEqual(self.visitor.get(self.link + "/notes.txt").body, b"content\n")
        self.assertEqual(self.new_visitor().post(self.link, password="x").status, 401)
        self.assertTrue(STAMP.exists(), "the failure was not logged")

    def test_missing_folder_does_not_stop_answers(self):
        shutil.rmtree(LOG.parent)
        self.assert_answers()
        self.assertFalse(LOG.parent.exists())

    def test_folder_that_may_not_be_written_does_not_stop_answers(self):
        LOG.unlink()
        os.chown(LOG.parent, 0, 0)
        os.chmod(LOG.parent, 0o755)
        self.assert_answers()

    def test_folder_in_place_of_the_file_does_not_stop_answers(self):
        LOG.unlink()
        LOG.mkdir()
        self.assert_answers()

    def test_pipe_in_place_of_the_file_does_not_stop_answers(self):
        LOG.unlink()
        os.mkfifo(LOG, 0o666)
        os.chown(LOG, 1, 1)
        self.assert_answers()
        reader = os.open(LOG, os.O_RDONLY | os.O_NONBLOCK)
        self.addCleanup(os.close, reader)
        self.assert_answers()
        self.assertEqual(os.read(reader, 1), b"")

    def test_link_in_place_of_the_file_is_not_followed(self):
        target = self.write("target")
        os.chown(target, 1, 1)
        LOG.unlink()
        LOG.symlink_to(target)
        self.assert_answers()
        self.assertEqual(target.read_bytes(), b"content\n")

    def test_full_disk_does_not_stop_answers(self):
        subprocess.run(["mount", "-t", "tmpfs", "-o", "size=4k,uid=1,gid=1", "tmpfs",
                        LOG.parent], check=True)
        self.addCleanup(subprocess.run, ["umount", LOG.parent], check=True)
        LOG.write_bytes(bytes(4000))
        os.chown(LOG, 1, 1)
        self.assert_answers()
        self.assertEqual(LOG.stat().st_size, 4096)  # a beginning of the first line

    def test_file_that_is_not_rotated_does_not_grow_without_end(self):
        os.truncate(LOG, 64 << 20)
        self.assert_answers()
        self.assertEqual(LOG.stat().st_size, 64 << 20)

    def test_recording_goes_on_afterwards(self):
        shutil.rmtree(LOG.parent)
        self.assert_answers()
        self.restore()
        self.visitor.get(self.link + "/notes.txt")
        self.assertEqual(self.events(self.link, 1), ["download"])


if __name__ == "__main__":
    main()

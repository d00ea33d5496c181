"""The program as a FastCGI server."""

import os
import pathlib
import select
import signal
import tempfile
import threading
import time

from fastcgi_support import (STDIN, FastCgiTransport, children, is_running, is_sanitized,
                             memory, pairs, record, wait_until, written_memory)
from web_support import (PASSWORD, PRIVATE, CgiTransport, Visitor, WebTest, main,
                         needs_program, parse_answer)

DATABASE = PRIVATE / "session/sharing/sharing.db"
SETTINGS = "/usr/vexo/etc/web.conf"
LARGEST_MEMORY = 32 << 10  # kB


@needs_program
class FastCgiTest(WebTest):
    settings = ""

    def setUp(self):
        super().setUp()
        if self.settings:
            with open(SETTINGS, "w", encoding="utf-8") as file:
                file.write(self.settings)
            self.addCleanup(os.unlink, SETTINGS)
        self.server = FastCgiTransport(self.folder.parent)
        self.addCleanup(self.stop)
        self.visitor = Visitor(self.server)

    def stop(self):
        if self.server.process.returncode is None:
            self.server.stop()
        self.server.listener.close()

    def stalled(self, link, name, **headers):
        """A connection whose visitor has read only the beginning of a body."""
        connection = self.server.connect()
        self.addCleanup(connection.socket.close)
        connection.send(self.server.environment(
            "GET", f"{link}/{name}", {"Host": "x", **headers}, self.visitor.address))
        connection.socket.sendall(b"\x01\x05\x00\x01\x00\x00\x00\x00")
        connection.read_some(1)
        return connection


class OneWorkerTest(FastCgiTest):
    settings = "workers = 1\ndownloads = 6\n"

    def test_answers_one_request_after_the_other(self):
        self.write("notes.txt")
        link = self.share(password=PASSWORD)
        self.assertEqual(self.visitor.get(link + "/").page, "login")
        self.log_in(link)
        self.assertEqual(self.visitor.get(link + "/").page, "folder")
        answer = self.visitor.get(link + "/notes.txt")
        self.assertEqual((answer.body, answer.ended), (b"content\n", True))
        self.assertEqual(len(self.server.workers()), 1)

    def test_nothing_of_a_request_reaches_the_next(self):
        link = self.share(password=PASSWORD)
        users = self.share("--user", "alice")
        self.log_in(link)
        stranger = Visitor(self.server)
        for target in (link, users):
            self.assertEqual(stranger.get(target + "/").status, 401)
            self.assertEqual(stranger.post(target).status, 401)
            self.assertEqual(stranger.send("POST", target, b"x=y").status, 401)
        self.assertEqual(self.visitor.get(link + "/", accept_language="de",
                                          HTTPS="on").header("Content-Language"), "de")
        answer = stranger.post(link, password=PASSWORD)
        self.assertNotIn("Secure", answer.header("Set-Cookie"))
        self.assertEqual(stranger.get(link + "/").header("Content-Language"), "en")

    def test_variable_that_is_there_twice_is_a_bad_request(self):
        variables = self.server.environment(
            "GET", self.share() + "/", {"X-Forwarded-For": "192.0.2.1"}, self.visitor.address)
        with self.server.connect() as connection:
            connection.send(variables, begin=pairs({"HTTP_X_FORWARDED_FOR": b"192.0.2.2"}))
            self.assertEqual(connection.finish().status, 400)

    def test_password_does_not_stay_in_memory(self):
        if is_sanitized():
            self.skipTest("the sanitizer keeps freed memory")
        secret = "never-seen-before-4711"
        link = self.share(password=secret)
        self.assertEqual(self.visitor.post(link, password=secret).status, 303)
        self.assertEqual(self.visitor.get(link + "/").status, 200)
        (worker,) = self.server.workers()
        self.assertNotIn(secret.encode(), written_memory(worker))

    def test_addresses_are_those_of_each_request(self):
        link = self.share(password=PASSWORD)
        guesser = Visitor(self.server)
        for _ in range(10):
            guesser.post(link, password="x")
        self.assertEqual(guesser.get(link).status, 429)
        self.assertEqual(self.visitor.get(link).status, 401)

    def test_stalled_downloads_keep_nobody_waiting(self):
        self.write("large.bin", bytes(8 << 20))
        link = self.share()
        stalled = [self.stalled(link, "large.bin") for _ in range(6)]
        self.assertEqual(self.visitor.get(link + "/").page, "folder")
        (worker,) = self.server.workers()
        self.assertEqual(len(children(worker)), 6)
        while stalled[0].read_some():  # a visitor who goes on reading gets all of it
            pass
        self.assertTrue(stalled[0].ended)
        self.assertGreater(len(stalled[0].output), 8 << 20)

    def test_server_that_has_just_started_can_be_stopped(self):
        self.server.stop()
        for wait in range(100):
            server = FastCgiTransport(pathlib.Path(tempfile.mkdtemp(dir=self.folder.parent)))
            self.addCleanup(server.listener.close)
            time.sleep(wait / 2000)
            server.stop()

    def long_checksum(self):
        """A connection to a child that computes a checksum, and the child."""
        path = self.write("large.bin")
        os.truncate(path, 1 << 40)  # takes an hour
        link = self.share()
        connection = self.server.connect()
        self.addCleanup(connection.socket.close)
        connection.send(self.server.environment(
            "GET", f"{link}/large.bin?sha256", {"Host": "x"}, self.visitor.address))
        self.assertEqual(self.visitor.get(link + "/").page, "folder")
        (worker,) = self.server.workers()
        (child,) = children(worker)
        return connection, child

    def test_checksum_keeps_nobody_waiting(self):
        _, child = self.long_checksum()
        self.assertTrue(is_running(child))

    def test_checksum_for_which_nobody_waits_ends(self):
        connection, child = self.long_checksum()
        connection.socket.close()
        wait_until(lambda: not is_running(child))

    def test_checksum_ends_with_the_server(self):
        _, child = self.long_checksum()
        self.server.stop()
        wait_until(lambda: not is_running(child))

    def test_downloads_are_bounded_and_those_that_have_ended_are_forgotten(self):
        self.write("large.bin", bytes(8 << 20))
        link = self.share()
        open_downloads = [self.stalled(link, "large.bin") for _ in range(6)]
        answer = self.visitor.get(link + "/large.bin")
        self.assertEqual((answer.status, answer.page), (503, "error"))
        self.assertTrue(answer.header("Retry-After"))
        for connection in open_downloads:
            connection.socket.close()
        (worker,) = self.server.workers()
        wait_until(lambda: not any(is_running(child) for child in children(worker)))
        self.assertEqual(len(self.visitor.get(link + "/large.bin").body), 8 << 20)
        self.assertLessEqual(len(children(worker)), 1)

    def test_large_body_is_sent_whole_and_ended(self):
        content = os.urandom(5 << 20)
        self.write("large.bin", content)
        answer = self.visitor.get(self.share() + "/large.bin")
        self.assertEqual((answer.body, answer.ended), (content, True))

    def test_body_that_cannot_be_sent_whole_is_not_ended(self):
        path = self.write("large.bin", bytes(64 << 20))
        connection = self.stalled(self.share(), "large.bin")
        os.truncate(path, 0)
        while connection.read_some():
            pass
        self.assertFalse(connection.ended)
        self.assertLess(len(connection.output), 64 << 20)

    def test_small_body_that_cannot_be_sent_whole_is_not_ended(self):
        size = 100 << 10  # the worker sends it without a child
        path = self.write("small.bin", bytes(size))
        link = self.share()
        done = threading.Event()

        def resize():
            while not done.is_set():
                os.truncate(path, 0)
                os.truncate(path, size)
        thread = threading.Thread(target=resize)
        thread.start()
        self.addCleanup(thread.join)
        self.addCleanup(done.set)
        cut_off = requests = 0
        deadline = time.monotonic() + 60
        while requests < 200 or (cut_off == 0 and time.monotonic() < deadline):
            requests += 1
            with self.server.connect() as connection:
                connection.send(self.server.environment(
                    "GET", link + "/small.bin", {"Host": "x"}, self.visitor.address))
                connection.socket.sendall(b"\x01\x05\x00\x01\x00\x00\x00\x00")
                while connection.read_some():
                    pass
                if connection.ended:
                    answer = parse_answer(bytes(connection.output), False)
                    self.assertEqual(len(answer.body), int(answer.header("Content-Length")))
                else:
                    cut_off += 1
        self.assertGreater(cut_off, 0)

    def test_body_that_does_not_arrive_ends_the_request(self):
        link = self.share(password=PASSWORD)
        connection = self.server.connect()
        self.addCleanup(connection.socket.close)
        connection.send(self.server.environment(
            "POST", link, {"Host": "x", "Content-Type": "application/x-www-form-urlencoded",
                           "Content-Length": "99"}, self.visitor.address), b"password=")
        while connection.read_some():
            pass
        self.assertIn(b"Status: 400", connection.output)

    def test_connection_that_breaks_off_does_no_harm(self):
        link = self.share()
        for count in (0, 4, 30):
            with self.server.connect() as connection:
                connection.socket.sendall(
                    b"\x01\x01\x00\x01\x00\x08\x00\x00" + b"\x00\x01" + bytes(6)
                    + b"\x01\x04\x00\x01\x00\x10\x00\x00"[:count])
        self.assertEqual(self.visitor.get(link + "/").page, "folder")

    def test_memory_is_bounded_whatever_is_sent(self):
        if is_sanitized():
            self.skipTest("the sanitizer's own memory would be measured")
        for index in range(3000):
            self.write(f"many/{index:0200}")
        self.write("text.txt", b'<"&' * (1 << 20))
        self.write("large.bin", bytes(64 << 20))
        texts = (b"&", b"> ", b"[](a)", b"*_", b"[", b"- ", b"`a``b", b"[a]: b\n", b"\n")
        for index, text in enumerate(texts):
            self.write(f"{index}/README.md", text * ((256 << 10) // len(text)))
        deep = "/".join(["\u540d" * 80] * 4)  # paths of 1,000 bytes, and three times that escaped
        for index in range(600):
            self.write(f"{deep}/{index:04}.txt")
        link = self.share()
        for target in (*(f"/{index}/" for index in range(len(texts))), "/many/",
                       "/text.txt?view", "/large.bin", "/?zip", "/many/?zip",
                       "/" + "x/" * 3000, "/many/?q=" + "y" * 4000, "/?q=0&below",
                       "/?q=txt&below", "/?q=txt&below&view=grid", "/?q=txt&below&json"):
            self.visitor.get(link + target, accept_language="de," * 1000)
        self.visitor.send("POST", link, bytes(64 << 20))
        self.assertEqual(self.visitor.get(link + "/").status, 200)
        (worker,) = self.server.workers()
        self.assertLess(memory(worker), LARGEST_MEMORY)

    def test_memory_of_a_download_is_bounded(self):
        if is_sanitized():
            self.skipTest("the sanitizer's own memory would be measured")
        self.write("large.bin", bytes(64 << 20))
        link = self.share()
        for name, headers in (("large.bin", {}), ("?zip", {}),
                              ("large.bin", {"Range": "bytes=0-29999999,30000001-59999999"})):
            with self.subTest(name, **headers):
                connection = self.stalled(link, name, **headers)
                while len(connection.output) < 48 << 20:
                    connection.read_some()
                (worker,) = self.server.workers()
                (child,) = filter(is_running, children(worker))
                self.assertLess(memory(child), LARGEST_MEMORY)
                connection.socket.close()
                wait_until(lambda child=child: not is_running(child))


class WorkersTest(FastCgiTest):
    settings = "workers = 3\n"

    def test_worker_that_ends_is_replaced(self):
        wait_until(lambda: len(self.server.workers()) == 3)
        first = self.server.workers()
        os.kill(first[0], signal.SIGKILL)
        wait_until(lambda: first[0] not in self.server.workers()
                   and len(self.server.workers()) == 3)
        self.assertEqual(self.visitor.get(self.share() + "/").page, "folder")

    def test_database_that_could_not_be_opened_is_opened_again(self):
        link = self.share()
        moved = DATABASE.with_suffix(".moved")
        os.rename(DATABASE, moved)
        DATABASE.mkdir()
        try:
            for _ in range(3):
                self.assertEqual(self.visitor.get(link + "/").status, 503)
        finally:
            DATABASE.rmdir()
            os.rename(moved, DATABASE)
        for _ in range(6):
            wait_until(lambda: len(self.server.workers()) == 3)
            self.assertEqual(self.visitor.get(link + "/").status, 200)

    def test_forms_that_do_not_arrive_keep_nobody_waiting(self):
        link = self.share(password=PASSWORD)
        waiting = [self.unfinished_form(link) for _ in range(12)]
        for _ in range(6):
            self.assertEqual(Visitor(self.server).get(link + "/").status, 401)
        self.assertEqual(select.select([form.socket for form in waiting], [], [], 0)[0], [])
        for form in waiting:
            form.socket.sendall(record(STDIN, b"word=" + PASSWORD.encode().replace(b" ", b"+")))
            self.assertEqual(form.finish().status, 303)
        wait_until(lambda: len(self.server.workers()) == 3)
        self.assertEqual(self.visitor.get(link + "/").status, 401)

    def unfinished_form(self, link):
        connection = self.server.connect()
        self.addCleanup(connection.socket.close)
        headers = {"Host": "x", "Content-Type": "application/x-www-form-urlencoded",
                   "Content-Length": str(len("password=" + PASSWORD))}
        connection.send(self.server.environment("POST", link, headers,
                                                self.new_visitor().address), b"pass")
        return connection

    def test_termination_ends_all_processes(self):
        wait_until(lambda: len(self.server.workers()) == 3)
        workers = self.server.workers()
        self.assertEqual(self.server.stop(), 0)
        self.assertFalse(any(is_running(worker) for worker in workers))

    def test_workers_end_with_the_process_that_started_them(self):
        wait_until(lambda: len(self.server.workers()) == 3)
        workers = self.server.workers()
        self.server.process.kill()
        self.server.process.wait(60)
        wait_until(lambda: not any(is_running(worker) for worker in workers))


class SettingsTest(WebTest):
    @needs_program
    def test_language_of_the_settings_is_that_of_visitors_who_ask_for_none(self):
        with open(SETTINGS, "w", encoding="utf-8") as file:
            file.write("language = fr\nlanguage = klingon\nnonsense\n")
        self.addCleanup(os.unlink, SETTINGS)
        for accepted, language in ((None, "fr"), ("pt", "fr"), ("de", "de"), ("*", "fr")):
            answer = Visitor(CgiTransport()).get("/sharing/none", accept_language=accepted)
            self.assertEqual(answer.header("Content-Language"), language)


if __name__ == "__main__":
    main()

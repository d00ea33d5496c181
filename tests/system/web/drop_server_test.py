"""Drop boxes: rights, full disks, senders that stall or break off, and memory."""

import fcntl
import os
import pathlib
import signal
import subprocess
import threading

from drop_test import ALICE, FORM, DropTest, form, part
from fastcgi_support import children, is_running, is_sanitized, memory, record, wait_until
from fastcgi_test import LARGEST_MEMORY, FastCgiTest
from web_support import AS_SYSTEM, PROGRAM, CgiTransport, Visitor, main, needs_program


@needs_program
class OwnerTest(DropTest):
    """The program as root, which may become the owner."""

    def setUp(self):
        super().setUp()
        self.visitor = Visitor(CgiTransport(user=0, group=0, extra_groups=[]))

    def test_files_belong_to_the_owner(self):
        for mode, expected in ((0o700, 0o600), (0o750, 0o640), (0o777, 0o664)):
            self.folder.chmod(mode)
            self.sent(part(b"x", filename="a"), part(b"Hello", "note"))
            for name in ("a", "note.txt"):
                status = (self.folder / name).stat()
                self.assertEqual((status.st_uid, status.st_gid, oct(status.st_mode & 0o777)),
                                 (ALICE, ALICE, oct(expected)))
                (self.folder / name).unlink()

    def test_folder_that_the_owner_may_not_write_receives_nothing(self):
        os.chown(self.folder, 0, 0)
        self.folder.chmod(0o755)
        self.check_refused(self.post(part(b"x", filename="a")), 500)

    def test_groups_of_the_owner_count(self):
        os.chown(self.folder, 5002, 5100)  # staff-test, with alice
        self.folder.chmod(0o770)
        self.sent(part(b"x", filename="a"))


@needs_program
class DiskTest(DropTest):
    def setUp(self):
        super().setUp()
        subprocess.run(["mount", "-t", "tmpfs", "-o", f"size=1m,mode=0777,uid={ALICE}",
                        "tmpfs", self.folder], check=True)
        self.addCleanup(subprocess.run, ["umount", self.folder], check=True)

    def test_full_disk_leaves_nothing(self):
        self.refused(507, part(bytes(500000), filename="a"),
                     part(bytes(1 << 20), filename="b"),
                     problem="There is not enough space for these files.")
        self.sent(part(bytes(500000), filename="a"))

    def test_sender_who_is_killed_leaves_nothing(self):
        body = form(part(b"x" * 100000, filename="a"), part(b"y" * 100000, filename="b"))
        env = self.transport.environment(
            "POST", self.link + "/", {"Content-Type": FORM, "Content-Length": str(len(body))},
            self.visitor.address)
        for size in (10, 50000, 150000):
            with subprocess.Popen([PROGRAM], stdin=subprocess.PIPE, stdout=subprocess.DEVNULL,
                                  env=env, cwd="/", **AS_SYSTEM) as process:
                process.stdin.write(body[:size])
                process.stdin.flush()
                if size > 10:
                    wait_until(lambda: self.used() > 0)
                process.kill()
                process.stdin.close()
            self.assertEqual((self.held(), self.used()), ({}, 0))

    def used(self):
        status = os.statvfs(self.folder)
        return status.f_blocks - status.f_bfree


class OneWorkerTest(FastCgiTest, DropTest):
    settings = "workers = 1\ndownloads = 3\n"

    def begin(self, body, length, method="POST", target=None, kind=FORM):
        """A connection whose visitor has sent only the beginning of a body."""
        connection = self.server.connect()
        self.addCleanup(connection.socket.close)
        connection.send(self.server.environment(
            method, target or self.link + "/",
            {"Host": "x", "Content-Type": kind, "Content-Length": str(length)},
            self.visitor.address), body)
        return connection

    def worker(self):
        wait_until(self.server.workers)
        (worker,) = self.server.workers()
        return worker

    def test_stalled_senders_keep_nobody_waiting_and_are_bounded(self):
        body = form(part(bytes(100000), filename="a"))
        stalled = [self.begin(body[:50000], len(body)) for _ in range(3)]
        wait_until(lambda: len(children(self.worker())) == 3)
        self.assertEqual(self.visitor.get(self.link + "/").page, "drop")
        self.assertEqual(self.post(part(b"x", filename="b")).status, 503)
        stalled[0].socket.sendall(record(5, body[50000:]))
        self.assertEqual(stalled[0].finish().status, 303)
        stalled[0].socket.close()
        stalled[1].socket.close()
        wait_until(lambda: sum(map(is_running, children(self.worker()))) == 1)
        self.sent(part(b"x", filename="b"))
        self.assertEqual(sorted(self.held()), ["a", "b"])

    def test_sending_beyond_the_limit_is_refused_before_its_end(self):
        files = form(part(b"x", filename="a"), part(b"y", filename="b"))
        for body, length, limits in ((b"", 1 << 40, {"max_bytes": 1000}),
                                     (part(bytes(2000), filename="a"), 5000,
                                      {"max_bytes": 1000}),
                                     (files[:-10], len(files), {"max_files": 1})):
            connection = self.begin(body, length, target=self.drop(**limits) + "/")
            wait_until(lambda connection=connection:
                       connection.read_some() and b"Status: 413" in connection.output)
            connection.socket.close()

    def test_limit_that_another_sender_has_reached_meanwhile_is_kept(self):
        body = form(part(bytes(60000), filename="a"))
        for limits in ({"max_bytes": 100000}, {"max_files": 1}):
            with self.subTest(limits):
                target = self.drop(**limits) + "/"
                senders = [self.begin(body[:-5], len(body), target=target)
                           for _ in range(2)]
                wait_until(lambda: self.unnamed() == [60000, 60000])
                answers = []
                for sender in senders:
                    sender.socket.sendall(record(5, body[-5:]))
                    answers.append(sender.finish().status)
                    sender.socket.close()
                self.assertEqual(answers, [303, 413])
                self.assertEqual(list(self.held()), ["a"])
                (self.folder / "a").unlink()
                wait_until(lambda: not any(map(is_running, children(self.worker()))))

    def unnamed(self):
        """The sizes of the files that are being received."""
        sizes = []
        for child in children(self.worker()):
            for file in pathlib.Path(f"/proc/{child}/fd").iterdir():
                if str(self.folder) in os.readlink(file) and file.stat().st_nlink == 0:
                    sizes.append(file.stat().st_size)
        return sizes

    def test_senders_name_their_files_one_after_the_other(self):
        folder = os.open(self.folder, os.O_RDONLY)
        self.addCleanup(os.close, folder)
        fcntl.flock(folder, fcntl.LOCK_EX)
        sender = threading.Thread(target=self.sent, args=(part(b"x", filename="a"),))
        sender.start()
        sender.join(0.5)
        self.assertTrue(sender.is_alive())
        self.assertEqual(self.held(), {})
        fcntl.flock(folder, fcntl.LOCK_UN)
        sender.join()
        self.assertEqual(self.held(), {"a": b"x"})

    def test_child_that_is_killed_leaves_nothing(self):
        body = form(part(bytes(100000), filename="a"))
        self.begin(body[:90000], len(body))
        wait_until(lambda: children(self.worker()))
        (child,) = children(self.worker())
        os.kill(child, signal.SIGKILL)
        wait_until(lambda: not is_running(child))
        self.assertEqual(self.held(), {})
        self.assertEqual(self.visitor.get(self.link + "/").page, "drop")

    def test_bodies_that_nobody_reads_do_not_hold_the_worker(self):
        closed = self.drop(password="x")
        for method, target, kind in (("POST", closed + "/", FORM),
                                     ("POST", self.link + "/", "text/plain"),
                                     ("GET", self.link + "/", FORM)):
            with self.subTest(method + target):
                connection = self.begin(b"x" * 50000, 1 << 30, method, target, kind)
                stop = threading.Event()
                self.addCleanup(stop.set)
                sender = threading.Thread(target=self.trickle, args=(connection, stop))
                sender.start()
                self.assertEqual(self.visitor.get(self.link + "/").page, "drop")
                self.assertTrue(sender.is_alive())
                stop.set()
                sender.join()
                connection.socket.close()

    @staticmethod
    def trickle(connection, stop):
        """Sends a little until it is stopped."""
        while not stop.wait(0.01):
            connection.socket.sendall(record(5, b"x" * 100))

    def test_memory_is_bounded_whatever_is_sent(self):
        if is_sanitized():
            self.skipTest("the sanitizer's own memory would be measured")
        bodies = [form(part(bytes(48 << 20), filename="a")),
                  form(*(part(b"x", filename=f"{n:0250}") for n in range(510))),
                  form(part(b"\r\n--" * (4 << 20), filename="b"))]
        for body in bodies:
            connection = self.begin(body[:-1], len(body))
            wait_until(lambda: any(map(is_running, children(self.worker()))))
            (child,) = filter(is_running, children(self.worker()))
            wait_until(lambda child=child: self.waits(child))
            self.assertLess(memory(child), LARGEST_MEMORY)
            connection.socket.sendall(record(5, body[-1:]))
            self.assertEqual(connection.finish().status, 303)
            connection.socket.close()
            wait_until(lambda child=child: not is_running(child))
        self.assertLess(memory(self.worker()), LARGEST_MEMORY)

    @staticmethod
    def waits(process):
        """Whether the process has read all that was sent to it."""
        with open(f"/proc/{process}/stat", encoding="ascii") as file:
            return file.read().rpartition(")")[2].split()[0] == "S"


if __name__ == "__main__":
    main()

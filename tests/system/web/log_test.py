"""What the program writes to the system log."""

import pathlib
import socket
import subprocess

from web_support import PASSWORD, WebTest, main, needs_program


class SystemLog:
    """Receives what is logged, in a /dev of its own."""

    DEVICES = ("null", "random", "urandom", "zero")

    def __init__(self):
        folder = pathlib.Path("/tmp/dev")
        folder.mkdir()
        self.mount("-t", "tmpfs", "-o", "mode=0755", "tmpfs", folder)
        for name in self.DEVICES:
            (folder / name).touch()
            self.mount("--bind", f"/dev/{name}", folder / name)
        self.socket = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.socket.setblocking(False)
        self.socket.bind(str(folder / "log"))
        (folder / "log").chmod(0o666)
        self.mount("--move", folder, "/dev")

    @staticmethod
    def mount(*arguments):
        subprocess.run(["mount", *map(str, arguments)], check=True)

    def lines(self):
        lines = []
        while True:
            try:
                lines.append(self.socket.recv(1 << 16).decode())
            except BlockingIOError:
                return lines

    def close(self):
        self.socket.close()
        subprocess.run(["umount", "--recursive", "--lazy", "/dev"], check=True)
        pathlib.Path("/tmp/dev").rmdir()


@needs_program
class LogTest(WebTest):
    def test_passwords_queries_and_sessions_are_never_logged(self):
        link = self.share("--redirect-uri", "http://example.org/", "--redirect-type",
                          "url_param", password=PASSWORD)
        users = self.share("--user", "alice")
        log = SystemLog()
        self.addCleanup(log.close)
        query = "?to=//s3cret-text&password=s3cret-text"
        self.visitor.get(link + "/" + query)
        self.visitor.post(link + "/" + query, password="s3cret-text")
        self.visitor.post(users, username="alice", password="s3cret-text")
        self.assertEqual(
            self.visitor.post(link + "/" + query, password=PASSWORD).status, 303)
        self.visitor.get(link + "/" + query)
        lines = log.lines()
        self.assertIn('parameter "to" ignored', " ".join(lines))
        (session,) = self.visitor.cookies.values()
        for line in lines:
            for secret in ("s3cret-text", PASSWORD, session):
                self.assertNotIn(secret, line)


if __name__ == "__main__":
    main()

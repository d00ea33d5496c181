"""Common code of the tests of the programs.  They run in a private mount namespace:

  x_test.py BUILD [unittest arguments]
"""

import contextlib
import fcntl
import json
import os
import pathlib
import pty
import select
import shutil
import signal
import sqlite3
import struct
import subprocess
import sys
import termios
import threading
import time
import unittest

import jsonschema

COMMAND = "/usr/vexo/bin/vexosharing"
LIBRARIES = pathlib.Path("/usr/vexo/lib")
DATABASE = pathlib.Path("/usr/vexo/etc/private/session/sharing/sharing.db")
BLOCKS = pathlib.Path("/usr/vexo/etc/private/autoblock")
URL_TOOL = pathlib.Path("/usr/vexo/bin/vexosharingurl")

SCHEMA = json.loads((pathlib.Path(__file__).resolve().parents[3] / "docs" /
                     "json.schema.json").read_text(encoding="utf-8"))

DONE, REFUSED, WRONG_CALL, NOT_USABLE = 0, 1, 2, 3
INTERRUPTED, READER_LEFT = 130, 141

# An account that is neither root nor the system's own.
AS_ALICE = {"user": 5001, "group": 5001, "extra_groups": []}

# A time zone with summer time that needs no time zone files.
TIME_ZONE = "CET-1CEST,M3.5.0,M10.5.0/3"


def is_sanitized():
    """Whether the command was built with the sanitizers."""
    return b"__asan_init" in pathlib.Path(COMMAND).read_bytes()


def many(count):
    """A number of links that keeps the command busy for long enough to show progress or be
    interrupted.  With the sanitizers it is slower by more than the factor here."""
    return count // 4 if is_sanitized() else count


def validate(data, name):
    """Checks JSON against a definition of the schema."""
    schema = {"$schema": SCHEMA["$schema"], "$ref": f"#/$defs/{name}",
              "$defs": SCHEMA["$defs"]}
    jsonschema.Draft202012Validator(schema).validate(data)


def environment(**more):
    """The environment of the command: the tester's own is not inherited."""
    return {"PATH": "/usr/bin:/bin", "LD_LIBRARY_PATH": str(LIBRARIES), "TZ": TIME_ZONE,
            "TERM": "xterm", **more}


def wait_until(condition):
    """Waits until another process has done something, at most 30 seconds."""
    deadline = time.monotonic() + 30
    while not condition():
        if time.monotonic() > deadline:
            raise TimeoutError("the condition did not become true")
        time.sleep(0.01)


def uses_database(process):
    """Whether the process has opened the database."""
    try:
        links = list(pathlib.Path(f"/proc/{process.pid}/fd").iterdir())
        return any(os.readlink(link) == str(DATABASE) for link in links)
    except FileNotFoundError:
        return False


def lock_of_byte(byte):
    """A struct flock that write-locks one byte of a file."""
    return struct.pack("hhqqi4x", fcntl.F_WRLCK, os.SEEK_SET, byte, 1, 0)


def is_write_lock_awaited():
    """Whether a process waits for the write lock."""
    with open(f"{DATABASE}-lock", "r+b", buffering=0) as file:
        found = fcntl.fcntl(file, fcntl.F_OFD_GETLK, lock_of_byte(1))
    return struct.unpack_from("h", found)[0] != fcntl.F_UNLCK


def waits_for_input(process):
    """Whether the process is reading from standard input."""
    try:
        call = pathlib.Path(f"/proc/{process.pid}/syscall").read_text(encoding="ascii")
    except (FileNotFoundError, ProcessLookupError):
        return False
    return call.split()[:2] == ["0", "0x0"]


def read_terminal(seeing):
    """All that is shown until the last program has closed the terminal."""
    shown = b""
    while True:
        try:
            part = os.read(seeing, 65536)
        except OSError:  # the other end is closed
            return shown.decode()
        shown += part


class CommandTest(unittest.TestCase):
    def setUp(self):
        self.forget()
        for path in BLOCKS.iterdir():
            path.unlink()
        URL_TOOL.unlink(missing_ok=True)

    @staticmethod
    def forget():
        """Removes the database and the files beside it."""
        for path in DATABASE.parent.iterdir():
            path.unlink()

    def call(self, *arguments, text=b"", env=None, **options):
        """Runs the command with `text` as its standard input."""
        if isinstance(text, str):
            text = text.encode()
        if "stdin" not in options:
            options["input"] = text
        options.setdefault("stdout", subprocess.PIPE)
        return subprocess.run([COMMAND, *arguments], stderr=subprocess.PIPE, timeout=120,
                              env=environment(**(env or {})), check=False, **options)

    def start(self, *arguments, env=None, **options):
        process = subprocess.Popen([COMMAND, *arguments], env=environment(**(env or {})),
                                   stderr=subprocess.PIPE, **options)
        self.addCleanup(self.stop, process)
        return process

    @staticmethod
    def stop(process):
        process.kill()
        process.wait()
        for stream in (process.stdin, process.stdout, process.stderr):
            if stream is not None:
                stream.close()

    def out(self, *arguments, **options):
        """Standard output of a call that must succeed."""
        done = self.call(*arguments, **options)
        self.assertEqual(done.returncode, DONE, (arguments, done.stderr))
        return done.stdout.decode()

    def json(self, *arguments, **options):
        """What a subcommand prints with --json, which the schema must describe."""
        data = json.loads(self.out(*arguments, "--json", **options))
        names = arguments[:2] if arguments[0] == "block" else arguments[:1]
        validate(data, ".".join(("vexosharing", *names)))
        return data

    def refusal(self, status, *arguments, **options):
        """The one line of a call that must end with this status and print nothing."""
        done = self.call(*arguments, **options)
        self.assertEqual(done.returncode, status, (arguments, done.stdout, done.stderr))
        self.assertEqual(done.stdout, b"")
        lines = done.stderr.decode().splitlines()
        self.assertEqual(len(lines), 1, lines)
        self.assertTrue(lines[0].startswith("vexosharing: "), lines)
        return lines[0]

    def assert_lost_output_is_reported(self, *arguments, before=lambda: None, **options):
        """Of a call whose standard output is closed, and of one whose device is full;
        `before` runs ahead of each."""
        with open("/dev/full", "wb") as full:
            for output in ({"stdout": None, "preexec_fn": lambda: os.close(1)},
                           {"stdout": full}):
                before()
                done = self.call(*arguments, **output, **options)
                self.assertEqual(done.returncode, REFUSED, (arguments, done.stderr))
                self.assertIn(b"cannot write to standard output",
                              done.stderr.splitlines()[-1])

    def create(self, *arguments, project="photos", owner="alice", **options):
        """Creates a link and returns its hash."""
        return self.json("create", "--project", project, "--owner", owner, *arguments,
                         **options)["link"]["hash"]

    def created(self, *arguments, **options):
        """What create prints of a link, with the generated password, if any."""
        data = self.json("create", *arguments, **options)
        return {**data.pop("link"), **data}

    def shown(self, link, *arguments):
        """The details of a link, with the number of its valid tokens."""
        data = self.json("show", link, *arguments)
        return {**data["link"], "tokens": data["tokens"]}

    def edited(self, link, *arguments, **options):
        """The details of a link after an edit, and what was revoked and generated."""
        item, = self.json("edit", link, *arguments, **options)["items"]
        return {**item.pop("link"), **item}

    def login(self, link, *arguments, text=b""):
        """Logs a visitor in to a link of the system's database; the session id."""
        done = self.json("visit", link, "login", *arguments, text=text)
        self.assertEqual(done["result"], 1)
        return done["session_id"]

    def links(self, *arguments):
        return self.json("list", *arguments)["items"]

    def install_url_tool(self, script="echo https://nas.example/sharing/$1; echo 2"):
        URL_TOOL.write_text(f"#!/bin/sh\n{script}\n", encoding="utf-8")
        URL_TOOL.chmod(0o755)

    @staticmethod
    def sql(statement, *values, path=DATABASE):
        """Runs a statement with SQLite itself and answers its rows."""
        connection = sqlite3.connect(path, timeout=30)
        try:
            with connection:
                return connection.execute(statement, values).fetchall()
        finally:
            connection.close()

    def break_row(self, link, data="{"):
        self.sql("UPDATE entry SET data = ? WHERE hash = ?", data, link)

    def break_root_page(self, name):
        """Spoils the first page of a table or index."""
        page = self.sql("SELECT rootpage FROM sqlite_master WHERE name = ?", name)[0][0]
        self.sql("PRAGMA wal_checkpoint(TRUNCATE)")
        self.overwrite((page - 1) * 4096, 4096)

    def damage_middle(self):
        """Spoils the middle half of the database."""
        self.sql("PRAGMA wal_checkpoint(TRUNCATE)")
        size = DATABASE.stat().st_size
        self.overwrite(size // 4, size // 2)

    @staticmethod
    def overwrite(begin, count):
        with DATABASE.open("r+b") as file:
            file.seek(begin)
            file.write(b"\xff" * count)

    def lock(self):
        """Keeps every writer waiting until the connection answered is rolled back."""
        connection = sqlite3.connect(DATABASE, isolation_level=None)
        self.addCleanup(connection.close)
        connection.execute("BEGIN IMMEDIATE")
        return connection

    def hold_write_lock(self):
        """Holds the write lock until the test ends."""
        file = open(f"{DATABASE}-lock", "r+b", buffering=0)
        self.addCleanup(file.close)
        fcntl.fcntl(file, fcntl.F_OFD_SETLK, lock_of_byte(0))

    def fill(self, count, name="copy"):
        """Copies the first link until there are `count` more, called copy1 and so on."""
        self.sql("WITH RECURSIVE n(i) AS (VALUES(1) UNION ALL SELECT i + 1 FROM n "
                 "WHERE i < ?) INSERT INTO entry SELECT NULL, ? || i, project_name, "
                 "enabled, owner_uid, start_at, expire_at, expire_times, use_count, "
                 "auto_gc, data FROM n, (SELECT * FROM entry LIMIT 1)", count, name)

    def on_terminal(self, *arguments, columns=80, typed=b"", prompt=": ", env=None):
        """Exit code and everything shown, with all three streams on a terminal."""
        pid, terminal = pty.fork()
        if pid == 0:
            os.execve(COMMAND, [COMMAND, *arguments], environment(**(env or {})))
        fcntl.ioctl(terminal, termios.TIOCSWINSZ, struct.pack("HHHH", 50, columns, 0, 0))
        shown = b""
        while True:
            if not select.select([terminal], [], [], 60)[0]:
                os.kill(pid, signal.SIGKILL)
            try:
                part = os.read(terminal, 65536)
            except OSError:
                break
            if not part:
                break
            shown += part
            if typed and shown.endswith(prompt.encode()):
                os.write(terminal, typed)
                typed = b""
        os.close(terminal)
        return os.waitstatus_to_exitcode(os.waitpid(pid, 0)[1]), shown.decode()

    @contextlib.contextmanager
    def slow_accounts(self, seconds=0.3):
        """Makes the first lookup of an account take so many seconds, at most until the end of
        the block: to open a file with a lease, a process waits for the holder.  Progress is
        shown after 0.2 seconds."""
        before = signal.signal(signal.SIGIO, signal.SIG_IGN)  # sent to the holder
        ended = threading.Event()
        with open("/etc/passwd", "rb") as accounts:
            fcntl.fcntl(accounts, fcntl.F_SETLEASE, fcntl.F_WRLCK)

            def hold():
                while fcntl.fcntl(accounts, fcntl.F_GETLEASE) == fcntl.F_WRLCK:
                    if ended.wait(0.01):
                        return
                ended.wait(seconds)
                fcntl.fcntl(accounts, fcntl.F_SETLEASE, fcntl.F_UNLCK)

            holder = threading.Thread(target=hold)
            holder.start()
            try:
                yield
            finally:
                ended.set()
                holder.join()
                signal.signal(signal.SIGIO, before)

    def shown_on_error_terminal(self, *arguments):
        """What a call that must be done shows where only its standard error is a terminal."""
        seeing, terminal = os.openpty()
        self.addCleanup(os.close, seeing)
        with subprocess.Popen([COMMAND, *arguments], stdout=subprocess.DEVNULL,
                              stderr=terminal, env=environment()) as process:
            os.close(terminal)
            shown = read_terminal(seeing)
            self.assertEqual(process.wait(60), DONE)
        return shown


def install(build, program):
    """Lays a built program where everybody of the machine can run it."""
    LIBRARIES.mkdir(exist_ok=True)
    shutil.copy(f"{build}/bin/{program}", "/usr/vexo/bin")
    for library in pathlib.Path(build, "lib").glob("lib*.so.*"):
        shutil.copy(library, LIBRARIES)


def main(program="vexosharing"):
    if not os.path.ismount("/usr/vexo"):
        sys.exit(f"{sys.argv[0]}: runs in scripts/private-namespace only")
    install(sys.argv.pop(1), program)
    unittest.main(module="__main__")

"""What the tests of vexowebapi share.

Every response that a test sees is validated against the schema of its method.
"""

import ctypes
import errno
import json
import os
import pathlib
import shutil
import sqlite3
import struct
import subprocess
import time
import unittest

from command_support import (DATABASE, LIBRARIES, URL_TOOL, validate)

TOOL = "/usr/vexo/bin/vexowebapi"
FOLDER = DATABASE.parent
BASE = "https://nas.example.org/sharing/"
URL_CALLS = pathlib.Path("/usr/vexo/url-calls")

LINK, SESSION, TOKEN = "VEXO.Sharing.Link", "VEXO.Sharing.Session", "VEXO.Sharing.Token"
ALICE, BOB, NOBODY_HERE = 5001, 5002, 5999


def run(*arguments, **options):
    options = {"capture_output": True, "timeout": 120,
               "env": dict(os.environ, LD_LIBRARY_PATH=str(LIBRARIES)), **options}
    return subprocess.run([TOOL, *arguments], **options)


def refuse_random_bytes():
    """Lets the kernel answer EIO when this process asks for random bytes."""
    getrandom = {"x86_64": 318, "aarch64": 278}[os.uname().machine]
    load, jump_if_equal, answer = 0x20, 0x15, 0x06
    refuse, allow = 0x00050000 | errno.EIO, 0x7fff0000
    steps = ctypes.create_string_buffer(
        struct.pack("HBBI", load, 0, 0, 0) + struct.pack("HBBI", jump_if_equal, 0, 1, getrandom)
        + struct.pack("HBBI", answer, 0, 0, refuse) + struct.pack("HBBI", answer, 0, 0, allow))
    program = ctypes.create_string_buffer(struct.pack("HP", 4, ctypes.addressof(steps)))
    set_no_new_privileges, set_filter, filter_mode = 38, 22, 2
    prctl = ctypes.CDLL(None).prctl
    if prctl(set_no_new_privileges, 1, 0, 0, 0) != 0 or prctl(set_filter, filter_mode, program) != 0:
        raise OSError("the filter was not taken")


def parameter_texts(parameters):
    """NAME=VALUE as SendWebapi writes them."""
    for name, value in parameters.items():
        if isinstance(value, bool):
            value = "true" if value else "false"
        yield f"{name}={value}"


class WebApiTest(unittest.TestCase):
    def setUp(self):
        self.clear()
        self.set_url_tool(f"printf '{BASE}%s\\n2\\n' \"$1\"")

    @staticmethod
    def set_url_tool(script):
        """Installs a URL tool that logs the hashes that it is called with."""
        URL_CALLS.unlink(missing_ok=True)
        URL_TOOL.write_text(f"#!/bin/sh\necho \"$1\" >> {URL_CALLS}\n{script}\n",
                            encoding="utf-8")
        URL_TOOL.chmod(0o755)

    @staticmethod
    def clear():
        """Removes the database, and the files beside it."""
        for file in FOLDER.iterdir():
            shutil.rmtree(file) if file.is_dir() else file.unlink()

    def read(self, done, name):
        """The response, which must be one line of ASCII and match the exit status."""
        line = done.stdout.decode("ascii")
        self.assertEqual(line.count("\n"), 1, done)
        answer = json.loads(line)
        validate(answer, name if answer["success"] else "error")
        self.assertEqual(done.returncode, 0 if answer["success"] else 1)
        return answer

    def call(self, api, method, parameters=None, **options):
        done = run("--exec", f"api={api}", "version=1", f"method={method}",
                   *parameter_texts(parameters or {}), **options)
        return self.read(done, f"{api}.{method}")

    def data(self, api, method, parameters=None, **options):
        answer = self.call(api, method, parameters, **options)
        self.assertTrue(answer["success"], answer)
        return answer["data"]

    def error(self, code, api, method, parameters=None, **options):
        answer = self.call(api, method, parameters, **options)
        self.assertFalse(answer["success"], answer)
        self.assertEqual(answer["error"]["code"], code, answer)
        return self.text(answer)

    @staticmethod
    def text(answer):
        """Message and hint of an error."""
        return "; ".join(answer["error"][name] for name in ("message", "hint")
                         if name in answer["error"])

    def create(self, preexec_fn=None, **parameters):
        data = self.data(LINK, "create",
                         {"project_name": "photos", "owner_user": "alice", **parameters},
                         preexec_fn=preexec_fn)
        return data["link"]["hash"]

    def sql(self, text, *values):
        database = sqlite3.connect(DATABASE, timeout=10)
        with database:
            rows = database.execute(text, values).fetchall()
        database.close()
        return rows

    def stored(self, name):
        """The data column of a link."""
        return json.loads(self.sql("SELECT data FROM entry WHERE hash = ?", name)[0][0])

    def add_visitor(self, name, ahead=1000, uid=ALICE):
        """A session, logged in to the link: their row ids."""
        deadline = int(time.time()) + ahead
        link = self.sql("SELECT id FROM entry WHERE hash = ?", name)[0][0]
        self.sql("INSERT INTO session VALUES (NULL, hex(randomblob(16)), ?, '192.0.2.1', ?)",
                 uid, deadline)
        session = self.sql("SELECT max(id) FROM session")[0][0]
        self.sql("INSERT INTO token VALUES (NULL, ?, ?, ?)", link, session, deadline)
        return session, self.sql("SELECT max(id) FROM token")[0][0]

    def tokens(self):
        return self.sql("SELECT count(*) FROM token")[0][0]

"""vexowebapi as a program, on the real database in a private mount namespace.

  webapi_tool_test.py BUILD [unittest arguments]

Every response that a test sees is validated against the schema of its method.
"""

import ctypes
import errno
import json
import os
import pathlib
import re
import shutil
import signal
import sqlite3
import struct
import subprocess
import time
import unittest

import jsonschema

import command_support
from command_support import (DATABASE, LIBRARIES, SCHEMA, URL_TOOL, uses_database, validate,
                             wait_until)

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


class Call(WebApiTest):
    def refuse(self, code, *arguments, **options):
        answer = self.read(run("--exec", *arguments, **options), "error")
        self.assertEqual(answer["error"]["code"], code)
        return self.text(answer)

    def test_without_exec_the_usage_is_shown(self):
        for arguments in ((), ("api=" + LINK,), ("-x",)):
            done = run(*arguments)
            self.assertEqual((done.returncode, done.stdout), (2, b""))
            self.assertIn(b"usage:", done.stderr)

    def test_version_is_on_standard_output(self):
        done = run("--version")
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        self.assertRegex(done.stdout, rb"^vexowebapi [0-9]+\.[0-9]+\.[0-9]+\n$")

    def test_help_is_on_standard_output(self):
        done = run("--help")
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        self.assertIn(b"Example:", done.stdout)

    def test_api_version_and_method_are_required(self):
        good = [f"api={LINK}", "version=1", "method=info"]

        for left_out in range(3):
            self.refuse("missing_parameter", *good[:left_out], *good[left_out + 1:])

    def test_argument_that_is_no_parameter_is_refused(self):
        good = [f"api={LINK}", "version=1", "method=info"]

        for wrong in ("verbose", "=x", "", b"owner_user=\xff", "method=info"):
            self.refuse("bad_call", *good, wrong)

    def test_unknown_api_version_and_method_have_codes_of_their_own(self):
        for api in ("", "Link", "VEXO.Sharing.Links", "vexo.sharing.link", "é"):
            self.refuse("unknown_api", f"api={api}", "version=1", "method=list")
        for version in ("0", "2", "-1", "", "1.0", "x"):
            self.refuse("unknown_version", f"api={LINK}", f"version={version}", "method=info")
        for api, method in ((LINK, "List"), (LINK, ""), (SESSION, "create"), (TOKEN, "set")):
            self.refuse("unknown_method", f"api={api}", "version=1", f"method={method}")

    def test_unknown_parameter_is_refused(self):
        self.error("unknown_parameter", LINK, "info", {"x": 1})
        self.error("unknown_parameter", LINK, "get", {"hash": "a", "Hash": "a"})
        self.error("unknown_parameter", SESSION, "get", {"id": 1, "session_id": "a"})

    def test_other_users_are_refused_before_any_other_check(self):
        self.create()

        for uid in (ALICE, 2):
            message = self.refuse("not_permitted", "nonsense", user=uid, group=uid,
                                  extra_groups=[])
            self.assertIn("root", message)
            self.error("not_permitted", LINK, "list", user=uid, group=uid, extra_groups=[])

    def test_system_account_is_served(self):
        system = {"user": 1, "group": 1, "extra_groups": []}

        data = self.data(LINK, "create", {"project_name": "p", "owner_user": "bob"}, **system)
        self.assertEqual(self.data(LINK, "list", **system)["items"][0]["hash"],
                         data["link"]["hash"])
        status = DATABASE.stat()
        self.assertEqual((status.st_uid, status.st_gid, status.st_mode & 0o777), (1, 1, 0o660))

    def test_password_is_never_taken_as_an_argument(self):
        wanted = {"project_name": "p", "owner_user": "alice"}

        for name in ("password", "protect_password", "protect_password_salt", "user_password",
                     "protect_password_algo"):
            message = self.error("secret_parameter", LINK, "create",
                                 {**wanted, name: "hidden-text"})
            self.assertIn("generate_password", message)
            self.assertNotIn("hidden-text", message)
            self.error("secret_parameter", LINK, "set", {"hash": "a", name: "hidden-text"})
        self.assertFalse(DATABASE.exists())

    def test_output_that_cannot_be_written_is_an_error(self):
        reader, broken = os.pipe()
        os.close(reader)

        for output in (broken, os.open("/dev/full", os.O_WRONLY)):
            for arguments, report in ((("--exec", f"api={LINK}", "version=1", "method=info"),
                                     b"cannot write the response: the call "),
                                    (("--help",), b""), (("--version",), b"")):
                done = run(*arguments, capture_output=False, stdout=output,
                           stderr=subprocess.PIPE)
                self.assertEqual(done.returncode, 1)
                self.assertIn(report, done.stderr)
            os.close(output)

    def lose(self, method, *arguments):
        """Standard error of a call on links whose response is lost."""
        with open("/dev/full", "wb") as full:
            done = run("--exec", f"api={LINK}", "version=1", f"method={method}", *arguments,
                       capture_output=False, stdout=full, stderr=subprocess.PIPE)
        self.assertEqual(done.returncode, 1)
        return done.stderr.decode()

    def test_new_link_whose_response_is_lost_is_deleted_again(self):
        self.create()
        for protection in ("generate_password=true", "protect_users=alice"):
            report = self.lose("create", "project_name=p", "owner_user=alice", protection)

            self.assertIn("cannot write the response: the link was deleted", report)
            self.assertEqual(self.data(LINK, "info")["total"], 1)

    def test_new_password_whose_response_is_lost_is_undone(self):
        for protection in ({"generate_password": True}, {"protect_users": "alice,zoe"}):
            name = self.create(protect_title="old", **protection)
            self.sql("UPDATE entry SET use_count = 3 WHERE hash = ?", name)
            self.add_visitor(name)
            before = self.sql("SELECT * FROM entry")

            report = self.lose("set", f"hash={name}", "generate_password=true",
                             "protect_type=password", "protect_title=new", "expire_times=5")

            self.assertIn("the change was undone; tokens stay revoked", report)
            self.assertEqual(self.sql("SELECT * FROM entry"), before)
            self.assertEqual(self.tokens(), 0)

    def test_change_that_cannot_be_undone_is_reported(self):
        name = self.create(protect_title="old")
        self.sql("CREATE TRIGGER refuse_delete BEFORE DELETE ON entry "
                 "BEGIN SELECT RAISE(ABORT, 'refused'); END")
        self.sql("CREATE TRIGGER refuse_update BEFORE UPDATE ON entry "
                 "WHEN json_extract(NEW.data, '$.protect_title') = 'old' "
                 "BEGIN SELECT RAISE(ABORT, 'refused'); END")

        report = self.lose("set", f"hash={name}", "generate_password=true",
                         "protect_title=new")
        self.assertIn(f"the change of link {name} could not be undone", report)
        report = self.lose("create", "project_name=p", "owner_user=alice")
        made = self.sql("SELECT hash FROM entry WHERE hash != ?", name)[0][0]
        self.assertIn(f"the link {made} could not be deleted", report)

    def test_failed_call_whose_response_is_lost_is_reported_as_failed(self):
        self.create()
        self.assertIn("the call failed: link not found: none", self.lose("delete", "hash=none"))

    def test_other_change_whose_response_is_lost_stays(self):
        name = self.create()

        report = self.lose("set", f"hash={name}", "protect_title=new")

        self.assertIn("cannot write the response: the call was run", report)
        self.assertEqual(self.stored(name)["protect_title"], "new")

    def test_closed_output_is_an_error_and_nothing_is_done(self):
        done = run("--exec", f"api={LINK}", "version=1", "method=create", "project_name=p",
                   "owner_user=alice", "generate_password=true", capture_output=False,
                   stderr=subprocess.PIPE, preexec_fn=lambda: os.close(1))
        self.assertEqual(done.returncode, 1)
        self.assertIn(b"nothing was done", done.stderr)
        self.assertFalse(DATABASE.exists())

    def test_other_closed_streams_do_not_matter(self):
        for stream in (0, 2):
            self.create(preexec_fn=lambda: os.close(stream))

        self.assertEqual(self.data(LINK, "info")["total"], 2)


class Database(WebApiTest):
    CALLS = [(LINK, "list", {}), (LINK, "get", {"hash": "a"}), (LINK, "set", {"hash": "a"}),
             (LINK, "delete", {"hash": "a"}), (LINK, "revoke", {"hash": "a"}),
             (LINK, "purge", {}), (LINK, "info", {}),
             (SESSION, "list", {}), (SESSION, "get", {"id": 1}), (SESSION, "delete", {"id": 1}),
             (SESSION, "purge", {}), (SESSION, "info", {}),
             (TOKEN, "list", {}), (TOKEN, "get", {"id": 1}), (TOKEN, "delete", {"id": 1}),
             (TOKEN, "purge", {}), (TOKEN, "info", {})]

    def test_only_create_creates_a_missing_database(self):
        for api, method, parameters in self.CALLS:
            self.error("no_database", api, method, parameters)
            self.assertEqual(list(FOLDER.iterdir()), [])
        self.create()
        self.assertTrue(DATABASE.exists())

    def test_empty_file_is_no_database_until_create_is_called(self):
        DATABASE.touch()
        DATABASE.chmod(0o660)
        os.chown(DATABASE, 1, 1)
        for api, method, parameters in self.CALLS:
            self.error("no_database", api, method, parameters)
            self.assertEqual([path.stat().st_size for path in FOLDER.iterdir()], [0])

        self.create()

        self.assertEqual(self.data(LINK, "info")["total"], 1)

    def test_invalid_create_creates_no_database(self):
        self.error("bad_parameter", LINK, "create",
                   {"project_name": "p", "owner_user": "alice", "app": "{"})
        self.assertEqual(list(FOLDER.iterdir()), [])

    def test_unusable_database_is_reported(self):
        def directory():
            DATABASE.mkdir()

        def garbage():
            DATABASE.write_bytes(b"no database at all, whatever its name says" * 100)
            os.chown(DATABASE, 1, 1)

        def foreign():
            self.sql("CREATE TABLE entry(id)")
            os.chown(DATABASE, 1, 1)

        create = (LINK, "create", {"project_name": "p", "owner_user": "alice"})
        for spoil in (directory, garbage, foreign):
            self.clear()
            spoil()
            for api, method, parameters in self.CALLS + [create]:
                self.error("database_not_usable", api, method, parameters)

    def test_database_of_root_is_only_read(self):
        name = self.create()
        os.chown(DATABASE, 0, 0)
        before = DATABASE.read_bytes()

        for method, parameters in (("create", {"project_name": "p", "owner_user": "alice"}),
                                   ("set", {"hash": name}), ("delete", {"hash": name}),
                                   ("revoke", {"hash": name}), ("purge", {})):
            self.assertIn("chown 1:1",
                          self.error("database_not_usable", LINK, method, parameters))
        self.assertEqual(self.data(LINK, "get", {"hash": name})["link"]["hash"], name)
        self.assertEqual(self.data(LINK, "list")["total"], 1)
        self.assertEqual((DATABASE.stat().st_uid, DATABASE.read_bytes()), (0, before))

    def test_missing_table_is_reported(self):
        self.create()
        for table in ("entry", "session", "token"):
            self.sql(f"ALTER TABLE {table} RENAME TO {table}_gone")

        for api, method, parameters in self.CALLS:
            self.error("database_not_usable", api, method, parameters)

    def test_locked_database_fails_in_time(self):
        self.create()
        holder = sqlite3.connect(DATABASE, isolation_level=None)
        holder.execute("BEGIN IMMEDIATE")

        begin = time.monotonic()
        message = self.error("database_not_usable", LINK, "create",
                             {"project_name": "p", "owner_user": "alice"})
        self.assertLess(time.monotonic() - begin, 60)
        self.assertIn("locked", message)
        holder.execute("ROLLBACK")
        holder.close()
        self.assertEqual(self.data(LINK, "info")["total"], 1)

    def start_set(self, name, **parameters):
        """Starts a change of the link and waits until it has the database open."""
        call = subprocess.Popen(
            [TOOL, "--exec", f"api={LINK}", "version=1", "method=set", f"hash={name}",
             *parameter_texts(parameters)], stdout=subprocess.PIPE,
            env=dict(os.environ, LD_LIBRARY_PATH=str(LIBRARIES)),
            preexec_fn=lambda: signal.signal(signal.SIGINT, signal.SIG_DFL))
        self.addCleanup(call.stdout.close)
        self.addCleanup(call.wait)
        self.addCleanup(call.kill)
        wait_until(lambda: uses_database(call))
        return call

    def test_call_waits_while_another_writes(self):
        name = self.create()
        holder = sqlite3.connect(DATABASE, isolation_level=None)
        holder.execute("BEGIN IMMEDIATE")
        call = self.start_set(name, protect_title="new")

        self.assertIsNone(call.poll())
        holder.execute("COMMIT")
        holder.close()
        self.assertTrue(json.loads(call.communicate(timeout=60)[0])["success"])
        self.assertEqual(self.stored(name)["protect_title"], "new")

    def test_interrupted_call_changes_nothing(self):
        name = self.create(protect_users="alice")
        self.add_visitor(name)
        before = self.sql("SELECT * FROM entry")

        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGKILL):
            holder = sqlite3.connect(DATABASE, isolation_level=None)
            holder.execute("BEGIN IMMEDIATE")
            call = self.start_set(name, enabled=False)
            call.send_signal(number)
            self.assertEqual((call.wait(timeout=60), call.stdout.read()), (-number, b""))
            holder.execute("ROLLBACK")
            holder.close()
        self.assertEqual(self.sql("SELECT * FROM entry"), before)
        self.assertEqual(self.data(LINK, "set", {"hash": name, "enabled": False})["revoked"],
                         1)

    def test_change_that_fails_half_way_is_rolled_back(self):
        name = self.create(protect_users="alice")
        session, token = self.add_visitor(name)
        for table in ("entry", "session", "token"):
            for event in ("UPDATE", "DELETE"):
                self.sql(f"CREATE TRIGGER refuse_{event}_{table} BEFORE {event} ON {table} "
                         f"BEGIN SELECT RAISE(ABORT, 'refused by {table}'); END")
        before = [self.sql(f"SELECT * FROM {table}") for table in ("entry", "session", "token")]

        for guard in ("token", "session", "entry"):
            for api, method, parameters in ((LINK, "set", {"hash": name, "enabled": False}),
                                            (LINK, "delete", {"hash": name}),
                                            (SESSION, "delete", {"id": session})):
                if api == LINK or guard != "entry":
                    self.assertIn("refused by",
                                  self.error("database_not_usable", api, method, parameters))
            if guard == "token":
                self.error("database_not_usable", LINK, "revoke", {"hash": name})
                self.error("database_not_usable", TOKEN, "delete", {"id": token})
            self.assertEqual([self.sql(f"SELECT * FROM {table}")
                              for table in ("entry", "session", "token")], before)
            self.sql(f"DROP TRIGGER refuse_DELETE_{guard}")


class Create(WebApiTest):
    def refuse(self, code, **parameters):
        return self.error(code, LINK, "create",
                          {"project_name": "photos", "owner_user": "alice", **parameters})

    def test_link_has_the_usual_values(self):
        link = self.data(LINK, "create",
                         {"project_name": "photos", "owner_user": "alice"})["link"]
        url = BASE + link["hash"]
        self.assertRegex(link.pop("hash"), "^[A-Za-z0-9]{9}$")
        self.assertEqual(link, {
            "id": 1, "project_name": "photos", "owner_user": "alice", "owner_uid": ALICE,
            "enabled": True, "start_at": 0, "expire_at": 0, "expire_times": 0, "use_count": 0,
            "auto_gc": True, "enable_match_ip": True, "protect_type": "none",
            "protect_title": "", "protect_users": [], "protect_groups": [],
            "redirect_type": "none", "redirect_uri": "", "app": {}, "private_data": {},
            "state": "usable", "unresolved_users": [], "unresolved_groups": [],
            "url": url})

    def test_every_value_is_stored(self):
        later = int(time.time()) + 1000
        wanted = {"project_name": "it's; DROP TABLE entry;--", "owner_user": "bob",
                  "enabled": False, "start_at": later, "expire_at": later + 1,
                  "expire_times": 3, "auto_gc": False, "enable_match_ip": False,
                  "protect_type": "user", "protect_title": "Ünï\ncode \"quoted\"",
                  "protect_users": "alice, bob,,", "protect_groups": '["staff-test"]',
                  "redirect_type": "always", "redirect_uri": "/photo?a=b&c=d",
                  "app": '{"album":"été","n":[1,2.5,null]}', "private_data": '{"k":"v"}'}

        name = self.data(LINK, "create", wanted)["link"]["hash"]
        link = self.data(LINK, "get", {"hash": name})["link"]
        for key, value in {**wanted, "protect_users": ["alice", "bob"],
                           "protect_groups": ["staff-test"],
                           "app": {"album": "été", "n": [1, 2.5, None]},
                           "private_data": {"k": "v"}, "state": "disabled"}.items():
            self.assertEqual(link[key], value, key)

    def test_project_and_owner_are_required(self):
        for name in ("project_name", "owner_user"):
            parameters = {"project_name": "p", "owner_user": "alice"}
            del parameters[name]

            self.assertIn(name, self.error("missing_parameter", LINK, "create", parameters))
        self.refuse("bad_parameter", project_name="")

    def test_unknown_owner_is_refused(self):
        for owner in ("nobody-here", "", "5001", "alice ", "x" * 500):
            self.refuse("unknown_user", owner_user=owner)

    def test_wrong_number_is_refused(self):
        for name, too_large in (("start_at", 253402344000), ("expire_at", 253402344000),
                                ("expire_times", 2147483648)):
            for value in ("", "-1", "1.5", "1e3", " 1", "0x1", "tomorrow", too_large,
                          "9" * 30):
                self.assertIn(name, self.refuse("bad_parameter", **{name: value}))
            self.create(**{name: too_large - 1})

    def test_wrong_flag_is_refused(self):
        for name in ("enabled", "auto_gc", "enable_match_ip", "generate_password"):
            for value in ("", "yes", "TRUE", "2"):
                self.assertIn(name, self.refuse("bad_parameter", **{name: value}))

    def test_number_is_accepted_as_a_flag(self):
        link = self.data(LINK, "get", {"hash": self.create(enabled=0, auto_gc=1)})["link"]
        self.assertEqual((link["enabled"], link["auto_gc"]), (False, True))

    def test_wrong_json_is_refused(self):
        deep = '{"a":' * 500 + "1" + "}" * 500

        for name in ("app", "private_data"):
            for value in ("", "{", "[]", "1", "null", '"a"', "{}x", "{'a':1}", '{"a":1,}',
                          '{"a":1,"a":2}', '{"a":NaN}', '{"a":1e999}', "/**/{}", deep,
                          "[" * 90000, r'{"a":"\ud800"}', r'{"a":"\ud800\u0041"}',
                          r'{"a":"\udc00"}', r'{"a":"\ud83d\ud83d"}', r'{"\udfff":1}',
                          r'{"a":"\ud83d', r'{"a":"\u'):
                self.assertIn(name, self.refuse("bad_parameter", **{name: value}))

    def test_deepest_accepted_json_can_be_read_back(self):
        deep = '{"a":' * 499 + "1" + "}" * 499
        name = self.create(app=deep, private_data=deep)

        self.assertEqual(self.data(LINK, "get", {"hash": name})["link"]["app"],
                         json.loads(deep))

    def test_escaped_characters_read_back(self):
        for text in (r'"\ud83d\ude00\u00e9\\ud800\u0000\n"', r'"\\\ud83d\ude00"',
                     r'"\uD7FF\uE000\uFFFF"'):
            name = self.create(app='{"a":%s}' % text)
            self.assertEqual(self.data(LINK, "get", {"hash": name})["link"]["app"],
                             {"a": json.loads(text)})

    def test_numbers_in_json_read_back(self):
        text = '{"a":[0,-1,18446744073709551615,-9223372036854775808,0.1,1e308]}'
        name = self.create(app=text)

        self.assertEqual(self.data(LINK, "get", {"hash": name})["link"]["app"],
                         json.loads(text))

    def test_link_that_expires_before_it_starts_is_refused(self):
        self.refuse("bad_parameter", start_at=200, expire_at=199)
        self.create(start_at=200, expire_at=200)
        self.create(start_at=200, expire_at=0)

    def test_large_values_read_back(self):
        large = "é\"\\" * 10000
        name = self.create(app=json.dumps({"a": large}), protect_title="t" * 100000)

        link = self.data(LINK, "get", {"hash": name})["link"]
        self.assertEqual(link["app"], {"a": large})
        self.assertEqual(link["protect_title"], "t" * 100000)

    def test_wrong_word_is_refused(self):
        for name in ("protect_type", "redirect_type"):
            for value in ("", "None", "both", "1"):
                self.assertIn(name, self.refuse("bad_parameter", **{name: value}))

    def test_wrong_list_of_names_is_refused(self):
        for name in ("protect_users", "protect_groups"):
            for value in ("[", "[1]", '[""]', '["a"', '[["a"]]', '["a"]x', ' ["a"',
                          r'["\udc00"]'):
                self.assertIn(name, self.refuse("bad_parameter", **{name: value}))

    def test_name_with_a_comma_is_given_as_json(self):
        for text in ('["doe, jane"]', ' \n["doe, jane"] '):
            name = self.create(protect_users=text)
            self.assertEqual(self.data(LINK, "get", {"hash": name})["link"]["protect_users"],
                             ["doe, jane"])

    def test_unresolved_names_are_reported(self):
        link = self.data(LINK, "create", {
            "project_name": "p", "owner_user": "alice", "protect_users": "alice,zoe",
            "protect_groups": "staff-test,ghosts"})["link"]
        self.assertEqual(link["protect_users"], ["alice", "zoe"])
        self.assertEqual(link["unresolved_users"], ["zoe"])
        self.assertEqual(link["unresolved_groups"], ["ghosts"])

    def test_ids_of_deleted_accounts_are_reported(self):
        name = self.create(protect_users="alice,zoe", protect_groups="staff-test")
        stored = self.stored(name)
        for ids in ("protect_uids", "protect_gids"):
            stored[ids].append(NOBODY_HERE)
        self.sql("UPDATE entry SET data = ?", json.dumps(stored))

        link = self.data(LINK, "get", {"hash": name})["link"]

        self.assertEqual(link["unresolved_users"], ["zoe", str(NOBODY_HERE)])
        self.assertEqual(link["unresolved_groups"], [str(NOBODY_HERE)])

    def test_protection_follows_from_what_is_given(self):
        for parameters, kind in (({"protect_users": "alice"}, "user"),
                                 ({"protect_groups": "staff-test"}, "user"),
                                 ({"protect_users": "", "protect_type": "none"}, "none"),
                                 ({"generate_password": True}, "password"),
                                 ({"generate_password": False}, "none")):
            self.assertEqual(self.data(LINK, "get", {"hash": self.create(**parameters)})
                             ["link"]["protect_type"], kind)

    def test_protection_that_contradicts_itself_is_refused(self):
        self.refuse("bad_parameter", generate_password=True, protect_users="alice")
        self.refuse("bad_parameter", generate_password=True, protect_type="none")
        self.refuse("bad_parameter", generate_password=True, protect_type="user")
        self.refuse("bad_parameter", protect_users="alice", protect_type="none")
        self.refuse("bad_parameter", protect_groups="staff-test", protect_type="password",
                    generate_password=True)
        self.refuse("missing_parameter", protect_type="password")
        self.refuse("missing_parameter", protect_type="user")
        self.refuse("missing_parameter", protect_type="user", protect_users=" , ")
        self.refuse("missing_parameter", protect_users="")
        self.refuse("missing_parameter", protect_groups="[]")

    def test_generated_password_is_shown_once(self):
        data = self.data(LINK, "create", {"project_name": "p", "owner_user": "alice",
                                          "generate_password": True})
        name = data["link"]["hash"]
        stored = self.stored(name)
        secrets = [data["password"], stored["protect_password"],
                   stored["protect_password_salt"]]
        self.assertNotIn(data["password"], json.dumps(stored))
        for method, parameters in (("get", {"hash": name}), ("list", {}),
                                   ("set", {"hash": name, "protect_title": "t"})):
            answer = self.data(LINK, method, parameters)
            self.assertNotIn("password", answer)
            for secret in secrets:
                self.assertNotIn(secret, json.dumps(answer))

    def test_link_is_not_created_without_random_bytes(self):
        for parameters, code in (({"generate_password": True}, "failed"),
                                 ({}, "database_not_usable")):
            message = self.error(code, LINK, "create", {
                "project_name": "p", "owner_user": "alice", **parameters},
                                 preexec_fn=refuse_random_bytes)
            self.assertFalse(message.endswith(": "), message)
        self.assertEqual(self.data(LINK, "info")["total"], 0)

    def test_generated_passwords_differ_and_use_the_whole_alphabet(self):
        seen = [self.data(LINK, "create", {"project_name": "p", "owner_user": "alice",
                                           "generate_password": True})["password"]
                for _ in range(40)]
        self.assertEqual(len(set(seen)), 40)
        self.assertGreater(len(set("".join(seen))), 50)  # of 56 characters


class List(WebApiTest):
    def fill(self, count):
        self.create()
        self.sql("WITH RECURSIVE n(i) AS (SELECT 2 UNION ALL SELECT i + 1 FROM n WHERE i < ?)"
                 " INSERT INTO entry SELECT i, 'h' || i, iif(i % 2, 'a', 'b'), 1,"
                 " iif(i % 3, ?, ?), 0, 0, 0, 0, 1, data FROM n, entry WHERE entry.id = 1",
                 count, ALICE, BOB)

    def ids(self, **parameters):
        return [item["id"] for item in self.data(LINK, "list", parameters)["items"]]

    def test_pages_cover_every_link_once(self):
        self.fill(25)

        pages = [self.ids(offset=offset, limit=10) for offset in (0, 10, 20, 30)]
        self.assertEqual([len(page) for page in pages], [10, 10, 5, 0])
        self.assertEqual(sum(pages, []), list(range(1, 26)))
        self.assertEqual(self.data(LINK, "list", {"offset": 20, "limit": 10})["total"], 25)

    def test_usual_page_has_100_and_the_largest_1000(self):
        self.fill(1200)

        self.assertEqual(len(self.ids()), 100)
        self.assertEqual(len(self.ids(limit=1000)), 1000)

    def test_wrong_page_is_refused(self):
        for name, values in (("limit", ("0", "1001", "-1", "", "x")),
                             ("offset", ("-1", "2147483648", "", "x"))):
            for value in values:
                for api in (LINK, SESSION, TOKEN):
                    self.assertIn(name, self.error("bad_parameter", api, "list",
                                                   {name: value}))

    def test_filters_narrow_the_list(self):
        self.fill(12)
        self.sql("UPDATE entry SET owner_uid = ? WHERE id = 5", NOBODY_HERE)

        self.assertEqual(self.ids(project_name="b"), [2, 4, 6, 8, 10, 12])
        self.assertEqual(self.ids(owner_user="bob"), [3, 6, 9, 12])
        self.assertEqual(self.ids(owner_user="bob", project_name="b"), [6, 12])
        self.assertEqual(self.ids(owner_uid=NOBODY_HERE), [5])
        self.assertEqual(self.ids(project_name="b' OR '1'='1"), [])
        self.assertEqual(self.data(LINK, "list", {"project_name": "b", "limit": 1})["total"], 6)

    def test_wrong_filter_is_refused(self):
        self.fill(1)

        self.error("unknown_user", LINK, "list", {"owner_user": "nobody-here"})
        for value in ("-1", "4294967295", "alice", ""):
            self.error("bad_parameter", LINK, "list", {"owner_uid": value})
        self.error("bad_parameter", LINK, "list", {"owner_user": "alice", "owner_uid": ALICE})
        self.error("bad_parameter", LINK, "list", {"project_name": ""})

    def test_unreadable_rows_are_listed_by_id_and_hash(self):
        self.fill(6)
        for identity, data in ((2, "{"), (4, "[]"), (5, '{"protect_uids":["x"]}')):
            self.sql("UPDATE entry SET data = ? WHERE id = ?", data, identity)

        data = self.data(LINK, "list")
        self.assertEqual([item["id"] for item in data["items"]], [1, 3, 6])
        self.assertEqual(data["unreadable"], [{"id": identity, "hash": f"h{identity}"}
                                              for identity in (2, 4, 5)])
        self.assertEqual(data["total"], 6)

    def test_bytes_that_are_no_utf8_do_not_spoil_the_answer(self):
        name = self.create()
        self.sql("UPDATE entry SET project_name = CAST(x'61ff62' AS TEXT) WHERE hash = ?", name)

        self.assertEqual(self.data(LINK, "list")["items"][0]["project_name"], "a\ufffdb")

    def test_state_is_whether_a_visitor_can_log_in(self):
        now = int(time.time())
        cases = {"usable": {"expire_times": 1, "start_at": now - 10, "expire_at": now + 1000},
                 "not_started": {"start_at": now + 1000}, "expired": {"expire_at": now - 10},
                 "disabled": {"enabled": False, "expire_at": now - 10}}
        for state, parameters in cases.items():
            self.create(project_name=state, **parameters)
        used_up = self.create(project_name="used_up", expire_times=2)
        self.sql("UPDATE entry SET use_count = 2 WHERE hash = ?", used_up)
        # The login refuses what has not started before it looks at the uses.
        both = self.create(project_name="not_started", start_at=now + 1000, expire_times=2)
        self.sql("UPDATE entry SET use_count = 2 WHERE hash = ?", both)

        for item in self.data(LINK, "list")["items"]:
            self.assertEqual(item["state"], item["project_name"])
        self.assertEqual(self.data(LINK, "info"), {
            "total": 6, "logins": 4,
            "states": {"usable": 1, "not_started": 2, "expired": 1, "used_up": 1,
                       "disabled": 1}})

    def test_url_tool_is_called_once_for_each_project(self):
        self.fill(12)  # of three projects
        URL_CALLS.unlink()

        items = self.data(LINK, "list")["items"]

        self.assertEqual([item["url"] for item in items],
                         [BASE + item["hash"] for item in items])
        self.assertEqual(URL_CALLS.read_text(encoding="utf-8").split(),
                         [items[0]["hash"], "h2", "h3"])

    def test_url_is_null_when_the_tool_fails(self):
        self.fill(3)
        for script in ("exit 1", "echo; echo 2"):
            self.set_url_tool(script)
            items = self.data(LINK, "list")["items"]
            self.assertEqual([item["url"] for item in items], [None] * 3)
            self.assertEqual(len(URL_CALLS.read_text(encoding="utf-8").split()), 1)
        URL_TOOL.unlink()
        self.assertIsNone(self.data(LINK, "get", {"hash": "h2"})["link"]["url"])

    def test_url_escapes_the_hash(self):
        self.fill(3)
        self.sql("UPDATE entry SET hash = 'a/b ?' || id, project_name = 'p'")
        self.set_url_tool(f"printf '{BASE}%s\\n2\\n' \"$(echo \"$1\" | "
                          "sed 's,/,%2F,; s/ /%20/; s/?/%3F/')\"")

        self.assertEqual([item["url"] for item in self.data(LINK, "list")["items"]],
                         [f"{BASE}a%2Fb%20%3F{identity}" for identity in (1, 2, 3)])


class OneLink(WebApiTest):
    def test_missing_link_is_reported(self):
        self.create()

        for method in ("get", "set", "delete", "revoke"):
            for name in ("nosuch", "", "' OR '1'='1", "é", "x" * 1000):
                self.error("no_such_object", LINK, method, {"hash": name})
            self.error("missing_parameter", LINK, method)

    def test_unreadable_link_can_be_revoked_and_deleted_only(self):
        name = self.create()
        self.add_visitor(name)
        self.sql("UPDATE entry SET data = '{'")

        self.error("unreadable_object", LINK, "get", {"hash": name})
        self.error("unreadable_object", LINK, "set", {"hash": name, "enabled": False})
        self.assertEqual(self.data(LINK, "revoke", {"hash": name})["revoked"], 1)
        self.data(LINK, "delete", {"hash": name})
        self.assertEqual(self.sql("SELECT count(*) FROM entry"), [(0,)])

    def test_get_counts_the_tokens_alive(self):
        name, other = self.create(), self.create()
        self.add_visitor(name)
        self.add_visitor(name)
        self.add_visitor(name, ahead=-10)
        self.add_visitor(other)

        self.assertEqual(self.data(LINK, "get", {"hash": name})["tokens"], 2)

    def test_link_of_a_deleted_owner_has_no_owner_name(self):
        name = self.create()
        self.sql("UPDATE entry SET owner_uid = ?", NOBODY_HERE)

        link = self.data(LINK, "get", {"hash": name})["link"]
        self.assertEqual((link["owner_uid"], link["owner_user"]), (NOBODY_HERE, ""))

    def test_delete_deletes_the_link_and_its_tokens(self):
        name, other = self.create(), self.create()
        self.add_visitor(name)
        self.add_visitor(other)

        self.assertEqual(self.data(LINK, "delete", {"hash": name}),
                         {"hash": name, "revoked": 1})
        self.assertEqual(self.sql("SELECT hash FROM entry"), [(other,)])
        self.assertEqual(self.tokens(), 1)
        self.error("no_such_object", LINK, "delete", {"hash": name})

    def test_revoke_deletes_the_tokens_and_leaves_the_link(self):
        name, other = self.create(), self.create()
        self.add_visitor(name)
        self.add_visitor(name)
        self.add_visitor(other)

        self.assertEqual(self.data(LINK, "revoke", {"hash": name}),
                         {"hash": name, "revoked": 2})
        self.assertEqual(self.data(LINK, "revoke", {"hash": name})["revoked"], 0)
        self.assertEqual(self.data(LINK, "info")["total"], 2)
        self.assertEqual(self.tokens(), 1)


class Set(WebApiTest):
    def test_what_is_not_named_stays(self):
        name = self.create(protect_users="alice,zoe", protect_title="t", expire_times=5,
                           app='{"a":1}', private_data='{"b":2}', redirect_type="url_param")
        self.sql("UPDATE entry SET use_count = 3")
        before = self.data(LINK, "get", {"hash": name})["link"]

        data = self.data(LINK, "set", {"hash": name, "redirect_uri": "/x"})
        self.assertEqual(data["link"], {**before, "redirect_uri": "/x"})
        self.assertEqual(self.data(LINK, "get", {"hash": name})["link"], data["link"])

    def test_link_changes_its_owner(self):
        name = self.create()

        link = self.data(LINK, "set", {"hash": name, "owner_user": "bob"})["link"]
        self.assertEqual((link["owner_user"], link["owner_uid"]), ("bob", BOB))

    def test_refused_change_changes_nothing(self):
        name = self.create(protect_users="alice")
        self.add_visitor(name)
        before = self.sql("SELECT * FROM entry")

        for wrong in ({"owner_user": "nobody-here"}, {"app": "[]"}, {"expire_at": "x"},
                      {"protect_type": "password"}, {"protect_users": ""},
                      {"project_name": ""}, {"redirect_type": "x"},
                      {"start_at": 200, "expire_at": 100}):
            answer = self.call(LINK, "set", {"hash": name, "protect_title": "new",
                                             "enabled": False, **wrong})
            self.assertFalse(answer["success"], wrong)
            self.assertIn(answer["error"]["code"], ("bad_parameter", "missing_parameter",
                                                      "unknown_user"))
            self.assertEqual(self.sql("SELECT * FROM entry"), before)
        self.assertEqual(self.tokens(), 1)

    def test_times_that_contradict_each_other_stay_until_one_is_changed(self):
        name = self.create(expire_at=100)

        self.error("bad_parameter", LINK, "set", {"hash": name, "start_at": 101})
        self.sql("UPDATE entry SET start_at = 101")
        self.data(LINK, "set", {"hash": name, "protect_title": "t"})
        self.error("bad_parameter", LINK, "set", {"hash": name, "expire_at": 99})
        self.data(LINK, "set", {"hash": name, "expire_at": 0})

    def test_new_password_removes_users_and_groups(self):
        name = self.create(protect_users="alice,zoe", protect_groups="staff-test,ghosts")

        link = self.data(LINK, "set", {"hash": name, "generate_password": True})["link"]

        self.assertEqual((link["protect_type"], link["protect_users"],
                          link["protect_groups"]), ("password", [], []))

    def test_named_users_or_groups_remove_the_password(self):
        for names in ({"protect_users": "alice"}, {"protect_groups": "staff-test"}):
            name = self.create(generate_password=True)

            link = self.data(LINK, "set", {"hash": name, **names})["link"]

            self.assertEqual((link["protect_type"], self.stored(name)["protect_password"]),
                             ("user", ""))
            self.error("missing_parameter", LINK, "set",
                       {"hash": name, "protect_type": "password"})

    def test_protect_type_alone_keeps_what_is_stored(self):
        for parameters, kind in (({"generate_password": True}, "password"),
                                 ({"protect_users": "alice,zoe"}, "user")):
            name = self.create(**parameters)
            before = self.stored(name)

            self.data(LINK, "set", {"hash": name, "protect_type": "none"})
            self.assertEqual(self.stored(name), {**before, "protect_type": "none"})
            self.data(LINK, "set", {"hash": name, "protect_type": kind})
            self.assertEqual(self.stored(name), before)

    def test_change_of_access_deletes_the_tokens(self):
        changes = [{"enabled": False}, {"protect_type": "none"}, {"protect_users": "bob"},
                   {"protect_users": "alice,zoe"}, {"protect_groups": "staff-test"},
                   {"generate_password": True, "protect_type": "password"}]

        for change in changes:
            name = self.create(protect_users="alice")
            other = self.create()
            self.add_visitor(name)
            self.add_visitor(name, ahead=-10)
            self.add_visitor(other)
            tokens = self.tokens()
            self.assertEqual(self.data(LINK, "set", {"hash": name, **change})["revoked"], 2,
                             change)
            self.assertEqual(self.tokens(), tokens - 2)

    def test_new_password_replaces_the_old_one_and_deletes_the_tokens(self):
        name = self.create(generate_password=True)
        before = self.stored(name)
        self.add_visitor(name)

        data = self.data(LINK, "set", {"hash": name, "generate_password": True})
        self.assertEqual(data["revoked"], 1)
        self.assertEqual(len(data["password"]), 20)
        self.assertNotEqual(self.stored(name)["protect_password"], before["protect_password"])

    def test_other_changes_leave_the_tokens(self):
        name = self.create(protect_users="alice")
        self.add_visitor(name)

        for change in ({}, {"protect_title": "t"}, {"expire_times": 9}, {"enabled": True},
                       {"protect_users": "alice"}, {"protect_type": "user"},
                       {"owner_user": "bob"}, {"app": '{"x":1}'}):
            self.assertEqual(self.data(LINK, "set", {"hash": name, **change})["revoked"], 0)
        self.assertEqual(self.tokens(), 1)

    def test_names_in_another_order_leave_the_tokens(self):
        name = self.create(protect_users="alice,bob,yan,zoe")
        self.add_visitor(name)

        data = self.data(LINK, "set", {"hash": name, "protect_users": "zoe,bob,yan,alice"})

        self.assertEqual((data["revoked"], self.tokens()), (0, 1))

    def test_user_list_of_deleted_accounts_stays(self):
        name = self.create(protect_users="alice")
        stored = self.stored(name)
        stored["protect_uids"] = [NOBODY_HERE]
        self.sql("UPDATE entry SET data = ?", json.dumps(stored))

        self.data(LINK, "set", {"hash": name, "protect_title": "t"})
        self.assertEqual(self.stored(name)["protect_uids"], [NOBODY_HERE])

    def test_change_of_only_deleted_accounts_deletes_the_tokens(self):
        for names, ids, admitted in (("protect_users", "protect_uids", "alice"),
                                     ("protect_groups", "protect_gids", "staff-test")):
            name = self.create(**{names: admitted})
            stored = self.stored(name)
            stored[ids].append(NOBODY_HERE)
            self.sql("UPDATE entry SET data = ? WHERE hash = ?", json.dumps(stored), name)
            self.add_visitor(name)
            self.assertEqual(self.data(LINK, "set", {"hash": name, names: admitted})
                             ["revoked"], 1, names)

    def test_change_of_unresolved_names_deletes_the_tokens(self):
        for names in ("protect_users", "protect_groups"):
            name = self.create(**{names: "not-yet"})
            self.add_visitor(name)
            for wanted, revoked in (("not-yet", 0), ("nor-this", 1)):
                self.assertEqual(self.data(LINK, "set", {"hash": name, names: wanted})
                                 ["revoked"], revoked, names)

    def test_uses_counted_meanwhile_are_kept(self):
        name = self.create(expire_times=1000000)
        # Held open, so that the log beside the database stays: one that root creates
        # belongs to root for a moment, and the tool could not open it then.
        keeper = sqlite3.connect(DATABASE)
        self.addCleanup(keeper.close)
        keeper.execute("SELECT count(*) FROM entry").fetchall()

        calls = []
        for number in range(20):
            calls.append(subprocess.Popen(
                [TOOL, "--exec", f"api={LINK}", "version=1", "method=set", f"hash={name}",
                 f"protect_title={number}"], stdout=subprocess.PIPE,
                env=dict(os.environ, LD_LIBRARY_PATH=str(LIBRARIES))))
            self.sql("UPDATE entry SET use_count = use_count + 1")
        for call in calls:
            answer = json.loads(call.communicate(timeout=120)[0])
            self.assertTrue(answer["success"], answer)
            validate(answer, f"{LINK}.set")
        self.assertEqual(self.sql("SELECT use_count FROM entry"), [(20,)])


class Purge(WebApiTest):
    def setUp(self):
        super().setUp()
        past = int(time.time()) - 100
        self.create(project_name="alive")
        for owner, project, keep in (("alice", "a", False), ("alice", "b", False),
                                     ("alice", "a", True), ("bob", "a", False)):
            self.create(project_name=project, owner_user=owner, expire_at=past,
                        auto_gc=not keep)

    def purged(self, **parameters):
        counts = self.data(LINK, "purge", parameters)
        self.assertEqual(counts["sessions"], 0)
        return counts["links"]

    def left(self):
        return self.sql("SELECT count(*) FROM entry")[0][0]

    def test_general_purge_leaves_the_links_that_are_kept(self):
        self.assertEqual(self.purged(), 3)
        self.assertEqual(self.left(), 2)
        self.assertEqual(self.purged(), 0)

    def test_purge_of_an_owner_deletes_kept_links_too(self):
        self.assertEqual(self.purged(owner_user="alice", project_name="a"), 2)
        self.assertEqual(self.purged(owner_uid=ALICE), 1)
        self.assertEqual(self.left(), 2)

    def test_purge_of_every_owner_must_be_asked_for(self):
        self.error("missing_parameter", LINK, "purge", {"project_name": "a"})
        self.error("missing_parameter", LINK, "purge", {"project_name": "a", "all": False})
        self.assertEqual(self.left(), 5)
        self.assertEqual(self.purged(project_name="a", all=True), 3)
        self.assertEqual(self.purged(all=True), 1)
        self.assertEqual(self.left(), 1)

    def test_wrong_purge_is_refused(self):
        self.error("unknown_user", LINK, "purge", {"owner_user": "nobody-here"})
        for wrong in ({"owner_uid": "x"}, {"all": "yes"},
                      {"owner_user": "alice", "all": True}, {"project_name": "", "all": True},
                      {"owner_user": "alice", "owner_uid": ALICE}):
            self.error("bad_parameter", LINK, "purge", wrong)
        self.assertEqual(self.left(), 5)

    def test_tokens_deleted_with_a_link_are_counted(self):
        self.add_visitor(self.sql("SELECT hash FROM entry WHERE id = 2")[0][0])

        self.assertEqual(self.data(LINK, "purge", {"owner_user": "alice"}),
                         {"links": 3, "sessions": 0, "tokens": 1})
        self.assertEqual(self.tokens(), 0)

    def test_expired_sessions_and_tokens_are_deleted(self):
        name = self.sql("SELECT hash FROM entry WHERE id = 1")[0][0]
        for ahead in (-10, -10, 1000):
            self.add_visitor(name, ahead=ahead)

        self.sql("UPDATE token SET timeout = timeout + 5000 WHERE id = 2")

        self.assertEqual(self.data(TOKEN, "purge"), {"links": 0, "sessions": 0, "tokens": 1})
        self.assertEqual(self.data(SESSION, "purge"), {"links": 0, "sessions": 2, "tokens": 1})
        self.assertEqual(self.data(SESSION, "info"), {"total": 1, "alive": 1})
        self.assertEqual(self.data(TOKEN, "info"), {"total": 1, "alive": 1})


class Visitors(WebApiTest):
    def setUp(self):
        super().setUp()
        self.name = self.create()
        self.sessions = [self.add_visitor(self.name)[0],
                         self.add_visitor(self.name, ahead=-10, uid=BOB)[0],
                         self.add_visitor(self.name, uid=4294967295)[0],
                         self.add_visitor(self.name, uid=NOBODY_HERE)[0]]

    def test_sessions_are_listed_by_row_id_without_their_secret(self):
        data = self.data(SESSION, "list")
        self.assertEqual([(item["id"], item["uid"], item["user"], item["alive"], item["ip"])
                          for item in data["items"]],
                         [(1, ALICE, "alice", True, "192.0.2.1"),
                          (2, BOB, "bob", False, "192.0.2.1"),
                          (3, None, "", True, "192.0.2.1"),
                          (4, NOBODY_HERE, "", True, "192.0.2.1")])
        for (secret,) in self.sql("SELECT session_id FROM session"):
            self.assertNotIn(secret, json.dumps(data))
            for identity in self.sessions:
                self.assertNotIn(secret, json.dumps(self.data(SESSION, "get",
                                                              {"id": identity})))

    def test_sessions_of_a_user(self):
        data = self.data(SESSION, "list", {"user": "bob"})
        self.assertEqual(([item["id"] for item in data["items"]], data["total"]), ([2], 1))
        self.error("unknown_user", SESSION, "list", {"user": "nobody-here"})

    def test_tokens_are_listed_by_link_and_session(self):
        other = self.create()
        self.add_visitor(other)
        link = self.data(LINK, "get", {"hash": other})["link"]["id"]

        self.assertEqual(self.data(TOKEN, "list")["total"], 5)
        data = self.data(TOKEN, "list", {"link": link})
        self.assertEqual([(item["link"], item["session"]) for item in data["items"]],
                         [(link, 5)])
        self.assertEqual(self.data(TOKEN, "list", {"link": link, "session": 1})["total"], 0)
        self.assertEqual(self.data(TOKEN, "list", {"session": 2})["items"][0]["alive"], False)

    def test_pages_of_sessions_and_tokens(self):
        for api in (SESSION, TOKEN):
            data = self.data(api, "list", {"offset": 1, "limit": 2})
            self.assertEqual(([item["id"] for item in data["items"]], data["total"]),
                             ([2, 3], 4))

    def test_one_row_is_shown(self):
        session = self.data(SESSION, "get", {"id": 2})["session"]
        self.assertEqual((session["user"], session["alive"]), ("bob", False))
        token = self.data(TOKEN, "get", {"id": 3})["token"]
        self.assertEqual((token["link"], token["session"], token["alive"]), (1, 3, True))

    def test_missing_row_and_invalid_id_are_reported(self):
        for api in (SESSION, TOKEN):
            for method in ("get", "delete"):
                self.assertIn("not found: 99",
                              self.error("no_such_object", api, method, {"id": 99}))
                self.error("missing_parameter", api, method)
                for value in ("0", "-1", "", "x", "1 OR 1=1", "2147483648"):
                    self.error("bad_parameter", api, method, {"id": value})
        for name in ("link", "session"):
            self.error("bad_parameter", TOKEN, "list", {name: "0"})
        self.assertEqual(self.tokens(), 4)

    def test_unreadable_row_is_listed_and_can_be_deleted(self):
        self.sql("UPDATE session SET timeout = 'soon' WHERE id = 1")
        self.sql("UPDATE session SET ip = '' WHERE id = 2")
        self.sql("UPDATE token SET entry_id = 'x' WHERE id = 3")

        for api, unreadable, identity in ((TOKEN, [3], 3), (SESSION, [1, 2], 1)):
            data = self.data(api, "list")
            self.assertEqual(([row["id"] for row in data["unreadable"]], data["total"]),
                             (unreadable, 4))
            self.assertEqual(len(data["items"]), 4 - len(unreadable))
            self.error("unreadable_object", api, "get", {"id": identity})
            self.data(api, "delete", {"id": identity})
            self.error("no_such_object", api, "get", {"id": identity})

    def test_deleting_a_session_deletes_its_tokens(self):
        self.assertEqual(self.data(SESSION, "delete", {"id": 1}), {"id": 1, "revoked": 1})
        self.assertEqual(self.data(SESSION, "info"), {"total": 3, "alive": 2})
        self.assertEqual(self.tokens(), 3)

    def test_deleted_token_leaves_its_session(self):
        self.assertEqual(self.data(TOKEN, "delete", {"id": 1}), {"id": 1})
        self.assertEqual(self.data(SESSION, "info")["total"], 4)
        self.assertEqual(self.data(TOKEN, "info"), {"total": 3, "alive": 2})


class Reference(WebApiTest):
    """docs/webapi.md shows every method, with the response of the tool."""

    TEXT = (pathlib.Path(__file__).resolve().parents[3] / "docs" /
            "webapi.md").read_text(encoding="utf-8")

    def test_schema_is_a_schema(self):
        jsonschema.Draft202012Validator.check_schema(SCHEMA)

    def test_schema_allows_no_other_members(self):
        """Each response is closed; what several of them share is not."""
        shared = {"linkMembers", "linkCountMembers", "page"}

        def find_open(schema):
            if isinstance(schema, list):
                return sum(map(find_open, schema), [])
            if not isinstance(schema, dict):
                return []
            closed = (schema.get("additionalProperties") is False
                      or schema.get("unevaluatedProperties") is False)
            found = [schema] if "required" in schema and not closed else []
            return found + sum(map(find_open, schema.values()), [])

        for name, schema in SCHEMA["$defs"].items():
            narrowed = set(schema) <= {"$ref", "required"}  # closed by what it refers to
            if name not in shared and not narrowed:
                self.assertEqual(find_open(schema), [], name)
            elif name in shared:
                self.assertEqual(find_open(schema), [schema], name)

    def insert_rows(self):
        """The two links, sessions and tokens with which the examples begin."""
        first = self.create(generate_password=True, expire_at=int(time.time()) + 604800,
                            app='{"album":7}')
        second = self.create(protect_users="bob,zoe")
        self.add_visitor(first, uid=BOB)
        self.add_visitor(second, uid=4294967295)
        self.sql("UPDATE session SET ip = iif(id = 1, '192.0.2.7', '2001:db8::7')")
        self.sql("UPDATE token SET session_id = 3 - session_id")  # bob's is the second link
        for identity, name in ((1, "PudpY8KdJ"), (2, "blLztipD5")):
            self.sql("UPDATE entry SET hash = ? WHERE id = ?", name, identity)

    @staticmethod
    def lasting(answer, names):
        """The response without what differs each time: of these, only whether it is set."""
        return json.loads(answer, object_hook=lambda data: {
            key: bool(value) if key in names else value for key, value in data.items()})

    def test_every_method_has_an_example_with_this_response(self):
        methods = {name for name in SCHEMA["$defs"] if name.startswith("VEXO.")}
        shown = set()
        environment = dict(os.environ, LD_LIBRARY_PATH=str(LIBRARIES),
                           PATH=f"/usr/vexo/bin:{os.environ['PATH']}")
        for command, answer in re.findall(r"```\n\$ (vexowebapi[^`]*?)\n(\{[^`]*\})\n```",
                                          self.TEXT):
            name = ".".join(re.search(r"api=(\S+).*method=(\S+)", command, re.S).groups())
            self.clear()
            names = {"password", "expire_at", "timeout"}
            if name == f"{LINK}.create":
                names.update(("hash", "url"))
            else:
                self.insert_rows()

            done = subprocess.run(["bash", "-c", command], env=environment,
                                  capture_output=True, timeout=60, check=False)

            self.assertEqual(self.lasting(done.stdout, names), self.lasting(answer, names))
            if self.read(done, name)["success"]:
                shown.add(name)
            validate(json.loads(answer), name if name in shown else "error")
        self.assertEqual(shown, methods)

    def test_every_error_code_is_explained(self):
        for code in SCHEMA["$defs"]["error"]["properties"]["error"]["properties"]["code"]["enum"]:
            self.assertIn(f"| `{code}` |", self.TEXT)


if __name__ == "__main__":
    command_support.main("vexowebapi")

"""Calls, responses, and the database of vexowebapi.

  webapi_call_test.py BUILD [unittest arguments]
"""

import json
import os
import pathlib
import re
import signal
import sqlite3
import subprocess
import time

import jsonschema

import command_support
from command_support import (DATABASE, LIBRARIES, SCHEMA, uses_database, validate, wait_until)
from webapi_support import (ALICE, BOB, FOLDER, LINK, parameter_texts, run, SESSION, TOKEN,
                            TOOL, WebApiTest)


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

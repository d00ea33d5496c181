"""The methods of vexowebapi that change links, sessions and tokens.

  webapi_change_test.py BUILD [unittest arguments]
"""

import json
import os
import sqlite3
import subprocess
import time

import command_support
from command_support import (DATABASE, LIBRARIES, validate)
from webapi_support import (ALICE, BOB, LINK, NOBODY_HERE, SESSION, TOKEN, TOOL, WebApiTest)


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

if __name__ == "__main__":
    command_support.main("vexowebapi")

"""The methods of links of vexowebapi, but for changes.

  webapi_link_test.py BUILD [unittest arguments]
"""

import json
import time

import command_support
from command_support import URL_TOOL
from webapi_support import (ALICE, BASE, BOB, LINK, NOBODY_HERE, refuse_random_bytes, SESSION,
                            TOKEN, URL_CALLS, WebApiTest)


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

if __name__ == "__main__":
    command_support.main("vexowebapi")

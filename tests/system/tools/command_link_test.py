"""One link: create, show and edit."""

import json
import os
import pathlib
import subprocess
import time

import command_support
from command_support import (DATABASE, DONE, NOT_USABLE, REFUSED, TIME_ZONE, WRONG_CALL,
                             CommandTest)

# Quotes, markup, control characters, other scripts, and a character that turns the
# direction of writing.
ODD = "'\"`; DROP TABLE entry; -- <b>\\ $(id) \t\n\x1b[31m ü 日本 \u202e %s"
ODD_SHOWN = ("'\"`; DROP TABLE entry; -- <b>\\ $(id) \\t\\n\\x1b[31m ü 日本 \\u202e %s")


def local(text):
    """Seconds of a local time "2026-12-31 18:00:00", by the test's own clock."""
    os.environ["TZ"] = TIME_ZONE
    time.tzset()
    return int(time.mktime(time.strptime(text, "%Y-%m-%d %H:%M:%S")))


class Create(CommandTest):
    def made(self, *arguments, **options):
        return self.json("create", "--project", "photos", "--owner", "alice", *arguments,
                         **options)

    def refused(self, status, *arguments, **options):
        said = self.refusal(status, "create", "--project", "photos", "--owner", "alice",
                            *arguments, **options)
        self.assertFalse(DATABASE.exists() and self.links())
        return said

    def test_new_link_is_open_unlimited_and_matches_addresses(self):
        link = self.made()

        self.assertRegex(link.pop("hash"), "^[0-9A-Za-z]{9}$")
        self.assertEqual(link, {
            "id": 1, "project_name": "photos", "owner_user": "alice", "owner_uid": 5001,
            "enabled": True, "state": "usable", "start_at": 0, "expire_at": 0,
            "expire_times": 0, "use_count": 0, "auto_gc": True, "enable_match_ip": True,
            "protect_type": "none", "protect_title": "", "protect_users": [],
            "protect_groups": [], "redirect_type": "none", "redirect_uri": "", "app": {},
            "url": None})

    def test_every_option_reaches_the_link(self):
        link = self.made("--app", '{"album":"Sömmer"}', "--private-data", '{"n":[1,2]}',
                         "--start", "2026-06-01", "--expire", "2030-06-01", "--uses", "9",
                         "--user", "alice", "--user", "bob", "--group", "staff-test",
                         "--no-match-ip", "--title", "Summer", "--redirect-type", "url_param",
                         "--redirect-uri", "https://example.org/?a=1", "--keep")

        shown = self.json("show", link["hash"])
        expected = {
            "app": {"album": "Sömmer"}, "private_data": {"n": [1, 2]},
            "start_at": local("2026-06-01 00:00:00"),
            "expire_at": local("2030-06-01 00:00:00"), "expire_times": 9,
            "protect_type": "user", "protect_users": ["alice", "bob"],
            "protect_groups": ["staff-test"], "enable_match_ip": False,
            "protect_title": "Summer", "redirect_type": "url_param",
            "redirect_uri": "https://example.org/?a=1", "auto_gc": False}
        self.assertEqual({name: shown[name] for name in expected}, expected)

    def test_hash_and_url_are_printed(self):
        self.install_url_tool()

        lines = self.out("create", "--project", "photos", "--owner", "alice").splitlines()

        self.assertRegex(lines[0], r"^Hash:  \w{9}$")
        self.assertEqual(lines[1:], [f"URL:   https://nas.example/sharing/{lines[0][7:]}"])

    def test_url_is_asked_for_with_the_usual_port_https_and_no_host(self):
        self.install_url_tool('for a in "$@"; do echo "[$a]"; done >/tmp/told; '
                              'echo https://nas.example/; echo 2')

        link = self.made()

        told = pathlib.Path("/tmp/told").read_text(encoding="utf-8")
        self.assertEqual(told, f"[{link['hash']}]\n[0]\n[1]\n[]\n[]\n")
        self.assertEqual(link["url"], "https://nas.example/")

    def test_without_the_url_tool_the_hash_is_printed_and_the_rest_told(self):
        done = self.call("create", "--project", "photos", "--owner", "alice")

        self.assertEqual(done.returncode, DONE)
        self.assertRegex(done.stdout.decode(), r"^Hash:  \w{9}\n$")
        self.assertIn(b"the URL is not known", done.stderr)

    def test_owner_may_be_named_by_number(self):
        link = self.json("create", "--project", "photos", "--owner", "5002")

        self.assertEqual(link["owner_user"], "bob")

    def test_unknown_owner_is_refused(self):
        for owner in ("nobody-here", "7777", "5001x", "-1", "4294967295", "ali ce"):
            self.assertIn(f'there is no user "{owner}"',
                          self.refusal(REFUSED, "create", "--project", "photos",
                                       f"--owner={owner}"))
        self.assertFalse(DATABASE.exists())

    def test_unknown_users_are_stored_and_told(self):
        done = self.call("create", "--project", "photos", "--owner", "alice", "--user", "ghost",
                         "--user", "bob", "--group", "ghosts", "--json")

        link = json.loads(done.stdout)
        self.assertEqual(link["protect_users"], ["bob", "ghost"])
        self.assertEqual(link["protect_groups"], ["ghosts"])
        self.assertIn(b"there is no user yet named ghost\n", done.stderr)
        self.assertIn(b"there is no group yet named ghosts\n", done.stderr)

    def test_spans_count_from_now(self):
        for span, seconds in (("90s", 90), ("15m", 900), ("12h", 43200), ("7d", 604800),
                              ("4w", 2419200), ("0s", 0), ("now", 0)):
            before = int(time.time())
            link = self.made("--expire", span)
            self.assertTrue(before + seconds <= link["expire_at"] <= time.time() + seconds)

    def test_dates_are_local_with_summer_time_as_on_that_day(self):
        for text, expected in (
                ("2030-12-31", "2030-12-31 00:00:00"), ("2030-07-01", "2030-07-01 00:00:00"),
                ("2030-07-01 18:30", "2030-07-01 18:30:00"),
                ("2030-07-01T18:30", "2030-07-01 18:30:00"),
                ("2030-07-01 18:30:59", "2030-07-01 18:30:59"),
                ("2028-02-29T00:00:01", "2028-02-29 00:00:01"),
                ("9999-12-31 23:59:59", "9999-12-31 23:59:59")):
            self.assertEqual(self.made("--expire", text)["expire_at"], local(expected), text)

    def test_never_and_none_mean_no_limit(self):
        for word in ("never", "none"):
            link = self.made("--start", word, "--expire", word)
            self.assertEqual((link["start_at"], link["expire_at"]), (0, 0))

    def test_wrong_dates_are_refused(self):
        for text in ("", " ", "tomorrow", "2030", "2030-1-1", "2030-13-01", "2030-00-10",
                     "2030-02-29", "2030-04-31", "2030-01-01 ", " 2030-01-01", "2030-01-01x",
                     "2030-01-01 24:00", "2030-01-01 12:60", "2030-01-01 12:00:60",
                     "2030-01-01 12", "2030-01-01T", "2030-01-01 1:00", "2030/01/01",
                     "30-01-01", "+030-01-01", "2030--1-01", "1970-01-01", "1969-12-31",
                     "7", "7x", "d", "7D", "-7d", "+7d", "7 d", "7dd", "1.5d", "0x7d",
                     "99999999999999999999d", "9999999999w", "NOW",
                     # Clocks go from 2:00 to 3:00 on that day.
                     "2030-03-31 02:30"):
            for option in ("--start", "--expire"):
                said = self.refused(WRONG_CALL, f"{option}={text}")
                self.assertIn("is no date", said)

    def test_link_that_expires_before_it_starts_is_refused(self):
        self.assertIn("expire before it starts",
                      self.refused(WRONG_CALL, "--start", "2030-01-02", "--expire",
                                   "2030-01-01"))

    def test_link_that_is_past_already_is_told(self):
        done = self.call("create", "--project", "photos", "--owner", "alice", "--expire",
                         "2020-01-01")

        self.assertEqual(done.returncode, DONE)
        self.assertIn(b"nobody can use the link: expired 2020-01-01 00:00:00", done.stderr)

    def test_uses_limit_logins_from_0_to_the_largest_int(self):
        for text, uses in (("0", 0), ("1", 1), ("010", 10), ("2147483647", 2147483647)):
            self.assertEqual(self.made("--uses", text)["expire_times"], uses)

    def test_wrong_uses_are_refused(self):
        for text in ("", "-1", "1.5", "0x10", "many", "2147483648", "1 ", "99999999999999999999"):
            self.assertIn("is no number from 0", self.refused(WRONG_CALL, f"--uses={text}"))

    def test_wrong_json_is_refused(self):
        for text in ("", "{", "[]", "null", '"text"', "{'a':1}", '{"a":1,}', '{"a":1} x',
                     '{"a":NaN}', "{a:1}", '{"a":1,"a":2}', "{]",
                     '{"a":' * 500 + "1" + "}" * 500, "// no\n{", r'{"a":"\ud800"}',
                     r'{"a":"\ud800\u0041"}', r'{"\udfff":1}'):
            for option in ("--app", "--private-data"):
                said = self.refused(WRONG_CALL, f"{option}={text}")
                self.assertIn("not a JSON object", said)

    def test_deepest_json_that_is_taken_can_be_read_back(self):
        text = '{"a":' * 499 + "1" + "}" * 499

        link = self.made("--app", text)

        self.assertEqual(self.json("show", link["hash"])["app"], json.loads(text))

    def test_texts_that_are_no_utf8_are_refused(self):
        for option in (b"--title", b"--redirect-uri", b"--user", b"--group", b"--app",
                       b"--private-data"):
            # Too short, too long for what it says, half of a pair, beyond the last one.
            for text in (b"\xff", b"a\xc3", b"\xc0\xaf", b"\xe0\x80\xaf", b"\xf0\x80\x80\xaf",
                         b"\xed\xa0\x80", b"\xf4\x90\x80\x80", b"\xe2\x82"):
                self.assertIn("it is not UTF-8", self.refused(WRONG_CALL, option + b"=" + text))
        for arguments in ((b"--project=\xff", b"--owner=alice"),
                          (b"--project=p", b"--owner=\xff")):
            self.assertIn("it is not UTF-8", self.refusal(WRONG_CALL, "create", *arguments))

    def test_empty_project_or_owner_is_refused(self):
        self.assertIn("--project: it is empty",
                      self.refusal(WRONG_CALL, "create", "--project=", "--owner=alice"))
        self.assertIn("--owner: it is empty",
                      self.refusal(WRONG_CALL, "create", "--project=p", "--owner="))

    def test_empty_value_does_not_take_the_next_option_for_itself(self):
        link = self.made("--title=", "--keep")

        self.assertEqual((link["protect_title"], link["auto_gc"]), ("", False))

    def test_odd_texts_come_back_as_they_were(self):
        link = self.create("--title", ODD, "--redirect-uri", ODD, "--user", ODD, "--app",
                           json.dumps({ODD: ODD}), project=ODD)

        shown = self.json("show", link)

        self.assertEqual(shown["project_name"], ODD)
        self.assertEqual(shown["protect_title"], ODD)
        self.assertEqual(shown["redirect_uri"], ODD)
        self.assertEqual(shown["protect_users"], [ODD])
        self.assertEqual(shown["app"], {ODD: ODD})

    def test_huge_texts_come_back_as_they_were(self):
        text = "ü" * 60000  # two of the longest arguments that Linux hands over

        link = self.create("--title", text, "--app", json.dumps({"a": text}, ensure_ascii=False))

        shown = self.json("show", link)
        self.assertEqual((shown["protect_title"], shown["app"]["a"]), (text, text))

    def test_redirect_type_is_one_of_three(self):
        for kind in ("none", "url_param", "always"):
            self.assertEqual(self.made("--redirect-type", kind)["redirect_type"], kind)
        for kind in ("", "never", "Always"):
            said = self.refusal(WRONG_CALL, "create", "--project=p", "--owner=alice",
                                f"--redirect-type={kind}")
            self.assertIn("none, url_param, always", said)

    def test_option_given_twice_is_refused(self):
        self.refused(WRONG_CALL, "--title", "a", "--title", "b")

    def test_qr_code_draws_the_url(self):
        self.install_url_tool()

        short = self.out("create", "--project=p", "--owner=alice", "--qr").splitlines()[2:]

        # 29 modules for that length, and a margin of 4 on each side, two rows a line.
        self.assertEqual([len(line) for line in short], [37] * 19)
        self.assertEqual(set("".join(short)), set("█▀▄ "))
        self.assertEqual(set(short[0] + short[1]), {"█"})
        # The finder in the upper left corner.
        self.assertEqual(short[2][4:12], " ▄▄▄▄▄ █")
        self.assertEqual(short[3][4:12], " █   █ █")

    def test_qr_code_without_a_url_is_told(self):
        done = self.call("create", "--project=p", "--owner=alice", "--qr")

        self.assertEqual(done.returncode, DONE)
        self.assertIn(b"without a URL there is no QR code", done.stderr)

    def test_qr_code_for_a_url_that_is_too_long_is_told(self):
        self.install_url_tool("head -c 4000 /dev/zero | tr '\\0' x; echo; echo 2")

        done = self.call("create", "--project=p", "--owner=alice", "--qr")

        self.assertEqual(done.returncode, DONE)
        self.assertIn(b"the URL is too long for a QR code", done.stderr)

    def test_qr_code_is_not_for_programs(self):
        self.refused(WRONG_CALL, "--qr", "--json")


class Passwords(CommandTest):
    def create_with(self, *arguments, **options):
        return self.json("create", "--project=photos", "--owner=alice", *arguments, **options)

    def refused(self, *arguments, **options):
        said = self.refusal(WRONG_CALL, "create", "--project=photos", "--owner=alice",
                            *arguments, **options)
        self.assertFalse(DATABASE.exists())
        return said

    def opens(self, link, password):
        done = self.call("visit", link, "login", "--password-stdin", text=password + b"\n")
        return done.returncode == DONE

    def file(self, content, mode=0o600):
        path = pathlib.Path("/tmp/password")
        path.write_bytes(content)
        path.chmod(mode)
        self.addCleanup(path.unlink)
        return str(path)

    def test_first_line_of_input_is_the_password(self):
        for given in (b"open sesame\nsecond line\n", b"open sesame\n", b"open sesame"):
            link = self.create_with("--password-stdin", text=given)["hash"]
            self.assertTrue(self.opens(link, b"open sesame"))
            self.assertFalse(self.opens(link, b"open sesam"))

    def test_no_byte_behind_the_line_is_taken(self):
        reading, writing = os.pipe()
        os.write(writing, b"secret\nnext\n")
        os.close(writing)

        self.create_with("--password-stdin", stdin=reading)

        self.assertEqual(os.read(reading, 100), b"next\n")
        os.close(reading)

    def test_first_line_of_the_file_is_the_password(self):
        path = self.file(b"  from a \xc3\xbc file \r\nmore\n")

        link = self.create_with("--password-file", path)["hash"]

        self.assertTrue(self.opens(link, b"  from a \xc3\xbc file "))
        self.assertFalse(self.opens(link, b"from a \xc3\xbc file"))

    def test_password_of_4095_bytes_opens_its_link(self):
        link = self.create_with("--password-stdin", text=b"x" * 4095 + b"\n")["hash"]

        self.assertTrue(self.opens(link, b"x" * 4095))

    def test_empty_or_impossible_input_is_refused(self):
        self.assertIn("is empty", self.refused("--password-stdin"))
        self.assertIn("is empty", self.refused("--password-stdin", text="\nsecret\n"))
        self.assertIn("is empty", self.refused("--password-stdin", text="\r\n"))
        self.assertIn("zero byte", self.refused("--password-stdin", text=b"a\0b\n"))
        self.assertIn("longer than 4095", self.refused("--password-stdin", text=b"x" * 4096))
        self.assertIn("input for the password", self.refused(
            "--password-stdin", stdin=None, preexec_fn=lambda: os.close(0)))

    def test_file_that_everyone_may_read_is_refused(self):
        path = self.file(b"secret\n", 0o644)

        self.assertIn("can be read by everyone", self.refused("--password-file", path))

    def test_file_that_is_no_use_is_refused(self):
        self.assertIn("No such file", self.refused("--password-file", "/tmp/none"))
        self.assertIn("cannot be read: Is a directory", self.refused("--password-file", "/tmp"))
        self.assertIn("is empty", self.refused("--password-file", self.file(b"")))
        # An empty name must not make a link without a password.
        self.assertIn("No such file", self.refused("--password-file="))

    def test_generated_password_is_printed_once_and_opens_the_link(self):
        made = [self.create_with("--generate-password") for _ in range(3)]

        for link in made:
            self.assertRegex(link["generated_password"],
                             "^[2-9a-km-zA-HJ-NP-Z]{20}$")
            self.assertTrue(self.opens(link["hash"], link["generated_password"].encode()))
        self.assertEqual(len({link["generated_password"] for link in made}), 3)
        everything = self.out("list", "--json") + "".join(
            self.out("show", link["hash"]) + self.out("show", link["hash"], "--json")
            for link in made)
        for link in made:
            self.assertNotIn(link["generated_password"], everything)

    def test_generated_password_is_printed_for_a_person(self):
        text = self.out("create", "--project=photos", "--owner=alice", "--generate-password")

        self.assertRegex(text, r"(?m)^Password:  \w{20}$")

    def test_generated_passwords_use_the_whole_alphabet(self):
        # 1200 draws from 56 characters miss one of them once in 40 million times.
        drawn = "".join(self.create_with("--generate-password")["generated_password"]
                        for _ in range(60))
        self.assertEqual(set(drawn), set("23456789abcdefghijkmnpqrstuvwxyz"
                                         "ABCDEFGHJKLMNPQRSTUVWXYZ"))

    def test_ways_exclude_each_other(self):
        ways = [["--password-stdin"], ["--password-file", "/tmp/x"], ["--generate-password"]]
        for way in ways:
            for other in ways:
                if other != way:
                    self.assertIn("excludes", self.refused(*way, *other))
            self.assertIn("excludes", self.refused(*way, "--user", "alice"))
            self.assertIn("excludes", self.refused(*way, "--group", "staff-test"))

    def test_password_is_no_argument(self):
        self.refused("--password", "secret")

    def test_link_that_admits_nobody_is_refused(self):
        self.assertIn("admit nobody", self.refused("--user="))
        self.assertIn("admit nobody", self.refused("--group=", "--user="))


class Show(CommandTest):
    def shown(self, link):
        lines = self.out("show", link).splitlines()
        return dict(line.split(":", 1) for line in lines)

    def line(self, link, name):
        return self.shown(link)[name].strip()

    def test_unknown_link_is_refused(self):
        self.create()
        for link in ("nothing", "", "' OR 1=1 --", "x" * 100000):
            self.assertIn("there is no link", self.refusal(REFUSED, "show", link))
        self.assertIn('there is no link ""', self.refusal(REFUSED, "show", ""))

    def test_says_whether_the_link_is_usable_now_or_why_not(self):
        cases = ((["--expire", "2090-01-01"], "usable now"),
                 (["--start", "2090-01-01 08:00"], "not before 2090-01-01 08:00:00"),
                 (["--expire", "2020-01-01 08:00"], "expired 2020-01-01 08:00:00"))
        for arguments, expected in cases:
            self.assertEqual(self.line(self.create(*arguments), "State"), expected)
        link = self.create("--uses", "1")
        self.login(link)
        self.assertEqual(self.line(link, "State"), "used up: 1 of 1 uses")
        self.json("edit", link, "--disable")
        self.assertEqual(self.line(link, "State"), "disabled")

    def test_program_gets_the_state_too(self):
        link = self.json("show", self.create("--expire", "2020-01-01"))

        self.assertEqual((link["usable"], link["state"], link["expire_at"]),
                         (False, "expired", local("2020-01-01 00:00:00")))
        self.assertNotIn("2020-01-01", json.dumps(link))

    def test_url_is_that_of_the_url_tool(self):
        self.install_url_tool()
        link = self.create()

        self.assertEqual(self.line(link, "URL"), f"https://nas.example/sharing/{link}")
        self.assertEqual(self.json("show", link)["url"], f"https://nas.example/sharing/{link}")

    def test_users_and_groups_are_shown_where_there_are_some(self):
        shown = self.shown(self.create("--group", "staff-test"))

        self.assertEqual(shown["Groups"].strip(), "staff-test")
        self.assertNotIn("Users", shown)

    def test_redirect_is_shown_with_its_condition(self):
        for arguments, expected in (([], "none"),
                                    (["--redirect-uri", "u"], "none, so not to u"),
                                    (["--redirect-type", "always"], "always, to no URI yet"),
                                    (["--redirect-type", "url_param", "--redirect-uri", "u"],
                                     "by URL parameter, to u")):
            self.assertEqual(self.line(self.create(*arguments), "Redirect"), expected)

    def test_live_tokens_are_counted(self):
        link = self.create()
        other = self.create()
        for _ in range(3):
            self.login(link)
        self.login(other)
        self.sql("UPDATE token SET timeout = ? WHERE id = 1", int(time.time()))

        self.assertEqual(self.line(link, "Tokens alive"), "2")
        self.assertEqual(self.json("show", link)["tokens_alive"], 2)

    def test_names_that_the_system_does_not_know_are_told(self):
        link = self.create("--user", "ghost", "--user", "alice", "--group", "ghosts")
        data = json.loads(self.sql("SELECT data FROM entry")[0][0])
        data["protect_uids"].append(7777)
        data["protect_gids"].append(8888)
        self.sql("UPDATE entry SET data = ?", json.dumps(data))

        self.assertEqual(self.line(link, "Users"), "alice, ghost")
        self.assertEqual(self.line(link, "Unknown users"), "ghost, 7777")
        self.assertEqual(self.line(link, "Unknown groups"), "ghosts, 8888")
        shown = self.json("show", link)
        self.assertEqual(shown["unresolved_users"], ["ghost", "7777"])
        self.assertEqual(shown["unresolved_groups"], ["ghosts", "8888"])

    def test_owner_who_is_gone_is_told(self):
        link = self.create()
        self.assertEqual(self.line(link, "Owner"), "alice (5001)")
        self.assertTrue(self.json("show", link)["owner_exists"])

        self.sql("UPDATE entry SET owner_uid = 7777")

        self.assertEqual(self.line(link, "Owner"), "user 7777, who does not exist any more")
        self.assertFalse(self.json("show", link)["owner_exists"])

    def test_never_prints_a_stored_password_or_its_salt(self):
        link = self.create("--password-stdin", text="secret\n")
        data = json.loads(self.sql("SELECT data FROM entry")[0][0])

        text = self.out("show", link) + self.out("show", link, "--json") + \
            self.out("list", "--json")

        self.assertNotIn(data["protect_password"], text)
        self.assertNotIn(data["protect_password_salt"], text)
        self.assertEqual(self.line(link, "Protection"), "password")

    def test_md5_password_is_told(self):
        link = self.create("--password-stdin", text="secret\n")
        data = json.loads(self.sql("SELECT data FROM entry")[0][0])
        data["protect_password_algo"] = "md5"
        self.sql("UPDATE entry SET data = ?", json.dumps(data))

        self.assertIn("MD5", self.line(link, "Protection"))

    def test_odd_texts_are_shown_escaped_in_one_line(self):
        shown = self.shown(self.create("--title", ODD, project=ODD))

        self.assertEqual(shown["Title"].strip(), ODD_SHOWN)
        self.assertEqual(shown["Project"].strip(), ODD_SHOWN)

    def test_bytes_that_are_no_utf8_do_not_break_the_output(self):
        link = self.create()
        self.sql("UPDATE entry SET project_name = CAST(X'61FF62' AS TEXT)")

        self.assertEqual(self.line(link, "Project"), "a\\xffb")
        self.assertEqual(self.json("show", link)["project_name"], "a\ufffdb")

    def test_row_that_does_not_read_is_told(self):
        link = self.create()
        self.break_row(link)

        self.assertIn(f"the row of {link} does not read", self.refusal(REFUSED, "show", link))


class Edit(CommandTest):
    def edited(self, link, *arguments, **options):
        return self.json("edit", link, *arguments, **options)

    def refused(self, status, link, *arguments, **options):
        before = self.sql("SELECT * FROM entry")
        said = self.refusal(status, "edit", link, *arguments, **options)
        self.assertEqual(self.sql("SELECT * FROM entry"), before)
        return said

    def tokens(self):
        return self.sql("SELECT COUNT(*) FROM token")[0][0]

    def test_each_option_changes_its_own_value_and_keeps_the_hash(self):
        link = self.create()
        cases = ((["--project", "notes"], {"project_name": "notes"}),
                 (["--owner", "bob"], {"owner_user": "bob", "owner_uid": 5002}),
                 (["--app", '{"a":1}'], {"app": {"a": 1}}),
                 (["--start", "2026-01-01"], {"start_at": local("2026-01-01 00:00:00")}),
                 (["--expire", "2090-01-01"], {"expire_at": local("2090-01-01 00:00:00")}),
                 (["--uses", "5"], {"expire_times": 5}),
                 (["--no-match-ip"], {"enable_match_ip": False}),
                 (["--match-ip"], {"enable_match_ip": True}),
                 (["--title", "x"], {"protect_title": "x"}),
                 (["--title", ""], {"protect_title": ""}),
                 (["--redirect-type", "always"], {"redirect_type": "always"}),
                 (["--redirect-uri", "u"], {"redirect_uri": "u"}),
                 (["--keep"], {"auto_gc": False}),
                 (["--no-keep"], {"auto_gc": True}),
                 (["--disable"], {"enabled": False, "state": "disabled"}),
                 (["--enable"], {"enabled": True, "state": "usable"}),
                 (["--user", "bob"], {"protect_type": "user", "protect_users": ["bob"]}),
                 (["--group", "staff-test"], {"protect_groups": ["staff-test"]}),
                 (["--user", ""], {"protect_users": []}),
                 (["--unprotect"], {"protect_type": "none", "protect_groups": []}),
                 (["--expire", "never"], {"expire_at": 0}))
        before = self.json("show", link)
        for arguments, changes in cases:
            with self.subTest(arguments):
                self.edited(link, *arguments)
                after = self.json("show", link)
                self.assertEqual(after["hash"], link)
                self.assertEqual({name for name in after if after[name] != before[name]} -
                                 {"usable"}, set(changes))
                self.assertEqual({name: after[name] for name in changes}, changes)
                before = after

    def test_private_data_is_replaced(self):
        link = self.create()

        self.edited(link, "--private-data", '{"p":[true]}')

        self.assertEqual(self.json("show", link)["private_data"], {"p": [True]})

    def test_what_admits_others_takes_the_tokens_away_and_says_how_many(self):
        link = self.create("--user", "alice")
        other = self.create()
        self.login(other)
        for arguments in (["--user", "bob"], ["--user", "alice", "--group", "staff-test"],
                          ["--group", ""], ["--user", "alice", "--user", "ghost"],
                          ["--generate-password"], ["--unprotect"], ["--disable"],
                          ["--enable"]):
            self.sql("INSERT INTO token SELECT NULL, (SELECT id FROM entry WHERE hash = ?), "
                     "session_id, timeout FROM token UNION ALL SELECT NULL, (SELECT id FROM "
                     "entry WHERE hash = ?), 99, 4000000000", link, link)
            with self.subTest(arguments):
                self.assertEqual(self.edited(link, *arguments)["revoked_tokens"], 2)
                self.assertEqual(self.tokens(), 1)

    def test_same_password_again_takes_the_tokens_away(self):
        link = self.create("--password-stdin", text="secret\n")
        self.login(link, "--password-stdin", text="secret\n")

        text = self.out("edit", link, "--password-stdin", text="secret\n")

        self.assertEqual(text, f"Changed {link}, and revoked 1 token.\n")
        self.assertEqual(self.tokens(), 0)

    def test_dropping_the_number_of_somebody_who_is_gone_takes_the_tokens_away(self):
        for kind, name, option in (("protect_uids", "alice", "--user"),
                                   ("protect_gids", "staff-test", "--group")):
            link = self.create(option, name)
            data = json.loads(self.sql("SELECT data FROM entry WHERE hash = ?", link)[0][0])
            data[kind].append(7777)
            self.sql("UPDATE entry SET data = ? WHERE hash = ?", json.dumps(data), link)
            self.sql("INSERT INTO token SELECT NULL, id, 99, 4000000000 FROM entry "
                     "WHERE hash = ?", link)

            self.assertEqual(self.edited(link, option, name)["revoked_tokens"], 1)

    def test_what_admits_the_same_visitors_keeps_the_tokens(self):
        link = self.create("--user", "alice", "--user", "bob")
        self.login(link, "--user", "alice", "--password-stdin", text="alice-secret\n")
        for arguments in (["--user", "bob", "--user", "alice"], ["--enable"],
                          ["--title", "x"], ["--owner", "bob"], ["--expire", "7d"],
                          ["--uses", "7"], ["--no-match-ip"], ["--keep"], ["--app", "{}"]):
            with self.subTest(arguments):
                self.assertEqual(self.edited(link, *arguments)["revoked_tokens"], 0)
                self.assertEqual(self.tokens(), 1)
        self.assertEqual(self.out("edit", link, "--title", "y"), f"Changed {link}.\n")

    def test_password_replaces_users_and_users_replace_the_password(self):
        link = self.create("--user", "alice", "--group", "staff-test")

        made = self.edited(link, "--generate-password")
        self.assertEqual((made["protect_type"], made["protect_users"], made["protect_groups"]),
                         ("password", [], []))
        self.login(link, "--password-stdin", text=made["generated_password"] + "\n")

        self.assertEqual(self.edited(link, "--user", "bob")["protect_type"], "user")
        data = json.loads(self.sql("SELECT data FROM entry")[0][0])
        self.assertEqual(data["protect_password"], "")

    def test_names_are_told_as_unknown_when_they_are_given(self):
        link = self.create("--user", "ghost", "--group", "ghosts")

        self.assertEqual(self.call("edit", link, "--title", "x").stderr, b"")
        self.assertEqual(self.call("edit", link, "--user", "ghost").stderr,
                         b"vexosharing: there is no user yet named ghost\n")

    def test_what_does_not_fit_already_keeps_nothing_else_from_being_changed(self):
        link = self.create("--start", "2030-01-01")
        self.sql("UPDATE entry SET expire_at = 1000")

        self.assertFalse(self.edited(link, "--disable")["enabled"])
        self.assertIn("expire before it starts",
                      self.refused(WRONG_CALL, link, "--start", "2029-01-01"))
        self.edited(link, "--expire", "never")

    def test_generated_password_that_nobody_got_to_see_is_taken_back(self):
        link = self.create("--password-stdin", text="secret\n")
        self.login(link, "--password-stdin", text="secret\n")
        with open("/dev/full", "wb") as full:
            for more in ([], ["--json"]):
                done = self.call("edit", link, "--generate-password", "--title", "x", *more,
                                 stdout=full)

                self.assertEqual(done.returncode, REFUSED)
                self.assertIn(b"the change was undone, but tokens stay revoked", done.stderr)
                self.login(link, "--password-stdin", text="secret\n")
                shown = self.json("show", link)
                self.assertEqual((shown["protect_title"], shown["tokens_alive"]), ("", 1))
        self.assertEqual(shown["use_count"], 3)

    def test_generated_password_is_printed(self):
        link = self.create()

        text = self.out("edit", link, "--generate-password")

        self.assertRegex(text, rf"^Changed {link}, and revoked 0 tokens\.\nPassword: \w{{20}}\n$")

    def test_link_that_gets_its_first_limit_begins_to_count_anew(self):
        link = self.create()
        self.login(link)

        self.assertEqual(self.edited(link, "--uses", "5")["use_count"], 0)
        self.login(link)
        self.assertEqual(self.edited(link, "--uses", "6")["use_count"], 1)

    def test_nothing_to_change_is_a_wrong_call(self):
        link = self.create()

        self.assertIn("at least one thing to change", self.refused(WRONG_CALL, link))
        self.assertIn("at least one thing to change",
                      self.refused(WRONG_CALL, link, "--json", "--database", str(DATABASE)))

    def test_unknown_link_is_refused(self):
        self.create()

        self.assertIn("there is no link nothing",
                      self.refused(REFUSED, "nothing", "--title", "x"))

    def test_row_that_does_not_read_is_refused(self):
        link = self.create()
        self.break_row(link)

        self.assertIn("does not read", self.refused(REFUSED, link, "--title", "x"))

    def test_wrong_values_change_nothing(self):
        link = self.create("--user", "alice")
        for status, arguments in ((REFUSED, ["--owner", "nobody-here"]),
                                  (WRONG_CALL, ["--owner", ""]),
                                  (WRONG_CALL, ["--project", ""]),
                                  (WRONG_CALL, ["--expire", "soon"]),
                                  (WRONG_CALL, ["--start", "2030-02-30"]),
                                  (WRONG_CALL, ["--uses", "-2"]),
                                  (WRONG_CALL, ["--app", "[]"]),
                                  (WRONG_CALL, ["--private-data", "{"]),
                                  (WRONG_CALL, ["--redirect-type", "maybe"]),
                                  (WRONG_CALL, ["--user", ""]),
                                  (WRONG_CALL, ["--password-stdin"]),
                                  (WRONG_CALL, ["--password-file", "/tmp/none"]),
                                  (WRONG_CALL, ["--unprotect", "--user", "bob"]),
                                  (WRONG_CALL, ["--unprotect", "--generate-password"]),
                                  (WRONG_CALL, ["--enable", "--disable"]),
                                  (WRONG_CALL, ["--keep", "--no-keep"]),
                                  (WRONG_CALL, ["--match-ip", "--no-match-ip"]),
                                  (WRONG_CALL, ["--start", "2030-01-02", "--expire",
                                                "2030-01-01"])):
            with self.subTest(arguments):
                self.refused(status, link, "--title", "changed", *arguments)

    def test_waits_for_other_writers_and_loses_none_of_their_changes(self):
        link = self.create("--uses", "5")
        blocker = self.lock()
        blocker.execute("UPDATE entry SET use_count = 3")
        process = self.start("edit", link, "--title", "x", stdout=subprocess.DEVNULL)
        command_support.wait_until(lambda: command_support.uses_database(process))
        self.assertIsNone(process.poll())
        blocker.execute("COMMIT")

        self.assertEqual(process.wait(60), DONE)
        shown = self.json("show", link)
        self.assertEqual((shown["use_count"], shown["protect_title"]), (3, "x"))

    def test_failed_statement_is_told_and_changes_nothing(self):
        link = self.create()
        self.login(link)
        self.sql("CREATE TRIGGER no_more BEFORE DELETE ON token "
                 "BEGIN SELECT RAISE(ABORT, 'no more'); END")

        self.assertIn("the database failed: no more",
                      self.refused(NOT_USABLE, link, "--generate-password"))
        self.assertEqual(self.tokens(), 1)


if __name__ == "__main__":
    command_support.main()

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
        return self.created("--project", "photos", "--owner", "alice", *arguments, **options)

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
            "private_data": {}, "unresolved_users": [], "unresolved_groups": [],
            "url": None})

    def test_every_option_reaches_the_link(self):
        link = self.made("--app", '{"album":"Sömmer"}', "--private-data", '{"n":[1,2]}',
                         "--start", "2026-06-01", "--expire", "2030-06-01", "--uses", "9",
                         "--user", "alice", "--user", "bob", "--group", "staff-test",
                         "--no-match-ip", "--title", "Summer", "--redirect-type", "url_param",
                         "--redirect-uri", "https://example.org/?a=1", "--keep")

        shown = self.shown(link["hash"])
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

    def test_url_tool_gets_the_default_port_https_and_no_host(self):
        self.install_url_tool('for a in "$@"; do echo "[$a]"; done >/tmp/told; '
                              'echo https://nas.example/; echo 2')

        link = self.made()

        told = pathlib.Path("/tmp/told").read_text(encoding="utf-8")
        self.assertEqual(told, f"[{link['hash']}]\n[0]\n[1]\n[]\n[]\n")
        self.assertEqual(link["url"], "https://nas.example/")

    def test_without_the_url_tool_the_hash_is_printed_with_a_message(self):
        done = self.call("create", "--project", "photos", "--owner", "alice")

        self.assertEqual(done.returncode, DONE)
        self.assertRegex(done.stdout.decode(), r"^Hash:  \w{9}\n$")
        self.assertIn(b"URL unknown: ", done.stderr)

    def test_owner_may_be_named_by_number(self):
        link = self.created("--project", "photos", "--owner", "5002")

        self.assertEqual(link["owner_user"], "bob")

    def test_unknown_owner_is_refused(self):
        for owner in ("nobody-here", "7777", "5001x", "-1", "4294967295", "ali ce"):
            self.assertIn(f"user not found: {owner}",
                          self.refusal(REFUSED, "create", "--project", "photos",
                                       f"--owner={owner}"))
        self.assertFalse(DATABASE.exists())

    def test_user_named_twice_is_stored_once(self):
        link = self.made("--user", "bob", "--user", "ghost", "--user", "bob", "--user",
                         "ghost", "--group", "staff-test", "--group", "staff-test")

        data = json.loads(self.sql("SELECT data FROM entry")[0][0])
        self.assertEqual((link["protect_users"], data["protect_uids"]),
                         (["bob", "ghost"], [5002]))
        self.assertEqual(link["protect_groups"], ["staff-test"])

    def test_unknown_users_are_stored_and_reported(self):
        done = self.call("create", "--project", "photos", "--owner", "alice", "--user", "ghost",
                         "--user", "bob", "--group", "ghosts", "--json")

        link = json.loads(done.stdout)["link"]
        self.assertEqual(link["protect_users"], ["bob", "ghost"])
        self.assertEqual(link["protect_groups"], ["ghosts"])
        self.assertIn(b"warning: user not found: ghost\n", done.stderr)
        self.assertIn(b"warning: group not found: ghosts\n", done.stderr)

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
                     "99999999999999999999w",
                     # Clocks go from 2:00 to 3:00 on that day.
                     "2030-03-31 02:30"):
            for option in ("--start", "--expire"):
                said = self.refused(WRONG_CALL, f"{option}={text}")
                self.assertIn(f'invalid date "{text}": ', said)

    def test_invalid_dates_are_reported_with_their_reason(self):
        for text, reason in (("2030-02-29", "no such local date or time"),
                             ("2030-03-31 02:30", "no such local date or time"),
                             ("9999999999w", "later than the year 9999"),
                             ("1969-12-31", "not later than 1970-01-01"),
                             ("tomorrow", 'expected 2026-12-31, "2026-12-31 18:00", 7d or')):
            self.assertIn(f'--start: invalid date "{text}": {reason}',
                          self.refused(WRONG_CALL, "--start", text))

    def test_link_that_expires_before_it_starts_is_refused(self):
        self.assertIn("expire before it starts",
                      self.refused(WRONG_CALL, "--start", "2030-01-02", "--expire",
                                   "2030-01-01"))

    def test_expiry_in_the_past_is_reported(self):
        done = self.call("create", "--project", "photos", "--owner", "alice", "--expire",
                         "2020-01-01")

        self.assertEqual(done.returncode, DONE)
        self.assertIn(b"nobody can use the link: expired 2020-01-01 00:00:00", done.stderr)

    def test_uses_limit_logins_from_0_to_the_largest_int(self):
        for text, uses in (("0", 0), ("1", 1), ("010", 10), ("2147483647", 2147483647)):
            self.assertEqual(self.made("--uses", text)["expire_times"], uses)

    def test_wrong_uses_are_refused(self):
        for text in ("", "-1", "1.5", "0x10", "many", "2147483648", "1 ", "99999999999999999999"):
            self.assertIn("must be from 0", self.refused(WRONG_CALL, f"--uses={text}"))

    def test_wrong_json_is_refused(self):
        for text in ("", "{", "[]", "null", '"text"', "{'a':1}", '{"a":1,}', '{"a":1} x',
                     '{"a":NaN}', "{a:1}", '{"a":1,"a":2}', "{]",
                     '{"a":' * 500 + "1" + "}" * 500, "// no\n{", r'{"a":"\ud800"}',
                     r'{"a":"\ud800\u0041"}', r'{"\udfff":1}'):
            for option in ("--app", "--private-data"):
                said = self.refused(WRONG_CALL, f"{option}={text}")
                self.assertIn("not a JSON object", said)

    def test_objects_are_read_from_a_file_or_standard_input(self):
        path = pathlib.Path("/tmp/object.json")
        self.addCleanup(path.unlink)
        path.write_text('{\n "album": "Sömmer"\n}\n', encoding="utf-8")

        link = self.made("--app", f"@{path}", "--private-data", "@-", text='{"n":[1,2]}\n')

        shown = self.shown(link["hash"])
        self.assertEqual((shown["app"], shown["private_data"]),
                         ({"album": "Sömmer"}, {"n": [1, 2]}))
        self.json("edit", link["hash"], "--app=@-", text='{"album":"Winter"}')
        self.assertEqual(self.shown(link["hash"])["app"], {"album": "Winter"})

    def test_wrong_object_files_are_refused(self):
        path = pathlib.Path("/tmp/object.json")
        self.addCleanup(path.unlink)
        path.write_text('{"a":"' + "x" * 1024 * 1024 + '"}', encoding="utf-8")
        for option in ("--app", "--private-data"):
            for value, reason in (("@/tmp/none", "cannot read /tmp/none: No such file"),
                                  ("@/tmp", "cannot read /tmp: Is a directory"),
                                  ("@", "cannot read : No such file"),
                                  (f"@{path}", f"cannot read {path}: larger than 1 MiB"),
                                  ("@-", "not a JSON object")):
                said = self.refused(WRONG_CALL, f"{option}={value}")
                self.assertIn(f"vexosharing: {option}: {reason}", said)

    def test_largest_object_file_is_accepted(self):
        path = pathlib.Path("/tmp/object.json")
        self.addCleanup(path.unlink)
        path.write_text('{"a":"' + "x" * (1024 * 1024 - 8) + '"}', encoding="utf-8")

        self.assertEqual(len(self.made("--app", f"@{path}")["app"]["a"]), 1024 * 1024 - 8)

    def test_standard_input_is_for_one_option(self):
        for options in (["--app=@-", "--private-data=@-"], ["--app=@-", "--password-stdin"],
                        ["--private-data=@-", "--password-stdin"]):
            self.assertIn("standard input", self.refused(WRONG_CALL, *options, text="{}"))

    def test_numbers_in_objects_stay_as_they_are(self):
        text = ('{"a":0.1,"b":-9223372036854775808,"c":18446744073709551615,"d":1.0,'
                '"e":1e+100,"f":0.30000000000000004,"g":"0.10000000000000001"}')
        link = self.create("--app", text)

        for shown in (self.out("show", link), self.out("show", link, "--json")):
            self.assertIn(text, shown)

    def test_deepest_accepted_json_can_be_read_back(self):
        text = '{"a":' * 499 + "1" + "}" * 499

        link = self.made("--app", text)

        self.assertEqual(self.shown(link["hash"])["app"], json.loads(text))

    def test_invalid_utf8_is_refused(self):
        for option in (b"--title", b"--redirect-uri", b"--user", b"--group", b"--app",
                       b"--private-data"):
            # Too short, too long for what it says, half of a pair, beyond the last one.
            for text in (b"\xff", b"a\xc3", b"\xc0\xaf", b"\xe0\x80\xaf", b"\xf0\x80\x80\xaf",
                         b"\xed\xa0\x80", b"\xf4\x90\x80\x80", b"\xe2\x82"):
                self.assertIn("UTF-8", self.refused(WRONG_CALL, option + b"=" + text))
        for arguments in ((b"--project=\xff", b"--owner=alice"),
                          (b"--project=p", b"--owner=\xff")):
            self.assertIn("not valid UTF-8", self.refusal(WRONG_CALL, "create", *arguments))

    def test_empty_project_or_owner_is_refused(self):
        self.assertIn("--project: must not be empty",
                      self.refusal(WRONG_CALL, "create", "--project=", "--owner=alice"))
        self.assertIn("--owner: must not be empty",
                      self.refusal(WRONG_CALL, "create", "--project=p", "--owner="))

    def test_empty_value_does_not_swallow_the_next_option(self):
        link = self.made("--title=", "--keep")

        self.assertEqual((link["protect_title"], link["auto_gc"]), ("", False))

    def test_unusual_texts_are_stored_unchanged(self):
        link = self.create("--title", ODD, "--redirect-uri", ODD, "--user", ODD, "--app",
                           json.dumps({ODD: ODD}), project=ODD)

        shown = self.shown(link)

        self.assertEqual(shown["project_name"], ODD)
        self.assertEqual(shown["protect_title"], ODD)
        self.assertEqual(shown["redirect_uri"], ODD)
        self.assertEqual(shown["protect_users"], [ODD])
        self.assertEqual(shown["app"], {ODD: ODD})

    def test_huge_texts_are_stored_unchanged(self):
        text = "ü" * 60000  # two of the longest arguments that Linux hands over

        link = self.create("--title", text, "--app", json.dumps({"a": text}, ensure_ascii=False))

        shown = self.shown(link)
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

    def test_qr_code_without_a_url_is_reported(self):
        done = self.call("create", "--project=p", "--owner=alice", "--qr")

        self.assertEqual(done.returncode, DONE)
        self.assertIn(b"no QR code: the URL is unknown", done.stderr)

    def test_qr_code_for_a_too_long_url_is_reported(self):
        self.install_url_tool("head -c 4000 /dev/zero | tr '\\0' x; echo; echo 2")

        done = self.call("create", "--project=p", "--owner=alice", "--qr")

        self.assertEqual(done.returncode, DONE)
        self.assertIn(b"no QR code: the URL is too long", done.stderr)

    def test_qr_code_excludes_json(self):
        self.refused(WRONG_CALL, "--qr", "--json")


class Passwords(CommandTest):
    def create_with(self, *arguments, **options):
        return self.created("--project=photos", "--owner=alice", *arguments, **options)

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

    def test_nothing_after_the_line_is_read(self):
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
        self.assertIn("NUL byte", self.refused("--password-stdin", text=b"a\0b\n"))
        self.assertIn("longer than 4095", self.refused("--password-stdin", text=b"x" * 4096))
        self.assertIn("cannot read the password for the link from standard input", self.refused(
            "--password-stdin", stdin=None, preexec_fn=lambda: os.close(0)))

    def test_file_readable_by_all_users_is_refused(self):
        path = self.file(b"secret\n", 0o644)

        self.assertIn("readable by all users; use chmod 600", self.refused("--password-file", path))

    def test_unusable_file_is_refused(self):
        self.assertIn("No such file", self.refused("--password-file", "/tmp/none"))
        self.assertIn("cannot read the password from /tmp: Is a directory", self.refused("--password-file", "/tmp"))
        self.assertIn("is empty", self.refused("--password-file", self.file(b"")))
        # An empty name must not make a link without a password.
        self.assertIn("No such file", self.refused("--password-file="))

    def test_generated_password_is_printed_once_and_opens_the_link(self):
        made = [self.create_with("--generate-password") for _ in range(3)]

        for link in made:
            self.assertRegex(link["password"],
                             "^[2-9a-km-zA-HJ-NP-Z]{20}$")
            self.assertTrue(self.opens(link["hash"], link["password"].encode()))
        self.assertEqual(len({link["password"] for link in made}), 3)
        everything = self.out("list", "--json") + "".join(
            self.out("show", link["hash"]) + self.out("show", link["hash"], "--json")
            for link in made)
        for link in made:
            self.assertNotIn(link["password"], everything)

    def test_generated_password_is_printed_as_text(self):
        text = self.out("create", "--project=photos", "--owner=alice", "--generate-password")

        self.assertRegex(text, r"(?m)^Password:  \w{20}$")

    def test_generated_passwords_use_the_whole_alphabet(self):
        # 1200 draws from 56 characters miss one of them once in 40 million times.
        drawn = "".join(self.create_with("--generate-password")["password"]
                        for _ in range(60))
        self.assertEqual(set(drawn), set("23456789abcdefghijkmnpqrstuvwxyz"
                                         "ABCDEFGHJKLMNPQRSTUVWXYZ"))

    def test_password_options_exclude_each_other(self):
        ways = [["--password-stdin"], ["--password-file", "/tmp/x"], ["--generate-password"]]
        for way in ways:
            for other in ways:
                if other != way:
                    self.assertIn("excludes", self.refused(*way, *other))
            self.assertIn("excludes", self.refused(*way, "--user", "alice"))
            self.assertIn("excludes", self.refused(*way, "--group", "staff-test"))

    def test_password_option_does_not_exist(self):
        self.refused("--password", "secret")

    def test_link_that_allows_nobody_is_refused(self):
        self.assertIn("a user or a group is required", self.refused("--user="))
        self.assertIn("a user or a group is required", self.refused("--group=", "--user="))


class Show(CommandTest):
    def details(self, link):
        lines = self.out("show", link).splitlines()
        return dict(line.split(":", 1) for line in lines)

    def line(self, link, name):
        return self.details(link)[name].strip()

    def test_unknown_link_is_refused(self):
        self.create()
        for link in ("nothing", "", "' OR 1=1 --", "x" * 100000):
            self.assertIn("link not found", self.refusal(REFUSED, "show", link))
        self.assertIn('link not found: ""', self.refusal(REFUSED, "show", ""))

    def test_url_is_accepted_instead_of_the_hash(self):
        link = self.create()
        for url in (f"https://nas.example/sharing/{link}", f"http://[::1]:81/a/sharing/{link}",
                    f"https://nas.example/sharing/{link}/", f"https://x/sharing/{link}?a=/b#c"):
            self.assertEqual(self.shown(url)["hash"], link)
            self.assertEqual(self.edited(url, "--title", "x")["hash"], link)
            self.assertEqual(self.json("revoke", url)["items"][0]["hash"], link)
            self.assertEqual(self.json("visit", url, "login")["hash"], link)
        self.assertEqual(self.json("delete", url)["items"][0]["hash"], link)

    def test_url_of_something_else_is_refused(self):
        self.create()
        for url in ("https://nas.example/", "https://nas.example/sharing/", "http://sharing/x"):
            self.assertIn("not the URL of a link", self.refusal(WRONG_CALL, "show", url))

    def test_state_is_shown_with_its_reason(self):
        cases = ((["--expire", "2090-01-01"], "usable"),
                 (["--start", "2090-01-01 08:00"], "not started, starts 2090-01-01 08:00:00"),
                 (["--expire", "2020-01-01 08:00"], "expired 2020-01-01 08:00:00"))
        for arguments, expected in cases:
            self.assertEqual(self.line(self.create(*arguments), "State"), expected)
        link = self.create("--uses", "1")
        self.login(link)
        self.assertEqual(self.line(link, "State"), "use limit reached: 1 of 1 uses")
        self.json("edit", link, "--disable")
        self.assertEqual(self.line(link, "State"), "disabled")

    def test_json_has_the_state(self):
        link = self.shown(self.create("--expire", "2020-01-01"))

        self.assertEqual((link["state"], link["expire_at"]),
                         ("expired", local("2020-01-01 00:00:00")))
        self.assertNotIn("2020-01-01", json.dumps(link))

    def test_url_is_that_of_the_url_tool(self):
        self.install_url_tool()
        link = self.create()

        self.assertEqual(self.line(link, "URL"), f"https://nas.example/sharing/{link}")
        self.assertEqual(self.shown(link)["url"], f"https://nas.example/sharing/{link}")

    def test_users_and_groups_are_shown_if_any(self):
        shown = self.details(self.create("--group", "staff-test"))

        self.assertEqual(shown["Groups"].strip(), "staff-test")
        self.assertNotIn("Users", shown)

    def test_redirect_is_shown_with_its_condition(self):
        for arguments, expected in (([], "none"),
                                    (["--redirect-uri", "u"], "none (unused URI: u)"),
                                    (["--redirect-type", "always"], "always, no URI set"),
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

        self.assertEqual(self.line(link, "Valid tokens"), "2")
        self.assertEqual(self.shown(link)["tokens"], 2)

    def test_unknown_names_are_reported(self):
        link = self.create("--user", "ghost", "--user", "alice", "--group", "ghosts")
        data = json.loads(self.sql("SELECT data FROM entry")[0][0])
        data["protect_uids"].append(7777)
        data["protect_gids"].append(8888)
        self.sql("UPDATE entry SET data = ?", json.dumps(data))

        self.assertEqual(self.line(link, "Users"), "alice, ghost")
        self.assertEqual(self.line(link, "Unknown users"), "ghost, 7777")
        self.assertEqual(self.line(link, "Unknown groups"), "ghosts, 8888")
        shown = self.shown(link)
        self.assertEqual(shown["unresolved_users"], ["ghost", "7777"])
        self.assertEqual(shown["unresolved_groups"], ["ghosts", "8888"])

    def test_deleted_owner_is_reported(self):
        link = self.create()
        self.assertEqual(self.line(link, "Owner"), "alice (5001)")
        self.assertNotEqual(self.shown(link)["owner_user"], "")

        self.sql("UPDATE entry SET owner_uid = 7777")

        self.assertEqual(self.line(link, "Owner"), "7777 (unknown)")
        self.assertEqual(self.shown(link)["owner_user"], "")

    def test_never_prints_a_stored_password_or_its_salt(self):
        link = self.create("--password-stdin", text="secret\n")
        data = json.loads(self.sql("SELECT data FROM entry")[0][0])

        text = self.out("show", link) + self.out("show", link, "--json") + \
            self.out("list", "--json")

        self.assertNotIn(data["protect_password"], text)
        self.assertNotIn(data["protect_password_salt"], text)
        self.assertEqual(self.line(link, "Protection"), "password")

    def test_md5_password_is_reported(self):
        link = self.create("--password-stdin", text="secret\n")
        data = json.loads(self.sql("SELECT data FROM entry")[0][0])
        data["protect_password_algo"] = "md5"
        self.sql("UPDATE entry SET data = ?", json.dumps(data))

        self.assertIn("MD5", self.line(link, "Protection"))

    def test_unusual_texts_are_shown_escaped_in_one_line(self):
        shown = self.details(self.create("--title", ODD, project=ODD))

        self.assertEqual(shown["Title"].strip(), ODD_SHOWN)
        self.assertEqual(shown["Project"].strip(), ODD_SHOWN)

    def test_invalid_utf8_in_a_row_is_replaced(self):
        link = self.create()
        self.sql("UPDATE entry SET project_name = CAST(X'61FF62' AS TEXT)")

        self.assertEqual(self.line(link, "Project"), "a\\xffb")
        self.assertEqual(self.shown(link)["project_name"], "a\ufffdb")

    def test_unreadable_row_is_reported(self):
        link = self.create()
        self.break_row(link)

        self.assertIn(f"unreadable row: link {link}", self.refusal(REFUSED, "show", link))


class Edit(CommandTest):
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
        before = self.shown(link)
        for arguments, changes in cases:
            with self.subTest(arguments):
                self.edited(link, *arguments)
                after = self.shown(link)
                self.assertEqual(after["hash"], link)
                self.assertEqual({name for name in after if after[name] != before[name]} -
                                 {"usable"}, set(changes))
                self.assertEqual({name: after[name] for name in changes}, changes)
                before = after

    def test_private_data_is_replaced(self):
        link = self.create()

        self.edited(link, "--private-data", '{"p":[true]}')

        self.assertEqual(self.shown(link)["private_data"], {"p": [True]})

    def test_change_of_access_revokes_the_tokens(self):
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
                self.assertEqual(self.edited(link, *arguments)["revoked"], 2)
                self.assertEqual(self.tokens(), 1)

    def test_same_password_again_revokes_the_tokens(self):
        link = self.create("--password-stdin", text="secret\n")
        self.login(link, "--password-stdin", text="secret\n")

        text = self.out("edit", link, "--password-stdin", text="secret\n")

        self.assertEqual(text, f"{link}: changed, revoked 1 token\n")
        self.assertEqual(self.tokens(), 0)

    def test_removing_a_deleted_user_revokes_the_tokens(self):
        for kind, name, option in (("protect_uids", "alice", "--user"),
                                   ("protect_gids", "staff-test", "--group")):
            link = self.create(option, name)
            data = json.loads(self.sql("SELECT data FROM entry WHERE hash = ?", link)[0][0])
            data[kind].append(7777)
            self.sql("UPDATE entry SET data = ? WHERE hash = ?", json.dumps(data), link)
            self.sql("INSERT INTO token SELECT NULL, id, 99, 4000000000 FROM entry "
                     "WHERE hash = ?", link)

            self.assertEqual(self.edited(link, option, name)["revoked"], 1)

    def test_other_changes_keep_the_tokens(self):
        link = self.create("--user", "alice", "--user", "bob")
        self.login(link, "--user", "alice", "--password-stdin", text="alice-secret\n")
        for arguments in (["--user", "bob", "--user", "alice"], ["--enable"],
                          ["--title", "x"], ["--owner", "bob"], ["--expire", "7d"],
                          ["--uses", "7"], ["--no-match-ip"], ["--keep"], ["--app", "{}"]):
            with self.subTest(arguments):
                self.assertEqual(self.edited(link, *arguments)["revoked"], 0)
                self.assertEqual(self.tokens(), 1)
        self.assertEqual(self.out("edit", link, "--title", "y"), f"{link}: changed\n")

    def test_password_replaces_users_and_users_replace_the_password(self):
        link = self.create("--user", "alice", "--group", "staff-test")

        made = self.edited(link, "--generate-password")
        self.assertEqual((made["protect_type"], made["protect_users"], made["protect_groups"]),
                         ("password", [], []))
        self.login(link, "--password-stdin", text=made["password"] + "\n")

        self.assertEqual(self.edited(link, "--user", "bob")["protect_type"], "user")
        data = json.loads(self.sql("SELECT data FROM entry")[0][0])
        self.assertEqual(data["protect_password"], "")

    def test_unknown_names_are_reported_when_given(self):
        link = self.create("--user", "ghost", "--group", "ghosts")

        self.assertEqual(self.call("edit", link, "--title", "x").stderr, b"")
        self.assertEqual(self.call("edit", link, "--user", "ghost").stderr,
                         b"vexosharing: warning: user not found: ghost\n")

    def test_existing_wrong_dates_do_not_prevent_other_changes(self):
        link = self.create("--start", "2030-01-01")
        self.sql("UPDATE entry SET expire_at = 1000")

        self.assertFalse(self.edited(link, "--disable")["enabled"])
        self.assertIn("expire before it starts",
                      self.refused(WRONG_CALL, link, "--start", "2029-01-01"))
        self.edited(link, "--expire", "never")

    def test_generated_password_that_was_not_printed_is_undone(self):
        link = self.create("--password-stdin", text="secret\n")
        self.login(link, "--password-stdin", text="secret\n")
        with open("/dev/full", "wb") as full:
            for more in ([], ["--json"]):
                done = self.call("edit", link, "--generate-password", "--title", "x", *more,
                                 stdout=full)

                self.assertEqual(done.returncode, REFUSED)
                self.assertIn(b"the change was undone; tokens stay revoked", done.stderr)
                self.login(link, "--password-stdin", text="secret\n")
                shown = self.shown(link)
                self.assertEqual((shown["protect_title"], shown["tokens"]), ("", 1))
        self.assertEqual(shown["use_count"], 3)

    def test_generated_password_is_printed(self):
        link = self.create()

        text = self.out("edit", link, "--generate-password")

        self.assertRegex(text, rf"^{link}: changed, revoked 0 tokens\nPassword: \w{{20}}\n$")

    def test_first_use_limit_resets_the_count(self):
        link = self.create()
        self.login(link)

        self.assertEqual(self.edited(link, "--uses", "5")["use_count"], 0)
        self.login(link)
        self.assertEqual(self.edited(link, "--uses", "6")["use_count"], 1)

    def test_expiry_in_the_past_is_reported(self):
        link = self.create()

        done = self.call("edit", link, "--expire", "2020-01-01")

        self.assertEqual(done.returncode, DONE)
        self.assertEqual(done.stderr, b"vexosharing: warning: nobody can use the link: "
                                      b"expired 2020-01-01 00:00:00\n")
        self.assertEqual(self.call("edit", link, "--title", "x").stderr, b"")

    def test_nothing_to_change_is_a_usage_error(self):
        link = self.create()

        self.assertIn("nothing to change", self.refused(WRONG_CALL, link))
        self.assertIn("nothing to change",
                      self.refused(WRONG_CALL, link, "--json", "--database", str(DATABASE)))

    def test_unknown_link_is_refused(self):
        self.create()

        self.assertIn("link not found: nothing",
                      self.refused(REFUSED, "nothing", "--title", "x"))

    def test_unreadable_row_is_refused(self):
        link = self.create()
        self.break_row(link)

        self.assertIn("unreadable row", self.refused(REFUSED, link, "--title", "x"))

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
        shown = self.shown(link)
        self.assertEqual((shown["use_count"], shown["protect_title"]), (3, "x"))

    def test_failed_statement_is_reported_and_changes_nothing(self):
        link = self.create()
        self.login(link)
        self.sql("CREATE TRIGGER no_more BEFORE DELETE ON token "
                 "BEGIN SELECT RAISE(ABORT, 'no more'); END")

        self.assertIn("database error: no more",
                      self.refused(NOT_USABLE, link, "--generate-password"))
        self.assertEqual(self.tokens(), 1)


if __name__ == "__main__":
    command_support.main()

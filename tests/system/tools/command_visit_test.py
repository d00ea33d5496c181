"""visit: a simulated visitor, with real accounts, PAM and blocking."""

import json
import time

import command_support
from command_support import DONE, REFUSED, WRONG_CALL, CommandTest


class Visit(CommandTest):
    def visit(self, expected, *arguments, session="", **options):
        """The answer of a visit that must have this result code, and its exit code."""
        done = self.call("visit", *arguments, "--json", env={"SHARING_SID": session}, **options)
        answer = json.loads(done.stdout)
        self.assertEqual(answer["result"], expected, answer)
        self.assertEqual(done.returncode, DONE if expected == 1 else REFUSED)
        return answer

    def with_password(self, expected, link, password, *arguments):
        return self.visit(expected, link, "login", "--password-stdin", *arguments,
                          text=password + "\n")

    def protected(self):
        return self.create("--password-stdin", text="open sesame\n")

    def test_logged_in_visitor_passes_the_check_until_logout(self):
        link = self.protected()

        session = self.with_password(1, link, "open sesame")["session_id"]
        self.assertEqual(self.visit(1, link, "check", session=session)["meaning"],
                         "authorized")
        self.assertEqual(self.visit(1, link, "logout", session=session)["meaning"],
                         "logged out")
        self.assertEqual(self.visit(-7, link, "check", session=session)["meaning"],
                         "no such link, or the session is not logged in to it")
        self.visit(0, link, "logout", session=session)

    def test_text_output_has_code_meaning_and_session(self):
        link = self.create()

        lines = self.out("visit", link, "login").splitlines()

        self.assertEqual(lines[0], "1 logged in")
        self.assertRegex(lines[1], r"^[\w-]{32}$")
        self.assertEqual(len(lines), 2)
        self.assertEqual(self.out("visit", link, "check", env={"SHARING_SID": lines[1]}),
                         "1 authorized\n")

    def test_answer_names_action_and_link(self):
        link = self.create()

        answer = self.visit(1, link, "login")

        self.assertEqual((answer["action"], answer["hash"]), ("login", link))

    def test_session_id_is_read_from_standard_input(self):
        link = self.create()
        session = self.login(link)

        self.visit(1, link, "check", text=session + "\n")
        self.visit(1, link, "logout", text=session)

    def test_session_is_used_again(self):
        one, two = self.create(), self.create()
        session = self.login(one)

        self.assertEqual(self.visit(1, two, "login", session=session)["session_id"], session)

    def test_login_reads_no_session_from_standard_input(self):
        link = self.create()
        session = self.login(link)

        answer = self.visit(1, link, "login", text=session + "\n")

        self.assertNotEqual(answer["session_id"], session)

    def test_each_refused_login_has_its_code(self):
        link = self.protected()
        for expected, meaning, hash_, arguments in (
                (-9, "wrong password", link, ["--password-stdin"]),
                (-3, "no such link", "nothing", ["--password-stdin"]),
                (-3, "credentials are missing", link, []),
                (-3, "cannot be used now", self.create("--expire", "2020-01-01"), []),
                (-3, "cannot be used now", self.create("--start", "7d"), [])):
            answer = self.visit(expected, hash_, "login", *arguments, text="wrong\n")
            self.assertIn(meaning, answer["meaning"])
            self.assertNotIn("session_id", answer)

    def test_link_at_its_use_limit_is_refused(self):
        link = self.create("--uses", "1")
        self.login(link)

        self.assertEqual(self.visit(-11, link, "login")["meaning"], "use limit reached")

    def test_users_log_in_with_their_password_of_the_system(self):
        link = self.create("--user", "alice")

        self.with_password(1, link, "alice-secret", "--user", "alice")
        self.assertEqual(self.with_password(-2, link, "wrong", "--user", "alice")["meaning"],
                         "user name or password refused")
        self.with_password(-2, link, "alice-secret", "--user", "nobody-here")
        self.assertIn("does not admit", self.with_password(-10, link, "bob-secret", "--user",
                                                           "bob")["meaning"])

    def test_expired_and_locked_accounts_are_refused(self):
        for user in ("carol", "dave"):
            link = self.create("--user", user)
            self.assertIn("refused", self.with_password(-2, link, f"{user}-secret", "--user",
                                                        user)["meaning"])

    def test_check_may_log_a_user_in_again(self):
        link = self.create("--user", "alice")
        session = self.with_password(1, link, "alice-secret", "--user",
                                     "alice")["session_id"]

        for expected, password in ((1, "alice-secret"), (-2, "wrong")):
            self.visit(expected, link, "check", "--user", "alice", "--password-stdin",
                       session=session, text=password + "\n")
        # Both by standard input: the password's line comes first.
        self.visit(1, link, "check", "--user", "alice", "--password-stdin",
                   text=f"alice-secret\n{session}\n")

    def test_user_who_is_no_longer_allowed_is_refused(self):
        link = self.create("--user", "alice")
        session = self.with_password(1, link, "alice-secret", "--user",
                                     "alice")["session_id"]
        data = json.loads(self.sql("SELECT data FROM entry")[0][0])
        data["protect_uids"] = [5002]
        self.sql("UPDATE entry SET data = ?", json.dumps(data))

        self.assertIn("any more", self.visit(-2, link, "check", session=session)["meaning"])

    def test_each_refused_check_has_its_code(self):
        link = self.create()
        session = self.login(link)
        self.visit(-5, link, "check", session="nothing")
        self.visit(-7, "nothing", "check", session=session)
        self.json("edit", link, "--expire", "2020-01-01")
        self.assertEqual(self.visit(-6, link, "check", session=session)["meaning"],
                         "the link cannot be used any more")

    def test_expired_login_is_refused(self):
        link = self.create()
        session = self.login(link)
        self.sql("UPDATE token SET timeout = ?", int(time.time()) - 1)

        self.assertEqual(self.visit(-1, link, "check", session=session)["meaning"],
                         "the session or its token has expired")

    def test_address_is_the_visitors(self):
        link = self.create()
        session = self.visit(1, link, "login", "--address", "192.0.2.1")["session_id"]

        self.visit(1, link, "check", "--address", "192.0.2.1", session=session)
        self.assertIn("address", self.visit(-8, link, "check", "--address", "2001:db8::1",
                                            session=session)["meaning"])
        self.visit(-8, link, "check", session=session)

    def test_address_of_the_environment_does_not_count(self):
        link = self.create()

        self.call("visit", link, "login", env={"REMOTE_ADDR": "192.0.2.9"})

        self.assertEqual(self.sql("SELECT ip FROM session"), [("127.0.0.1",)])

    def test_ten_failures_block_the_address(self):
        link = self.protected()
        for _ in range(10):
            self.with_password(-9, link, "wrong", "--address", "192.0.2.7")

        self.assertEqual(self.with_password(-8, link, "open sesame", "--address",
                                            "192.0.2.7")["meaning"],
                         "too many failed logins from this address")
        self.with_password(1, link, "open sesame", "--address", "192.0.2.8")

    def test_general_failure_points_to_the_log(self):
        link = self.create()
        self.sql("CREATE TRIGGER no_more BEFORE INSERT ON token "
                 "BEGIN SELECT RAISE(ABORT, 'no more'); END")

        self.assertIn("system log", self.visit(-4, link, "login")["meaning"])

    def test_usage_errors_are_refused(self):
        link = self.create()
        for arguments, text in (([link, "enter"], "login, check, logout"),
                                ([link, "login", "--address", "here"], "invalid IP address"),
                                ([link, "login", "--address", ""], "invalid IP address"),
                                ([link, "login", "--address", "192.0.2.256"], "invalid IP address"),
                                ([link, "login", "--user", ""], "must not be empty"),
                                ([link, "login", "--password-stdin"], "password from standard input: the line is empty"),
                                ([link, "check"], "session id from standard input: the line is empty"),
                                ([link, "logout"], "session id from standard input: the line is empty"),
                                ([link, "login", "--password", "x"], "--password")):
            with self.subTest(arguments):
                self.assertIn(text, self.refusal(WRONG_CALL, "visit", *arguments))

    def test_unusual_hash_and_session_are_refused_by_the_library(self):
        self.create()

        for link in ("' OR 1=1 --", "\x1b[31m", "日本" * 10000, ""):
            self.visit(-3, link, "login")
            self.visit(-5, link, "check", session="' OR 1=1 --")


if __name__ == "__main__":
    command_support.main()

"""Logins, sessions, and the answers to visitors without access."""

import concurrent.futures
import os
import sqlite3

from web_support import (PASSWORD, PRIVATE, CgiTransport, Page, Visitor, WebTest, main,
                         needs_program, told)

DATABASE = PRIVATE / "session/sharing/sharing.db"


class PasswordTest(WebTest):
    def setUp(self):
        super().setUp()
        self.write("notes.txt")
        self.write("sub/deep.txt")
        self.link = self.share(password=PASSWORD)

    def test_login_sets_the_cookie_and_leads_to_the_same_address(self):
        answer = self.visitor.post(self.link + "/sub/?sort=size", password=PASSWORD)
        self.assertEqual(answer.status, 303)
        self.assertEqual(answer.header("Location"), "./?sort=size")
        name, *attributes = answer.header("Set-Cookie").split("; ")
        self.assertRegex(name, "^sharing=[^;=]{16,}$")
        self.assertEqual(sorted(attributes),
                         ["HttpOnly", f"Path={self.link}", "SameSite=Lax"])
        self.assertEqual(self.visitor.get(self.link + "/sub/?sort=size").page, "folder")

    def test_login_at_a_file_leads_to_the_file(self):
        answer = self.visitor.post(self.link + "/notes.txt?view", password=PASSWORD)
        self.assertEqual(answer.header("Location"), "./notes.txt?view")
        self.assertEqual(self.visitor.get(self.link + "/notes.txt").body, b"content\n")

    def test_login_at_a_name_with_a_colon_leads_to_it(self):
        self.write("a:b c")
        answer = self.visitor.post(self.link + "/a:b%20c", password=PASSWORD)
        self.assertEqual(answer.header("Location"), "./a:b%20c")

    def test_one_login_serves_many_requests(self):
        self.log_in(self.link)
        for _ in range(3):
            answer = self.visitor.get(self.link + "/notes.txt", range="bytes=0-2")
            self.assertEqual((answer.status, answer.body), (206, b"con"))

    def test_wrong_password_shows_the_problem_at_its_field(self):
        answer = self.visitor.post(self.link + "/notes.txt", password="wrong")
        page = Page.read(answer)
        self.assertEqual((answer.status, answer.page), (401, "login"))
        self.assertEqual(page.text("p", id="problem", role="alert"), "The password is wrong.")
        field = page.find("input", name="password")[0][1]
        self.assertEqual(field["aria-invalid"], "true")
        self.assertIn("autofocus", field)
        self.assertNotIn("value", field)
        self.assertIsNone(answer.header("Set-Cookie"))

    def test_empty_password_shows_the_problem_and_counts_nothing(self):
        for fields in ({"password": ""}, {}, {"action": "login"}):
            with self.subTest(fields):
                answer = self.visitor.post(self.link, **fields)
                self.assertEqual(answer.status, 401)
                self.assertEqual(Page.read(answer).text("p", id="problem"),
                                 "Enter the password.")

    def test_first_of_several_fields_counts(self):
        body = b"password=wrong&password=correct+horse"
        self.assertEqual(self.visitor.send("POST", self.link, body).status, 401)
        body = b"password=correct+horse&password=wrong"
        self.assertEqual(self.visitor.send("POST", self.link, body).status, 303)

    def test_get_never_logs_in(self):
        for target in ("?password=correct+horse", "/?password=correct+horse&action=login"):
            with self.subTest(target):
                self.assertEqual(self.visitor.get(self.link + target).status, 401)

    def test_password_in_the_address_of_a_post_never_logs_in(self):
        answer = self.visitor.post(self.link + "?password=correct+horse", action="login")
        self.assertEqual(answer.status, 401)

    def test_wrong_session_is_no_session(self):
        page = told(self.visitor.get(self.link + "/"))
        self.assertEqual(
            told(self.visitor.get(self.link + "/", cookie="sharing=foreign")), page)
        other = self.share(password="x")
        visitor = self.new_visitor()
        visitor.post(other, password="x")
        (session,) = visitor.cookies.values()
        self.assertEqual(
            told(self.visitor.get(self.link + "/", cookie=f"sharing={session}")), page)

    def test_foreign_session_id_never_becomes_good(self):
        attacker = self.new_visitor()
        other = self.share(password="x")
        attacker.post(other, password="x")
        (foreign,) = attacker.cookies.values()
        answer = self.visitor.post(self.link, password=PASSWORD,
                                   headers={"cookie": f"sharing={foreign}"})
        self.assertEqual(answer.status, 303)
        self.assertNotIn(foreign, answer.header("Set-Cookie"))
        self.assertEqual(
            self.new_visitor().get(self.link + "/", cookie=f"sharing={foreign}").status, 401)

    def test_session_from_anywhere_but_the_cookie_does_not_count(self):
        self.log_in(self.link)
        (session,) = self.visitor.cookies.values()
        stranger = self.new_visitor()
        for answer in (stranger.get(f"{self.link}/?sharing={session}"),
                       stranger.get(f"{self.link}/?session_id={session}"),
                       stranger.post(self.link, sharing=session, session_id=session),
                       stranger.get(self.link + "/", cookie=f"session={session}"),
                       stranger.get(self.link + "/", sharing=session)):
            self.assertEqual(answer.status, 401)

    def test_logout_deletes_the_cookie_and_ends_the_session(self):
        self.log_in(self.link)
        (session,) = self.visitor.cookies.values()
        answer = self.visitor.post(self.link + "/sub/", action="logout")
        self.assertEqual((answer.status, answer.header("Location")), (303, "./"))
        attributes = answer.header("Set-Cookie").split("; ")
        self.assertIn("Max-Age=0", attributes)
        self.assertIn(f"Path={self.link}", attributes)
        self.assertEqual(self.visitor.get(self.link + "/").status, 401)
        self.assertEqual(
            self.visitor.get(self.link + "/", cookie=f"sharing={session}").status, 401)

    def test_post_of_a_form_of_another_site_is_refused(self):
        for headers in ({"sec_fetch_site": "cross-site"}, {"sec_fetch_site": "same-site"},
                        {"origin": "http://evil.example"}, {"origin": "null"},
                        {"origin": f"http://{self.transport.host}.evil.example"}):
            with self.subTest(headers):
                answer = self.visitor.post(self.link, password=PASSWORD, headers=headers)
                self.assertEqual((answer.status, answer.page), (403, "refused"))
                self.assertIsNone(answer.header("Set-Cookie"))

    def test_post_of_a_form_of_this_site_is_accepted(self):
        for headers in ({"sec_fetch_site": "same-origin"}, {"sec_fetch_site": "none"},
                        {"origin": f"http://{self.transport.host}"}, {}):
            with self.subTest(headers):
                answer = self.visitor.post(self.link, password=PASSWORD, headers=headers)
                self.assertEqual(answer.status, 303)

    def test_title_is_for_strangers_but_the_name_is_not(self):
        titled = self.share("--title", "Our <holidays>", password=PASSWORD)
        self.assertEqual(Page.read(self.visitor.get(titled)).text("h1"), "Our <holidays>")
        answer = self.visitor.get(self.link)
        self.assertEqual(Page.read(answer).text("h1"), "Shared files")
        self.assertNotIn("album", answer.text())

    def test_password_is_nowhere_in_the_answer(self):
        users = self.share("--user", "alice")
        for link, fields in ((self.link, {"password": "s3cret-text"}),
                             (self.link, {"username": "s3cret-text"}),
                             (users, {"password": "s3cret-text"}),
                             (users, {"username": "alice", "password": "s3cret-text"})):
            answer = self.visitor.post(link, **fields)
            self.assertNotIn("s3cret-text", f"{answer.headers} {answer.text()}")
        answer = self.log_in(self.link)
        self.assertNotIn("horse", f"{answer.headers} {answer.text()}")


class UserTest(WebTest):
    def setUp(self):
        super().setUp()
        self.write("notes.txt")
        self.link = self.share("--user", "alice")

    def test_listed_user_is_admitted(self):
        self.log_in(self.link, username="alice", password="alice-secret")
        self.assertEqual(self.visitor.get(self.link + "/").page, "folder")

    def test_query_reaches_nothing_but_the_program(self):
        answer = self.visitor.post(self.link + "/?_sid=a%0Ab", username="alice",
                                   password="alice-secret")
        self.assertEqual(answer.status, 303)

    def test_good_user_who_is_not_listed_is_refused(self):
        answer = self.visitor.post(self.link, username="bob", password="bob-secret")
        self.assertEqual((answer.status, answer.page), (403, "refused"))
        self.assertIsNone(answer.header("Set-Cookie"))

    def test_wrong_credentials_show_the_problem(self):
        answer = self.visitor.post(self.link, username="<alice>", password="wrong")
        page = Page.read(answer)
        self.assertEqual(answer.status, 401)
        self.assertEqual(page.text("p", id="problem"), "The user name or password is wrong.")
        self.assertEqual(page.find("input", name="username")[0][1]["value"], "<alice>")
        self.assertIn("autofocus", page.find("input", name="password")[0][1])

    def test_empty_fields_are_named(self):
        for fields, text, field in (
                ({"username": "", "password": "x"}, "Enter the user name.", "username"),
                ({"username": "alice"}, "Enter the password.", "password")):
            with self.subTest(fields):
                page = Page.read(self.visitor.post(self.link, **fields))
                self.assertEqual(page.text("p", id="problem"), text)
                attributes = page.find("input", name=field)[0][1]
                self.assertEqual(attributes["aria-invalid"], "true")
                self.assertIn("autofocus", attributes)


class LimitTest(WebTest):
    def test_robots_use_nothing_up_and_a_post_does(self):
        link = self.share("--uses", "1")
        for method in ("GET", "HEAD"):
            self.assertEqual(self.visitor.send(method, link + "/").status, 401)
        self.assertEqual(self.visitor.get(link).page, "open")
        self.assertEqual(self.uses(link), 0)
        self.log_in(link, action="login")
        self.assertEqual(self.uses(link), 1)

    def test_used_up_link_is_gone_but_not_for_who_is_inside(self):
        link = self.share("--uses", "1")
        self.log_in(link, action="login")
        answer = self.new_visitor().get(link)
        self.assertEqual((answer.status, answer.page), (410, "used-up"))
        self.assertEqual(self.new_visitor().post(link).status, 410)
        self.assertEqual(self.visitor.get(link + "/").page, "folder")

    def test_post_of_a_visitor_inside_uses_nothing(self):
        link = self.share("--uses", "2")
        self.log_in(link, action="login")
        self.log_in(link, action="login")
        self.assertEqual(self.uses(link), 1)

    def test_page_tells_the_uses_that_are_left(self):
        link = self.share("--uses", "3")
        self.log_in(link, action="login")
        self.assertIn("2 uses left", self.visitor.get(link + "/").text())

    def test_n_uses_admit_n_of_many_at_once(self):
        link = self.share("--uses", "5")
        visitors = [self.new_visitor() for _ in range(20)]
        with concurrent.futures.ThreadPoolExecutor(20) as pool:
            answers = list(pool.map(lambda visitor: visitor.post(link), visitors))
        self.assertEqual(sorted(answer.status for answer in answers), [303] * 5 + [410] * 15)
        self.assertEqual(self.uses(link), 5)


class OpenLinkTest(WebTest):
    def test_needs_no_login_and_sets_no_cookie(self):
        self.write("notes.txt")
        link = self.share()
        for target in ("/", "/notes.txt"):
            answer = self.visitor.get(link + target)
            self.assertEqual(answer.status, 200)
            self.assertIsNone(answer.header("Set-Cookie"))
        self.assertNotIn("Log out", self.visitor.get(link + "/").text())
        answer = self.visitor.post(link + "/", action="login")
        self.assertEqual((answer.status, answer.header("Set-Cookie")), (303, None))
        self.assertEqual(self.uses(link), 0)


class MissingTest(WebTest):
    def test_links_that_cannot_be_used_are_told_in_one_way(self):
        past, future = ("2020-01-01", "2099-01-01")
        links = ["/sharing/none", self.share("--expire", "1s"),
                 self.share("--start", future), self.share(project="photos")]
        disabled = self.share(password="x")
        self.command("edit", "--disable", self.hash_of(disabled))
        self.command("edit", "--expire", past, self.hash_of(links[1]))
        links.append(disabled)
        first = told(self.visitor.get(links[0]))
        self.assertEqual(first[0], 404)
        for link in links:
            for rest in ("", "/", "/x", "/?zip"):
                with self.subTest(link + rest):
                    self.assertEqual(told(self.new_visitor().get(link + rest)), first)
        for link in links:
            answer = self.new_visitor().post(link, password="x")
            self.assertEqual(told(answer), first)

    def test_link_of_an_account_that_is_gone_is_missing(self):
        missing = told(self.visitor.get("/sharing/none"))
        for owner in ("carol", "dave"):  # expired and locked
            with self.subTest(owner):
                self.assert_missing(missing, owner=owner)

    def test_link_without_a_usable_path_is_missing(self):
        missing = told(self.visitor.get("/sharing/none"))
        for app in ({"x": 1}, {"path": 1}, {"path": "relative"}, {"path": ""}):
            with self.subTest(app):
                self.assert_missing(missing, app=app)

    def test_folder_of_the_secrets_is_never_shared(self):
        for path in ("/", "/usr/vexo", "/usr/vexo/etc", str(PRIVATE)):
            with self.subTest(path):
                link = self.share(path=path, owner="root")
                self.assertEqual(self.visitor.get(link + "/").status, 404)

    def assert_missing(self, missing, **shared):
        always = ("--redirect-type", "always", "--redirect-uri", "https://other.example.org/")
        links = [self.share(*options, **shared, **more) for options, more in (
            ((), {}), ((), {"password": PASSWORD}), (always, {}), (("--uses", "2"), {}))]
        for link in links:
            for target in (link, link + "/", link + "/notes.txt"):
                self.assertEqual(told(self.visitor.get(target)), missing)
            self.assertEqual(told(self.visitor.post(link, password=PASSWORD)), missing)
        self.assertEqual(self.uses(links[-1]), 0)

    def test_shared_thing_that_is_gone_is_told_to_the_admitted_only(self):
        link = self.share(path=self.folder / "none", password=PASSWORD)
        self.assertEqual(self.visitor.get(link + "/").page, "login")
        self.log_in(link)
        answer = self.visitor.get(link + "/")
        self.assertEqual((answer.status, answer.page), (404, "missing"))


class GuessingTest(WebTest):
    def test_thirty_wrong_passwords_close_the_login_but_not_to_who_is_inside(self):
        link = self.share(password=PASSWORD)
        self.log_in(link)
        guessers = [self.new_visitor() for _ in range(6)]
        for index in range(30):
            self.assertEqual(guessers[index % 6].post(link, password="x").status, 401)
        answer = self.new_visitor().post(link, password=PASSWORD)
        self.assertEqual((answer.status, answer.page), (429, "blocked"))
        self.assertGreater(int(answer.header("Retry-After")), 0)
        self.assertEqual(self.visitor.get(link + "/").page, "folder")

    def test_blocked_address_is_told_so_everywhere(self):
        link, open_link = self.share(password=PASSWORD), self.share()
        inside = self.share(password="y")
        self.log_in(inside, password="y")
        for _ in range(10):
            self.visitor.post(link, password="x")
        for target in (link, open_link, "/sharing/none"):
            with self.subTest(target):
                answer = self.visitor.get(target)
                self.assertEqual((answer.status, answer.page), (429, "blocked"))
                self.assertGreater(int(answer.header("Retry-After")), 0)
        self.assertEqual(self.visitor.get(inside + "/").page, "folder")

    def test_unknown_links_count_as_failures_but_the_same_one_only_once(self):
        for _ in range(20):
            self.assertEqual(self.visitor.get("/sharing/one-dead-link").status, 404)
        for index in range(9):
            self.assertEqual(self.visitor.get(f"/sharing/guess{index}").status, 404)
        self.assertEqual(self.visitor.get("/sharing/last").status, 429)


@needs_program
class FailureTest(WebTest):
    def test_failing_database_is_no_missing_link(self):
        link = self.share()
        moved = DATABASE.with_suffix(".moved")
        os.rename(DATABASE, moved)
        self.addCleanup(os.rename, moved, DATABASE)
        DATABASE.mkdir()
        self.addCleanup(DATABASE.rmdir)
        answer = self.visitor.get(link + "/")
        self.assertEqual((answer.status, answer.page), (503, "error"))
        self.assertGreater(int(answer.header("Retry-After")), 0)

    def test_locked_database_is_no_missing_link(self):
        link = self.share(password=PASSWORD)
        with sqlite3.connect(DATABASE, isolation_level=None) as connection:
            connection.execute("BEGIN IMMEDIATE")
            answer = self.visitor.post(link, password=PASSWORD)
            connection.execute("ROLLBACK")
        connection.close()
        self.assertEqual((answer.status, answer.page), (503, "error"))
        self.assertIsNone(answer.header("Set-Cookie"))


@needs_program
class SecureTest(WebTest):
    CONFIGURATION = "/usr/vexo/etc/platform.conf"

    def is_secure(self, address="10.9.9.9", **more):
        visitor = Visitor(CgiTransport())
        visitor.address = address
        link = self.share(password="x")
        answer = visitor.send("POST", link, b"password=x", **more)
        self.assertEqual(answer.status, 303)
        return "Secure" in answer.header("Set-Cookie").split("; ")

    def trust(self, proxy):
        with open(self.CONFIGURATION, "w", encoding="utf-8") as file:
            file.write(f"trusted_proxies = {proxy}\n")
        self.addCleanup(os.unlink, self.CONFIGURATION)

    def test_cookie_is_secure_by_https(self):
        self.assertTrue(self.is_secure(HTTPS="on"))
        self.assertFalse(self.is_secure(HTTPS="off"))
        self.assertFalse(self.is_secure())

    def test_only_a_trusted_proxy_may_say_that_the_visitor_came_by_https(self):
        self.trust("10.8.0.0/16")
        for scheme, secure in (("https", True), ("HTTPS", True), ("http", False),
                               ("http, https", True), ("https, http", False)):
            with self.subTest(scheme):
                self.assertEqual(
                    self.is_secure("10.8.0.1", x_forwarded_proto=scheme), secure)
        self.assertFalse(self.is_secure("10.9.0.1", x_forwarded_proto="https"))

    def test_trusted_proxy_names_the_visitor(self):
        self.trust("10.8.0.1")
        link = self.share(password="x")
        blocked, other = Visitor(CgiTransport()), Visitor(CgiTransport())
        blocked.address = other.address = "10.8.0.1"
        for _ in range(10):
            blocked.post(link, password="wrong", headers={"x_forwarded_for": "198.51.100.7"})
        self.assertEqual(
            blocked.get(link, x_forwarded_for="198.51.100.7").status, 429)
        self.assertEqual(other.get(link, x_forwarded_for="198.51.100.8").status, 401)


if __name__ == "__main__":
    main()

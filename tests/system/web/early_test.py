"""Links that say when they can be opened."""

import time

from web_support import PASSWORD, Page, WebTest, main

START = "2099-12-31 12:00"


class EarlyTest(WebTest):
    def announced(self, *options, **more):
        app = {"path": str(self.folder), "announce": True, **more.pop("app", {})}
        return self.share("--start", START, "--expire", "never", *options, app=app, **more)

    def test_page_says_when(self):
        self.write("a.txt")
        link = self.announced()
        for path in (link, link + "/", link + "/a.txt", link + "/none", link + "/?zip"):
            answer = self.visitor.get(path)
            self.assertEqual((answer.status, answer.page), (403, "early"))
        (when,) = Page.read(answer).find("time")
        self.assertRegex(when[1]["datetime"], r"^2099-12-31T\d\d:00:00Z$")
        self.assertRegex(when[2], r"^2099-12-31 \d\d:00 UTC$")
        seconds = int(answer.header("Retry-After"))
        begin = time.mktime(time.strptime(START, "%Y-%m-%d %H:%M"))
        self.assertAlmostEqual(seconds, begin - time.time(), delta=86400)
        self.assertIsNone(answer.header("WWW-Authenticate"))

    def test_text_is_in_the_language_of_the_visitor(self):
        link = self.announced()
        texts = {Page.read(self.visitor.get(link, accept_language=language)).text("p")
                 for language in ("en", "de", "fr", "es", "zh", "ja")}
        self.assertEqual(len(texts), 6)
        for text in texts:
            self.assertIn("UTC", text)

    def test_nothing_else_of_the_link_is_shown(self):
        self.write("a.txt")
        plain = self.visitor.get(self.announced())
        locked = self.visitor.get(self.announced("--title", "Title", password=PASSWORD))
        self.assertEqual(plain.body, locked.body)
        self.assertNotIn("album", plain.text())
        head = self.visitor.head(self.announced() + "/a.txt", range="bytes=0-1")
        self.assertEqual((head.status, head.body), (403, b""))

    def test_login_is_answered_in_the_same_way(self):
        answer = self.visitor.post(self.announced(password=PASSWORD), password=PASSWORD)
        self.assertEqual((answer.status, answer.page, answer.header("Set-Cookie")),
                         (403, "early", None))

    def test_link_that_will_not_open_or_is_not_announced_is_missing(self):
        unknown = self.visitor.get("/sharing/none")
        links = [self.share("--start", START, "--expire", "never"),
                 self.announced(app={"announce": False}), self.announced(app={"announce": 1}),
                 self.announced(app={"path": "relative"}), self.announced(owner="carol"),
                 self.announced()]
        self.command("edit", "--disable", self.hash_of(links[-1]))
        for link in links:
            with self.subTest(link):
                answer = self.visitor.get(link)
                self.assertEqual((answer.status, answer.body), (404, unknown.body))
                self.assertEqual([name for name, _ in answer.headers],
                                 [name for name, _ in unknown.headers])

    def test_visits_count_as_no_guess(self):
        links = [self.announced() for _ in range(15)]
        for link in links:
            self.assertEqual(self.visitor.get(link).status, 403)

    def test_link_opens_at_its_start(self):
        link = self.announced()
        self.command("edit", "--start", "2001-01-01", self.hash_of(link))
        self.assertEqual(self.visitor.get(link + "/").page, "folder")


if __name__ == "__main__":
    main()

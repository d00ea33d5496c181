"""What the pages say, and how."""

import base64
import hashlib
import re

from web_support import PASSWORD, Page, WebTest, main, needs_program

LANGUAGES = ("en", "de", "fr", "es", "zh", "ja")


class PageTest(WebTest):
    def all_pages(self):
        """An answer for each kind of page."""
        self.write("sub/notes.txt")
        self.write("sub/none.bin")
        self.write("sub/a.png")
        link = self.share("--expire", "7d", "--uses", "5")
        self.log_in(link, action="login")
        used = self.share("--uses", "1")
        self.new_visitor().post(used)
        password = self.share(password=PASSWORD)
        users = self.share("--user", "alice")
        early = self.share("--start", "2099-01-01", "--expire", "never",
                           app={"path": str(self.folder), "announce": True})
        guesser = self.new_visitor()
        for _ in range(10):
            guesser.post(password, password="x")
        get = self.visitor.get
        return [
            ("folder", get(link + "/")), ("folder", get(link + "/sub/?q=a&sort=size")),
            ("folder", get(link + "/sub/?view=grid&sort=time")),
            ("file", get(link + "/sub/notes.txt?view")), ("file", get(link + "/sub/a.png?view")),
            ("file", get(link + "/sub/none.bin?view")), ("missing", get(link + "/none")),
            ("missing", get("/sharing/none")), ("login", get(password)),
            ("login", self.visitor.post(password, password="x")), ("login", get(users)),
            ("open", self.new_visitor().get(link)), ("used-up", get(used)), ("early", get(early)),
            ("blocked", guesser.get(password)), ("error", get(link + "/?q=%zz")),
            ("refused", self.visitor.post(password, headers={"origin": "null"}))]

    def test_every_page_has_a_kind_a_language_a_title_and_one_heading(self):
        for kind, answer in self.all_pages():
            with self.subTest(kind):
                page = Page.read(answer)
                self.assertEqual(answer.page, kind)
                self.assertEqual(page.find("html")[0][1]["lang"], "en")
                self.assertTrue(page.text("title").strip())
                self.assertEqual(len(page.find("h1")), 1)
                self.assertEqual(len(page.find("main")), 1)
                self.assertEqual(len(page.find("style")), 1)
                for name in ("iframe", "object", "embed"):
                    self.assertEqual(page.find(name), [])
                body = answer.text().partition("</head>")[2]
                self.assertIsNone(re.search(r'(href|src)="(https?:)?//', answer.text()))
                self.assertIsNone(re.search(r"\{\{|\}\}|\x01", body))

    def test_only_pages_of_content_have_a_script_and_their_policy_names_it(self):
        for kind, answer in self.all_pages():
            with self.subTest(kind):
                # Some servers answer an invalid address themselves.
                policy = answer.header("Content-Security-Policy") or ""
                scripts = [script[2] for script in Page.read(answer).find("script")]
                if kind not in ("folder", "file"):
                    self.assertEqual(scripts, [])
                    self.assertNotIn("script-src", policy)
                    continue
                (script,) = scripts
                digest = base64.b64encode(hashlib.sha256(script.encode()).digest()).decode()
                self.assertEqual(policy.count("script-src"), 1)
                self.assertIn(f"; script-src 'sha256-{digest}'; ", policy)

    @needs_program  # a server checks the host, and sets HTTPS
    def test_page_has_the_address_of_the_link_and_its_code(self):
        path = self.write("sub/a.txt")
        link, file_link = self.share(), self.share(path=path)
        for hash_path, rest in ((link, "/"), (link, "/sub/"), (link, "/sub/a.txt?view"),
                                (file_link, "/")):
            for https in ("https", "http"):
                page = Page.read(self.visitor.get(
                    hash_path + rest, host="files.example.org:8080",
                    **({"HTTPS": "on"} if https == "https" else {})))
                self.assertEqual(page.find("input", id="address")[0][1]["value"],
                                 f"{https}://files.example.org:8080{hash_path}")
                self.assertEqual(len(page.find("svg")), 1)
                self.assertIn("hidden", page.find("button", id="copy")[0][1])

    @needs_program
    def test_address_of_a_host_that_is_none_is_not_shown(self):
        answer = self.visitor.get(self.share() + "/", host="x/\"><b>")
        self.assertEqual((answer.status, Page.read(answer).find("input", id="address")),
                         (200, []))

    def test_every_field_has_a_label_and_every_id_is_there_once(self):
        for kind, answer in self.all_pages():
            with self.subTest(kind):
                page = Page.read(answer)
                labels = [label[1]["for"] for label in page.find("label")]
                ids = [element[1]["id"] for element in page.elements if "id" in element[1]]
                self.assertEqual(len(ids), len(set(ids)))
                for field in page.find("input"):
                    if field[1].get("type") != "hidden":
                        self.assertTrue(field[1].get("id") in labels or
                                        field[1].get("aria-label"))

    def test_folder_tells_who_shares_until_when_and_how_to_log_out(self):
        link = self.share("--expire", "2099-12-31 12:00", "--uses", "3")
        self.log_in(link, action="login")
        answer = self.visitor.get(link + "/")
        text = re.sub(r"\s+", " ", Page.read(answer).text("header"))
        self.assertIn("Shared by alice", text)
        self.assertIn("Available until 2099-12-31", text)
        self.assertIn("2 uses left", text)
        self.assertTrue(Page.read(answer).find("button", name="action", value="logout"))

    def test_heading_is_the_title_or_the_shared_name(self):
        self.write("sub/x")
        titled = self.share("--title", "Holidays & more")
        for link, heading in ((self.share(), "album"), (titled, "Holidays & more")):
            page = Page.read(self.visitor.get(link + "/"))
            self.assertEqual(page.text("h1"), heading)
            self.assertEqual(page.text("title"), heading)
        page = Page.read(self.visitor.get(titled + "/sub/"))
        self.assertEqual(page.text("h1"), "sub")
        crumbs = [(link[1]["href"], link[2]) for link in page.find("a")
                  if link[1]["href"] == "../"]
        self.assertEqual(crumbs, [("../", "Holidays & more")])

    def test_crumbs_lead_to_the_folders_above(self):
        self.write("a/b/c/file.txt")
        link = self.share()
        page = Page.read(self.visitor.get(link + "/a/b/c/"))
        crumbs = [(item[1]["href"], item[2]) for item in page.find("a")[:3]]
        self.assertEqual(crumbs, [("../../../", "album"), ("../../", "a"), ("../", "b")])
        page = Page.read(self.visitor.get(link + "/a/b/c/file.txt?view"))
        crumbs = [(item[1]["href"], item[2]) for item in page.find("a")[:4]]
        self.assertEqual(crumbs, [("../../../", "album"), ("../../", "a"), ("../", "b"),
                                  ("./", "c")])

    def test_names_are_escaped_everywhere(self):
        name = "<b>&\"'\u202e\x01.txt"
        self.write(f"{name}/{name}")
        link = self.share("--title", "<i>&amp;")
        shown = "<b>&\"'[U+202E][U+0001].txt"
        page = Page.read(self.visitor.get(link + "/"))
        self.assertEqual(page.text("h1"), "<i>&amp;")
        self.assertEqual(page.find("bdi")[-1][2], shown)
        href = page.find("tr", data_kind="folder") and page.rows()[0][2][2:]
        page = Page.read(self.visitor.get(f"{link}/{href}"))
        self.assertEqual(page.text("h1"), shown)
        self.assertEqual(page.text("title"), shown)
        page = Page.read(self.visitor.get(f"{link}/{href}{page.rows()[0][2][2:]}?view"))
        self.assertEqual(page.text("title"), shown)

    def test_bytes_that_are_no_text_are_shown_as_replacement_characters(self):
        self.write(b"bad\xff.txt")
        page = Page.read(self.visitor.get(self.share() + "/"))
        self.assertEqual(page.find("bdi")[-1][2], "bad\ufffd.txt")

    def test_text_preview_is_escaped_and_limited(self):
        self.write("a.txt", b"<script>&\n\x00\xff\x1b[0m")
        link = self.share()
        page = Page.read(self.visitor.get(link + "/a.txt?view"))
        self.assertEqual(page.text("pre").strip("\n"), "<script>&\n\ufffd\ufffd\ufffd[0m")
        self.assertEqual(len(page.find("script")), 1)  # that of the page
        self.write("long.txt", b"\"<" * (1 << 20))
        answer = self.visitor.get(link + "/long.txt?view")
        self.assertIn("Only the beginning", answer.text())
        self.assertEqual(len(Page.read(answer).text("pre").strip("\n")), 1 << 20)

    def test_preview_uses_the_element_of_its_kind(self):
        for name, tag in (("a.png", "img"), ("a.mp3", "audio"), ("a.mp4", "video"),
                          ("a.pdf", "iframe")):
            with self.subTest(name):
                self.write(name)
                page = Page.read(self.visitor.get(self.share() + f"/{name}?view"))
                self.assertEqual(page.find(tag)[0][1]["src"], f"./{name}")

    def test_hundred_files_fit_in_60_kB(self):
        for index in range(100):
            self.write(f"photograph_of_our_holidays_{index:04}.jpg")
        self.assertLess(len(self.visitor.get(self.share() + "/").body), 60000)

    def test_ten_thousand_files_are_listed(self):
        for index in range(10000):
            (self.folder / f"file{index}").touch()
        self.assertIn("10000 files", self.visitor.get(self.share() + "/").text())


class LanguageTest(WebTest):
    def language(self, accepted):
        answer = self.visitor.get("/sharing/none", accept_language=accepted)
        self.assertEqual(Page.read(answer).find("html")[0][1]["lang"],
                         answer.header("Content-Language"))
        return answer.header("Content-Language")

    def test_language_with_the_highest_weight_is_chosen(self):
        for accepted, language in (
                (None, "en"), ("de", "de"), ("de-CH, en;q=0.8", "de"), ("pt, fr;q=0.5", "fr"),
                ("en;q=0.2, ja;q=0.9, de;q=0.5", "ja"), ("ZH-hans", "zh"), ("xx, *", "en"),
                ("de;q=0, fr;q=0.1", "fr"), ("pt, nl", "en"), ("es;q=1.000", "es"),
                ("de;q=x, fr;q=0.1", "fr"), (";;,,=", "en"), ("de" * 3000, "en")):
            with self.subTest(accepted):
                self.assertEqual(self.language(accepted), language)

    def test_each_language_has_its_texts(self):
        headings = {Page.read(self.visitor.get("/sharing/none", accept_language=name)
                              ).text("h1") for name in LANGUAGES}
        self.assertEqual(len(headings), len(LANGUAGES))
        self.assertIn("見つかりません", headings)

    def test_numbers_follow_the_language(self):
        self.write("a.bin", b"x" * 1500)
        link = self.share()
        self.assertIn("1.5 kB", self.visitor.get(link + "/").text())
        german = self.visitor.get(link + "/", accept_language="de").text()
        self.assertIn("1,5 kB", german)
        self.assertIn("1 Datei,", german)


if __name__ == "__main__":
    main()

"""The text below the listing of a folder."""

import os

from web_support import Page, WebTest, main


class ReadmeTest(WebTest):
    def readme(self, query=""):
        """The page, and the text below the listing or None."""
        page = Page.read(self.visitor.get(self.share() + "/" + query))
        sections = page.find("section", id="readme")
        return page, sections[0][2].strip() if sections else None

    def test_text_is_below_the_listing(self):
        self.write("README.md", b"# Our *holidays*\n\n[all](sub/) <b>bold</b>\n")
        self.write("sub/a.txt")
        page, text = self.readme()
        self.assertEqual(text, "Our holidaysall <b>bold</b>")
        self.assertEqual(page.find("section")[0][1]["aria-label"], "README.md")
        self.assertEqual((page.text("h1"), page.text("h2")), ("album", "Our holidays"))
        self.assertEqual(page.find("a", href="./sub/")[-1][2], "all")
        self.assertEqual(page.find("b"), [])

    def test_name_in_small_letters_counts_unless_there_is_the_other(self):
        self.write("readme.md", b"small")
        self.assertEqual(self.readme()[1], "small")
        self.write("README.md", b"large")
        self.assertEqual(self.readme()[1], "large")

    def test_other_names_and_kinds_have_no_text(self):
        self.write("Readme.md")
        self.write("README.txt")
        os.mkfifo(self.folder / "readme.md")
        self.assertIsNone(self.readme()[1])

    def test_folder_with_the_name_does_not_count(self):
        self.write("README.md/a.txt")
        self.write("readme.md", b"text")
        self.assertEqual(self.readme()[1], "text")

    def test_text_of_a_folder_below_may_link_to_the_folder_above(self):
        self.write("sub/README.md", b"[up](../a.txt) [out](../../a.txt)")
        page = Page.read(self.visitor.get(self.share() + "/sub/"))
        self.assertEqual([link[1]["href"] for link in page.find("a") if link[2] in ("up", "out")],
                         ["./../a.txt"])

    def test_search_and_other_pages_have_no_text(self):
        self.write("README.md", b"text")
        self.assertIsNone(self.readme("?q=m")[1])

    def test_text_outside_or_not_for_the_owner_is_not_read(self):
        secret = self.folder.parent / "secret.md"
        secret.write_bytes(b"secret")
        os.symlink(secret, self.folder / "README.md")
        self.assertIsNone(self.readme()[1])
        os.unlink(self.folder / "README.md")
        self.write("README.md").chmod(0o600)  # of root
        self.assertIsNone(self.readme()[1])

    def test_text_is_not_shown_to_strangers(self):
        self.write("README.md", b"content of the text")
        answer = self.visitor.get(self.share(password="x") + "/")
        self.assertNotIn("content of the text", answer.text())

    def test_large_file_is_not_shown(self):
        self.write("README.md", b"x" * (256 << 10))
        self.assertEqual(len(self.readme()[1]), 256 << 10)
        self.write("README.md", b"x" * ((256 << 10) + 1))
        self.assertIsNone(self.readme()[1])

    def test_text_that_would_become_too_long_is_cut(self):
        self.write("README.md", b"&" * (256 << 10))
        page, text = self.readme()
        self.assertIn("Only the beginning of this text is shown.", text)
        self.assertTrue(page.find("main"))

    def test_bytes_that_are_no_text_are_replaced(self):
        self.write("README.md", b"\xef\xbb\xbfa\xff\x01b &#1; &#x202e;")
        self.assertEqual(self.readme()[1], "a\ufffd\ufffdb \ufffd \u202e")


if __name__ == "__main__":
    main()

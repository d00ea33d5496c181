"""Selected entries of a folder as zip, and the search in subfolders."""

import io
import json
import os
import urllib.parse
import zipfile

from web_support import PASSWORD, Page, WebTest, main


class SelectionTest(WebTest):
    def setUp(self):
        super().setUp()
        for name in ("a.txt", "b.txt", "c & d.txt", "sub/e.txt", "sub/f/g.txt", ".hidden"):
            self.write(name, name.encode())
        self.link = self.share()

    def zip_names(self, *names, folder="/"):
        query = urllib.parse.urlencode([("zip", ""), *(("name", name) for name in names)])
        answer = self.visitor.get(f"{self.link}{folder}?{query}")
        with zipfile.ZipFile(io.BytesIO(answer.body)) as archive:
            self.assertIsNone(archive.testzip())
            return sorted(archive.namelist())

    def test_only_the_named_entries_are_in_the_zip(self):
        self.assertEqual(self.zip_names("c & d.txt", "a.txt", "a.txt"),
                         ["album/", "album/a.txt", "album/c & d.txt"])
        self.assertEqual(self.zip_names("sub"),
                         ["album/", "album/sub/", "album/sub/e.txt", "album/sub/f/",
                          "album/sub/f/g.txt"])
        self.assertEqual(self.zip_names("f", folder="/sub/"),
                         ["sub/", "sub/f/", "sub/f/g.txt"])

    def test_name_of_an_entry_is_not_looked_for_further_below(self):
        self.write("sub/a.txt")
        self.assertEqual(self.zip_names("a.txt"), ["album/", "album/a.txt"])

    def test_linked_folder_is_not_entered(self):
        os.symlink("sub", self.folder / "linked")
        self.assertEqual(self.zip_names("linked", "a.txt"), ["album/", "album/a.txt"])

    def test_every_name_must_be_an_entry_of_the_folder(self):
        secret = self.folder.parent / "secret.txt"
        secret.write_bytes(b"secret")
        os.symlink(secret, self.folder / "out")
        for name in ("none", "sub/e.txt", "sub/", "/a.txt", "", ".", "..", "../secret.txt",
                     str(secret), ".hidden", "out", "A.TXT"):
            with self.subTest(name):
                for rest in ("/", "/sub/../", "/sub/"):
                    query = urllib.parse.urlencode([("zip", ""), ("name", "a.txt"),
                                                    ("name", name)])
                    answer = self.visitor.get(f"{self.link}{rest}?{query}")
                    self.assertEqual((answer.status, answer.page), (404, "missing"))

    def test_many_names_fit_into_an_address(self):
        names = [f"{index:x}" for index in range(900)]
        for name in names:
            self.write("many/" + name)
        self.assertEqual(len(self.zip_names(*names, folder="/many/")), 901)
        self.assertEqual(self.visitor.get(self.link + "/?zip" + "&name=" * 1000).status, 400)

    def test_form_of_the_page_makes_the_request(self):
        page = Page.read(self.visitor.get(self.link + "/"))
        boxes = [box[1] for box in page.find("input", type="checkbox", name="name")]
        self.assertEqual([box["value"] for box in boxes],
                         ["sub", "a.txt", "b.txt", "c & d.txt"])
        self.assertEqual(boxes[0]["aria-label"], "Select sub")
        (button,) = page.find("button", name="zip")
        query = urllib.parse.urlencode([("name", "a.txt"), ("zip", button[1]["value"])])
        answer = self.visitor.get(f"{self.link}/?{query}")
        self.assertEqual(answer.header("Content-Type"), "application/zip")

    def test_form_without_a_selection_shows_the_folder_again(self):
        self.assertEqual(self.visitor.get(self.link + "/?zip=selected").page, "folder")

    def test_name_that_a_form_cannot_send_has_no_box(self):
        for name in (b"bad\xff", b"new\nline", "ü\u202e".encode(), "ü".encode()):
            self.write(b"odd/" + name)
        page = Page.read(self.visitor.get(self.link + "/odd/"))
        self.assertEqual([box[1]["value"] for box in page.find("input", name="name")], ["ü"])

    def test_strangers_learn_nothing(self):
        link = self.share(password=PASSWORD)
        there, absent = (self.visitor.get(f"{link}/?zip&name={name}")
                         for name in ("a.txt", "none"))
        self.assertEqual((there.status, there.body), (401, absent.body))


class SearchBelowTest(WebTest):
    def setUp(self):
        super().setUp()
        for name in ("photo.jpg", "a/Photo 1.jpg", "a/b/photos/x.txt", "a/other.txt",
                     ".hidden/photo.jpg", "a/b/.photo"):
            self.write(name, name.encode())
        self.link = self.share()

    def page(self, query, folder="/"):
        return Page.read(self.visitor.get(f"{self.link}{folder}?{query}"))

    def test_entries_of_all_folders_below_are_found(self):
        page = self.page("q=PHOTO&below")
        self.assertEqual(page.names(), ["a/b/photos/", "a/Photo 1.jpg", "photo.jpg"])
        self.assertIn("a/Photo 1.jpg", [name[2] for name in page.find("bdi")])
        self.assertEqual(self.page("q=photo&below", "/a/").names(),
                         ["b/photos/", "Photo 1.jpg"])

    def test_rows_lead_to_the_entries(self):
        for kind, _, href in self.page("q=photo&below").rows():
            answer = self.visitor.get(self.link + "/" + href[2:])
            self.assertEqual(answer.status, 200)
            if kind == "file":
                self.assertEqual(answer.body.decode(), urllib.parse.unquote(href[2:]))

    def test_without_below_only_the_folder_is_searched(self):
        self.assertEqual(self.page("q=photo").names(), ["photo.jpg"])

    def test_below_without_a_text_is_the_folder(self):
        self.assertEqual(self.page("q=&below").names(), ["a/", "photo.jpg"])

    def test_links_of_the_page_and_its_form_keep_below(self):
        for index in range(501):
            self.write(f"many/photo{index}")
        page = self.page("q=photo&below=")
        (following,) = page.find("a", rel="next")
        self.assertEqual(len(self.page(following[1]["href"][1:]).rows()), 4)
        (size,) = [a for a in page.find("a") if a[2] == "Size"]
        self.assertEqual(len(self.page(size[1]["href"][1:]).rows()), 500)
        self.assertIn("checked", page.find("input", name="below")[0][1])
        self.assertNotIn("checked", self.page("q=x").find("input", name="below")[0][1])
        self.assertEqual(page.find("input", name="name"), [])

    def test_linked_folders_are_not_entered(self):
        os.symlink("a", self.folder / "photo link")
        os.symlink("..", self.folder / "a" / "up")
        self.assertEqual(self.page("q=photo&below").names(),
                         ["a/b/photos/", "photo link/", "a/Photo 1.jpg", "photo.jpg"])

    def test_nothing_outside_or_not_for_the_owner_is_found(self):
        outside = self.folder.parent / "outside"
        outside.mkdir()
        (outside / "photo secret").touch()
        os.symlink(outside, self.folder / "a" / "out")
        self.write("closed/photo secret")
        (self.folder / "closed").chmod(0o700)  # of root
        self.assertEqual(self.page("q=secret&below").names(), [])

    def test_json_has_the_paths(self):
        listing = json.loads(self.visitor.get(self.link + "/?json&q=photo&below").text())
        self.assertEqual([(entry["name"], entry["url"]) for entry in listing["entries"]],
                         [("a/b/photos", "./a/b/photos/"),
                          ("a/Photo 1.jpg", "./a/Photo%201.jpg"), ("photo.jpg", "./photo.jpg")])
        self.assertEqual(listing["below"], True)

    def test_long_paths_are_left_out_and_reported(self):
        folder = "/".join(["n" * 240] * 4)
        self.write(folder + "/" + "photo".ljust(60, "x"))  # a path of 1,024 bytes
        self.write(folder + "/" + "photo".ljust(61, "x"))
        answer = self.visitor.get(self.link + "/?q=photo&below")
        self.assertEqual(len(Page.read(answer).rows()), 4)
        self.assertIn("There are too many entries to search all of them.", answer.text())

    def test_what_is_too_deep_is_reported(self):
        self.write("/".join(["d"] * 65) + "/photo.jpg")
        answer = self.visitor.get(self.link + "/?q=photo&below")
        self.assertEqual(len(Page.read(answer).rows()), 3)
        self.assertIn("There are too many entries to search all of them.", answer.text())
        self.assertNotIn("too many entries", self.visitor.get(self.link + "/?q=p").text())


if __name__ == "__main__":
    main()

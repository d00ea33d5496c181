"""Files and folders for those who are admitted."""

import email
import io
import os
import re
import urllib.parse
import zipfile

from fastcgi_support import wait_until
from web_support import (AS_SYSTEM, PASSWORD, CgiTransport, Page, Visitor, WebTest, main,
                         needs_program)

FILE_POLICY = "default-src 'none'; style-src 'unsafe-inline'; sandbox"


class FileTest(WebTest):
    def setUp(self):
        super().setUp()
        self.path = self.write("notes.txt", b"0123456789")
        self.link = self.share()
        self.url = self.link + "/notes.txt"

    def test_file_is_sent_with_its_headers(self):
        answer = self.visitor.get(self.url)
        self.assertEqual((answer.status, answer.body), (200, b"0123456789"))
        self.assertEqual(answer.header("Content-Type"), "text/plain; charset=utf-8")
        self.assertEqual(answer.header("Content-Length"), "10")
        self.assertEqual(answer.header("Accept-Ranges"), "bytes")
        self.assertEqual(answer.header("Content-Security-Policy"), FILE_POLICY)
        self.assertRegex(answer.header("ETag"), '^"[^"]+"$')
        self.assertRegex(answer.header("Content-Disposition"), "^inline; ")

    def test_file_of_an_open_link_may_be_kept_and_no_other(self):
        self.assertEqual(self.visitor.get(self.url).header("Cache-Control"),
                         "private, no-cache")
        link = self.share(password=PASSWORD)
        self.log_in(link)
        self.assertEqual(self.visitor.get(link + "/notes.txt").header("Cache-Control"),
                         "no-store")

    def test_download_is_an_attachment(self):
        answer = self.visitor.get(self.url + "?download")
        self.assertRegex(answer.header("Content-Disposition"), "^attachment; ")
        self.assertEqual(answer.header("Content-Type"), "text/plain; charset=utf-8")

    def test_what_a_browser_could_run_is_an_attachment_of_unknown_type(self):
        for name in ("a.html", "a.htm", "a.xhtml", "a.svg", "a.xml", "a.js", "a.mjs",
                     "a.pdf.html", "a.swf", "a.unknown", "noname", "a.HTML"):
            with self.subTest(name):
                self.write(name, b"<script>alert(1)</script>")
                answer = self.visitor.get(f"{self.link}/{name}")
                self.assertIn(answer.header("Content-Type"),
                              ("application/octet-stream", "text/plain; charset=utf-8"))
                if answer.header("Content-Type") == "application/octet-stream":
                    self.assertRegex(answer.header("Content-Disposition"), "^attachment; ")

    def test_pictures_and_documents_are_shown(self):
        for name, kind in (("a.png", "image/png"), ("a.JPG", "image/jpeg"),
                           ("a.mp4", "video/mp4"), ("a.flac", "audio/flac"),
                           ("a.pdf", "application/pdf")):
            with self.subTest(name):
                self.write(name)
                answer = self.visitor.get(f"{self.link}/{name}")
                self.assertEqual(answer.header("Content-Type"), kind)
                self.assertRegex(answer.header("Content-Disposition"), "^inline; ")

    def test_only_a_pdf_may_be_framed_by_our_pages(self):
        self.write("a.pdf")
        policy = self.visitor.get(self.link + "/a.pdf").header("Content-Security-Policy")
        self.assertEqual(policy, FILE_POLICY + "; frame-ancestors 'self'")
        download = self.visitor.get(self.link + "/a.pdf?download")
        self.assertEqual(download.header("Content-Security-Policy"), FILE_POLICY)

    def test_player_of_a_browser_may_load_audio_and_video_but_run_nothing(self):
        for name in ("a.mp3", "a.mp4"):
            self.write(name)
            policy = self.visitor.get(f"{self.link}/{name}").header("Content-Security-Policy")
            self.assertEqual(policy, "default-src 'none'; style-src 'unsafe-inline'; "
                                     "sandbox allow-same-origin; media-src 'self'")

    def test_disposition_has_the_name_in_two_forms(self):
        name = 'a "ü"\u202e\n.bin'
        self.write(name)
        value = self.visitor.get(
            self.link + "/" + urllib.parse.quote(name)).header("Content-Disposition")
        self.assertNotRegex(value, "[^ -~]")
        extended = re.search(r"filename\*=UTF-8''([^;]+)$", value).group(1)
        self.assertEqual(urllib.parse.unquote(extended), 'a "ü"__.bin')

    def test_ranges_are_served_rejected_or_ignored(self):
        for header, status, body, content_range in (
                ("bytes=2-4", 206, b"234", "bytes 2-4/10"),
                ("bytes=7-", 206, b"789", "bytes 7-9/10"),
                ("bytes=-3", 206, b"789", "bytes 7-9/10"),
                ("bytes=8-99", 206, b"89", "bytes 8-9/10"),
                ("bytes=10-", 416, b"", "bytes */10"),
                ("bytes=-0", 416, b"", "bytes */10"),
                ("lines=1-2", 200, b"0123456789", None),
                ("bytes=4-2", 200, b"0123456789", None),
                ("bytes=x", 200, b"0123456789", None),
                ("bytes=0-4,2-6", 200, b"0123456789", None),
                ("bytes=" + ",".join(["0-0"] * 17), 200, b"0123456789", None)):
            with self.subTest(header):
                answer = self.visitor.get(self.url, range=header)
                self.assertEqual((answer.status, answer.body), (status, body))
                self.assertEqual(answer.header("Content-Range"), content_range)
                self.assertEqual(answer.header("Accept-Ranges"),
                                 "none" if status == 200 else "bytes")

    def test_range_of_a_head_request_is_ignored(self):
        answer = self.visitor.head(self.url, range="bytes=0-1")
        self.assertEqual((answer.status, answer.header("Content-Length")), (200, "10"))
        self.assertEqual(answer.header("Accept-Ranges"), "bytes")

    def test_several_ranges_come_in_parts(self):
        answer = self.visitor.get(self.url, range="bytes=0-1, 4-5,-1")
        self.assertEqual(answer.status, 206)
        self.assertEqual(int(answer.header("Content-Length")), len(answer.body))
        kind = answer.header("Content-Type")
        message = email.message_from_bytes(
            f"Content-Type: {kind}\r\n\r\n".encode() + answer.body)
        parts = [(part["Content-Range"], part["Content-Type"],
                  part.get_payload(decode=True)) for part in message.get_payload()]
        text = "text/plain; charset=utf-8"
        self.assertEqual(parts, [("bytes 0-1/10", text, b"01"), ("bytes 4-5/10", text, b"45"),
                                 ("bytes 9-9/10", text, b"9")])

    def test_conditions_select_content_304_or_412(self):
        first = self.visitor.get(self.url)
        tag, changed = first.header("ETag"), first.header("Last-Modified")
        early = "Sun, 06 Nov 1994 08:49:37 GMT"
        for headers, status in (
                ({"if_none_match": tag}, 304), ({"if_none_match": f'"x", {tag}'}, 304),
                ({"if_none_match": "*"}, 304), ({"if_none_match": '"x"'}, 200),
                ({"if_modified_since": changed}, 304), ({"if_modified_since": early}, 200),
                ({"if_none_match": '"x"', "if_modified_since": changed}, 200),
                ({"if_match": tag}, 200), ({"if_match": '"x"'}, 412),
                ({"if_unmodified_since": early}, 412),
                ({"if_match": tag, "if_unmodified_since": early}, 200),
                ({"range": "bytes=0-1", "if_range": tag}, 206),
                ({"range": "bytes=0-1", "if_range": '"x"'}, 200),
                ({"range": "bytes=0-1", "if_range": early}, 200)):
            with self.subTest(headers):
                answer = self.visitor.get(self.url, **headers)
                self.assertEqual(answer.status, status)
                self.assertEqual(answer.header("ETag"), tag)
                if status in (304, 412):
                    self.assertEqual(answer.body, b"")

    def test_tag_changes_within_a_second(self):
        def tag_after(content):
            self.path.write_bytes(content)
            os.utime(self.path, (1, 1))
            return self.visitor.get(self.url).header("ETag")

        first = tag_after(b"0123456789")
        # The kernel's clock may be the same for two writes.
        wait_until(lambda: tag_after(b"9876543210") != first)

    def test_large_file_is_sent_whole(self):
        content = os.urandom(3 << 20)
        self.write("large.bin", content)
        self.assertEqual(self.visitor.get(self.link + "/large.bin").body, content)
        answer = self.visitor.get(self.link + "/large.bin", range="bytes=1000-2500000")
        self.assertEqual(answer.body, content[1000:2500001])


class FileLinkTest(WebTest):
    def setUp(self):
        super().setUp()
        self.path = self.write("photo.png", b"picture")
        self.write("photo.png.secret")
        self.write("neighbour.txt")
        self.link = self.share(path=self.path)

    def test_root_is_the_page_of_the_file(self):
        answer = self.visitor.get(self.link + "/")
        self.assertEqual((answer.status, answer.page), (200, "file"))
        page = Page.read(answer)
        self.assertEqual(page.text("h1"), "photo.png")
        self.assertEqual(page.find("img")[0][1]["src"], "./photo.png")

    def test_download_of_the_root_is_the_file(self):
        answer = self.visitor.get(self.link + "/?download")
        self.assertEqual((answer.status, answer.body), (200, b"picture"))
        self.assertRegex(answer.header("Content-Disposition"), "^attachment; ")

    def test_file_itself_is_below_the_root(self):
        answer = self.visitor.get(self.link + "/photo.png")
        self.assertEqual((answer.status, answer.body), (200, b"picture"))
        self.assertRegex(answer.header("Content-Disposition"), "^inline; ")

    def test_neighbours_are_missing(self):
        for rest in ("/neighbour.txt", "/photo.png.secret", "/photo.png/", "/../neighbour.txt",
                     "/%2e%2e/neighbour.txt", "/..%2fneighbour.txt", "/photo.png/x"):
            with self.subTest(rest):
                self.assertIn(self.visitor.get(self.link + rest).status, (400, 404))

    def test_zip_of_a_file_is_its_page(self):
        self.assertEqual(self.visitor.get(self.link + "/?zip").page, "file")


class OutsideTest(WebTest):
    def setUp(self):
        super().setUp()
        self.write("inside.txt")
        self.secret = self.folder.parent / "secret.txt"
        self.secret.write_bytes(b"secret")
        sibling = self.folder.parent / "album2"
        sibling.mkdir()
        (sibling / "secret.txt").write_bytes(b"secret")
        self.link = self.share()

    def test_no_spelling_leads_outside(self):
        hidden = self.share(app={"path": str(self.folder), "hidden": True})
        for rest in ("/../secret.txt", "/%2e%2e/secret.txt", "/..%2fsecret.txt",
                     "/%252e%252e/secret.txt", "/..\\secret.txt", "/..%5csecret.txt",
                     "/%c0%ae%c0%ae/secret.txt", "/./../secret.txt", "/sub/../../secret.txt",
                     "/%2e./secret.txt", "2/secret.txt", "/../album2/secret.txt",
                     "//etc/passwd", "/%2fetc/passwd", "/.%2e/secret.txt",
                     f"/{self.secret}", f"/{urllib.parse.quote(str(self.secret), safe='')}"):
            for link in (self.link, hidden):
                for query in ("", "?download", "?view", "?zip"):
                    with self.subTest(rest + query):
                        answer = self.visitor.get(link + rest + query)
                        self.assertIn(answer.status, (400, 404))
                        self.assertNotIn(b"secret", answer.body)

    def test_links_that_lead_out_are_missing_everywhere(self):
        for name, target in (("out", "../secret.txt"), ("far", "/etc/passwd"),
                             ("folder", "../album2"), ("proc", "/proc/self/fd"),
                             ("loop", "loop")):
            os.symlink(target, self.folder / name)
        os.symlink("inside.txt", self.folder / "good")
        self.assertEqual(self.visitor.get(self.link + "/good").status, 200)
        for rest in ("/out", "/far", "/folder/", "/folder/secret.txt", "/proc/0", "/loop",
                     "/out?download", "/out?view", "/folder/?zip"):
            with self.subTest(rest):
                self.assertEqual(self.visitor.get(self.link + rest).status, 404)
        self.assertEqual(sorted(Page.read(self.visitor.get(self.link + "/")).names()),
                         ["good", "inside.txt"])
        data = self.visitor.get(self.link + "/?zip").body
        self.assertNotIn(b"secret", data)

    def test_only_files_and_folders_are_opened(self):
        os.mkfifo(self.folder / "fifo")
        os.mknod(self.folder / "device", 0o20666, os.makedev(1, 5))
        for name in ("fifo", "device"):
            self.assertEqual(self.visitor.get(f"{self.link}/{name}").status, 404)
        self.assertEqual(Page.read(self.visitor.get(self.link + "/")).names(), ["inside.txt"])

    def test_hidden_names_are_missing_unless_the_link_shows_them(self):
        self.write(".hidden/a.txt")
        shown = self.share(app={"path": str(self.folder), "hidden": True})
        for rest in ("/.hidden/", "/.hidden/a.txt", "/%2ehidden/a.txt"):
            self.assertEqual(self.visitor.get(self.link + rest).status, 404)
            self.assertEqual(self.visitor.get(shown + rest).status, 200)
        self.assertNotIn(".hidden", Page.read(self.visitor.get(self.link + "/")).names())
        self.assertIn(".hidden/", Page.read(self.visitor.get(shown + "/")).names())

    def test_what_the_owner_may_not_read_is_missing(self):
        path = self.write("private.txt")
        path.chmod(0o600)  # of root
        self.assertEqual(self.visitor.get(self.link + "/private.txt").status, 404)


class RightsTest(WebTest):
    """The two accounts that the program may have."""

    @needs_program
    def test_root_reads_what_the_owner_may_read_and_the_system_account_does_not(self):
        path = self.write("private.txt")
        os.chown(path, 5001, 5001)
        path.chmod(0o600)
        link = self.share()
        as_root = Visitor(CgiTransport(user=0, group=0, extra_groups=[]))
        as_system = Visitor(CgiTransport(**AS_SYSTEM))
        self.assertEqual(as_root.get(link + "/private.txt").status, 200)
        self.assertEqual(as_system.get(link + "/private.txt").status, 404)


class ZipTest(WebTest):
    def test_zip_contains_all_files_and_folders(self):
        self.write("a.txt", b"a")
        self.write("sub/ü.txt", b"u")
        (self.folder / "empty").mkdir()
        os.utime(self.folder / "a.txt", (1000000000, 1000000000))
        link = self.share()
        answer = self.visitor.get(link + "/?zip")
        self.assertEqual(answer.header("Content-Type"), "application/zip")
        self.assertEqual(answer.header("Accept-Ranges"), "none")
        self.assertEqual(answer.header("Cache-Control"), "no-store")
        self.assertIn('attachment; filename="album.zip"',
                      answer.header("Content-Disposition"))
        with zipfile.ZipFile(io.BytesIO(answer.body)) as archive:
            self.assertIsNone(archive.testzip())
            self.assertEqual(sorted(archive.namelist()),
                             ["album/", "album/a.txt", "album/empty/", "album/sub/",
                              "album/sub/ü.txt"])
            self.assertEqual(archive.read("album/sub/ü.txt"), b"u")

    def test_subfolder_as_zip_has_its_own_name(self):
        self.write("sub/a.txt")
        answer = self.visitor.get(self.share() + "/sub/?zip")
        with zipfile.ZipFile(io.BytesIO(answer.body)) as archive:
            self.assertEqual(sorted(archive.namelist()), ["sub/", "sub/a.txt"])

    def test_range_of_a_zip_is_the_whole(self):
        self.write("a.txt")
        answer = self.visitor.get(self.share() + "/?zip", range="bytes=0-1")
        self.assertEqual(answer.status, 200)

    @needs_program
    def test_zip_that_fails_is_no_zip_and_the_program_says_so(self):
        self.write("/".join(["d"] * 65) + "/end.txt")
        answer = self.visitor.get(self.share() + "/?zip")
        self.assertEqual(answer.status, 200)
        self.assertFalse(zipfile.is_zipfile(io.BytesIO(answer.body)))
        self.assertNotEqual(answer.exit_code, 0)


class ListingTest(WebTest):
    def setUp(self):
        super().setUp()
        for name, size in (("IMG_10.jpg", 3), ("img_9.jpg", 30), ("Zebra.txt", 10),
                           ("b/x", 1), ("A/x", 1)):
            self.write(name, b"x" * size)
        self.link = self.share()

    def names(self, query=""):
        return Page.read(self.visitor.get(self.link + "/" + query)).names()

    def test_folders_first_digits_by_value_case_ignored(self):
        self.assertEqual(self.names(), ["A/", "b/", "img_9.jpg", "IMG_10.jpg", "Zebra.txt"])
        self.assertEqual(self.names("?sort=name&order=desc"),
                         ["b/", "A/", "Zebra.txt", "IMG_10.jpg", "img_9.jpg"])

    def test_sorted_by_size_and_time(self):
        self.assertEqual(self.names("?sort=size"),
                         ["A/", "b/", "IMG_10.jpg", "Zebra.txt", "img_9.jpg"])
        self.assertEqual(self.names("?sort=size&order=desc")[2:],
                         ["img_9.jpg", "Zebra.txt", "IMG_10.jpg"])
        for index, name in enumerate(("Zebra.txt", "IMG_10.jpg", "img_9.jpg")):
            os.utime(self.folder / name, (index + 1, index + 1))
        self.assertEqual(self.names("?sort=time")[2:],
                         ["Zebra.txt", "IMG_10.jpg", "img_9.jpg"])

    def test_nonsense_means_the_default(self):
        for query in ("?sort=x", "?order=x", "?page=x", "?page=0", "?page=-1", "?page=999",
                      "?page=99999999999999999999", "?sort=&order=&page="):
            with self.subTest(query):
                self.assertEqual(self.names(query), self.names())

    def test_search_ignores_case_and_keeps_its_text(self):
        self.assertEqual(self.names("?q=IMG"), ["img_9.jpg", "IMG_10.jpg"])
        page = Page.read(self.visitor.get(self.link + "/?q=%22%3Cimg&sort=size"))
        self.assertEqual(page.names(), [])
        self.assertEqual(page.find("input", name="q")[0][1]["value"], '"<img')
        self.assertEqual(page.find("input", name="sort")[0][1]["value"], "size")

    def test_row_tells_kind_size_time_and_address(self):
        os.utime(self.folder / "Zebra.txt", (1234567890, 1234567890))
        page = Page.read(self.visitor.get(self.link + "/"))
        self.assertEqual(page.rows()[-1], ("file", 10, "./Zebra.txt"))
        row = page.find("tr", data_kind="file")[-1][1]
        self.assertEqual(row["data-time"], "1234567890")
        self.assertEqual(page.rows()[0], ("folder", 0, "./A/"))

    def test_many_entries_come_in_pages_that_keep_order_and_text(self):
        for index in range(1001):
            self.write(f"many/f{index}")
        url = self.link + "/many/"
        page = Page.read(self.visitor.get(url + "?sort=name&order=desc&q=f"))
        self.assertEqual(len(page.rows()), 500)
        (following,) = page.find("a", rel="next")
        page = Page.read(self.visitor.get(url + following[1]["href"]))
        self.assertEqual(page.names()[0], "f500")
        self.assertTrue(page.find("a", rel="prev"))
        page = Page.read(self.visitor.get(url + page.find("a", rel="next")[0][1]["href"]))
        self.assertEqual(page.names(), ["f0"])
        self.assertEqual(page.find("a", rel="next"), [])

    def test_every_entry_is_reachable_whatever_its_name(self):
        names = [b"a:b", b"x?y#z", b"100%", b"a&b;c", b"<i>\"'", b"new\nline", b"\xff\xfe",
                 "ü\u202e".encode(), b"back\\slash", b" blank ", b"javascript:alert(1)",
                 b"%41", b"a+b", b"~", b"-"]
        for name in names:
            self.write(b"odd/" + name, name)
        page = Page.read(self.visitor.get(self.link + "/odd/"))
        found = set()
        for _, _, href in page.rows():
            self.assertTrue(href.startswith("./"), href)
            found.add(self.visitor.get(self.link + "/odd/" + href[2:]).body)
        self.assertEqual(found, set(names))


if __name__ == "__main__":
    main()

"""Answers for programs: the checksum of a file, and a listing as JSON."""

import hashlib
import json
import os
import subprocess
import urllib.parse

from web_support import (AS_SYSTEM, PASSWORD, PROGRAM, CgiTransport, Page, WebTest, main,
                         needs_program)

FILE_POLICY = "default-src 'none'; style-src 'unsafe-inline'; sandbox"


class ChecksumTest(WebTest):
    def test_checksum_is_what_sha256sum_prints(self):
        for name in ("notes.txt", "back\\slash", "new\nline", "ü return\r", " blank "):
            with self.subTest(name):
                self.write(name, name.encode() * 1000)
                printed = subprocess.run(["sha256sum", "--", name], cwd=self.folder,
                                         stdout=subprocess.PIPE, check=True).stdout
                answer = self.visitor.get(f"{self.share()}/{urllib.parse.quote(name)}?sha256")
                self.assertEqual((answer.status, answer.body), (200, printed))

    @needs_program
    def test_checksum_for_which_nobody_waits_ends(self):
        os.truncate(self.write("large.bin"), 1 << 40)  # takes an hour
        env = CgiTransport().environment("GET", self.share() + "/large.bin?sha256",
                                         {"Host": "x"}, self.visitor.address)
        program = subprocess.Popen([PROGRAM], env=env, stdin=subprocess.DEVNULL,
                                   stdout=subprocess.PIPE, cwd="/", **AS_SYSTEM)
        self.addCleanup(program.wait)
        self.addCleanup(program.kill)
        self.assertEqual(program.stdout.read(1), b"S")  # the beginning of the answer
        program.stdout.close()
        self.assertEqual(program.wait(60), 1)

    def test_checksum_is_not_cached_and_has_no_ranges(self):
        self.write("page.html")
        answer = self.visitor.get(self.share() + "/page.html?sha256", range="bytes=0-1")
        self.assertEqual(answer.status, 200)
        self.assertEqual(answer.header("Content-Type"), "text/plain; charset=utf-8")
        self.assertEqual(answer.header("Cache-Control"), "no-store")
        self.assertEqual(answer.header("Accept-Ranges"), "none")
        self.assertEqual(answer.header("Content-Security-Policy"), FILE_POLICY)

    def test_head_request_has_no_body(self):
        self.write("a.txt")
        answer = self.visitor.head(self.share() + "/a.txt?sha256")
        self.assertEqual((answer.status, answer.body), (200, b""))

    def test_large_file_is_read_whole(self):
        content = os.urandom(9 << 20)
        self.write("large.bin", content)
        answer = self.visitor.get(self.share() + "/large.bin?sha256")
        self.assertEqual(answer.text(), hashlib.sha256(content).hexdigest() + "  large.bin\n")

    def test_file_that_a_link_shares(self):
        path = self.write("a.txt", b"abc")
        link = self.share(path=path)
        for rest in ("/?sha256", "/a.txt?sha256"):
            self.assertTrue(self.visitor.get(link + rest).text().startswith("ba7816bf"))

    def test_page_of_a_file_links_to_it(self):
        path = self.write("sub/a.txt", b"abc")
        for link, page in ((self.share(), "/sub/a.txt?view"), (self.share(path=path), "/")):
            hrefs = [a[1]["href"] for a in Page.read(self.visitor.get(link + page)).find("a")]
            (href,) = [href for href in hrefs if href.endswith("?sha256")]
            url = urllib.parse.urljoin(link + page, href)
            self.assertTrue(self.visitor.get(url).text().startswith("ba7816bf"))

    def test_strangers_learn_nothing(self):
        self.write("a.txt")
        link = self.share(password=PASSWORD)
        there, absent = (self.visitor.get(f"{link}/{name}?sha256") for name in ("a.txt", "b"))
        self.assertEqual((there.status, there.body), (401, absent.body))

    def test_folder_has_no_checksum(self):
        self.write("sub/a.txt")
        self.assertEqual(self.visitor.get(self.share() + "/sub/?sha256").page, "folder")


class JsonTest(WebTest):
    def listing(self, link, query="?json"):
        return json.loads(self.visitor.get(f"{link}/{query}").text())

    def test_json_has_all_entries_and_totals(self):
        os.utime(self.write("a.txt", b"abc"), (1234567890, 1234567890))
        os.utime(self.write("sub/b.txt").parent, (1000000000, 1000000000))
        link = self.share()
        answer = self.visitor.get(link + "/?json")
        self.assertEqual(answer.header("Content-Type"), "application/json")
        self.assertEqual(answer.header("Cache-Control"), "no-store")
        self.assertEqual(answer.header("Accept-Ranges"), "none")
        self.assertEqual(answer.header("Content-Security-Policy"), FILE_POLICY)
        self.assertEqual(json.loads(answer.text()), {
            "folders": 1, "files": 1, "bytes": 3, "complete": True, "page": 1, "pages": 1,
            "sort": "name", "order": "asc", "q": "", "below": False, "entries": [
                {"name": "sub", "kind": "folder", "size": 0, "time": 1000000000,
                 "url": "./sub/"},
                {"name": "a.txt", "kind": "file", "size": 3, "time": 1234567890,
                 "url": "./a.txt"}]})

    def test_order_pages_and_search_are_those_of_the_page(self):
        for index in range(501):
            self.write(f"f{index}", b"x" * index)
        listing = self.listing(self.share(), "?json&q=F&sort=size&order=desc&page=2")
        self.assertEqual([entry["name"] for entry in listing["entries"]], ["f0"])
        self.assertEqual((listing["page"], listing["pages"], listing["files"]), (2, 2, 501))
        self.assertEqual((listing["sort"], listing["order"], listing["q"]),
                         ("size", "desc", "F"))

    def test_every_entry_is_reachable_whatever_its_name(self):
        names = [b"bad\xff", b"new\nline", b"a:b", b"\"quoted\"", "ü\u202e".encode()]
        for name in names:
            self.write(name, name)
        link = self.share()
        entries = self.listing(link)["entries"]
        self.assertEqual({entry["name"] for entry in entries},
                         {name.decode(errors="replace") for name in names})
        for entry in entries:
            body = self.visitor.get(urllib.parse.urljoin(link + "/", entry["url"])).body
            self.assertEqual(body.decode(errors="replace"), entry["name"])

    def test_others_get_the_page_of_a_login(self):
        link = self.share(password=PASSWORD)
        there, absent = (self.visitor.get(f"{link}/{rest}?json") for rest in ("", "none/"))
        self.assertEqual((there.status, there.page, there.body), (401, "login", absent.body))
        self.log_in(link)
        self.assertEqual(self.listing(link)["entries"], [])

    def test_file_has_no_listing(self):
        path = self.write("a.txt", b"abc")
        self.assertEqual(self.visitor.get(self.share() + "/a.txt?json").body, b"abc")
        self.assertEqual(self.visitor.get(self.share(path=path) + "/?json").page, "file")


if __name__ == "__main__":
    main()

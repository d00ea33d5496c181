"""Drop boxes: visitors send files and cannot see the contents of the folder."""

import concurrent.futures
import os
import stat

from login_test import told
from web_support import PASSWORD, Page, WebTest, main

ALICE = 5001
BOUNDARY = "----boundary"
FORM = f"multipart/form-data; boundary={BOUNDARY}"


def part(content, name="file", filename=None, disposition=None):
    """A part of a form, as a browser writes it."""
    shown = disposition or f'form-data; name="{name}"'
    if filename is not None:
        shown += f'; filename="{filename}"'
    head = f"--{BOUNDARY}\r\nContent-Disposition: {shown}\r\n"
    if filename is not None:
        head += "Content-Type: application/octet-stream\r\n"
    return head.encode("utf-8", "surrogateescape") + b"\r\n" + content + b"\r\n"


def form(*parts):
    return b"".join(parts) + f"--{BOUNDARY}--\r\n".encode()


class DropTest(WebTest):
    limits = {}

    def setUp(self):
        super().setUp()
        self.folder.chmod(0o777)
        os.chown(self.folder, ALICE, ALICE)
        self.link = self.drop(**self.limits)

    def drop(self, *options, password=None, **limits):
        return self.share(*options, password=password,
                          app={"path": str(self.folder), "drop": True, **limits})

    def post(self, *parts, link=None, visitor=None, **headers):
        return self.post_body(form(*parts), link, visitor, **headers)

    def post_body(self, body, link=None, visitor=None, **headers):
        headers = {"content_type": FORM, **headers}
        return (visitor or self.visitor).send("POST", (link or self.link) + "/", body,
                                              **headers)

    def sent(self, *parts, count=1, **more):
        answer = self.post(*parts, **more)
        self.assertEqual(answer.status, 303, answer.body)
        self.assertEqual(answer.header("Location"), f"./?sent={count}")
        return answer

    def refused(self, status, *parts, problem=None, **more):
        answer = self.post(*parts, **more)
        self.check_refused(answer, status, problem)
        return answer

    def check_refused(self, answer, status, problem=None):
        self.assertEqual(answer.status, status, answer.body)
        if problem:
            self.assertEqual(answer.page, "drop")
            self.assertEqual(Page.read(answer).text("p", id="problem", role="alert"), problem)
        self.assertEqual(self.held(), {})

    def held(self):
        """What the folder holds, hidden files included."""
        return {path.name: path.read_bytes() for path in self.folder.iterdir()}


class SendTest(DropTest):
    def test_files_are_received_whole(self):
        large = os.urandom(3 << 20)
        self.sent(part(b"one\r\n", filename="a.txt"), part(large, filename="b.bin"),
                  part(b"", filename="empty"), count=3)
        self.assertEqual(self.held(), {"a.txt": b"one\r\n", "b.bin": large, "empty": b""})

    def test_contents_that_look_like_boundaries_are_content(self):
        tricks = [b"\r\n--", b"\r\n---", b"\r\n----boundar", b"----boundary--", b"\r",
                  b"\n------boundary\n", b"\r\n------boundarz", b"\r\r\n--", b"\0" * 100]
        self.sent(*(part(trick, filename=f"{index}") for index, trick in enumerate(tricks)),
                  count=len(tricks))
        self.assertEqual(self.held(), {f"{index}": trick
                                       for index, trick in enumerate(tricks)})

    def test_page_says_how_many_were_received(self):
        answer = self.visitor.get(self.link + "/?sent=2")
        self.assertEqual(Page.read(answer).text("p", id="sent", role="status"),
                         "2 files were received.")
        for nonsense in ("0", "-1", "513", "2x", "", "99999999999999999999", "<b>"):
            page = Page.read(self.visitor.get(self.link + "/?sent=" + nonsense))
            self.assertEqual(page.find("p", id="sent"), [])

    def test_link_without_slash_receives_as_well(self):
        answer = self.visitor.send("POST", self.link, form(part(b"x", filename="a")),
                                   content_type=FORM)
        self.assertEqual(answer.status, 303)
        self.assertEqual(answer.header("Location"),
                         f"./{self.hash_of(self.link)}/?sent=1")
        self.assertEqual(self.held(), {"a": b"x"})

    def test_file_that_is_there_is_never_replaced(self):
        self.write("a.txt", b"mine")
        (self.folder / "link").symlink_to("a.txt")
        (self.folder / "sub").mkdir()
        self.sent(part(b"1", filename="a.txt"), part(b"2", filename="a.txt"),
                  part(b"3", filename="link"), part(b"4", filename="sub"), count=4)
        self.assertEqual((self.folder / "a.txt").read_bytes(), b"mine")
        self.assertEqual({path.name: path.read_bytes() for path in self.folder.glob("*)*")},
                         {"a (2).txt": b"1", "a (3).txt": b"2", "link (2)": b"3",
                          "sub (2)": b"4"})

    def test_names_lead_nowhere_else_and_are_clean(self):
        names = {"/etc/passwd": "passwd", "../../up": "up", "C:\\Users\\x\\pic.jpg": "pic.jpg",
                 ".bashrc": "bashrc", "..": "file", "": "file", "a\x01b": "a_b",
                 "\u202egpj.exe": "_gpj.exe", "%22q%22.txt": '"q".txt', "l%0D%0An": "l__n",
                 "%2e%2e%2fx": "%2e%2e%2fx", "x/": "file", "日本.txt": "日本.txt",
                 "\udcff.txt": "\ufffd.txt", "end. ": "end", "tab\tx": "tab_x",
                 "é" * 200 + ".jpeg": "é" * 125 + ".jpeg"}
        for sent, kept in names.items():
            with self.subTest(sent):
                self.sent(part(b"x", filename=sent))
                self.assertEqual(list(self.held()), [kept])
                (self.folder / kept).unlink()

    def test_extended_names_win(self):
        for value, kept in (("UTF-8''na%C3%AFve.txt", "naïve.txt"),
                            ("utf-8'en'a%2F..%2Fb%00", "b_"), ("latin1''x", "plain"),
                            ("UTF-8''%zz", "plain"), ("UTF-8''%ff", "\ufffd")):
            with self.subTest(value):
                self.sent(part(b"x", disposition='form-data; name="file"; filename="plain"; '
                                                 f"filename*={value}"))
                self.assertEqual(list(self.held()), [kept])
                (self.folder / kept).unlink()

    def test_name_and_note_are_a_text_file_beside_the_files(self):
        self.write("note.txt", b"mine")
        self.write("a.txt", b"mine")
        self.sent(part(b"x", filename="a.txt"), part("Zoë\u202e\n".encode(), "from"),
                  part(b"Hello\r\n\r\nyou\x1b", "note"), part(b"again", "note"))
        head, text = self.held()["note (2).txt"].decode().split("\n\n", 1)
        lines = head.splitlines()
        self.assertEqual((lines[0], lines[2]),
                         ("From: Zoë[U+202E][U+000A]", "File: a (2).txt"))
        self.assertRegex(lines[1], r"^Sent: \d{4}-\d\d-\d\d \d\d:\d\d:\d\d [+-]\d{4}$")
        self.assertEqual(text, "Hello\n\nyou\ufffd\n")
        self.assertEqual(len(lines), 3)

    def test_empty_texts_are_not_stored(self):
        self.sent(part(b"x", filename="a"), part(b"", "from"), part(b"", "note"),
                  part(b"ignored", "other"))
        self.assertEqual(self.held(), {"a": b"x"})

    def test_form_without_a_file_says_so(self):
        for parts in ([], [part(b"", filename="")], [part(b"text", "note")]):
            self.refused(400, *parts, problem="Choose at least one file.")

    def test_texts_are_bounded(self):
        for name, size in (("from", 401), ("note", 8193), ("other", 8193)):
            with self.subTest(name):
                self.refused(413, part(b"x", filename="a"), part(bytes(size), name),
                             problem="The name or the note is too long.")

    def test_two_senders_of_the_same_name_are_both_kept(self):
        contents = [os.urandom(100 << 10) for _ in range(8)]
        with concurrent.futures.ThreadPoolExecutor(8) as pool:
            visitors = [self.new_visitor() for _ in contents]
            list(pool.map(lambda visitor, content: self.sent(
                part(content, filename="a.bin"), visitor=visitor), visitors, contents))
        self.assertEqual(sorted(self.held().values()), sorted(contents))
        self.assertIn("a (8).bin", self.held())

    def test_owner_can_read_what_was_sent(self):
        for mode, expected in ((0o777, 0o664), (0o755, 0o644), (0o2770, 0o664)):
            with self.subTest(oct(mode)):
                self.folder.chmod(mode)
                os.chown(self.folder, ALICE, 1)  # the group of the program
                answer = self.post(part(b"x", filename="a"))
                if mode == 0o755:  # only the owner may write
                    self.assertEqual((answer.status, self.held()), (500, {}))
                    continue
                self.assertEqual(answer.status, 303)
                status = (self.folder / "a").stat()
                self.assertEqual(oct(stat.S_IMODE(status.st_mode)), oct(expected))
                (self.folder / "a").unlink()


class MalformedTest(DropTest):
    incomplete = "The transfer was incomplete. Send the files again."

    def test_body_that_breaks_off_leaves_nothing(self):
        whole = form(part(b"x" * 1000, filename="a"), part(b"y" * 1000, filename="b"))
        for size in (0, 10, 60, 500, 1100, 1300, len(whole) - 4):
            with self.subTest(size):
                self.check_refused(self.post_body(whole[:size]), 400, self.incomplete)

    def test_malformed_bodies_are_refused(self):
        good = part(b"x", filename="a")
        start = f"--{BOUNDARY}"
        bodies = {
            "line ends without CR": form(good).replace(b"\r\n", b"\n"),
            "another boundary": form(good).replace(b"boundary", b"boundarx"),
            "text behind the boundary": form(good).replace(b"boundary\r\n", b"boundaryx\r\n"),
            "no disposition": f"{start}\r\nX: y\r\n\r\nx\r\n{start}--\r\n".encode(),
            "no headers": f"{start}\r\n\r\nx\r\n{start}--\r\n".encode(),
            "another disposition": form(part(b"x", disposition='attachment; name="file"')),
            "no name": form(part(b"x", disposition="form-data")),
            "no end of a quotation": form(part(b"x", disposition='form-data; name="file')),
            "NUL": form(part(b"x", filename="a\0b")),
            "a folded line": form(part(b"x", disposition='form-data;\r\n name="file"')),
            "large headers": form(part(b"x", filename="n" * 9000)),
            "endless headers": f"{start}\r\nX: ".encode() + b"y" * 100000,
            "endless preamble": b"y" * 100000 + form(good),
            "endless padding": form(good).replace(b"boundary\r\n", b"boundary" + b" " * 999),
            "nothing but a beginning": start.encode(),
        }
        for name, body in bodies.items():
            with self.subTest(name):
                self.check_refused(self.post_body(body), 400, self.incomplete)

    def test_preamble_padding_and_epilogue_are_of_no_account(self):
        body = form(part(b"x", filename="a"))
        for index, changed in enumerate((
                b"preamble\r\n" + body, body + b"epilogue", body[:-2],
                body.replace(b"boundary\r\n", b"boundary \t \r\n", 1))):
            self.assertEqual(self.post_body(changed).status, 303, index)
        self.assertEqual(len(self.held()), 4)

    def test_boundaries_are_checked(self):
        body = form(part(b"x", filename="a"))
        for kind in ("multipart/form-data", "multipart/form-data; boundary=",
                     "multipart/form-data; boundary=" + "x" * 71,
                     'multipart/form-data; boundary="a "', "multipart/form-data; boundary=a\\",
                     "multipart/form-data; x=y"):
            with self.subTest(kind):
                answer = self.post_body(body, content_type=kind)
                self.check_refused(answer, 400, self.incomplete)
        for kind in (f'Multipart/Form-Data; charset=utf-8; BOUNDARY="{BOUNDARY}"',
                     f"multipart/form-data;boundary={BOUNDARY};"):
            self.assertEqual(self.post_body(body, content_type=kind).status, 303)

    def test_parts_are_bounded(self):
        self.refused(413, *(part(b"x", filename=f"{n}") for n in range(513)),
                     problem="These files exceed the file limit of this link.")
        self.refused(413, *(part(b"", "x") for n in range(10000)),
                     problem="These files exceed the file limit of this link.")
        self.sent(*(part(b"x", filename=f"{n}") for n in range(512)), count=512)
        self.assertEqual(len(self.held()), 512)


class LimitTest(DropTest):
    limits = {"max_bytes": 100000, "max_files": 3}
    too_large = "These files exceed the size limit of this link."
    too_many = "These files exceed the file limit of this link."

    def test_limits_are_shown(self):
        page = Page.read(self.visitor.get(self.link + "/"))
        self.assertEqual(page.text("p", id="limits"),
                         "At most 3 files, 100 kB in total.")

    def test_sending_has_its_limits(self):
        self.refused(413, part(bytes(100001), filename="a"), problem=self.too_large)
        self.refused(413, part(bytes(60000), filename="a"), part(bytes(60000), filename="b"),
                     problem=self.too_large)
        self.refused(413, *(part(b"x", filename=n) for n in "abcd"), problem=self.too_many)
        self.refused(413, *(part(b"x", filename=n) for n in "abc"), part(b"x", "note"),
                     problem=self.too_many)
        self.sent(part(bytes(50000), filename="a"), part(bytes(50000), filename="b"),
                  part(b"", filename="c"), count=3)

    def test_refused_files_are_never_seen_in_the_folder(self):
        before = os.stat(self.folder).st_mtime_ns
        self.refused(413, *(part(b"x", filename=n) for n in "abc"), part(b"x", "note"),
                     problem=self.too_many)
        self.assertEqual(os.stat(self.folder).st_mtime_ns, before)

    def test_folder_is_counted_with_all_that_was_sent_before(self):
        self.sent(part(bytes(60000), filename="a"))
        answer = self.post(part(bytes(60000), filename="b"))
        self.assertEqual(answer.status, 413)
        self.sent(part(bytes(1000), filename="b"), part(b"Hello", "note"))
        answer = self.post(part(b"x", filename="c"))
        self.assertEqual(answer.status, 413)
        self.assertEqual(Page.read(answer).text("p", id="problem"), self.too_many)
        (self.folder / "a").unlink()
        self.sent(part(b"x", filename="c"))
        self.assertEqual(len(self.held()), 3)

    def test_senders_at_once_do_not_exceed_the_limits(self):
        visitors = [self.new_visitor() for _ in range(8)]
        with concurrent.futures.ThreadPoolExecutor(8) as pool:
            answers = list(pool.map(lambda visitor: self.post(
                part(bytes(30000), filename="a"), visitor=visitor).status, visitors))
        self.assertEqual(sorted(answers), [303] * 3 + [413] * 5)
        self.assertEqual(len(self.held()), 3)

    def test_files_that_are_not_complete_are_not_counted(self):
        self.write(".incomplete-1", bytes(90000))
        self.sent(part(bytes(60000), filename="a"))

    def test_body_that_is_far_too_large_is_refused_at_once(self):
        self.refused(413, part(bytes(20 << 20), filename="a"), problem=self.too_large)


class SilenceTest(DropTest):
    def test_nothing_of_the_folder_is_seen(self):
        self.write("secret.txt")
        self.write("sub/deep.txt")
        page = told(self.visitor.get(self.link + "/"))
        self.assertEqual(self.visitor.get(self.link + "/").page, "drop")
        for query in ("?zip", "?q=secret", "?sort=size", "?page=2", "?download", "?view",
                      "?sent=0", "?json"):
            with self.subTest(query):
                self.assertEqual(told(self.visitor.get(self.link + "/" + query)), page)
        missing = told(self.visitor.get(self.link + "/none"))
        self.assertEqual(missing[0], 404)
        for name in ("secret.txt", "secret.txt?download", "secret.txt?view", "sub", "sub/",
                     "sub/?zip", "sub/deep.txt", "none/", "x/" * 70, "%2e%2e/"):
            with self.subTest(name):
                self.assertEqual(told(self.visitor.get(self.link + "/" + name)), missing)
                self.assertEqual(told(self.visitor.get(self.link + "/" + name,
                                                       range="bytes=0-1")), missing)
        self.assertNotIn(self.folder.name, self.visitor.get(self.link + "/").text())
        (self.folder / "secret.txt").unlink()
        self.assertEqual(told(self.visitor.get(self.link + "/")), page)

    def test_only_the_root_receives(self):
        (self.folder / "sub").mkdir(mode=0o777)
        for below in ("sub/", "none", "a.txt"):
            answer = self.visitor.send("POST", f"{self.link}/{below}",
                                       form(part(b"x", filename="a")), content_type=FORM)
            self.assertEqual(answer.status, 404)
        self.assertEqual(list((self.folder / "sub").iterdir()), [])

    def test_link_that_is_no_drop_box_receives_nothing(self):
        for app in ({"path": str(self.folder)}, {"path": str(self.folder), "drop": False}):
            answer = self.post(part(b"x", filename="a"), link=self.share(app=app))
            self.check_refused(answer, 415)

    def test_invalid_settings_show_nothing(self):
        missing = told(self.visitor.get("/sharing/unknownlink/"))
        for bad in ({"drop": "yes"}, {"drop": 1}, {"drop": True, "max_bytes": -1},
                    {"drop": True, "max_files": 0}, {"drop": True, "max_bytes": "1"},
                    {"drop": True, "max_files": 1.5}):
            with self.subTest(bad):
                link = self.share(app={"path": str(self.folder), **bad})
                self.assertEqual(told(self.visitor.get(link + "/")), missing)
                self.check_refused(self.post(part(b"x", filename="a"), link=link), 404)

    def test_file_is_no_drop_box(self):
        link = self.share(app={"path": str(self.write("file")), "drop": True})
        self.assertEqual(self.visitor.get(link + "/").status, 404)

    def test_folder_that_cannot_be_written_says_so(self):
        self.folder.chmod(0o755)
        for answer in (self.visitor.get(self.link + "/"),
                       self.post(part(b"x", filename="a"))):
            self.assertEqual((answer.status, answer.page), (500, "error"))

    def test_folder_of_somebody_else_needs_rights_of_the_owner(self):
        os.chown(self.folder, 5002, 1)
        self.folder.chmod(0o775)  # the program may write, alice may not
        self.check_refused(self.post(part(b"x", filename="a")), 500)

    def test_folder_that_is_gone_is_missing(self):
        self.folder.rmdir()
        self.assertEqual(self.visitor.get(self.link + "/").status, 404)
        self.assertEqual(self.post(part(b"x", filename="a")).status, 404)
        self.folder.mkdir()


class SessionTest(DropTest):
    def test_strangers_send_nothing(self):
        link = self.drop(password=PASSWORD)
        page = told(self.visitor.get(link + "/"))
        answer = self.post(part(b"x", filename="a"), link=link)
        self.check_refused(answer, 401)
        self.assertEqual(told(answer), page)
        plain = self.share(password=PASSWORD)
        self.assertEqual(told(self.post(part(b"x", filename="a"), link=plain)), page)
        self.log_in(link)
        self.sent(part(b"x", filename="a"), link=link)
        self.assertEqual(self.held(), {"a": b"x"})

    def test_fields_of_the_form_do_not_log_in_or_out(self):
        link = self.drop(password=PASSWORD)
        answer = self.post(part(PASSWORD.encode(), "password"), part(b"x", filename="a"),
                           link=link)
        self.check_refused(answer, 401)
        self.log_in(link)
        self.sent(part(b"logout", "action"), part(b"x", filename="a"), link=link)
        self.assertEqual(self.visitor.get(link + "/").status, 200)

    def test_redirect_of_every_visit_means_nothing(self):
        link = self.drop("--redirect-type", "always", "--redirect-uri", "https://x.test/")
        self.assertEqual(self.visitor.get(link + "/").page, "drop")
        self.sent(part(b"x", filename="a"), link=link)

    def test_use_limit_asks_for_a_login_first(self):
        link = self.drop("--uses", "1")
        self.check_refused(self.post(part(b"x", filename="a"), link=link), 401)
        self.assertEqual(self.uses(link), 0)
        self.assertEqual(self.visitor.post(link + "/").status, 303)
        for _ in range(2):
            self.sent(part(b"x", filename="a"), link=link)
        self.assertEqual(self.uses(link), 1)
        other = self.post(part(b"x", filename="a"), link=link, visitor=self.new_visitor())
        self.assertEqual(other.status, 410)

    def test_forms_of_other_sites_are_refused(self):
        for headers in ({"sec_fetch_site": "cross-site"}, {"origin": "http://elsewhere.test"},
                        {"origin": "null"}):
            answer = self.post(part(b"x", filename="a"), **headers)
            self.check_refused(answer, 403)
            self.assertEqual(answer.page, "refused")

    def test_links_that_are_missing_receive_nothing(self):
        missing = told(self.visitor.get("/sharing/unknownlink/"))
        answer = self.post(part(b"x", filename="a"), link="/sharing/unknownlink")
        self.assertEqual(told(answer), missing)
        self.command("edit", self.hash_of(self.link), "--disable")
        self.assertEqual(told(self.post(part(b"x", filename="a"))), missing)

    def test_length_is_required(self):
        # Also by a server, which could store the body to learn its length: that would fill
        # its disk.
        body = form(part(bytes(1 << 20), filename="a"))
        chunks = b"%x\r\n%s\r\n0\r\n\r\n" % (len(body), body)
        answer = self.post_body(chunks, content_length=None, transfer_encoding="chunked")
        self.assertEqual(answer.status, 411)
        if "BASE" not in os.environ:  # a server answers this itself
            self.assertIn("how large the files are", answer.text())
        self.assertEqual(self.held(), {})


if __name__ == "__main__":
    main()

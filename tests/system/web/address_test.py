"""Which answer belongs to which address and method."""

import os

from web_support import (CgiTransport, Page, Visitor, WebTest, main, needs_program)

ALWAYS = {
    "X-Content-Type-Options": "nosniff",
    "Referrer-Policy": "same-origin",
    "Cross-Origin-Resource-Policy": "same-origin",
    "X-Robots-Tag": "noindex, nofollow",
}


class AddressTest(WebTest):
    def setUp(self):
        super().setUp()
        self.write("notes.txt")
        self.write("sub/deep.txt")
        self.link = self.share()

    def status(self, method, target, **headers):
        return self.visitor.send(method, target, **headers).status

    def test_root_without_slash_redirects_and_keeps_the_query(self):
        answer = self.visitor.get(self.link + "?sort=size&q=%C3%A4")
        self.assertEqual(answer.status, 308)
        self.assertEqual(answer.header("Location"),
                         f"./{self.hash_of(self.link)}/?sort=size&q=%C3%A4")

    def test_folder_without_slash_redirects_and_keeps_the_query(self):
        answer = self.visitor.get(self.link + "/sub?sort=size")
        self.assertEqual((answer.status, answer.header("Location")),
                         (308, "./sub/?sort=size"))

    def test_file_with_slash_is_missing(self):
        self.assertEqual(self.status("GET", self.link + "/notes.txt/"), 404)

    def test_other_paths_are_missing(self):
        link = self.hash_of(self.link)
        for target in ("/", "/sharing", "/sharing/", "/Sharing/" + link, "/x/sharing/" + link,
                       "//sharing/" + link, "/sharing//" + link, "/sharin%67/" + link):
            with self.subTest(target):
                self.assertIn(self.status("GET", target), (400, 403, 404))

    def test_other_methods_are_refused_and_told_which_are_good(self):
        for method in ("PUT", "DELETE", "OPTIONS", "PATCH", "PROPFIND"):
            with self.subTest(method):
                answer = self.visitor.send(method, self.link + "/")
                self.assertEqual(answer.status, 405)
                self.assertEqual(answer.header("Allow"), "GET, HEAD, POST")

    def test_broken_escape_and_nul_are_bad_requests_everywhere(self):
        for target in ("/%zz", "/%", "/%4", "/a%00b", "/?q=%zz", "/?%00", "/?q=%"):
            with self.subTest(target):
                answer = self.visitor.get(self.link + target)
                # Apache refuses a NUL in a path itself, as an unknown address.
                by_apache = target == "/a%00b" and "BASE" in os.environ
                self.assertIn(answer.status, (400, 404) if by_apache else (400,))
        self.assertEqual(self.visitor.send("POST", self.link, b"password=%zz").status, 400)
        self.assertEqual(self.visitor.send("POST", self.link, b"password=%00").status, 400)

    def test_form_of_16_KiB_is_read_and_a_larger_one_is_refused(self):
        link = self.share(password="x")
        prefix = b"password="
        for size, status in ((16384, 401), (16385, 413), (1 << 20, 413)):
            with self.subTest(size):
                body = prefix + b"y" * (size - len(prefix))
                self.assertEqual(self.visitor.send("POST", link, body).status, status)

    @needs_program
    def test_form_that_is_too_long_is_not_even_read(self):
        answer = self.visitor.send("POST", self.link, b"x", content_length=str(1 << 62))
        self.assertEqual(answer.status, 413)

    def test_form_of_another_type_is_refused(self):
        for kind in ("multipart/form-data; boundary=x", "text/plain", "application/json"):
            with self.subTest(kind):
                answer = self.visitor.send("POST", self.link, b"password=x",
                                           content_type=kind)
                self.assertEqual(answer.status, 415)

    def test_type_of_a_form_may_have_a_charset(self):
        kind = "Application/X-WWW-Form-Urlencoded; charset=utf-8"
        answer = self.visitor.send("POST", self.link, b"action=login", content_type=kind)
        self.assertEqual(answer.status, 303)

    def test_post_without_body_is_a_form_without_fields(self):
        answer = self.visitor.send("POST", self.link + "/", content_type=None)
        self.assertEqual(answer.status, 303)

    def test_first_of_several_parameters_counts(self):
        page = Page.read(self.visitor.get(self.link + "/?q=notes&q=nothing"))
        self.assertEqual(page.names(), ["notes.txt"])

    def test_long_address_is_refused(self):
        answer = self.visitor.get(self.link + "/?q=" + "x" * 8200)
        self.assertIn(answer.status, (400, 414, 431))

    def test_large_headers_are_refused(self):
        answer = self.visitor.get(self.link + "/", x_large="x" * (70 << 10))
        self.assertIn(answer.status, (400, 413, 431))

    def test_too_many_parameters_are_refused(self):
        self.assertEqual(self.status("GET", self.link + "/?" + "a=1&" * 1000), 200)
        self.assertEqual(self.status("GET", self.link + "/?" + "a=1&" * 1001), 400)

    def test_deep_path_is_missing(self):
        self.assertEqual(self.status("GET", self.link + "/x" * 65), 404)

    def test_folder_64_levels_deep_is_shown_and_a_deeper_one_is_missing(self):
        self.write("/".join(["d"] * 65) + "/end.txt")
        self.assertEqual(self.status("GET", self.link + "/d" * 64 + "/"), 200)
        self.assertEqual(self.status("GET", self.link + "/d" * 65 + "/"), 404)

    def test_head_has_the_headers_of_get_and_no_body(self):
        private = self.share(password="x")
        with_length = (self.link + "/notes.txt",)
        for target in (self.link, self.link + "/", self.link + "/notes.txt",
                       self.link + "/notes.txt?view", self.link + "/?zip",
                       self.link + "/none", private + "/notes.txt", "/sharing/none"):
            with self.subTest(target):
                get, head = self.visitor.get(target), self.visitor.head(target)
                changing = ["date", "connection", "transfer-encoding", "server"]
                # Servers may add a length to an answer that they have whole: not to HEAD.
                if head.header("Content-Length") is None and "BASE" in os.environ:
                    self.assertNotIn(target, with_length)
                    changing.append("content-length")

                def kept(answer):
                    return sorted((name.lower(), value) for name, value in answer.headers
                                  if name.lower() not in changing)
                self.assertEqual(head.status, get.status)
                self.assertEqual(head.body, b"")
                if get.header("Transfer-Encoding") is None:
                    self.assertEqual(kept(head), kept(get))

    def test_every_answer_has_the_safety_headers(self):
        private = self.share(password="x")
        answers = [
            self.visitor.get(target) for target in (
                self.link, self.link + "/", self.link + "/notes.txt", self.link + "/none",
                self.link + "/notes.txt?view", self.link + "/?zip", private, "/sharing/none",
                self.link + "/?q=%zz")]
        answers.append(self.visitor.send("PUT", self.link))
        answers.append(self.visitor.get(self.link + "/notes.txt", range="bytes=1-2"))
        answers.append(self.visitor.get(self.link + "/notes.txt", range="bytes=99-"))
        answers.append(self.visitor.get(self.link + "/notes.txt", if_none_match="*"))
        answers.append(self.visitor.get(self.link + "/notes.txt", if_match='"x"'))
        answers.append(self.visitor.post(self.link))
        self.assertEqual({answer.status for answer in answers},
                         {200, 206, 303, 304, 308, 400, 401, 404, 405, 412, 416})
        for answer in answers:
            with self.subTest(answer.status):
                for name, value in ALWAYS.items():
                    self.assertEqual(answer.header(name), value)
                self.assertIn("default-src 'none'", answer.header("Content-Security-Policy"))
                self.assertIn(answer.header("Cache-Control"),
                              ("no-store", "private, no-cache"))

    def test_pages_have_the_policy_of_pages(self):
        answer = self.visitor.get(self.link + "/")
        policy = answer.header("Content-Security-Policy").split("; ")
        for name in ("style-src", "script-src"):
            self.assertRegex(policy.pop(1), f"^{name} 'sha256-[A-Za-z0-9+/]{{43}}='$")
        self.assertEqual(policy, ["default-src 'none'", "img-src 'self' data:",
                                  "media-src 'self'", "frame-src 'self'",
                                  "form-action 'self'", "base-uri 'none'",
                                  "frame-ancestors 'none'"])
        self.assertEqual(answer.header("Vary").replace(" ", ""), "Accept-Language,Cookie")
        self.assertEqual(answer.header("Accept-Ranges"), "none")
        self.assertEqual(answer.header("Content-Language"), "en")


@needs_program
class PrefixTest(WebTest):
    CONFIGURATION = "/usr/vexo/etc/sharing-url.conf"

    def setUp(self):
        super().setUp()
        self.write("notes.txt")
        self.link = self.share()
        self.addCleanup(lambda: os.path.exists(self.CONFIGURATION) and
                        os.unlink(self.CONFIGURATION))

    def configure(self, text):
        with open(self.CONFIGURATION, "w", encoding="utf-8") as file:
            file.write(text)

    def cookie_path(self, target, host, link, **variables):
        visitor = Visitor(CgiTransport())
        visitor.headers["Host"] = host
        answer = visitor.send("POST", target + link, b"password=x", **variables)
        self.assertEqual(answer.status, 303)
        return answer.header("Set-Cookie").split("; ")[1]

    def test_links_are_beneath_the_prefix_only(self):
        self.configure("prefix.files = my apps/files\n")
        self.assertEqual(self.visitor.get("/my%20apps/files" + self.link + "/").status, 200)
        self.assertEqual(self.visitor.get("/my apps/files" + self.link + "/").status, 404)
        self.assertEqual(self.visitor.get(self.link + "/").status, 404)

    def test_cookie_path_is_that_of_the_base_for_its_host(self):
        self.configure("base = https://share.example.org:5001/nas\n")
        link = self.share(password="x")
        self.assertEqual(self.cookie_path("", "share.example.org:5001", link),
                         "Path=/nas" + link)
        self.assertEqual(self.cookie_path("/nas", "Share.example.org:5001", link),
                         "Path=/nas" + link)

    def test_cookie_path_is_that_of_the_request_for_another_host(self):
        self.configure("base = https://share.example.org:5001/nas\n")
        link = self.share(password="x")
        self.assertEqual(self.cookie_path("", "192.0.2.9", link), "Path=" + link)
        self.assertEqual(self.cookie_path("", "share.example.org", link), "Path=" + link)

    def test_form_of_the_base_is_accepted_whatever_host_the_request_names(self):
        self.configure("base = https://share.example.org:5001/nas\n")
        link = self.share(password="x")
        for origin, status in (("https://share.example.org", 403),
                               ("https://share.example.org:5001", 303)):
            with self.subTest(origin):
                headers = {"origin": origin, "host": "192.0.2.9:8080"}
                answer = self.visitor.post(link, headers, password="x")
                self.assertEqual(answer.status, status)

    def test_unreadable_configuration_ends_the_program(self):
        os.mkdir(self.CONFIGURATION)
        self.addCleanup(os.rmdir, self.CONFIGURATION)
        with self.assertRaises(ValueError):  # no headers
            self.visitor.get(self.link + "/")


if __name__ == "__main__":
    main()

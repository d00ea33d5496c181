"""Links that send their visitors somewhere else."""

from web_support import PASSWORD, WebTest, main


class AlwaysTest(WebTest):
    def setUp(self):
        super().setUp()
        self.write("notes.txt")

    def link(self, uri, **more):
        return self.share("--redirect-type", "always", "--redirect-uri", uri, **more)

    def test_admitted_visitor_goes_from_the_root_to_the_target(self):
        for uri in ("http://example.org/a?b=c#d", "https://example.org:8443", "/apps/x",
                    "HTTPS://example.org/"):
            with self.subTest(uri):
                link = self.link(uri)
                for rest in ("", "/", "/?sort=size"):
                    answer = self.visitor.get(link + rest)
                    self.assertEqual((answer.status, answer.header("Location")), (303, uri))
                self.assertEqual(self.visitor.get(link + "/notes.txt").status, 200)

    def test_stranger_logs_in_first(self):
        link = self.link("https://example.org/", password=PASSWORD)
        answer = self.visitor.get(link)
        self.assertEqual(answer.status, 401)
        self.assertNotIn("example.org", answer.text().partition("<body")[2])
        self.assertIn("form-action 'self' https://example.org;",
                      answer.header("Content-Security-Policy"))
        self.assertEqual(self.log_in(link).header("Location"), "./")
        self.assertEqual(self.visitor.get(link + "/").header("Location"),
                         "https://example.org/")

    def test_target_that_breaks_the_rule_is_ignored(self):
        for uri in ("//evil.example", "/\\evil.example", "javascript:alert(1)", "ftp://x/",
                    "apps/x", "https://", "https://a\\@evil.example/", "/a\nSet-Cookie: x=y",
                    "https://user@example.org/", "https://a;script-src *", "/x\\y"):
            with self.subTest(uri):
                answer = self.visitor.get(self.link(uri) + "/")
                self.assertEqual((answer.status, answer.page), (200, "folder"))

    def test_target_is_escaped_in_the_header(self):
        answer = self.visitor.get(self.link("/ü x") + "/")
        self.assertEqual(answer.header("Location"), "/%C3%BC%20x")


class ParameterTest(WebTest):
    def location(self, query, uri="/home"):
        link = self.share("--redirect-type", "url_param", "--redirect-uri", uri,
                          password=PASSWORD)
        return self.new_visitor().post(link + "/" + query,
                                       password=PASSWORD).header("Location")

    def test_login_leads_to_the_parameter(self):
        self.assertEqual(self.location("?to=/apps/x%3Fy%3D1"), "/apps/x?y=1")
        self.assertEqual(self.location("?to=/"), "/")

    def test_without_a_good_parameter_login_leads_to_the_target_of_the_link(self):
        for query in ("", "?to=", "?to=//evil.example", "?to=/%5Cevil.example", "?to=x",
                      "?to=https://evil.example", "?to=/%0d%0aX:y", "?to=/a%5Cb",
                      "?to=%2F%2Fevil.example", "?to=/%09/evil.example"):
            with self.subTest(query):
                self.assertEqual(self.location(query), "/home")

    def test_without_any_good_target_login_leads_to_the_same_address(self):
        self.assertEqual(self.location("?to=//x", "//y"), "./?to=//x")

    def test_content_is_served_where_it_is(self):
        link = self.share("--redirect-type", "url_param", "--redirect-uri", "/home")
        self.assertEqual(self.visitor.get(link + "/?to=/x").page, "folder")

    def test_other_links_ignore_the_parameter(self):
        link = self.share(password=PASSWORD)
        answer = self.visitor.post(link + "/?to=/apps", password=PASSWORD)
        self.assertEqual(answer.header("Location"), "./?to=/apps")


if __name__ == "__main__":
    main()

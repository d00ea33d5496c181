"""edit, delete and revoke by filters; rotate."""

import command_support
from command_support import DONE, REFUSED, WRONG_CALL, CommandTest


class Filters(CommandTest):
    def hashes(self):
        return [link["hash"] for link in self.links()]

    def test_delete_takes_the_filters_of_list(self):
        photo = self.create("--app", '{"path":"/photo/Oslo"}')
        past = self.create("--expire", "2020-01-01")
        music = self.create(project="music", owner="bob")
        for filters, gone in ((["--search", "oslo"], photo), (["--state", "expired"], past),
                              (["--project", "music", "--owner", "bob"], music)):
            self.assertEqual(self.json("delete", *filters),
                             {"items": [{"hash": gone, "revoked": 0}], "missing": []})
        self.assertEqual(self.hashes(), [])

    def test_revoke_takes_filters(self):
        link, other = self.create(), self.create(owner="bob")
        self.login(link)
        self.login(other)

        self.assertEqual(self.json("revoke", "--owner", "alice")["items"],
                         [{"hash": link, "revoked": 1}])

        self.assertEqual([self.shown(one)["tokens"] for one in (link, other)], [0, 1])

    def test_edit_selects_with_options_of_their_own(self):
        links = [self.create(), self.create()]
        others = [self.create(project="music"), self.create(owner="bob"),
                  self.create("--expire", "2020-01-01")]

        self.out("edit", "--where-project", "photos", "--where-owner", "alice",
                 "--where-state", "usable", "--project", "pictures")

        self.assertEqual([self.shown(one)["project_name"] for one in [*links, *others]],
                         ["pictures", "pictures", "music", "photos", "photos"])

    def test_dry_run_names_the_links_and_changes_nothing(self):
        links = [self.create(), self.create()]
        self.login(links[0])
        before = self.sql("SELECT * FROM entry"), self.sql("SELECT * FROM token")
        for verb, call in (("delete", ["delete", "--project", "photos"]),
                           ("revoke", ["revoke", *links]),
                           ("change", ["edit", *links, "--disable"])):
            self.assertEqual(self.out(*call, "--dry-run"),
                             "".join(f"{link}: would {verb}\n" for link in links))
            self.assertEqual(self.json(*call, "--dry-run"),
                             {"items": [{"hash": link} for link in links], "missing": []})
        self.assertEqual((self.sql("SELECT * FROM entry"), self.sql("SELECT * FROM token")),
                         before)

    def test_filters_ask_on_a_terminal(self):
        self.create()
        self.create()
        call = ["delete", "--project", "photos"]
        for answer in (b"\n", b"n\n", b"no\n"):
            status, shown = self.on_terminal(*call, typed=answer, prompt="[y/N] ")
            self.assertEqual(status, REFUSED)
            self.assertIn("delete 2 links? [y/N] ", shown)
            self.assertIn("nothing was changed", shown)
        self.assertEqual(len(self.hashes()), 2)

        self.assertEqual(self.on_terminal(*call, typed=b"y\n", prompt="[y/N] ")[0], DONE)

        self.assertEqual(self.hashes(), [])

    def test_yes_named_links_and_dry_runs_do_not_ask(self):
        named = self.create()
        for call in (["delete", "--project", "photos", "--dry-run"], ["delete", named],
                     ["delete", "--project", "photos", "--yes"]):
            self.create()
            status, shown = self.on_terminal(*call)
            self.assertEqual(status, DONE, shown)
            self.assertNotIn("[y/N]", shown)
        self.assertEqual(self.hashes(), [])

    def test_either_hashes_or_filters_are_given(self):
        link = self.create()
        for call in (["delete"], ["delete", link, "--owner", "alice"], ["revoke"],
                     ["edit", "--disable"], ["edit", link, "--where-owner=bob", "--disable"]):
            self.assertIn("either by HASH or by filters", self.refusal(WRONG_CALL, *call))
        self.assertEqual(self.hashes(), [link])

    def test_filters_that_match_nothing_are_refused(self):
        self.create()
        self.assertIn("no link matches",
                      self.refusal(REFUSED, "delete", "--project", "music"))

    def test_password_is_generated_for_one_link_only(self):
        self.create()
        self.assertIn("requires exactly one HASH",
                      self.refusal(WRONG_CALL, "edit", "--where-project", "photos",
                                   "--generate-password"))


class Rotate(CommandTest):
    def test_gives_a_new_hash_keeps_the_settings_and_revokes(self):
        link = self.create("--title", "Oslo", "--uses", "5")
        before = self.shown(link)
        session = self.login(link)

        told = self.json("rotate", link)

        new = told["link"]["hash"]
        self.assertEqual((told["old_hash"], told["revoked"]), (link, 1))
        self.assertNotEqual(new, link)
        self.assertIn("link not found", self.refusal(REFUSED, "show", link))
        after = self.shown(new)
        for changed in ("hash", "id", "url", "use_count", "tokens"):
            before.pop(changed)
            after.pop(changed)
        self.assertEqual(after, before)
        self.assertEqual(self.call("visit", new, "check", env={"SHARING_SID": session})
                         .returncode, REFUSED)

    def test_text_names_hash_and_url(self):
        self.install_url_tool()
        link = self.create()

        text = self.out("rotate", link)

        new = self.links()[0]["hash"]
        self.assertEqual(text, f"Hash:     {new}\nURL:      https://nas.example/sharing/{new}\n"
                               "Revoked:  0 tokens\n")

    def test_unknown_link_is_refused(self):
        self.create()
        self.assertIn("link not found: nothing", self.refusal(REFUSED, "rotate", "nothing"))


if __name__ == "__main__":
    command_support.main()

"""The JSON of each subcommand follows docs/json.schema.json."""

import json
import re
import tempfile

import command_support
from command_support import SCHEMA, CommandTest, validate


class Json(CommandTest):
    def printed(self, *call, **options):
        """What the call prints, checked against the definition of its subcommand."""
        data = json.loads(self.call(*call, "--json", **options).stdout)
        name = ".".join(call[:2] if call[0] == "block" else call[:1])
        self.seen.add(name)
        validate(data, f"vexosharing.{name}")
        return data

    def test_of_every_subcommand_follows_its_schema(self):
        self.seen = set()
        self.install_url_tool()
        folder = tempfile.mkdtemp()
        new = ["create", "--project", "photos", "--owner", "alice"]
        link = self.printed(*new, "--generate-password")["link"]["hash"]
        self.printed(*new, "--user", "bob", "--user", "ghost", "--group", "ghosts")
        bad = self.printed(*new)["link"]["hash"]
        self.break_row(bad)
        self.printed("share", folder, "--owner", "root", "--generate-password")
        self.printed("show", link)
        self.printed("list")
        self.printed("edit", link, "nothing", "--title", "x")
        self.printed("edit", link, "--generate-password")
        self.printed("edit", link, "--dry-run", "--disable")
        self.printed("delete", link, "--dry-run")
        self.call("visit", link, "login", "--password-stdin", text="wrong\n")
        self.printed("visit", link, "login", "--password-stdin", text="wrong\n")
        self.printed("visit", link, "logout", env={"SHARING_SID": "none"})
        self.printed("block", "list")
        self.printed("block", "clear", "127.0.0.1")
        self.printed("revoke", link, "nothing")
        link = self.printed("rotate", link)["link"]["hash"]
        self.printed("transfer", "--from", "alice", "--to", "bob")
        self.printed("log", link)
        self.printed("stats")
        self.printed("check")
        self.printed("export", f"{folder}/links.jsonl")
        self.printed("import", "--new-hash", f"{folder}/links.jsonl")
        self.printed("backup", f"{folder}/copy.db")
        self.printed("restore", f"{folder}/copy.db")
        self.forget()
        self.printed("restore", f"{folder}/copy.db")
        self.printed("delete", link, "nothing")
        self.printed("purge", "--all")

        self.assertEqual(self.seen, {name.removeprefix("vexosharing.")
                                     for name in SCHEMA["$defs"]
                                     if name.startswith("vexosharing.")})

    def test_each_subcommand_with_json_has_a_schema(self):
        told = re.findall(r"(?m)^  ([a-z]+)  ", self.out("--help").split("Subcommands:")[1])
        for name in sorted({*told, "block list", "block clear"} - {"block", "help"}):
            self.assertIn("--json", self.out(*name.split(), "--help"))
            self.assertIn(f"vexosharing.{name.replace(' ', '.')}", SCHEMA["$defs"])


if __name__ == "__main__":
    command_support.main()

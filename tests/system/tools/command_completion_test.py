"""Completion with the tab key in a real bash on a terminal."""

import os
import pathlib
import pty
import re
import select
import shutil
import tempfile
import time

import command_support
from command_support import CommandTest

SCRIPT = pathlib.Path(__file__).parents[3] / "tools/vexosharing/completion.bash"
SUBCOMMANDS = ["create", "share", "list", "show", "edit", "delete", "revoke", "rotate", "transfer",
               "purge", "visit", "check", "backup", "restore", "export", "import", "block", "stats",
               "help"]


class Shell:
    """A bash on a terminal."""

    def __init__(self, folder):
        pid, self.terminal = pty.fork()
        if pid == 0:
            os.chdir(folder)
            os.execve("/bin/bash", ["bash", "--norc", "--noprofile", "-i"],
                      {"PATH": "/usr/vexo/bin:/usr/bin:/bin", "TERM": "dumb", "PS1": "",
                       "LANG": "C.UTF-8", "HISTFILE": "",
                       "LD_LIBRARY_PATH": str(command_support.LIBRARIES)})
        self.pid = pid
        # With the echo off, readline shows what it offers and nothing of the line; ^T tells
        # the line as it is.
        os.write(self.terminal,
                 "bind 'set completion-query-items 0'; bind 'set page-completions off'; "
                 "bind 'set enable-bracketed-paste off'; bind 'set bell-style none'; "
                 "bind -x '\"\\C-t\": printf \"\\n<%s>\\n\" \"$READLINE_LINE\"'; "
                 f"stty -echo columns 500; . {SCRIPT}; PS1='=rea''dy='\n".encode())
        self.read_until("=ready=")  # from now on keys go to readline

    def close(self):
        os.close(self.terminal)
        os.waitpid(self.pid, 0)

    def read_until(self, pattern):
        """Everything up to the end of the pattern, and its match."""
        seen = ""
        deadline = time.monotonic() + 30
        while (match := re.search(pattern, seen)) is None:
            ready, _, _ = select.select([self.terminal], [], [],
                                        max(deadline - time.monotonic(), 0))
            if not ready:
                raise TimeoutError(seen)
            seen += os.read(self.terminal, 65536).decode()
        return seen[:match.start()], match

    def type(self, keys):
        """What is shown after the keys, and the resulting line."""
        os.write(self.terminal, f"{keys}\x14\x15".encode())
        shown, match = self.read_until("<(.*)>\r?\n")
        return shown, match[1]


class Completion(CommandTest):
    def setUp(self):
        super().setUp()
        self.folder = pathlib.Path(tempfile.mkdtemp())
        self.addCleanup(shutil.rmtree, self.folder)
        (self.folder / "some file.jsonl").touch()
        (self.folder / "other.db").touch()
        (self.folder / "deep").mkdir()
        self.shell = Shell(self.folder)
        self.addCleanup(self.shell.close)

    def offered(self, line):
        """The words that bash offers for the last word of the line."""
        return set(self.shell.type(f"{line}\t\t")[0].split())

    def completed(self, line):
        """The line as bash completes it."""
        return self.shell.type(f"{line}\t")[1]

    def options_of(self, name):
        """The options listed in the help."""
        told = self.out(*name.split(), "--help").split("\nExample:")[0]
        return set(re.findall(r"(?m)^  (?:-[hy],)?(--[a-z-]+)", told))

    def test_subcommands_are_those_of_the_help(self):
        told = re.findall(r"(?m)^  ([a-z]+)  ", self.out("--help").split("Subcommands:")[1])

        self.assertEqual(sorted(told), sorted(SUBCOMMANDS))
        self.assertLessEqual(set(SUBCOMMANDS), self.offered("vexosharing "))

    def test_subcommand_is_completed(self):
        self.assertIn("vexosharing transfer ", self.completed("vexosharing tra"))
        self.assertEqual({"check", "create"} & self.offered("vexosharing c"),
                         {"check", "create"})

    def test_options_of_each_subcommand_are_those_of_its_help(self):
        for name in [*SUBCOMMANDS, "block list", "block clear"]:
            with self.subTest(name):
                options = self.options_of(name)
                if len(options) == 1:  # put in at once
                    self.assertIn(f"{name} --help ",
                                  self.completed(f"vexosharing {name} --"))
                else:
                    self.assertEqual(self.offered(f"vexosharing {name} --"), options)

    def test_files_are_completed(self):
        self.assertIn("import some\\ file.jsonl ", self.completed("vexosharing import so"))
        self.assertIn("--database other.db ",
                      self.completed("vexosharing list --database ot"))
        self.assertIn("--database=other.db ",
                      self.completed("vexosharing list --database=ot"))
        self.assertIn("--password-file deep/",
                      self.completed("vexosharing create --password-file de"))
        self.assertIn("backup deep/", self.completed("vexosharing backup de"))
        self.assertIn("export --force other.db ",
                      self.completed("vexosharing export --force o"))

    def test_values_are_completed(self):
        for line, whole in (("list --state not", "not_started"),
                            ("list --state=not", "not_started"),
                            ("list --order pro", "project"),
                            ("create --redirect-type ur", "url_param"),
                            ("list --columns prot", "protection"),
                            ("help cre", "create"),
                            ("create --expire nev", "never"),
                            ("create --owner ali", "alice"),
                            ("edit x --user ali", "alice"),
                            ("transfer --from ali", "alice"),
                            ("edit x --group staff-t", "staff-test"),
                            ("block cl", "clear"),
                            ("visit abc logi", "login")):
            with self.subTest(line):
                self.assertIn(f"{whole} ", self.completed(f"vexosharing {line}"))

    def test_free_text_has_no_completion(self):
        for line in ("show ", "list --project ", "create --title ", "block clear "):
            with self.subTest(line):
                self.assertEqual(self.offered(f"vexosharing {line}"), set())


if __name__ == "__main__":
    command_support.main()

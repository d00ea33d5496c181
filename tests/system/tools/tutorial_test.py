"""Runs the tutorial's commands in one shell, as a reader would paste them."""

import os
import pathlib
import re
import subprocess
import sys
import unittest

PROJECT = pathlib.Path(__file__).resolve().parents[3]
BUILD = pathlib.Path(sys.argv.pop(1))

BLOCK = re.compile(r"^```sh( enter| leave)?\n(.*?)^```$", re.MULTILINE | re.DOTALL)


def commands():
    """The commands between entering the namespace and leaving it."""
    blocks = BLOCK.findall((PROJECT / "docs/tutorial.md").read_text())
    marks = [mark.strip() for mark, _ in blocks]
    inside = blocks[marks.index("enter") + 1:marks.index("leave")]
    return "".join(text for _, text in inside)


class Tutorial(unittest.TestCase):
    def test_commands_do_what_it_says(self):
        script = commands()
        install = "cmake --install build-tutorial"
        self.assertEqual(script.count(install), 1)
        script = script.replace(install, f"cmake --install '{BUILD}' --prefix /usr/vexo/local")
        # The tested tree was configured for another prefix than the tutorial's.
        libraries = dict(os.environ, LD_LIBRARY_PATH=str(BUILD / "lib"))

        shell = subprocess.run(["bash", "-e"], input=script, cwd=PROJECT, env=libraries,
                               capture_output=True, text=True, check=False)

        self.assertEqual(shell.returncode, 0, shell.stdout + shell.stderr)
        self.assertEqual(shell.stdout.count("refused, as it should be"), 3, shell.stdout)
        self.assertEqual(shell.stdout.count("alice is not listed"), 1, shell.stdout)
        self.assertIn("https://share.example.org/sharing/", shell.stdout)
        self.assertRegex(shell.stdout, r"(?m)^-9 ")
        self.assertRegex(shell.stdout, r"(?m)^-11 ")
        self.assertRegex(shell.stdout, r"(?m)^-7 ")
        self.assertRegex(shell.stdout, r"(?m)^-10 ")


if __name__ == "__main__":
    unittest.main()

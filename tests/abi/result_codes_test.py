"""The documentation has the results of result_code.h: numbers, names and meanings."""

import pathlib
import re
import unittest

PROJECT = pathlib.Path(__file__).resolve().parents[2]
GROUPS = ("LOGIN", "CHECK")


def read(path):
    return (PROJECT / path).read_text(encoding="utf-8")


def header_results(group):
    """The (name, number, meaning) rows of one table of result_code.h."""
    text = read("include/result_code.h").replace("\\\n", "")
    rows = re.findall(rf'X\((SHARING_{group}_\w+),\s*(-?\d+),\s*((?:"[^"]*"\s*)+)\)', text)
    return [(name, number, "".join(re.findall('"([^"]*)"', meaning)))
            for name, number, meaning in rows]


def comment_results(group):
    """The rows of the list in the comments of sharinglogin.h."""
    text = re.sub(r"\n///   (?=\S)", " ", read("include/sharinglogin.h"))
    rows = re.findall(rf"^/// - (-?\d+) (SHARING_{group}_\w+): (.*)$", text, re.MULTILINE)
    return [(name, number, meaning) for number, name, meaning in rows]


def document_results(group):
    """The rows of one table of docs/developers.md."""
    rows = re.findall(rf"^\| (-?\d+) \| `(SHARING_{group}_\w+)` \| ([^|]*) \|",
                      read("docs/developers.md"), re.MULTILINE)
    return [(name, number, meaning) for number, name, meaning in rows]


class ResultCodesTest(unittest.TestCase):
    def test_header_has_all_results(self):
        self.assertEqual([number for _, number, _ in header_results("LOGIN")],
                         ["1", "-2", "-3", "-4", "-8", "-9", "-10", "-11"])
        self.assertEqual([number for _, number, _ in header_results("CHECK")],
                         ["1", "-1", "-2", "-4", "-5", "-6", "-7", "-8"])

    def test_comments_of_the_functions_have_the_same_results(self):
        for group in GROUPS:
            self.assertEqual(comment_results(group), header_results(group))

    def test_document_has_the_same_results(self):
        for group in GROUPS:
            self.assertEqual(document_results(group), header_results(group))


if __name__ == "__main__":
    unittest.main()

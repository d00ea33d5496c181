"""The answers of a link that needs a login to visitors without access."""

import ctypes
import os

from web_support import PASSWORD, WebTest, main, told

ADDRESSES = ("", "/", "/notes.txt", "/none", "/sub", "/sub/", "/sub/deep.txt", "/.hidden",
             "/?zip", "/sub/?zip", "/notes.txt?view", "/notes.txt?download",
             "/?sort=size&order=desc", "/?page=2", "/?q=notes", "/" + "x/" * 70)
EARLY = "Sun, 06 Nov 1994 08:49:37 GMT"
LATE = "Sun, 22 Nov 2099 00:00:00 GMT"


class OpenWatch:
    """Tells whether folders, or files in them, are opened (inotify(7))."""

    IN_OPEN = 0x20

    def __init__(self, *folders):
        library = ctypes.CDLL(None, use_errno=True)
        self.descriptor = library.inotify_init1(os.O_NONBLOCK | os.O_CLOEXEC)
        for folder in folders:
            if library.inotify_add_watch(self.descriptor, os.fsencode(folder),
                                         self.IN_OPEN) == -1:
                raise OSError(ctypes.get_errno(), f"cannot watch {folder}")

    def seen(self):
        """Whether something has been opened since the last call."""
        try:
            return bool(os.read(self.descriptor, 1 << 16))
        except BlockingIOError:
            return False

    def close(self):
        os.close(self.descriptor)


class StrangerTest(WebTest):
    def setUp(self):
        super().setUp()
        self.write("notes.txt")
        self.write("sub/deep.txt")
        self.links = {"password": self.share(password=PASSWORD),
                      "users": self.share("--user", "alice"),
                      "limit": self.share("--uses", "9")}

    def test_every_address_of_the_link_is_the_same_page(self):
        for kind, link in self.links.items():
            page = self.visitor.get(link)
            self.assertEqual(page.status, 401)
            self.assertEqual(page.page, "open" if kind == "limit" else "login")
            self.assertEqual(page.header("WWW-Authenticate"), 'Form realm="sharing"')
            head = self.visitor.head(link)
            self.assertEqual((head.status, head.body), (401, b""))
            for rest in ADDRESSES:
                with self.subTest(kind + rest):
                    self.assertEqual(told(self.visitor.get(link + rest)), told(page))
                    self.assertEqual(told(self.visitor.head(link + rest)), told(head))

    def test_ranges_and_conditions_tell_nothing(self):
        for kind, link in self.links.items():
            page = told(self.visitor.get(link))
            for headers in ({"range": "bytes=0-1"}, {"range": "bytes=99-"},
                            {"range": "bytes=0-1", "if_range": LATE},
                            {"if_none_match": "*"}, {"if_match": '"x"'},
                            {"if_modified_since": LATE}, {"if_unmodified_since": EARLY}):
                for rest in ("/notes.txt", "/none"):
                    with self.subTest(kind + rest, **headers):
                        self.assertEqual(told(self.visitor.get(link + rest, **headers)), page)

    def test_nothing_that_is_shared_is_opened(self):
        watch = OpenWatch(self.folder, self.folder / "sub")
        self.addCleanup(watch.close)
        for kind, link in self.links.items():
            for rest in ADDRESSES:
                with self.subTest(kind + rest):
                    self.visitor.get(link + rest)
                    self.visitor.head(link + rest, range="bytes=0-1")
                    self.assertFalse(watch.seen())
            self.visitor.post(link + "/notes.txt", username="alice", password="wrong")
            self.assertFalse(watch.seen())
        self.log_in(self.links["password"])
        self.visitor.get(self.links["password"] + "/notes.txt")
        self.assertTrue(watch.seen())


if __name__ == "__main__":
    main()

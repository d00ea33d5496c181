"""Folders as a grid of thumbnails, and the way from picture to picture."""

import os
import pathlib
import struct
import subprocess
import threading
import zlib

from fastcgi_support import FastCgiTransport, wait_until
from web_support import HELPER, PASSWORD, Page, Visitor, WebTest, main, needs_program

CACHE = pathlib.Path("/usr/vexo/var/cache/sharing")
SETTINGS = "/usr/vexo/etc/web.conf"


def chunk(kind, data):
    return (struct.pack(">I", len(data)) + kind + data
            + struct.pack(">I", zlib.crc32(kind + data)))


def png(width, height, colour=b"\xff\0\0"):
    """A picture of one colour."""
    rows = (b"\0" + colour * width) * height
    return (b"\x89PNG\r\n\x1a\n"
            + chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0))
            + chunk(b"IDAT", zlib.compress(rows)) + chunk(b"IEND", b""))


def size_of(jpeg):
    """Width and height of a JPEG file."""
    position = 2
    while True:
        marker, length = struct.unpack_from(">HH", jpeg, position)
        if 0xffc0 <= marker <= 0xffc2:
            height, width = struct.unpack_from(">HH", jpeg, position + 5)
            return width, height
        position += 2 + length


def turned(jpeg):
    """The file with the note of a camera that was held upright."""
    exif = (b"Exif\0\0MM\0*" + struct.pack(">IH", 8, 1)
            + struct.pack(">HHIHH", 0x112, 3, 1, 6, 0) + bytes(4))
    return jpeg[:2] + struct.pack(">HH", 0xffe1, len(exif) + 2) + exif + jpeg[2:]


class GridTest(WebTest):
    def tiles(self, target):
        """Kind, address and thumbnail of each tile."""
        page = Page.read(self.visitor.get(target))
        tiles = []
        for index, element in enumerate(page.elements):
            if element[0] == "li" and "data-kind" in element[1]:
                names = [e[0] for e in page.elements[index + 1:index + 4]]
                picture = page.elements[index + 3][1] if "img" in names else {}
                tiles.append((element[1]["data-kind"], page.elements[index + 1][1]["href"],
                              picture.get("src")))
        return tiles

    def links(self, target):
        return [link[1]["href"] for link in Page.read(self.visitor.get(target)).find("a")]

    def test_entries_are_tiles_and_pictures_have_thumbnails(self):
        for name in ("sub/x", "a b.jpg", "c.PNG", "d.webp", "e.gif", "f.txt", "g.bin"):
            self.write(name)
        link = self.share()
        self.assertEqual(self.tiles(link + "/?view=grid"), [
            ("folder", "./sub/?view=grid", None),
            ("file", "./a%20b.jpg?view=grid", "./a%20b.jpg?thumb"),
            ("file", "./c.PNG?view=grid", "./c.PNG?thumb"),
            ("file", "./d.webp?view=grid", "./d.webp?thumb"),
            ("file", "./e.gif?view=grid", None), ("file", "./f.txt?view=grid", None),
            ("file", "./g.bin", None)])
        page = Page.read(self.visitor.get(link + "/?view=grid"))
        self.assertEqual(len(page.find("ul", id="grid")), 1)
        self.assertEqual(page.find("table"), [])
        image = page.find("img")[0][1]
        self.assertEqual((image["loading"], image["decoding"], image["alt"]),
                         ("lazy", "async", ""))
        self.assertTrue(image["width"] and image["height"])
        item = page.find("li", data_kind="file")[0]
        self.assertEqual((item[1]["data-size"], item[2]), ("8", "a b.jpg"))
        self.assertTrue(item[1]["data-time"].isdigit())

    def test_list_and_grid_lead_to_each_other_with_order_and_text(self):
        self.write("a.jpg")
        link = self.share()
        self.assertIn("?view=grid", self.links(link + "/"))
        self.assertEqual(Page.read(self.visitor.get(link + "/")).find("ul", id="grid"), [])
        self.assertIn("./", self.links(link + "/?view=grid"))
        order = "sort=size&order=desc&q=a"
        self.assertIn(f"?view=grid&{order}", self.links(f"{link}/?{order}"))
        links = self.links(f"{link}/?view=grid&{order}")
        self.assertIn(f"?{order}", links)
        self.assertIn("?view=grid&sort=time&order=asc&q=a",
                      links)
        self.assertIn("./a.jpg?view=grid&sort=size&order=desc", links)
        page = Page.read(self.visitor.get(f"{link}/?view=grid&{order}"))
        fields = {field[1]["name"]: field[1].get("value") for field in page.find("input")
                  if "name" in field[1]}
        self.assertEqual(fields, {"view": "grid", "sort": "size", "order": "desc", "q": "a",
                                  "below": None})

    def test_grid_of_a_search_below_keeps_it(self):
        self.write("sub/deep.jpg", b"x")
        link = self.share()
        links = self.links(f"{link}/?view=grid&q=deep&below")
        self.assertIn("?q=deep&below=", links)
        self.assertIn("./sub/deep.jpg?view=grid", links)

    def test_grid_is_sorted_searched_and_divided_into_pages(self):
        for index in range(600):
            (self.folder / f"picture{index}.jpg").write_bytes(b"x" * (index % 7))
        link = self.share()
        self.assertEqual(len(self.tiles(link + "/?view=grid")), 500)
        last = self.tiles(link + "/?view=grid&page=2")
        self.assertEqual((len(last), last[-1][1]), (100, "./picture599.jpg?view=grid"))
        self.assertIn("?view=grid&page=2", self.links(link + "/?view=grid"))
        self.assertEqual(len(self.tiles(link + "/?view=grid&q=picture59")), 11)
        first = self.tiles(link + "/?view=grid&sort=size&order=desc")[0]
        self.assertEqual(first[1], "./picture6.jpg?view=grid&sort=size&order=desc")

    def test_anything_else_than_grid_is_the_list(self):
        self.write("a.jpg")
        for view in ("", "=", "=list", "=GRID", "=grid%20"):
            page = Page.read(self.visitor.get(self.share() + f"/?view{view}"))
            self.assertEqual(len(page.find("table", id="files")), 1)

    def test_empty_folder_has_no_grid(self):
        page = Page.read(self.visitor.get(self.share() + "/?view=grid"))
        self.assertEqual(page.find("ul", id="grid"), [])

    def test_crumbs_of_a_grid_lead_to_grids(self):
        self.write("sub/deep/a.jpg")
        link = self.share()
        self.assertEqual(self.links(link + "/sub/deep/?view=grid")[:2],
                         ["../../?view=grid", "../?view=grid"])
        self.assertEqual(self.links(link + "/sub/deep/a.jpg?view=grid&sort=time&order=asc")[:3],
                         ["../../?view=grid", "../?view=grid",
                          "./?view=grid&sort=time&order=asc"])
        self.assertEqual(self.links(link + "/sub/deep/a.jpg?view")[:3],
                         ["../../", "../", "./"])

    def around(self, target):
        """The addresses of the pictures before and after."""
        page = Page.read(self.visitor.get(target))
        found = {link[1]["rel"]: link[1]["href"] for link in page.find("a")
                 if "rel" in link[1]}
        return found.get("prev"), found.get("next")

    def test_pictures_lead_to_those_before_and_after(self):
        for index, name in enumerate(("1.jpg", "2.txt", "10.png", "9.gif", ".hidden.jpg",
                                      "sub.jpg/x")):
            os.utime(self.write("photos/" + name), (1000 - index, 1000 - index))
        link = self.share() + "/photos/"
        self.assertEqual(self.around(link + "1.jpg?view"), (None, "./9.gif?view"))
        self.assertEqual(self.around(link + "9.gif?view"), ("./1.jpg?view", "./10.png?view"))
        self.assertEqual(self.around(link + "10.png?view"), ("./9.gif?view", None))
        order = "&sort=time&order=desc"
        self.assertEqual(self.around(link + "10.png?view=grid" + order),
                         ("./1.jpg?view=grid" + order, "./9.gif?view=grid" + order))
        order = "&sort=size&order=asc"  # all equal: by name
        self.assertEqual(self.around(link + "9.gif?view" + order),
                         ("./1.jpg?view" + order, "./10.png?view" + order))
        self.assertEqual(self.around(link + "2.txt?view"), (None, None))

    def test_shared_hidden_names_are_led_to(self):
        self.write("a.jpg")
        self.write(".b.jpg")
        link = self.share(app={"path": str(self.folder), "hidden": True})
        self.assertEqual(self.around(link + "/a.jpg?view"), ("./.b.jpg?view", None))

    def test_single_picture_leads_nowhere(self):
        self.write("a.jpg")
        link = self.share(path=self.write("b.jpg"))
        self.assertEqual(self.around(link + "/"), (None, None))
        self.assertEqual(self.around(link + "/b.jpg?view"), (None, None))


class ThumbnailTest(WebTest):
    def test_picture_has_a_thumbnail_of_320_pixels(self):
        self.write("a b.png", png(640, 480))
        answer = self.visitor.get(self.share() + "/a%20b.png?thumb")
        self.assertEqual(answer.status, 200)
        self.assertEqual(answer.header("Content-Type"), "image/jpeg")
        self.assertEqual(answer.header("Content-Disposition").partition(";")[0], "inline")
        self.assertIn("sandbox", answer.header("Content-Security-Policy"))
        self.assertEqual(answer.header("X-Content-Type-Options"), "nosniff")
        self.assertEqual(answer.header("Cache-Control"), "private, no-cache")
        self.assertEqual(answer.header("Content-Length"), str(len(answer.body)))
        self.assertEqual(size_of(answer.body), (320, 240))

    def test_thumbnail_of_a_photograph_is_upright(self):
        self.write("a.png", png(640, 320))
        link = self.share()
        thumbnail = self.visitor.get(link + "/a.png?thumb").body
        self.write("b.jpg", turned(thumbnail))
        self.assertEqual(size_of(self.visitor.get(link + "/b.jpg?thumb").body), (160, 320))

    def test_name_only_says_that_it_is_a_picture(self):
        self.write("a.jpg", png(10, 5))
        answer = self.visitor.get(self.share() + "/a.jpg?thumb")
        self.assertEqual(size_of(answer.body), (10, 5))

    def test_conditions_are_those_of_the_thumbnail(self):
        self.write("a.png", png(8, 8))
        target = self.share() + "/a.png?thumb"
        answer = self.visitor.get(target)
        tag = answer.header("ETag")
        self.assertRegex(tag, '^"[^"]+"$')
        self.assertNotEqual(tag, self.visitor.get(target[:-6]).header("ETag"))
        again = self.visitor.get(target, if_none_match=tag)
        self.assertEqual((again.status, again.body), (304, b""))
        self.assertEqual(again.header("ETag"), tag)
        self.assertEqual(self.visitor.get(target, if_match='"x"').status, 412)
        self.assertEqual(
            self.visitor.get(target, if_modified_since=answer.header("Last-Modified")).status,
            304)
        part = self.visitor.get(target, range="bytes=0-1")
        self.assertEqual((part.status, part.body), (200, answer.body))

    def test_head_has_the_same_headers_before_and_after_the_thumbnail_is_made(self):
        self.write("a.png", png(8, 8))
        target = self.share() + "/a.png?thumb"
        first = self.visitor.head(target)
        answer = self.visitor.get(target)
        second = self.visitor.head(target)
        names = ("Content-Length", "Content-Type", "ETag", "Last-Modified", "Cache-Control")
        for head in (first, second):
            self.assertEqual((head.status, head.body), (200, b""))
            self.assertEqual([head.header(name) for name in names],
                             [answer.header(name) for name in names])

    def test_changed_picture_has_another_thumbnail(self):
        self.write("a.png", png(8, 8))
        target = self.share() + "/a.png?thumb"
        before = self.visitor.get(target)
        self.write("a.png", png(9, 9))
        after = self.visitor.get(target, if_none_match=before.header("ETag"))
        self.assertEqual((after.status, size_of(after.body)), (200, (9, 9)))

    def test_what_has_no_thumbnail_is_not_found(self):
        self.write("text.txt")
        self.write("animation.gif", b"GIF89a")
        self.write("text.jpg", b"this is a text")
        self.write("broken.png", png(640, 480)[:60])
        self.write("empty.webp", b"")
        header = struct.pack(">IIBBBBB", 65535, 65535, 8, 2, 0, 0, 0)
        self.write("bomb.png", b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header)
                   + chunk(b"IDAT", zlib.compress(bytes(1 << 20))))
        with open(self.write("long.png", png(8, 8)), "ab") as file:
            file.truncate(65 << 20)
        link = self.share()
        for name in sorted(os.listdir(self.folder)):
            for _ in range(2):  # also when that is known
                with self.subTest(name):
                    answer = self.visitor.get(f"{link}/{name}?thumb")
                    self.assertEqual((answer.status, answer.page), (404, "missing"))
        self.assertEqual(self.visitor.get(link + "/none.png?thumb").status, 404)
        self.assertEqual(self.visitor.get(link + "/?thumb").page, "folder")

    def test_strangers_get_no_thumbnail(self):
        self.write("a.png", png(8, 8))
        link = self.share(password=PASSWORD)
        target = link + "/a.png?thumb"
        self.assertEqual(self.visitor.get(target).page, "login")
        self.log_in(link)
        answer = self.visitor.get(target)
        self.assertEqual((answer.status, answer.header("Cache-Control")), (200, "no-store"))
        stranger = self.new_visitor()
        self.assertEqual(stranger.get(target).page, "login")
        self.assertEqual(
            stranger.get(target, if_none_match=answer.header("ETag")).status, 401)

    def test_thumbnail_that_is_kept_is_no_way_around_the_rights(self):
        path = self.write("sub/a.png", png(8, 8))
        target = self.share() + "/sub/a.png?thumb"
        self.assertEqual(self.visitor.get(target).status, 200)
        tag = self.visitor.get(target).header("ETag")
        path.parent.chmod(0o700)  # the file itself does not change
        self.assertEqual(self.visitor.get(target).status, 404)
        self.assertEqual(self.visitor.get(target, if_none_match=tag).status, 404)

    def test_hidden_pictures_and_those_outside_have_none(self):
        self.write(".a.png", png(8, 8))
        outside = self.folder.parent / "outside.png"
        outside.write_bytes(png(8, 8))
        (self.folder / "link.png").symlink_to(outside)
        link = self.share()
        for name in (".a.png", "link.png", "../outside.png", "%2e%2e/outside.png"):
            self.assertEqual(self.visitor.get(f"{link}/{name}?thumb").status, 404)


class HelperTest(WebTest):
    """Thumbnails with another program in place of the one that makes them."""

    def setUp(self):
        super().setUp()
        self.write("a.png", png(8, 8))

    def replace_helper(self, commands):
        kept = HELPER.with_name("kept")
        if not kept.exists():
            HELPER.rename(kept)
            self.addCleanup(self.restore_helper)
        HELPER.write_text("#!/bin/bash\nexport PATH=/usr/bin:/bin\n" + commands + "\n",
                          encoding="utf-8")
        HELPER.chmod(0o755)

    def restore_helper(self):
        kept = HELPER.with_name("kept")
        if kept.exists():
            kept.rename(HELPER)

    def thumbnail(self):
        """A thumbnail for helpers to write."""
        path = pathlib.Path("/tmp/thumbnail.jpg")
        if not path.exists():
            with open(self.folder / "a.png", "rb") as picture:
                made = subprocess.run([HELPER], stdin=picture, stdout=subprocess.PIPE,
                                      check=True)
            path.write_bytes(made.stdout)
        return path

    @needs_program
    def test_helper_that_dies_or_writes_garbage_means_that_there_is_none(self):
        link = self.share()
        for index, commands in enumerate((
                "exit 1", "kill -SEGV $$", "echo '<script>'", "exec cat /dev/zero",
                "printf '\\377\\330\\377'", "exec head -c 1000 /dev/urandom")):
            self.replace_helper(commands)
            self.write(f"{index}.png", png(8, 8))
            answer = self.visitor.get(f"{link}/{index}.png?thumb")
            self.assertEqual((answer.status, answer.page), (404, "missing"), commands)

    @needs_program
    def test_helper_that_hangs_or_is_missing_is_tried_again_later(self):
        target = self.share() + "/a.png?thumb"
        self.replace_helper("exec sleep 1000")
        answer = self.visitor.get(target)
        self.assertEqual((answer.status, answer.page), (503, "error"))
        self.assertTrue(answer.header("Retry-After"))
        HELPER.unlink()
        self.assertEqual(self.visitor.get(target).status, 503)
        self.restore_helper()
        self.assertEqual(self.visitor.get(target).status, 200)

    @needs_program
    def test_helper_runs_once_for_a_picture(self):
        self.write("broken.png", b"x")
        link = self.share()
        targets = [link + "/a.png?thumb", link + "/broken.png?thumb"]
        first = [self.visitor.get(target).status for target in targets]
        self.assertEqual(first, [200, 404])
        self.replace_helper("exit 2")
        self.assertEqual([self.new_visitor().get(target).status for target in targets], first)

    @needs_program
    def test_cache_that_cannot_be_written_only_costs_time(self):
        target = self.share() + "/a.png?thumb"
        CACHE.rename(CACHE.with_name("elsewhere"))
        self.addCleanup(CACHE.with_name("elsewhere").rename, CACHE)
        first = self.visitor.get(target)
        self.assertEqual((first.status, size_of(first.body)), (200, (8, 8)))
        self.assertEqual(self.visitor.get(target).body, first.body)

    @needs_program
    def test_cache_is_private_and_bounded(self):
        with open(SETTINGS, "w", encoding="utf-8") as file:
            file.write("thumbnail_cache = 16\n")
        self.addCleanup(os.unlink, SETTINGS)
        self.assertEqual(CACHE.stat().st_mode & 0o777, 0o700)
        self.visitor.get(self.share() + "/a.png?thumb")
        found = [path for path in CACHE.rglob("*") if path.is_file()]
        self.assertTrue(found)
        for path in [*found, found[0].parent]:
            self.assertEqual(path.stat().st_mode & 0o077, 0)
            self.assertEqual(path.stat().st_uid, 1)
        for index in range(64):  # each part has more than its share already
            part = CACHE / f"{index:02}"
            part.mkdir(exist_ok=True)
            os.chown(part, 1, 1)
            for number in range(4):
                (part / f"old{number}").write_bytes(bytes(100 << 10))
        self.write("b.png", png(9, 9))
        self.assertEqual(self.visitor.get(self.share() + "/b.png?thumb").status, 200)
        sizes = [sum(file.stat().st_size for file in part.iterdir())
                 for part in CACHE.iterdir()]
        self.assertLessEqual(min(sizes), 256 << 10)

    @needs_program
    def test_few_helpers_run_at_once_and_the_others_wait(self):
        thumbnail = self.thumbnail()
        running = self.folder.parent / "running"
        running.mkdir(mode=0o777)
        running.chmod(0o777)
        self.replace_helper(f"echo > {running}/$$.run; ls {running} | grep -c run >> "
                            f"{running}/counts; sleep 0.2; rm {running}/$$.run; "
                            f"exec cat {thumbnail}")
        for index in range(12):
            self.write(f"{index}.png", png(8, 8))
        link = self.share()
        server = FastCgiTransport(self.folder.parent)
        self.addCleanup(server.listener.close)
        self.addCleanup(server.stop)
        visitors = [Visitor(server) for _ in range(12)]
        answers = []
        threads = [threading.Thread(target=lambda i=i: answers.append(
            visitors[i].get(f"{link}/{i}.png?thumb").status)) for i in range(12)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertEqual(answers, [200] * 12)
        counts = [int(line) for line in (running / "counts").read_text().split()]
        self.assertEqual(len(counts), 12)
        self.assertLessEqual(max(counts), 2)

    @needs_program
    def test_slow_helper_keeps_no_worker_waiting(self):
        with open(SETTINGS, "w", encoding="utf-8") as file:
            file.write("workers = 1\n")
        self.addCleanup(os.unlink, SETTINGS)
        started = self.folder.parent / "started"
        started.touch()
        started.chmod(0o666)
        self.replace_helper(f"echo > {started}; exec sleep 1000")
        link = self.share()
        server = FastCgiTransport(self.folder.parent)
        self.addCleanup(server.listener.close)
        self.addCleanup(server.stop)
        with server.connect() as connection:
            connection.send(server.environment("GET", link + "/a.png?thumb", {"Host": "x"},
                                               self.visitor.address))
            connection.socket.sendall(b"\x01\x05\x00\x01\x00\x00\x00\x00")
            wait_until(lambda: started.stat().st_size)
            self.assertEqual(Visitor(server).get(link + "/").page, "folder")
            self.assertEqual(bytes(connection.output), b"")
            answer = connection.finish()
            self.assertEqual(answer.status, 503)


if __name__ == "__main__":
    main()

"""The archive viewer: its requests to real servers for archives made by real programs, and leaving it."""

import os
import struct
import subprocess
import time
import unittest
import zipfile

import harness
import origin
import servers
from case import Case

TITLE = "OnLine-Zip Viewer"
COUNTS = (0, 1, 1000, 30000)


def made_by_python(path, count):
    with zipfile.ZipFile(path, "w", zipfile.ZIP_DEFLATED) as archive:
        for number in range(count):
            archive.writestr("folder%d/file%d.txt" % (number % 100, number), b"contents %d" % number)


def made_by_zip(path, count):
    """Without extra fields: the viewer advances only by the name's length."""
    folder = path + ".from"
    os.mkdir(folder)
    for number in range(max(count, 1)):
        with open(os.path.join(folder, "file%d.txt" % number), "wb") as f:
            f.write(b"contents %d" % number)
    subprocess.run(["zip", "-X", "-q", "-r", path, "."], cwd=folder, stdin=subprocess.DEVNULL, check=True)
    if count == 0:  # zip makes an empty archive only by deleting the last member
        subprocess.run(["zip", "-q", "-d", path, "*"], stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                       stderr=subprocess.DEVNULL, check=False)


def directory_size(data):
    return struct.unpack("<I", data[-10:-6])[0]


def entry_count(data):
    return struct.unpack("<H", data[-14:-12])[0]


def request(path, first, last):
    return ("GET %s HTTP/1.1\r\nAccept: *.*, */*\r\nReferer: 127.0.0.1\r\nHost: 127.0.0.1\r\n"
            "Range: bytes=%d-%d\r\n\r\n" % (path, first, last)).encode()


class ZipOrigin(origin.Origin):
    """Serves bytes with ranges and counts the bytes sent in reply."""

    def __init__(self):
        super().__init__()
        self.sent = {}

    def serve_zip(self, path, data):
        def reply(connection, asked):
            wanted = asked.range()
            first, last = wanted if wanted else (0, len(data) - 1)
            body = data[first:min(last, len(data) - 1) + 1]
            head = b"HTTP/1.1 %s\r\nContent-Type: application/zip\r\nContent-Length: %d\r\n\r\n" % (
                b"206 Partial Content" if wanted else b"200 OK", len(body))
            connection.sendall(head + body)
            if wanted:
                self.sent[path] = self.sent.get(path, 0) + len(head) + len(body)

        self.replies[path] = reply


class Viewer(Case):
    settings = {"MaxSegments": 4, "AutoPreviewZIP": "True"}
    make_origin = ZipOrigin

    @classmethod
    def setUpClass(cls):
        cls.folder = harness.Stage.get().new_folder("archives")
        cls.archives = {}
        for maker in (made_by_python, made_by_zip):
            for count in COUNTS:
                path = os.path.join(cls.folder, "%s-%d.zip" % (maker.__name__, count))
                maker(path, count)
                if not os.path.exists(path):
                    continue  # some versions of zip delete an archive when it becomes empty
                with open(path, "rb") as f:
                    cls.archives[os.path.basename(path)] = f.read()

    def setUp(self):
        super().setUp()
        self.session.start()

    def viewers(self):
        return self.session.titled(TITLE)

    def wait_viewer(self):
        return harness.wait_until(self.viewers, 30, "the viewer")[0]

    def click_download_classic(self, viewer):
        """Clicks "Download classic", at the lower right."""
        def gone():
            if viewer not in self.viewers():
                return True
            if not self.x.activate(viewer):
                return True
            left, top, width, height = self.x.place(viewer)
            x, y = left + width - 60, top + height - 30
            if self.x.shows(viewer, x, y):
                self.x.click(x, y)
                time.sleep(1)
            return False
        harness.wait_until(gone, 30, "the viewer to go")

    def leave(self, viewer):
        self.session.close_window(viewer)

    def bytes_of(self, url):
        self.session.companion.wait_finished([url], 30)
        with open(os.path.join(self.session.downloads, url.rsplit("/", 1)[1]), "rb") as f:
            return f.read()

    def test_sends_two_requests_for_archives_of_any_size(self):
        self.assertGreaterEqual(len(self.archives), 7)
        for name, data in self.archives.items():
            with self.subTest(name):
                path = "/" + name
                self.assertEqual(entry_count(data), int(name.split("-")[1].split(".")[0]))
                self.origin.serve_zip(path, data)
                url = self.origin.url(path)
                self.session.menu_url(url)
                viewer = self.wait_viewer()
                harness.wait_until(lambda: len(self.origin.requests_for(path)) == 3, 30, "the two requests")
                size, directory = len(data), directory_size(data)
                self.assertEqual([r.raw for r in self.origin.requests_for(path)[1:]],
                                 [request(path, size - 22, size), request(path, size - 22 - directory, size - 22)])
                harness.wait_until(lambda: self.origin.sent.get(path, 0) > 22 + directory, 10, "the replies")
                overhead = self.origin.sent[path] - 22 - directory - 1
                print("      %s: %d bytes fetched of %d" % (name, self.origin.sent[path], size))
                self.assertLess(overhead, 200)
                if "1000" in name:
                    self.click_download_classic(viewer)
                    self.assertEqual(self.bytes_of(url), data)
                else:
                    self.leave(viewer)
                    self.assertEqual(len(self.origin.requests_for(path)), 3)
        self.stop()

    def test_requests_tail_and_directory_from_nginx(self):
        nginx = servers.Nginx()
        self.addCleanup(nginx.close)
        for name, data in self.archives.items():
            with self.subTest(name):
                nginx.put(name, data)
                url = nginx.url(nginx.plain, name)
                self.session.menu_url(url)
                viewer = self.wait_viewer()
                directory = directory_size(data)

                def logged():
                    with open(os.path.join(nginx.folder, "access.log"), encoding="ascii") as f:
                        lines = [line.split('"') for line in f if "/%s " % name in line]
                    return sorted(tuple(map(int, words[2].split())) for words in lines if words[3] == "127.0.0.1")
                harness.wait_until(lambda: len(logged()) == 2, 30, "the two requests")
                self.assertEqual(logged(), sorted([(206, 22), (206, directory + 1)]))
                if "-30000" in name:
                    self.click_download_classic(viewer)
                    self.assertEqual(self.bytes_of(url), data)
                else:
                    self.leave(viewer)
        self.stop()

    def test_viewer_on_a_silent_server_blocks_no_other(self):
        data = self.archives["made_by_python-1000.zip"]
        asked = []

        def silent(connection, request_):
            asked.append(request_)
            if len(asked) > 1:
                time.sleep(30)
            connection.sendall(b"HTTP/1.1 200 OK\r\nContent-Type: application/zip\r\nContent-Length: 50000\r\n\r\n")

        self.origin.replies["/silent.zip"] = silent
        self.session.menu_url(self.origin.url("/silent.zip"))
        self.wait_viewer()
        self.origin.serve_zip("/good.zip", data)
        self.session.menu_url(self.origin.url("/good.zip"))
        harness.wait_until(lambda: len(self.viewers()) == 2, 30, "the second viewer")
        harness.wait_until(lambda: len(self.origin.requests_for("/good.zip")) == 3, 30, "its requests")
        self.fetch(self.serve("/plain.bin"))
        self.assertLess(self.session.response_seconds(), harness.PROMPT)
        self.stop()

    def test_a_name_that_the_disk_cannot_hold_is_refused_after_the_viewer(self):
        data = self.archives["made_by_python-1.zip"]
        for number, name in enumerate(("n" * 251 + ".zip", "n" * 300 + ".zip")):
            with self.subTest(length=len(name)):
                self.origin.serve_zip("/" + name, data)
                self.origin.serve_redirect("/get%d" % number, "http://127.0.0.1/" + name)
                for path in ("/" + name, "/get%d" % number):
                    self.session.menu_url(self.origin.url(path))
                    viewer = self.wait_viewer()
                    harness.wait_until(lambda: len(self.origin.requests_for("/" + name)) % 3 == 0, 30, "the requests")
                    self.click_download_classic(viewer)
                    self.session.dismiss(self.session.wait_dialog()[0])
                    harness.wait_until(lambda: not self.session.companion.downloads(), 10, "the record to go")
                    self.assertTrue(self.session.alive(), self.session.read_log())
        self.stop()

    def test_server_that_ignores_ranges_fills_no_memory(self):
        def endless(connection, _request):
            connection.sendall(b"HTTP/1.1 200 OK\r\nContent-Type: application/zip\r\nContent-Length: 2000000000\r\n\r\n")
            block = b"\x00" * (1 << 20)
            for _ in range(2000):
                connection.sendall(block)

        self.origin.replies["/endless.zip"] = endless
        before = self.session.memory()
        self.session.menu_url(self.origin.url("/endless.zip"))
        viewer = self.wait_viewer()
        harness.wait_until(lambda: len(self.origin.requests_for("/endless.zip")) == 3, 30, "the second request")
        time.sleep(1)
        grown = self.session.memory() - before
        print("      memory grew by %.1f MiB" % (grown / 2**20))
        self.assertLess(grown, 24 << 20)  # for the window, its fonts and icons
        self.assertLess(self.session.response_seconds(), harness.PROMPT)
        self.leave(viewer)
        self.stop()

    def test_can_be_browsed_by_role_and_name(self):
        path = os.path.join(self.folder, "tour.zip")
        with zipfile.ZipFile(path, "w") as archive:
            archive.writestr("docs/", b"")
            archive.writestr("docs/manual.txt", b"m" * 500)
            archive.writestr("readme.txt", b"r" * 300)
        with open(path, "rb") as f:
            data = f.read()
        self.origin.serve_zip("/tour.zip", data)
        url = self.origin.url("/tour.zip")
        session = self.session = self.new_session()
        self.start_with_screen()
        screen = self.screen
        session.menu_url(url)
        screen.wait("label", "800 bytes used by 3 file(s)  (800 bytes packed.)", TITLE)
        screen.wait("label", url, TITLE)
        screen.wait("table cell", "manual.txt", TITLE)
        screen.click("radio button", "View By Folder", TITLE)
        screen.wait("label", "300 bytes used by 2 file(s)  (300 bytes packed.)", TITLE)
        screen.double_click("table cell", "+docs", TITLE)
        screen.wait("label", "500 bytes used by 1 file(s)  (500 bytes packed.)", TITLE)
        screen.click("push button", "Parent Directory", TITLE)
        screen.wait("table cell", "+docs", TITLE)
        screen.click("radio button", "Icon", TITLE)
        screen.wait("list item", "readme.txt", TITLE)
        screen.click("push button", "Extract SELECTED", TITLE)
        screen.click("push button", "Extract ALL", TITLE)
        screen.wait("label", "0 files to be extracted")
        screen.click("push button", "Extract", "Extract")
        screen.wait_gone("label", "0 files to be extracted")
        self.assertEqual(len(self.origin.requests_for("/tour.zip")), 3)
        screen.click("push button", "Download classic", TITLE)
        session.companion.wait_finished([url], 30)
        with open(os.path.join(session.downloads, "tour.zip"), "rb") as f:
            self.assertEqual(f.read(), data)
        screen.wait_gone("push button", "Download classic", TITLE)
        self.stop()


if __name__ == "__main__":
    unittest.main()

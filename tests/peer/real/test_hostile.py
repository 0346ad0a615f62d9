"""Malicious and broken servers: the program stays responsive, its memory is bounded, and nothing is written outside the
two folders."""

import os
import time
import unittest

import harness
from case import Case

MEMORY_BOUND = 24 << 20  # how much a hostile reply may add to the peak memory


class HostileServer(Case):
    settings = {"MaxSegments": 4}

    def setUp(self):
        super().setUp()
        self.session.start()
        # An ordinary download first, so that everything a download needs is allocated before memory is measured.
        self.fetch(self.serve("/first.bin", 200000))
        time.sleep(0.5)
        self.before = self.session.memory()
        self.files = self.session.tree()

    def check_unharmed(self):
        self.assertTrue(self.session.alive(), self.session.read_log())
        self.assertLess(self.session.response_seconds(), harness.PROMPT)
        grown = self.session.memory() - self.before
        print("      memory grew by %.1f MiB at most" % (grown / (1 << 20)))
        self.assertLess(grown, MEMORY_BOUND)
        self.assertEqual(self.session.tree() - self.files, set(), "files outside the two folders")
        for folder in (self.session.downloads, self.session.parts):
            for parent, names, _ in os.walk(folder):
                self.assertEqual(names, [], "a folder was made in " + parent)
        # An ordinary download still works, whatever is on the screen.
        self.fetch(self.serve("/after.bin", 200000, seed=3))
        self.stop()

    def part_bytes(self):
        return sum(os.path.getsize(os.path.join(self.session.parts, name)) for name in os.listdir(self.session.parts))

    def pour(self, head, block, seconds=4.0):
        """A reply that begins with `head` and continues with `block` for as long as the peer reads."""

        def reply(connection, _request):
            end = time.monotonic() + seconds
            connection.sendall(head)
            while time.monotonic() < end:
                connection.sendall(block)

        return reply

    def test_endless_headers_fill_neither_disk_nor_memory(self):
        self.origin.replies["/endless.bin"] = self.pour(b"HTTP/1.1 200 OK\r\n", b"X-Filler: 0123456789\r\n" * 4000)
        self.session.menu_url(self.origin.url("/endless.bin"))
        self.session.wait_dialog()
        time.sleep(2)
        # The window stops reading while its message is open, so the stream does not fill the disk.
        self.assertLess(self.part_bytes(), 8 << 20)
        self.assertEqual(len(self.session.dialogs()), 1)
        self.check_unharmed()

    def test_endless_first_line_fills_neither_disk_nor_memory(self):
        self.origin.replies["/line.bin"] = self.pour(b"", b"A" * 65536)
        self.session.menu_url(self.origin.url("/line.bin"))
        self.session.wait_dialog()
        time.sleep(2)
        self.assertLess(self.part_bytes(), 8 << 20)
        self.check_unharmed()

    def test_name_of_300_bytes_is_refused(self):
        url = self.serve("/" + "n" * 300)
        self.session.menu_url(url)
        self.session.dismiss(self.session.wait_dialog()[0])
        self.wait_state(url, None)
        self.assertEqual(os.listdir(self.session.parts), [])
        self.check_unharmed()

    def test_name_of_two_dots_creates_no_file_elsewhere(self):
        for path in ("/x/..", "/x/."):
            self.session.menu_url(self.serve(path))
        time.sleep(3)
        self.assertEqual(sorted(os.listdir(self.session.downloads)), ["first.bin"])
        for _ in range(4):
            self.session.press_in_dialogs()
        self.check_unharmed()

    def test_names_with_separators_and_control_characters_stay_in_the_folder(self):
        names = ("a\\..\\b", "..\\..\\c", "bell\x07bell", "tab\tname", "escape\x1b[2Jname", "quote\"name", "colon:name")
        for i, name in enumerate(names):
            self.origin.serve_redirect("/r%d" % i, "http://127.0.0.1/t%d/%s" % (i, name))
            self.origin.serve_file("/t%d/%s" % (i, name), 20000)
            self.session.menu_url(self.origin.url("/r%d" % i))
        time.sleep(4)
        for _ in range(3):
            self.session.press_in_dialogs()
        for name in os.listdir(self.session.downloads) + os.listdir(self.session.parts):
            for forbidden in '?\\:*<>\'"':
                self.assertNotIn(forbidden, name)
        self.check_unharmed()

    def test_location_of_1_mib_does_no_harm(self):
        self.origin.serve_bytes("/long", b"HTTP/1.1 302 Found\r\nLocation: http://127.0.0.1/" + b"l" * (1 << 20)
                                + b"\r\nContent-Length: 0\r\n\r\n")
        self.session.menu_url(self.origin.url("/long"))
        time.sleep(3)
        self.session.press_in_dialogs()
        self.check_unharmed()

    def test_ten_thousand_redirects_leave_the_program_responsive(self):
        for step in range(10000):
            self.origin.serve_redirect("/r/%d" % step, "http://127.0.0.1/r/%d" % (step + 1))
        self.origin.serve_file("/r/10000", 20000, seed=9)
        self.session.menu_url(self.origin.url("/r/0"))
        last = "http://127.0.0.1/r/10000"
        worst = 0.0
        end = time.monotonic() + 540
        while time.monotonic() < end:
            worst = max(worst, self.session.response_seconds())
            found = self.session.companion.find(last)
            if found and found.finished:
                break
            time.sleep(0.5)
        self.saved(last, 1)
        self.assertLess(worst, 2.0)
        self.check_unharmed()

    def test_invalid_content_lengths_finish_no_false_file(self):
        for i, length in enumerate(("-1", "3000000000", "99999999999999999999", "1e3", "", "0x100")):
            self.origin.serve_bytes("/length%d.bin" % i, ("HTTP/1.1 200 OK\r\nContent-Length: %s\r\n\r\nbody" % length)
                                    .encode())
            self.session.menu_url(self.origin.url("/length%d.bin" % i))
        time.sleep(4)
        names = set(os.listdir(self.session.downloads)) - {"first.bin"}
        for name in names:
            self.assertLess(os.path.getsize(self.session.downloads + name), 5000, name)
        self.check_unharmed()


if __name__ == "__main__":
    unittest.main()

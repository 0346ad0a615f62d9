"""The drop basket on a real display: its place, its moves, its menu, and what another program drops on it."""

import os
import re
import subprocess
import time
import unittest

import harness
import origin

SIDE = 32
WIDTH, HEIGHT = 1280, 1024
SOURCE = os.path.join(os.path.dirname(harness.PROGRAM), "tests/peer/tools/drag_source")


class Basket(unittest.TestCase):
    settings = {}

    def setUp(self):
        self.origin = origin.Origin()
        self.addCleanup(self.origin.close)
        self.session = harness.Session("basket", MaxSegments=4, **self.settings)
        self.addCleanup(self.session.close)
        self.session.start()
        self.main = harness.wait_until(lambda: self.own("Pellora !"), 10, "the main window")[0]

    def own(self, title):
        return [w for w, found, _ in self.session.own_windows() if found == title]

    def xdotool(self, *words):
        return subprocess.run(["xdotool", *map(str, words)], env=self.session.stage.env, stdin=subprocess.DEVNULL,
                              capture_output=True, timeout=30, check=False).stdout.decode()

    def press_entry(self):
        """The menu Options, its first entry."""
        self.xdotool("windowactivate", "--sync", self.main, "key", "--clearmodifiers", "alt+o")
        time.sleep(0.5)
        self.xdotool("key", "b")

    def open(self):
        self.press_entry()
        self.basket = harness.wait_until(lambda: self.own("Form4"), 10, "the basket")[0]
        time.sleep(0.3)

    def place(self):
        """(left, top, width, height) on the screen."""
        text = subprocess.run(["xwininfo", "-id", self.basket], env=self.session.stage.env, stdin=subprocess.DEVNULL,
                              capture_output=True, timeout=20, check=True).stdout.decode()
        return tuple(int(re.search(name + r": +(-?\d+)", text).group(1))
                     for name in ("Absolute upper-left X", "Absolute upper-left Y", "Width", "Height"))

    def drag(self, *to, button=1):
        """From the middle of the basket over the places given."""
        left, top, _, _ = self.place()
        self.xdotool("mousemove", left + 16, top + 16, "mousedown", button)
        for x, y in to:
            self.xdotool("mousemove", x, y, "sleep", 0.1)
        self.xdotool("mouseup", button)
        time.sleep(0.3)

    def test_is_a_square_on_top_above_the_middle_and_has_no_frame(self):
        self.open()
        left, top, width, height = self.place()
        self.assertEqual((left, width, height), (WIDTH // 2 - SIDE, SIDE, SIDE))
        self.assertAlmostEqual(top, HEIGHT / 2 - SIDE - 500 / 15, delta=1)
        self.assertIn("_NET_WM_STATE_ABOVE", self.session.stage.windows._xprop("-id", self.basket, "_NET_WM_STATE"))
        self.session.keep_picture("basket")

    def test_takes_no_focus(self):
        self.open()
        active = self.xdotool("getactivewindow").strip()
        self.assertEqual(active, str(int(self.main, 16)))

    def test_follows_the_mouse_and_stops_at_the_edges(self):
        self.open()
        self.drag((700, 500), (300, 400))
        self.assertEqual(self.place()[:2], (300 - 16, 400 - 16))
        self.drag((100, 100), (2, 3), (0, 0))
        self.assertEqual(self.place()[:2], (0, 0))
        self.drag((600, 600), (WIDTH - 1, HEIGHT - 1))
        self.assertEqual(self.place()[:2], (WIDTH - SIDE, HEIGHT - SIDE))
        before = self.place()
        self.drag((600, 600), button=2)
        self.assertEqual(self.place(), before)

    def test_is_hidden_by_the_entry_and_comes_back_where_it_was(self):
        self.open()
        self.drag((300, 400))
        before = self.place()
        self.press_entry()
        harness.wait_until(lambda: not self.own("Form4"), 10, "the basket to go")
        self.open()
        self.assertEqual(self.place(), before)

    def test_offers_to_close_itself_at_a_right_click(self):
        self.open()
        left, top, _, _ = self.place()
        self.xdotool("mousemove", left + 10, top + 10, "click", 3)
        time.sleep(0.7)
        self.session.keep_picture("basket-menu")
        self.xdotool("key", "c")
        harness.wait_until(lambda: not self.own("Form4"), 10, "the basket to go")
        self.open()  # the entry was unchecked: one click shows it again

    def drop(self, *text):
        """What the source is told at the end of a drag from it onto the basket."""
        source = subprocess.Popen([SOURCE, *text], env=self.session.env, stdin=subprocess.DEVNULL,
                                  stdout=subprocess.PIPE, stderr=self.session.log)
        try:
            window = harness.wait_until(
                lambda: [w for w, title, _ in self.session.stage.windows.all() if title == "drag source"], 10, "the source")[0]
            self.xdotool("windowactivate", "--sync", window)
            place = self.xdotool("getwindowgeometry", "--shell", window)
            x, y = (int(re.search(name + r"=(\d+)", place).group(1)) for name in ("X", "Y"))
            left, top, _, _ = self.place()
            self.xdotool("mousemove", x + 60, y + 60, "mousedown", 1)
            for step in range(1, 11):
                self.xdotool("mousemove", x + 60 + (left + 16 - x - 60) * step // 10,
                             y + 60 + (top + 16 - y - 60) * step // 10, "sleep", 0.06)
            self.xdotool("mousemove", left + 15, top + 15, "sleep", 0.1, "mousemove", left + 16, top + 16, "sleep", 0.4,
                         "mouseup", 1)
            time.sleep(0.5)
            source.terminate()
            return source.communicate(timeout=10)[0].decode().split()
        finally:
            harness.end_process(source)

    def test_adds_what_another_program_drops_and_starts_it_only_when_told(self):
        self.origin.serve_file("/dropped.bin", 30000)
        url = self.origin.url("/dropped.bin")
        self.open()
        self.assertEqual(self.drop("  " + url), ["1"])
        [download] = harness.wait_until(self.session.companion.downloads, 10, "the record")
        time.sleep(2)
        self.assertEqual(self.origin.requests_for("/dropped.bin"), [])
        self.assertEqual(download.url.strip(), url)
        self.session.resume()
        [finished] = self.session.companion.wait_finished([download.url], 30)
        self.assertEqual(harness.digest(finished.saved_path), origin.content_digest(30000))

    def test_passes_over_what_is_no_address(self):
        self.open()
        for text in ([self.origin.url("/a.bin")[len("http://"):]], ["https://127.0.0.1/a.bin"], []):
            self.drop(*text)
        self.assertEqual(self.session.companion.downloads(), [])
        self.assertEqual(self.session.dialogs(), [])


if __name__ == "__main__":
    unittest.main()

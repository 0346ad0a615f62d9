"""The hints for the controls under the pointer, and the sizes of the real windows at the first showing and later."""

import os
import time
import unittest

import harness
import listfile
import origin
from case import Case
from harness import MAIN

VERSION = "Pellora v5.2"
TOOLBAR = "Add, start, pause and delete downloads, or change the settings."
VERSION_LINK = ("link", "Auto update Pellora")
HINTS = [
    (("tree", "Current Downloads :"), "Double click on file to start download or see download details."),
    (("tree", "Finished files :"), "Double click to open the file"),
    (("push button", "Play"), "Play the selected file."),
    (("push button", "Stop"), "Stop the playback of the media file"),
    (("image", "Preview"), "Preview window, click on a media file to preview it."),
    (("slider", "Volume"), "Change the volume of the playback."),
    (("link", "Visit Pellora website"), "Go on the site of Pellora"),
    (VERSION_LINK, "Check if a newer version of the program is available on the web."),
    *((("push button", name), TOOLBAR) for name in (
        "Add URL", "Delete URL", "Reset List", "Options", "Pause", "Pause All", "Resume All", "Quit", "Browser"))]


class Base(Case):
    def setUp(self):
        super().setUp()
        self.prepare()
        self.start_with_screen()
        self.main = self.screen.raise_window(MAIN)

    def prepare(self):
        """Before the program starts."""

    def grow(self, width, height):
        _, _, old_width, old_height = self.x.place(self.main)
        wanted = old_width + width, old_height + height
        self.x.configure(self.main, width=wanted[0], height=wanted[1])
        harness.wait_until(lambda: self.x.place(self.main)[2:] == wanted, 10, "the new size")

    def pixels(self, element):
        """The colours of the element's area on the screen, as rows."""
        raw = self.x.image(element.left, element.top, element.width, element.height)
        colours = [(raw[at + 2], raw[at + 1], raw[at]) for at in range(0, len(raw), 4)]
        return [colours[at:at + element.width] for at in range(0, len(colours), element.width)]


class Mouse(Base):
    def setUp(self):
        super().setUp()
        self.screen.click("push button", "Show or hide the side pane", MAIN)
        self.screen.wait("slider", "Volume", MAIN)

    def over(self, place, hint):
        self.x.move(*place)
        self.screen.wait("label", hint, MAIN)

    def over_the_ground(self):
        left, top, _, _ = self.x.place(self.main)
        self.over((left + 4, top + 250), VERSION)

    def test_each_control_shows_its_hint_until_the_pointer_leaves_it(self):
        for (role, name), hint in HINTS:
            with self.subTest(name):
                self.over_the_ground()
                self.over(self.screen.steady(role, name, MAIN).middle, hint)
                time.sleep(0.2)  # a move that also reached the ground would replace the hint
                self.assertIsNotNone(self.screen.find("label", hint, MAIN))
                self.session.save_screenshot("hover-" + name.lower().replace(" ", "-"))

    @staticmethod
    def underlined(rows):
        """Whether a row below the middle consists almost entirely of one colour other than the ground's."""
        ground = rows[0][0]
        return any(sum(colour != ground for colour in row) > 0.9 * len(row) for row in rows[len(rows) // 2:])

    def test_version_link_is_blue_and_underlined_under_the_pointer(self):
        self.over_the_ground()
        link = self.screen.steady(*VERSION_LINK, MAIN)
        self.assertFalse(self.underlined(self.pixels(link)))
        self.over(link.middle, HINTS[7][1])
        harness.wait_until(lambda: self.underlined(self.pixels(link)), 5, "the line under the link")
        drawn = [c for row in self.pixels(link) for c in row if min(c) < 100]
        self.assertTrue(drawn)
        self.assertTrue(all(blue > red + 20 for red, _, blue in drawn), drawn[:5])
        self.session.save_screenshot("version-link")
        self.over_the_ground()
        harness.wait_until(lambda: not self.underlined(self.pixels(link)), 5, "the end of the line")


class Sizes(Base):
    def heights(self):
        return [self.screen.steady("tree", name, MAIN).height for name in ("Current Downloads :", "Finished files :")]

    def test_only_the_finished_list_grows_with_the_window(self):
        current, finished = self.heights()
        self.session.save_screenshot("size-designed")
        self.grow(150, 220)
        harness.wait_until(lambda: self.heights() == [current, finished + 220], 5, "the finished list alone to grow")
        self.session.save_screenshot("size-grown")
        self.grow(-150, -220)
        harness.wait_until(lambda: self.heights() == [current, finished], 5, "the former heights")

    def test_details_of_a_file_take_no_room_from_the_lists(self):
        self.screen.click("push button", "Show or hide the side pane", MAIN)
        self.screen.wait("page tab", "Infos", MAIN)
        before = self.heights()
        self.screen.click("page tab", "Infos", MAIN)
        self.screen.wait("label", "Average speed :", MAIN)
        time.sleep(0.5)
        self.assertEqual(self.heights(), before)
        # The pane of the designed size holds all of it.
        self.assertEqual([e for e in self.screen.elements(MAIN) if e.role == "scroll bar"], [])
        pane = self.screen.wait("filler", "Infos", MAIN)
        last = self.screen.wait("label", "Average speed :", MAIN)
        self.assertLess(last.top + 2 * last.height, pane.top + pane.height)

    def test_transfer_window_shows_that_it_connects(self):
        server = origin.SilentPort()
        self.addCleanup(server.close)
        self.session.menu_url(server.url("/far.bin"))
        self.screen.wait("label", "Connecting to server...")
        time.sleep(1)  # the first showing has had all its effects
        self.assertIsNotNone(self.screen.find("label", "Connecting to server..."))
        self.session.save_screenshot("connecting")


class Columns(Base):
    def prepare(self):
        listfile.write_complete(self.session.list_file, "http://127.0.0.1:9/big.bin", 9,
                                [(os.path.join(self.session.parts, "big.bin001.tmp"), 20000)])

    def test_longest_status_fits_its_column(self):
        status = self.screen.wait("table cell", "Stopped (100.0%)", MAIN)
        rows = self.pixels(status)
        ground = rows[0][-1]
        drawn = [max(abs(a - b) for a, b in zip(colour, ground)) > 60 for row in rows for colour in row]
        inked = [[at for at in range(len(rows)) if drawn[at * status.width + column]] for column in range(status.width)]
        last = [column for column in inked if column][-4:]
        # A bracket ends the text, and not three dots on its base line.
        self.assertGreater(max(map(max, last)) - min(map(min, last)), 6)


if __name__ == "__main__":
    unittest.main()

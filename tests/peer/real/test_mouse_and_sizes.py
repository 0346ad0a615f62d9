"""The hints for the controls under the pointer, and the sizes of the real windows at the first showing and later."""

import subprocess
import time
import unittest

import harness
import origin
from screen import Screen

MAIN = "Pellora !"
VERSION = "Pellora v5.2"
TOOLBAR = "Add, start, pause and delete downloads, or change the settings."
VERSION_LINK = ("label", "Auto update Pellora")
HINTS = [
    (("tree", "Current downloads"), "Double click on file to start download or see download details."),
    (("tree", "Finished files"), "Double click to open the file"),
    (("push button", "Play"), "Play the selected file."),
    (("push button", "Stop"), "Stop the playback of the media file"),
    (("filler", "Preview"), "Preview window, click on a media file to preview it."),
    (("slider", "Volume"), "Change the volume of the playback."),
    (("label", "Visit Pellora website"), "Go on the site of Pellora"),
    (VERSION_LINK, "Check if a newer version of the program is available on the web."),
    *((("push button", name), TOOLBAR) for name in (
        "Add URL", "Delete URL", "Reset List", "Options", "Pause", "Pause All", "Resume All", "Quit", "Browser"))]


class Base(unittest.TestCase):
    def setUp(self):
        self.session = harness.Session("mouse")
        self.addCleanup(self.session.close)
        self.screen = Screen(self.session)
        self.addCleanup(self.screen.close)
        self.session.start()
        self.screen.wait("push button", "Add URL", MAIN)
        self.main = self.screen.raise_window(MAIN)

    def grow(self, width, height):
        _, _, old_width, old_height = self.screen.x.place(self.main)
        wanted = old_width + width, old_height + height
        self.screen.xdotool("windowsize", self.main, *wanted)
        harness.wait_until(lambda: self.screen.x.place(self.main)[2:] == wanted, 10, "the new size")

    def pixels(self, element):
        """The colours of the element's area on the screen, as rows."""
        area = "%dx%d+%d+%d" % (element.width, element.height, element.left, element.top)
        raw = subprocess.run(["import", "-window", "root", "-crop", area, "-depth", "8", "rgb:-"],
                             env=self.session.stage.env, stdin=subprocess.DEVNULL, capture_output=True, timeout=60,
                             check=True).stdout
        colours = [tuple(raw[at:at + 3]) for at in range(0, len(raw), 3)]
        return [colours[at:at + element.width] for at in range(0, len(colours), element.width)]


class Mouse(Base):
    def setUp(self):
        super().setUp()
        self.screen.click("push button", "Show or hide the side pane", MAIN)
        self.screen.wait("slider", "Volume", MAIN)

    def over(self, place, hint):
        self.screen.x.move(*place)
        self.screen.wait("label", hint, MAIN)

    def over_the_ground(self):
        left, top, _, _ = self.screen.x.place(self.main)
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
        return [self.screen.steady("tree", name, MAIN).height for name in ("Current downloads", "Finished files")]

    def test_only_the_finished_list_grows_with_the_window(self):
        current, finished = self.heights()
        self.session.save_screenshot("size-designed")
        self.grow(150, 220)
        harness.wait_until(lambda: self.heights() == [current, finished + 220], 5, "the finished list alone to grow")
        self.session.save_screenshot("size-grown")
        self.grow(-150, -220)
        harness.wait_until(lambda: self.heights() == [current, finished], 5, "the former heights")

    def test_transfer_window_shows_that_it_connects(self):
        server = origin.SilentPort()
        self.addCleanup(server.close)
        self.session.menu_url(server.url("/far.bin"))
        self.screen.wait("label", "Connecting to server...")
        time.sleep(1)  # the first showing has had all its effects
        self.assertIsNotNone(self.screen.find("label", "Connecting to server..."))
        self.session.save_screenshot("connecting")


if __name__ == "__main__":
    unittest.main()

#!/usr/bin/env python3
"""Takes the documentation's screenshots of the real program: one sheet of all windows and menus for each of two
languages, light and dark, and of each a pair of windows.

    pictures.py FOLDER [--language english|german] [--theme light|dark] [--scale 1.5]

Needs build/release, and montage and convert of ImageMagick."""

import argparse
import os
import subprocess
import time

import harness
import origin
from harness import MAIN
from screen import Screen

GROUND = "#8a9099"
DARK = {
    "View": ("34,36,40", "228,230,234"), "Window": ("43,45,49", "228,230,234"), "Button": ("53,56,61", "228,230,234"),
    "Selection": ("47,127,214", "255,255,255"), "Tooltip": ("34,36,40", "228,230,234"),
    "Complementary": ("43,45,49", "228,230,234"),
}


def write_dark_colours(config):
    """Writes the colours as a desktop with a dark theme does; Qt reads them without a plugin."""
    with open(os.path.join(config, "kdeglobals"), "w", encoding="ascii") as f:
        f.write("[KDE]\nwidgetStyle=Fusion\n")
        for part, (back, text) in DARK.items():
            f.write("[Colors:%s]\nBackgroundNormal=%s\nBackgroundAlternate=%s\nForegroundNormal=%s\n"
                    "ForegroundInactive=150,154,160\nForegroundLink=110,170,240\nForegroundVisited=170,140,230\n"
                    % (part, back, back, text))


class Album:
    def __init__(self, folder, language, theme, scale):
        self.folder = folder
        self.texts = self._read_texts(language)
        self.origin = origin.Origin()
        self.session = harness.Session("pictures", Language=language, MaxSegments=8, MaxSimulDownlads=3,
                                       CheckClipboard="True")
        env = self.session.env
        env["QT_SCALE_FACTOR"] = str(scale)
        env["LANG"] = "C.UTF-8"
        if theme == "dark":
            env.update(XDG_CURRENT_DESKTOP="KDE", KDE_SESSION_VERSION="5")
            write_dark_colours(env["XDG_CONFIG_HOME"])
        self.screen = Screen(self.session)
        self.taken = []

    @staticmethod
    def _read_texts(language):
        texts = {}
        with open(os.path.join(harness.PROGRAM, language + ".txt"), encoding="utf-8") as f:
            for line in f:
                number, equals, text = line.strip().partition("=")
                if equals and number.isdigit():
                    texts[int(number)] = text
        return texts

    def text(self, number):
        return self.texts[number].replace("&", "")

    def close(self):
        self.screen.close()
        self.session.close()
        self.origin.close()

    def run(self, *command):
        subprocess.run(command, env=self.session.stage.env, stdin=subprocess.DEVNULL, check=True, timeout=60)

    def take(self, name, window):
        """Takes a window without its frame, which belongs to the window manager."""
        time.sleep(0.6)
        self._shoot(name, window)

    def take_part(self, name, left, top, width, height):
        time.sleep(0.6)
        self._shoot(name, "root", "-crop", "%dx%d+%d+%d" % (width, height, max(left, 0), max(top, 0)), "+repage")

    def _shoot(self, name, window, *options):
        path = os.path.join(self.folder, name + ".png")
        self.run("import", "-window", window if window == "root" else hex(window), *options, path)
        self.taken.append(path)

    # The contents.

    def fill(self):
        self.screen.wait("menu bar", "", MAIN)
        for name, size in (("report-2026.pdf", 2400000), ("holiday.jpg", 3100000), ("song.mp3", 5200000)):
            self.origin.serve_file("/" + name, size)
            url = self.origin.url("/" + name)
            self.session.menu_url(url)
            self.session.companion.wait_finished([url], 30)
            self.close_window(name)
        for name in ("debian-live.iso", "archive.tar.xz", "lecture.mp4", "source.zip"):
            self.origin.serve_file("/" + name, 48000000, rate=60000)
            self.session.menu_url(self.origin.url("/" + name))
            time.sleep(0.7)
        self.origin.serve_file("/later.deb", 1000000)
        time.sleep(3)
        self.close_window("archive.tar.xz")
        self.close_window("lecture.mp4")
        self.screen.click("table cell", "lecture.mp4", MAIN)
        self.screen.click("push button", self.text(104), MAIN)
        time.sleep(1)

    def close_window(self, part):
        self.screen.raise_window(part)
        self.screen.keys("alt+F4")
        time.sleep(0.3)

    def draw(self):
        self.session.start()
        self.fill()
        transfer = self.screen.raise_window("debian-live.iso")
        self.take("transfer-long", transfer)
        self.screen.click("push button", self.text(515), "debian-live.iso")
        self.take("transfer-short", transfer)
        main = self.screen.raise_window(MAIN)
        self.session.stage.x.configure(main, x=20, y=20)
        self.take("main", main)
        self.draw_menus()
        self.screen.click("push button", self.text(958), MAIN)
        self.screen.click("table cell", "report-2026.pdf", MAIN)
        self.screen.click("page tab", self.text(251), MAIN)
        self.take("main-pane", main)
        self.screen.click("push button", self.text(100), MAIN)
        self.take("add", self.screen.raise_window(self.text(695)))
        self.screen.keys("Escape")
        self.draw_clipboard_question()
        self.draw_options()
        self.draw_boxes()

    def draw_menus(self):
        corner = self.screen.wait("frame", MAIN)
        for number, name in ((786, "file"), (119, "actions"), (787, "options"), (699, "help")):
            self.screen.click("menu item", self.text(number), MAIN)
            self.take_part("menu-" + name, corner.left, corner.top, 420, 260)
            self.screen.keys("Escape", "Escape")
        for row, name in (("debian-live.iso", "current"), ("song.mp3", "finished")):
            time.sleep(0.5)  # two right clicks in quick succession count as a double click
            self.screen.click("table cell", row, MAIN, button=3)
            x, y = self.screen.wait("table cell", row, MAIN).middle
            self.take_part("popup-" + name, x - 100, y - 40, 420, 400)
            self.screen.keys("Escape")

    def draw_clipboard_question(self):
        owner = subprocess.Popen(["xclip", "-selection", "clipboard", "-quiet"], env=self.session.stage.env,
                                 stdin=subprocess.PIPE, stdout=self.session.log, stderr=self.session.log)
        owner.stdin.write(self.origin.url("/pub/releases/2026/november/pictures-of-the-sea.zip").encode())
        owner.stdin.close()
        self.take("question", self.screen.raise_window(self.text(792)))
        self.screen.keys("Escape")
        harness.end_process(owner)

    def draw_options(self):
        self.screen.click("push button", self.text(103), MAIN)
        for number in (600, 601, 602, 604, 800):
            self.screen.click("page tab", self.text(number), self.text(791))
            self.take("options-%d" % number, self.screen.raise_window(self.text(791)))
        self.screen.keys("Escape")

    def draw_boxes(self):
        for button, name in ((102, "reset"), (108, "quit")):
            self.screen.click("push button", self.text(button), MAIN)
            self.take("box-" + name, self.session.wait_dialog()[0])
            self.screen.keys("Escape")
            harness.wait_until(lambda: not self.session.dialogs(), 10, "the box to close")

    def sheet(self, path):
        self.run("montage", *self.taken, "-background", GROUND, "-geometry", "+8+8", "-tile", "3x", path)
        self.shrink(path)

    def pair(self, path):
        """The main window, and a transfer window over its lower right corner."""
        main, transfer = (os.path.join(self.folder, name + ".png") for name in ("main", "transfer-long"))
        self.run("convert", "-size", "1040x900", "xc:" + GROUND, main, "-geometry", "+20+20", "-composite",
                 transfer, "-gravity", "SouthEast", "-geometry", "+20+20", "-composite", path)
        self.shrink(path)

    def shrink(self, path):
        self.run("convert", path, "+dither", "-colors", "220", "-strip", "PNG8:" + path)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("folder")
    parser.add_argument("--language", choices=("english", "german"))
    parser.add_argument("--theme", choices=("light", "dark"))
    parser.add_argument("--scale", default=1, type=float)
    arguments = parser.parse_args()
    os.makedirs(arguments.folder, exist_ok=True)
    for language in [arguments.language] if arguments.language else ["english", "german"]:
        for theme in [arguments.theme] if arguments.theme else ["light", "dark"]:
            folder = os.path.join(arguments.folder, "%s-%s" % (language, theme))
            os.makedirs(folder, exist_ok=True)
            album = Album(folder, language, theme, arguments.scale)
            try:
                album.draw()
                album.sheet(folder + ".png")
                album.pair(folder + "-pair.png")
            finally:
                album.close()


if __name__ == "__main__":
    main()

#!/usr/bin/env python3
"""Takes the documentation's pictures of the extension in a real Chromium: the list of links, the popup and the options,
light and dark.

    pictures.py FOLDER

Needs build/release, and montage of ImageMagick."""

import base64
import os
import subprocess
import sys
import time

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path[:0] = [os.path.join(os.path.dirname(HERE), "real")]

import harness  # noqa: E402
import origin  # noqa: E402
import run  # noqa: E402,F401  (it finds the modules of the tests)
from browsercase import EXTENSION_ID  # noqa: E402
from chromium import Chromium  # noqa: E402

SIZES = {"links": (760, 460), "popup": (340, 330), "options": (760, 380)}
LINKS = [("manual.pdf", "Manual"), ("sources-5.2.tar.gz", "Sources"), ("sources-5.2.zip", "The same as ZIP"),
         ("index.html", "Home"), ("pictures.zip", "Pictures")]


class Album:
    def __init__(self, folder):
        self.folder = folder
        self.origin = origin.Origin()
        self.session = harness.Session("pictures", BrowserIngeration="True", WebEngine="2")
        profile = os.path.join(self.session.env["XDG_CONFIG_HOME"], "chromium")
        os.makedirs(profile)
        self.session.start()
        self.begin("/disk.iso", 900_000_000, 40_000_000)
        self.begin("/film.webm", 80_000_000, 900_000)
        paused = self.begin("/archive.zip", 50_000_000, 900_000)
        self.session.companion.run("pause", self.session.companion.find(paused).id)
        self.browser = Chromium(self.session, os.path.join(self.session.program, "browser"), profile)
        time.sleep(3)

    def begin(self, path, size, rate):
        self.origin.serve_file(path, size, rate=rate)
        url = self.origin.url(path)
        self.session.menu_url(url)
        harness.wait_until(lambda: getattr(self.session.companion.find(url), "received", 0), 20, "the first bytes")
        return url

    def address(self, page):
        return "chrome-extension://%s/%s" % (EXTENSION_ID, page)

    def take(self, theme):
        target = self.browser.attach(self.browser.targets("page")[0])
        self.browser.call("Emulation.setEmulatedMedia", target,
                          features=[{"name": "prefers-color-scheme", "value": theme}])
        taken = []
        for page, (width, height) in SIZES.items():
            self.browser.call("Emulation.setDeviceMetricsOverride", target, width=width, height=height,
                              deviceScaleFactor=1, mobile=False)
            if page == "links":
                self.browser.call("Page.navigate", target, url=self.address("options.html"))
                time.sleep(1)
                links = [{"url": "https://files.example/" + name, "words": words} for name, words in LINKS]
                self.browser.evaluate(target, "chrome.storage.session.set({'links-0': {page: 'https://files.example/', "
                                              "links: %r}})" % links)
            self.browser.call("Page.navigate", target, url=self.address(page + ".html#links-0"))
            time.sleep(2)
            picture = self.browser.call("Page.captureScreenshot", target, format="png")
            taken.append(os.path.join(self.session.root, "%s-%s.png" % (page, theme)))
            with open(taken[-1], "wb") as f:
                f.write(base64.b64decode(picture["data"]))
        return taken

    def close(self):
        self.browser.close()
        self.session.close()
        self.origin.close()


def main():
    album = Album(sys.argv[1])
    try:
        taken = album.take("light") + album.take("dark")
        path = os.path.join(sys.argv[1], "browser.png")
        subprocess.run(["montage", *taken, "-background", "#8a9099", "-geometry", "+8+8", "-tile", "3x", path], check=True)
        subprocess.run(["convert", path, "+dither", "-colors", "220", "-strip", path], check=True)
    finally:
        album.close()


if __name__ == "__main__":
    main()

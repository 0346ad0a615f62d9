"""Questions of downloads over https, in the download's window, answered by clicks."""

import os
import random
import unittest

import harness
from case import Case
from test_web import TlsNginx


class WebQuestions(Case):
    @classmethod
    def setUpClass(cls):
        cls.nginx = TlsNginx()
        cls.addClassCleanup(cls.nginx.close)
        cls.old = random.Random(1).randbytes(24_000_000)
        cls.new = random.Random(2).randbytes(24_000_000)
        cls.settings = {"MaxSegments": 4, "ExtraCertificates": cls.nginx.authority}

    def setUp(self):
        super().setUp()
        self.nginx.put("a.bin", self.old)
        self.start_with_screen()
        self.url = self.nginx.url(self.nginx.slow, "a.bin")

    def ask(self):
        """Half of the file is here when another version takes its place on the server."""
        self.session.menu_url(self.url)
        harness.wait_until(lambda: self.received(self.url) > 8_000_000, 30, "a part of the file")
        self.session.companion.run("pause", self.url)
        self.wait_state(self.url, "paused")
        self.nginx.put("a.bin", self.new)
        self.session.resume()
        self.screen.wait("push button", "Begin Anew", "downloaded")
        self.session.save_screenshot("web-question")

    def test_changed_file_is_fetched_anew_after_a_click(self):
        self.ask()
        self.assertEqual(self.state(self.url), "failed")
        self.screen.click("push button", "Begin Anew", "downloaded")
        [download] = self.session.companion.wait_finished([self.url], 60)
        with open(download.saved_path, "rb") as f:
            self.assertTrue(f.read() == self.new)
        folder = os.path.dirname(download.saved_path)
        harness.wait_until(lambda: os.listdir(folder) == ["a.bin"], 10, "the old part to go")

    def test_part_is_kept_after_a_click(self):
        self.ask()
        self.screen.click("push button", "Keep This Part", "downloaded")
        self.screen.wait("push button", "Resume Download", "downloaded")
        self.screen.wait_gone("push button", "Begin Anew", "downloaded")
        self.assertEqual(self.state(self.url), "failed")


if __name__ == "__main__":
    unittest.main()

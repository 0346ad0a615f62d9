"""Limits of speed: how many bytes come in some seconds, by each of the engines."""

import random
import time
import unittest

import harness
import webservers
from case import Case

LIMIT = 2048  # KiB/s
SECONDS = 10
DATA = random.Random(1).randbytes(4_000_000) * 12


class Limits(Case):
    @classmethod
    def setUpClass(cls):
        cls.nginx = webservers.TlsNginx()
        cls.addClassCleanup(cls.nginx.close)
        for name in ("a.bin", "b.bin"):
            cls.nginx.put(name, DATA)
        cls.settings = {"MaxSegments": 4, "ExtraCertificates": cls.nginx.authority, "SpeedLimit": LIMIT}

    def both(self):
        return [self.received(url) for url in self.urls]

    def at_a_change(self):
        """Figures are written some times a second: what they are, and the time, at the moment of a change."""
        before = self.both()
        while (now := self.both()) == before:
            time.sleep(0.01)
        return time.monotonic(), now

    def measure(self, port):
        """The bytes per second of each of two downloads, in parts of the limit."""
        self.session.start()
        self.urls = [self.begin(self.nginx.url(port, name)) for name in ("a.bin", "b.bin")]
        time.sleep(2)
        begin, before = self.at_a_change()
        time.sleep(SECONDS)
        end, after = self.at_a_change()
        return [(b - a) / (end - begin) / (LIMIT * 1024) for a, b in zip(before, after)]

    def test_two_downloads_by_tls_are_within_five_percent_of_the_limit_and_share_it(self):
        first, second = self.measure(self.nginx.plain)
        self.assertAlmostEqual(first + second, 1, delta=0.05)
        self.assertAlmostEqual(first, second, delta=0.1)

    def test_two_downloads_by_the_classic_engine_are_within_ten_percent_of_the_limit(self):
        first, second = self.measure(self.nginx.clear)
        self.assertAlmostEqual(first + second, 1, delta=0.1)
        self.assertAlmostEqual(first, second, delta=0.15)

    def test_classic_download_under_a_limit_is_whole(self):
        self.nginx.put("c.bin", DATA[:9_000_000])
        self.session.start()
        url = self.nginx.url(self.nginx.clear, "c.bin")
        began = time.monotonic()
        self.session.menu_url(url)
        [download] = self.session.companion.wait_finished([url], 60)
        self.assertGreater(time.monotonic() - began, 3.5)
        with open(download.saved_path, "rb") as f:
            self.assertTrue(f.read() == DATA[:9_000_000])


if __name__ == "__main__":
    unittest.main()

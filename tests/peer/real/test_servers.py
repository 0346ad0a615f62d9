"""Real servers of all kinds that users meet: with ranges, without, slow, redirecting, and crowded."""

import time
import unittest

import harness
import origin
import servers
from case import Case

SIZE = 400000


class Servers(Case):
    settings = {"MaxSegments": 4}

    @classmethod
    def setUpClass(cls):
        cls.nginx = servers.Nginx()
        cls.data = origin.content(SIZE, seed=7)
        cls.nginx.put("file.bin", cls.data)

    @classmethod
    def tearDownClass(cls):
        cls.nginx.close()

    def fetch_from(self, port, most, timeout=60):
        session = self.new_session(MaxSegments=most)
        session.start()
        url = self.nginx.url(port, "file.bin")
        began = time.monotonic()
        session.menu_url(url)
        [download] = session.companion.wait_finished([url], timeout)
        with open(download.saved_path, "rb") as f:
            return f.read(), time.monotonic() - began

    def test_ranges_are_fetched_in_parallel(self):
        data, _ = self.fetch_from(self.nginx.plain, 8)
        self.assertEqual(data, self.data)

    def test_several_connections_speed_up_a_slow_server(self):
        # The eighth connection starts at 1.4 s, so only a file that takes one connection longer benefits.
        large = origin.content(4 * SIZE, seed=8)
        self.nginx.put("file.bin", large)
        self.addCleanup(self.nginx.put, "file.bin", self.data)
        for _ in range(4):  # one of the two may coincide with load on the machine
            one, slow = self.fetch_from(self.nginx.slow, 1)
            eight, quick = self.fetch_from(self.nginx.slow, 8)
            self.assertEqual(one, large)
            self.assertEqual(eight, large)
            if quick < slow:
                break
        self.assertLess(quick, slow)

    def test_one_segment_downloads_the_file_without_ranges(self):
        data, _ = self.fetch_from(self.nginx.whole, 1)
        self.assertEqual(data, self.data)

    def test_every_segment_holds_the_file_s_beginning_without_ranges(self):
        # The program does not test for range support: the file has the right length, but only its first share is
        # correct. This test pins that down, so that a change is noticed.
        data, _ = self.fetch_from(self.nginx.whole, 4)
        share = SIZE // 4
        self.assertEqual(data, self.data[:share] * 4)

    def test_as_many_connections_as_the_server_allows_download_the_file(self):
        data, _ = self.fetch_from(self.nginx.crowded, 2)
        self.assertEqual(data, self.data)

    def test_refused_segments_never_pass_for_a_finished_file(self):
        self.session = self.new_session(MaxSegments=8)
        self.session.start()
        # Large enough for the first two connections to be busy still when the others connect.
        self.nginx.put("large.bin", origin.content(40 * SIZE, seed=8))
        url = self.nginx.url(self.nginx.crowded, "large.bin")
        self.session.menu_url(url)
        time.sleep(6)
        self.assertFalse(self.session.companion.find(url).finished)
        self.assertLess(self.session.response_seconds(), harness.PROMPT)
        self.stop()

    def test_chain_of_redirects_ends_at_the_file(self):
        for step in range(5):
            self.origin.serve_redirect("/%d" % step, "http://127.0.0.1/%d" % (step + 1), ("301 Moved", "302 Found",
                                       "303 See Other", "307 Temporary", "308 Permanent")[step])
        self.serve("/5", 50000)
        self.session.start()
        self.session.menu_url(self.origin.url("/0"))
        self.assertEqual(self.saved("http://127.0.0.1/5").saved_path, self.session.downloads + "5")


if __name__ == "__main__":
    unittest.main()

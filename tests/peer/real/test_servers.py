"""Real servers of all kinds that users meet: with ranges, without, slow, redirecting, and crowded."""

import time
import unittest

import harness
import origin
import servers

SIZE = 400000


class Servers(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.nginx = servers.Nginx()
        cls.data = origin.content(SIZE, seed=7)
        cls.nginx.put("file.bin", cls.data)

    @classmethod
    def tearDownClass(cls):
        cls.nginx.close()

    def fetch(self, port, most, timeout=60):
        session = harness.Session("servers", MaxSegments=most)
        self.addCleanup(session.close)
        session.start()
        url = self.nginx.url(port, "file.bin")
        began = time.monotonic()
        session.menu_url(url)
        [download] = session.companion.wait_finished([url], timeout)
        with open(download.saved_path, "rb") as f:
            return f.read(), time.monotonic() - began

    def test_ranges_are_fetched_in_parallel(self):
        data, _ = self.fetch(self.nginx.plain, 8)
        self.assertEqual(data, self.data)

    def test_several_connections_speed_up_a_slow_server(self):
        # The eighth connection starts at 1.4 s, so only a file that takes one connection longer benefits.
        large = origin.content(4 * SIZE, seed=8)
        self.nginx.put("file.bin", large)
        self.addCleanup(self.nginx.put, "file.bin", self.data)
        for _ in range(4):  # one of the two may coincide with load on the machine
            one, slow = self.fetch(self.nginx.slow, 1)
            eight, quick = self.fetch(self.nginx.slow, 8)
            self.assertEqual(one, large)
            self.assertEqual(eight, large)
            if quick < slow:
                break
        self.assertLess(quick, slow)

    def test_one_segment_downloads_the_file_without_ranges(self):
        data, _ = self.fetch(self.nginx.whole, 1)
        self.assertEqual(data, self.data)

    def test_every_segment_holds_the_file_s_beginning_without_ranges(self):
        # The program does not test for range support: the file has the right length, but only its first share is
        # correct. This test pins that down, so that a change is noticed.
        data, _ = self.fetch(self.nginx.whole, 4)
        share = SIZE // 4
        self.assertEqual(data, self.data[:share] * 4)

    def test_as_many_connections_as_the_server_allows_download_the_file(self):
        data, _ = self.fetch(self.nginx.crowded, 2)
        self.assertEqual(data, self.data)

    def test_refused_segments_never_pass_for_a_finished_file(self):
        with harness.Session("crowded", MaxSegments=8) as session:
            session.start()
            # Large enough for the first two connections to be busy still when the others connect.
            self.nginx.put("large.bin", origin.content(40 * SIZE, seed=8))
            url = self.nginx.url(self.nginx.crowded, "large.bin")
            session.menu_url(url)
            time.sleep(6)
            self.assertFalse(session.companion.find(url).finished)
            self.assertLess(session.response_seconds(), harness.PROMPT)
            self.assertEqual(session.stop(), 0)

    def test_chain_of_redirects_ends_at_the_file(self):
        server = origin.Origin()
        self.addCleanup(server.close)
        for step in range(5):
            server.serve_redirect("/%d" % step, "http://127.0.0.1/%d" % (step + 1), ("301 Moved", "302 Found",
                                  "303 See Other", "307 Temporary", "308 Permanent")[step])
        server.serve_file("/5", 50000)
        with harness.Session("redirects", MaxSegments=4) as session:
            session.start()
            session.menu_url(server.url("/0"))
            [download] = session.companion.wait_finished(["http://127.0.0.1/5"], 30)
            self.assertEqual(download.saved_path, session.downloads + "5")
            self.assertEqual(harness.digest(download.saved_path), origin.content_digest(50000))


if __name__ == "__main__":
    unittest.main()

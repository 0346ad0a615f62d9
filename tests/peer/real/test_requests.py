"""Requests on the wire, byte for byte, as logged by an origin; and sizes at all limits of the planner."""

import unittest

import harness
import origin
import servers
from case import Case

KIB100 = 100000


def probe(target, host="127.0.0.1", referrer=None):
    return ("GET %s HTTP/1.1\r\nAccept: *.*, */*\r\nConnection: Keep-Alive\r\nHost: %s\r\n%s\r\n\r\n" % (
        target, host, "Referer: %s\r\n" % referrer if referrer else "")).encode()


def segment(target, first, last, host="127.0.0.1", referrer=""):
    return ("GET %s HTTP/1.1\r\nAccept: *.*, */*\r\nReferer: %s\r\nConnection: Keep-Alive\r\nHost: %s\r\n"
            "Range: bytes=%d-%d\r\n\r\n" % (target, referrer, host, first, last)).encode()


def plan(size, most):
    """The planned ranges: 1, 2 or 8 depending on the size, at most `most`, with the remainder in the first."""
    count = min(1 if size < 10000 else 2 if size < 100000 else 8, most)
    each = size // count
    first = size - (count - 1) * each
    ranges = [(0, first - 1)]
    while len(ranges) < count:
        ranges.append((ranges[-1][1] + 1, ranges[-1][1] + each))
    return ranges


class Requests(Case):
    settings = {"MaxSegments": 4}

    def setUp(self):
        super().setUp()
        self.session.start()

    def raw(self, path):
        """Each request once: the stall watch may reconnect a segment."""
        return list(dict.fromkeys(r.raw for r in self.origin.requests_for(path)))

    def test_probe_and_segments_without_a_referrer_are_exact(self):
        target = "/dir/a.bin?x=1/b.bin"
        self.fetch(self.serve(target, KIB100))
        raw = self.raw(target)
        self.assertEqual(raw[0], probe(target))
        self.assertEqual(sorted(raw[1:]), sorted(segment(target, *r) for r in plan(KIB100, 4)))

    def test_old_url_is_the_referrer_after_a_redirect(self):
        self.origin.serve_redirect("/old", "http://127.0.0.1/new/file.bin")
        self.serve("/new/file.bin", 12345)
        old = self.origin.url("/old")
        self.session.menu_url(old, "http://ignored.example/", "ignored=1")
        download = self.saved("http://127.0.0.1/new/file.bin")
        self.assertEqual(download.saved_path, self.session.downloads + "file.bin")
        self.assertEqual(self.raw("/old"), [probe("/old")])
        raw = self.raw("/new/file.bin")
        self.assertEqual(raw[0], probe("/new/file.bin", referrer=old))
        self.assertEqual(sorted(raw[1:]), sorted(segment("/new/file.bin", *r, referrer=old) for r in plan(12345, 4)))

    def use_proxy(self, port):
        self.session = self.new_session(ProxyHTTP="True", ProxyServer="127.0.0.1", ProxyPort=port)
        self.session.start()

    def fetch_by_proxy(self, form):
        proxy = origin.Origin()
        self.addCleanup(proxy.close)
        proxy.replies = self.origin.replies
        self.use_proxy(proxy.port)
        url = self.serve("/p.bin", 12345)
        self.fetch(form % url)
        self.assertEqual([r.raw for r in proxy.requests], [probe(url)])
        self.assertEqual(sorted(self.raw("/p.bin")), sorted(segment(url, *r) for r in plan(12345, 4)))

    def test_requests_name_the_whole_url_with_a_proxy_and_only_the_probe_uses_it(self):
        self.fetch_by_proxy("%s")

    def test_blanks_around_a_url_are_not_sent_to_a_proxy(self):
        self.fetch_by_proxy("  %s ")

    def test_real_proxy_carries_the_probe(self):
        proxy = servers.Tinyproxy()
        self.addCleanup(proxy.close)
        relay = servers.WholeHeaders(proxy.port)
        self.addCleanup(relay.close)
        nginx = servers.Nginx()
        self.addCleanup(nginx.close)
        nginx.put("real.bin", origin.content(KIB100))
        self.use_proxy(relay.port)
        url = nginx.url(nginx.plain, "real.bin")
        self.session.menu_url(url)
        [download] = self.session.companion.wait_finished([url], 30)
        self.assertEqual(harness.digest(download.saved_path), origin.content_digest(KIB100))
        self.assertEqual(proxy.log_text().count("GET " + url), 1)


class Sizes(Case):
    settings = {"MaxSegments": 8}

    def check(self, most):
        self.session = self.new_session(MaxSegments=most)
        self.session.start()
        sizes = (9999, 10000, 99999, 100000, 100001)
        urls = [self.serve("/%d.bin" % size, size, seed=size) for size in sizes]
        self.session.companion.add(*urls)
        for size, url in zip(sizes, urls):
            with self.subTest(size=size):
                download = self.saved(url, 60)
                asked = [r.range() for r in self.origin.requests_for("/%d.bin" % size)]
                self.assertIsNone(asked[0])
                # The stall watch may reconnect a segment; its first request is the plan's.
                self.assertEqual(sorted(dict.fromkeys(asked[1:])), plan(size, most))
                self.assertEqual((download.size, download.received), (size, size))

    def test_every_boundary_size_downloads_with_one_segment(self):
        self.check(1)

    def test_every_boundary_size_downloads_with_up_to_three_segments(self):
        self.check(3)

    def test_every_boundary_size_downloads_with_up_to_four_segments(self):
        self.check(4)

    def test_every_boundary_size_downloads_with_up_to_eight_segments(self):
        self.check(8)

    def test_size_of_0_shows_one_error_box_and_the_program_continues(self):
        self.session.start()
        zero = self.serve("/zero.bin", 0)
        self.session.menu_url(zero)
        self.session.wait_dialog()
        self.fetch(self.serve("/other.bin"))
        self.assertEqual(len(self.session.dialogs()), 1)
        self.assertIn(b"Range: bytes=0--1\r\n", self.origin.requests_for("/zero.bin")[1].raw)
        self.assertFalse(self.session.companion.find(zero).finished)
        self.stop()


if __name__ == "__main__":
    unittest.main()

"""Requests on the wire, byte for byte, as logged by an origin; and sizes at all limits of the planner."""

import unittest

import harness
import origin
import servers

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


class Requests(unittest.TestCase):
    def setUp(self):
        self.origin = origin.Origin()
        self.addCleanup(self.origin.close)

    def session(self, **settings):
        session = harness.Session("requests", **settings)
        self.addCleanup(session.close)
        return session.start()

    def fetched(self, session, url, size, seed=0):
        [download] = session.companion.wait_finished([url], 30)
        self.assertEqual(harness.digest(download.saved_path), origin.content_digest(size, seed))
        return download

    def raw(self, path):
        """Each request once: the stall watch may reconnect a segment."""
        return list(dict.fromkeys(r.raw for r in self.origin.requests_for(path)))

    def test_probe_and_segments_without_a_referrer_are_exact(self):
        self.origin.serve_file("/dir/a.bin?x=1/b.bin", KIB100)
        session = self.session(MaxSegments=4)
        url = self.origin.url("/dir/a.bin?x=1/b.bin")
        session.menu_url(url)
        self.fetched(session, url, KIB100)
        target = "/dir/a.bin?x=1/b.bin"
        raw = self.raw(target)
        self.assertEqual(raw[0], probe(target))
        self.assertEqual(sorted(raw[1:]), sorted(segment(target, *r) for r in plan(KIB100, 4)))

    def test_old_url_is_the_referrer_after_a_redirect(self):
        self.origin.serve_redirect("/old", "http://127.0.0.1/new/file.bin")
        self.origin.serve_file("/new/file.bin", 12345)
        session = self.session(MaxSegments=4)
        old = self.origin.url("/old")
        session.menu_url(old, "http://ignored.example/", "ignored=1")
        download = self.fetched(session, "http://127.0.0.1/new/file.bin", 12345)
        self.assertEqual(download.saved_path, session.downloads + "file.bin")
        self.assertEqual(self.raw("/old"), [probe("/old")])
        raw = self.raw("/new/file.bin")
        self.assertEqual(raw[0], probe("/new/file.bin", referrer=old))
        self.assertEqual(sorted(raw[1:]), sorted(segment("/new/file.bin", *r, referrer=old) for r in plan(12345, 4)))

    def session_with_proxy(self):
        proxy = origin.Origin()
        self.addCleanup(proxy.close)
        self.origin.serve_file("/p.bin", 12345)
        proxy.replies = self.origin.replies
        return proxy, self.session(MaxSegments=4, ProxyHTTP="True", ProxyServer="127.0.0.1", ProxyPort=proxy.port)

    def test_requests_name_the_whole_url_with_a_proxy_and_only_the_probe_uses_it(self):
        proxy, session = self.session_with_proxy()
        url = self.origin.url("/p.bin")
        session.menu_url(url)
        self.fetched(session, url, 12345)
        self.assertEqual([r.raw for r in proxy.requests], [probe(url)])
        self.assertEqual(sorted(self.raw("/p.bin")), sorted(segment(url, *r) for r in plan(12345, 4)))

    def test_blanks_around_a_url_are_not_sent_to_a_proxy(self):
        proxy, session = self.session_with_proxy()
        url = self.origin.url("/p.bin")
        session.menu_url("  %s " % url)
        self.fetched(session, "  %s " % url, 12345)
        self.assertEqual([r.raw for r in proxy.requests], [probe(url)])
        self.assertEqual(sorted(self.raw("/p.bin")), sorted(segment(url, *r) for r in plan(12345, 4)))

    def test_real_proxy_carries_the_probe(self):
        proxy = servers.Tinyproxy()
        self.addCleanup(proxy.close)
        relay = servers.WholeHeaders(proxy.port)
        self.addCleanup(relay.close)
        nginx = servers.Nginx()
        self.addCleanup(nginx.close)
        nginx.put("real.bin", origin.content(KIB100))
        session = self.session(MaxSegments=4, ProxyHTTP="True", ProxyServer="127.0.0.1", ProxyPort=relay.port)
        url = nginx.url(nginx.plain, "real.bin")
        session.menu_url(url)
        self.fetched(session, url, KIB100)
        self.assertEqual(proxy.log_text().count("GET " + url), 1)


class Sizes(unittest.TestCase):
    def check(self, most):
        server = origin.Origin()
        self.addCleanup(server.close)
        sizes = (9999, 10000, 99999, 100000, 100001)
        for size in sizes:
            server.serve_file("/%d.bin" % size, size, seed=size)
        with harness.Session("sizes", MaxSegments=most) as session:
            session.start()
            urls = [server.url("/%d.bin" % size) for size in sizes]
            session.companion.add(*urls)
            for size, download in zip(sizes, session.companion.wait_finished(urls, 60)):
                with self.subTest(size=size):
                    self.assertEqual(harness.digest(download.saved_path), origin.content_digest(size, seed=size))
                    asked = [r.range() for r in server.requests_for("/%d.bin" % size)]
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
        server = origin.Origin()
        self.addCleanup(server.close)
        server.serve_file("/zero.bin", 0)
        server.serve_file("/other.bin", 20000)
        with harness.Session("zero", MaxSegments=8) as session:
            session.start()
            session.menu_url(server.url("/zero.bin"))
            session.wait_dialog()
            other = server.url("/other.bin")
            session.menu_url(other)
            session.companion.wait_finished([other], 30)
            self.assertEqual(len(session.dialogs()), 1)
            self.assertIn(b"Range: bytes=0--1\r\n", server.requests_for("/zero.bin")[1].raw)
            self.assertFalse(session.companion.find(server.url("/zero.bin")).finished)
            self.assertEqual(session.stop(), 0)


if __name__ == "__main__":
    unittest.main()

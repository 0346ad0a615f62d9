"""Servers whose replies to the web engine have heads or trailers without end."""

import time
import unittest

import harness
from case import Case

MEGABYTE = 1 << 20


class Floods(Case):
    settings = {"WebEngine": 2}

    def expect_little_taken(self, start, line):
        block = line * (65536 // len(line))

        def reply(connection, _request):
            connection.sendall(start)
            while True:
                connection.sendall(block)
        self.origin.replies["/a.bin"] = reply
        self.session.start()
        self.session.companion.downloads()
        before = self.session.memory("VmRSS")
        self.session.menu_url(self.origin.url("/a.bin"))
        harness.wait_until(lambda: self.origin.requests_for("/a.bin"), 20, "the request")
        time.sleep(4)
        self.assertEqual(self.state(self.origin.url("/a.bin")), "active")
        self.assertLess(self.session.memory("VmHWM") - before, 40 * MEGABYTE)

    def test_head_takes_little_memory(self):
        self.expect_little_taken(b"HTTP/1.1 200 OK\r\n", b"Set-Cookie: a=b\r\n")

    def test_interim_replies_take_little_memory(self):
        self.expect_little_taken(b"", b"HTTP/1.1 103 Early Hints\r\nLink: </a>\r\n\r\n")

    def test_trailers_take_little_memory(self):
        self.expect_little_taken(b"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n3\r\nabc\r\n0\r\n",
                                 b"X-Filler: " + b"a" * 1000 + b"\r\n")

    def test_head_of_many_short_lines_holds_nothing_up(self):
        """One that ends, so that each line is looked at."""
        self.session.start()
        for number, line in enumerate((b"a:\r\n", b"Set-Cookie: %d=b\r\n", b"Link: <%d>;rel=duplicate\r\n", b"b%d:\r\n")):
            for size in (200_000, 900_000):
                lines = b"".join(line % i if b"%" in line else line for i in range(size // len(line)))[:size]
                path = "/%d-%d.bin" % (number, size)
                self.origin.serve_bytes(path, b"HTTP/1.1 200 OK\r\nContent-Length: 3\r\n" +
                                        lines[:lines.rindex(b"\n") + 1] + b"\r\nabc")
                with self.subTest(line=line, size=size):
                    self.session.menu_url(self.origin.url(path))
                    harness.wait_until(lambda path=path: self.origin.requests_for(path), 20, "the request")
                    end = time.monotonic() + 1
                    while time.monotonic() < end:
                        self.assertLess(self.session.response_seconds(), 2)

    def test_head_of_hundreds_of_lines_is_taken(self):
        self.session.start()
        lines = b"".join(b"X-%d: value\r\n" % i for i in range(900))
        self.origin.serve_bytes("/a.bin", b"HTTP/1.1 200 OK\r\n" + lines + b"Content-Length: 3\r\n\r\nabc")
        self.session.menu_url(self.origin.url("/a.bin"))
        [download] = self.session.companion.wait_finished([self.origin.url("/a.bin")], 30)
        with open(download.saved_path, "rb") as f:
            self.assertEqual(f.read(), b"abc")


if __name__ == "__main__":
    unittest.main()

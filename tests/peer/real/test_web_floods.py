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


if __name__ == "__main__":
    unittest.main()

"""Servers whose replies to the web engine have heads or trailers without end."""

import time
import unittest

import harness
from case import Case

MEGABYTE = 1 << 20


LONG = 90_000  # libcurl takes lines of 100 KiB

# By status: how a line begins, and what is repeated then.
LONG_LINES = {
    302: [(b"Location: /", unit) for unit in (b"./", b"../", b"a/../", b"/", b"%2e/", b"%41", b"\xc3\xbc", b"?", b"#")] +
         [(b"Location: http://", unit) for unit in (b"a.", b"\xc3\xbc", b"\xcc\x81", b"xn--a.", b"[", b"@", b":1")],
    200: [(b"Content-Disposition: attachment; ", b";"), (b"Content-Disposition: attachment; filename=", b"a"),
          (b"Content-Disposition: attachment; filename=", b"../"),
          (b"Content-Disposition: attachment; filename=", b"\xe2\x80\xae"),
          (b"Content-Disposition: attachment; filename=\"", b"\\\""),
          (b"Content-Disposition: attachment; filename*=UTF-8''", b"%CC%81"),
          (b"Link: <a>; rel=\"duplicate ", b"x "), (b"Link: <a>", b";"), (b"Link: ", b"<http://a/b>;rel=duplicate,"),
          (b"Link: ", b"<"), (b"Digest: ", b"md5=,"), (b"Repr-Digest: ", b"a,"), (b"Repr-Digest: sha-256=:", b"A"),
          (b"Set-Cookie: a=b;", b"path=/;"), (b"Set-Cookie: a=b", b";"), (b"Content-Length: ", b"3,"),
          (b"Content-Type: ", b";"), (b"ETag: ", b"\""), (b"Last-Modified: a", b" "), (b"Transfer-Encoding: ", b","),
          (b"Content-Encoding: ", b"identity,"), (b"Accept-Ranges: ", b","), (b"Alt-Svc: ", b"h3=\":1\";"),
          (b"Strict-Transport-Security: ", b";")],
    401: [(b"WWW-Authenticate: ", b","), (b"WWW-Authenticate: ", b"a "), (b"WWW-Authenticate: Digest ", b"a=b,"),
          (b"WWW-Authenticate: Basic realm=\"", b"\\a"), (b"WWW-Authenticate: Digest nonce=\"", b"a"),
          (b"WWW-Authenticate: NTLM ", b"A"), (b"WWW-Authenticate: Negotiate ", b"A")],
    503: [(b"Retry-After: ", b"9"), (b"Retry-After: ", b"Mon, ")],
    206: [(b"Content-Range: bytes ", b"0"), (b"Content-Range: bytes 0-2/", b"3"), (b"Content-Range: ", b",")],
}


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

    def test_long_lines_hold_nothing_up(self):
        self.session.start()
        for status, shapes in LONG_LINES.items():
            for number, (start, unit) in enumerate(shapes):
                path = "/%d-%d" % (status, number)
                length = b"" if start.startswith((b"Content-Length", b"Transfer")) else b"Content-Length: 3\r\n"
                self.origin.serve_bytes(path, b"HTTP/1.1 %d Odd\r\n%s%s\r\n%s\r\nabc" %
                                        (status, start, unit * (LONG // len(unit)), length))
                with self.subTest(status=status, start=start, unit=unit):
                    self.session.menu_url(self.origin.url(path))
                    harness.wait_until(lambda path=path: self.origin.requests_for(path), 20, "the request")
                    for _ in range(3):
                        self.assertLess(self.session.response_seconds(), 1)
                        time.sleep(0.1)

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

"""Servers that misuse HTTP/2, which is spoken where a server refuses the version before."""

import os
import ssl
import struct
import time
import unittest

import harness
import http2frames as h2
from test_tls_attacks import PROMPT, Attacks
from test_web import DATA

BODY = DATA[:200_000]
LENGTH = (b"content-length", b"%d" % len(BODY))
REFUSAL = b"HTTP/1.1 505 HTTP Version Not Supported\r\nContent-Length: 0\r\nConnection: close\r\n\r\n"


class Http2(Attacks):
    """The first request by HTTP/2 is answered by the attack, later ones by the file."""

    def serve_http2(self, attack):
        trust = self.nginx.trust
        self.requests = 0

        def reply(connection):
            context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
            context.load_cert_chain(os.path.join(trust.folder, "right.pem"), os.path.join(trust.folder, "right.key"))
            context.set_alpn_protocols(["h2", "http/1.1"])
            with context.wrap_socket(connection, server_side=True) as tls:
                if tls.selected_alpn_protocol() != "h2":
                    tls.recv(4096)
                    tls.sendall(REFUSAL)
                    return
                peer = h2.Connection(tls)
                while True:
                    peer.wait_for_request()
                    self.requests += 1
                    if self.requests == 1:
                        attack(peer)
                    else:
                        self.serve_body(peer)
        return self.serve_raw(reply)

    @staticmethod
    def serve_body(peer):
        peer.answer(LENGTH)
        peer.send_body(BODY)

    def survive(self, attack, seconds=0.5):
        """Returns the address of a download that was under this attack for some seconds."""
        server = self.serve_http2(attack)
        self.session.start()
        self.session.companion.downloads()
        before = self.session.memory("VmRSS")
        url = self.begin_url(server.url("a.bin"))
        harness.wait_until(lambda: self.requests, 20, "a request by HTTP/2")
        self.check_prompt(seconds, before)
        return url

    def recover(self, attack, seconds=0.5):
        """The file comes whole by another request."""
        url = self.survive(attack, seconds)
        self.finish(url, BODY)
        self.assertGreater(self.requests, 1)

    def test_file_comes_whole(self):
        self.finish(self.survive(self.serve_body), BODY)

    def test_head_that_never_ends(self):
        def attack(peer):
            peer.send(h2.HEADERS, 0, peer.stream, h2.head(200))
            while True:
                peer.send(h2.CONTINUATION, 0, peer.stream, h2.field(b"x-filler", b"a" * 1000) * 10)
        self.recover(attack)

    def test_empty_pieces_of_a_head_that_never_ends(self):
        def attack(peer):
            peer.send(h2.HEADERS, 0, peer.stream, h2.head(200))
            while True:
                peer.tls.sendall(peer.frame(h2.CONTINUATION, 0, peer.stream, b"") * 1000)
        self.recover(attack)

    def test_head_that_repeats_a_long_line_of_the_table(self):
        def attack(peer):
            peer.send(h2.HEADERS, h2.END_HEADERS, peer.stream,
                      h2.head(200) + h2.field(b"x-filler", b"a" * 3900, True) + b"\xbe" * 12000)
        self.recover(attack)

    def test_interim_replies_without_end(self):
        def attack(peer):
            self.pour(peer, peer.frame(h2.HEADERS, h2.END_HEADERS, peer.stream, h2.head(103)))
        self.recover(attack, 2)

    def test_second_head_in_the_body(self):
        def attack(peer):
            peer.answer(LENGTH)
            peer.send_body(BODY[:50_000], end=False)
            peer.answer(LENGTH, status=206)
            peer.send_body(BODY[50_000:])
        self.recover(attack)

    def flood(self, frame, of_stream=False):
        def attack(peer):
            peer.answer(LENGTH)
            peer.send_body(BODY[:50_000], end=False)
            kind, flags, text = frame
            self.pour(peer, peer.frame(kind, flags, peer.stream if of_stream else 0, text))
        self.recover(attack, 2)

    @staticmethod
    def pour(peer, frame):
        end = time.monotonic() + 1.5 * PROMPT
        while time.monotonic() < end:
            peer.tls.sendall(frame * 500)
        raise ConnectionError

    def test_flood_of_pings(self):
        self.flood((h2.PING, 0, bytes(8)))

    def test_flood_of_empty_data(self):
        self.flood((h2.DATA, 0, b""), of_stream=True)

    def test_flood_of_priorities(self):
        self.flood((h2.PRIORITY, 0, struct.pack(">IB", 0, 1)), of_stream=True)

    def test_flood_of_little_room(self):
        self.flood((h2.WINDOW_UPDATE, 0, struct.pack(">I", 1)))

    def after_half(self, *frames):
        """The connection stays open after these frames."""
        def attack(peer):
            peer.answer(LENGTH)
            peer.send_body(BODY[:50_000], end=False)
            for kind, flags, stream, text in frames:
                peer.send(kind, flags, peer.stream if stream is None else stream, text)
        self.recover(attack)

    def test_stream_that_is_reset(self):
        self.after_half((h2.RST_STREAM, 0, None, struct.pack(">I", 8)))

    def test_goodbye_that_leaves_the_stream_out(self):
        self.after_half((h2.GOAWAY, 0, 0, struct.pack(">II", 0, 0)))

    def test_end_before_the_length(self):
        self.after_half((h2.DATA, h2.END_STREAM, None, b""))

    def test_data_of_no_stream(self):
        self.after_half((h2.DATA, 0, 0, BODY[:1000]))

    def test_more_data_than_the_length(self):
        def attack(peer):
            peer.answer(LENGTH)
            peer.send_body(BODY + DATA[:100_000])
        self.survive(attack)
        self.finish(self.begin_url(self.session.companion.downloads()[0].url), BODY)

    def test_goodbye_that_lets_the_stream_end(self):
        def attack(peer):
            peer.answer(LENGTH)
            peer.send_body(BODY[:50_000], end=False)
            peer.send(h2.GOAWAY, 0, 0, struct.pack(">II", peer.stream, 0))
            peer.send_body(BODY[50_000:])
        self.finish(self.survive(attack), BODY)
        self.assertEqual(self.requests, 1)


if __name__ == "__main__":
    unittest.main()

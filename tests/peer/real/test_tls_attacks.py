"""Servers that misuse TLS: floods of messages in the handshake and after it, garbage, ends in the middle."""

import os
import socket
import ssl
import threading
import time
import unittest

import harness
import origin
from test_web import DATA, Web

MEGABYTE = 1 << 20


class Raw(origin.Server):
    """Each connection gets what `reply` sends to it."""

    def __init__(self, reply):
        self.reply = reply
        self.connections = 0
        super().__init__()

    def serve(self, connection):
        self.connections += 1
        with connection:
            try:
                self.reply(connection)
            except OSError:
                pass

    def url(self, name):
        return "https://127.0.0.1:%d/%s" % (self.port, name)


def record(kind, body, version=b"\x03\x03"):
    return bytes([kind]) + version + len(body).to_bytes(2, "big") + body


class Handshake(Web):
    def serve_raw(self, reply):
        server = Raw(reply)
        self.addCleanup(server.close)
        return server

    def longest_answer(self, seconds):
        """Of calls that the thread of the windows answers."""
        longest = 0.0
        end = time.monotonic() + seconds
        while time.monotonic() < end:
            longest = max(longest, self.session.response_seconds())
            time.sleep(0.1)
        return longest

    def test_flood_of_hello_requests_does_not_hold_the_window_up(self):
        flood = record(22, bytes(4) * 4000) * 64
        def reply(connection):
            connection.recv(4096)
            while True:
                connection.sendall(flood)
        server = self.serve_raw(reply)
        self.session.start()
        before = self.session.memory("VmRSS")
        self.session.menu_url(server.url("a.bin"))
        harness.wait_until(lambda: server.connections, 20, "a connection")
        self.assertLess(self.longest_answer(5), 2)
        self.assertLess(self.session.memory("VmHWM") - before, 40 * MEGABYTE)


if __name__ == "__main__":
    unittest.main()

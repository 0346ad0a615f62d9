"""Servers that misuse TLS: floods of messages in the handshake and after it, stalls, garbage, ends in the middle,
certificates that expire meanwhile."""

import os
import re
import shutil
import signal
import ssl
import threading
import time
import unittest

import harness
import origin
import tlsrecords
import webservers
from test_web import DATA, Web

MEGABYTE = 1 << 20
PROMPT = 2  # seconds
HEAD = ("HTTP/1.1 206 Partial Content\r\nContent-Type: application/octet-stream\r\nETag: \"1\"\r\n"
        "Content-Range: bytes %d-%d/%d\r\nContent-Length: %d\r\n\r\n")


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


class Attacks(Web):
    def serve_raw(self, reply):
        server = Raw(reply)
        self.addCleanup(server.close)
        return server

    def check_prompt(self, seconds, before):
        """The thread of the windows answers, and memory is bounded."""
        end = time.monotonic() + seconds
        while time.monotonic() < end:
            self.assertLess(self.session.response_seconds(), PROMPT)
            time.sleep(0.1)
        self.assertLess(self.session.memory("VmHWM") - before, 40 * MEGABYTE)


class Handshake(Attacks):
    def begin_at(self, reply):
        server = self.serve_raw(reply)
        self.session.start()
        self.session.companion.downloads()
        before = self.session.memory("VmRSS")
        url = self.begin_url(server.url("a.bin"))
        harness.wait_until(lambda: server.connections, 20, "a connection")
        return url, before

    def test_flood_of_hello_requests_does_not_hold_the_window_up(self):
        flood = b"\x16\x03\x03" + (16000).to_bytes(2, "big") + bytes(16000)

        def reply(connection):
            connection.recv(4096)
            while True:
                connection.sendall(flood * 64)
        url, before = self.begin_at(reply)
        self.check_prompt(5, before)
        self.assertEqual(self.state(url), "active")

    def test_stalled_handshakes_hold_nothing_up(self):
        goes_on = threading.Event()
        self.addCleanup(goes_on.set)

        def reply(connection):
            connection.recv(4096)
            hello = b"\x16\x03\x03\x20\x00\x02\x00\x1f\xfc"
            for i in range(len(hello)):  # one byte after the other, of a message that never ends
                connection.sendall(hello[i:i + 1])
                goes_on.wait(0.1)
            while not goes_on.wait(0.1):
                connection.sendall(b"\x00")
        url, before = self.begin_at(reply)
        self.finish(self.begin_url(self.nginx.url(self.nginx.plain, "small.bin")), DATA[:1000])
        self.check_prompt(2, before)
        self.assertEqual(self.state(url), "active")
        self.assertEqual(self.session.companion.run("pause", url).returncode, 0)
        self.wait_state(url, "paused")
        self.stop()


    def test_flood_of_tickets_ends_the_connection(self):
        """After the handshake, of TLS 1.3; no server needs more than a few."""
        trust = self.nginx.trust

        def reply(connection):
            context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
            context.load_cert_chain(os.path.join(trust.folder, "right.pem"), os.path.join(trust.folder, "right.key"))
            if server.connections == 1:
                context.num_tickets = 100000
            with context.wrap_socket(connection, server_side=True) as tls:
                tls.recv(4096)
                tls.sendall(b"HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\n" + DATA[:1000])
        server = self.serve_raw(reply)
        self.session.start()
        before = self.session.memory("VmRSS")
        url = self.begin_url(server.url("a.bin"))
        self.check_prompt(3, before)
        self.finish(url, DATA[:1000])
        self.assertGreater(server.connections, 1)


class Records(Attacks):
    """The first connection sends half of the file, and then what it should not; the others are right."""

    SIZE = 60000
    more_settings = {"MaxSegments": 1}

    def attack(self, attack):
        trust = self.nginx.trust
        ends = []

        def reply(connection):
            number = server.connections
            records = tlsrecords.Records(connection, os.path.join(trust.folder, "right.pem"),
                                         os.path.join(trust.folder, "right.key"), self.session.root)
            while True:
                wanted = re.search(rb"(?i)\r\nRange: bytes=(\d+)-(\d*)", records.request())
                first = int(wanted[1])
                last = int(wanted[2] or self.SIZE - 1)
                records.send(tlsrecords.DATA, (HEAD % (first, last, self.SIZE, last + 1 - first)).encode())
                middle = first + (last + 1 - first) // 2
                self.send_data(records, first, middle)
                if number == 1:
                    time.sleep(0.5)
                    try:
                        attack(records)
                        ends.append(records.wait_for_end(10 * harness.SLOWNESS))
                    except OSError:
                        ends.append(True)
                    return
                self.send_data(records, middle, last + 1)
        server = self.serve_raw(reply)
        self.session.start()
        self.session.companion.downloads()
        before = self.session.memory("VmRSS")
        url = self.begin_url(server.url("a.bin"))
        harness.wait_until(lambda: server.connections, 20, "a connection")
        self.check_prompt(2, before)
        self.finish(url, DATA[:self.SIZE])
        self.assertEqual(ends, [True], "the client has ended the connection")
        self.assertEqual(self.session.dialogs(), [])

    @staticmethod
    def send_data(records, first, end):
        for at in range(first, end, 16000):
            records.send(tlsrecords.DATA, DATA[at:min(at + 16000, end)])

    def test_garbage_in_the_middle(self):
        self.attack(lambda records: records.connection.sendall(os.urandom(3000)))

    def test_record_that_was_changed(self):
        def send(records):
            record = bytearray(records.record(tlsrecords.DATA, b"x" * 100))
            record[50] ^= 1
            records.connection.sendall(record)
        self.attack(send)

    def test_close_notify_in_the_middle(self):
        self.attack(lambda records: records.send(tlsrecords.ALERT, tlsrecords.CLOSE_NOTIFY))

    def flood(self, kind, text, count):
        def send(records):
            for _ in range(count):
                records.send(kind, text)
        self.attack(send)

    def test_flood_of_empty_records(self):
        self.flood(tlsrecords.DATA, b"", 2000)

    def test_flood_of_warnings(self):
        self.flood(tlsrecords.ALERT, tlsrecords.USER_CANCELED, 2000)

    def test_flood_of_requests_to_renegotiate(self):
        self.flood(tlsrecords.HANDSHAKE, tlsrecords.HELLO_REQUEST, 2000)

    def test_flood_of_requests_to_renegotiate_in_few_records(self):
        self.flood(tlsrecords.HANDSHAKE, tlsrecords.HELLO_REQUEST * 4000, 20)


class Expiry(Attacks):
    def test_certificate_that_expires_between_two_requests_stops_with_the_reason(self):
        nginx = webservers.TlsNginx()
        self.addCleanup(lambda: nginx.close())
        nginx.put("a.bin", DATA)
        self.settings = {"MaxSegments": 4, "ExtraCertificates": nginx.authority}
        self.session = self.new_session()
        self.session.start()
        url = self.begin_url(nginx.url(nginx.slow, "a.bin"))
        harness.wait_until(lambda: self.received(url) > 5_000_000, 30, "a part of the file")
        self.exchange(nginx, "right", "expired")
        self.wait_state(url, "failed")
        self.assertIn("the certificate has expired", self.session.companion.find(url).reason)
        self.assertEqual(self.part_files(), ["a.bin.part"])
        held = self.received(url)
        self.assertGreater(held, 1_000_000)
        self.exchange(nginx, "kept", "kept")
        before = len(nginx.log())
        self.session.resume()
        self.finish(url, DATA)
        self.assertLess(nginx.sent(before), len(DATA) - held + 8_000_000)

    @staticmethod
    def exchange(nginx, kept, used):
        """Restarts nginx with another certificate in place of the right one, which is kept."""
        folder = nginx.trust.folder
        for ending in (".pem", ".key"):
            right = os.path.join(folder, "right" + ending)
            if kept == "right":
                shutil.copy(right, os.path.join(folder, "kept" + ending))
            shutil.copy(os.path.join(folder, used + ending), right)
        nginx.process.send_signal(signal.SIGKILL)
        nginx.process.wait()
        nginx.start()


if __name__ == "__main__":
    unittest.main()

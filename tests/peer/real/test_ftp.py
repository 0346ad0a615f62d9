"""Real FTP servers: vsftpd with its anonymous user, proftpd with a virtual one. Files with each number of segments,
pause, kill, a limit of logins, and files that are missing or forbidden."""

import os
import socket
import time
import unittest

import ftpservers
import harness
import listfile
import origin
from case import Case

MIB = 1 << 20
LARGE = 50 * MIB
COMPLETE = 3  # a segment's state


def put(server, name, size, seed):
    server.put(name, origin.content(size, seed))
    # Both servers send it as a reply of several lines when entering the folder.
    server.put(".message", b"Read the rules.\n250 rules, that is.\n")
    return server.url(name)


class OrderServer(origin.Server):
    """Serves one generated file, and records for each RETR whether the data connection had been opened before. The
    replies after a 227 come `pause` seconds later without further commands."""

    def __init__(self, size, pause):
        self.size, self.pause = size, pause
        self.orders = []
        super().__init__()

    def url(self, name):
        return "ftp://anonymous:x@127.0.0.1:%d/%s" % (self.port, name)

    def serve(self, connection):
        connection.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        passive, start = None, 0
        try:
            connection.sendall(b"220 ready\r\n")
            for line in connection.makefile("rb"):
                verb, _, argument = line.decode().strip().partition(" ")
                if verb == "PASV":
                    passive = origin.listen_low()
                    port = passive.getsockname()[1]
                    connection.sendall(b"227 here (127,0,0,1,%d,%d)\r\n" % (port // 256, port % 256))
                    time.sleep(self.pause)
                elif verb == "REST":
                    start = int(argument)
                    connection.sendall(b"350 from there\r\n")
                elif verb == "RETR":
                    self.send(connection, passive, start)
                else:
                    connection.sendall({"USER": b"331 password\r\n", "PASS": b"230 in\r\n", "CWD": b"250 there\r\n",
                                        "PWD": b'257 "/"\r\n', "SIZE": b"213 %d\r\n" % self.size}.get(verb, b"200 well\r\n"))
        except OSError:
            pass
        finally:
            for open_socket in (passive, connection):
                if open_socket:
                    open_socket.close()

    def send(self, connection, passive, start):
        passive.setblocking(False)
        try:
            data, _ = passive.accept()
            self.orders.append(True)
        except BlockingIOError:
            self.orders.append(False)
            passive.settimeout(10)
            data, _ = passive.accept()
        data.setblocking(True)
        with data:
            connection.sendall(b"150 here it comes\r\n")
            data.sendall(origin.content(self.size, 0, start))


class FtpServers(Case):
    settings = {"MaxSegments": 8}

    def setUp(self):
        super().setUp()
        self.session.start()

    def start(self, kind, **options):
        server = kind(**options)
        self.addCleanup(server.close)
        return server

    def expect_files(self, expected, timeout=90):
        """`expected` maps URLs to (size, seed)."""
        for download in self.session.companion.wait_finished(list(expected), timeout):
            size, seed = expected[download.url]
            self.assertEqual(os.path.getsize(download.saved_path), size)
            self.assertEqual(harness.digest(download.saved_path), origin.content_digest(size, seed), download.url)
        self.assertEqual(os.listdir(self.session.parts), [])
        self.assertEqual(self.session.dialogs(), [])

    def fetch_every_size(self, kind):
        server = self.start(kind)
        expected = {}
        for seed, (size, logins) in enumerate(((9999, 1), (10000, 2), (100000, 8), (LARGE, 8))):
            url = put(server, "%d.bin" % size, size, seed)
            expected[url] = (size, seed)
            self.session.menu_url(url)
        self.expect_files(expected)
        # REST is sent once for each probe and at least once for each segment.
        self.assertGreaterEqual(len(server.restarts()), 4 + 1 + 2 + 8 + 8)
        self.assertEqual(server.refusals(), 0)
        for download in self.session.companion.downloads():
            segments = len(listfile.find(self.session.list_file, download.url).segments)
            # The list does not count the last byte of each segment, although the file is complete.
            self.assertEqual(download.received, download.size - segments)
            self.assertEqual(download.percent, 100.0)

    def test_vsftpd_serves_files_of_every_size_to_the_anonymous_user(self):
        self.fetch_every_size(ftpservers.Vsftpd)

    def test_proftpd_serves_files_of_every_size_to_a_virtual_user(self):
        self.fetch_every_size(ftpservers.Proftpd)

    def test_pause_and_kill_lose_only_unsaved_progress(self):
        session = self.session
        kinds = (ftpservers.Vsftpd, ftpservers.Proftpd)
        pairs = [(s, put(s, s.name + ".bin", LARGE, i)) for i, s in
                 enumerate(self.start(kind, rate=500000) for kind in kinds)]
        urls = [url for _, url in pairs]
        for url in urls:
            session.menu_url(url)
        harness.wait_until(lambda: all(self.received(url) > 4 * MIB for url in urls), 60, "the first bytes")
        session.choose("alt+a", "u")
        for url in urls:
            self.wait_state(url, "paused")
        before = [self.received(url) for url in urls]
        time.sleep(1)
        self.assertEqual([self.received(url) for url in urls], before)
        asked = [len(server.restarts()) for server, _ in pairs]
        session.resume()
        harness.wait_until(lambda: all(len(server.restarts()) >= count + 8 for (server, _), count in zip(pairs, asked)), 60,
                           "every segment to ask for its rest")

        def saved():
            records = [listfile.find(session.list_file, url) for url in urls]
            return records if all(r and r.kept > count + MIB for r, count in zip(records, before)) else None
        harness.wait_until(saved, 60, "a saved list")
        session.kill()
        records = saved()
        killed = [len(server.restarts()) for server, _ in pairs]
        session.start()
        session.resume()
        self.expect_files({url: (LARGE, i) for i, url in enumerate(urls)})
        for (server, _), record, received, paused, count in zip(pairs, records, before, asked, killed):
            kept = 0
            for number, segment in enumerate(record.segments):
                start = number * LARGE // 8
                first = {}
                for phase, restarts in (("pause", server.restarts()[paused:count]), ("kill", server.restarts()[count:])):
                    # Leaves out the probe's 0.
                    mine = [n for n in restarts if n and start <= n <= segment.range_end]
                    first[phase] = mine[0] if mine else None
                kept += (first["pause"] or start) - start
                if segment.state != COMPLETE:
                    self.assertEqual(first["kill"], segment.range_start + segment.received_now)
            self.assertEqual(kept, received)

    def test_data_connection_starts_before_retr_is_sent(self):
        for number, pause in enumerate((0, 0.00005, 0.0002, 0.001, 0.02)):
            server = OrderServer(400003, pause)
            self.addCleanup(server.close)
            urls = [server.url("%d-%d.bin" % (number, each)) for each in range(3)]
            for url in urls:
                self.session.menu_url(url)
            self.session.companion.wait_finished(urls, 60)
            with self.subTest(pause=pause):
                self.assertGreaterEqual(len(server.orders), 24)
                self.assertEqual(server.orders.count(False), 0, "of %d" % len(server.orders))

    def login_limit(self, kind):
        server = self.start(kind, most_logins=2)
        url = put(server, "limited.bin", 4 * MIB, 5)
        self.session.menu_url(url)
        self.expect_files({url: (4 * MIB, 5)})
        self.assertGreaterEqual(server.refusals(), 3)

    def test_vsftpd_with_two_logins_for_a_host_serves_eight_segments_in_turn(self):
        self.login_limit(ftpservers.Vsftpd)

    def test_proftpd_with_two_logins_for_a_host_serves_eight_segments_in_turn(self):
        self.login_limit(ftpservers.Proftpd)

    def test_missing_and_forbidden_files_are_reported_and_dropped(self):
        session = self.session
        for kind in (ftpservers.Vsftpd, ftpservers.Proftpd):
            server = self.start(kind)
            put(server, "there.bin", 20000, 1)
            for url in (server.url("missing.bin"), server.url("there.bin", server.wrong_login)):
                with self.subTest(url=url):
                    session.menu_url(url)
                    window, _ = session.wait_dialog()
                    self.assertIsNotNone(session.companion.find(url))
                    session.dismiss(window)
                    self.wait_state(url, None)
            session.menu_url(server.url("there.bin"))
            session.companion.wait_finished([server.url("there.bin")], 30)
        self.assertEqual(os.listdir(session.parts), [])
        self.stop()


if __name__ == "__main__":
    unittest.main()

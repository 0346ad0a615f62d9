"""Downloads over https: files, names, servers with habits of their own, kills and restarts."""

import os
import random
import threading
import time
import unittest

import harness
import origin
import webservers
from case import Case

DATA = random.Random(1).randbytes(24_000_000)


class Web(Case):
    @classmethod
    def setUpClass(cls):
        cls.nginx = webservers.TlsNginx()
        cls.addClassCleanup(lambda: cls.nginx.close())  # whichever process it is by then
        cls.nginx.put("a.bin", DATA)
        cls.nginx.put("small.bin", DATA[:1000])
        cls.nginx.put("empty.bin", b"")
        cls.settings = {"MaxSegments": 4, "ExtraCertificates": cls.nginx.authority, **cls.more_settings}

    more_settings = {}

    def finish(self, url, data, timeout=60):
        [download] = self.session.companion.wait_finished([url], timeout)
        with open(download.saved_path, "rb") as f:
            self.assertTrue(f.read() == data, "wrong bytes in " + download.saved_path)
        self.assertEqual(self.part_files(), [])
        return download

    def part_files(self):
        return [name for name in os.listdir(self.session.downloads) if name.endswith(".part")]

    def begin_url(self, url):
        self.session.menu_url(url)
        return url

    def refused(self, url):
        """The reason, one sentence, of a download that has failed without a question and left no file."""
        self.begin_url(url)
        self.wait_state(url, "failed")
        self.assertEqual(self.session.dialogs(), [])
        self.assertEqual(os.listdir(self.session.downloads), [])
        reason = self.session.companion.find(url).reason
        self.assertRegex(reason, r"^[^\n]{10,150}$")
        return reason


class Files(Web):
    def test_files_of_any_length_come_whole(self):
        self.session.start()
        for name, data in (("a.bin", DATA), ("small.bin", DATA[:1000]), ("empty.bin", b"")):
            with self.subTest(name):
                self.finish(self.begin_url(self.nginx.url(self.nginx.plain, name)), data)

    def test_server_without_ranges_is_asked_on_one_connection(self):
        self.session.start()
        self.finish(self.begin_url(self.nginx.url(self.nginx.whole, "a.bin")), DATA)

    def test_name_comes_from_the_reply(self):
        self.session.start()
        url = self.begin_url(self.nginx.url(self.nginx.plain, "download.php?id=1"))
        download = self.finish(url, DATA[:1000])
        self.assertEqual(os.path.basename(download.saved_path), "na\u00efve file.bin")

    def test_part_is_private_and_the_file_follows_the_umask(self):
        former = os.umask(0o027)
        self.addCleanup(os.umask, former)
        self.session.start()
        url = self.begin_url(self.nginx.url(self.nginx.slow, "a.bin"))
        harness.wait_until(lambda: self.received(url) > 1_000_000, 30, "a part of the file")
        [part] = self.part_files()
        self.assertEqual(os.stat(self.session.downloads + part).st_mode & 0o7777, 0o600)
        self.assertEqual(self.part_files(), ["a.bin.part"])
        download = self.finish(url, DATA)
        self.assertEqual(os.stat(download.saved_path).st_mode & 0o7777, 0o640)


class Interrupted(Web):
    more_settings = {"MaxSegments": 8}

    def test_download_goes_on_after_a_kill_from_what_was_on_the_disk(self):
        self.session.start()
        url = self.begin_url(self.nginx.url(self.nginx.slow, "a.bin"))
        harness.wait_until(lambda: self.received(url) > 16_000_000, 30, "two thirds of the file")
        self.session.kill()
        self.session.start()
        self.assertEqual(self.state(url), "paused")
        time.sleep(0.5)  # nginx notices the ends of the connections
        before = len(self.nginx.log())
        claimed = self.received(url)
        self.assertGreater(claimed, 1_000_000)
        self.session.resume()
        self.finish(url, DATA)
        sent = self.nginx.sent(before)
        self.assertGreaterEqual(sent, len(DATA) - claimed)
        # What is claimed is not fetched again, but for what comes after the end of a piece before its connection closes.
        self.assertLess(sent, len(DATA) - claimed + 8_000_000)

    def test_server_that_restarts_costs_only_its_absence(self):
        self.session.start()
        url = self.begin_url(self.nginx.url(self.nginx.slow, "a.bin"))
        harness.wait_until(lambda: self.received(url) > 5_000_000, 30, "a part of the file")
        self.nginx.process.kill()
        self.nginx.process.wait()
        time.sleep(2)
        self.assertEqual(self.state(url), "active")
        self.nginx.start()
        self.finish(url, DATA)
        self.assertEqual(self.session.dialogs(), [])


    def test_program_ends_well_during_a_flush(self):
        marker = os.path.join(self.session.root, "late")
        self.session.preload("lateflush.cpp", LATE_FLUSH=marker)
        self.session.start()
        url = self.begin_url(self.nginx.url(self.nginx.slow, "a.bin"))
        harness.wait_until(lambda: self.received(url) > 5_000_000, 30, "a part of the file")
        with open(marker, "wb"):
            pass
        harness.wait_until(lambda: self.received(url) > 10_000_000, 30, "more of it")
        self.stop()
        os.remove(marker)
        self.session.start()
        self.session.resume()
        self.finish(url, DATA)


class AllDownloads(Web):
    """With an origin of odd replies by http."""

    more_settings = {"WebEngine": 2}

    def chunks(self, path, pieces, end=b"0\r\n\r\n"):
        body = b"".join(b"%x\r\n%s\r\n" % (len(piece), piece) for piece in pieces)
        self.origin.serve_bytes(path, b"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n" + body + end)
        return self.origin.url(path)

    def test_file_of_unknown_length_comes_whole(self):
        self.session.start()
        pieces = [DATA[i:i + 70_000] for i in range(0, 3_000_000, 70_000)]
        self.finish(self.begin_url(self.chunks("/chunked.bin", pieces)), b"".join(pieces))

    def test_chunked_file_that_is_cut_is_not_finished(self):
        self.session.start()
        url = self.begin_url(self.chunks("/cut.bin", [DATA[:70_000]], end=b""))
        harness.wait_until(lambda: len(self.origin.requests_for("/cut.bin")) >= 3, 30, "tries")
        self.assertEqual(self.state(url), "active")
        self.assertNotIn("cut.bin", os.listdir(self.session.downloads))

    def test_http_address_that_leads_to_https_is_followed(self):
        self.session.start()
        nginx = self.nginx
        self.finish(self.begin_url(nginx.url(nginx.clear, "to/https/%d/a.bin" % nginx.plain)), DATA)

    def test_https_address_that_leads_to_http_is_refused(self):
        self.session.start()
        nginx = self.nginx
        before = len(nginx.log())
        self.refused(nginx.url(nginx.plain, "to/http/%d/a.bin" % nginx.clear))
        self.assertEqual([line.split()[6] for line in nginx.log()[before:]], ["/to/http/%d/a.bin" % nginx.clear])

    def test_length_that_is_not_known_has_no_figure(self):
        block = DATA[:100_000]
        goes_on = threading.Event()

        def reply(connection, _request):
            connection.sendall(b"HTTP/1.1 200 OK\r\nContent-Type: application/octet-stream\r\n"
                               b"Transfer-Encoding: chunked\r\n\r\n")
            for _ in range(20):
                connection.sendall(b"%x\r\n%s\r\n" % (len(block), block))
                goes_on.wait(0.2)
            goes_on.wait(30)
            connection.sendall(b"0\r\n\r\n")

        self.origin.replies["/a.bin"] = reply
        self.start_with_screen()
        url = self.origin.url("/a.bin")
        self.session.menu_url(url)
        harness.wait_until(lambda: self.received(url) >= 1_000_000, 30, "a part of the file")
        titles = [name for _, name in self.screen.windows() if "a.bin" in name]
        self.assertEqual(len(titles), 1, self.screen.windows())
        self.assertNotIn("%", titles[0])
        texts = [element.name or element.text for element in self.screen.elements(titles[0].split(" of ")[-1])]
        self.assertNotIn("/ 0 bytes", texts)
        self.assertNotIn("0.0%", texts)
        self.session.save_screenshot("web-unknown-length")
        goes_on.set()
        self.finish(url, block * 20)


class EngineOff(Web):
    more_settings = {"WebEngine": 0}

    def test_https_is_refused(self):
        self.session.start()
        url = self.nginx.url(self.nginx.plain, "a.bin")
        before = len(self.nginx.log())
        result = self.session.companion.run("add", url)
        self.assertEqual(result.returncode, 1)
        self.assertEqual(len(result.stderr.splitlines()), 1)
        self.begin_url(url)
        self.session.wait_dialog()
        self.assertEqual(self.session.companion.downloads(), [])
        self.assertEqual(len(self.nginx.log()), before)


class Idle(Web):
    """Without windows, after a download over TLS: libcurl and the certificates are loaded."""

    RECORDS = 1000

    def setUp(self):
        super().setUp()
        for name in ("DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"):
            self.session.env.pop(name, None)
        self.session.arguments = ["--headless"]

    def processor_seconds(self):
        folder = "/proc/%d/task" % self.session.process.pid
        seconds = 0
        for thread in os.listdir(folder):
            with open("%s/%s/schedstat" % (folder, thread), encoding="ascii") as f:
                seconds += int(f.read().split()[0]) / 1e9
        return seconds

    def test_thousand_downloads_cost_40_mib_and_a_thousandth_of_a_core(self):
        companion = self.session.companion
        waiting = [self.nginx.url(self.nginx.plain, "waits%d.bin" % number) for number in range(self.RECORDS - 1)]
        self.session.start()
        added = companion.run("add", "--later", "-i", "-", timeout=300, given="\n".join(waiting).encode())
        self.assertEqual(added.returncode, 0)
        self.assertEqual(companion.run("quit").returncode, 0)
        self.assertEqual(self.session.process.wait(20), 0)
        self.session.start()
        url = self.nginx.url(self.nginx.plain, "a.bin")
        companion.add(url)
        self.finish(url, DATA)
        self.assertEqual(len(companion.downloads()), self.RECORDS)
        time.sleep(20)  # memory is given back after fifteen
        before = self.processor_seconds()
        time.sleep(10)
        self.assertLess(self.processor_seconds() - before, 0.010)
        self.assertLess(self.session.memory("VmRSS"), 40 << 20)


if __name__ == "__main__":
    unittest.main()

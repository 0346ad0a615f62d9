"""Hostile callers on the bus: many calls, large ones, and odd URLs; the program stays alive and responsive."""

import time
import unittest

import bus
import harness
from case import Case

MENU_URL = (*harness.PROGRAM_OBJECT, "MenuURL")
OPEN = (*harness.PROGRAM_OBJECT[:2], "org.freedesktop.Application", "Open")


class OnBus(Case):
    settings = {"MaxSegments": 4}

    def setUp(self):
        super().setUp()
        self.session.start()
        self.bus = self.session.connect()
        self.addCleanup(self.bus.close)

    def check_responsive(self):
        self.fetch(self.serve("/after.bin", 200000, seed=3))
        self.assertLess(self.session.response_seconds(), harness.PROMPT)
        self.stop()


class Bus(OnBus):
    def test_ten_thousand_bad_urls_leave_one_message_and_no_download(self):
        before = self.session.memory()
        for number in range(10000):
            self.bus.send(*MENU_URL, "gopher://127.0.0.1/%d.bin" % number, "", "")
        self.bus.call(*MENU_URL, "gopher://127.0.0.1/last.bin", "", "")
        self.session.wait_dialog()
        self.assertEqual(self.session.companion.downloads(), [])
        self.session.dismiss(self.session.wait_dialog()[0])
        self.assertEqual(self.session.dialogs(), [])
        self.assertLess(self.session.memory() - before, 64 << 20)
        self.check_responsive()

    def test_ten_thousand_calls_for_one_url_add_it_once(self):
        url = self.serve("/once.bin", 30000000, rate=100000)
        for _ in range(10000):
            self.bus.send(*MENU_URL, url, "", "")
        self.bus.call(*MENU_URL, url, "", "")
        time.sleep(1)
        self.assertEqual([d.url for d in self.session.companion.downloads()], [url])
        self.session.dismiss(self.session.wait_dialog()[0], "Escape")
        self.assertEqual(self.session.dialogs(), [])
        self.assertLess(self.session.response_seconds(), harness.PROMPT)
        self.stop()

    def test_strings_of_10_mib_are_refused_with_a_message(self):
        large = "A" * (10 << 20)
        for texts in ((large, large, large), ("http://127.0.0.1/" + large, "", ""), ("http://%s/x" % large, "", "")):
            self.bus.call(*MENU_URL, *texts)
        for _ in range(20):
            time.sleep(0.3)
            self.session.press_in_dialogs()
        self.assertLess(self.session.memory("VmRSS"), 400 << 20)
        self.check_responsive()

    def test_odd_urls_are_accepted_or_refused_without_harm(self):
        for url in ("http://127.0.0.1/a\r\nX: y\r\n/b.bin", "http://127.0.0.1/\x01\x02\x7f.bin", "http://[::1]:80/x.bin",
                    "http://127.0.0.1:0/x.bin", "http://127.0.0.1:65536/x.bin", "http://127.0.0.1:-1/x.bin",
                    "http://127.0.0.1:99999999999999999999/x.bin", "http://no.such.host.invalid/x.bin",
                    "http://b\u00fccher.invalid/\u00fc.bin", "http:///x.bin", "http://127.0.0.1/", "ftp://127.0.0.1:1/x",
                    "http://user:pa@ss@127.0.0.1:1/x.bin", "http://127.0.0.1/%2e%2e%2f%00.bin",
                    "http://127.0.0.1/" + "n" * 255):
            self.bus.call(*MENU_URL, url, "", "")
        time.sleep(2)
        self.assertLess(self.session.response_seconds(), harness.PROMPT)
        self.check_responsive()

    def test_line_ends_in_a_url_inject_no_header(self):
        path = "/a%0D%0AX-Evil:%20y%0D%0A%0D%0Ab.bin"
        self.origin.serve_file(path, 30000)
        url = self.origin.url("/a\r\nX-Evil: y\r\n\r\nb.bin")
        self.bus.call(*MENU_URL, url, "http://p.example/\r\nX-Evil: p", "k=v\r\nX-Evil: c")
        requests = harness.wait_until(lambda: self.origin.requests, 20, "a request")
        # No file can have that name, and a message says so.
        self.session.dismiss(self.session.wait_dialog()[0])
        for request in requests:
            self.assertEqual(request.raw.split(b"\r\n")[0], b"GET %s HTTP/1.1" % path.encode())
            self.assertIsNone(request.header("X-Evil"))
            self.assertNotIn(b"k=v", request.raw)
        self.check_responsive()

    def taken(self, url):
        try:
            # Without the flag the bus might start a second copy before the first is ready.
            self.bus.call(*MENU_URL, url, "", "", flags=bus.NO_AUTO_START)
            return True
        except bus.BusError:
            return False

    def test_calls_during_start_and_exit_do_no_harm(self):
        url = self.serve("/early.bin", 30000)
        self.session.stop()
        process = self.session.process = self.session.launch()
        self.addCleanup(harness.end_process, process)
        end = time.monotonic() + 60
        while not self.taken(url):
            self.assertLess(time.monotonic(), end)
        self.saved(url)
        process.terminate()
        for number in range(200):
            self.bus.send(*MENU_URL, self.origin.url("/late%d.bin" % number), "", "", flags=bus.NO_AUTO_START)
        self.assertEqual(process.wait(60), 0, self.session.read_log())


class OnePlace(OnBus):
    settings = {"MaxSimulDownlads": "1"}

    def test_thousands_of_addresses_in_one_call_leave_the_program_responsive(self):
        self.slow()
        urls = ["http://127.0.0.1:1/%d.bin" % number for number in range(3000)]
        began = time.monotonic()
        self.bus.call(*OPEN, urls, {}, signature="asa{sv}")
        slowest = 0
        while len(self.session.companion.downloads()) < len(urls) + 1:
            slowest = max(slowest, self.session.response_seconds())
            self.assertLess(time.monotonic() - began, 300)
        print("3000 addresses took %.1f s, the slowest answer %.2f s" % (time.monotonic() - began, slowest))
        self.assertLess(slowest, harness.PROMPT)
        self.assertEqual(self.session.dialogs(), [])


if __name__ == "__main__":
    unittest.main()

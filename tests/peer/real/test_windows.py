"""Impatient use of the windows: clicks during a probe, closing, tiny sizes, quitting while a question is open."""

import os
import subprocess
import time
import unittest

import harness
import listfile
import origin


class WindowHandling(unittest.TestCase):
    def setUp(self):
        self.origin = origin.Origin()
        self.addCleanup(self.origin.close)
        self.session = harness.Session("hands", MaxSegments=8)
        self.addCleanup(self.session.close)
        self.session.start()
        self.main = self.window("Pellora !")

    def xdotool(self, *words):
        subprocess.run(["xdotool", *map(str, words)], env=self.session.stage.env, stdin=subprocess.DEVNULL,
                       capture_output=True, timeout=20, check=False)

    def window(self, part):
        def found():
            return [w for w, title, is_dialog in self.session.own_windows() if part in title and not is_dialog]
        return harness.wait_until(found, 10, "a window of %r" % part)[0]

    def running(self, path="/slow.bin"):
        self.origin.serve_file(path, 60000000, rate=50000)
        url = self.origin.url(path)
        self.session.menu_url(url)
        harness.wait_until(lambda: getattr(self.session.companion.find(url), "received", 0) > 0, 20, "the first bytes")
        return url

    def descriptors(self):
        return len(os.listdir("/proc/%d/fd" % self.session.process.pid))

    def cpu_seconds(self):
        with open("/proc/%d/stat" % self.session.process.pid, encoding="ascii") as f:
            fields = f.read().rsplit(")", 1)[1].split()
        return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")

    def test_double_clicks_on_a_probing_row_send_one_request(self):
        self.origin.replies["/hang.bin"] = lambda _connection, _request: time.sleep(6)
        self.session.menu_url(self.origin.url("/hang.bin"))
        self.xdotool("windowminimize", self.window("hang.bin"))
        display = self.session.stage.x
        display.activate(self.main)
        left, top, _, _ = display.place(self.main)
        for _ in range(8):
            display.click(left + 60, top + 152, times=2)
            time.sleep(0.2)
        self.assertEqual(len(self.origin.requests_for("/hang.bin")), 1)
        self.assertEqual(self.session.stop(), 0, self.session.read_log())

    def test_closing_windows_stops_no_download(self):
        url = self.running()
        self.session.close_window(self.window("slow.bin"))
        self.session.close_window(self.main)
        harness.wait_until(lambda: not self.session.own_windows(), 10, "both windows to go")
        before = self.session.companion.find(url).received
        harness.wait_until(lambda: self.session.companion.find(url).received > before, 10, "more bytes")
        self.assertEqual(self.session.stop(), 0, self.session.read_log())

    def test_windows_survive_any_size(self):
        self.running()
        transfer = self.window("slow.bin")
        for width, height in ((1, 1), (3000, 3000), (1, 1000), (1000, 1), (600, 400)):
            for window in (transfer, self.main):
                self.xdotool("windowsize", window, width, height)
            self.assertLess(self.session.response_seconds(), harness.PROMPT)
        self.assertEqual(self.session.stop(), 0, self.session.read_log())

    def test_signal_during_a_question_saves_and_ends(self):
        url = self.running()
        self.session.menu_url(url)
        self.session.wait_dialog()
        self.assertEqual(self.session.stop(), 0, self.session.read_log())
        self.assertTrue(listfile.find(self.session.list_file, url).paused)

    def test_second_start_after_a_kill_finds_no_running_instance(self):
        self.session.kill()
        self.session.start()
        self.assertEqual(self.session.dialogs(), [])
        self.assertEqual(self.session.stop(), 0, self.session.read_log())

    def test_finished_downloads_leave_no_descriptor_and_no_processor_use(self):
        self.running("/first.bin")
        harness.wait_until(lambda: len(self.origin.requests_for("/first.bin")) >= 9, 20, "all of its segments")
        time.sleep(1)
        before = self.descriptors()
        urls = []
        for number in range(60):
            self.origin.serve_file("/%d.bin" % number, 20000, seed=number)
            urls.append(self.origin.url("/%d.bin" % number))
            self.session.menu_url(urls[-1])
        self.session.companion.wait_finished(urls, 60)
        self.session.menu_url(self.origin.url("/0.bin"))  # its question stays open while nothing else happens
        harness.wait_until(lambda: self.descriptors() <= before + 2, 10, "the end of the others' descriptors")
        self.assertEqual(self.session.stop(), 0, self.session.read_log())
        self.session.start()
        time.sleep(2)
        for _ in range(4):  # until the desktop has settled
            began = self.cpu_seconds()
            time.sleep(5)
            used = self.cpu_seconds() - began
            if used < 0.05:
                break
        self.assertLess(used, 0.05)
        self.assertEqual(self.session.stop(), 0, self.session.read_log())


if __name__ == "__main__":
    unittest.main()

"""Impatient use of the windows: clicks during a probe, closing, tiny sizes, quitting while a question is open."""

import os
import time
import unittest

import harness
import listfile
from case import Case


class WindowHandling(Case):
    settings = {"MaxSegments": 8}

    def setUp(self):
        super().setUp()
        self.session.start()
        self.main = self.session.window(harness.MAIN, dialog=False)

    def descriptors(self):
        return len(os.listdir("/proc/%d/fd" % self.session.process.pid))

    def cpu_seconds(self):
        with open("/proc/%d/stat" % self.session.process.pid, encoding="ascii") as f:
            fields = f.read().rsplit(")", 1)[1].split()
        return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")

    def test_double_clicks_on_a_probing_row_send_one_request(self):
        self.origin.replies["/hang.bin"] = lambda _connection, _request: time.sleep(6)
        self.session.menu_url(self.origin.url("/hang.bin"))
        self.x.minimise(self.session.window("hang.bin", dialog=False))
        self.x.activate(self.main)
        left, top, _, _ = self.x.place(self.main)
        for _ in range(8):
            self.x.click(left + 60, top + 152, times=2)
            time.sleep(0.2)
        self.assertEqual(len(self.origin.requests_for("/hang.bin")), 1)
        self.stop()

    def test_closing_windows_stops_no_download(self):
        url = self.slow()
        self.session.close_window(self.session.window("slow.bin"))
        self.session.close_window(self.main)
        harness.wait_until(lambda: not self.session.own_windows(), 10, "both windows to go")
        before = self.received(url)
        harness.wait_until(lambda: self.received(url) > before, 10, "more bytes")
        self.stop()

    def test_windows_survive_any_size(self):
        self.slow()
        transfer = self.session.window("slow.bin")
        for width, height in ((1, 1), (3000, 3000), (1, 1000), (1000, 1), (600, 400)):
            for window in (transfer, self.main):
                self.x.configure(window, width=width, height=height)
            self.assertLess(self.session.response_seconds(), harness.PROMPT)
        self.stop()

    def test_signal_during_a_question_saves_and_ends(self):
        url = self.slow()
        self.session.menu_url(url)
        self.session.wait_dialog()
        self.stop()
        self.assertTrue(listfile.find(self.session.list_file, url).paused)

    def test_second_start_after_a_kill_finds_no_running_instance(self):
        self.session.kill()
        self.session.start()
        self.assertEqual(self.session.dialogs(), [])
        self.stop()

    def test_finished_downloads_leave_no_descriptor_and_no_processor_use(self):
        self.slow("/first.bin")
        harness.wait_until(lambda: len(self.origin.requests_for("/first.bin")) >= 9, 20, "all of its segments")
        time.sleep(1)
        before = self.descriptors()
        urls = []
        for number in range(60):
            urls.append(self.serve("/%d.bin" % number, seed=number))
            self.session.menu_url(urls[-1])
        self.session.companion.wait_finished(urls, 60)
        self.session.menu_url(self.origin.url("/0.bin"))  # its question stays open while nothing else happens
        harness.wait_until(lambda: self.descriptors() <= before + 2, 10, "the end of the others' descriptors")
        self.stop()
        self.session.start()
        time.sleep(2)
        for _ in range(4):  # until the desktop has settled
            began = self.cpu_seconds()
            time.sleep(5)
            used = self.cpu_seconds() - began
            if used < 0.05:
                break
        self.assertLess(used, 0.05)
        self.stop()


class DisplayEnds(Case):
    def test_the_list_outlives_the_display(self):
        stage = harness.Stage("1024x768")
        self.addCleanup(stage.close)
        self.session = self.new_session(stage)
        self.session.start()
        waiting, running = self.serve("/waiting.bin"), self.slow()
        self.session.companion.run("add", "--later", waiting)
        self.session.choose("alt+o", "p")
        self.session.window("Pellora !   Options")
        time.sleep(1)  # within which the list is saved
        display = stage.processes[0]
        display.kill()
        display.wait()
        self.assertEqual(self.session.process.wait(20), 1)
        self.session.env["DISPLAY"] = harness.Stage.get().display
        self.session.start()
        self.assertEqual([self.state(waiting), self.state(running)], ["waiting", "paused"])
        self.stop()


class SaveDialog(Case):
    settings = {"SaveAs": "True"}

    def test_may_be_closed_while_the_menu_of_its_headings_is_open(self):
        self.session.start()
        self.session.menu_url(self.serve("/a.bin"))
        dialog, _ = self.session.wait_dialog()
        left, top, width, _ = self.x.place(dialog)
        self.open_menu(lambda: self.x.click(left + width // 2, top + 60, button=3))
        self.session.close_window(dialog)
        harness.wait_until(lambda: not self.x.menus(), 20, "the end of the menu")
        self.assertEqual(self.session.companion.downloads(), [])
        self.stop()


if __name__ == "__main__":
    unittest.main()

"""Start, second start and end of the real program, and its interfaces for scripts."""

import os
import time
import unittest

import harness
import listfile
from bus import BusError
from case import Case


class Life(Case):
    settings = {"MaxSegments": 4}

    def setUp(self):
        super().setUp()
        self.session.start()

    def test_termination_signal_saves_the_list_and_exits_with_0(self):
        url = self.slow(size=12000000, rate=100000)
        time.sleep(2)
        received = self.received(url)
        self.stop()
        record = listfile.find(self.session.list_file, url)
        self.assertIsNotNone(record)
        self.assertTrue(record.paused)
        self.assertFalse(record.active)
        self.assertGreaterEqual(record.kept, received)

    def test_running_download_is_paused_by_a_restart_and_resumed_where_it_stopped(self):
        url = self.slow(size=12000000, rate=100000)
        time.sleep(2)
        self.session.stop()
        kept = listfile.find(self.session.list_file, url).kept
        request_count = len(self.origin.requests_for("/slow.bin"))
        self.session.start()
        time.sleep(1)
        self.assertEqual(self.state(url), "paused")
        self.assertEqual(len(self.origin.requests_for("/slow.bin")), request_count)
        self.origin.serve_file("/slow.bin", 12000000)
        self.session.resume()
        self.saved(url)
        self.assertEqual(sum(last - first + 1 for first, last in self.origin.ranges(request_count)), 12000000 - kept)

    def test_second_start_reports_found_raises_the_first_and_leaves_the_list_alone(self):
        url = self.serve("/done.bin")
        self.fetch(url)
        harness.wait_until(lambda: getattr(listfile.find(self.session.list_file, url), "finished", False), 10, "the save")
        for window, _, _ in self.session.own_windows():
            self.session.close_window(window)
        harness.wait_until(lambda: not self.session.own_windows(), 10, "the close box to hide the windows")
        self.session.process.send_signal(19)  # SIGSTOP, so that any file written now was written by the second copy
        before = self.read_list()
        second = self.session.launch()
        try:
            time.sleep(1)
            self.session.process.send_signal(18)  # SIGCONT
            box = harness.wait_until(lambda: self.dialogs_of(second.pid), 10, "the second copy's message")
            self.session.dismiss(box[0])
            self.assertEqual(second.wait(60), 0)
        finally:
            self.session.process.send_signal(18)
            harness.end_process(second)
        self.assertEqual(self.read_list(), before)
        harness.wait_until(self.session.own_windows, 10, "the first copy's window to be shown again")
        self.assertTrue(self.session.alive())
        self.assertLess(self.session.response_seconds(), harness.PROMPT)

    def read_list(self):
        with open(self.session.list_file, "rb") as f:
            return f.read()

    def dialogs_of(self, pid):
        return [w for w, _, is_dialog in self.session.windows_of(pid) if is_dialog]

    def test_setting_that_ends_the_load_leaves_english_texts(self):
        # Only the port is in the settings, no language: without texts every file name is refused.
        self.session = harness.Session("nameless", ProxyPort=40000)
        self.addCleanup(self.session.close)
        self.session.start()
        self.fetch(self.serve("/named.bin"))

    def test_bad_urls_from_the_bus_show_a_message_and_change_nothing(self):
        for url in ("gopher://example.com/x", "http://example", "", "ftp:/x", "file:///etc/passwd"):
            self.session.menu_url(url)
            window, _ = self.session.wait_dialog(10)
            self.session.dismiss(window)
        self.assertEqual(self.session.companion.downloads(), [])

    def test_leech_url_adds_nothing(self):
        self.session.call_program("LeechURL", "http://127.0.0.1/x.bin", "")
        time.sleep(1)
        self.assertEqual(self.session.companion.downloads(), [])

    def test_bus_call_starts_the_program_which_ends_with_the_bus(self):
        self.session.stop()
        self.session.call_bus("ReloadConfig")
        url = self.serve("/woken.bin")
        self.fetch(url)
        pid = self.session.owner()
        harness.end_process(self.session.bus)
        harness.wait_until(lambda: harness.has_ended(pid), 20, "the started program to end")
        self.assertTrue(listfile.find(self.session.list_file, url).finished)

    def test_bus_call_with_wrong_arguments_is_refused_and_changes_nothing(self):
        with self.assertRaises(BusError):
            self.session.call_program("MenuURL", "http://127.0.0.1/x.bin")
        self.assertEqual(self.session.companion.downloads(), [])

    def test_companion_waits_until_all_downloads_are_finished(self):
        url = self.slow(size=400000, rate=100000)
        result = self.session.companion.run("wait", "--progress", "--timeout", "30")
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertTrue(self.session.companion.find(url).finished)

    def test_companion_stops_waiting_at_its_time_limit(self):
        self.slow()
        began = time.monotonic()
        result = self.session.companion.run("wait", "--timeout", "2")
        self.assertNotEqual(result.returncode, 0)
        self.assertLess(time.monotonic() - began, 10)

    def test_companion_reports_that_no_program_is_running(self):
        self.session.stop()
        activation = os.path.join(self.session.env["XDG_DATA_HOME"], "dbus-1", "services",
                                  harness.BUS_NAME + ".service")
        if os.path.exists(activation):
            os.remove(activation)
        self.session.call_bus("ReloadConfig")
        result = self.session.companion.run("list")
        self.assertNotEqual(result.returncode, 0)
        self.assertNotEqual(result.stderr, b"")


if __name__ == "__main__":
    unittest.main()

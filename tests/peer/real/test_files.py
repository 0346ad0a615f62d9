"""Files and folders in the states that occur on users' machines: the result is a message or the required behaviour,
never a crash, and their content is preserved."""

import os
import signal
import time
import unittest

import harness
import listfile
from case import Case


class Files(Case):
    settings = {"MaxSegments": 4}

    def setUp(self):
        super().setUp()
        self.url = self.serve("/a.bin", 300000)

    def write(self, path, data):
        with open(path, "wb") as f:
            f.write(data)

    def read(self, path):
        with open(path, "rb") as f:
            return f.read()

    def test_garbage_settings_load_as_defaults(self):
        self.write(self.session.settings_file, bytes(range(256)) * 100)
        self.session.start()
        # The downloads folder is set in the other file, which is intact.
        self.fetch(self.url)
        self.assertEqual(self.session.dialogs(), [])
        self.stop()

    def test_setting_that_does_not_convert_still_loads_texts(self):
        self.write(self.session.settings_file, b"[Options]\nMaxSimulDownlads=9\nCheckClipboard=False\nProxyPort=99999\n")
        self.session.start()
        self.fetch(self.url)
        self.stop()

    def test_folder_in_place_of_the_settings_is_reported(self):
        os.remove(self.session.settings_file)
        os.mkdir(self.session.settings_file)
        self.session.start()
        self.session.dismiss(self.session.wait_dialog()[0])
        self.stop()
        self.assertTrue(os.path.isdir(self.session.settings_file))

    def test_oversized_settings_file_is_reported_and_left_alone(self):
        text = b"[Options]\n" + b"A=1\n" * (5 << 20)
        self.write(self.session.settings_file, text)
        self.session.start()
        self.session.wait_dialog()
        self.assertLess(self.session.memory(), 300 << 20)
        self.stop()
        self.assertEqual(os.path.getsize(self.session.settings_file), len(text))

    def test_garbage_list_is_copied_aside(self):
        damage = bytes(reversed(range(256))) * 400
        self.write(self.session.list_file, damage)
        self.session.start()
        self.assertEqual(self.session.companion.downloads(), [])
        self.fetch(self.url)
        self.stop()
        self.assertEqual(self.read(self.session.list_file + ".damaged"), damage)
        self.assertTrue(listfile.find(self.session.list_file, self.url).finished)

    def test_list_that_counts_more_than_it_holds_is_copied_aside(self):
        for count in (b"\xff\x7f", b"\xff\xff", b"\x00\x80"):
            with self.subTest(count=count), harness.Session("counts", MaxSegments=4) as self.session:
                self.write(self.session.list_file, b"\x6f\x86\x01\x00" + count + b"\1" * 50)
                self.session.start()
                self.fetch(self.url)
                self.stop()
                self.assertTrue(os.path.exists(self.session.list_file + ".damaged"))

    def test_folder_in_place_of_the_list_is_reported(self):
        os.mkdir(self.session.list_file)
        self.session.start()
        self.session.wait_dialog()
        self.fetch(self.url)
        self.stop()
        self.assertTrue(os.path.isdir(self.session.list_file))

    def test_read_only_list_is_left_unchanged(self):
        self.session.start()
        self.fetch(self.url)
        self.stop()
        before = self.read(self.session.list_file)
        os.chmod(self.session.list_file, 0o444)
        os.chmod(self.session.program, 0o555)
        self.addCleanup(os.chmod, self.session.program, 0o755)
        self.session.bound = True
        self.session.start()
        time.sleep(6)
        self.assertTrue(self.session.companion.find(self.url).finished)
        self.stop()
        self.assertEqual(self.read(self.session.list_file), before)

    def test_program_runs_without_its_language_file(self):
        for data in (None, os.urandom(500000), b"951=\"\n" + b"1=x\n" * (1 << 19)):
            with self.subTest(size=data and len(data)), harness.Session("language", MaxSegments=4) as self.session:
                path = os.path.join(self.session.program, "english.txt")
                os.remove(path)
                if data is not None:
                    self.write(path, data)
                self.session.start()
                self.session.menu_url(self.url)
                time.sleep(1)
                self.assertLess(self.session.response_seconds(), harness.PROMPT)
                self.stop()

    def check_download_folder(self, give_back):
        self.session.start()
        self.session.menu_url(self.url)
        self.session.dismiss(self.session.wait_dialog()[0])
        self.assertFalse(self.session.companion.find(self.url).finished)
        self.assertEqual(sum(os.path.getsize(self.session.parts + n) for n in os.listdir(self.session.parts)), 300000)
        self.stop()
        give_back(self.session.downloads)
        request_count = len(self.origin.requests)
        self.session.start()
        self.session.resume()
        self.saved(self.url)
        self.assertEqual(self.origin.ranges(request_count), [], "fetched again")
        self.stop()

    def test_unwritable_downloads_folder_keeps_the_parts(self):
        os.chmod(self.session.downloads, 0o555)
        self.session.bound = True
        self.check_download_folder(lambda folder: os.chmod(folder, 0o755))

    def test_missing_downloads_folder_keeps_the_parts(self):
        os.rmdir(self.session.downloads)
        self.check_download_folder(os.mkdir)

    def end_by_part_file(self, answer):
        first = self.serve("/first.bin")
        self.session.start()
        self.fetch(first)
        harness.wait_until(lambda: getattr(listfile.find(self.session.list_file, first), "finished", False), 10,
                           "the save")
        os.rmdir(self.session.parts)
        self.session.menu_url(self.url)
        window, _ = self.session.wait_dialog()
        answer(window)
        self.assertEqual(self.session.process.wait(60), 1, self.session.read_log())
        self.assertTrue(listfile.find(self.session.list_file, first).finished)
        os.mkdir(self.session.parts)

    def test_missing_folder_for_parts_ends_the_program_with_1(self):
        self.end_by_part_file(lambda window: self.session.dismiss(window))

    def test_signal_during_the_missing_folder_message_ends_the_program_with_1(self):
        self.end_by_part_file(lambda window: self.session.process.send_signal(signal.SIGTERM))


if __name__ == "__main__":
    unittest.main()

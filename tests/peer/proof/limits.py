#!/usr/bin/env python3
"""The real program on full disks, in read-only folders, with few descriptors, and with fifty downloads at once.

    limits.py [-k PATTERN]...       as root: it mounts file systems in its own namespace, which ends with it"""

import os
import subprocess
import sys
import time

import support
import harness
import listfile
from case import Case

SIZE = 1200000


def mount(*words):
    subprocess.run(["mount", *words], check=True, stdin=subprocess.DEVNULL)


class Limits(Case):
    settings = {"MaxSegments": 4}

    def setUp(self):
        super().setUp()
        self.url = self.serve("/a.bin", SIZE)
        self.mounted = []

    def prepare(self, **settings):
        self.session = self.new_session(**settings)
        self.addCleanup(self.free)  # before it is closed, which removes its folders
        return self.session

    def disk(self, folder, size):
        """Mounts a new file system over a folder and copies the folder's content to it."""
        beside = folder.rstrip("/") + ".before"
        os.rename(folder, beside)
        os.mkdir(folder)
        mount("-t", "tmpfs", "-o", "size=" + size, "tmpfs", folder)
        self.mounted.append(folder)
        subprocess.run(["cp", "-a", beside + "/.", folder], check=True, stdin=subprocess.DEVNULL)

    @staticmethod
    def fill(folder):
        """Fills its disk with a file, whose path it returns."""
        path = os.path.join(folder, "filler")
        with open(path, "wb", buffering=0) as f:
            try:
                while True:
                    f.write(b"x" * 4096)
            except OSError:
                return path

    def resize(self, folder, size):
        mount("-o", "remount,size=" + size, folder)

    def free(self):
        if self.session.alive():
            harness.end_process(self.session.process)
        for folder in self.mounted:
            subprocess.run(["umount", "-l", folder], check=False, stdin=subprocess.DEVNULL)

    def finish(self, session):
        """Starts, resumes, and checks that the file is complete."""
        session.start()
        if session.companion.find(self.url) is None:
            session.menu_url(self.url)
        elif not session.companion.find(self.url).finished:
            session.resume()
        self.saved(self.url)
        self.stop()
        self.assertEqual(os.listdir(session.parts), [])
        self.assertTrue(listfile.find(session.list_file, self.url).finished)

    def test_full_folder_for_parts_is_reported_and_ends_the_program_until_there_is_space(self):
        session = self.prepare()
        self.disk(session.parts, "400k")
        session.start()
        session.menu_url(self.url)
        session.dismiss(session.wait_dialog()[0])
        self.assertEqual(session.process.wait(60), 1, session.read_log())
        self.resize(session.parts, "8m")
        self.finish(session)

    def test_full_downloads_folder_is_reported_and_resume_joins_without_fetching_again(self):
        session = self.prepare()
        self.disk(session.downloads, "400k")
        session.start()
        session.menu_url(self.url)
        session.dismiss(session.wait_dialog()[0])
        self.assertFalse(session.companion.find(self.url).finished)
        self.assertLess(session.response_seconds(), harness.PROMPT)
        self.assertEqual(sum(os.path.getsize(session.parts + n) for n in os.listdir(session.parts)), SIZE)
        self.resize(session.downloads, "8m")
        request_count = len(self.origin.requests)
        session.resume()
        self.saved(self.url)
        self.assertEqual(self.origin.ranges(request_count), [], "fetched again")
        self.stop()
        self.assertEqual(os.listdir(session.parts), [])

    def test_full_program_folder_keeps_the_old_list_until_there_is_space(self):
        session = self.prepare()
        session.start()
        before = self.serve("/before.bin")
        self.fetch(before)
        self.stop()
        self.disk(session.program, "16m")
        filler = self.fill(session.program)
        session.start()
        urls = [self.url]
        # More records than fit into the last block of the list file.
        for number in range(12):
            urls.append(self.serve("/%d.bin" % number, seed=number))
        for url in urls:
            session.menu_url(url)
        session.companion.wait_finished(urls, 60)
        time.sleep(6)  # at least one tick of the save
        self.assertTrue(listfile.find(session.list_file, before).finished)
        [(window, _)] = session.dialogs()
        session.dismiss(window)
        os.remove(filler)
        harness.wait_until(lambda: all(getattr(listfile.find(session.list_file, url), "finished", False) for url in urls),
                           10, "the save")
        self.stop()
        session.start()
        self.assertEqual(len(session.companion.downloads()), 14)
        self.stop()

    def test_full_settings_folder_keeps_the_settings_and_downloads_complete(self):
        session = self.prepare()
        folder = os.path.dirname(session.settings_file)
        with open(session.settings_file, "rb") as f:
            before = f.read()
        self.disk(folder, "32k")
        self.fill(folder)
        names = sorted(os.listdir(folder))
        session.start()
        session.menu_url(self.url)
        self.saved(self.url)
        self.stop()
        with open(session.settings_file, "rb") as f:
            self.assertEqual(f.read(), before)
        self.assertEqual(sorted(os.listdir(folder)), names)

    def test_part_beyond_the_file_size_limit_is_reported_and_ends_the_program(self):
        session = self.prepare(MaxSegments=1)
        session.prefix = ("prlimit", "--fsize=600000:600000")
        session.start()
        session.menu_url(self.url)
        session.dismiss(session.wait_dialog()[0])
        self.assertEqual(session.process.wait(60), 1, session.read_log())
        session.prefix = ()
        self.finish(session)

    def test_output_beyond_the_file_size_limit_is_reported_and_joined_again_on_resume(self):
        session = self.prepare()
        session.prefix = ("prlimit", "--fsize=600000:600000")
        session.start()
        session.menu_url(self.url)
        session.dismiss(session.wait_dialog()[0])
        self.assertFalse(session.companion.find(self.url).finished)
        self.stop()
        session.prefix = ()
        request_count = len(self.origin.requests)
        self.finish(session)
        self.assertEqual(self.origin.ranges(request_count), [], "fetched again")

    def read_only(self, folder):
        mount("--bind", folder, folder)
        self.mounted.append(folder)
        mount("-o", "remount,bind,ro", folder)

    def test_read_only_folder_for_parts_is_reported_and_ends_the_program(self):
        session = self.prepare()
        self.read_only(session.parts)
        session.start()
        session.menu_url(self.url)
        session.dismiss(session.wait_dialog()[0])
        self.assertEqual(session.process.wait(60), 1, session.read_log())
        mount("-o", "remount,bind,rw", session.parts)
        self.finish(session)

    def test_read_only_downloads_folder_is_reported_and_keeps_the_parts(self):
        session = self.prepare()
        self.read_only(session.downloads)
        session.start()
        session.menu_url(self.url)
        session.dismiss(session.wait_dialog()[0])
        self.assertFalse(session.companion.find(self.url).finished)
        self.stop()
        mount("-o", "remount,bind,rw", session.downloads)
        request_count = len(self.origin.requests)
        self.finish(session)
        self.assertEqual(self.origin.ranges(request_count), [], "fetched again")

    def test_downloads_complete_with_a_read_only_program_folder(self):
        session = self.prepare()
        self.read_only(session.program)
        session.start()
        session.menu_url(self.url)
        self.saved(self.url)
        self.stop()
        self.assertFalse(os.path.exists(session.list_file))

    def many(self, count, size, rate):
        return [self.serve("/many%d.bin" % number, size, seed=number, rate=rate) for number in range(count)]

    def check_many(self, urls, timeout):
        self.session.companion.wait_finished(urls, timeout)
        for url in urls:
            self.saved(url)

    def test_fifty_simultaneous_downloads_complete(self):
        session = self.prepare(MaxSimulDownlads=50, MaxSegments=8)
        session.start()
        urls = self.many(50, 200000, 20000)
        began = time.monotonic()
        session.companion.add(*urls)
        most = slowest = 0
        while time.monotonic() - began < 400:
            slowest = max(slowest, session.response_seconds())
            found = session.companion.downloads()
            most = max(most, sum(d.state == "active" for d in found))
            if len(found) == 50 and all(d.finished for d in found):
                break
            time.sleep(0.5)
        self.check_many(urls, 1)
        print("      50 files in %.0f s, up to %d active at once, the slowest answer in %.2f s" % (
            time.monotonic() - began, most, slowest))
        self.assertLess(slowest, harness.PROMPT)
        self.stop()
        self.assertEqual(os.listdir(session.parts), [])

    def test_fifty_downloads_with_64_descriptors_neither_crash_nor_lose_bytes(self):
        session = self.prepare(MaxSimulDownlads=50, MaxSegments=4)
        session.prefix = ("prlimit", "--nofile=64:64")
        session.start()
        urls = self.many(50, 100000, 10000)
        for url in urls:
            session.menu_url(url)
        end = time.monotonic() + 60
        most = boxes = 0
        while time.monotonic() < end and session.alive():
            most = max(most, len(os.listdir("/proc/%d/fd" % session.process.pid)))
            for window, _ in session.dialogs():
                boxes += 1
                session.dismiss(window)  # the default answer keeps the record
            if not session.alive():
                break
            self.assertLess(session.response_seconds(), harness.PROMPT)
            time.sleep(0.5)
        code = session.process.poll()
        done = sum(d.finished for d in session.companion.downloads()) if code is None else -1
        print("      with 64 descriptors: up to %d in use, %d messages, %s" % (
            most, boxes, "%d of 50 finished in a minute" % done if code is None else "ended with %d" % code))
        self.assertIn(code, (None, 1), session.read_log())
        if code is None:
            self.stop()
        session.prefix = ()
        session.start()
        known = {d.url for d in session.companion.downloads()}
        for url in urls:
            if url not in known:
                session.menu_url(url)
        session.resume()
        self.check_many(urls, 120)
        self.stop()


if __name__ == "__main__":
    support.own_mounts(sys.argv)
    support.run()

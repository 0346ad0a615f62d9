"""The join of a large file on a slow disk: every window stays responsive, other transfers continue, and ending the
program during the join loses nothing. The parts are sparse files, and a library loaded into the program slows the
disk."""

import os
import time
import unittest

import harness
import listfile
from case import Case

LARGE = 1_900_000_000
SMALL = 120_000_000
PARTS = 8
BUILDING = "Building the file..."
# Seconds within which a window must respond on an idle machine.
PROMPT = 0.1


class Join(Case):
    settings = {"MaxSegments": PARTS}

    def setUp(self):
        super().setUp()
        self.url = self.origin.url("/big.bin")
        self.output = os.path.join(self.session.downloads, "big.bin")

    def slow_disk(self, microseconds):
        self.session.preload("slowdisk.cpp", SLOW_DISK_US=str(microseconds))

    def list_parts(self, size):
        """Creates a paused download with all its parts complete, as after a kill before the join."""
        self.parts = [(os.path.join(self.session.parts, "big.bin%03d.tmp" % (i + 1)), size // PARTS)
                      for i in range(PARTS)]
        for number, (path, length) in enumerate(self.parts):
            with open(path, "wb") as f:
                f.truncate(length)
                f.seek(length - 8)
                f.write(b"part %03d" % number)
        listfile.write_complete(self.session.list_file, self.url, self.origin.port, self.parts)
        self.origin.serve_bytes("/big.bin", b"HTTP/1.1 200 OK\r\nContent-Type: application/octet-stream\r\n"
                                            b"Content-Length: %d\r\n\r\n" % size)

    def run_into_the_join(self):
        self.session.resume()
        harness.wait_until(lambda: os.path.exists(self.output) and os.path.getsize(self.output) > 0, 30, "the join")
        self.assertFalse(self.finished())

    def finished(self):
        return self.session.companion.find(self.url).finished

    def check_output(self, size):
        self.assertEqual(os.path.getsize(self.output), size)
        with open(self.output, "rb") as f:
            for number in range(PARTS):
                f.seek((number + 1) * (size // PARTS) - 8)
                self.assertEqual(f.read(8), b"part %03d" % number)
        harness.wait_until(lambda: not any(os.path.exists(path) for path, _ in self.parts), 20, "the parts to go")

    def time_click(self, window, place):
        """Seconds from a click on the details button until the window has its new height."""
        before = self.x.place(window)[3]
        began = time.monotonic()
        self.x.click(*place)
        while self.x.place(window)[3] == before:
            self.assertLess(time.monotonic() - began, 30, "the window does not answer")
            time.sleep(0.001)
        return time.monotonic() - began

    def test_every_window_answers_and_other_transfers_continue(self):
        self.slow_disk(2000)
        self.list_parts(LARGE)
        self.start_with_screen()
        screen = self.screen
        bus = self.session.connect()
        self.addCleanup(bus.close)
        other = self.slow()

        self.run_into_the_join()
        screen.wait("label", BUILDING, "big.bin", timeout=5)
        window = screen.raise_window("big.bin")
        details = screen.steady("push button", "Hide Details", "big.bin").middle
        self.session.save_screenshot("join")
        received = self.received(other)
        answers, clicks = [], []
        while not self.finished():
            for _ in range(20):
                began = time.monotonic()
                bus.call(*harness.PROGRAM_OBJECT[:2], "PelloraProject.Downloads", "List")
                answers.append(time.monotonic() - began)
            if len(clicks) < 10:
                clicks.append(self.time_click(window, details))
                details = screen.steady("push button", "Show Details" if len(clicks) % 2 else "Hide Details",
                                        "big.bin").middle
                self.assertTrue(screen.find("label", BUILDING, "big.bin") or self.finished())
        print("  slowest answer %.0f ms of %d, slowest click %.0f ms of %d" % (
            max(answers) * 1000, len(answers), max(clicks) * 1000, len(clicks)))
        self.assertGreater(len(answers), 20)
        self.assertGreater(len(clicks), 2)
        self.assertLess(max(answers), PROMPT * harness.SLOWNESS)
        self.assertLess(max(clicks), PROMPT * harness.SLOWNESS)
        self.assertGreater(self.received(other), received)
        screen.wait("label", "Download complete", "big.bin")
        self.check_output(LARGE)
        self.stop()

    def join_again(self):
        self.session.env["SLOW_DISK_US"] = "0"
        self.session.start()
        self.assertEqual(self.session.companion.find(self.url).state, "paused")
        self.session.resume()
        self.session.companion.wait_finished([self.url], 60)
        self.check_output(SMALL)
        self.stop()
        self.assertEqual(self.origin.ranges(), [], "fetched again")

    def test_quit_during_a_join_keeps_the_parts_and_joins_again(self):
        self.slow_disk(30000)
        self.list_parts(SMALL)
        self.session.start()
        self.run_into_the_join()
        began = time.monotonic()
        self.stop()
        self.assertLess(time.monotonic() - began, 2 * harness.SLOWNESS)
        self.assertLess(os.path.getsize(self.output), SMALL)
        record = listfile.find(self.session.list_file, self.url)
        self.assertTrue(record.paused)
        self.assertEqual([segment.state for segment in record.segments], [3] * PARTS)
        self.assertEqual([os.path.getsize(path) for path, _ in self.parts], [size for _, size in self.parts])
        self.join_again()

    def test_kill_during_a_join_keeps_the_parts_and_joins_again(self):
        self.slow_disk(90000)
        self.list_parts(SMALL)
        self.session.start()
        self.run_into_the_join()
        harness.wait_until(lambda: listfile.find(self.session.list_file, self.url).active, 10, "the save")
        self.session.kill()
        self.assertLess(os.path.getsize(self.output), SMALL)
        self.assertEqual([os.path.getsize(path) for path, _ in self.parts], [size for _, size in self.parts])
        self.join_again()

    def test_failed_join_shows_its_reason_at_every_window_size(self):
        self.list_parts(SMALL)
        os.mkdir(self.output)
        self.start_with_screen()
        screen = self.screen
        self.session.resume()
        self.session.dismiss(self.session.wait_dialog()[0])
        text = "Paused: %s: Is a directory" % self.output
        screen.wait("label", text, "big.bin")
        window = screen.raise_window("big.bin")
        for width, height in ((700, 500), (800, 400), (640, 450)):
            self.x.configure(window, width=width, height=height)
            time.sleep(0.3)
            self.session.save_screenshot("failed-join-%d" % width)
            self.assertTrue(screen.find("label", text, "big.bin"))
            self.assertIsNone(screen.find("label", "Download complete", "big.bin"))
            self.assertIn("99.9%", [title for found, title, _ in self.session.own_windows() if found == window][0])
        os.rmdir(self.output)
        screen.click("push button", "Resume Download", "big.bin")
        self.session.companion.wait_finished([self.url], 30)
        screen.wait("label", "Download complete", "big.bin")
        self.check_output(SMALL)
        self.stop()


if __name__ == "__main__":
    unittest.main()

"""What the user arranges in the real windows: drags, order, filter and places, also over a restart."""

import os
import subprocess
import unittest
import urllib.parse

import harness
from case import Case

TOOLS = os.path.join(os.path.dirname(harness.PROGRAM), "tests/peer/tools")


class Arrange(Case):
    settings = {"MaxSegments": 1}

    def helper(self, tool, title, *arguments):
        """Another program with a window of that title; returns both."""
        process = subprocess.Popen([os.path.join(TOOLS, tool), *arguments], env=self.session.env,
                                   stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=self.session.log)
        self.addCleanup(process.stdout.close)
        self.addCleanup(harness.end_process, process)
        [window] = harness.wait_until(lambda: [each[0] for each in self.x.all() if each[1] == title], 10, title)
        self.x.activate(window)
        return process, window

    def hide_transfers(self):
        for window in self.session.titled(" of "):
            self.session.close_window(window)

    def middle(self, window):
        left, top, width, height = self.x.place(window)
        return left + width // 2, top + height // 2

    def test_a_link_dropped_onto_the_main_window_is_fetched(self):
        self.session.start()
        url = self.serve("/dropped.bin")
        main = self.session.window(harness.MAIN, dialog=False)
        self.x.configure(main, x=0, y=0, width=760, height=600)
        source, window = self.helper("drag_source", "drag source", url)
        for _ in range(5):
            self.drag_over(self.middle(window), self.middle(main))
            if source.stdout.readline().decode().strip() == "1":
                break
        self.saved(url)
        self.stop()

    def test_a_finished_file_is_dragged_into_another_program(self):
        self.start_with_screen()
        url = self.serve("/drag-me.bin")
        saved = self.fetch(url).saved_path
        self.hide_transfers()
        main = self.session.window(harness.MAIN, dialog=False)
        self.x.configure(main, x=0, y=0, width=760, height=600)
        target, window = self.helper("drop_target", "drop target")
        self.x.activate(main)
        row = self.screen.steady("table cell", os.path.basename(saved), harness.MAIN)
        self.drag_over(row.middle, self.middle(window))
        link = target.stdout.readline().decode().strip()
        self.assertEqual(urllib.parse.unquote(link), "file://" + saved)
        self.assertEqual(target.stdout.readline().decode().strip(), "1")
        self.assertTrue(os.path.exists(saved))
        self.stop()

    def test_a_drag_within_the_window_adds_nothing(self):
        self.start_with_screen()
        url = self.serve("/list.txt")
        saved = self.fetch(url).saved_path
        self.hide_transfers()
        main = self.session.window(harness.MAIN, dialog=False)
        self.x.activate(main)
        left, top, width, _ = self.x.place(main)
        row = self.screen.steady("table cell", os.path.basename(saved), harness.MAIN)
        self.drag_over(row.middle, (left + width // 2, top + 200))
        self.assertLess(self.session.response_seconds(), harness.PROMPT)
        self.assertEqual([each.url for each in self.session.companion.downloads()], [url])
        self.assertFalse(self.session.dialogs())
        self.stop()

    def test_places_and_order_survive_a_restart(self):
        self.start_with_screen()
        main = self.session.window(harness.MAIN, dialog=False)
        state = os.path.join(self.session.home, ".local/state/pellora/Windows.ini")
        harness.wait_steady(lambda: self.x.place(main), "the window at its place")
        self.assertFalse(os.path.exists(state))
        # Once the desktop has placed it.
        def move():
            self.x.configure(main, x=110, y=90, width=820, height=610)
            self.x.configure(main, x=120, y=100, width=810, height=620)
        harness.act_until(lambda: os.path.exists(state), move, what="the memory")
        self.screen.click("table column header", "Server", harness.MAIN)
        def remembered():
            with open(state, encoding="utf-8") as f:
                return "order" in f.read()
        harness.wait_until(remembered, 10, "the order")
        before = self.x.place(main)
        self.stop()
        self.screen.close()
        self.session.start()
        main = self.session.window(harness.MAIN, dialog=False)
        harness.wait_until(lambda: self.x.place(main)[2:] == before[2:], 10, "the size")
        after = self.x.place(main)
        self.assertLessEqual(max(abs(a - b) for a, b in zip(after, before)), 2, (before, after))
        self.stop()

    def test_a_window_that_must_be_larger_than_remembered_has_its_frame_on_the_screen(self):
        state = os.path.join(self.session.home, ".local/state/pellora/Windows.ini")
        os.makedirs(os.path.dirname(state))
        self.session.write_settings(state, {"MainWindow.place": "0,0,200,100"})
        self.session.start()
        main = self.session.window(harness.MAIN, dialog=False)
        _, top, width, height = harness.wait_steady(lambda: self.x.place(main), "the window at its place")
        self.assertGreater(min(width - 200, height - 100), 0)
        self.assertGreater(top, 10)  # the height of a title
        self.stop()

    def test_keys_sort_by_a_heading(self):
        self.start_with_screen()
        for path in ("/pear.bin", "/apple.bin"):
            self.fetch(self.serve(path))
        self.hide_transfers()
        self.x.activate(self.session.window(harness.MAIN, dialog=False))
        def top(name):
            return self.screen.wait("table cell", name, harness.MAIN).middle[1]
        self.assertLess(top("pear.bin"), top("apple.bin"))
        self.screen.click("table cell", "pear.bin", harness.MAIN)
        harness.wait_until(lambda: any(each.role == "tree" and each.name == "Finished files :" and "FOCUSED" in each.states
                                       for each in self.screen.elements(harness.MAIN)), 10, "the focus")
        self.screen.keys("Tab", "space")
        harness.wait_until(lambda: top("apple.bin") < top("pear.bin"), 10, "ascending names")
        self.screen.keys("space")
        harness.wait_until(lambda: top("pear.bin") < top("apple.bin"), 10, "descending names")
        self.stop()

    def test_the_filter_hides_rows_until_escape(self):
        self.start_with_screen()
        for path in ("/apple.bin", "/pear.bin"):
            self.fetch(self.serve(path))
        self.hide_transfers()
        self.screen.wait("table cell", "pear.bin", harness.MAIN)
        main = self.session.window(harness.MAIN, dialog=False)
        self.x.activate(main)
        self.session.press(main, "ctrl+f")
        self.screen.wait("text", "Filter :", harness.MAIN)
        self.screen.type("apple")
        self.screen.wait_gone("table cell", "pear.bin", harness.MAIN)
        self.screen.wait("table cell", "apple.bin", harness.MAIN)
        self.session.press(main, "Escape")
        self.screen.wait("table cell", "pear.bin", harness.MAIN)
        self.screen.wait_gone("text", "Filter :", harness.MAIN)
        self.stop()


if __name__ == "__main__":
    unittest.main()

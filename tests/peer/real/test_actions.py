"""Everyday use of the real windows: every control is found by its role and name, as by assistive technology, and
operated with the mouse or the keyboard."""

import os
import time
import unittest

import harness
import listfile
from case import Case
from harness import MAIN

DIALOG = "Enter the URL of the file to download"
QUESTION = "Pellora Question ! Clipboard hook"
DELETE = "This download is running. Do you want to stop it and delete it from the list?"
RESET = "Some downloads are not finished. Do you want to stop them and empty the whole list?"
CLEAR = "Do you want to remove all finished downloads from the list? The files stay on the disk."
QUIT = "Do you want to quit Pellora? Running downloads are paused and can be resumed later."


class Base(Case):
    settings = {"MaxSegments": 2}

    def setUp(self):
        super().setUp()
        self.catch_opened_files()
        self.start_with_screen()

    def slow(self, path="/slow.bin"):
        url = super().slow(path)
        self.screen.wait("table cell", os.path.basename(path), MAIN)
        return url

    def finished(self, path="/done.bin"):
        download = self.fetch(self.serve(path))
        self.screen.wait("table cell", os.path.basename(path), MAIN)
        return download

    def press(self, caption):
        """Clicks a button of the toolbar."""
        self.screen.click("push button", caption, MAIN)

    def select(self, name):
        self.screen.click("table cell", name, MAIN)

    def menu(self, title, entry):
        self.screen.click("menu item", title, MAIN)
        self.screen.click("menu item", entry)

    def popup(self, name, *keys):
        """Opens the context menu of a row and presses the keys, which must close it."""
        # Assistive technology sees the entries only when they get the focus.
        self.open_menu(lambda: self.screen.click("table cell", name, MAIN, button=3))
        self.screen.keys(*keys)
        harness.wait_until(lambda: not self.x.menus(), 20, "the end of the menu of %s" % name)


class AddingDownloads(Base):
    def test_dialog_adds_a_download_that_starts_now(self):
        url = self.serve("/now.bin")
        self.press("Add URL")
        self.screen.raise_window(DIALOG)
        self.screen.type("  " + url + " ")  # replaces the proposal, which is selected
        self.screen.click("push button", "Download Now !", DIALOG)
        self.saved(url)
        self.screen.wait_gone("push button", "Download Now !")

    def test_download_for_later_waits_until_its_row_is_double_clicked(self):
        url = self.serve("/later.bin")
        self.menu("File", "Add URL")
        self.screen.raise_window(DIALOG)
        self.screen.type(url)
        self.screen.click("push button", "Download Later !", DIALOG)
        self.wait_state(url, "waiting")
        self.assertEqual(self.origin.requests_for("/later.bin"), [])
        self.screen.double_click("table cell", "later.bin", MAIN)
        self.saved(url)

    def test_closed_dialog_adds_nothing_and_opens_again(self):
        for _ in range(2):
            self.press("Add URL")
            self.screen.raise_window(DIALOG)
            self.screen.type("http://127.0.0.1:1/closed.bin")
            self.screen.keys("Escape")
            self.screen.wait_gone("push button", "Download Now !")
        self.assertEqual(self.session.companion.downloads(), [])

    def test_repeated_url_asks_and_restarts_on_yes(self):
        done = self.finished()
        request_count = len(self.origin.requests_for("/done.bin"))
        self.session.menu_url(done.url)
        self.screen.answer("This URL is already in the list. Do you want to download it again from the beginning?", "Yes")
        harness.wait_until(lambda: len(self.origin.requests_for("/done.bin")) > request_count, 10, "a second fetch")
        self.saved(done.url)
        self.assertEqual([d.index for d in self.session.companion.downloads()], [done.index])


class CopiedText(Base):
    settings = {"MaxSegments": 2, "CheckClipboard": "True", "MaxSimulDownlads": "1"}

    def test_url_from_another_program_is_asked_about_while_downloads_and_queue_continue(self):
        urls = [self.serve("/first.bin", 2000000, rate=100000), self.serve("/second.bin", 400000, rate=100000)]
        copied = self.serve("/copied.zip")
        self.session.menu_url(urls[0])
        self.wait_state(urls[0], "active")
        self.session.menu_url(urls[1])
        self.wait_state(urls[1], "queued")
        self.copy(copied.encode())
        self.screen.wait("push button", "Yes", QUESTION)
        self.screen.wait("label", copied, QUESTION)
        # While the question is open, the first download ends and the second leaves the queue.
        self.session.companion.wait_finished(urls, 60)
        self.assertIsNotNone(self.screen.find("push button", "Yes", QUESTION))
        self.assertIsNone(self.session.companion.find(copied))
        self.screen.click("push button", "Yes", QUESTION)
        self.saved(copied)

    def test_url_copied_with_its_line_end_is_asked_about_and_fetched_without_it(self):
        url = self.serve("/line.zip")
        self.copy(b" " + url.encode() + b"\r\n")
        self.screen.wait("label", url, QUESTION)
        self.screen.click("push button", "Yes", QUESTION)
        self.saved(url)
        self.assertEqual({r.path for r in self.origin.requests}, {"/line.zip"})

    def test_text_that_is_no_url_opens_nothing_and_does_no_harm(self):
        last = self.serve("/last.zip")
        for text in (b"http://127.0.0.1/a.zip\nhttp://127.0.0.1/b.zip", b"http://127.0.0.1/\x01\x02\x07.zip" + b"\0",
                     b"http://127.0.0.1/" + b"x" * (1 << 20), b"\xff\xfe\xfd", b""):
            harness.end_process(self.copy(text), 1)
            time.sleep(0.6)
        self.assertLess(self.session.response_seconds(), harness.PROMPT)
        self.copy(last.encode())
        self.screen.wait("label", last, QUESTION)
        self.screen.keys("Escape")
        self.screen.wait_gone("push button", "Yes", QUESTION)
        self.stop()


# Keys to the check mark above "Speed limit...", which is the last entry of a row of the classic engine.
SCHEDULED = ("Up", "Up", "Return")


class RunningDownloads(Base):
    def test_toolbar_pauses_and_resumes(self):
        url = self.slow()
        self.select("slow.bin")
        self.press("Pause")
        self.wait_state(url, "paused")
        self.press("Resume All")
        self.wait_state(url, "active")
        self.press("Pause All")
        self.wait_state(url, "paused")
        self.menu("Actions", "Resume All")
        self.wait_state(url, "active")

    def test_menu_of_a_row_does_what_its_state_allows(self):
        url = self.slow()
        self.popup("slow.bin", "o", "r", "Escape")  # open and resume are disabled while it runs
        self.popup("slow.bin", "s")
        self.wait_state(url, "paused")
        self.assertEqual(self.opened(), [])
        self.popup("slow.bin", *SCHEDULED)
        self.wait_state(url, "scheduled")
        self.popup("slow.bin", *SCHEDULED)
        self.wait_state(url, "paused")
        self.popup("slow.bin", "s", "Escape")  # no longer running
        self.popup("slow.bin", "r")
        self.wait_state(url, "active")
        self.popup("slow.bin", *SCHEDULED)  # a running download cannot be scheduled
        self.popup("slow.bin", "a")
        self.wait_state(url, "paused")

    def test_delete_asks_about_a_running_download_only(self):
        url = self.slow()
        self.select("slow.bin")
        self.press("Delete URL")
        self.screen.answer(DELETE, "No")
        self.assertEqual(self.state(url), "active")
        self.select("slow.bin")
        self.screen.keys("Delete")
        self.screen.answer(DELETE, "Yes")
        self.wait_state(url, None)
        url = self.slow("/second.bin")
        self.select("second.bin")
        self.press("Pause")
        self.wait_state(url, "paused")
        self.popup("second.bin", "d")
        self.wait_state(url, None)
        self.assertEqual(self.session.dialogs(), [])
        self.assertEqual(os.listdir(self.session.parts), [])

    def test_reset_asks_and_empties_the_list(self):
        url = self.slow()
        self.finished()
        self.press("Reset List")
        self.screen.answer(RESET, "No")
        self.assertEqual(self.state(url), "active")
        self.menu("File", "Reset List")
        self.screen.answer(RESET, "Yes")
        harness.wait_until(lambda: not self.session.companion.downloads(), 10, "the list to be empty")
        self.finished("/again.bin")

    def test_quit_asks_and_saves(self):
        url = self.slow()
        self.press("Quit")
        self.screen.answer(QUIT, "No")
        self.assertTrue(self.session.alive())
        self.menu("File", "Exit")
        self.screen.wait("label", QUIT)
        self.screen.click("push button", "Yes")
        self.assertEqual(self.session.process.wait(60), 0)
        self.assertTrue(listfile.find(self.session.list_file, url).paused)

    def test_no_transfer_window_opens_when_switched_off(self):
        self.menu("Options", "Show download windows")
        self.slow()
        self.assertEqual([title for _, title, _ in self.session.own_windows() if "slow.bin" in title], [])
        self.screen.click("menu item", "Options", MAIN)
        self.assertNotIn("CHECKED", self.screen.wait("menu item", "Show download windows").states)
        self.screen.click("menu item", "Show download windows")
        self.slow("/shown.bin")
        self.screen.raise_window("shown.bin")


class FinishedFiles(Base):
    def test_double_click_or_menu_opens_the_file(self):
        done = self.finished()
        self.screen.double_click("table cell", "done.bin", MAIN)
        harness.wait_until(lambda: self.opened() == [done.saved_path], 10, "the file to be opened")
        self.popup("done.bin", "o")
        harness.wait_until(lambda: self.opened() == [done.saved_path] * 2, 10, "the file to be opened again")

    def test_missing_file_is_reported(self):
        done = self.finished()
        os.remove(done.saved_path)
        self.screen.double_click("table cell", "done.bin", MAIN)
        self.screen.answer("done.bin not found. Can't start it", "OK")
        self.assertEqual(self.opened(), [])

    def test_clearing_removes_rows_and_keeps_files(self):
        files = [self.finished("/%d.bin" % number).saved_path for number in range(3)]
        self.select("0.bin")
        self.screen.wait("table cell", "0.bin", MAIN, state="SELECTED")
        self.screen.keys("Delete")
        self.screen.wait_gone("table cell", "0.bin", MAIN)
        self.popup("1.bin", "c")
        self.screen.wait_gone("table cell", "1.bin", MAIN)
        self.popup("2.bin", "d")
        self.screen.answer(CLEAR, "Yes")
        self.screen.wait_gone("table cell", "2.bin", MAIN)
        self.assertEqual(self.session.companion.downloads(), [])
        self.assertTrue(all(map(os.path.exists, files)))


class MainWindow(Base):
    def test_second_start_shows_a_window_hidden_by_its_close_box(self):
        url = self.slow()
        self.session.close_window(self.screen.raise_window(MAIN))
        self.assertEqual(self.state(url), "active")
        harness.wait_until(lambda: listfile.find(self.session.list_file, url), 10, "a save")
        second = self.session.launch()
        self.addCleanup(harness.end_process, second)
        self.screen.wait("label", "found")
        self.screen.click("push button", "OK")
        self.assertEqual(second.wait(60), 0)
        self.screen.raise_window(MAIN)
        self.assertIsNotNone(listfile.find(self.session.list_file, url))

    def test_side_pane_folds(self):
        pane = "Show or hide the side pane"
        folded = self.screen.wait("tree", "Finished files :", MAIN).width
        self.screen.click("push button", pane, MAIN)
        self.screen.wait("page tab", "Preview", MAIN)
        self.screen.wait("page tab", "Infos", MAIN)

        def width():
            return self.screen.wait("tree", "Finished files :", MAIN).width
        harness.wait_until(lambda: width() < folded - 200, 10, "a narrower list")
        self.screen.click("push button", pane, MAIN)
        self.screen.wait_gone("page tab", "Preview", MAIN)
        harness.wait_until(lambda: width() == folded, 10, "the list at its width")

    def test_every_focusable_control_has_a_name(self):
        self.slow()
        self.finished()
        self.screen.click("push button", "Show or hide the side pane", MAIN)
        self.press("Add URL")
        self.screen.wait("push button", "Download Now !")
        nameless = [e for e in self.screen.elements() if "FOCUSABLE" in e.states and not e.name
                    and e.role in ("push button", "check box", "text", "tree", "page tab", "slider", "combo box",
                                   "radio button", "menu item", "spin button")]
        self.assertEqual(nameless, [])

    def test_every_control_is_reachable_by_keyboard(self):
        self.finished()
        self.screen.raise_window(MAIN)
        reached = set()
        for _ in range(30):
            self.screen.keys("Tab")
            time.sleep(0.1)  # a pending key is not visible to the query
            reached |= {e.name for e in self.screen.elements(MAIN) if "FOCUSED" in e.states and e.name}
        wanted = {e.name for e in self.screen.elements(MAIN)
                  if {"FOCUSABLE", "ENABLED"} <= e.states and e.role in ("push button", "tree", "page tab list")}
        self.assertLessEqual(wanted - reached, set(), reached)
        # By keyboard: the File menu, its first entry, and the dialog that it opens.
        self.screen.keys("alt+f")
        self.screen.wait("menu item", "Add URL", MAIN)
        self.screen.keys("a")
        self.screen.wait("push button", "Download Now !", DIALOG)


if __name__ == "__main__":
    unittest.main()

"""Messages of the desktop when downloads finish or stop, and the progress on its taskbar."""

import os
import time
import unittest

import bus
import harness
from case import Case

NOTES = "org.freedesktop.Notifications"
LAUNCHER = "com.canonical.Unity.LauncherEntry"


class Desktop(bus.Peer):
    """Shows messages: every one that came, by its number."""

    def __init__(self, address, markup):
        super().__init__(address)
        self.shown = []
        self.delay = 0  # seconds until it answers
        self.serve({
            (NOTES, "GetCapabilities"): lambda _s, _a: ("as", (["actions", "body"] + ["body-markup"] * markup,)),
            (NOTES, "Notify"): self.show,
        })
        self.take_name(NOTES)

    def show(self, _sender, arguments):
        time.sleep(self.delay)
        self.shown.append(arguments)
        return "u", (40 + len(self.shown),)

    def choose(self, number, key, token=None):
        if token:
            self.emit("/org/freedesktop/Notifications", NOTES, "ActivationToken", "us", number, token)
        self.emit("/org/freedesktop/Notifications", NOTES, "ActionInvoked", "us", number, key)


class Notices(Case):
    settings = {"MaxSegments": 1}

    def serve_desktop(self, markup=True):
        desktop = Desktop(self.session.env["DBUS_SESSION_BUS_ADDRESS"], markup)
        self.addCleanup(desktop.close)
        return desktop

    def wait_shown(self, desktop, count=1):
        harness.wait_until(lambda: len(desktop.shown) >= count, 60, "message %d" % count)

    def test_a_finished_download_is_named_and_opened(self):
        self.catch_opened_files()
        desktop = self.serve_desktop()
        self.session.start()
        url = self.serve("/a.bin")
        download = self.fetch(url)
        self.wait_shown(desktop)
        name, replaces, _icon, title, text, buttons, hints, _timeout = desktop.shown[0]
        self.assertEqual((name, replaces, title, text), ("Pellora !", 0, "Download finished", "a.bin"))
        self.assertEqual(buttons, ["default", "Open", "open", "Open", "folder", "Open Folder"])
        self.assertIn("desktop-entry", hints)
        desktop.choose(999, "default")  # another program's
        desktop.choose(41, "folder")
        harness.wait_until(self.opened, 20, "the folder to be opened")
        self.assertEqual(self.opened(), [os.path.dirname(download.saved_path)])

    def test_what_a_message_opens_gets_the_token_of_the_click_and_nothing_later_does(self):
        self.catch_opened_files("$XDG_ACTIVATION_TOKEN")
        desktop = self.serve_desktop()
        self.session.start()
        saved = [self.fetch(self.serve("/a.bin")).saved_path]
        self.wait_shown(desktop)
        saved.append(self.fetch(self.serve("/b.bin")).saved_path)
        self.wait_shown(desktop, 2)
        desktop.choose(999, "default", "of another program")
        desktop.choose(41, "default", "a token")
        harness.wait_until(self.opened, 20, "the first file to be opened")
        desktop.choose(42, "open")
        harness.wait_until(lambda: len(self.opened()) > 1, 20, "the second file to be opened")
        self.assertEqual(self.opened(), ["a token " + saved[0], " " + saved[1]])
        self.stop()

    def test_a_desktop_can_tell_errors_from_finished_downloads(self):
        for path, category in (("/here.bin", "transfer.complete"), ("/missing.bin", "transfer.error")):
            with self.subTest(path):
                self.session = self.new_session(WebEngine=2)
                desktop = self.serve_desktop()
                self.session.start()
                self.serve("/here.bin")
                self.session.menu_url(self.origin.url(path))
                self.wait_shown(desktop)
                self.assertEqual(desktop.shown[0][6]["category"], ("s", category))
                self.stop()

    def test_names_are_escaped_only_where_the_desktop_reads_markup(self):
        for markup, name, text in ((True, "a&b.bin", "a&amp;b.bin"), (False, "c&d.bin", "c&d.bin")):
            with self.subTest(markup=markup):
                desktop = self.serve_desktop(markup)
                self.session.start()
                self.fetch(self.serve("/" + name))
                self.wait_shown(desktop)
                self.assertEqual(desktop.shown[0][4], text)
                self.stop()
                desktop.close()

    def test_a_name_cannot_turn_the_direction_of_writing(self):
        self.session.write_settings(self.session.settings_file, {"CheckClipboard": "False", "WebEngine": "2"})
        desktop = self.serve_desktop()
        self.session.start()
        self.session.companion.run("add", "--output", "a\u202egpj.exe", self.serve("/a.bin"))
        self.wait_shown(desktop)
        self.assertEqual(desktop.shown[0][4], "a\ufffdgpj.exe")

    def test_a_desktop_that_came_later_does_not_mean_the_earlier_ones_messages(self):
        self.catch_opened_files()
        first = self.serve_desktop()
        self.session.start()
        self.fetch(self.serve("/a.bin"))
        self.wait_shown(first)
        first.close()
        second = self.serve_desktop()
        second.choose(41, "folder")  # another program's
        self.fetch(self.serve("/b.bin"))
        self.wait_shown(second)
        self.assertEqual(second.shown[0][4], "b.bin")
        self.assertEqual(self.opened(), [])
        second.choose(41, "folder")
        harness.wait_until(self.opened, 20, "the folder to be opened")

    def test_buttons_work_however_late_the_desktop_answers(self):
        self.catch_opened_files()
        desktop = self.serve_desktop()
        desktop.delay = 27
        self.session.start()
        download = self.fetch(self.serve("/a.bin"))
        self.wait_shown(desktop)
        time.sleep(1)  # until the answer has arrived
        desktop.choose(41, "folder")
        harness.wait_until(self.opened, 20, "the folder to be opened")
        self.assertEqual(self.opened(), [os.path.dirname(download.saved_path)])

    def test_nobody_shows_messages(self):
        self.session.start()
        self.fetch(self.serve("/a.bin"))
        self.fetch(self.serve("/b.bin"))
        self.stop()

    def test_the_taskbar_shows_progress_until_all_is_done(self):
        desktop = self.serve_desktop()
        updates = desktop.listen(LAUNCHER)
        self.session.start()
        url = self.slow(size=500000, rate=200000)
        self.saved(url)
        self.wait_shown(desktop)
        states = []
        while not updates.empty():
            address, shown = updates.get().body
            self.assertTrue(address.startswith("application://") and address.endswith(".desktop"), address)
            states.append({key: value[1] for key, value in shown.items()})
            self.assertEqual(shown["count"][0], "x")
        self.assertTrue(any(s["count"] == 1 and 0 < s["progress"] < 1 for s in states), states)
        self.assertEqual((states[-1]["count-visible"], states[-1]["progress-visible"]), (False, False))

    def test_quitting_takes_the_progress_off_the_taskbar(self):
        desktop = self.serve_desktop()
        updates = desktop.listen(LAUNCHER)
        self.session.start()
        self.slow()
        shown = updates.get(timeout=20).body[1]
        self.assertEqual((shown["count"][1], shown["count-visible"][1]), (1, True))
        self.stop()
        while not updates.empty():
            shown = updates.get().body[1]
        self.assertEqual((shown["count-visible"][1], shown["progress-visible"][1]), (False, False))


if __name__ == "__main__":
    unittest.main()

"""Messages of the desktop when downloads finish or stop, and the progress on its taskbar."""

import os
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
        self.serve({
            (NOTES, "GetCapabilities"): lambda _s, _a: ("as", (["actions", "body"] + ["body-markup"] * markup,)),
            (NOTES, "Notify"): self.show,
        })
        self.take_name(NOTES)

    def show(self, _sender, arguments):
        self.shown.append(arguments)
        return "u", (40 + len(self.shown),)

    def choose(self, number, key):
        self.emit("/org/freedesktop/Notifications", NOTES, "ActionInvoked", "us", number, key)


class Notices(Case):
    settings = {"MaxSegments": 1}

    def serve_desktop(self, markup=True):
        desktop = Desktop(self.session.env["DBUS_SESSION_BUS_ADDRESS"], markup)
        self.addCleanup(desktop.close)
        return desktop

    def wait_shown(self, desktop, count=1):
        harness.wait_until(lambda: len(desktop.shown) >= count, 30, "message %d" % count)

    def test_a_finished_download_is_named_and_opened(self):
        self.catch_opened_files()
        desktop = self.serve_desktop()
        self.session.start()
        url = self.serve("/a.bin")
        download = self.fetch(url)
        self.wait_shown(desktop)
        name, replaces, _icon, title, text, buttons, hints, _timeout = desktop.shown[0]
        self.assertEqual((name, replaces, title, text), ("Pellora !", 0, "Download finished", "a.bin"))
        self.assertEqual(buttons, ["default", "Open", "folder", "Open Folder"])
        self.assertIn("desktop-entry", hints)
        desktop.choose(999, "default")  # another program's
        desktop.choose(41, "folder")
        harness.wait_until(self.opened, 20, "the folder to be opened")
        self.assertEqual(self.opened(), [os.path.dirname(download.saved_path)])

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


if __name__ == "__main__":
    unittest.main()

"""The options dialog of the real program, operated by keyboard and mouse, and the settings that it writes."""

import os
import subprocess
import unittest

import harness
from case import Case
from harness import MAIN


class Options(Case):
    def setUp(self):
        super().setUp()
        self.session.start()
        self.main = self.session.window(MAIN, dialog=False)
        self.config = self.session.env["XDG_CONFIG_HOME"]

    def keys(self, window, *keys):
        for key in keys:
            self.session.press(window, key)

    def open_by_menu(self, entry="p", title="Pellora !   Options"):
        self.session.choose("alt+o", entry)
        return self.session.window(title, dialog=True)

    def gone(self, window):
        harness.wait_until(lambda: window not in self.x.clients(), 10, "the dialog to go")

    def setting(self, key):
        with open(self.session.settings_file, encoding="utf-8") as f:
            for line in f:
                if line.startswith(key + "="):
                    return line.rstrip("\n").partition("=")[2]
        return None

    def picture(self, window):
        """The window's pixels."""
        return self.x.image(*self.x.place(window))

    def drawn(self, window):
        """Its picture once it is completely drawn; ignores the blinking caret."""
        seen = []

        def steady():
            seen.append(self.picture(window))
            return seen[-1] if seen[-3:-1].count(seen[-1]) else None
        return harness.wait_until(steady, 20, "a drawn window")

    def changed_by(self, window, *keys):
        """Presses keys one by one, each after the previous one has changed the picture."""
        for key in keys:
            before = self.drawn(window)
            self.session.press(window, key)
            harness.wait_until(lambda: self.drawn(window) != before, 20, "an effect of " + key)

    def test_language_chosen_by_keyboard_is_shown_at_once_and_after_a_restart(self):
        english = self.drawn(self.main)
        dialog = self.open_by_menu()
        # The languages' page is the last but one; its list follows the tabs.
        self.changed_by(dialog, "ctrl+shift+Tab", "ctrl+shift+Tab", "Tab", "d")
        self.keys(dialog, "Return")
        self.gone(dialog)
        self.assertEqual(self.setting("Language"), "german")
        harness.wait_until(lambda: self.picture(self.main) != english, 10, "German texts")
        # The menu's German access key, and the German title.
        dialog = self.open_by_menu("e", "Pellora !   Optionen")
        self.keys(dialog, "Escape")
        self.gone(dialog)
        self.stop()
        self.session.start()
        self.open_by_menu("e", "Pellora !   Optionen")
        self.stop()

    def test_ok_writes_settings_autostart_entry_and_one_test_file(self):
        entry = os.path.join(self.config, "autostart", "PelloraAutoStart.desktop")
        dialog = self.open_by_menu()
        self.changed_by(dialog, "Tab", "space")
        self.keys(dialog, "Return")
        self.gone(dialog)
        self.assertEqual(self.setting("AutoStart"), "True")
        self.assertEqual(self.setting("ProxyPort"), "80")
        self.assertTrue(os.path.exists(entry))
        self.assertEqual(subprocess.run(["desktop-file-validate", entry], check=False).returncode, 0)
        self.assertTrue(os.path.exists(self.session.parts + "temp.tst"))
        self.assertFalse(os.path.exists(self.session.downloads + "temp.tst"))
        # The choice is stored under the program's name; the folders are read from the older name again.
        self.assertEqual(self.setting("DownloadFolder"), self.session.downloads)
        dialog = self.open_by_menu()
        self.changed_by(dialog, "Tab", "space")
        self.keys(dialog, "Return")
        self.gone(dialog)
        self.assertFalse(os.path.exists(entry))

    def test_refusal_leaves_the_dialog_open_while_downloads_continue(self):
        before = self.setting("MaxSegments")
        dialog = self.open_by_menu()
        self.changed_by(dialog, "ctrl+Tab", "Tab")
        self.keys(dialog, "ctrl+a", "0", "Return")
        box = self.session.window(MAIN, dialog=True)
        self.assertLess(self.session.response_seconds(), harness.PROMPT)
        self.keys(box, "Return")
        self.gone(box)
        self.assertIn(dialog, self.x.clients())
        self.assertEqual(self.setting("MaxSegments"), before)
        self.keys(dialog, "Escape")
        self.gone(dialog)

    def test_toolbar_opens_the_dialog_and_its_frame_closes_it(self):
        self.drawn(self.main)
        self.x.activate(self.main)
        left, top, _, _ = self.x.place(self.main)
        self.x.click(left + 263, top + 46)
        dialog = self.session.window("Pellora !   Options", dialog=True)
        self.session.close_window(dialog)
        self.assertTrue(self.session.alive())
        self.assertIsNone(self.setting("MaxSegments"))


if __name__ == "__main__":
    unittest.main()

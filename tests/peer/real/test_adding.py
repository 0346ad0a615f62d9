"""Adding: the fold of the add dialog, several addresses at once, drops on the main window, a time to begin."""

import os
import random
import subprocess
import time
import unittest

import harness
from case import Case
from test_basket import LINKS_SOURCE
from webservers import TlsNginx

DIALOG = "Enter the URL of the file to download"
LIST = "Add several addresses"


class Adding(Case):
    @classmethod
    def setUpClass(cls):
        cls.nginx = TlsNginx()
        cls.addClassCleanup(cls.nginx.close)
        cls.data = random.Random(3).randbytes(300_000)
        for name in "abcd":
            cls.nginx.put(name + ".bin", cls.data)
        cls.settings = {"MaxSegments": 4, "CheckClipboard": False, "ExtraCertificates": cls.nginx.authority}

    def setUp(self):
        super().setUp()
        self.start_with_screen()

    def url(self, name):
        return self.nginx.url(self.nginx.plain, name)

    def paste(self, *lines):
        """Opens the add dialog and pastes into it in place of what it offers."""
        self.copy("\n".join(lines).encode())
        self.session.choose("alt+f", "a")
        self.screen.wait("text", DIALOG, DIALOG)
        self.session.press(self.session.window(DIALOG), "ctrl+a", "ctrl+v")
        if len(lines) == 1:
            harness.wait_until(lambda: self.screen.wait("text", DIALOG, DIALOG).text == lines[0],
                               20, "the pasted address")

    def type_into(self, field, text):
        role = "password text" if field == "Password :" else "text"

        def has(state):
            return state in self.screen.wait(role, field, DIALOG).states
        harness.act_until(lambda: has("FOCUSED"), lambda: self.screen.click(role, field, DIALOG), field)
        self.screen.keys("ctrl+a")
        self.screen.type(text)
        if role == "text":  # a password is not shown
            harness.wait_until(lambda: self.screen.wait(role, field, DIALOG).text == text, 20, text)

    def check(self, name):
        harness.act_until(lambda: "CHECKED" in self.screen.wait("check box", name, DIALOG).states,
                          lambda: self.screen.click("check box", name, DIALOG), name)

    def unfold(self):
        self.check("More")
        self.screen.steady("text", "File name :", DIALOG)

    def finished(self, count):
        def there():
            found = self.session.companion.downloads()
            return found if len(found) == count and all(d.state == "finished" for d in found) else None
        return harness.wait_until(there, 60, "%d finished downloads" % count)

    def test_fold_asks_for_place_and_login(self):
        folder = os.path.join(self.session.root, "elsewhere")
        os.mkdir(folder)
        self.paste(self.url("private/a.bin"))
        self.unfold()
        self.type_into("Folder :", folder)
        self.type_into("File name :", "mine.bin")
        self.type_into("User name :", "joe")
        self.type_into("Password :", "s3cret")
        self.session.save_screenshot("adding-fold")
        self.screen.click("push button", "Download Now !", DIALOG)
        [download] = self.finished(1)
        self.assertEqual(download.saved_path, os.path.join(folder, "mine.bin"))
        with open(download.saved_path, "rb") as f:
            self.assertTrue(f.read() == self.data)
        self.stop()
        for top, _, names in os.walk(self.session.home):
            for path in (os.path.join(top, name) for name in names):
                if not os.path.isfile(path):
                    continue
                with open(path, "rb") as f:
                    self.assertNotIn(b"s3cret", f.read(), path)

    def test_bad_field_is_reported_and_the_dialog_stays(self):
        self.paste(self.url("a.bin"))
        self.unfold()
        self.type_into("Checksum :", "123")
        self.screen.click("push button", "Download Now !", DIALOG)
        message = self.session.window("Pellora !", True)
        self.session.save_screenshot("adding-bad-checksum")
        self.session.dismiss(message)
        self.assertTrue(self.session.titled(DIALOG))
        self.assertEqual(self.session.companion.downloads(), [])

    def test_pasted_addresses_are_judged_before_and_come_without_windows(self):
        self.paste(self.url("a.bin"), self.url("b.bin"), self.url("a.bin"), self.url("none.bin"), self.url("c.bin"))
        self.screen.wait("label", "Chosen: 3, together 878.9 kb", LIST)
        self.session.save_screenshot("adding-list")
        self.screen.click("push button", "Download", LIST)
        found = self.finished(3)
        self.assertEqual([d.url for d in found], [self.url(name + ".bin") for name in "abc"])
        for download in found:
            with open(download.saved_path, "rb") as f:
                self.assertTrue(f.read() == self.data, download.url)
        titles = [title for _, title, _ in self.session.own_windows()]
        self.assertEqual([title for title in titles if "bin" in title], [])

    def drop(self, links):
        main = self.session.window(harness.MAIN, False)
        self.x.activate(main)
        left, top, width, height = self.x.place(main)
        at = str(left + width // 2), str(top + height // 3)
        result = subprocess.run([LINKS_SOURCE, hex(main), *at, links], env=self.session.env,
                                stdin=subprocess.DEVNULL, capture_output=True, timeout=120, check=True)
        return result.stdout.strip() == b"1"

    def test_link_dropped_on_the_main_window_is_fetched(self):
        self.assertTrue(self.drop(self.url("d.bin") + "\r\n"))
        [download] = self.finished(1)
        self.assertEqual(download.url, self.url("d.bin"))
        self.assertFalse(self.drop("file:///etc/passwd\r\n"))

    def test_text_file_dropped_on_the_main_window_opens_the_list(self):
        path = os.path.join(self.session.root, "my list.txt")
        with open(path, "w", encoding="utf-8") as f:
            f.write("# files\n%s\n  out=x\n%s\n" % (self.url("a.bin"), self.url("b.bin")))
        self.assertTrue(self.drop("file://%s\r\n" % path.replace(" ", "%20")))
        self.screen.wait("label", "Chosen: 2, together 585.9 kb", LIST)
        self.session.close_window(self.session.window(LIST))
        self.assertEqual(self.session.companion.downloads(), [])

    def start_again(self, *arguments):
        self.session.arguments = list(arguments)
        again = self.session.launch()
        self.addCleanup(harness.end_process, again)
        self.assertEqual(again.wait(20), 0)

    def test_file_that_the_desktop_opens_is_listed_by_the_copy_that_runs(self):
        with open(os.path.join(self.session.home, "my list.txt"), "w", encoding="utf-8") as f:
            f.write("%s\n%s\n" % (self.url("a.bin"), self.url("b.bin")))
        for argument in ("file://%s" % f.name.replace(" ", "%20"), "my list.txt"):
            with self.subTest(argument):
                self.start_again(argument)
                self.screen.wait("label", "Chosen: 2, together 585.9 kb", LIST)
                self.session.close_window(self.session.window(LIST))
        self.assertEqual(self.session.companion.downloads(), [])

    def test_action_of_the_desktop_entry_asks_for_an_address(self):
        self.start_again("--add-url")
        self.session.window(DIALOG)

    def test_begins_later_and_not_before(self):
        self.paste(self.url("a.bin"))
        self.unfold()
        self.check("Begin on (date, time) :")
        moment = time.time() + 20
        self.type_into("Begin on (date, time) :",
                       time.strftime("%Y-%m-%d %H:%M:%S", time.localtime(moment)))
        self.session.save_screenshot("adding-later")
        self.screen.click("push button", "Download Now !", DIALOG)
        self.wait_state(self.url("a.bin"), "queued")
        requests = len(self.nginx.log())
        self.finished(1)
        self.assertGreaterEqual(time.time(), moment - 1)
        self.assertGreater(len(self.nginx.log()), requests)


if __name__ == "__main__":
    unittest.main()

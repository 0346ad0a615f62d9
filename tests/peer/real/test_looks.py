"""The appearance of the real windows: captions without a language file, small screens, menus and questions,
accessibility, and names that are hard to draw."""

import os
import random
import socket
import subprocess
import time
import unittest

import harness
from case import Case
from harness import MAIN

QUESTION = "Pellora Question ! Clipboard hook"


class Base(Case):
    settings = {"MaxSegments": 8}

    def open(self, scale=1, stage=None, **settings):
        self.session = self.new_session(stage, **settings)
        self.session.env["QT_SCALE_FACTOR"] = str(scale)
        self.start_with_screen()


class WithoutALanguageFile(Base):
    def captions(self, role, window):
        return {e.name for e in self.screen.elements(window) if e.role == role}

    def test_dialogs_keep_their_designed_captions(self):
        self.open(Language="nosuch", CheckClipboard="True")
        self.screen.click("push button", "Add URL", MAIN)
        self.screen.wait("push button", "Download Now !", "Enter the URL of the file to download")
        self.assertLessEqual({"Download Now !", "Download Later !", "Cancel"},
                             self.captions("push button", "Enter the URL"))
        self.screen.click("push button", "Cancel", "Enter the URL")
        self.screen.click("push button", "Options", MAIN)
        self.screen.wait("push button", "OK", "Pellora !   Options")
        self.assertLessEqual({"OK", "Cancel"}, self.captions("push button", "Pellora !   Options"))
        self.assertLessEqual({"General", "Connection", "Scheduling", "Language"},
                             self.captions("page tab", "Pellora !   Options"))
        self.assertNotIn("", self.captions("check box", "Pellora !   Options"))
        self.screen.click("push button", "Cancel", "Pellora !   Options")
        self.copy(b"http://127.0.0.1:9/asked.zip")
        self.screen.wait("push button", "Yes", QUESTION)
        self.assertLessEqual({"Yes", "No"}, self.captions("push button", QUESTION))
        self.assertIn("Do you want to download :", self.captions("label", QUESTION))
        self.screen.click("push button", "No", QUESTION)
        # Closed during the probe, because without texts every file name is refused.
        self.origin.replies["/hang.bin"] = lambda _connection, _request: time.sleep(20)
        self.session.menu_url(self.origin.url("/hang.bin"))
        self.screen.wait("push button", "Hide Details", "hang.bin")
        self.assertLessEqual({"Start Download", "Pause Download", "Cancel"}, self.captions("push button", "hang.bin"))
        self.screen.wait("label", "Progress", "hang.bin")
        self.screen.click("push button", "Hide Details", "hang.bin")
        self.screen.wait_gone("label", "Progress", "hang.bin")
        self.assertIn("Hide Details", self.captions("push button", "hang.bin"))

    def test_language_chosen_later_is_shown_everywhere(self):
        self.open(Language="nosuch")
        self.screen.click("push button", "Options", MAIN)
        dialog = self.screen.raise_window("Pellora !   Options")
        for key in ("ctrl+shift+Tab", "ctrl+shift+Tab", "Tab", "d", "Return"):
            self.session.press(dialog, key)
            time.sleep(0.5)
        self.screen.wait("push button", "Optionen", MAIN)
        self.screen.click("push button", "Optionen", MAIN)
        self.screen.wait("push button", "Abbrechen", "Pellora !   Optionen")


class SmallScreens(Base):
    def own_stage(self, screen):
        stage = harness.Stage(screen)
        self.addCleanup(stage.close)
        return stage

    def check_inside(self, part):
        """The window with its frame comes to rest within the screen."""
        window = self.session.window(part)
        _, _, wide, high = self.x.place(self.x.root)
        left, top, width, height = harness.wait_steady(lambda: self.x.place(window), "%s at rest" % part)
        frame = self.x.property(window, "_NET_FRAME_EXTENTS")
        self.assertEqual(len(frame), 4)
        self.assertGreaterEqual(left - frame[0], 0, part)
        self.assertGreaterEqual(top - frame[2], 0, part)
        self.assertLessEqual(left + width + frame[1], wide, part)
        self.assertLessEqual(top + height + frame[3], high, part)

    def check_all(self):
        self.check_inside(MAIN)
        bar = next(e for e in self.screen.elements(MAIN) if e.role == "status bar")
        self.assertGreater(bar.height, 5)
        for name in ("one.bin", "two.bin", "three.bin"):
            self.slow("/" + name)
            self.check_inside(name)
            self.screen.wait("push button", "Hide Details", name)
        self.session.choose("alt+o", "p")
        self.check_inside("Pellora !   Options")
        self.screen.keys("Escape")

    def test_at_1024x600_every_window_opens_on_the_screen(self):
        self.open(stage=self.own_stage("1024x600"))
        self.check_all()

    def test_at_scale_2_every_window_opens_on_the_screen(self):
        self.open(scale=2)
        self.check_all()


class Scales(Base):
    def check_size(self, variable, value, scale):
        self.session = self.new_session()
        self.session.env[variable] = value
        self.session.start()
        window = self.session.window(MAIN)
        harness.wait_until(lambda: self.x.place(window)[2:] == (800 * scale, 600 * scale), 5, "%s=%s" % (variable, value))
        self.stop()

    def test_useless_scales_of_the_environment_are_ignored(self):
        for variable, values in (("QT_SCALE_FACTOR", ("0", "-1", "nan", "1e9", "100", "abc", "")),
                                 ("QT_SCREEN_SCALE_FACTORS", ("100", "screen=100", "0;1", "abc")),
                                 ("QT_FONT_DPI", ("10000", "-1", "0", "abc")), ("GDK_SCALE", ("100", "abc"))):
            for value in values:
                with self.subTest(variable=variable, value=value):
                    self.check_size(variable, value, 1)

    def test_fractions_are_obeyed(self):
        self.check_size("QT_SCALE_FACTOR", "1.25", 1.25)
        self.check_size("QT_SCALE_FACTOR", "1.5", 1.5)


class Names(Base):
    NAMED = ("push button", "check box", "radio button", "text", "password text", "combo box", "tree", "table", "slider",
             "page tab", "page tab list", "progress bar")

    def nameless(self, window):
        return [e for e in self.screen.elements(window) if e.role in self.NAMED and "FOCUSABLE" in e.states and not e.name]

    def test_every_control_has_a_german_name_on_every_page(self):
        self.open(Language="german")
        self.screen.click("push button", "Seitenleiste ein- oder ausblenden", MAIN)
        for name in ("Abspielen", "Stoppen"):
            self.screen.wait("push button", name, MAIN)
        self.screen.wait("slider", "Lautst\u00e4rke", MAIN)
        self.assertEqual(self.nameless(MAIN), [])
        self.screen.click("push button", "Optionen", MAIN)
        options = "Pellora !   Optionen"
        self.screen.wait("push button", "Ordner ausw\u00e4hlen Standardordner f\u00fcr Downloads", options)
        pages = [e.name for e in self.screen.elements(options) if e.role == "page tab"]
        self.assertEqual(len(pages), 5)
        seen = set()
        for page in pages:
            self.screen.click("page tab", page, options)
            time.sleep(1)  # tabs do not report which one is chosen
            self.assertEqual(self.nameless(options), [], page)
            seen.add(frozenset(e.name for e in self.screen.elements(options) if e.role == "label"))
        self.assertEqual(len(seen), 5)


class Notifications(Base):
    def listen(self):
        """Returns what lists the notifications so far: (kind, role, name)."""
        path = os.path.join(self.session.root, "notifications")
        with open(path, "wb") as output:
            listener = subprocess.Popen(["/usr/bin/python3", os.path.join(harness.HERE, "screen_events.py")],
                                        env=self.session.env, stdin=subprocess.DEVNULL, stdout=output,
                                        stderr=self.session.log)
        self.addCleanup(harness.end_process, listener)

        def heard():
            with open(path, encoding="utf-8") as f:
                return [tuple(line.rstrip("\n").split("\t")) for line in f if line.endswith("\n")]
        harness.wait_until(heard, 20, "the listener")
        return heard

    def test_bars_of_segments_report_their_percents_and_nothing_else(self):
        """A bar is drawn several times in a second, and each report is a message on the bus."""
        self.open()
        heard = self.listen()
        self.slow(size=6000000)

        def of_bars():
            found = [(kind, role) for kind, role, name in heard()[1:] if name.startswith("Segment #") and role != "label"]
            return found if sum(kind != "accessible-name" for kind, _ in found) >= 10 else None
        found = harness.wait_until(of_bars, 20, "ten reports")
        self.assertEqual({role for _, role in found}, {"progress bar"})
        self.assertEqual({kind for kind, _ in found}, {"accessible-name", "accessible-value"})


class Windows(Base):
    def test_the_menu_of_finished_files_clears_nothing_from_empty_ground(self):
        self.open()
        url = self.serve("/done.bin")
        self.fetch(url)
        self.screen.click("table cell", "done.bin", MAIN)
        x, y = self.screen.wait("table cell", "done.bin", MAIN, "SELECTED").middle
        self.open_menu(lambda: self.x.click(x, y + 100, button=3))
        self.session.save_screenshot("popup-without-row")
        self.screen.keys("c")  # "Clear download", which applies to no row here
        time.sleep(1)
        self.assertIsNotNone(self.session.companion.find(url))
        while self.x.menus():
            self.screen.keys("Escape")
            time.sleep(0.2)
        self.open_menu(lambda: self.x.click(x, y, button=3))
        self.screen.keys("c")
        self.wait_state(url, None)

    def test_windows_expose_role_and_title_to_assistive_technology(self):
        self.open()
        self.slow("/slow.bin")
        window = self.session.window("slow.bin")

        def of(part):
            return [(role, name) for role, name in self.screen.windows() if part in name]
        self.assertEqual([role for role, _ in of("slow.bin")], ["frame"])
        self.x.minimise(window)
        harness.wait_until(lambda: self.x.property(window, "WM_STATE")[:1] == [3], 20, "the minimised window")
        time.sleep(1)
        self.assertEqual([role for role, _ in of("slow.bin")], ["frame"])
        self.assertNotIn("", [name for _, name in self.screen.windows()])
        self.assertNotIn("filler", [role for role, _ in self.screen.windows()])

    def test_name_with_a_direction_override_shows_its_real_extension(self):
        """Unchanged, the character before "gpj.exe" would make it read "exe.jpg"."""
        self.open()
        name = "holiday\u202egpj.exe"
        self.origin.serve_file("/" + name.encode().decode("latin-1"), 20000)
        url = self.origin.url("/" + name)
        self.session.menu_url(url)
        downloads = self.session.companion.downloads  # whose URL is printed without that character
        harness.wait_until(lambda: [each.finished for each in downloads()] == [True], 30, "the finished file")
        self.screen.wait("table cell", "holiday\ufffdgpj.exe", MAIN)
        self.assertTrue(self.session.window("holiday\ufffdgpj.exe"))
        self.assertTrue(os.path.exists(os.path.join(self.session.downloads, name)))

    def test_long_clipboard_url_is_shown_in_full(self):
        self.open(CheckClipboard="True")
        url = self.origin.url("/" + "/".join("folder%02d" % n for n in range(25)) + "/name.zip?key=" + "0123456789" * 8)
        self.copy(url.encode())
        label = self.screen.wait("label", url, QUESTION)
        button = self.screen.wait("push button", "Yes", QUESTION)
        self.assertGreaterEqual(label.height, 4 * 12)
        self.assertLessEqual(label.top + label.height, button.top)
        self.session.save_screenshot("question")
        self.screen.click("push button", "No", QUESTION)


MARKS = ((0x300, 0x36F), (0x483, 0x487), (0x591, 0x5BD), (0x64B, 0x652), (0x730, 0x74A), (0x7A6, 0x7B0), (0x7EB, 0x7F3))
LETTERS = "aZe\u00e9\u0430\u05d0\u0627\u0639\u0710\u0780\u07ca"


def hard_name(seed):
    """25,000 combining marks of several scripts on letters of several directions."""
    chosen = random.Random(seed)
    marks = [chr(c) for first, last in MARKS for c in range(first, last + 1)]
    if seed % 4 == 0:
        marks = [chosen.choice(marks)]
    runs = chosen.choice((1, 3, 400))
    name = ""
    for _ in range(runs):
        name += chosen.choice(LETTERS) + "".join(chosen.choice(marks) for _ in range(25000 // runs))
    return "n%02d%s.bin" % (seed, name)


class HardNames(Base):
    """Draws windows, titles, rows and tool tips with these names while calling the program over the bus."""

    def held_up(self):
        """Seconds that a call waited for the program: the processor time of its thread, at most the elapsed time."""
        def worked():
            with open("/proc/%d/task/%d/schedstat" % (self.session.process.pid, self.session.process.pid),
                      encoding="ascii") as f:
                return int(f.read().split()[0]) / 1e9
        before, began = worked(), time.monotonic()
        self.bus.call(*harness.PROGRAM_OBJECT, "LeechURL", "", "")
        return min(time.monotonic() - began, worked() - before)

    def watch(self, seconds):
        end = time.monotonic() + seconds
        while time.monotonic() < end:
            self.worst = max(self.worst, self.held_up())
            time.sleep(0.01)

    def test_forty_names_of_25000_marks_leave_the_program_answering(self):
        silent = socket.socket()
        self.addCleanup(silent.close)
        silent.bind(("127.0.0.1", 0))
        silent.listen(64)  # accepts connections but never replies
        self.open()
        self.bus = self.session.connect()
        self.addCleanup(self.bus.close)
        self.worst = 0.0
        self.watch(1)
        urls = ["http://127.0.0.1:%d/%s" % (silent.getsockname()[1], hard_name(number)) for number in range(40)]
        for url in urls:
            self.bus.call(*harness.PROGRAM_OBJECT, "MenuURL", url, "", "")
            self.watch(0.1)
        self.watch(2)
        main = self.session.window(MAIN)
        left, top, _, _ = self.x.place(main)
        self.x.activate(main)
        for step in range(20):
            self.x.move(left + 40 + 30 * step, top + 150 + 5 * step)
            self.watch(0.1)
        self.x.click(left + 100, top + 160)
        self.x.keys("End", "Home")
        self.watch(1.5)  # includes the delay of a tool tip
        self.session.save_screenshot("hard-names")
        print("      held up by %.0f ms at most" % (self.worst * 1000))
        self.assertLess(self.worst, 0.2)
        # Names are cut only when drawn.
        listed = {download.url for download in self.session.companion.downloads()}
        self.assertEqual(listed, set(urls))


if __name__ == "__main__":
    unittest.main()

"""The program on Wayland: with a mouse and a keyboard under sway, which draws the windows' frames, and under weston, where
the program draws them. No session may leave a warning in its log."""

import configparser
import itertools
import os
import re
import subprocess
import time
import unittest
import urllib.parse

import harness
import screen
import test_tray
import wayland
from case import Case

QUESTION = "Pellora Question ! Clipboard hook"
DIALOG = "Enter the URL of the file to download"
FIELD = DIALOG
BASKET = "Form4"
OPTIONS = "Pellora !   Options"
TOOLS = os.path.join(os.path.dirname(harness.PROGRAM), "tests/peer/tools")
# What the bus and the service of assistive technology write.
OTHERS = re.compile(r"dbus-daemon\[|SpiRegistry daemon ")


class Screen(screen.Screen):
    """A program on Wayland does not know where its windows are, so what it says is counted from each window's corner."""

    def __init__(self, session, desktop):
        super().__init__(session)
        self.desktop = desktop

    @property
    def x(self):
        return self.desktop.seat

    def point(self, role, name, window):
        """The middle of an element on the screen."""
        x, y = self.steady(role, name, window).middle
        left, top, _, _ = self.desktop.content(window)
        own = self.elements(window)[0]
        return left + x - own.left, top + y - own.top

    def click(self, role, name, window="", button=1, repeat=1):
        self.desktop.focus(window)
        self.x.click(*self.point(role, name, window), button, repeat)


class Weston:
    """Weston in a window of the stage's display, with a shell that lets every main window fill it. It takes no clicks or
    keys from the tests."""

    SIZE = 1000, 700

    def __init__(self, session):
        self.log = os.path.join(session.root, "weston.log")
        socket = "pellora-test"
        runtime = session.env["XDG_RUNTIME_DIR"]
        self.process = subprocess.Popen(
            ["setpriv", "--pdeathsig", "TERM", "weston", "--backend=x11-backend.so", "--use-pixman",
             "--shell=kiosk-shell.so", "--no-config", "--idle-time=0", "--width=%d" % self.SIZE[0],
             "--height=%d" % self.SIZE[1], "--socket=" + socket, "--log=" + self.log],
            env=dict(session.stage.env, XDG_RUNTIME_DIR=runtime), stdin=subprocess.DEVNULL, stdout=session.log,
            stderr=session.log)
        session.stage.processes.append(self.process)  # ended with the display at the latest, without which it would spin
        harness.wait_until(lambda: os.path.exists(os.path.join(runtime, socket)), 20, "the compositor")
        for name in ("DISPLAY", "QT_QPA_PLATFORM"):
            session.env.pop(name, None)
        session.env["WAYLAND_DISPLAY"] = socket
        self.x = session.stage.x
        self.window = harness.wait_until(self._find, 20, "the compositor's window")
        harness.wait_until(lambda: self.x.place(self.window)[2:] == self.SIZE, 20, "its size")

    def _find(self):
        with open(self.log, encoding="utf-8") as f:
            found = re.search(r"x11 output .* window id (\d+)", f.read())
        return found and int(found[1])

    def focus(self):
        harness.wait_until(lambda: self.x.activate(self.window), 20, "the compositor in front")

    def close(self):
        harness.end_process(self.process)


class OwnFrames(Case):
    settings = {"MaxSegments": 4}

    def pixels(self):
        """How many colours the compositor shows."""
        path = os.path.join(self.session.root, "wayland.png")
        left, top, width, height = self.x.place(self.compositor.window)
        self.compositor.focus()
        self.x.screenshot(path)
        return int(subprocess.run(["convert", path, "-crop", "%dx%d+%d+%d" % (width, height, left, top), "-format", "%k", "info:"],
                                  stdin=subprocess.DEVNULL, capture_output=True, text=True, check=True).stdout)

    def test_main_window_is_drawn_by_the_compositor(self):
        self.compositor = Weston(self.session)
        self.addCleanup(self.compositor.close)
        self.start_with_screen()
        self.session.save_screenshot("wayland")
        self.assertEqual(self.session.own_windows(), [])
        harness.wait_until(lambda: self.pixels() > 50, 20, "the window's colours")


class Wayland(Case):
    settings = {"MaxSegments": 4}

    def setUp(self):
        super().setUp()
        self.desktop = wayland.Desktop(self.session)
        self.addCleanup(self.desktop.close)

    @property
    def x(self):
        return self.desktop.seat

    def start(self):
        self.screen = Screen(self.session, self.desktop)
        self.addCleanup(self.screen.close)
        self.session.start()
        self.screen.wait("menu bar", "", harness.MAIN)
        self.desktop.wait(harness.MAIN)

    def stop(self):
        super().stop()
        lines = self.session.read_log().splitlines()
        self.assertEqual([line for line in lines if line and not OTHERS.match(line)], [])

    def helper(self, tool, title, *arguments, output=subprocess.PIPE):
        """Another program with a window of that title in a corner of the screen."""
        process = subprocess.Popen([os.path.join(TOOLS, tool), *arguments], env=self.session.env,
                                   stdin=subprocess.DEVNULL, stdout=output, stderr=subprocess.DEVNULL)
        if output == subprocess.PIPE:
            self.addCleanup(process.stdout.close)
        self.addCleanup(harness.end_process, process)
        self.desktop.put(title, 20, 20)
        return process

    def drag(self, source, start, end):
        """Drags until the source has had its drop taken."""
        for _ in range(5):
            self.drag_over(start, end)
            if source.stdout.readline().decode().strip() == "1":
                return
        self.fail("no drop was taken")

    # Clicks and keys.

    def open_dialog(self, act):
        """Retries `act`: a window that opens at the same moment takes the keyboard."""
        def try_again():
            self.desktop.focus(harness.MAIN)
            act()
        harness.act_until(lambda: self.desktop.has_focus(DIALOG), try_again, "the dialog")
        self.screen.wait("text", FIELD, DIALOG, "FOCUSED")

    def test_dialogs_answer_clicks_and_keys(self):
        self.start()
        for name in ("clicked", "typed"):
            url = self.serve("/%s.bin" % name)
            if name == "clicked":
                self.open_dialog(lambda: self.screen.click("push button", "Add URL", harness.MAIN))
            else:
                self.open_dialog(lambda: self.x.keys("alt+f", "a"))
            self.x.keys("ctrl+a")
            self.x.type(url)
            harness.wait_until(lambda: self.screen.wait("text", FIELD, DIALOG).text == url, 20, "the typed address")
            self.desktop.save_screenshot("wayland-add-" + name)
            if name == "clicked":
                self.screen.click("push button", "Download Now !", DIALOG)
            else:
                self.x.keys("Return")
            self.desktop.wait_gone(DIALOG)
            self.saved(url)
        self.stop()

    def test_menus_and_dialogs_are_worked_by_mouse_and_keys(self):
        self.start()
        url = self.serve("/popup.bin")
        self.fetch(url)
        self.screen.click("table cell", "popup.bin", harness.MAIN, button=3)
        harness.act_until(lambda: self.screen.find("table cell", "popup.bin", harness.MAIN) is None,
                          lambda: self.x.keys("c"), "the download to be cleared")  # by the menu's second entry
        self.screen.click("menu item", "Options", harness.MAIN)
        self.x.click(*self.screen.point("menu item", "Preferences", harness.MAIN))
        self.desktop.wait_focus(OPTIONS)
        self.desktop.save_screenshot("wayland-options")
        self.x.keys("Escape")
        self.desktop.wait_gone(OPTIONS)
        self.stop()

    # Drags and the clipboard.

    def test_a_link_is_dropped_on_the_basket_and_on_the_main_window(self):
        self.start()
        waiting, fetched = self.serve("/waiting.bin"), self.serve("/fetched.bin")
        self.desktop.put(harness.MAIN, 400, 300)
        self.desktop.focus(harness.MAIN)
        self.x.keys("alt+o", "b")
        self.desktop.put(BASKET, 300, 60)
        source = self.helper("drag_source", "drag source", waiting)
        self.drag(source, self.desktop.middle("drag source"), self.desktop.middle(BASKET))
        self.wait_state(waiting, "waiting")
        harness.end_process(source)
        self.desktop.wait_gone("drag source")
        source = self.helper("drag_source", "drag source", fetched)
        self.drag(source, self.desktop.middle("drag source"), self.desktop.middle(harness.MAIN))
        self.saved(fetched)
        self.assertEqual(self.state(waiting), "waiting")
        self.stop()

    def test_the_basket_is_moved_and_has_its_menu(self):
        self.start()
        self.desktop.focus(harness.MAIN)
        self.x.keys("alt+o", "b")
        self.desktop.put(BASKET, 300, 60)
        before = self.desktop.content(BASKET)
        self.drag_over(self.desktop.middle(BASKET), (700, 100))
        harness.wait_until(lambda: self.desktop.content(BASKET) != before, 20, "the move")
        self.assertEqual(self.desktop.content(BASKET)[2:], before[2:])
        self.slow()
        harness.wait_until(lambda: len(self.desktop.windows()) == 3, 20, "a window that is newer than the basket")
        left, top = self.desktop.middle(BASKET)
        rows = itertools.cycle((80, 72, 88))  # about the last entry but one, which closes the basket

        def choose():
            self.x.click(left, top, button=3)
            time.sleep(0.5)  # no one can see whether a menu is open
            self.x.click(left + 40, top + next(rows))
        harness.act_until(lambda: not self.desktop.find(BASKET), choose, "the basket to be closed", each=2)
        self.stop()

    def test_a_finished_file_is_dragged_into_another_program(self):
        self.start()
        saved = self.fetch(self.serve("/drag-me.bin")).saved_path
        self.desktop.put(harness.MAIN, 400, 300)
        target = self.helper("drop_target", "drop target")
        self.desktop.focus(harness.MAIN)
        self.drag_over(self.screen.point("table cell", "drag-me.bin", harness.MAIN), self.desktop.middle("drop target"))
        link = target.stdout.readline().decode().strip()
        self.assertEqual(urllib.parse.unquote(link), "file://" + saved)
        self.assertEqual(target.stdout.readline().decode().strip(), "1")
        self.stop()

    def test_text_is_copied_from_and_to_other_programs(self):
        self.session.write_settings(self.session.settings_file, {"CheckClipboard": "True", "MaxSegments": "4"})
        self.start()
        url = self.serve("/copied.zip")
        owner = subprocess.Popen(["wl-copy", "--foreground", url], env=self.session.env, stdin=subprocess.DEVNULL,
                                 stdout=self.session.log, stderr=self.session.log)
        self.addCleanup(harness.end_process, owner)
        self.screen.wait("label", url, QUESTION)
        self.desktop.save_screenshot("wayland-question")
        self.screen.click("push button", "No", QUESTION)
        self.desktop.wait_gone(QUESTION)
        self.open_dialog(lambda: self.x.keys("alt+f", "a"))
        self.x.keys("ctrl+a", "ctrl+v")
        harness.wait_until(lambda: self.screen.wait("text", FIELD, DIALOG).text == url, 20, "the pasted address")
        self.x.keys("ctrl+a")
        self.x.type("http://127.0.0.1:1/typed")
        self.x.keys("ctrl+a", "ctrl+c")
        self.assertEqual(owner.wait(20), 0)  # another program's text has replaced its own
        pasted = subprocess.run(["wl-paste", "--no-newline"], env=self.session.env, stdin=subprocess.DEVNULL,
                                capture_output=True, text=True, timeout=20, check=True)
        self.assertEqual(pasted.stdout, "http://127.0.0.1:1/typed")
        self.stop()

    # The tray.

    def start_with_host(self):
        self.host = test_tray.Host(self.session.env["DBUS_SESSION_BUS_ADDRESS"])
        self.addCleanup(self.host.close)
        self.start()
        self.host.wait_item()

    def close_main_window(self):
        self.desktop.command("[con_id=%d] kill" % self.desktop.wait(harness.MAIN)["id"])
        self.desktop.wait_gone(harness.MAIN)

    def test_tray_is_a_status_notifier_whose_menu_works(self):
        self.start_with_host()
        self.assertEqual(self.host.captions(), test_tray.ENGLISH)
        self.close_main_window()
        self.host.choose("&Open Pellora!")
        self.desktop.wait_focus(harness.MAIN)
        self.host.choose("&Exit")
        self.assertEqual(self.session.process.wait(20), 0)

    def test_the_tray_icon_opens_the_window_at_one_activation(self):
        self.start_with_host()
        self.close_main_window()
        self.host.ask("SecondaryActivate")
        self.host.ask("ContextMenu")
        self.desktop.wait("Pellora")  # a window, as nothing of the program's is there to open it at
        harness.act_until(lambda: not self.desktop.find("Pellora"), lambda: self.x.keys("Escape"), "the end of the menu")
        self.assertIsNone(self.desktop.find(harness.MAIN))
        self.host.activate()
        self.desktop.wait_focus(harness.MAIN)
        self.stop()

    # Activation.

    def cover(self):
        """Another program's window, which has the keyboard."""
        self.helper("drag_source", "drag source", output=subprocess.DEVNULL)
        self.desktop.focus("drag source")

    def with_token(self):
        return {**self.session.env, "XDG_ACTIVATION_TOKEN": self.x.activation_token()}

    def test_the_companion_hands_the_token_of_the_users_action_to_the_program(self):
        self.start()
        self.cover()
        opened = subprocess.run([self.session.companion.path, "open"], env=self.with_token(), stdin=subprocess.DEVNULL,
                                capture_output=True, timeout=20, check=False)
        self.assertEqual(opened.returncode, 0, opened.stderr)
        self.desktop.wait_focus(harness.MAIN)
        self.stop()

    def test_a_second_start_says_so_and_raises_the_window_of_the_first(self):
        self.start()
        self.cover()
        second = subprocess.Popen([os.path.join(self.session.program, "Pellora")], env=self.with_token(),
                                  stdin=subprocess.DEVNULL, stdout=self.session.log, stderr=self.session.log)
        self.addCleanup(harness.end_process, second)
        box = harness.wait_until(lambda: [w for w in self.desktop.windows() if w["pid"] == second.pid], 20, "its message")
        self.desktop.command("[con_id=%d] focus" % box[0]["id"])
        self.x.keys("Return")
        self.assertEqual(second.wait(20), 0)
        self.desktop.wait_focus(harness.MAIN)
        self.stop()

    def test_a_second_start_hands_its_address_to_the_first(self):
        self.start()
        self.session.arguments = [self.serve("/second.bin")]
        second = self.session.launch()
        self.addCleanup(harness.end_process, second)
        self.assertEqual(second.wait(20), 0)
        self.saved(self.session.arguments[0])
        self.stop()

    def test_a_token_of_any_length_is_no_obstacle_to_the_start(self):
        self.session.env["XDG_ACTIVATION_TOKEN"] = "x" * 100000
        self.start()
        self.stop()

    # Screens.

    def test_windows_outlive_the_screen_they_are_on_and_downloads_all_screens(self):
        self.assertTrue(self.desktop.command("create_output"))
        self.start()
        slow = self.slow(size=6000000)
        harness.wait_until(lambda: len(self.desktop.windows()) == 2, 20, "the transfer's window")

        def open_options():
            self.desktop.focus(harness.MAIN)
            self.x.keys("Escape", "alt+o", "p")
        harness.act_until(lambda: self.desktop.has_focus(OPTIONS), open_options, "the options")
        windows = self.desktop.windows()
        self.assertEqual(len(windows), 3)
        for window in windows:
            self.desktop.command("[con_id=%d] move to output HEADLESS-2" % window["id"])
        for output, state in (("HEADLESS-2", "disable"), ("HEADLESS-1", "scale 2.75"), ("HEADLESS-1", "scale 1"),
                              ("HEADLESS-1", "disable")):
            self.desktop.command("output %s %s" % (output, state))
            self.session.companion.run("list")
        before = self.received(slow)
        harness.wait_until(lambda: self.received(slow) > before, 20, "more bytes without a screen")
        self.fetch(self.serve("/unseen.bin"))
        self.desktop.command("output HEADLESS-1 enable")
        harness.wait_until(lambda: len(self.desktop.windows()) == 4, 20, "the windows")
        self.desktop.focus(OPTIONS)
        self.x.keys("Escape")
        self.desktop.wait_gone(OPTIONS)
        self.stop()

    def test_the_list_outlives_the_compositor(self):
        self.start()
        url = self.serve("/kept.bin")
        self.session.companion.run("add", "--later", url)
        time.sleep(1)  # within which the list is saved
        harness.end_process(self.desktop.process)
        self.assertEqual(self.session.process.wait(20), 1)
        self.desktop = wayland.Desktop(self.session)
        self.addCleanup(self.desktop.close)
        self.session.start()
        self.assertEqual(self.state(url), "waiting")
        self.assertEqual(self.session.stop(), 0)

    # What is remembered.

    def remembered(self):
        state = configparser.ConfigParser()
        state.read(os.path.join(self.session.home, ".local/state/pellora/Windows.ini"))
        return dict(state["Options"]) if state.has_section("Options") else {}

    def test_sizes_survive_a_restart_and_positions_of_an_x_display_are_kept(self):
        folder = os.path.join(self.session.home, ".local/state/pellora")
        os.makedirs(folder)
        self.session.write_settings(os.path.join(folder, "Windows.ini"), {"MainWindow.place": '"120,100,810,620"'})
        self.start()
        self.assertEqual(self.desktop.content(harness.MAIN)[2:], (810, 620))
        window = self.desktop.wait(harness.MAIN)["id"]

        def resize():
            self.desktop.command("[con_id=%d] resize set 900 700" % window)
            self.desktop.command("[con_id=%d] resize set 880 680" % window)
        inside = "120,100,%d,%d"

        def kept():
            place = self.remembered().get("mainwindow.place", "").strip('"')
            return place != "120,100,810,620" and place == inside % self.desktop.content(harness.MAIN)[2:]
        harness.act_until(kept, resize, "the new size to be remembered")
        size = self.desktop.content(harness.MAIN)[2:]
        self.stop()
        self.screen.close()
        self.start()
        self.assertEqual(self.desktop.content(harness.MAIN)[2:], size)
        self.stop()


if __name__ == "__main__":
    unittest.main()

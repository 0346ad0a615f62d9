"""The program on Wayland. The compositor's window is on the virtual display. It takes no clicks or keys from the tests:
what they would do is tested on X."""

import os
import re
import subprocess
import unittest

import harness
import screen
import test_tray
from case import Case

QUESTION = "Pellora Question ! Clipboard hook"


class Compositor:
    """Weston in a window of the stage's display, with a shell that lets every main window fill it."""

    SIZE = 1000, 700

    def __init__(self, session):
        self.log = os.path.join(session.root, "weston.log")
        socket = "pellora-test"
        runtime = session.env["XDG_RUNTIME_DIR"]
        self.process = subprocess.Popen(
            ["weston", "--backend=x11-backend.so", "--use-pixman", "--shell=kiosk-shell.so", "--no-config",
             "--idle-time=0", "--width=%d" % self.SIZE[0], "--height=%d" % self.SIZE[1], "--socket=" + socket,
             "--log=" + self.log],
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


class Wayland(Case):
    settings = {"MaxSegments": 4}

    def start(self):
        self.compositor = Compositor(self.session)
        self.addCleanup(self.compositor.close)
        self.screen = screen.Screen(self.session)
        self.addCleanup(self.screen.close)
        self.session.start()
        self.screen.wait("menu bar", "", harness.MAIN)

    def pixels(self):
        """How many colours the compositor shows."""
        path = os.path.join(self.session.root, "wayland.png")
        left, top, width, height = self.x.place(self.compositor.window)
        self.compositor.focus()
        self.x.screenshot(path)
        return int(subprocess.run(["convert", path, "-crop", "%dx%d+%d+%d" % (width, height, left, top), "-format", "%k", "info:"],
                                  stdin=subprocess.DEVNULL, capture_output=True, text=True, check=True).stdout)

    def test_main_window_is_drawn_by_the_compositor(self):
        self.start()
        self.session.save_screenshot("wayland")
        self.assertEqual(self.session.own_windows(), [])
        harness.wait_until(lambda: self.pixels() > 50, 20, "the window's colours")

    def test_copied_address_is_asked_about(self):
        self.session.write_settings(self.session.settings_file, {"CheckClipboard": "True", "MaxSegments": "4"})
        self.start()
        url = self.serve("/copied.zip")
        owner = subprocess.Popen(["wl-copy", "--foreground", url], env=self.session.env, stdin=subprocess.DEVNULL,
                                 stdout=self.session.log, stderr=self.session.log)
        self.addCleanup(harness.end_process, owner)
        self.screen.wait("label", url, QUESTION)
        self.session.save_screenshot("wayland-question")

    def test_tray_is_a_status_notifier_whose_menu_works(self):
        host = test_tray.Host(self.session.env["DBUS_SESSION_BUS_ADDRESS"])
        self.addCleanup(host.close)
        self.start()
        self.assertEqual(host.captions(), test_tray.ENGLISH)
        host.choose("&Exit")
        self.assertEqual(self.session.process.wait(20), 0)

    def test_second_start_and_companion_reach_the_first(self):
        self.start()
        url = self.serve("/slow.bin", 60000000, rate=50000)
        self.begin(url)
        self.assertEqual(self.session.companion.run("open", url).returncode, 0)
        harness.wait_until(lambda: any("slow.bin" in name for _, name in self.screen.windows()), 20, "its window")
        self.session.arguments = [self.serve("/second.bin")]
        second = self.session.launch()
        self.addCleanup(harness.end_process, second)
        self.assertEqual(second.wait(20), 0)
        self.saved(self.session.arguments[0])


if __name__ == "__main__":
    unittest.main()

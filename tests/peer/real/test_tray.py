"""The notification icon: as a status notifier item, with the test's own watcher and host, and on an X tray."""

import re
import subprocess
import time
import unittest

import harness
import origin
import wirebus

WATCHER = "org.kde.StatusNotifierWatcher"
ITEM = "org.kde.StatusNotifierItem"
MENU = "com.canonical.dbusmenu"
DESCRIPTION = """<node><interface name="%s">
<method name="RegisterStatusNotifierItem"><arg name="service" type="s" direction="in"/></method>
<property name="IsStatusNotifierHostRegistered" type="b" access="read"/>
<property name="ProtocolVersion" type="i" access="read"/>
<property name="RegisteredStatusNotifierItems" type="as" access="read"/>
</interface></node>""" % WATCHER
ENGLISH = ["&Open Pellora!", "&Pause all downloads", "&Resume all downloads", None, "&Exit"]


class Host(wirebus.WireBus):
    """A desktop's watcher and its only host."""

    def __init__(self, address):
        super().__init__(address)
        self.items = []
        known = {"IsStatusNotifierHostRegistered": ("b", True), "ProtocolVersion": ("i", 0),
                 "RegisteredStatusNotifierItems": ("as", [])}

        def register(sender, arguments):
            self.items.append((sender, arguments[0]))
            return "", []

        self.methods = {
            (WATCHER, "RegisterStatusNotifierItem"): register,
            ("org.freedesktop.DBus.Introspectable", "Introspect"): lambda _s, _a: ("s", [DESCRIPTION]),
            (wirebus.PROPERTIES, "Get"): lambda _s, a: ("v", [wirebus.Variant(*known[a[1]])]),
            (wirebus.PROPERTIES, "GetAll"): lambda _s, _a: (
                "a{sv}", [{name: wirebus.Variant(*value) for name, value in known.items()}]),
        }
        self.listen("interface='%s'" % ITEM)
        self.listen("interface='%s'" % MENU)

    def appear(self):
        self.take_name(WATCHER)

    def wait_item(self, timeout=20):
        return harness.wait_until(lambda: self.items, timeout, "the item")[0][0]

    def item(self):
        return self.properties(self.wait_item(), "/StatusNotifierItem", ITEM)

    def activate(self):
        self.call(self.wait_item(), "/StatusNotifierItem", ITEM, "Activate", "ii", 5, 5)

    def picture(self):
        """The largest pixmap of the item: (width, height, pixels)."""
        return max(self.item()["IconPixmap"])

    def layout(self):
        """(number, properties) of each visible entry."""
        _revision, (_id, _properties, children) = self.call(
            self.wait_item(), "/MenuBar", MENU, "GetLayout", "iias", 0, -1, [])
        return [(number, properties) for number, properties, _ in children if properties.get("visible", True)]

    def captions(self):
        return [None if p.get("type") == "separator" else p["label"].replace("_", "&") for _, p in self.layout()]

    def choose(self, caption):
        for (number, _), found in zip(self.layout(), self.captions()):
            if found == caption:
                self.call(self.wait_item(), "/MenuBar", MENU, "Event", "isvu", number, "clicked",
                          wirebus.Variant("s", ""), 0)
                return
        raise AssertionError("no entry " + caption)


class Tray(unittest.TestCase):
    settings = {}

    def setUp(self):
        self.origin = origin.Origin()
        self.addCleanup(self.origin.close)
        self.session = harness.Session("tray", MaxSegments=4, **self.settings)
        self.addCleanup(self.session.close)

    def start_with_host(self):
        self.host = Host(self.session.env["DBUS_SESSION_BUS_ADDRESS"])
        self.addCleanup(self.host.close)
        self.host.appear()
        self.session.start()
        self.host.wait_item()

    def main_window(self):
        return [w for w, title, _ in self.session.own_windows() if title == "Pellora !"]

    def close_main_window(self):
        [window] = harness.wait_until(self.main_window, 10, "the main window")
        self.session.close_window(window)

    def open_window(self, act):
        """Retries `act`: on a busy machine two clicks may be too far apart for a double click, or a menu opens late."""
        for _ in range(4):
            act()
            try:
                return harness.wait_until(self.main_window, 5, "the main window", slowness=1)
            except TimeoutError:
                self.session.stage.x.keys("Escape")
        return self.fail("the main window did not appear")


class Item(Tray):
    def test_has_its_picture_tip_and_menu(self):
        self.start_with_host()
        tip = harness.wait_until(lambda: [t for t in [self.host.item()["ToolTip"][2]] if "Downloads" in t], 10, "a tip")[0]
        self.assertTrue(tip.startswith("Pellora! Downloads(0) Speed : 0 "), tip)
        self.assertLessEqual(len(tip), 64)
        width, height, pixels = self.host.picture()
        self.assertEqual((width, height, len(pixels)), (width, width, 4 * width * width))
        self.assertGreater(sum(pixels[0::4]), 255 * width * height // 2, "mostly opaque")
        self.assertEqual(self.host.captions(), ENGLISH)

    def test_shows_the_speed_by_other_pictures_and_returns_to_its_own(self):
        self.start_with_host()
        time.sleep(2)
        idle = harness.wait_until(lambda: self.host.item()["IconPixmap"], 5, "a picture")
        self.origin.serve_file("/slow.bin", 10000000, rate=300000)
        url = self.origin.url("/slow.bin")
        self.session.menu_url(url)
        seen = []

        def fast():
            pictures = self.host.item()["IconPixmap"]
            if pictures not in seen:
                seen.append(pictures)
            return pictures != idle and "Downloads(1)" in self.host.item()["ToolTip"][2]

        harness.wait_until(fast, 20, "a picture of speed")
        self.session.companion.wait_finished([url], 30)
        harness.wait_until(lambda: self.host.item()["IconPixmap"] == idle, 30, "the idle picture")
        self.assertIn("NewIcon", [member for member, _ in self.host.signals])

    def test_opens_the_window_on_double_click_only(self):
        self.start_with_host()
        self.close_main_window()
        self.host.activate()
        time.sleep(1)
        self.assertEqual(self.main_window(), [])

        def twice():
            self.host.activate()
            self.host.activate()
        self.open_window(twice)

    def test_menu_opens_the_window_pauses_and_resumes(self):
        self.start_with_host()
        self.close_main_window()
        self.host.choose(ENGLISH[0])
        harness.wait_until(self.main_window, 10, "the main window")
        self.origin.serve_file("/slow.bin", 6000000, rate=100000)
        url = self.origin.url("/slow.bin")
        self.session.menu_url(url)
        harness.wait_until(lambda: getattr(self.session.companion.find(url), "received", 0) > 0, 20, "the first bytes")
        self.host.choose(ENGLISH[1])
        harness.wait_until(lambda: self.session.companion.find(url).state == "paused", 10, "the pause")
        self.host.choose(ENGLISH[2])
        harness.wait_until(lambda: self.session.companion.find(url).state == "active", 10, "the resumption")

    def test_exit_asks_nothing_and_removes_the_item(self):
        self.start_with_host()
        self.origin.serve_file("/slow.bin", 6000000, rate=100000)
        url = self.origin.url("/slow.bin")
        self.session.menu_url(url)
        harness.wait_until(lambda: getattr(self.session.companion.find(url), "received", 0) > 0, 20, "the first bytes")
        self.host.choose(ENGLISH[4])
        self.assertEqual(self.session.process.wait(60), 0, self.session.read_log())

    def test_appears_on_a_desktop_that_starts_after_the_program(self):
        self.session.start()
        host = self.host = Host(self.session.env["DBUS_SESSION_BUS_ADDRESS"])
        self.addCleanup(host.close)
        host.appear()
        host.wait_item()
        self.assertEqual(host.captions(), ENGLISH)

    def test_appears_on_a_desktop_that_is_slow_to_start(self):
        self.session.start()
        time.sleep(5)
        host = self.host = Host(self.session.env["DBUS_SESSION_BUS_ADDRESS"])
        self.addCleanup(host.close)
        host.appear()
        host.wait_item()
        self.assertEqual(host.captions(), ENGLISH)

    def test_reappears_when_the_desktop_restarts(self):
        self.start_with_host()
        self.host.close()
        time.sleep(1)
        self.assertTrue(self.session.alive(), self.session.read_log())
        again = self.host = Host(self.session.env["DBUS_SESSION_BUS_ADDRESS"])
        self.addCleanup(again.close)
        again.appear()
        again.wait_item()
        self.assertEqual(again.captions(), ENGLISH)
        again.choose(ENGLISH[4])
        self.assertEqual(self.session.process.wait(60), 0, self.session.read_log())

    def test_exit_ends_the_program_even_during_a_message(self):
        self.start_with_host()
        self.session.menu_url("http://no-path.example")
        self.session.wait_dialog()
        self.host.choose(ENGLISH[4])
        self.assertEqual(self.session.process.wait(60), 0, self.session.read_log())


class German(Tray):
    settings = {"Language": "german"}

    def test_shows_its_menu_in_the_chosen_language(self):
        self.start_with_host()
        self.assertEqual(self.host.captions(), ["Pellora! ö&ffnen", "Alle Downloads &anhalten",
                                                "Alle Downloads fort&setzen", None, "&Beenden"])


class XTray(Tray):
    """A tray of the X display only, without items on the bus."""

    def start_tray(self):
        tray = subprocess.Popen(
            ["trayer", "--edge", "bottom", "--align", "right", "--width", "160", "--widthtype", "pixel", "--height", "24"],
            env=self.session.env, stdin=subprocess.DEVNULL, stdout=self.session.log, stderr=self.session.log)
        self.addCleanup(harness.end_process, tray)
        time.sleep(1)
        return tray

    def icon_place(self):
        """The middle of the docked icon on the screen, or None."""
        text = subprocess.run(["xwininfo", "-root", "-tree"], env=self.session.stage.env, stdin=subprocess.DEVNULL,
                              capture_output=True, timeout=20, check=False).stdout.decode()
        found = re.search(r'"Pellora": \("Pellora" "Pellora"\) +(\d\d)x\d\d\S+ +\+(\d+)\+(\d+)\n', text)
        if not found:
            return None
        size, x, y = map(int, found.groups())
        return x + size // 2, y + size // 2

    def wait_icon(self):
        """The same, once it no longer moves."""
        seen = []

        def steady():
            seen.append(self.icon_place())
            return seen[-1] if len(seen) > 3 and seen[-3:] == [seen[-1]] * 3 else None
        return harness.wait_until(steady, 20, "the icon in the tray")

    def try_menu(self, x, y):
        try:
            return self.open_menu(x, y)
        except TimeoutError:
            return None

    def open_menu(self, x, y):
        self.session.stage.x.click(x, y, button=3)
        return harness.wait_until(self.session.stage.x.menus, 5, "the menu of the icon", slowness=1)

    def test_shows_the_icon_opens_its_menu_and_the_window(self):
        self.start_tray()
        self.session.start()
        x, y = self.wait_icon()
        self.close_main_window()
        self.session.stage.x.click(x, y)
        time.sleep(1.5)
        self.assertEqual(self.main_window(), [])
        self.open_window(lambda: self.session.stage.x.click(x, y, times=2))
        self.close_main_window()

        def first_entry():
            self.open_menu(x, y)
            time.sleep(1)
            self.session.save_screenshot("tray-menu")
            self.session.stage.x.keys("Down", "Return")
        self.open_window(first_entry)

    def test_follows_a_tray_that_starts_late_ends_and_returns(self):
        self.session.start()
        time.sleep(5)
        for _ in range(2):
            tray = self.start_tray()
            harness.wait_until(self.icon_place, 15, "the icon in the tray")
            harness.end_process(tray)
            time.sleep(1)
            self.assertTrue(self.session.alive(), self.session.read_log())

    def test_opens_its_menu_even_during_a_message(self):
        tray = self.start_tray()
        self.session.start()
        harness.wait_until(self.icon_place, 15, "the icon in the tray")
        self.session.menu_url("http://no-path.example")
        self.session.dismiss(self.session.wait_dialog()[0])
        self.wait_icon()
        self.session.menu_url("http://no-path.example")
        self.session.wait_dialog()
        harness.end_process(tray)
        self.start_tray()  # the icon gets another window in it
        x, y = self.wait_icon()
        harness.wait_until(lambda: self.try_menu(x, y), 20, "the menu over the message")
        self.session.save_screenshot("tray-menu-over-message")
        self.session.stage.x.keys("Up", "Return")  # the last entry
        self.assertEqual(self.session.process.wait(60), 0, self.session.read_log())


if __name__ == "__main__":
    unittest.main()

"""The notification icon: as a status notifier item, with the test's own watcher and host, and on an X tray."""

import subprocess
import threading
import time
import unittest

import bus
import harness
from case import Case

WATCHER = "org.kde.StatusNotifierWatcher"
ITEM = "org.kde.StatusNotifierItem"
PROPERTIES = "org.freedesktop.DBus.Properties"
MENU = "com.canonical.dbusmenu"
DESCRIPTION = """<node><interface name="%s">
<method name="RegisterStatusNotifierItem"><arg name="service" type="s" direction="in"/></method>
<property name="IsStatusNotifierHostRegistered" type="b" access="read"/>
<property name="ProtocolVersion" type="i" access="read"/>
<property name="RegisteredStatusNotifierItems" type="as" access="read"/>
</interface></node>""" % WATCHER
ENGLISH = ["&Open Pellora!", "&Pause all downloads", "&Resume all downloads", None, "&Exit"]


class Host(bus.Peer):
    """A desktop's watcher and its only host."""

    def __init__(self, address):
        super().__init__(address)
        self.items = []
        known = {"IsStatusNotifierHostRegistered": ("b", True), "ProtocolVersion": ("i", 0),
                 "RegisteredStatusNotifierItems": ("as", [])}

        def register(sender, _arguments):
            self.items.append(sender)
            return "", ()

        self.signals = self.listen(ITEM)
        self.serve({
            (WATCHER, "RegisterStatusNotifierItem"): register,
            ("org.freedesktop.DBus.Introspectable", "Introspect"): lambda _s, _a: ("s", (DESCRIPTION,)),
            (PROPERTIES, "Get"): lambda _s, a: ("v", (known[a[1]],)),
            (PROPERTIES, "GetAll"): lambda _s, _a: ("a{sv}", (known,)),
        })
        self.take_name(WATCHER)

    def wait_item(self):
        return harness.wait_until(lambda: self.items, 20, "the item")[0]

    def item(self):
        """Its properties."""
        [found] = self.call(self.wait_item(), "/StatusNotifierItem", PROPERTIES, "GetAll", ITEM)
        return {name: value for name, (_, value) in found.items()}

    def ask(self, method):
        self.call(self.wait_item(), "/StatusNotifierItem", ITEM, method, 5, 5, signature="ii")

    def activate(self):
        self.ask("Activate")

    def entries(self):
        """(caption, number) of each visible entry of the menu; a separator's caption is None."""
        _, (_, _, children) = self.call(self.wait_item(), "/MenuBar", MENU, "GetLayout", 0, -1, [], signature="iias")
        found = []
        for _, (number, properties, _) in children:
            values = {name: value for name, (_, value) in properties.items()}
            if values.get("visible", True):
                caption = None if values.get("type") == "separator" else values["label"].replace("_", "&")
                found.append((caption, number))
        return found

    def captions(self):
        return [caption for caption, _ in self.entries()]

    def choose(self, caption):
        self.call(self.wait_item(), "/MenuBar", MENU, "Event", dict(self.entries())[caption], "clicked", ("s", ""), 0,
                  signature="isvu")


class Tray(Case):
    settings = {"MaxSegments": 4}

    def start_host(self):
        self.host = Host(self.session.env["DBUS_SESSION_BUS_ADDRESS"])
        self.addCleanup(self.host.close)

    def start_with_host(self):
        self.start_host()
        self.session.start()
        self.host.wait_item()

    def main_window(self):
        return self.session.titled(harness.MAIN)

    def close_main_window(self):
        self.session.close_window(self.session.window(harness.MAIN))

    def open_window(self, act):
        """Retries `act`: on a busy machine two clicks may be too far apart for a double click, or a menu opens late."""
        def try_again():
            if self.x.menus():
                self.x.keys("Escape")
            act()
        harness.act_until(self.main_window, try_again, "the main window")


class HungHost(Host):
    """Its watcher answers the first call, and none after that."""

    def serve(self, methods):
        self.asked = []
        self.closed = threading.Event()

        def once(method):
            def answer(sender, arguments):
                self.asked.append(method)
                if len(self.asked) > 1:
                    self.closed.wait(90)
                return method(sender, arguments)
            return answer

        super().serve({name: once(method) for name, method in methods.items()})

    def close(self):
        self.closed.set()
        super().close()


class Item(Tray):
    def test_has_its_picture_tip_and_menu(self):
        self.start_with_host()
        tip = harness.wait_until(lambda: [t for t in [self.host.item()["ToolTip"][2]] if "Downloads" in t], 10, "a tip")[0]
        self.assertTrue(tip.startswith("Pellora! Downloads(0) Speed : 0 "), tip)
        self.assertLessEqual(len(tip), 64)
        width, height, pixels = max(self.host.item()["IconPixmap"])
        self.assertEqual((width, height, len(pixels)), (width, width, 4 * width * width))
        self.assertGreater(sum(pixels[0::4]), 255 * width * height // 2, "mostly opaque")
        self.assertEqual(self.host.captions(), ENGLISH)

    def test_watcher_that_hangs_after_its_first_answer_does_not_hold_the_program_up(self):
        self.host = HungHost(self.session.env["DBUS_SESSION_BUS_ADDRESS"])
        self.addCleanup(self.host.close)
        self.session.start()
        harness.wait_until(lambda: self.host.asked, 20, "the first call")
        time.sleep(1)
        began = time.monotonic()
        self.assertEqual(self.session.companion.downloads(), [])
        self.assertLess(time.monotonic() - began, 10)
        self.assertEqual(len(self.host.items), 0)

    def test_shows_the_speed_by_other_pictures_and_returns_to_its_own(self):
        self.start_with_host()
        time.sleep(2)
        idle = harness.wait_until(lambda: self.host.item()["IconPixmap"], 5, "a picture")
        url = self.slow(size=10000000, rate=300000)
        seen = []

        def fast():
            pictures = self.host.item()["IconPixmap"]
            if pictures not in seen:
                seen.append(pictures)
            return pictures != idle and "Downloads(1)" in self.host.item()["ToolTip"][2]

        harness.wait_until(fast, 20, "a picture of speed")
        self.saved(url)
        harness.wait_until(lambda: self.host.item()["IconPixmap"] == idle, 30, "the idle picture")
        self.assertIn("NewIcon", [signal.header.fields[bus.MEMBER] for signal in self.host.signals.queue])

    def test_opens_the_window_when_the_desktop_activates_it(self):
        self.start_with_host()
        self.close_main_window()
        self.host.activate()
        harness.wait_until(self.main_window, 20, "the main window")
        self.close_main_window()
        self.host.activate()
        self.host.activate()  # by a desktop that reports both clicks of a double click
        harness.wait_until(self.main_window, 20, "the main window")
        time.sleep(1)
        self.assertEqual(len(self.main_window()), 1)

    def test_opens_its_menu_when_the_desktop_asks_and_ignores_the_middle_button(self):
        self.start_with_host()
        self.close_main_window()
        self.host.ask("SecondaryActivate")
        time.sleep(1)
        self.assertEqual((self.x.menus(), self.main_window()), ([], []))
        self.host.ask("ContextMenu")
        harness.wait_until(self.x.menus, 20, "the menu")
        self.x.keys("Escape")
        harness.wait_until(lambda: not self.x.menus(), 20, "the end of the menu")
        self.assertEqual(self.main_window(), [])

    def test_menu_opens_the_window_pauses_and_resumes(self):
        self.start_with_host()
        self.close_main_window()
        self.host.choose(ENGLISH[0])
        harness.wait_until(self.main_window, 10, "the main window")
        url = self.slow()
        self.host.choose(ENGLISH[1])
        self.wait_state(url, "paused")
        self.host.choose(ENGLISH[2])
        self.wait_state(url, "active")

    def test_exit_asks_nothing_and_removes_the_item(self):
        self.start_with_host()
        self.slow()
        self.host.choose(ENGLISH[4])
        self.assertEqual(self.session.process.wait(60), 0, self.session.read_log())

    def test_appears_on_a_desktop_that_starts_after_the_program(self):
        self.session.start()
        self.start_host()
        self.assertEqual(self.host.captions(), ENGLISH)

    def test_appears_on_a_desktop_that_is_slow_to_start(self):
        self.session.start()
        time.sleep(5)
        self.start_host()
        self.assertEqual(self.host.captions(), ENGLISH)

    def test_reappears_when_the_desktop_restarts(self):
        self.start_with_host()
        self.host.close()
        time.sleep(1)
        self.assertTrue(self.session.alive(), self.session.read_log())
        self.start_host()
        self.assertEqual(self.host.captions(), ENGLISH)
        self.host.choose(ENGLISH[4])
        self.assertEqual(self.session.process.wait(60), 0, self.session.read_log())

    def test_exit_ends_the_program_even_during_a_message(self):
        self.start_with_host()
        self.session.menu_url("http://no-path.example")
        self.session.wait_dialog()
        self.host.choose(ENGLISH[4])
        self.assertEqual(self.session.process.wait(60), 0, self.session.read_log())


class German(Tray):
    settings = {"MaxSegments": 4, "Language": "german"}

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
        for window in self.x.tree():
            if self.x.property(window, "_NET_WM_NAME") == b"Pellora":
                x, y, width, height = self.x.place(window)
                if 10 <= width < 100:  # further windows of this name are not shown
                    return x + width // 2, y + height // 2
        return None

    def wait_icon(self):
        """The same, once it no longer moves."""
        return harness.wait_steady(self.icon_place, "the icon in the tray", times=4)

    def test_shows_the_icon_opens_its_menu_and_the_window(self):
        self.start_tray()
        self.session.start()
        x, y = self.wait_icon()
        self.close_main_window()
        self.x.click(x, y)
        time.sleep(1.5)
        self.assertEqual(self.main_window(), [])
        self.open_window(lambda: self.x.click(x, y, times=2))
        self.close_main_window()

        def first_entry():
            self.open_menu(lambda: self.x.click(x, y, button=3))
            time.sleep(1)
            self.session.save_screenshot("tray-menu")
            self.x.keys("Down", "Return")
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
        self.open_menu(lambda: self.x.click(x, y, button=3))
        self.session.save_screenshot("tray-menu-over-message")
        self.x.keys("Up", "Return")  # the last entry
        self.assertEqual(self.session.process.wait(60), 0, self.session.read_log())


if __name__ == "__main__":
    unittest.main()

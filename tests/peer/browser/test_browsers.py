"""The extension in real browsers: the menu entry on a link and on an image, and addresses that are refused."""

import os
import time
import unittest

import harness
from browsercase import IMAGE, LINK, TITLE, WithChromium, WithFirefox


class InChromium(WithChromium):
    def choose(self, picture):
        """Chooses the entry in the real menu: the last but one, above the developer tools' entry."""
        self.x.click(*self.point, button=3)
        time.sleep(1.5)
        self.session.save_screenshot(picture)
        self.x.keys("Up", "Up", "Return")

    def test_menu_on_a_link_hands_it_over(self):
        url = self.serve("/link.bin")
        page = self.add_page("/link", LINK % url)
        self.open(page)
        self.choose("chromium-link")
        self.check_taken(url, page)

    def test_menu_on_an_image_hands_it_over(self):
        url = self.serve("/picture.png")
        page = self.add_page("/image", IMAGE % url)
        self.open(page)
        self.choose("chromium-image")
        self.check_taken(url, page)

    def test_link_can_be_dragged_onto_the_basket(self):
        url = self.serve("/dragged.bin")
        self.session.choose("alt+o", "b")
        left, top, _, _ = harness.wait_steady(lambda: self.x.place(self.session.window("Form4")), "the basket")
        self.open(self.add_page("/link", LINK % url))
        self.x.move(200, 500)
        self.x.button(1, True)
        for x, y in [(-200 + 21 * step, 50 - 3 * step) for step in range(1, 11)] + [(15, 15), (16, 16)]:
            self.x.move(left + x, top + y)
            time.sleep(0.1)
        time.sleep(0.5)
        self.session.save_screenshot("chromium-drag")
        self.x.button(1, False)
        [download] = harness.wait_until(self.session.companion.downloads, 10, "the record")
        self.assertEqual((download.url, download.state), (url, "waiting"))

    def notification_for(self, url):
        """The notification shown when the address is passed on."""
        before = len(self.desktop.notes)
        self.assertIs(self.browser.evaluate(self.worker, "passOn(%r, 'http://127.0.0.1/')" % url), False, url)
        harness.wait_until(lambda: len(self.desktop.notes) > before, 10, "a notification")
        [note] = self.desktop.notes[before:]
        return note

    def test_other_urls_are_left_to_the_browser_with_one_message(self):
        for url in ("data:text/plain,x", "blob:http://127.0.0.1/1", ""):
            note = self.notification_for(url)
            self.assertIn("left to the browser.", note, url)
            self.assertEqual(note.count("."), 1, note)
        self.assertEqual(self.session.companion.downloads(), [])

    def test_menu_on_an_unsupported_url_shows_an_error(self):
        self.open(self.add_page("/secure", LINK % "https://127.0.0.1/a.bin"))
        self.choose("chromium-secure")
        harness.wait_until(lambda: self.desktop.notes, 10, "a notification")
        self.assertIn("no address that Pellora takes", self.desktop.notes[0])
        self.assertEqual(self.session.companion.downloads(), [])

    def test_extension_has_its_permissions_and_sees_no_site(self):
        granted = self.browser.evaluate(self.worker, "chrome.permissions.getAll()")
        self.assertEqual(sorted(granted["permissions"]), ["contextMenus", "nativeMessaging", "notifications"])
        self.assertEqual(granted.get("origins", []), [])

    def test_reports_an_unregistered_host(self):
        os.remove(os.path.join(self.profile, "NativeMessagingHosts/pelloraproject.pellora.json"))
        self.assertIn("cannot be reached", self.notification_for("http://127.0.0.1/a.bin"))


class InFirefox(WithFirefox):
    def choose(self, page):
        """Opens the real menu by the mouse and activates the real entry in it."""
        self.browser.call("WebDriver:Navigate", url=page)
        time.sleep(1)
        self.browser.right_click(200, 200)
        found = self.browser.in_chrome("""
            const [title, done] = arguments;
            const menu = document.getElementById("contentAreaContextMenu");
            const until = Date.now() + 10000;
            const look = () => {
              const item = [...menu.querySelectorAll("menuitem")].find((i) => i.label === title);
              if (menu.state === "open" && item) { const key = item.accessKey; menu.activateItem(item); done(key); }
              else if (Date.now() > until) done([menu.state, [...menu.children].filter((i) => !i.hidden).map((i) => i.label)]);
              else setTimeout(look, 100);
            };
            look();""", TITLE)
        self.assertEqual(found, "D", "the access key")

    def test_menu_on_a_link_hands_it_over(self):
        url = self.serve("/link.bin")
        page = self.add_page("/link", LINK % url)
        self.choose(page)
        self.check_taken(url, page)

    def test_menu_on_an_image_hands_it_over(self):
        url = self.serve("/picture.png")
        page = self.add_page("/image", IMAGE % url)
        self.choose(page)
        self.check_taken(url, page)


if __name__ == "__main__":
    unittest.main()

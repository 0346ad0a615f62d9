"""The button of the extension in real browsers: what its popup shows and does, and the number on it."""

import time
import unittest

import harness
from browsercase import WithChromium, WithFirefox


class Popup:
    """For either browser. `open_popup`, `in_popup`, `click_in_popup` and `badge` are those of the browser."""

    settings = {"BrowserIngeration": "True", "WebEngine": "2"}

    def names(self):
        return self.in_popup("[...document.querySelectorAll('.name')].map((name) => name.textContent)")

    def message(self):
        return self.in_popup("document.getElementById('message').textContent")

    def test_shows_what_runs_and_pauses_it(self):
        url = self.slow("/slow.bin", 3_000_000, 30_000)
        self.open_popup()
        harness.wait_until(lambda: self.names() == ["slow.bin"], 20, "the download")
        harness.wait_until(lambda: self.badge() == "1", 20, "the number on the button")
        figures = self.in_popup("document.querySelector('.figures').textContent")
        self.assertRegex(figures, r"^\d+ % . .* of 3 MB")
        self.session.save_screenshot(type(self).__name__ + "-popup")
        self.click_in_popup("li button")
        self.wait_state(url, "paused")
        harness.wait_until(lambda: self.badge() == "", 20, "no number on the button")
        self.click_in_popup("li button")
        self.wait_state(url, "active")

    def test_says_that_pellora_is_not_running_and_starts_it(self):
        self.stop()
        self.open_popup()
        harness.wait_until(lambda: self.message() == "Pellora is not running.", 20, "the message")
        self.assertFalse(self.session.name_taken())
        self.session.save_screenshot(type(self).__name__ + "-popup-absent")
        self.click_in_popup("#open")
        harness.wait_until(self.session.name_taken, 20, "the program")
        harness.wait_until(lambda: self.message() == "No downloads are under way.", 20, "the list")
        self.session.companion.run("quit")
        harness.wait_until(lambda: not self.session.name_taken(), 20, "its end")


class InChromium(Popup, WithChromium):
    def open_popup(self):
        """Opens the popup as a click on the button does: the button is in a menu of the browser's, out of reach."""
        self.open(self.add_page("/empty", ""))
        self.browser.evaluate(self.worker, "chrome.action.openPopup()")
        found = harness.wait_until(
            lambda: [t for t in self.browser.targets("page") + self.browser.targets("other") if "popup.html" in t["url"]],
            20, "the popup")
        self.popup = self.browser.attach(found[0])
        time.sleep(1)

    def in_popup(self, expression):
        return self.browser.evaluate(self.popup, expression)

    def click_in_popup(self, selector):
        self.page = self.popup
        x, y = self.in_popup("""(() => {
            const box = document.querySelector(%r).getBoundingClientRect();
            return [screenX + box.x + box.width / 2, screenY + box.y + box.height / 2];
        })()""" % selector)
        self.x.click(int(x), int(y))

    def badge(self):
        return self.browser.evaluate(self.worker, "chrome.action.getBadgeText({})")


class InFirefox(Popup, WithFirefox):
    def open_popup(self):
        """Presses the button. Marionette does not reach into the popup: what it does is seen of the same page in a tab."""
        popup = self.browser.press_button()
        self.assertEqual(popup, self.browser.url_of("popup.html"))
        self.browser.go(popup)

    def in_popup(self, expression):
        return self.browser.in_page(expression)

    def click_in_popup(self, selector):
        self.browser.click_on(selector)

    def badge(self):
        return self.browser.badge()


if __name__ == "__main__":
    unittest.main()

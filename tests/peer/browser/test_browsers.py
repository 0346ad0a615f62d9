"""The extension in real browsers: the menu entries on links, images and pages, and addresses that are refused."""

import os
import time
import unittest

import harness
from browsercase import IMAGE, LINK, TITLE, VIDEO, WithChromium, WithFirefox


class Lists:
    """All links of a page, for either browser. `choose_all`, `choose_selected`, `on_list` and `click_on_list` are those
    of the browser."""

    def make_links(self):
        """A page whose text fills it, with links in it."""
        self.urls = [self.serve("/one.bin"), self.serve("/two.zip"), self.serve("/three.zip")]
        links = "".join("<p><a href='%s'>%s</a></p>" % (url, os.path.basename(url)) for url in self.urls)
        return self.add_page("/links", "<div style='font-size:60px;padding:300px 0 900px'>%s<a href='mailto:a@b'>mail</a>"
                             "<a href='/page.html'>page</a></div>" % links)

    def rows(self):
        return self.on_list("[...document.querySelectorAll('tr')].filter((row) => !row.hidden)"
                            ".map((row) => [row.querySelector('.soft').textContent, row.querySelector('input').checked])")

    def states(self):
        return self.on_list("[...document.querySelectorAll('td:last-child')].map((cell) => cell.textContent)")

    def test_links_of_a_page_are_listed_and_handed_over_by_a_filter(self):
        page = self.make_links()
        self.choose_all(page)
        harness.wait_until(lambda: len(self.rows()) == 4, 20, "the links")
        self.assertEqual(self.rows(), [[url, True] for url in self.urls] + [[self.origin.url("/page.html"), False]])
        self.click_on_list("#filter")
        self.type_on_list("*.zip")
        harness.wait_until(lambda: [url for url, _ in self.rows()] == self.urls[1:], 10, "the filter")
        self.session.save_screenshot(type(self).__name__ + "-links")
        self.click_on_list("#download")
        harness.wait_until(lambda: self.states() == ["", "taken", "taken", ""], 30, "the answers")
        self.session.companion.wait_finished(self.urls[1:], 30)
        self.assertEqual(len(self.session.companion.downloads()), 2)
        self.assertEqual(self.session.dialogs(), [])


class InChromium(Lists, WithChromium):
    def on_list(self, expression):
        found = [each for each in self.browser.targets("page") if "/links.html" in each["url"]]
        if not found:
            return []
        self.page = self.browser.attach(found[0])
        return self.on_page(expression)

    def click_on_list(self, selector):
        self.click_on(selector)
        time.sleep(0.3)

    def type_on_list(self, text):
        self.x.type(text)

    def choose_all(self, page):
        self.open(page)
        self.choose("chromium-page", "Up", "Up", "Up", "Return")  # the page's source is another entry below

    def test_links_of_the_selection_are_listed(self):
        self.open(self.make_links())
        self.on_page("document.querySelectorAll('p')[1].append(' more words')")
        self.on_page("getSelection().selectAllChildren(document.querySelectorAll('p')[1])")
        self.choose_selected()
        harness.wait_until(lambda: self.rows() == [[self.urls[1], True]], 20, "the link")

    def test_links_are_read_though_the_page_learns_late_that_it_may_be(self):
        self.open(self.make_links())
        self.assertIs(self.browser.evaluate(self.worker, """
            self.tries = 0;
            chrome.scripting.executeScript = async ({args}) => {
                if (++self.tries < 3) throw new Error("Cannot access contents of the page.");
                return [{result: [{url: %r, words: args[0] ? "selected" : "all"}]}];
            };
            chrome.tabs.query({active: true}).then(([tab]) => listLinks({frameId: 0}, tab, true))""" % self.urls[0]), True)
        harness.wait_until(lambda: self.rows() == [[self.urls[0], True]], 20, "the link")
        self.assertEqual(self.desktop.notes, [])

    def choose_selected(self):
        """Right-clicks on the end of the selection, beside the link."""
        x, y = harness.wait_steady(lambda: self.on_page("""(() => {
            const boxes = [...getSelection().getRangeAt(0).getClientRects()];
            const box = boxes[boxes.length - 1];
            const edge = (outerWidth - innerWidth) / 2;
            return [screenX + edge + box.right - 20, screenY + outerHeight - innerHeight - edge + box.y + box.height / 2];
        })()"""), "the page, below a bar of the browser's that slides in")
        self.point = int(x), int(y)
        self.choose("chromium-selection")

    def test_menu_on_a_video_hands_it_over(self):
        url = self.serve("/film.webm")
        page = self.add_page("/video", VIDEO % url)
        self.open(page)
        self.choose("chromium-video")
        self.check_taken(url, page)

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

    def test_extension_has_its_permissions_and_sees_no_site(self):
        granted = self.browser.evaluate(self.worker, "chrome.permissions.getAll()")
        self.assertEqual(sorted(granted["permissions"]), ["activeTab", "alarms", "contextMenus", "nativeMessaging",
                                                          "notifications", "scripting", "storage", "webRequest"])
        self.assertEqual(granted.get("origins", []), [])

    def test_reports_an_unregistered_host(self):
        os.remove(os.path.join(self.profile, "NativeMessagingHosts/pelloraproject.pellora.json"))
        self.assertIn("cannot be reached", self.notification_for("http://127.0.0.1/a.bin"))


class WithoutWebEngine(WithChromium):
    settings = {"BrowserIngeration": "True", "WebEngine": "0"}

    def test_menu_on_an_unsupported_url_shows_an_error(self):
        self.open(self.add_page("/secure", LINK % "https://127.0.0.1/a.bin"))
        self.choose("chromium-secure")
        harness.wait_until(lambda: self.desktop.notes, 10, "a notification")
        self.assertIn("no address that Pellora takes", self.desktop.notes[0])
        self.assertEqual(self.session.companion.downloads(), [])


class InFirefox(Lists, WithFirefox):
    def on_list(self, expression):
        for handle in self.browser.call("WebDriver:GetWindowHandles"):
            self.browser.call("WebDriver:SwitchToWindow", handle=handle)
            if "/links.html" in self.browser.in_page("location.href"):
                return self.browser.in_page(expression)
        return []

    def click_on_list(self, selector):
        self.browser.click_on(selector)

    def type_on_list(self, text):
        self.browser.keys(*text)

    def choose_all(self, page):
        self.choose(page, "Download all links with Pellora...", "a", (500, 20))

    def choose(self, page, title=TITLE, key="D", point=(200, 200)):
        """Opens the real menu by the mouse and activates the real entry in it."""
        self.browser.call("WebDriver:Navigate", url=page)
        time.sleep(1)
        self.browser.right_click(*point)
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
            look();""", title)
        self.assertEqual(found, key, "the access key")

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

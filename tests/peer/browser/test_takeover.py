"""Taking over the downloads of real browsers: what Pellora gets, and what stays with the browser."""

import glob
import json
import os
import threading
import time
import unittest

import harness
import loginsite
import origin
from browsercase import WithChromium, WithFirefox


BACKSPACE, TAB = "\ue003", "\ue004"  # as WebDriver names them


class TakeOver:
    """For either browser. `switch_on`, `go`, `click_page` and `in_extension` are those of the browser."""

    settings = {"BrowserIngeration": "True", "WebEngine": "2"}

    def setUp(self):
        self.site = loginsite.Site()
        self.addCleanup(self.site.close)
        super().setUp()

    def browsers_files(self):
        return [path for path in glob.glob(os.path.join(self.session.home, "Downloads", "*"))]

    def log_in(self):
        self.go("/login")
        self.click_page()
        harness.wait_until(lambda: self.site.requests_for("/files"), 20, "the login")

    def finished(self, path):
        url = self.site.url(path)
        [download] = self.session.companion.wait_finished([url], 60)
        self.assertEqual(harness.digest(download.saved_path), origin.content_digest(loginsite.BIG))
        return download

    def stays(self, name, size=loginsite.BIG):
        """The browser has finished its own download, and Pellora has none."""
        path = os.path.join(self.session.home, "Downloads", name)
        harness.wait_until(lambda: os.path.exists(path) and os.path.getsize(path) == (size or 20_000_000), 30,
                           "the browser's file")
        if size:
            self.assertEqual(harness.digest(path), origin.content_digest(size))
        self.assertEqual(self.session.companion.downloads() if self.session.name_taken() else [], [])

    def test_download_behind_a_login_is_taken_over(self):
        self.switch_on()
        self.log_in()
        self.click_page()
        self.finished("/big.zip")
        requests = self.site.requests_for("/big.zip")
        agents = {headers["User-Agent"] for headers in self.site.requests_for("/login")}
        for headers in requests:
            self.assertEqual((headers["Cookie"], headers["Referer"]), (loginsite.COOKIE, self.site.url("/files")))
        self.assertEqual({headers["User-Agent"] for headers in requests}, agents)
        harness.wait_until(lambda: self.browsers_files() == [], 20, "the end of the browser's download")

    def test_form_that_posts_stays_with_the_browser(self):
        self.switch_on()
        self.go("/form")
        self.click_page()
        self.stays("report.zip")
        self.assertEqual(len(self.site.requests_for("/report")), 1)

    def click_through(self, page, name, size=loginsite.BIG):
        """Clicks the link that fills the page; the browser keeps the download."""
        self.go(page)
        self.click_page()
        self.stays(name, size)

    def test_small_files_and_those_that_cannot_resume_stay_with_the_browser(self):
        self.switch_on()
        self.click_through("/small", "small.zip", loginsite.SMALL)
        self.click_through("/plain", "whole.zip")
        self.click_through("/page-blob", "made.bin", None)
        for path in ("/small.zip", "/whole.zip"):
            self.assertEqual(len(self.site.requests_for(path)), 1, path)

    def test_browser_keeps_its_download_while_pellora_is_not_running(self):
        self.switch_on()
        self.stop()
        self.click_through("/free", "free.zip")
        self.assertFalse(self.session.name_taken())

    def test_refused_download_goes_on_in_the_browser(self):
        self.switch_on()
        self.site.refuses = lambda path: len(self.site.requests_for(path)) == 2  # Pellora's
        self.click_through("/free", "free.zip")
        self.assertGreater(len(self.site.requests_for("/free.zip")), 1)

    def begin_and_cancel(self, decide):
        """Clicks the link, and cancels the browser's download while Pellora waits for its answer. `decide` then says
        whether the server refuses it."""
        self.switch_on()
        asked, cancelled = threading.Event(), threading.Event()

        def refuses(path):
            if len(self.site.requests_for(path)) != 2:  # Pellora's
                return False
            asked.set()
            cancelled.wait(15)
            return decide
        self.site.refuses = refuses
        self.go("/free")
        self.click_page()
        self.assertTrue(asked.wait(20))
        time.sleep(1)
        self.in_extension("chrome.downloads.search({}).then((all) => chrome.downloads.cancel(all[0].id)), true")
        time.sleep(1)
        cancelled.set()

    def test_download_that_the_user_cancels_meanwhile_is_in_neither(self):
        self.begin_and_cancel(decide=False)
        harness.wait_until(lambda: len(self.site.requests_for("/free.zip")) > 1 and self.session.companion.downloads() == [],
                           20, "Pellora to drop it")
        time.sleep(5)
        self.assertEqual(self.session.companion.downloads(), [])
        self.assertEqual(self.browsers_files(), [])
        self.assertEqual(os.listdir(self.session.downloads), [])

    def test_nothing_is_taken_over_before_it_is_switched_on(self):
        self.click_through("/free", "free.zip")
        self.assertEqual(len(self.site.requests_for("/free.zip")), 1)


class InChromium(TakeOver, WithChromium):
    def go(self, path):
        self.open(self.site.url(path))

    def click_page(self):
        time.sleep(0.5)
        self.x.click(*self.point)

    def switch_on(self):
        self.open(self.page_of_extension("options.html"))
        harness.wait_until(lambda: not self.on_page("document.getElementById('takeOver').disabled"), 20, "the settings")
        self.click_on("#takeOver")
        time.sleep(1.5)
        self.session.save_screenshot("chromium-permission")
        self.x.keys("Tab", "Return")
        harness.wait_until(lambda: self.kept("takeOver"), 20, "the permission")
        self.click_on("#above")
        time.sleep(0.5)
        self.x.keys("ctrl+a")
        self.x.keys("1")
        self.x.keys("Tab")
        time.sleep(0.5)
        self.session.save_screenshot("chromium-options")
        harness.wait_until(lambda: self.kept("above") == 1, 20, "the size")

    def test_rules_keep_what_could_be_lost_with_the_browser(self):
        self.browser.evaluate(self.worker, """
            self.why = ({settings, item, record, back}) => whyKept(
                {takeOver: true, above: 1, types: "iso, .ZIP *.Deb", ...settings},
                {url: "https://o.example/a.bin", filename: "/home/u/a.bin", state: "in_progress", ...item},
                record === null ? undefined : {method: "GET", status: 200, size: 2000000, type: "a/b", encoded: false,
                                               resumable: true, login: false, ...record}, back === true); 0""")
        for changed, why in [
                ("{}", ""), ("{settings: {takeOver: false}}", "off"),
                ("{item: {url: 'blob:https://o.example/1'}}", "scheme"), ("{item: {url: 'data:,x'}}", "scheme"),
                ("{item: {finalUrl: 'blob:https://o.example/1'}}", "scheme"), ("{item: {url: 'ftp://o/a'}}", "scheme"),
                ("{item: {incognito: true}}", "private"), ("{item: {byExtensionId: 'abc'}}", "another extension's"),
                ("{item: {state: 'complete'}}", "over"), ("{back: true}", "given back"),
                ("{record: null}", "method"), ("{record: {method: 'not GET'}}", "method"),
                ("{record: {status: 206}}", "length"), ("{record: {size: -1}}", "length"),
                ("{record: {encoded: true}}", "length"), ("{record: {resumable: false}}", "cannot resume"),
                ("{record: {login: true}}", "login"), ("{record: {size: 1000000}}", "not wanted"),
                ("{record: {size: 1000001}}", ""), ("{settings: {above: null}}", "not wanted"),
                ("{record: {size: 5}, item: {filename: 'C.ISO'}}", ""), ("{record: {size: 5}, item: {filename: 'a.deb'}}", ""),
                ("{record: {size: 5}, item: {filename: 'iso'}}", "not wanted"),
                ("{record: {size: 5}, item: {filename: '', url: 'http://o/b.zip?x=1'}}", "")]:
            self.assertEqual(self.browser.evaluate(self.worker, "why(%s)" % changed), why, changed)

    def test_requests_are_read_as_they_were_sent(self):
        read = """JSON.stringify((({resumable, encoded, size, type, cookie, referrer, login, attached}) =>
            ({resumable, encoded, size, type, cookie, referrer, login, attached}))(recordOf(
            {method: "GET", requestHeaders: [{name: "cookie", value: "k=v"}, {name: "REFERER", value: "https://p/"}, %s]},
            {url: "https://o/a", statusCode: 200, timeStamp: 1, responseHeaders: [
                {name: "content-length", value: "7"}, {name: "Content-Type", value: "A/B; c=d"}, %s]})))"""
        for sent, got, expected in [
                ("", '{name: "ETag", value: \'"1"\'}, {name: "Accept-Ranges", value: "bytes"}', {"resumable": True}),
                ("", '{name: "ETag", value: \'W/"1"\'}, {name: "Accept-Ranges", value: "bytes"}', {}),
                ("", '{name: "Last-Modified", value: "x"}, {name: "Accept-Ranges", value: "none"}', {}),
                ("", '{name: "Content-Encoding", value: "gzip"}', {"encoded": True}),
                ("", '{name: "Content-Length", value: "7, 8"}', {"size": -1}),
                ("", '{name: "Content-Disposition", value: "Attachment; x"}', {"attached": True}),
                ('{name: "Authorization", value: "Basic x"}', "", {"login": True})]:
            usual = {"resumable": False, "encoded": False, "size": 7, "type": "a/b", "cookie": "k=v",
                     "referrer": "https://p/", "login": False, "attached": False}
            self.assertEqual(json.loads(self.browser.evaluate(self.worker, read % (sent, got))), {**usual, **expected})

    def test_lists_of_links_are_filtered_by_words_and_patterns(self):
        self.open(self.page_of_extension("links.html"))
        for filter_text, fits in [("", True), ("sources", True), ("THE zip", True), ("zip -sources", False),
                                  ("*.zip", True), ("*.ZIP -*.tar", True), ("s?urces*", True), ("*.zi", False), ("-", True),
                                  ("a.b", False), ("*(", False)]:
            self.assertIs(self.on_page("matches(%r, {url: 'https://o/d/Sources%%20all.zip?x=*.tar', words: 'The file'})" %
                                       filter_text), fits, filter_text)

    def in_extension(self, script):
        self.browser.evaluate(self.worker, script)

    def kept(self, option):
        return self.on_page("chrome.storage.local.get('%s').then((kept) => kept.%s)" % (option, option))


class InFirefox(TakeOver, WithFirefox):
    def go(self, path):
        self.browser.go(self.site.url(path))

    def click_page(self):
        time.sleep(0.5)
        self.browser.click(200, 200)

    def switch_on(self):
        options = self.browser.url_of("options.html")
        self.browser.go(options)
        harness.wait_until(lambda: not self.browser.in_page("document.getElementById('takeOver').disabled"), 20,
                           "the settings")
        self.browser.click_on("#takeOver")
        self.assertEqual(self.browser.allow(), "addon-webext-permissions-notification")
        harness.wait_until(lambda: not self.browser.in_page("document.getElementById('above').disabled"), 20,
                           "the permission")
        self.browser.click_on("#above")
        self.browser.keys(BACKSPACE, BACKSPACE, "1", TAB)

    def in_extension(self, script):
        self.browser.go(self.browser.url_of("options.html"))
        self.browser.in_page(script)

    def test_options_do_not_move_when_the_program_has_answered(self):
        self.browser.go(self.browser.url_of("options.html"))
        state = "document.getElementById('program').textContent"
        place = "document.getElementById('takeOver').getBoundingClientRect().y"
        harness.wait_until(lambda: self.browser.in_page(state), 20, "the state of the program")
        after = self.browser.in_page(place)
        self.assertEqual(self.browser.in_page("(%s = '', %s)" % (state, place)), after)

    def test_what_cannot_resume_begins_anew_with_its_page(self):
        self.switch_on()
        page = self.site.url("/free")
        self.in_extension("chrome.runtime.getBackgroundPage().then((script) => "
                          "script.giveBack(99999, {url: '%s', referrer: '%s'}, false)), true" %
                          (self.site.url("/free.zip"), page))
        self.stays("free.zip")
        self.assertEqual([headers.get("Referer") for headers in self.site.requests_for("/free.zip")], [page])

    def test_download_that_the_user_cancels_meanwhile_is_not_begun_again(self):
        self.begin_and_cancel(decide=True)
        harness.wait_until(lambda: self.session.companion.downloads() == [], 20, "Pellora to give it back")
        time.sleep(5)
        self.assertEqual(len(self.site.requests_for("/free.zip")), 2)
        self.assertEqual(self.browsers_files(), [])


if __name__ == "__main__":
    unittest.main()

"""What the tests with a real browser share: a session of the program with the extension in another browser process each."""

import os
import subprocess
import time

import bus
import harness
from case import Case
from chromium import Chromium
from firefox import Firefox

EXTENSION_ID = "chhbgchiealifpkmbgkhkpoeplppnaio"
TITLE = "Download with Pellora!"


PAGE = """HTTP/1.1 200 OK\r
Content-Type: text/html\r
Set-Cookie: taste=sweet; Path=/\r
Connection: close\r
\r
<!doctype html><title>page %s</title><body style='margin:0'>%s"""


class Notifications(bus.Peer):
    """Records the texts of desktop notifications."""

    def __init__(self, address):
        super().__init__(address)
        self.notes = []
        name = "org.freedesktop.Notifications"

        def notify(_sender, arguments):
            self.notes.append(arguments[4])
            return "u", (len(self.notes),)

        self.serve({
            (name, "GetCapabilities"): lambda _s, _a: ("as", (["body", "actions"],)),
            (name, "GetServerInformation"): lambda _s, _a: ("ssss", ("notes", "tests", "1", "1.2")),
            (name, "Notify"): notify,
            (name, "CloseNotification"): lambda _s, _a: ("", ()),
        })
        self.take_name(name)


LINK = "<a href='%s' style='position:fixed;inset:0;display:block'>link</a>"
VIDEO = "<video src='%s' style='position:fixed;inset:0;width:100%%;height:100%%' controls></video>"
IMAGE = "<img src='%s' style='position:fixed;inset:0;width:100%%;height:100%%'>"


class Browser(Case):
    settings = {"BrowserIngeration": "True"}

    def setUp(self):
        super().setUp()
        self.profile = os.path.join(self.session.env["XDG_CONFIG_HOME"], "chromium")
        os.makedirs(self.profile)
        # As Firefox does on a new machine: it looks for hosts in another folder.
        os.makedirs(os.path.join(self.session.env["XDG_CONFIG_HOME"], "mozilla/firefox"))
        self.session.start()
        self.extension = os.path.join(self.session.program, "browser")
        self.calls = open(os.path.join(self.session.root, "calls.log"), "w+b")
        self.addCleanup(self.calls.close)
        monitor = subprocess.Popen(["dbus-monitor", "--address", self.session.env["DBUS_SESSION_BUS_ADDRESS"],
                                    "interface='PelloraProject.Pellora'"], stdin=subprocess.DEVNULL, stdout=self.calls)
        self.addCleanup(harness.end_process, monitor)

    def add_page(self, path, content):
        """The URL of a page with this content."""
        self.origin.serve_bytes(path, (PAGE % (path, content)).encode())
        return self.origin.url(path)

    def check_taken(self, url, page):
        try:
            self.saved(url, 40)
        except TimeoutError:
            self.session.save_screenshot("not-taken")
            raise
        self.calls.seek(0)
        calls = self.calls.read().decode()
        for text in (url, page):
            self.assertIn('string "%s"' % text, calls)
        self.assertNotIn("taste", calls)


class WithChromium(Browser):
    def setUp(self):
        super().setUp()
        self.desktop = Notifications(self.session.env["DBUS_SESSION_BUS_ADDRESS"])
        self.addCleanup(self.desktop.close)
        self.browser = Chromium(self.session, self.extension, self.profile)
        self.addCleanup(self.browser.close)
        worker = harness.wait_until(
            lambda: [t for t in self.browser.targets("service_worker") if EXTENSION_ID in t["url"]], 30, "the extension")[0]
        self.worker = self.browser.attach(worker)
        harness.wait_until(lambda: self.browser.evaluate(self.worker, "typeof passOn") == "function", 20, "its script")

    def open(self, url):
        """Shows the page, with the mouse in its middle. It is then `page`."""
        self.page = self.browser.attach(self.browser.targets("page")[0])
        self.browser.call("Page.navigate", self.page, url=url)
        harness.wait_until(lambda: self.on_page("location.href != 'about:blank' && document.readyState") == "complete", 20,
                           "the page")
        [window] = harness.wait_until(
            lambda: [each[0] for each in self.x.all() if each[1].endswith("- Chromium")], 20, "the window")
        self.x.activate(window)
        left, top, _, _ = self.x.place(window)
        self.point = left + 400, top + 400
        self.x.move(*self.point)
        time.sleep(0.5)

    def choose(self, picture, *keys):
        """Chooses the entry in the real menu: the last but one, above the developer tools' entry."""
        self.x.click(*self.point, button=3)
        time.sleep(1.5)
        self.session.save_screenshot(picture)
        self.x.keys(*(keys or ("Up", "Up", "Return")))

    def on_page(self, expression):
        return self.browser.evaluate(self.page, expression)

    def click_on(self, selector, button=1):
        """Moves the mouse to an element of the page and clicks there."""
        x, y = self.on_page("""(() => {
            const box = document.querySelector(%r).getBoundingClientRect();
            const edge = (outerWidth - innerWidth) / 2;
            return [screenX + edge + box.x + box.width / 2, screenY + outerHeight - innerHeight - edge + box.y + box.height / 2];
        })()""" % selector)
        self.x.click(int(x), int(y), button)

    def page_of_extension(self, name):
        return "chrome-extension://%s/%s" % (EXTENSION_ID, name)


class WithFirefox(Browser):
    def setUp(self):
        super().setUp()
        self.browser = Firefox(self.session, os.path.join(self.session.root, "firefox"))
        self.addCleanup(self.browser.close)
        self.browser.install(self.extension)

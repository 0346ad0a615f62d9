"""What most tests of the real program share: a session with an origin, and the steps that many of them take."""

import os
import subprocess
import time
import unittest

import harness
import origin
import screen


class Case(unittest.TestCase):
    """The session is started by the tests, which may prepare it before."""

    settings = {}
    make_origin = origin.Origin

    def setUp(self):
        self.origin = self.make_origin()
        self.addCleanup(self.origin.close)
        self.session = self.new_session()

    def new_session(self, stage=None, **settings):
        session = harness.Session(type(self).__name__, stage, **{**self.settings, **settings})
        self.addCleanup(session.close)
        return session

    @property
    def x(self):
        return self.session.stage.x

    def stop(self):
        self.assertEqual(self.session.stop(), 0, self.session.read_log())

    # Downloads.

    def serve(self, path, size=20000, **options):
        """The file's URL."""
        self.origin.serve_file(path, size, **options)
        return self.origin.url(path)

    def saved(self, url, timeout=30):
        """The finished download, whose file must be the origin's."""
        [download] = self.session.companion.wait_finished([url], timeout)
        self.assertEqual(harness.digest(download.saved_path), self.origin.digest(url), url)
        return download

    def fetch(self, url):
        self.session.menu_url(url)
        return self.saved(url)

    def received(self, url):
        return getattr(self.session.companion.find(url), "received", 0)

    def begin(self, url):
        self.session.menu_url(url)
        harness.wait_until(lambda: self.received(url), 20, "the first bytes")
        return url

    def slow(self, path="/slow.bin", size=60000000, rate=50000):
        """Begins a download that takes long."""
        return self.begin(self.serve(path, size, rate=rate))

    def state(self, url):
        return getattr(self.session.companion.find(url), "state", None)

    def wait_state(self, url, state):
        """Waits for a state; None is that of a record that is gone."""
        harness.wait_until(lambda: self.state(url) == state, 20, "%s to be %s" % (url, state))

    # The desktop.

    def start_with_screen(self):
        self.screen = screen.Screen(self.session)
        self.addCleanup(self.screen.close)
        self.session.start()
        self.screen.wait("menu bar", "", harness.MAIN)

    def open_menu(self, click):
        """Opens a context menu by a click."""
        def click_again():
            time.sleep(0.6)  # two right clicks in quick succession count as a double click, which opens no menu
            click()
        harness.act_until(self.x.menus, click_again, what="the menu")

    def drag_over(self, start, end):
        """Drags with the left button, slowly enough for both programs to follow."""
        self.x.move(*start)
        self.x.button(1, True)
        for step in range(1, 11):
            self.x.move(*(a + (b - a) * step // 10 for a, b in zip(start, end)))
            time.sleep(0.06)
        self.x.move(end[0] - 1, end[1] - 1)
        time.sleep(0.2)
        self.x.move(*end)
        time.sleep(0.6)
        self.x.button(1, False)

    def copy(self, text):
        """Copies bytes to the clipboard of the display."""
        owner = subprocess.Popen(["xclip", "-selection", "clipboard", "-quiet"], env=self.session.stage.env,
                                 stdin=subprocess.PIPE, stdout=self.session.log, stderr=self.session.log)
        self.addCleanup(harness.end_process, owner)
        owner.stdin.write(text)
        owner.stdin.close()
        return owner

    def catch_opened_files(self, before=None):
        """Replaces the desktop's opener by one that only records its arguments, or one of them after other text."""
        folder = os.path.join(self.session.root, "bin")
        os.mkdir(folder)
        self.opened_log = os.path.join(self.session.root, "opened")
        words = '"%s $1"' % before if before else '"$@"'
        harness.write_script(os.path.join(folder, "xdg-open"), "printf '%%s\\n' %s >>%s" % (words, self.opened_log))
        self.session.env["PATH"] = folder + ":" + self.session.env["PATH"]

    def opened(self):
        if not os.path.exists(self.opened_log):
            return []
        with open(self.opened_log, encoding="utf-8") as f:
            return f.read().splitlines()

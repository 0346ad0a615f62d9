"""The version check of the real program, with its hosts redirected to a server on loopback."""

import io
import os
import re
import signal
import subprocess
import time
import unittest
import zipfile

import harness
from case import Case

REQUEST = (b"GET /Pellora/version.txt HTTP/1.1\r\nAccept: *.*, */*\r\nReferer: version.pellora.example \r\n"
           b"Host: version.pellora.example\r\n\r\n")


class Version(Case):
    def setUp(self):
        super().setUp()
        self.session.preload("redirect.cpp", REDIRECT_PORT_80=str(self.origin.port))

    def label(self, window):
        """A point on the leftmost text in the link colour."""
        result = subprocess.run(["sh", "-c", "import -window %s png:- | convert png:- -fill white +opaque '#0000ff'"
                                 " -format '%%@' info:" % hex(window)], env=self.session.stage.env, check=True,
                                stdin=subprocess.DEVNULL, capture_output=True, timeout=30)
        width, height, left, top = (*map(int, re.findall(r"\d+", result.stdout.decode())), 0, 0, 0, 0)[:4]
        return (left + 10, top + height // 2) if width > 100 else None

    def check(self, reply):
        self.origin.replies["/Pellora/version.txt"] = lambda connection, _request: connection.sendall(reply)
        self.session.start()
        main = self.session.window(harness.MAIN, dialog=False)
        self.x.activate(main)

        def look():
            label = self.label(main)
            return label and (label, self.x.place(main))
        (x, y), (left, top, _, _) = harness.wait_steady(look, "the drawn window", times=2)
        self.x.click(left + x, top + y, times=2)
        harness.wait_until(lambda: self.origin.requests_for("/Pellora/version.txt"), 10, "the request")

    def package(self):
        data = io.BytesIO()
        with zipfile.ZipFile(data, "w", zipfile.ZIP_DEFLATED) as archive:
            archive.writestr("notes/new.txt", "Faster\n" * 4000)
            archive.writestr("../outside.txt", "must not leave the folder")
        return data.getvalue()

    def test_newer_version_is_fetched_unpacked_and_passed_to_the_updater(self):
        package = self.package()
        self.origin.serve_bytes("/Pellora53.zip", b"HTTP/1.1 200 OK\r\nContent-Type: application/zip\r\n"
                                b"Content-Length: %d\r\n\r\n" % len(package) + package)
        started = os.path.join(self.session.root, "started")
        harness.write_script(os.path.join(self.session.program, "updater"), ">" + started)
        self.check(b"HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\n\r\n5.3\r\nFaster <b>and</b> smaller.")
        [request] = self.origin.requests_for("/Pellora/version.txt")
        self.assertEqual(request.raw, REQUEST)
        window, title = self.session.wait_dialog()
        self.assertEqual(title, "Pellora !")
        self.session.dismiss(window, "alt+y")
        # A member was left out: the error number is shown before the updater starts.
        window, _ = harness.wait_until(lambda: [d for d in self.session.dialogs() if d[0] != window], 30, "the number")[0]
        with open(os.path.join(self.session.program, "downloads", "Pellora53.zip"), "rb") as f:
            self.assertEqual(f.read(), package)
        self.assertEqual(os.listdir(self.session.downloads), [])
        with open(os.path.join(self.session.program, "temp", "notes", "new.txt"), encoding="ascii") as f:
            self.assertEqual(f.read(), "Faster\n" * 4000)
        self.assertFalse(os.path.exists(os.path.join(self.session.program, "outside.txt")))
        self.assertFalse(os.path.exists(started))
        self.session.dismiss(window)
        self.assertEqual(self.session.process.wait(60), 0, self.session.read_log())
        harness.wait_until(lambda: os.path.exists(started), 10, "the updater")

    def test_equal_version_asks_nothing(self):
        self.check(b"HTTP/1.1 200 OK\r\n\r\n5.2\r\nnotes")
        time.sleep(1)
        self.assertEqual(self.session.dialogs(), [])
        self.assertEqual(self.session.companion.downloads(), [])
        self.stop()

    def test_quitting_during_the_question_adds_nothing(self):
        self.check(b"HTTP/1.1 200 OK\r\n\r\n10\r\nnotes")
        self.session.wait_dialog()
        self.stop()
        self.assertFalse(os.path.exists(os.path.join(self.session.program, "downloads")))

    def test_updater_is_started_with_five_arguments_and_never_awaited(self):
        notes = os.path.join(self.session.root, "notes")
        harness.write_script(
            os.path.join(self.session.program, "UpdateApp"),
            'printf "%%s\\n" "$@" >%s.part && echo $$ >%s.pid && mv %s.part %s\nexec sleep 600' % ((notes,) * 4))
        self.session.start()
        harness.wait_until(lambda: os.path.exists(notes), 10, "its arguments")
        self.assertLess(self.session.response_seconds(), harness.PROMPT)
        with open(notes + ".pid", encoding="ascii") as f:
            os.kill(int(f.read()), signal.SIGTERM)  # it was still running
        with open(notes, encoding="ascii") as f:
            self.assertEqual(f.read().split("\n"), ["Pellora", "2", "5.2.0", "update.pellora.example", "false", ""])
        self.stop()


if __name__ == "__main__":
    unittest.main()

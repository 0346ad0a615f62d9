"""The user's files of logins and of known hosts as they should not be: endless, binary, no files, without rights,
replaced meanwhile. The program answers, its memory is bounded, and downloads do without them."""

import os
import shutil
import threading
import time
import unittest

import harness
import webservers
from test_web import DATA, Web

MEGABYTE = 1 << 20
GIGABYTE = 1 << 30
PROMPT = 2  # seconds


def put(path, data):
    with open(path, "wb") as f:
        f.write(data)
    os.chmod(path, 0o600)


def put_long(path, data):
    """A line of a gigabyte, most of it a hole."""
    put(path, data)
    os.truncate(path, GIGABYTE)


def loop(path):
    os.symlink(path + ".other", path)
    os.symlink(path, path + ".other")


def forbidden(path, data):
    put(path, data)
    os.chmod(path, 0)


class OddFiles(Web):
    def make(self, name, right):
        """Makes one kind after the other; those below replace what was there."""
        folder = os.path.dirname(name)
        os.makedirs(folder, exist_ok=True)
        shapes = {"folder": os.mkdir, "pipe": os.mkfifo, "loop of links": loop,
                  "link to endless zeros": lambda path: os.symlink("/dev/zero", path),
                  "link to nothing": lambda path: os.symlink(path + ".none", path),
                  "line of a gigabyte": lambda path: put_long(path, b"x"),
                  "zeros before it": lambda path: put(path, b"\x00" * 1000 + b"\n" + b"\x00\xff" * 1000),
                  "without rights": lambda path: forbidden(path, right)}
        if os.geteuid() == 0:
            del shapes["without rights"]
        for shape, create in shapes.items():
            for old in (name, name + ".other"):
                if os.path.isdir(old) and not os.path.islink(old):
                    os.rmdir(old)
                elif os.path.lexists(old):
                    os.remove(old)
            create(name)
            with self.subTest(shape):
                yield shape

    def check(self, before):
        self.assertLess(self.session.response_seconds(), PROMPT)
        self.assertLess(self.session.memory("VmHWM") - before, 60 * MEGABYTE)
        self.assertEqual(self.session.dialogs(), [])


class OddNetrc(OddFiles):
    def setUp(self):
        super().setUp()
        self.netrc = os.path.join(self.session.home, ".netrc")

    def start(self):
        self.session.start()
        self.finish(self.begin_url(self.nginx.url(self.nginx.plain, "small.bin")), DATA[:1000])
        return self.session.memory("VmRSS")

    def fetch_small(self, number):
        address = self.nginx.url(self.nginx.plain, "small.bin?%s" % number)
        self.finish(self.begin_url(address), DATA[:1000])

    def test_downloads_do_without_it(self):
        before = self.start()
        for number, _ in enumerate(self.make(self.netrc, b"default login joe password s3cret\n")):
            self.fetch_small(number)
            self.check(before)

    def test_many_macros_hold_nothing_up(self):
        before = self.start()
        for number, lines in enumerate((b"macdef a\n\n", b"macdef a\n\r\n", b"macdef a\n", b"machine a\n")):
            put(self.netrc, lines * (MEGABYTE // len(lines)))
            with self.subTest(lines):
                began = time.monotonic()
                self.fetch_small(number)
                self.assertLess(time.monotonic() - began, 5)
                self.check(before)


class OddKnownHosts(OddFiles):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.ssh = webservers.OpenSsh()
        cls.addClassCleanup(lambda: cls.ssh.close())
        cls.ssh.put("one.bin", DATA[:1000])

    def setUp(self):
        super().setUp()
        self.folder = os.path.join(self.session.home, ".ssh")
        self.known = os.path.join(self.folder, "known_hosts")
        os.mkdir(self.folder, 0o700)
        shutil.copy(self.ssh.key, os.path.join(self.folder, "id_ed25519"))
        with open(os.path.join(self.ssh.folder, "host.pub"), "rb") as f:
            kind, key = f.read().split()[:2]
        self.line = b"[127.0.0.1]:%d %s %s\n" % (self.ssh.port, kind, key)

    def start(self):
        put(self.known, self.line)
        self.session.start()
        self.finish(self.begin_url(self.ssh.url("one.bin")), DATA[:1000])
        return self.session.memory("VmRSS")

    def remove_listed(self):
        for download in self.session.companion.downloads():
            self.session.companion.run("remove", download.id)

    def test_the_user_is_asked_without_it(self):
        before = self.start()
        for _ in self.make(self.known, self.line):
            self.remove_listed()
            url = self.begin_url(self.ssh.url("one.bin"))
            self.wait_state(url, "failed")
            self.assertIn("is unknown", self.session.companion.find(url).reason)
            self.check(before)

    def test_file_that_is_replaced_meanwhile_is_read_whole(self):
        before = self.start()
        ended = threading.Event()
        other = b"".join(b"|1|%s|%s ssh-ed25519 AAAA\n" % (b"A" * 27 + b"=", b"B" * 27 + b"=") for _ in range(5000))

        def replace():
            while not ended.is_set():
                for data in (other + self.line, self.line + other):
                    put(self.known + ".new", data)
                    os.rename(self.known + ".new", self.known)
        thread = threading.Thread(target=replace, daemon=True)
        thread.start()
        try:
            for _ in range(10):
                self.remove_listed()
                self.finish(self.begin_url(self.ssh.url("one.bin")), DATA[:1000])
                self.check(before)
        finally:
            ended.set()
            thread.join()


if __name__ == "__main__":
    unittest.main()

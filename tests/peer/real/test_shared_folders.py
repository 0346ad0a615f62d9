"""What other users can put into a folder that all may write to, and what they can read of the web engine's files."""

import os
import stat
import unittest

import harness
from test_web import DATA, Web

ANOTHER_USER = 54321
VICTIM = b"kept" * 1000
SHORT = DATA[:4_000_000]


def rights(path):
    return stat.S_IMODE(os.lstat(path).st_mode)


class Shared(Web):
    more_settings = {"MaxSegments": 2}

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.nginx.put("a.bin", SHORT)

    def setUp(self):
        super().setUp()
        os.chmod(self.session.downloads, 0o1777)
        self.victim = os.path.join(self.session.home, "letter")
        self.elsewhere = os.path.join(self.session.home, "made")
        with open(self.victim, "wb") as f:
            f.write(VICTIM)
        os.chmod(self.victim, 0o644)
        self.planted = {}

    def shapes(self):
        """What can be planted at a name."""
        def folder(path):
            os.mkdir(path)

        def link(target):
            return lambda path: os.symlink(target, path)
        return {"link to a file": link(self.victim), "link to nothing": link(self.elsewhere), "pipe": os.mkfifo,
                "second name": lambda path: os.link(self.victim, path), "folder": folder,
                "device": link("/dev/zero"), "loop": lambda path: os.symlink(path, path)}

    def plant(self, name, shape):
        path = os.path.join(self.session.downloads, name)
        self.shapes()[shape](path)
        if os.geteuid() == 0 and shape != "second name":
            os.lchown(path, ANOTHER_USER, ANOTHER_USER)
        status = os.lstat(path)
        self.planted[path] = status.st_ino, status.st_mode

    def check_untouched(self):
        with open(self.victim, "rb") as f:
            self.assertEqual(f.read(), VICTIM)
        self.assertEqual(rights(self.victim), 0o644)
        self.assertFalse(os.path.lexists(self.elsewhere), "made through a link")
        for path, before in self.planted.items():
            status = os.lstat(path)
            self.assertEqual((status.st_ino, status.st_mode), before, path)

    def clear(self):
        for path in self.planted:
            os.rmdir(path) if stat.S_ISDIR(os.lstat(path).st_mode) else os.remove(path)
        self.planted = {}

    def whole(self, url):
        """The name of the finished file, which has the right bytes and is no link."""
        [download] = self.session.companion.wait_finished([url], 60)
        self.assertTrue(stat.S_ISREG(os.lstat(download.saved_path).st_mode))
        with open(download.saved_path, "rb") as f:
            self.assertTrue(f.read() == DATA[:1000])
        self.assertEqual(self.session.dialogs(), [])
        return os.path.relpath(download.saved_path, self.session.downloads)


class Planted(Shared):
    def each(self, *names):
        self.session.start()
        for number, shape in enumerate(self.shapes()):
            with self.subTest(shape):
                for name in names:
                    self.plant(name, shape)
                name = self.whole(self.begin_url(self.nginx.url(self.nginx.plain, "small.bin?%d" % number)))
                self.assertEqual(name, "small (2).bin")
                self.check_untouched()
                os.remove(self.session.downloads + name)
                self.clear()
        self.assertLess(self.session.response_seconds(), harness.PROMPT)

    def test_at_the_name_of_the_part(self):
        self.each("small.bin.part")

    def test_at_the_name_of_the_file(self):
        self.each("small.bin")

    def test_at_both(self):
        self.each("small.bin", "small.bin.part")

    def test_at_the_name_of_the_file_while_it_comes(self):
        self.session.start()
        for number, shape in enumerate(self.shapes()):
            with self.subTest(shape):
                url = self.begin_url(self.nginx.url(self.nginx.slow, "a.bin?%d" % number))
                harness.wait_until(lambda: self.received(url) > 100_000, 20, "the first bytes")
                self.plant("a.bin", shape)
                self.plant("a (2).bin", shape)
                [download] = self.session.companion.wait_finished([url], 60)
                self.assertEqual(os.path.basename(download.saved_path), "a (3).bin")
                with open(download.saved_path, "rb") as f:
                    self.assertTrue(f.read() == SHORT)
                self.check_untouched()
                os.remove(download.saved_path)
                self.clear()

    def test_in_place_of_the_part_while_it_comes(self):
        """Only in a folder without the sticky bit."""
        os.chmod(self.session.downloads, 0o777)
        self.session.start()
        for number, shape in enumerate(self.shapes()):
            with self.subTest(shape):
                url = self.begin_url(self.nginx.url(self.nginx.slow, "a.bin?%d" % number))
                harness.wait_until(lambda: self.received(url) > 100_000, 20, "the first bytes")
                os.remove(self.session.downloads + "a.bin.part")
                self.plant("a.bin.part", shape)
                self.wait_state(url, "failed")
                self.check_untouched()
                self.session.companion.run("remove", url)
                self.wait_state(url, None)
                self.check_untouched()
                self.clear()
                self.assertEqual(os.listdir(self.session.downloads), [])


class OwnFiles(Shared):
    def test_journal_that_is_something_else_is_left_alone(self):
        journal = os.path.join(self.session.program, "Pellora.fetch")
        for shape, create in self.shapes().items():
            with self.subTest(shape):
                create(journal)
                before = os.lstat(journal).st_ino, os.lstat(journal).st_mode
                self.session.start()
                url = self.begin_url(self.nginx.url(self.nginx.plain, "small.bin"))
                harness.wait_until(lambda: self.state(url) in ("failed", "finished"), 20, "the end")
                self.assertLess(self.session.response_seconds(), harness.PROMPT)
                self.assertTrue(self.session.companion.run("remove", url).returncode == 0)
                self.stop()
                self.check_untouched()
                self.assertEqual((os.lstat(journal).st_ino, os.lstat(journal).st_mode), before)
                os.rmdir(journal) if os.path.isdir(journal) and not os.path.islink(journal) else os.remove(journal)
                for name in os.listdir(self.session.downloads):
                    os.remove(self.session.downloads + name)

    def test_lock_that_is_a_link_is_left_alone(self):
        lock = os.path.join(self.session.program, "pellora.lock")
        for shape in ("link to a file", "link to nothing", "pipe", "folder"):
            with self.subTest(shape):
                self.shapes()[shape](lock)
                self.session.start()
                self.stop()
                self.check_untouched()
                os.rmdir(lock) if shape == "folder" else os.remove(lock)

    def test_modes_under_any_umask(self):
        for mask, finished in ((0o000, 0o666), (0o077, 0o600), (0o777, 0o000)):
            with self.subTest(oct(mask)):
                self.session = self.new_session()
                self.session.prefix = ("sh", "-c", "umask %o; exec \"$@\"" % mask, "sh")
                known = self.session.tree()
                self.session.start()
                url = self.begin_url(self.nginx.url(self.nginx.slow, "a.bin"))
                harness.wait_until(lambda: self.received(url) > 1_000_000, 30, "a part of the file")
                self.assertEqual([(name, oct(rights(self.session.downloads + name)))
                                  for name in os.listdir(self.session.downloads)], [("a.bin.part", oct(0o600))])
                download = self.finish(url, SHORT)
                self.assertEqual(oct(rights(download.saved_path)), oct(finished))
                self.stop()
                made = sorted(self.session.tree() - known)
                self.assertTrue({"program/Pellora.dat", "program/Pellora.fetch", "program/pellora.lock"} <= set(made), made)
                for name in made:
                    public = 0o755 if name.startswith("data/") else 0o700  # what the desktop and browsers read
                    self.assertEqual(oct(rights(os.path.join(self.session.root, name)) & ~public), oct(0), name)


if __name__ == "__main__":
    unittest.main()

"""Checksums of downloads over https: of replies, of a list beside the file; slow checks."""

import base64
import hashlib
import os
import random
import time
import unittest

import harness
from case import Case
from webservers import TlsNginx

DATA = random.Random(3).randbytes(8_000_000)


def repr_digest(digest):
    return "sha-256=:%s:" % base64.b64encode(digest).decode()


def shown(digest):
    return "%s...%s" % (digest.hexdigest()[:8], digest.hexdigest()[-8:])


class DigestNginx(TlsNginx):
    """What is below /right/ and /wrong/ has a header with its checksum. The paths are those of the one file DATA."""

    def rules_of(self, name):
        sums = {"right": hashlib.sha256(DATA).digest(), "wrong": hashlib.sha256(b"other").digest()}
        return super().rules_of(name) + "".join(
            " location /%s/ { add_header Repr-Digest \"%s\"; rewrite ^/%s(/.*)$ $1 break; }"
            % (path, repr_digest(digest), path) for path, digest in sums.items())


class ChecksumCase(Case):
    @classmethod
    def setUpClass(cls):
        cls.nginx = DigestNginx()
        cls.addClassCleanup(cls.nginx.close)
        cls.nginx.put("a.bin", DATA)
        cls.settings = {"MaxSegments": 4, "ExtraCertificates": cls.nginx.authority, "SeekChecksums": True}

    def setUp(self):
        super().setUp()
        self.nginx.put("SHA256SUMS", b"")

    def url(self, path):
        return self.nginx.url(self.nginx.plain, path)

    def finish(self, url):
        self.session.menu_url(url)
        [download] = self.session.companion.wait_finished([url], 60)
        self.assertTrue(self.bytes_of(download.saved_path) == DATA)
        return download

    def wrong(self, url):
        """The reason; the part is all that is left."""
        self.session.menu_url(url)
        self.wait_state(url, "failed")
        self.assertEqual(os.listdir(self.session.downloads), ["a.bin.part"])
        self.assertTrue(self.bytes_of(os.path.join(self.session.downloads, "a.bin.part")) == DATA)
        return self.session.companion.find(url).reason

    @staticmethod
    def bytes_of(path):
        with open(path, "rb") as f:
            return f.read()


class Checksums(ChecksumCase):
    def test_right_one_of_the_reply(self):
        self.session.start()
        requests = len(self.nginx.log())
        self.assertEqual(self.finish(self.url("right/a.bin")).reason, "SHA-256 checked")
        self.assertNotIn("SHA256SUMS", "".join(self.nginx.log()[requests:]))

    def test_wrong_one_of_the_reply_keeps_the_part_and_asks(self):
        self.start_with_screen()
        url = self.url("wrong/a.bin")
        self.assertEqual(self.wrong(url), "The checksum is wrong: the file's SHA-256 is %s instead of %s." % (
            shown(hashlib.sha256(DATA)), shown(hashlib.sha256(b"other"))))
        self.screen.wait("push button", "Fetch Again", "downloaded")
        self.session.save_screenshot("wrong-checksum")
        self.screen.click("push button", "Keep This Part", "downloaded")
        self.screen.wait("push button", "Resume Download", "downloaded")
        self.assertEqual(os.listdir(self.session.downloads), ["a.bin.part"])

    def test_list_beside_the_file(self):
        self.session.start()
        self.nginx.put("SHA256SUMS", ("%s *a.bin\n" % hashlib.sha256(DATA).hexdigest()).encode())
        self.assertEqual(self.finish(self.url("a.bin")).reason, "SHA-256 checked")

    def test_wrong_list_beside_the_file(self):
        self.session.start()
        self.nginx.put("SHA256SUMS", ("%s  a.bin\n" % ("0" * 64)).encode())
        self.assertRegex(self.wrong(self.url("a.bin")), r"^The checksum is wrong: .* instead of 0{8}\.\.\.0{8}\.$")

    def test_no_list_that_names_the_file(self):
        self.session.start()
        self.assertEqual(self.finish(self.url("a.bin")).reason, "")


class SlowCheck(ChecksumCase):
    """The disk takes 20 ms for each quarter of a MiB, so that the check of 32 MiB takes some 3 s."""

    def setUp(self):
        super().setUp()
        self.large = random.Random(4).randbytes(32 << 20)
        self.nginx.put("large.bin", self.large)
        self.nginx.put("SHA256SUMS", ("%s  large.bin\n" % hashlib.sha256(self.large).hexdigest()).encode())
        self.session.preload("slowread.cpp", SLOW_READ_US="20000")
        self.session.start()

    def begin_check(self):
        """Its address, once the check has begun."""
        url = self.url("large.bin")
        self.session.menu_url(url)
        harness.wait_until(lambda: getattr(self.session.companion.find(url), "reason", "").startswith("Checking"), 60,
                           "the check to begin")
        return url

    def finish_check(self, url):
        [download] = self.session.companion.wait_finished([url], 60)
        self.assertEqual(download.reason, "SHA-256 checked")
        self.assertTrue(self.bytes_of(download.saved_path) == self.large)
        self.assertEqual(os.listdir(self.session.downloads), ["large.bin"])

    def test_program_answers_during_a_check(self):
        url = self.begin_check()
        longest, reasons = 0, set()
        while True:
            asked = time.monotonic()
            download = self.session.companion.find(url)
            longest = max(longest, time.monotonic() - asked)
            if download.state != "active":
                break
            reasons.add(download.reason)
        self.assertGreater(len(reasons), 5, reasons)
        self.assertLess(longest, 1 * harness.SLOWNESS)
        print("slowest answer of pelloractl during a check: %.0f ms" % (longest * 1000))
        self.finish_check(url)

    def test_pause_ends_a_check_and_resuming_begins_it_again(self):
        url = self.begin_check()
        self.session.companion.run("pause", url)
        self.wait_state(url, "paused")
        self.assertEqual(os.listdir(self.session.downloads), ["large.bin.part"])
        self.session.resume()
        self.finish_check(url)

    def test_quitting_in_a_check_is_quick_and_the_next_session_checks_again(self):
        url = self.begin_check()
        began = time.monotonic()
        self.stop()
        self.assertLess(time.monotonic() - began, 2 * harness.SLOWNESS)
        self.assertEqual(os.listdir(self.session.downloads), ["large.bin.part"])
        self.session.start()
        self.session.resume()
        self.finish_check(url)

    def test_kill_in_a_check_costs_no_bytes(self):
        url = self.begin_check()
        self.session.kill()
        self.session.start()
        self.assertEqual(self.session.companion.find(url).received, len(self.large))
        requests = len(self.nginx.log())
        self.session.resume()
        self.finish_check(url)
        self.assertEqual([line for line in self.nginx.log()[requests:] if "large.bin " in line], [])


if __name__ == "__main__":
    unittest.main()

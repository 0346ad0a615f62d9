"""Mirrors of downloads over https: Metalinks, wrong and dead ones, those that a reply names."""

import hashlib
import os
import random
import unittest

import harness
from case import Case
from webservers import TlsNginx

DATA = random.Random(5).randbytes(24_000_000)
PIECE = 1 << 20
NAMESPACE = "urn:ietf:params:xml:ns:metalink"


def metalink(urls, name="a.iso", data=DATA):
    """A document with one file, its checksum and those of its pieces."""
    pieces = "".join("<hash>%s</hash>" % hashlib.sha256(data[at:at + PIECE]).hexdigest()
                     for at in range(0, len(data), PIECE))
    mirrors = "".join('<url priority="%d">%s</url>' % (i + 1, url) for i, url in enumerate(urls))
    return ('<?xml version="1.0" encoding="UTF-8"?><metalink xmlns="%s"><file name="%s"><size>%d</size>'
            '<hash type="sha-256">%s</hash><pieces type="sha-256" length="%d">%s</pieces>%s</file></metalink>' % (
                NAMESPACE, name, len(data), hashlib.sha256(data).hexdigest(), PIECE, pieces, mirrors)).encode()


class LinkNginx(TlsNginx):
    """What is below /linked/ has a header that names the mirror at `other`, below /described/ the Metalink /list.meta4."""

    other = ""

    def rules_of(self, name):
        return super().rules_of(name) + (" location /linked/ { add_header Link '<%s>; rel=duplicate'; "
                                         "rewrite ^/linked(/.*)$ $1 break; } "
                                         "location /described/ { "
                                         "add_header Link '</list.meta4>; rel=describedby; type=\"%s\"'; "
                                         "rewrite ^/described(/.*)$ $1 break; }" % (
                                             self.other, "application/metalink4+xml"))


class Mirrors(Case):
    @classmethod
    def setUpClass(cls):
        cls.second = TlsNginx()
        cls.addClassCleanup(cls.second.close)
        LinkNginx.other = cls.second.url(cls.second.slow, "b.bin")
        cls.first = LinkNginx()
        cls.addClassCleanup(lambda: cls.first.close())
        authorities = os.path.join(cls.first.folder, "authorities.pem")
        with open(authorities, "wb") as f:
            for server in (cls.first, cls.second):
                with open(server.authority, "rb") as g:
                    f.write(g.read())
        cls.settings = {"MaxSegments": 4, "ExtraCertificates": authorities}

    def setUp(self):
        super().setUp()
        self.first.put("a.bin", DATA)
        self.second.put("b.bin", DATA)

    def add(self, document):
        self.first.put("list.meta4", document)
        self.session.menu_url(self.first.url(self.first.plain, "list.meta4"))

    def finished(self, url):
        [download] = self.session.companion.wait_finished([url], 90)
        with open(download.saved_path, "rb") as f:
            self.assertTrue(f.read() == DATA, "wrong bytes in " + download.saved_path)
        return download

    def requests(self, server, path):
        return sum("GET " + path in line for line in server.log())

    def test_files_of_a_metalink_come_from_both_servers(self):
        self.session.start()
        url = self.first.url(self.first.slow, "a.bin")
        before = self.requests(self.second, "/b.bin")
        self.add(metalink([url, self.second.url(self.second.slow, "b.bin")], "../my file.iso"))
        download = self.finished(url)
        self.assertEqual(os.path.basename(download.saved_path), "my file.iso")
        self.assertEqual(download.reason, "SHA-256 checked")
        self.assertGreater(self.requests(self.second, "/b.bin"), before)
        self.assertEqual(os.listdir(self.session.downloads), ["my file.iso"])
        self.assertEqual(len(self.session.companion.downloads()), 1)

    def test_mirror_with_other_bytes_is_left_out_and_named(self):
        self.second.put("b.bin", random.Random(6).randbytes(len(DATA)))
        self.session.start()
        url = self.first.url(self.first.slow, "a.bin")
        self.add(metalink([url, self.second.url(self.second.slow, "b.bin")]))
        download = self.finished(url)
        self.assertIn("127.0.0.1 is left out: The file there has other contents.", download.reason)

    def test_mirror_of_a_reply_replaces_a_dead_server(self):
        self.session.start()
        url = self.first.url(self.first.slow, "linked/a.bin")
        self.session.menu_url(url)
        harness.wait_until(lambda: self.received(url) > 6_000_000, 60, "a part of the file")
        before = self.requests(self.second, "/b.bin")
        self.first.close()
        try:
            download = self.finished(url)
        finally:
            self.first.start()
        self.assertGreater(self.requests(self.second, "/b.bin"), before)
        self.assertIn("127.0.0.1 is left out: ", download.reason)

    def test_metalink_that_describes_the_file_makes_mirrors_lanes(self):
        self.session.start()
        self.first.put("list.meta4", metalink([self.second.url(self.second.slow, "b.bin")], "a.bin"))
        before = self.requests(self.second, "/b.bin")
        url = self.first.url(self.first.slow, "described/a.bin")
        self.session.menu_url(url)
        self.assertEqual(self.finished(url).reason, "SHA-256 checked")
        self.assertGreater(self.requests(self.second, "/b.bin"), before)

    def test_login_goes_with_files_of_the_metalinks_own_server_alone(self):
        self.session.start()
        other = DATA[:5000]
        self.second.put("c.bin", other)
        mine = self.first.url(self.first.plain, "private/a.bin")
        theirs = self.second.url(self.second.plain, "private/c.bin")
        document = metalink([mine], "a.iso").replace(
            b"</metalink>", b'<file name="c.iso"><url>%s</url></file></metalink>' % theirs.encode())
        self.first.put("list.meta4", document)
        added = self.session.companion.run("add", "--user", "joe", "--password-stdin",
                                           self.first.url(self.first.plain, "private/list.meta4"), given=b"s3cret\n")
        self.assertEqual(added.returncode, 0, added.stderr)
        identity = added.stdout.decode().strip()
        waited = self.session.companion.run("wait", "--timeout", "90", identity)
        self.assertEqual(waited.returncode, 0, waited.stdout + waited.stderr)
        self.assertEqual(self.session.companion.find(mine).id, identity)
        self.finished(mine)
        harness.wait_until(lambda: self.session.companion.find(theirs).reason, 30, "the demand for a login")
        self.assertIn("user name", self.session.companion.find(theirs).reason)
        self.assertNotIn("c.iso", os.listdir(self.session.downloads))

    def test_scripts_add_local_metalinks(self):
        self.session.start()
        path = os.path.join(self.session.downloads, "..", "list.meta4")
        url = self.first.url(self.first.slow, "a.bin")
        with open(path, "wb") as f:
            f.write(metalink([url, self.second.url(self.second.slow, "b.bin")]))
        before = self.requests(self.second, "/b.bin")
        added = self.session.companion.run("add", path)
        self.assertEqual((added.returncode, added.stderr), (0, b""))
        waited = self.session.companion.run("wait", "--timeout", "90", added.stdout.decode().strip())
        self.assertEqual(waited.returncode, 0, waited.stdout + waited.stderr)
        self.assertEqual(self.finished(url).reason, "SHA-256 checked")
        self.assertGreater(self.requests(self.second, "/b.bin"), before)

    def test_mirrors_are_known_after_a_kill(self):
        self.session.start()
        url = self.first.url(self.first.slow, "linked/a.bin")
        self.session.menu_url(url)
        harness.wait_until(lambda: self.received(url) > 6_000_000, 60, "a part of the file")
        harness.wait_until(lambda: b"mirrors=" in self.journal(), 30, "the mirrors in the journal")
        self.session.kill()
        self.first.close()
        try:
            self.session.start()
            self.session.resume()
            self.finished(url)
        finally:
            self.first.start()

    def journal(self):
        with open(os.path.join(self.session.program, "Pellora.fetch"), "rb") as f:
            return f.read()


if __name__ == "__main__":
    unittest.main()

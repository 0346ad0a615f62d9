"""Downloads over https: a server with a certificate of the test's authority, which the settings name."""

import os
import random
import subprocess
import threading
import unittest

import harness
import servers
from case import Case


def make_certificate(folder):
    """The authority's certificate; server.pem and server.key of 127.0.0.1 lie beside it."""
    def openssl(*arguments):
        subprocess.run(["openssl", *arguments], cwd=folder, check=True, stdout=subprocess.DEVNULL,
                       stderr=subprocess.DEVNULL)
    key = ("-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes")
    openssl("req", "-x509", *key, "-keyout", "ca.key", "-out", "ca.pem", "-subj", "/CN=Authority", "-days", "30")
    openssl("req", *key, "-keyout", "server.key", "-out", "server.csr", "-subj", "/CN=127.0.0.1")
    with open(os.path.join(folder, "names"), "w", encoding="ascii") as f:
        f.write("subjectAltName=IP:127.0.0.1\n")
    openssl("x509", "-req", "-in", "server.csr", "-CA", "ca.pem", "-CAkey", "ca.key", "-CAcreateserial", "-days", "30",
            "-extfile", "names", "-out", "server.pem")
    return os.path.join(folder, "ca.pem")


class TlsNginx(servers.Nginx):
    """`plain`, `slow` and `whole` by https."""

    def __init__(self):
        self.certificates = harness.Stage.get().new_folder("authority")
        os.chmod(self.certificates, 0o755)
        self.authority = make_certificate(self.certificates)
        tls = "ssl on; ssl_certificate %s/server.pem; ssl_certificate_key %s/server.key; " % (
            self.certificates, self.certificates)
        self.rules = {"plain": tls, "slow": tls + "limit_rate 1m;", "whole": tls + "max_ranges 0;"}
        super().__init__()

    def url(self, port, name):
        return "https://%s:%d/%s" % (self.address, port, name)

    def log(self):
        with open(os.path.join(self.folder, "access.log"), encoding="utf-8") as f:
            return f.read().splitlines()


class Web(Case):
    @classmethod
    def setUpClass(cls):
        cls.nginx = TlsNginx()
        cls.addClassCleanup(cls.nginx.close)
        cls.data = random.Random(1).randbytes(24_000_000)
        cls.nginx.put("a.bin", cls.data)
        cls.nginx.put("small.bin", cls.data[:1000])
        cls.nginx.put("empty.bin", b"")
        cls.settings = {"MaxSegments": 4, "ExtraCertificates": cls.nginx.authority}

    def finish(self, url, data, timeout=60):
        [download] = self.session.companion.wait_finished([url], timeout)
        with open(download.saved_path, "rb") as f:
            self.assertTrue(f.read() == data, "wrong bytes in " + download.saved_path)
        folder = os.path.dirname(download.saved_path)
        self.assertEqual([name for name in os.listdir(folder) if name.endswith(".part")], [])
        return download

    def test_files_of_any_length_come_whole(self):
        self.session.start()
        for name, data in (("a.bin", self.data), ("small.bin", self.data[:1000]), ("empty.bin", b"")):
            with self.subTest(name):
                url = self.nginx.url(self.nginx.plain, name)
                self.session.menu_url(url)
                self.finish(url, data)

    def test_server_without_ranges_is_asked_on_one_connection(self):
        self.session.start()
        url = self.nginx.url(self.nginx.whole, "a.bin")
        self.session.menu_url(url)
        self.finish(url, self.data)

    def test_download_goes_on_after_a_kill_from_what_was_on_the_disk(self):
        self.session.start()
        url = self.nginx.url(self.nginx.slow, "a.bin")
        self.session.menu_url(url)
        harness.wait_until(lambda: self.received(url) > 12_000_000, 30, "half of the file")
        self.session.kill()
        self.session.start()
        self.assertEqual(self.state(url), "paused")
        before = len(self.nginx.log())  # by now with the connections that the kill ended
        self.session.resume()
        self.finish(url, self.data)
        sent = sum(int(line.split()[9]) for line in self.nginx.log()[before:])
        self.assertLess(sent, 20_000_000)

    def test_server_that_is_not_trusted_is_refused_with_a_reason(self):
        self.session = self.new_session(ExtraCertificates="")
        self.session.start()
        url = self.nginx.url(self.nginx.plain, "a.bin")
        self.session.menu_url(url)
        self.wait_state(url, "failed")
        listed = self.session.companion.run("list").stdout.decode()
        self.assertIn("127.0.0.1", listed.splitlines()[-1].split("\t")[-1])

    def test_length_that_is_not_known_has_no_figure(self):
        block = self.data[:100_000]
        goes_on = threading.Event()

        def reply(connection, _request):
            connection.sendall(b"HTTP/1.1 200 OK\r\nContent-Type: application/octet-stream\r\n"
                               b"Transfer-Encoding: chunked\r\n\r\n")
            for _ in range(20):
                connection.sendall(b"%x\r\n%s\r\n" % (len(block), block))
                goes_on.wait(0.2)
            goes_on.wait(30)
            connection.sendall(b"0\r\n\r\n")

        self.origin.replies["/a.bin"] = reply
        self.session = self.new_session(WebEngine=2)
        self.start_with_screen()
        url = self.origin.url("/a.bin")
        self.session.menu_url(url)
        harness.wait_until(lambda: self.received(url) >= 1_000_000, 30, "a part of the file")
        titles = [name for _, name in self.screen.windows() if "a.bin" in name]
        self.assertEqual(len(titles), 1, self.screen.windows())
        self.assertNotIn("%", titles[0])
        texts = [element.name or element.text for element in self.screen.elements(titles[0].split(" of ")[-1])]
        self.assertNotIn("/ 0 bytes", texts)
        self.assertNotIn("0.0%", texts)
        self.session.save_screenshot("web-unknown-length")
        goes_on.set()
        self.finish(url, block * 20)


if __name__ == "__main__":
    unittest.main()

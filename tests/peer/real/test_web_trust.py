"""Whom the web engine trusts and what it tells others: certificates, host keys, logins, proxies, addresses."""

import os
import shutil
import socket
import subprocess
import threading
import unittest

import harness
import servers
import webservers
from test_web import DATA, Web


class Certificates(Web):
    def test_servers_that_are_not_trusted_are_refused_with_a_reason(self):
        self.session.start()
        for kind, words in (("expired", "expired"), ("other_host", "another host"), ("self_signed", "self-signed")):
            with self.subTest(kind):
                reason = self.refused(self.nginx.url(getattr(self.nginx, kind), "a.bin"))
                self.assertIn("127.0.0.1", reason)
                self.assertIn(words, reason)

    def test_authority_is_trusted_only_if_the_settings_name_it(self):
        self.session = self.new_session(ExtraCertificates="")
        self.session.start()
        reason = self.refused(self.nginx.url(self.nginx.plain, "a.bin"))
        self.assertIn("127.0.0.1 is not trusted: the authority of the certificate is not known", reason)


    def test_server_that_says_goodbye_in_the_handshake_is_tried_again(self):
        hellos = []

        def serve():
            while True:
                try:
                    connection, _ = listener.accept()
                except OSError:
                    return
                with connection:
                    hellos.append(connection.recv(4096))
                    connection.sendall(b"\x15\x03\x03\x00\x02\x01\x00")  # close_notify
        listener = socket.create_server(("127.0.0.1", 0))
        self.addCleanup(listener.close)
        self.addCleanup(listener.shutdown, socket.SHUT_RDWR)
        threading.Thread(target=serve, daemon=True).start()
        self.session.start()
        url = self.begin_url("https://127.0.0.1:%d/a.bin" % listener.getsockname()[1])
        harness.wait_until(lambda: len(hellos) > 1, 20, "a second try")
        self.assertEqual(self.state(url), "active")


class Addresses(Web):
    def test_ipv6_literal(self):
        self.session.start()
        self.finish(self.begin_url("https://[::1]:%d/a.bin" % self.nginx.six), DATA)

    def test_name_with_a_dead_address_is_reached_by_the_other(self):
        silent = webservers.SilentSix(self.nginx.plain)
        self.addCleanup(silent.close)
        self.session.preload("two_families.cpp")
        self.session.start()
        self.finish(self.begin_url("https://both.pellora.test:%d/a.bin" % self.nginx.plain), DATA, 5)


class HostKeys(Web):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.ssh = webservers.OpenSsh()
        cls.addClassCleanup(lambda: cls.ssh.close())
        for name in ("one.bin", "two.bin"):
            cls.ssh.put(name, DATA)

    def setUp(self):
        super().setUp()
        self.folder = os.path.join(self.session.home, ".ssh")
        self.known = os.path.join(self.folder, "known_hosts")

    def bring_key(self):
        shutil.copy(self.ssh.key, os.path.join(self.folder, "id_ed25519"))

    def test_unknown_host_is_asked_about_once_and_a_changed_key_refused(self):
        os.mkdir(self.folder, 0o700)
        self.bring_key()
        self.start_with_screen()
        question = ("The host 127.0.0.1 is unknown. Its key has the fingerprint %s. Trust this server?" %
                    self.ssh.fingerprint())
        first = self.begin_url(self.ssh.url("one.bin"))
        self.screen.wait("push button", "Trust")
        self.assertTrue([e for e in self.screen.elements() if question in (e.name, e.text)],
                        self.screen.elements())
        self.session.save_screenshot("host_key")
        self.screen.click("push button", "Trust")
        self.finish(first, DATA)
        self.assertEqual(os.stat(self.known).st_mode & 0o7777, 0o600)
        found = subprocess.run(["ssh-keygen", "-F", "[127.0.0.1]:%d" % self.ssh.port, "-f", self.known], check=False,
                               capture_output=True)
        self.assertEqual(found.returncode, 0, "OpenSSH reads the line too")
        self.stop()
        subprocess.run(["ssh-keygen", "-q", "-H", "-f", self.known], check=True, stdin=subprocess.DEVNULL,
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.session.start()
        second = self.begin_url(self.ssh.url("two.bin"))
        self.finish(second, DATA)  # without a question

        self.ssh.close()
        self.ssh.start("changed")
        third = self.begin_url(self.ssh.url("three.bin"))
        self.wait_state(third, "failed")
        self.assertEqual(self.session.companion.find(third).reason,
                         "The host 127.0.0.1 is not trusted: the host key is not the one in known_hosts")
        self.assertEqual(self.session.dialogs(), [])


class Ftps(Web):
    def test_file_comes_by_tls(self):
        server = webservers.TlsVsftpd(self.nginx.trust)
        self.addCleanup(server.close)
        server.put("a.bin", DATA)
        self.session.start()
        self.finish(self.begin_url(server.url("a.bin")), DATA)


class Environment(Web):
    def setUp(self):
        super().setUp()
        self.proxy = servers.Tinyproxy()
        self.addCleanup(self.proxy.close)
        self.url = self.nginx.url(self.nginx.plain, "a.bin")

    def test_proxy_of_the_environment_gets_tunnels(self):
        self.session.env["https_proxy"] = "127.0.0.1:%d" % self.proxy.port
        self.session.start()
        self.finish(self.begin_url(self.url), DATA)
        self.assertIn("CONNECT 127.0.0.1:%d HTTP/1.1" % self.nginx.plain, self.proxy.log_text())

    def test_host_that_is_excepted_is_reached_directly(self):
        self.session.env.update(all_proxy="http://127.0.0.1:%d" % self.proxy.port, no_proxy="localhost,127.0.0.1")
        self.session.start()
        self.finish(self.begin_url(self.url), DATA)
        self.assertNotIn("CONNECT 127.0.0.1:%d" % self.nginx.plain, self.proxy.log_text())

    def test_netrc_gives_a_login_unless_others_can_read_it(self):
        netrc = os.path.join(self.session.home, ".netrc")
        with open(netrc, "w", encoding="ascii") as f:
            f.write("machine 127.0.0.1\n  login joe\n  password \"s3cret\"\n")
        os.chmod(netrc, 0o644)
        self.session.start()
        url = self.nginx.url(self.nginx.plain, "private/a.bin")
        self.refused(url)
        os.chmod(netrc, 0o600)
        self.session.resume()
        self.finish(url, DATA)


class Secrets(Web):
    def test_login_is_shown_and_stored_nowhere(self):
        self.session.start()
        address = self.nginx.url(self.nginx.slow, "private/a.bin")
        self.session.menu_url(address.replace("//", "//joe:s3cret@"))
        def listed():
            return next(iter(self.session.companion.downloads()), None)
        harness.wait_until(lambda: listed() and listed().received > 1_000_000, 30, "a part of the file")
        self.check_that_nothing_names_it()
        [download] = self.session.companion.wait_finished([listed().url], 60)
        with open(download.saved_path, "rb") as f:
            self.assertTrue(f.read() == DATA)
        self.check_that_nothing_names_it()
        self.stop()
        self.check_files()

    def check_that_nothing_names_it(self):
        with open("/proc/%d/cmdline" % self.session.process.pid, "rb") as f:
            self.assertNotIn(b"s3cret", f.read())
        for _, title, _ in self.session.own_windows():
            self.assertNotIn("s3cret", title)
        self.assertNotIn(b"s3cret", self.session.companion.run("list").stdout)
        self.check_files()

    def check_files(self):
        files = self.session.tree()
        self.assertTrue(any(name.endswith("Pellora.fetch") for name in files), files)
        for name in files:
            path = os.path.join(self.session.root, name)
            if os.path.isfile(path):  # not the bus
                with open(path, "rb") as f:
                    self.assertNotIn(b"s3cret", f.read(), name)

    def test_program_that_opens_a_file_inherits_no_connection(self):
        folder = os.path.join(self.session.root, "bin")
        os.mkdir(folder)
        opened = os.path.join(self.session.root, "opened")
        harness.write_script(os.path.join(folder, "xdg-open"), "ls -l /proc/$$/fd >%s.new; mv %s.new %s" % ((opened,) * 3))
        self.session.env["PATH"] = folder + ":" + self.session.env["PATH"]
        self.start_with_screen()
        done = self.begin_url(self.nginx.url(self.nginx.plain, "small.bin"))
        self.finish(done, DATA[:1000])
        running = self.begin_url(self.nginx.url(self.nginx.slow, "a.bin"))
        harness.wait_until(lambda: self.received(running) > 1_000_000, 30, "connections")
        self.screen.double_click("table cell", "small.bin", harness.MAIN)
        harness.wait_until(lambda: os.path.exists(opened), 20, "the opener")
        self.assertEqual(self.state(running), "active")
        with open(opened, encoding="utf-8") as f:
            inherited = f.read()
        self.assertIn("/dev/null", inherited)
        self.assertNotIn("socket:", inherited)
        self.assertNotIn(".part", inherited)


if __name__ == "__main__":
    unittest.main()

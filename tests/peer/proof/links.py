#!/usr/bin/env python3
"""The real program and real servers at the two ends of a link that goes down and up, loses its address, is slow or
drops packets; and either end is stopped, killed and restarted.

    links.py [-k PATTERN]...        as root: the link is in its own network namespaces, which end with it"""

import os
import signal
import subprocess
import sys
import time

import support
import ftpservers
import harness
import listfile
import origin
import servers
from case import Case

CLIENT, SERVER = "10.77.0.1", "10.77.0.2"
SIZE = 3000000


def ip(*words):
    subprocess.run(["ip", *words], check=True, stdin=subprocess.DEVNULL)


class Link:
    """A pair of interfaces: `client` here, `server` in a network namespace owned only by a sleeping process."""

    def __init__(self):
        self.owner = subprocess.Popen(["unshare", "--net", "sleep", "infinity"], stdin=subprocess.DEVNULL)
        own = os.readlink("/proc/self/ns/net")
        harness.wait_until(lambda: os.readlink("/proc/%d/ns/net" % self.owner.pid) != own, 10, "the other network")
        self.prefix = ("nsenter", "--net=/proc/%d/ns/net" % self.owner.pid)
        ip("link", "add", "client", "type", "veth", "peer", "name", "server", "netns", str(self.owner.pid))
        self.restore()
        self.there("ip", "link", "set", "lo", "up")
        self.there("ip", "address", "add", SERVER + "/24", "dev", "server")
        self.there("ip", "link", "set", "server", "up")
        ip("link", "set", "client", "up")

    def there(self, *words):
        subprocess.run([*self.prefix, *words], check=True, stdin=subprocess.DEVNULL)

    def down(self):
        ip("link", "set", "client", "down")

    def up(self):
        ip("link", "set", "client", "up")

    def lose_address(self):
        ip("address", "del", CLIENT + "/24", "dev", "client")

    def restore(self):
        ip("address", "add", CLIENT + "/24", "dev", "client")

    def slow(self, *shape):
        """Shapes what the server sends with a token bucket; what does not fit into its queue is dropped."""
        self.there("tc", "qdisc", "add", "dev", "server", "root", "tbf", *shape)

    def close(self):
        ip("link", "del", "client")
        harness.end_process(self.owner)


class RemoteNginx(servers.Nginx):
    address = SERVER

    def __init__(self, link, rate="150k"):
        self.prefix = link.prefix
        self.rules = {"port": "limit_rate %s;" % rate}
        super().__init__()

    def accesses(self):
        with open(os.path.join(self.folder, "access.log"), encoding="ascii") as f:
            return f.read().splitlines()


class RemoteVsftpd(ftpservers.Vsftpd):
    address = SERVER


class RemoteProftpd(ftpservers.Proftpd):
    address = SERVER


class RemoteTinyproxy(servers.Tinyproxy):
    address = SERVER

    def __init__(self, link):
        self.prefix = link.prefix
        super().__init__()


class Base(Case):
    settings = {"MaxSegments": 4}

    def setUp(self):
        super().setUp()
        self.link = Link()
        self.addCleanup(self.link.close)
        self.session.start()

    def start_nginx(self, rate="150k"):
        """The server and the URL of its file."""
        nginx = RemoteNginx(self.link, rate)
        self.addCleanup(nginx.close)
        nginx.put("a.bin", origin.content(SIZE))
        return nginx, nginx.url(nginx.port, "a.bin")

    def begin(self, url):
        super().begin(url)
        harness.wait_until(lambda: self.received(url) > 200000, 30, "more bytes")

    def finish(self, url, timeout=90):
        [download] = self.session.companion.wait_finished([url], timeout)
        self.assertEqual(harness.digest(download.saved_path), origin.content_digest(SIZE))
        self.assertEqual(self.session.dialogs(), [])
        self.stop()
        self.assertEqual(os.listdir(self.session.parts), [])

    def expect_stalled(self, url):
        """Checks that nothing is received any more and that the program responds."""
        time.sleep(1)
        before = self.received(url)
        time.sleep(2)
        self.assertEqual(self.received(url), before)
        self.assertFalse(self.session.companion.find(url).finished)
        self.assertLess(self.session.response_seconds(), harness.PROMPT)

    def pause(self, url):
        self.session.choose("alt+a", "u")
        self.wait_state(url, "paused")


class SlowLinks:
    """Tests of slow links, for either engine."""

    def test_slow_link_with_a_short_queue_loses_packets_but_no_byte(self):
        self.link.slow("rate", "2mbit", "burst", "10kb", "limit", "15000")
        _, url = self.start_nginx("0")
        self.session.menu_url(url)
        self.finish(url)

    def test_slow_link_with_a_long_queue_delays_but_completes_the_download(self):
        self.link.slow("rate", "3mbit", "burst", "10kb", "latency", "1500ms")
        _, url = self.start_nginx("0")
        self.session.menu_url(url)
        self.finish(url)


class Links(SlowLinks, Base):
    def test_download_continues_after_the_link_was_down_for_a_while(self):
        _, url = self.start_nginx()
        self.begin(url)
        self.link.down()
        self.expect_stalled(url)
        self.link.up()
        self.finish(url)

    def test_download_continues_after_an_address_was_lost_and_restored(self):
        _, url = self.start_nginx()
        self.begin(url)
        self.link.lose_address()
        self.expect_stalled(url)
        self.link.restore()
        self.finish(url)

    def question(self, url):
        began = time.monotonic()
        self.session.menu_url(url)
        window, _ = self.session.wait_dialog(30)
        waited = time.monotonic() - began
        self.assertGreater(waited, 9)
        self.assertLess(waited, 30)
        return window

    def test_link_down_at_the_start_asks_after_ten_seconds_and_yes_keeps_the_record(self):
        _, url = self.start_nginx()
        self.link.down()
        self.session.dismiss(self.question(url), "alt+y")
        harness.wait_until(lambda: self.session.companion.find(url).state not in ("active", "queued"), 10, "its state")
        self.assertFalse(self.session.companion.find(url).finished)
        self.assertEqual(listfile_connect_state(self.session, url), b"1")
        self.link.up()
        self.session.resume()
        self.finish(url)

    def test_link_down_at_the_start_asks_and_no_removes_the_record(self):
        _, url = self.start_nginx()
        self.link.down()
        self.session.dismiss(self.question(url), "alt+n")
        self.wait_state(url, None)
        self.link.up()
        self.session.menu_url(url)
        self.finish(url)

    def test_link_down_during_a_pause_asks_nothing_and_resume_works_when_up(self):
        _, url = self.start_nginx()
        self.begin(url)
        self.pause(url)
        self.link.down()
        time.sleep(3)
        self.session.resume()
        # The segments cannot connect; the stall watch retries each every twenty seconds.
        time.sleep(5)
        self.assertLess(self.session.response_seconds(), harness.PROMPT)
        self.link.up()
        self.finish(url)


def listfile_connect_state(session, url):
    """The field in the list file after the next save."""
    def saved():
        with open(session.list_file, "rb") as f:
            data = f.read()
        # RestState, ConnectState, a reserved text and the referrer are consecutive; all but the second are empty.
        return listfile.find(session.list_file, url) and b"\x00\x00\x01\x001\x00\x00" in data
    harness.wait_until(saved, 10, "the saved state")
    return b"1"


class Proxy(Base):
    def test_probe_through_a_proxy_on_a_slow_link_completes_the_download(self):
        self.link.slow("rate", "3mbit", "burst", "10kb", "latency", "400ms")
        _, url = self.start_nginx("0")
        proxy = RemoteTinyproxy(self.link)
        self.addCleanup(proxy.close)
        relay = servers.WholeHeaders(proxy.port, SERVER)
        self.addCleanup(relay.close)
        self.stop()
        self.session.write_settings(self.session.settings_file, {
            "CheckClipboard": "False", "MaxSegments": 4, "ProxyHTTP": "True", "ProxyServer": "127.0.0.1",
            "ProxyPort": relay.port})
        self.session.start()
        self.session.menu_url(url)
        self.finish(url)
        self.assertEqual(proxy.log_text().count("GET " + url), 1)


class Interruptions(Base):
    def test_stopped_server_that_continues_is_awaited(self):
        nginx, url = self.start_nginx()
        self.begin(url)
        nginx.process.send_signal(signal.SIGSTOP)
        self.addCleanup(nginx.process.send_signal, signal.SIGCONT)
        self.expect_stalled(url)
        nginx.process.send_signal(signal.SIGCONT)
        self.finish(url)

    def test_silent_server_is_reconnected_after_25_seconds(self):
        nginx, url = self.start_nginx()
        self.begin(url)
        self.pause(url)
        kept = self.received(url)
        before = len(nginx.accesses())
        nginx.process.send_signal(signal.SIGSTOP)
        self.addCleanup(nginx.process.send_signal, signal.SIGCONT)
        self.session.resume()
        time.sleep(32)
        self.assertLess(self.session.response_seconds(), harness.PROMPT)
        self.assertEqual(self.received(url), kept)
        nginx.process.send_signal(signal.SIGCONT)
        self.finish(url)
        # Four segments, each requested at least twice because the first connections were given up.
        self.assertGreaterEqual(len(nginx.accesses()) - before, 8)

    def test_killed_server_stalls_the_download_until_resume_completes_it(self):
        nginx, url = self.start_nginx()
        self.begin(url)
        nginx.process.kill()
        nginx.process.wait()
        self.expect_stalled(url)
        nginx.start()
        self.expect_stalled(url)
        self.pause(url)
        self.session.resume()
        self.finish(url)

    def test_stopped_program_that_continues_loses_nothing(self):
        _, url = self.start_nginx()
        self.begin(url)
        self.session.process.send_signal(signal.SIGSTOP)
        time.sleep(15)
        self.session.process.send_signal(signal.SIGCONT)
        self.finish(url)

    def test_program_killed_while_the_link_is_down_resumes_when_it_is_up(self):
        _, url = self.start_nginx()
        self.begin(url)
        harness.wait_until(lambda: getattr(listfile.find(self.session.list_file, url), "kept", 0) > 0, 10, "a save")
        self.link.down()
        time.sleep(1)
        self.session.kill()
        self.session.start()
        self.link.up()
        self.session.resume()
        self.finish(url)


class Ftp(Base):
    def through_a_broken_link(self, kind):
        kind.prefix = self.link.prefix
        server = kind(rate=150000)
        self.addCleanup(server.close)
        server.put("a.bin", origin.content(SIZE))
        url = server.url("a.bin")
        self.begin(url)
        self.link.down()
        self.expect_stalled(url)
        self.link.up()
        self.finish(url, 120)

    def test_vsftpd_download_completes_over_a_link_that_goes_down_and_up(self):
        self.through_a_broken_link(RemoteVsftpd)

    def test_proftpd_download_completes_over_a_link_that_goes_down_and_up(self):
        self.through_a_broken_link(RemoteProftpd)

    def test_vsftpd_download_resumes_after_the_server_was_killed_and_restarted(self):
        RemoteVsftpd.prefix = self.link.prefix
        server = RemoteVsftpd(rate=150000)
        self.addCleanup(server.close)
        server.put("a.bin", origin.content(SIZE))
        url = server.url("a.bin")
        self.begin(url)
        os.killpg(server.process.pid, signal.SIGKILL)
        server.process.wait()
        self.expect_stalled(url)
        server.start()
        self.pause(url)
        self.session.resume()
        self.finish(url, 120)


if __name__ == "__main__":
    support.own_network(sys.argv)
    support.run()

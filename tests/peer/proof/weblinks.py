#!/usr/bin/env python3
"""The web engine of the real program by https at the end of a link that goes down and up, gets another address, is slow or
drops packets; and either end is stopped, killed and restarted. The user does nothing: the download continues by itself.

    weblinks.py [-k PATTERN]...     as root: the link is in its own network namespaces, which end with it"""

import os
import signal
import sys
import time

import support
import harness
import links
import origin
import webservers
from links import SERVER, SIZE

OTHER_CLIENT = "10.77.0.9"


class RemoteTlsNginx(links.RemoteNginx):
    def __init__(self, link, trust, rate):
        self.secured = trust.lines("remote")
        super().__init__(link, rate)

    def rules_of(self, name):
        return self.secured + super().rules_of(name)

    def url(self, port, name):
        return "https://%s:%d/%s" % (self.address, port, name)


class Base(links.Base):
    def setUp(self):
        self.trust = webservers.Authority()
        self.trust.issue("remote", "subjectAltName=IP:" + SERVER, 30)
        self.settings = {"MaxSegments": 4, "ExtraCertificates": self.trust.file}
        super().setUp()

    def start_nginx(self, rate="150k"):
        nginx = RemoteTlsNginx(self.link, self.trust, rate)
        self.addCleanup(lambda: nginx.close())  # whichever process it is by then
        nginx.put("a.bin", origin.content(SIZE))
        return nginx, nginx.url(nginx.port, "a.bin")

    def begin_slowly(self):
        nginx, url = self.start_nginx()
        self.begin(url)
        return nginx, url

    def finish(self, url, timeout=120):
        super().finish(url, timeout)
        self.assertEqual(os.listdir(self.session.downloads), ["a.bin"])


class Links(links.SlowLinks, Base):
    def test_download_continues_after_the_link_was_down_for_a_while(self):
        _, url = self.begin_slowly()
        self.link.down()
        self.expect_stalled(url)
        self.link.up()
        self.finish(url)

    def test_download_continues_after_the_link_was_down_for_longer_than_connections_are_kept(self):
        _, url = self.begin_slowly()
        self.link.down()
        time.sleep(75)
        self.expect_stalled(url)
        self.link.up()
        self.finish(url)

    def test_download_survives_a_link_that_goes_down_every_three_seconds(self):
        _, url = self.begin_slowly()
        for _ in range(8):
            self.link.down()
            time.sleep(1.5)
            self.link.up()
            time.sleep(1.5)
        self.finish(url)

    def test_download_continues_after_an_address_was_lost_and_restored(self):
        _, url = self.begin_slowly()
        self.link.lose_address()
        self.expect_stalled(url)
        self.link.restore()
        self.finish(url)

    def test_download_continues_from_another_address_than_it_began(self):
        nginx, url = self.begin_slowly()
        self.link.lose_address()
        links.ip("address", "add", OTHER_CLIENT + "/24", "dev", "client")
        self.finish(url)
        self.assertIn(OTHER_CLIENT, {line.split()[0] for line in nginx.accesses()})

    def test_download_that_is_added_while_the_link_is_down_begins_when_it_is_up(self):
        _, url = self.start_nginx()
        self.link.down()
        self.session.menu_url(url)
        time.sleep(15)
        self.assertEqual(self.session.dialogs(), [])
        self.assertEqual(self.received(url), 0)
        self.link.up()
        self.finish(url)

    def test_download_that_is_resumed_while_the_link_is_down_continues_when_it_is_up(self):
        _, url = self.begin_slowly()
        self.pause(url)
        kept = self.received(url)
        self.link.down()
        self.session.resume()
        time.sleep(5)
        self.assertEqual(self.received(url), kept)
        self.link.up()
        self.finish(url)


class Interruptions(Base):
    def test_server_that_stops_for_a_minute_and_continues_is_awaited(self):
        nginx, url = self.begin_slowly()
        nginx.process.send_signal(signal.SIGSTOP)
        self.addCleanup(nginx.process.send_signal, signal.SIGCONT)
        time.sleep(60)
        self.expect_stalled(url)
        nginx.process.send_signal(signal.SIGCONT)
        self.finish(url)

    def test_download_continues_when_its_server_starts_again(self):
        nginx, url = self.begin_slowly()
        nginx.process.kill()
        nginx.process.wait()
        self.expect_stalled(url)
        nginx.start()
        self.finish(url)

    def test_stopped_program_that_continues_loses_nothing(self):
        _, url = self.begin_slowly()
        self.session.process.send_signal(signal.SIGSTOP)
        time.sleep(15)
        self.session.process.send_signal(signal.SIGCONT)
        self.finish(url)

    def test_program_that_is_killed_while_the_link_is_down_keeps_what_it_has(self):
        _, url = self.begin_slowly()
        kept = self.received(url)
        time.sleep(3)
        self.link.down()
        time.sleep(1)
        self.session.kill()
        self.session.start()
        self.assertGreaterEqual(self.received(url), kept)
        self.session.resume()
        time.sleep(5)
        self.link.up()
        self.finish(url)


if __name__ == "__main__":
    support.own_network(sys.argv)
    support.run()

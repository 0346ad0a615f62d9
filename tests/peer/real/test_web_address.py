"""Another address for a download over https, by the menu of the list and its window."""

import random
import unittest

import harness
from case import Case
from webservers import TlsNginx

MAIN = harness.MAIN
TITLE = "Change Address"


class WebAddress(Case):
    @classmethod
    def setUpClass(cls):
        cls.nginx = TlsNginx()
        cls.addClassCleanup(cls.nginx.close)
        cls.data = random.Random(1).randbytes(24_000_000)
        cls.settings = {"MaxSegments": 4, "ExtraCertificates": cls.nginx.authority}

    def setUp(self):
        super().setUp()
        self.nginx.put("a.bin", self.data)
        self.start_with_screen()
        self.url = self.nginx.url(self.nginx.slow, "a.bin")

    def pause_with_a_part(self):
        self.session.menu_url(self.url)
        harness.wait_until(lambda: self.received(self.url) > 8_000_000, 30, "a part of the file")
        self.session.companion.run("pause", self.url)
        self.wait_state(self.url, "paused")

    def enter(self, url):
        self.screen.raise_window(MAIN)
        self.open_menu(lambda: self.screen.click("table cell", "a.bin", MAIN, button=3))
        self.session.save_screenshot("queue-menu")
        self.screen.keys("c")
        self.screen.wait("text", "New address of a.bin :", TITLE)
        self.session.save_screenshot("change-address")
        self.screen.type(url)
        self.screen.keys("Return")

    def test_download_continues_from_the_address_that_was_entered(self):
        self.pause_with_a_part()
        self.nginx.put("b.bin", self.data)  # with another validator
        fresh = self.nginx.url(self.nginx.slow, "b.bin")
        sent = len(self.nginx.log())
        self.enter(fresh)
        [download] = self.session.companion.wait_finished([fresh], 60)
        with open(download.saved_path, "rb") as f:
            self.assertTrue(f.read() == self.data)
        self.assertTrue(download.saved_path.endswith("/a.bin"))
        self.assertNotIn("a.bin", "".join(map(str, self.nginx.log()[sent:])))
        self.assertIsNone(self.session.companion.find(self.url))

    def test_another_file_is_refused_and_the_former_address_stays(self):
        self.pause_with_a_part()
        self.nginx.put("b.bin", self.data[:-5])
        self.enter(self.nginx.url(self.nginx.slow, "b.bin"))
        self.wait_state(self.url, "failed")
        self.assertEqual(self.session.companion.find(self.url).reason,
                         "The former address was kept. At the new address the file has 23999995 bytes instead of 24000000.")
        self.session.resume()
        [download] = self.session.companion.wait_finished([self.url], 60)
        with open(download.saved_path, "rb") as f:
            self.assertTrue(f.read() == self.data)

    def test_what_is_no_address_is_refused_in_the_window(self):
        self.pause_with_a_part()
        self.enter("nowhere")
        self.screen.wait("label", "This is not an address that Pellora can download. It must name a server and may name a "
                         "port and a path, for example https://example.com/file.zip", TITLE)
        self.session.save_screenshot("change-address-refused")
        self.screen.keys("Escape")
        self.screen.wait_gone("text", "New address of a.bin :", TITLE)
        self.assertEqual(self.state(self.url), "paused")


if __name__ == "__main__":
    unittest.main()

"""An SSH server that floods the web engine with replies to no request: memory is bounded, and the window answers."""

import os
import shutil
import subprocess
import unittest

import harness
import webservers
from case import Case

MEGABYTE = 1 << 20
PROMPT = 2  # seconds


class FloodingSsh(webservers.OpenSsh):
    """Root runs it as an account that has no shell. Without one sshd would not start the program that serves files."""

    def __init__(self, victim):
        self.victim = victim
        super().__init__()

    def start(self, host_key):
        library, program = (os.path.join(self.folder, name) for name in ("loginshell.so", "sftpflood.py"))
        subprocess.run(["g++", "-std=c++20", "-shared", "-fPIC", "-o", library,
                        os.path.join(harness.HERE, "loginshell.cpp"), "-ldl"], stdin=subprocess.DEVNULL, check=True)
        shutil.copy(os.path.join(harness.HERE, "sftpflood.py"), program)
        os.chmod(program, 0o644)
        self.sftp = "python3 %s %s" % (program, self.victim)
        self.env = {**os.environ, "LD_PRELOAD": library}
        super().start(host_key)


class SftpFloods(Case):
    settings = {"WebEngine": 2}

    def start(self, kind, *arguments):
        server = kind(*arguments)
        self.addCleanup(server.close)
        server.befriend(self.session.home)
        self.session.start()
        return server

    def expect_little_taken(self, victim):
        server = self.start(FloodingSsh, victim)
        before = self.session.memory("VmRSS")
        url = server.url("a.bin")
        self.session.menu_url(url)
        harness.wait_until(lambda: "was lost" in getattr(self.session.companion.find(url), "reason", ""), 20,
                           "the end of the flood")
        self.assertLess(self.session.response_seconds(), PROMPT)
        self.assertLess(self.session.memory("VmHWM") - before, 250 * MEGABYTE)

    def test_replies_to_no_request_before_the_file_is_open(self):
        self.expect_little_taken("open")

    def test_replies_to_no_request_before_the_first_byte(self):
        self.expect_little_taken("read")

    def test_long_file_is_no_flood(self):
        server = self.start(webservers.OpenSsh)
        server.put("long.bin", b"")
        os.truncate(os.path.join(server.folder, "long.bin"), 100 * MEGABYTE)
        url = server.url("long.bin")
        self.session.menu_url(url)
        [download] = self.session.companion.wait_finished([url], 30)
        self.assertEqual(os.path.getsize(download.saved_path), 100 * MEGABYTE)
        self.assertEqual(download.reason, "")


if __name__ == "__main__":
    unittest.main()

"""The path from a browser to the list, without a browser: the messaging host on a real bus, the manifests written at a
start, and the entries by which bus and session start the program from a folder with blanks in its path."""

import json
import os
import shlex
import socket
import struct
import subprocess
import time
import unittest

import harness
import loginservers
import webservers
from case import Case

HOST = "pellora-browser-host"
MANIFEST = "pelloraproject.pellora.json"


def frame(request):
    raw = request if isinstance(request, bytes) else json.dumps(request).encode()
    return struct.pack("=I", len(raw)) + raw


class HandOver(Case):
    settings = {"MaxSegments": 4}

    def setUp(self):
        super().setUp()
        self.session.move_program("a program with blanks")

    def host(self, data, **changes):
        """(answers, exit code) of the host for these bytes."""
        env = dict(self.session.env)
        for name, value in changes.items():
            env.pop(name, None)
            if value is not None:
                env[name] = value
        result = subprocess.run([os.path.join(self.session.program, HOST), "/manifest.json", "pellora@pellora.example"],
                                input=data, env=env, capture_output=True, timeout=60, check=False)
        answers, rest = [], result.stdout
        while rest:
            length = struct.unpack("=I", rest[:4])[0]
            answers.append(json.loads(rest[4:4 + length]))
            rest = rest[4 + length:]
        return answers, result.returncode

    def adopt(self):
        """Ends the program that the bus has started together with the session."""
        harness.wait_until(self.session.name_taken, 20, "the program on its bus")
        self.addCleanup(os.kill, self.session.owner(), 15)


class Host(HandOver):
    def test_hands_links_to_the_running_program(self):
        self.session.start()
        urls = [self.serve("/a.bin"), self.serve("/b.bin")]
        answers, code = self.host(frame({"url": urls[0], "referrer": "http://p.example/", "cookie": "k=v"}) +
                                  frame({"url": urls[1]}))
        self.assertEqual((answers, code), ([{"ok": True}, {"ok": True}], 0))
        self.session.companion.wait_finished(urls, 30)
        for request in self.origin.requests_for("/a.bin"):
            self.assertNotIn(b"k=v", request.raw)

    def test_starts_the_program_if_it_is_not_running(self):
        self.session.start()
        self.stop()
        url = self.serve("/a.bin")
        self.assertEqual(self.host(frame({"url": url})), ([{"ok": True}], 0))
        self.adopt()
        self.session.companion.wait_finished([url], 30)

    def test_finds_the_session_bus_if_the_browser_hides_it(self):
        self.session.start()
        url = self.serve("/a.bin")
        for hidden in ("disabled:", "", None):
            answers, code = self.host(frame({"url": url}), DBUS_SESSION_BUS_ADDRESS=hidden)
            self.assertEqual((answers, code), ([{"ok": True}], 0), hidden)

    def test_reports_what_is_wrong(self):
        [answer], code = self.host(frame({"url": "http://a.example/b"}))
        self.assertEqual(code, 0)
        self.assertFalse(answer["ok"])
        self.assertIn("start it once", answer["error"])
        [answer], code = self.host(frame({"url": "http://a.example/b"}), DBUS_SESSION_BUS_ADDRESS=None,
                                   XDG_RUNTIME_DIR=self.session.home)
        self.assertIn("bus", answer["error"])
        [answer], code = self.host(frame({"url": "file:///a/b"}))
        self.assertIn("no addresses of this kind", answer["error"])

    def test_takes_nothing_over_and_starts_nothing_while_the_program_is_not_running(self):
        self.session.start()
        self.stop()
        begun = {"command": "take-over", "url": "https://a.example/b", "size": 7, "type": "a/b"}
        answers, code = self.host(frame(begun) + frame({"command": "list"}) + frame({"command": "pause", "id": "1-2-3"}))
        self.assertEqual(code, 0)
        self.assertEqual(answers, [{"ok": False, "absent": True, "error": "Pellora is not running."}] * 3)
        self.assertFalse(self.session.name_taken())

    def test_lists_and_pauses_what_runs(self):
        self.session.start()
        url = self.slow()
        [answer], _ = self.host(frame({"command": "list"}))
        [shown] = answer["downloads"]
        self.assertEqual((answer["ok"], answer["running"], answer["more"], shown["state"]), (True, 1, 0, "active"))
        [paused], _ = self.host(frame({"command": "pause", "id": shown["id"]}))
        self.assertEqual(paused, {"ok": True})
        self.wait_state(url, "paused")
        [again], _ = self.host(frame({"command": "pause", "id": shown["id"]}))
        self.assertEqual(again, {"ok": False, "error": "It is not running."})

    def test_adds_one_of_many_without_a_question_by_either_engine(self):
        self.session.start()
        url = self.serve("/a.bin")
        wish = {"url": url, "referrer": "http://p.example/", "quiet": True}
        self.assertEqual(self.host(frame(wish)), ([{"ok": True}], 0))
        self.session.companion.wait_finished([url], 30)
        self.assertEqual(self.host(frame(wish)), ([{"ok": False, "error": "It is in the list already."}], 0))
        self.assertEqual(self.session.dialogs(), [])

    def test_exits_cleanly_on_broken_frames(self):
        began = time.monotonic()
        for data, code in ((b"", 0), (struct.pack("=I", 0), 1), (struct.pack("=I", 0xFFFFFFFF), 1),
                           (struct.pack("=I", 0xFFFFFFFF) + b"{" * 100000, 1), (b"\1", 1),
                           (struct.pack("=I", 50) + b"{}", 1), (struct.pack("=I", 1 << 20), 1),
                           (frame(b"not json"), 0), (frame(b"\xff\xfe{}"), 0), (frame(b"[" * 100000), 0),
                           (frame([1, 2]), 0), (frame({"url": {"x": 1}}), 0), (frame({"url": "http://a/\0b"}), 0)):
            answers, ended = self.host(data)
            self.assertEqual(ended, code, data[:20])
            self.assertEqual([a["ok"] for a in answers], [False] if data else [], data[:20])
        self.assertLess(time.monotonic() - began, 120)


class WebEngineOn(HandOver):
    @classmethod
    def setUpClass(cls):
        cls.nginx = webservers.TlsNginx()
        cls.addClassCleanup(cls.nginx.close)
        cls.nginx.put("small.bin", b"file")
        cls.settings = {"MaxSegments": 4, "ExtraCertificates": cls.nginx.authority}

    def test_hands_the_page_over_with_an_https_address(self):
        self.session.start()
        url = self.nginx.url(self.nginx.plain, "small.bin")
        page = self.nginx.url(self.nginx.plain, "page")
        answers, code = self.host(frame({"url": url, "referrer": page, "cookie": "k=v"}))
        self.assertEqual((answers, code), ([{"ok": True}], 0))
        self.session.companion.wait_finished([url], 30)
        self.assertIn('"%s"' % page, self.nginx.log()[-1])
        [answer], _ = self.host(frame({"url": url}))
        self.assertEqual(answer, {"ok": False, "error": "It is in the list already."})

    def test_takes_links_of_the_browsers_own_pages(self):
        self.session.start()
        url = self.nginx.url(self.nginx.plain, "small.bin")
        self.assertEqual(self.host(frame({"url": url, "referrer": "about:home"})), ([{"ok": True}], 0))
        self.session.companion.wait_finished([url], 30)
        self.assertNotIn("about:home", self.nginx.log()[-1])


class LostPage(HandOver):
    settings = {"MaxSegments": 1, "WebEngine": 2}

    def test_server_that_requires_the_page_gets_it_by_a_new_hand_over(self):
        data = bytes(range(256)) * 40_000
        page = "http://pages.example/list-of-files"
        server = loginservers.PageServer(data, "http://pages.example/")
        self.addCleanup(server.close)
        server.slow = True
        self.session.start()
        url = server.url("a.bin")
        handed = frame({"url": url, "referrer": page})
        self.assertEqual(self.host(handed), ([{"ok": True}], 0))
        companion = self.session.companion
        harness.wait_until(lambda: companion.find(url).received > 100_000, 30, "some bytes")
        self.stop()
        self.assertEqual(loginservers.bytes_in_files(self.session.root, page.encode()), [])
        server.slow = False
        self.session.start()
        self.assertEqual(companion.run("resume").returncode, 0)
        harness.wait_until(lambda: companion.find(url).state == "failed", 30, "the refusal")
        self.assertIn("the page that the download began from", companion.find(url).reason)
        self.assertEqual(server.seen[-1], "")
        self.assertEqual(self.host(handed), ([{"ok": True}], 0))
        companion.wait_finished([url], 30)
        self.assertEqual(self.session.dialogs(), [])
        self.assertEqual(len(companion.downloads()), 1)
        with open(companion.find(url).saved_path, "rb") as f:
            self.assertEqual(f.read(), data)


class LostBrowser(HandOver):
    settings = {"WebEngine": 2}

    def test_leaves_a_download_to_the_browser_that_does_not_hear_the_answer(self):
        with socket.create_server(("127.0.0.1", 0)) as silent:
            self.session.start()
            url = "http://127.0.0.1:%d/a.bin" % silent.getsockname()[1]
            process = subprocess.Popen([os.path.join(self.session.program, HOST), "/manifest.json"], env=self.session.env,
                                       stdin=subprocess.PIPE, stdout=subprocess.DEVNULL)
            self.addCleanup(harness.end_process, process)
            with process.stdin:
                process.stdin.write(frame({"command": "take-over", "url": url, "size": 7, "type": "a/b"}))
                process.stdin.flush()
                self.wait_state(url, "active")
                process.kill()
                process.wait()
            began = time.monotonic()
            self.wait_state(url, None)
            self.assertLess(time.monotonic() - began, 15)  # it waits 20 s for the server
        self.stop()


class WebEngineOff(HandOver):
    settings = {"MaxSegments": 4, "WebEngine": 0}

    def test_says_why_the_program_refuses_an_https_address(self):
        self.session.start()
        [answer], code = self.host(frame({"url": "https://a.example/b"}))
        self.assertEqual((answer["ok"], code), (False, 0))
        self.assertIn("no address that Pellora takes", answer["error"])
        self.assertEqual(self.session.dialogs(), [])
        self.stop()


class Manifests(HandOver):
    settings = {"MaxSegments": 4, "BrowserIngeration": "True"}

    def test_are_written_at_a_start_with_the_setting_on_and_removed_with_it_off(self):
        roots = [os.path.join(self.session.home, ".mozilla"),
                 os.path.join(self.session.env["XDG_CONFIG_HOME"], "chromium")]
        folders = ["native-messaging-hosts", "NativeMessagingHosts"]
        for root in roots:
            os.mkdir(root)
        self.session.start()
        for root, folder in zip(roots, folders):
            manifest = os.path.join(root, folder, MANIFEST)
            harness.wait_until(lambda: os.path.exists(manifest), 10, "the manifest")
            with open(manifest, encoding="utf-8") as f:
                path = json.load(f)["path"]
            self.assertEqual(path, os.path.join(self.session.program, HOST))
            self.assertTrue(os.access(path, os.X_OK))
        self.assertFalse(os.path.exists(os.path.join(self.session.env["XDG_CONFIG_HOME"], "google-chrome")))
        self.stop()
        self.session.write_settings(self.session.settings_file, {"BrowserIngeration": "False", "CheckClipboard": "False"})
        self.session.start()
        for root, folder in zip(roots, folders):
            harness.wait_until(lambda: not os.listdir(os.path.join(root, folder)), 10, "the end of the manifest")
        self.stop()

    def test_reach_a_firefox_with_its_profiles_elsewhere(self):
        os.makedirs(os.path.join(self.session.env["XDG_CONFIG_HOME"], "mozilla/firefox"))
        manifest = os.path.join(self.session.home, ".mozilla/native-messaging-hosts", MANIFEST)
        self.session.start()
        harness.wait_until(lambda: os.path.exists(manifest), 10, "the manifest")
        self.assertEqual(os.listdir(os.path.join(self.session.home, ".mozilla")), ["native-messaging-hosts"])

    def test_create_no_folder_without_a_browser(self):
        self.session.start()
        self.stop()
        self.assertFalse(os.path.exists(os.path.join(self.session.home, ".mozilla")))


class Entries(HandOver):
    def test_are_valid_and_start_the_program_from_a_folder_with_blanks(self):
        self.session.start()
        self.assertIn(" ", self.session.program)
        self.stop()
        entry = os.path.join(self.session.env["XDG_DATA_HOME"], "applications/org.pelloraproject.pellora.desktop")
        result = subprocess.run(["desktop-file-validate", entry], capture_output=True, check=False)
        self.assertEqual((result.returncode, result.stdout + result.stderr), (0, b""))
        with open(entry, encoding="utf-8") as f:
            [command] = [line[len("Exec="):].strip() for line in f if line.startswith("Exec=")]
        self.session.process = subprocess.Popen(shlex.split(command), env=self.session.env, cwd="/",
                                                stdin=subprocess.DEVNULL, stdout=self.session.log, stderr=self.session.log)
        harness.wait_until(self.session.name_taken, 20, "the program on its bus")
        self.stop()
        self.session.call_bus("StartServiceByName", harness.BUS_NAME, 0)
        self.adopt()

    def test_start_the_program_from_a_folder_with_an_odd_name(self):
        self.session.move_program("a \"b\" 'c' 50% %u $HOME `d` \\e\\n #f;g=h &i \u00e4 ")
        self.session.start()
        self.stop()
        entry = os.path.join(self.session.env["XDG_DATA_HOME"], "applications/org.pelloraproject.pellora.desktop")
        result = subprocess.run(["desktop-file-validate", entry], capture_output=True, check=False)
        self.assertEqual((result.returncode, result.stdout + result.stderr), (0, b""))

        def launch():
            subprocess.run(["gio", "launch", entry], env=self.session.env, stdin=subprocess.DEVNULL,
                           stdout=self.session.log, stderr=self.session.log, timeout=60, check=True)

        def call():
            self.session.call_program("LeechURL", "", "")
        for start in (launch, call):
            start()
            harness.wait_until(self.session.name_taken, 20, "the program on its bus")
            pid = self.session.owner()
            program = os.readlink("/proc/%d/exe" % pid)
            os.kill(pid, 15)
            self.assertEqual(os.path.dirname(program), self.session.program)
            harness.wait_until(lambda: not self.session.name_taken(), 20, "the end of the program")

    def test_skip_a_folder_with_a_line_break_in_its_name(self):
        self.session.move_program("a\nb")
        chromium = os.path.join(self.session.env["XDG_CONFIG_HOME"], "chromium")
        os.mkdir(chromium)
        self.session.write_settings(self.session.settings_file, {"BrowserIngeration": "True", "CheckClipboard": "False"})
        self.session.start()
        manifest = os.path.join(chromium, "NativeMessagingHosts", MANIFEST)
        harness.wait_until(lambda: os.path.exists(manifest), 10, "the manifest")
        with open(manifest, encoding="utf-8") as f:
            self.assertEqual(json.load(f)["path"], os.path.join(self.session.program, HOST))
        self.stop()
        for name in ("applications/org.pelloraproject.pellora.desktop", "dbus-1/services/PelloraProject.Pellora.service"):
            self.assertFalse(os.path.exists(os.path.join(self.session.env["XDG_DATA_HOME"], name)), name)


if __name__ == "__main__":
    unittest.main()

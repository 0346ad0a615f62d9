"""The command-line companion in scripts: no questions are shown, refusals are reported, and each download has a unique
id."""

import os
import subprocess
import sys
import threading
import time
import unittest

import harness
import listfile
import origin
from case import Case

FETCH = os.path.join(harness.ROOT, "scripts", "fetch.py")


class Scripts(Case):
    settings = {"MaxSegments": 4}

    def setUp(self):
        super().setUp()
        self.session.start()
        self.companion = self.session.companion

    def control(self, *arguments):
        """(exit code, lines, error lines) of pelloractl."""
        result = self.companion.run(*arguments)
        return result.returncode, result.stdout.decode().splitlines(), result.stderr.decode().splitlines()

    def serve_stalling(self, path, size, sent):
        """Serves a file so that each reply stops after `sent` bytes, with the connection left open."""
        ended = threading.Event()
        self.addCleanup(ended.set)

        def reply(connection, request):
            first, last = request.range() or (0, size - 1)
            connection.sendall(b"HTTP/1.1 206 Partial Content\r\nContent-Length: %d\r\n\r\n" % (last + 1 - first) +
                               origin.content(size, 0, first, first + sent))
            ended.wait()
        self.origin.replies[path] = reply
        return self.origin.url(path)

    def serve_slowly(self, path):
        return self.serve(path, 4000000, rate=20000)


class Adding(Scripts):
    settings = {"MaxSegments": 4, "SaveAs": "True"}

    def test_prints_an_id_that_can_be_waited_for(self):
        url = self.serve("/a.bin")
        code, [identity], complaints = self.control("add", url)
        self.assertEqual((code, complaints), (0, []))
        self.assertEqual(self.control("wait", identity)[0], 0)
        [download] = self.companion.downloads()
        self.assertEqual((download.id, download.url, download.state), (identity, url, "finished"))
        self.saved(url)
        self.assertEqual(self.session.dialogs(), [])

    def test_reports_refused_urls_on_standard_error_and_opens_nothing(self):
        url = self.serve("/a.bin")
        self.companion.add(url)
        self.saved(url)
        before = self.session.own_windows()
        for bad, reason in (("gopher://127.0.0.1/x.bin", "no address that Pellora takes"),
                            ("http://127.0.0.1", "no address that Pellora takes"), (url, "in the list already")):
            code, lines, [complaint] = self.control("add", bad)
            self.assertEqual((code, lines), (1, []), bad)
            self.assertTrue(complaint.startswith("pelloractl: %s: " % bad), complaint)
            self.assertIn(reason, complaint)
        time.sleep(1)
        self.assertEqual(self.session.own_windows(), before)
        self.assertEqual(len(self.companion.downloads()), 1)

    def test_starts_the_program_if_it_is_not_running_and_gets_its_answer(self):
        self.assertEqual(self.control("quit")[0], 0)
        self.assertEqual(self.session.process.wait(20), 0)
        code, lines, [complaint] = self.control("add", "gopher://127.0.0.1/x.bin")
        pid = self.session.owner()
        self.assertEqual((code, lines), (1, []), complaint)
        self.assertEqual([w for w in self.session.windows_of(pid) if w[2]], [])
        self.assertEqual(self.control("quit")[0], 0)
        harness.wait_until(lambda: harness.has_ended(pid), 20, "the end of the program")

    def test_url_command_reports_refused_urls_at_once(self):
        good, bad = self.serve("/a.bin"), "gopher://127.0.0.1/x.bin"
        def fetch(*urls):
            return subprocess.run([sys.executable, FETCH, self.companion.path, *urls], env=self.session.env,
                                  stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=60, check=False)
        result = fetch(bad, good)
        self.assertEqual(result.returncode, 1, result.stderr)
        self.assertIn("not downloaded: %s: It is no address" % bad, result.stderr)
        self.assertIn("saved: %sa.bin" % self.session.downloads, result.stdout)
        again = fetch(good)
        self.assertEqual((again.returncode, again.stderr), (0, ""))
        self.assertEqual(again.stdout.splitlines(), ["%s was downloaded before." % good,
                                                     "saved: %sa.bin" % self.session.downloads])


class Changing(Scripts):
    def test_pauses_and_removes_one_download_and_never_its_replacement(self):
        urls = [self.serve_slowly(path) for path in ("/first.bin", "/other.bin", "/second.bin")]
        first, other = self.companion.add(*urls[:2])
        self.wait_state(urls[0], "active")
        self.wait_state(urls[1], "active")
        harness.wait_until(lambda: [n for n in os.listdir(self.session.parts) if n.startswith("first")], 20, "its parts")
        self.assertEqual(self.control("pause", first), (0, [], []))
        self.assertEqual(list(map(self.state, urls)), ["paused", "active", None])
        self.assertEqual(self.control("pause", first), (1, [], ["pelloractl: %s: It is not running." % first]))
        self.assertEqual(self.control("remove", first), (0, [], []))
        self.assertEqual([n for n in os.listdir(self.session.parts) if n.startswith("first")], [])
        [place] = self.companion.add(urls[2])
        self.assertEqual(place.split("-")[0], first.split("-")[0])
        for command in ("pause", "remove"):
            code, _, [complaint] = self.control(command, first)
            self.assertEqual(code, 1)
            self.assertIn("No listed download has this id", complaint)
        self.wait_state(urls[2], "active")
        self.assertEqual(self.control("remove", urls[2], other), (0, [], []))
        self.assertEqual(self.companion.downloads(), [])
        self.assertEqual(self.session.dialogs(), [])

    def test_removes_a_finished_download_and_keeps_its_file(self):
        url = self.serve("/a.bin")
        self.companion.add(url)
        download = self.saved(url)
        self.assertEqual(self.control("remove", download.id), (0, [], []))
        self.assertEqual(self.companion.downloads(), [])
        self.assertTrue(os.path.exists(download.saved_path))

    def test_quits_without_a_question_and_resumes_where_it_stopped(self):
        url = self.serve_slowly("/a.bin")
        self.companion.add(url)
        harness.wait_until(lambda: self.received(url) > 20000, 20, "the first bytes")
        self.assertEqual(self.control("quit"), (0, [], []))
        self.assertEqual(self.session.process.wait(20), 0)
        kept = listfile.find(self.session.list_file, url).kept
        self.assertGreater(kept, 20000)
        self.session.start()
        self.assertGreaterEqual(self.received(url), kept)
        self.assertEqual(self.state(url), "paused")

    def test_silent_server_is_listed_and_pause_and_resume_reconnect(self):
        url = self.serve_stalling("/a.bin", 30000, sent=5000)
        [identity] = self.companion.add(url)
        harness.wait_until(lambda: self.companion.find(url).silence, 30, "a report of the silence")
        download = self.companion.find(url)
        self.assertEqual(download.state, "active")
        words = download.silence.split()
        self.assertEqual(words[:3] + words[4:], ["no", "byte", "for", "s"])
        self.assertGreaterEqual(int(words[3]), 10)
        self.serve("/a.bin", 30000)
        self.assertEqual(self.control("pause", identity)[0], 0)
        self.assertEqual(self.companion.find(url).silence, "")
        self.session.resume()
        self.saved(url)

    def test_id_of_an_earlier_run_is_invalid(self):
        [identity] = self.companion.add(self.serve_slowly("/a.bin"))
        self.control("quit")
        self.session.process.wait(20)
        self.session.start()
        [download] = self.companion.downloads()
        self.assertNotEqual(download.id, identity)
        self.assertEqual(self.control("remove", identity)[0], 1)
        self.assertEqual(len(self.companion.downloads()), 1)


if __name__ == "__main__":
    unittest.main()

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

FETCH = os.path.join(harness.ROOT, "scripts", "fetch.py")


class Scripts(unittest.TestCase):
    settings = {}

    def setUp(self):
        self.origin = origin.Origin()
        self.addCleanup(self.origin.close)
        self.session = harness.Session("scripts", MaxSegments=4, **self.settings)
        self.addCleanup(self.session.close)
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

    def slow(self, path):
        self.origin.serve_file(path, 4000000, rate=20000)
        return self.origin.url(path)

    def state(self, name):
        return [d.state for d in self.companion.downloads() if name in (d.id, d.url)]

    def wait_state(self, name, *states):
        harness.wait_until(lambda: self.state(name) == list(states), 20, "%s %s" % (name, states))


class Adding(Scripts):
    settings = {"SaveAs": "True"}

    def test_prints_an_id_that_can_be_waited_for(self):
        self.session.start()
        self.origin.serve_file("/a.bin", 30000)
        url = self.origin.url("/a.bin")
        code, [identity], complaints = self.control("add", url)
        self.assertEqual((code, complaints), (0, []))
        self.assertEqual(self.control("wait", identity)[0], 0)
        [download] = self.companion.downloads()
        self.assertEqual((download.id, download.url, download.state), (identity, url, "finished"))
        self.assertEqual(harness.digest(download.saved_path), origin.content_digest(30000))
        self.assertEqual(self.session.dialogs(), [])

    def test_reports_refused_urls_on_standard_error_and_opens_nothing(self):
        self.session.start()
        self.origin.serve_file("/a.bin", 30000)
        url = self.origin.url("/a.bin")
        self.companion.add(url)
        self.companion.wait_finished([url], 30)
        before = self.session.own_windows()
        for bad, reason in (("https://127.0.0.1/x.bin", "no address that Pellora takes"),
                            ("http://127.0.0.1", "no address that Pellora takes"), (url, "in the list already")):
            code, lines, [complaint] = self.control("add", bad)
            self.assertEqual((code, lines), (1, []), bad)
            self.assertTrue(complaint.startswith("pelloractl: %s: " % bad), complaint)
            self.assertIn(reason, complaint)
        time.sleep(1)
        self.assertEqual(self.session.own_windows(), before)
        self.assertEqual(len(self.companion.downloads()), 1)

    def test_starts_the_program_if_it_is_not_running_and_gets_its_answer(self):
        self.session.start()
        self.assertEqual(self.control("quit")[0], 0)
        self.assertEqual(self.session.process.wait(20), 0)
        code, lines, [complaint] = self.control("add", "https://127.0.0.1/x.bin")
        answer = self.session.call("org.freedesktop.DBus", "/org/freedesktop/DBus",
                                   "org.freedesktop.DBus.GetConnectionUnixProcessID", harness.BUS_NAME)
        pid = int(answer.stdout.decode().strip("(), \n").split()[-1])
        self.assertEqual((code, lines), (1, []), complaint)
        self.assertEqual([w for w in self.session.windows_of(pid) if w[2]], [])
        self.assertEqual(self.control("quit")[0], 0)
        harness.wait_until(lambda: harness.has_ended(pid), 20, "the end of the program")

    def test_url_command_reports_refused_urls_at_once(self):
        self.session.start()
        self.origin.serve_file("/a.bin", 30000)
        good, bad = self.origin.url("/a.bin"), "https://127.0.0.1/x.bin"
        result = subprocess.run([sys.executable, FETCH, self.companion.path, bad, good], env=self.session.env,
                                stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=60, check=False)
        self.assertEqual(result.returncode, 1, result.stderr)
        self.assertIn("not downloaded: %s: It is no address" % bad, result.stderr)
        self.assertIn("saved: %sa.bin" % self.session.downloads, result.stdout)
        again = subprocess.run([sys.executable, FETCH, self.companion.path, good], env=self.session.env,
                               stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=60, check=False)
        self.assertEqual((again.returncode, again.stderr), (0, ""))
        self.assertEqual(again.stdout.splitlines(), ["%s was downloaded before." % good,
                                                     "saved: %sa.bin" % self.session.downloads])


class Changing(Scripts):
    def test_pauses_and_removes_one_download_and_never_its_replacement(self):
        self.session.start()
        first, other = self.companion.add(self.slow("/first.bin"), self.slow("/other.bin"))
        self.wait_state(first, "active")
        self.wait_state(other, "active")
        harness.wait_until(lambda: [n for n in os.listdir(self.session.parts) if n.startswith("first")], 20, "its parts")
        self.assertEqual(self.control("pause", first), (0, [], []))
        self.assertEqual((self.state(first), self.state(other)), (["paused"], ["active"]))
        self.assertEqual(self.control("pause", first), (1, [], ["pelloractl: %s: It is not running." % first]))
        self.assertEqual(self.control("remove", first), (0, [], []))
        self.assertEqual([n for n in os.listdir(self.session.parts) if n.startswith("first")], [])
        [place] = self.companion.add(self.slow("/second.bin"))
        self.assertEqual(place.split("-")[0], first.split("-")[0])
        for command in ("pause", "remove"):
            code, _, [complaint] = self.control(command, first)
            self.assertEqual(code, 1)
            self.assertIn("No listed download has this id", complaint)
        self.wait_state(place, "active")
        self.assertEqual(self.control("remove", self.origin.url("/second.bin"), other), (0, [], []))
        self.assertEqual(self.companion.downloads(), [])
        self.assertEqual(self.session.dialogs(), [])

    def test_removes_a_finished_download_and_keeps_its_file(self):
        self.session.start()
        self.origin.serve_file("/a.bin", 30000)
        url = self.origin.url("/a.bin")
        self.companion.add(url)
        [download] = self.companion.wait_finished([url], 30)
        self.assertEqual(self.control("remove", download.id), (0, [], []))
        self.assertEqual(self.companion.downloads(), [])
        self.assertTrue(os.path.exists(download.saved_path))

    def test_quits_without_a_question_and_resumes_where_it_stopped(self):
        self.session.start()
        url = self.slow("/a.bin")
        self.companion.add(url)
        harness.wait_until(lambda: self.companion.find(url).received > 20000, 20, "the first bytes")
        self.assertEqual(self.control("quit"), (0, [], []))
        self.assertEqual(self.session.process.wait(20), 0)
        kept = listfile.find(self.session.list_file, url).kept
        self.assertGreater(kept, 20000)
        self.session.start()
        self.assertGreaterEqual(self.companion.find(url).received, kept)
        self.assertEqual(self.state(url), ["paused"])

    def test_silent_server_is_listed_and_pause_and_resume_reconnect(self):
        self.session.start()
        url = self.serve_stalling("/a.bin", 30000, sent=5000)
        [identity] = self.companion.add(url)
        harness.wait_until(lambda: self.companion.find(url).silence, 30, "a report of the silence")
        download = self.companion.find(url)
        self.assertEqual(download.state, "active")
        words = download.silence.split()
        self.assertEqual(words[:3] + words[4:], ["no", "byte", "for", "s"])
        self.assertGreaterEqual(int(words[3]), 10)
        self.origin.serve_file("/a.bin", 30000)
        self.assertEqual(self.control("pause", identity)[0], 0)
        self.assertEqual(self.companion.find(url).silence, "")
        self.session.resume()
        [finished] = self.companion.wait_finished([url], 30)
        self.assertEqual(harness.digest(finished.saved_path), origin.content_digest(30000))

    def test_id_of_an_earlier_run_is_invalid(self):
        self.session.start()
        [identity] = self.companion.add(self.slow("/a.bin"))
        self.control("quit")
        self.session.process.wait(20)
        self.session.start()
        [download] = self.companion.downloads()
        self.assertNotEqual(download.id, identity)
        self.assertEqual(self.control("remove", identity)[0], 1)
        self.assertEqual(len(self.companion.downloads()), 1)


if __name__ == "__main__":
    unittest.main()

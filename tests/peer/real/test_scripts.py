"""The command-line companion in scripts: no questions are shown, refusals are reported, and each download has a unique
id."""

import base64
import json
import os
import pty
import signal
import subprocess
import sys
import termios
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

    def control(self, *arguments, given=b""):
        """(exit code, lines, error lines) of pelloractl; `given` is its standard input."""
        result = self.companion.run(*arguments, given=given)
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
        place = self.companion.find(urls[1]).index - 1
        self.companion.add(urls[2])
        self.assertEqual(self.companion.find(urls[2]).index, place)
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

    def test_resumes_the_downloads_that_it_names(self):
        urls = [self.serve_slowly("/a.bin"), self.serve_slowly("/b.bin")]
        first, second = self.companion.add(*urls)
        for url in urls:
            self.wait_state(url, "active")
        self.assertEqual(self.control("pause", "--all"), (0, [], []))
        self.assertEqual(list(map(self.state, urls)), ["paused", "paused"])
        self.assertEqual(self.control("resume", second), (0, [], []))
        self.wait_state(urls[1], "active")
        self.assertEqual(self.state(urls[0]), "paused")
        self.assertEqual(self.control("resume", second), (1, [], ["pelloractl: %s: It is running already." % second]))
        self.assertEqual(self.control("resume", urls[0]), (0, [], []))
        self.wait_state(urls[0], "active")

    def test_opens_the_main_window_and_that_of_a_download(self):
        url = self.serve_slowly("/a.bin")
        [identity] = self.companion.add(url)
        window = self.session.window("a.bin")
        self.session.close_window(window)
        harness.wait_until(lambda: not self.session.titled("a.bin"), 20, "the window to go")
        self.assertEqual(self.control("open", identity), (0, [], []))
        self.session.window("a.bin")
        self.assertEqual(self.control("open"), (0, [], []))
        self.session.window(harness.MAIN)


class Ids(Scripts):
    def test_name_the_same_download_after_a_restart_and_never_another(self):
        urls = [self.serve_slowly("/%s.bin" % name) for name in "abc"]
        ids = self.companion.add(*urls)
        self.assertEqual(len(set(ids)), 3)
        self.assertEqual(self.control("remove", ids[0])[0], 0)
        self.control("quit")
        self.session.process.wait(20)
        self.session.start()
        self.assertEqual({d.id: d.url for d in self.companion.downloads()}, dict(zip(ids[1:], urls[1:])))
        [again] = self.companion.add(urls[0])
        self.assertNotIn(again, ids)
        self.assertEqual(self.companion.find(urls[0]).index, 1)
        self.assertEqual(self.control("remove", ids[0])[0], 1)
        self.assertEqual(self.control("remove", ids[2]), (0, [], []))
        self.assertEqual({d.url for d in self.companion.downloads()}, set(urls[:2]))

    def test_of_downloads_added_and_removed_at_once_differ(self):
        url = self.serve_slowly("/a.bin")
        ids = []
        for _ in range(8):
            ids += self.companion.add(url)
            self.assertEqual(self.control("remove", ids[-1])[0], 0)
        self.assertEqual(len(set(ids)), 8)

    def test_survive_a_kill(self):
        url = self.serve_slowly("/a.bin")
        [identity] = self.companion.add(url)
        harness.wait_until(lambda: listfile.find(self.session.list_file, url), 20, "the list to be saved")
        self.session.kill()
        self.session.start()
        self.assertEqual(self.companion.find(url).id, identity)


class Output(Scripts):
    def objects(self, *arguments, code=0):
        result = self.companion.run(*arguments)
        self.assertEqual(result.returncode, code, result.stderr)
        lines = result.stdout.decode("utf-8").split("\n")
        self.assertEqual(lines.pop(), "")
        return [json.loads(line) for line in lines]

    def test_is_json_for_programs(self):
        url, bad = self.serve("/a%20%22b%22.bin"), "gopher://127.0.0.1/x"
        added, refused = self.objects("add", "--json", url, bad, code=1)
        self.assertEqual(list(added), ["id", "url"])
        self.assertEqual((refused["url"], "id" in refused), (bad, False))
        self.assertIn("no address", refused["reason"])
        [ended] = self.objects("wait", "--json", added["id"])
        self.assertEqual((ended["id"], ended["outcome"], ended["given"]), (added["id"], "finished", added["id"]))
        [listed] = self.objects("list", "--json")
        self.assertEqual({**listed, "outcome": "finished", "given": added["id"]}, ended)
        self.assertEqual(set(listed), {"id", "index", "name", "url", "state", "percent", "received", "size", "path", "speed",
                                       "silent", "limit", "reason"})
        self.assertEqual((listed["state"], listed["size"], listed["percent"]), ("finished", 20000, 100))
        self.assertTrue(os.path.exists(listed["path"]))
        for absent in ("speed", "silent", "limit", "reason"):
            self.assertIsNone(listed[absent])

    def test_progress_is_drawn_on_a_terminal_alone(self):
        urls = [self.serve("/%s.bin" % name, 400000, rate=100000) for name in "ab"]
        ids = self.companion.add(*urls)
        quiet = subprocess.Popen([self.companion.path, "wait", "--progress", *ids], env=self.session.env,
                                 stdin=subprocess.DEVNULL, stdout=subprocess.PIPE)
        drawn = self.on_a_terminal("wait", "--progress", *ids)
        self.assertEqual(len(quiet.communicate(timeout=60)[0].splitlines()), 2)
        self.assertIn(b"\x1b[2A", drawn)  # two lines are drawn again
        self.assertRegex(drawn, rb"a\.bin: [0-9.]+%, [0-9]+ of 400000 bytes, active")
        for name in (b"a.bin", b"b.bin"):
            self.assertEqual(drawn.count(name + b": finished"), 1)

    def on_a_terminal(self, *arguments):
        """What pelloractl writes to a terminal."""
        here, there = pty.openpty()
        child = subprocess.Popen([self.companion.path, *arguments], env=self.session.env, stdin=subprocess.DEVNULL,
                                 stdout=there)
        os.close(there)
        drawn = b""
        try:
            while block := os.read(here, 65536):
                drawn += block
        except OSError:
            pass  # the terminal's other end is closed
        os.close(here)
        self.assertEqual(child.wait(60), 0)
        return drawn

    def test_exit_codes_say_what_happened(self):
        slow = self.serve_slowly("/slow.bin")
        [identity] = self.companion.add(slow)
        self.assertEqual(self.control("list")[0], 0)
        self.assertEqual(self.control("wait", "--timeout", "1", identity)[0], 4)
        self.assertEqual(self.control("pause", identity)[0], 0)
        self.assertEqual(self.control("wait", identity)[0], 1)
        self.assertEqual(self.control("remove", "dnone")[0], 1)
        self.assertEqual(self.control("limit", identity, "much")[0], 2)
        self.assertEqual(self.control("open", "dnone")[0], 1)
        self.control("quit")
        self.session.process.wait(20)
        for command in (["list"], ["wait"], ["pause", identity], ["resume"], ["resume", identity], ["remove", identity],
                        ["limit"], ["limit", "1"], ["open", identity], ["quit"]):
            code, _, [complaint] = self.control(*command)
            self.assertEqual((code, complaint), (3, "pelloractl: Pellora is not running."), command)


class Options(Scripts):
    settings = {"MaxSegments": 1, "WebEngine": 2}
    SECRET = "s3cret-of-joe"

    def serve_to_joe(self, path):
        """A file that needs the login, and its URL."""
        wanted = b"Basic " + base64.b64encode(b"joe:" + self.SECRET.encode())

        def reply(connection, request):
            if wanted in request.raw:
                connection.sendall(b"HTTP/1.1 200 OK\r\nContent-Length: 4\r\n\r\nfile")
            else:
                connection.sendall(b"HTTP/1.1 401 No\r\nWWW-Authenticate: Basic realm=\"x\"\r\nContent-Length: 0\r\n\r\n")
        self.origin.replies[path] = reply
        return self.origin.url(path)

    def traces(self, secret):
        """Command lines and files of the session that hold it."""
        found = []
        for pid in filter(str.isdigit, os.listdir("/proc")):
            for name in ("cmdline", "environ"):
                try:
                    with open("/proc/%s/%s" % (pid, name), "rb") as f:
                        found += [(pid, name)] if secret in f.read() else []
                except OSError:
                    pass  # it has ended
        for folder, _, names in os.walk(self.session.root):
            for name in names:
                path = os.path.join(folder, name)
                if os.path.isfile(path):
                    with open(path, "rb") as f:
                        found += [path] if secret in f.read() else []
        return found

    def test_login_comes_from_standard_input_and_leaves_no_trace(self):
        url = self.serve_to_joe("/a.bin")
        child = subprocess.Popen([self.companion.path, "add", "--user", "joe", "--password-stdin", url],
                                 env=self.session.env, stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        self.assertEqual(self.traces(self.SECRET.encode()), [])
        identity = child.communicate(self.SECRET.encode() + b"\n", timeout=60)[0].decode().strip()
        self.assertEqual(child.returncode, 0)
        self.assertEqual(self.control("wait", identity)[0], 0)
        self.assertEqual(self.traces(self.SECRET.encode()), [])
        self.control("quit")
        self.session.process.wait(20)
        self.assertEqual(self.traces(self.SECRET.encode()), [])

    def test_password_is_not_shown_on_a_terminal(self):
        url = self.serve_to_joe("/a.bin")
        here, there = pty.openpty()
        self.addCleanup(os.close, here)
        child = subprocess.Popen([self.companion.path, "add", "--user", "joe", "--password-stdin", url],
                                 env=self.session.env, stdin=there, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        self.assertEqual(child.stderr.read(len("Password: ")), b"Password: ")
        harness.wait_until(lambda: not termios.tcgetattr(there)[3] & termios.ECHO, 20, "a terminal without echo")
        os.write(here, self.SECRET.encode() + b"\n")
        identity = child.communicate(timeout=60)[0].decode().strip()
        self.assertEqual(child.returncode, 0)
        self.assertTrue(termios.tcgetattr(there)[3] & termios.ECHO)
        os.set_blocking(here, False)
        try:
            echoed = os.read(here, 65536)
        except BlockingIOError:
            echoed = b""
        os.close(there)
        self.assertNotIn(self.SECRET.encode(), echoed)
        self.assertEqual(self.control("wait", identity)[0], 0)

    def test_cookies_and_page_reach_the_address_alone(self):
        url = self.serve("/a.bin")
        cookies = os.path.join(self.session.home, "cookies.txt")
        with open(cookies, "w", encoding="ascii") as f:
            f.write("# Netscape HTTP Cookie File\n127.0.0.1\tFALSE\t/\tFALSE\t0\tsession\tabc\n"
                    "other.example\tFALSE\t/\tFALSE\t0\tother\txyz\n")
        page = self.origin.url("/page")
        code, [identity], _ = self.control("add", "--cookies", cookies, "--referer", page, url)
        self.assertEqual(code, 0)
        self.assertEqual(self.control("wait", identity)[0], 0)
        [request] = self.origin.requests_for("/a.bin")
        self.assertEqual((request.header("Cookie"), request.header("Referer")), ("session=abc", page))
        self.assertEqual(self.traces(b"session=abc"), [])

    def test_names_and_folders_are_those_of_the_shell(self):
        folder = os.path.join(self.session.home, "sub")
        os.mkdir(folder)

        def add(*options, name):
            url = self.serve("/%s" % name)
            child = subprocess.run([self.companion.path, "add", *options, url], env=self.session.env,
                                   cwd=self.session.home, stdin=subprocess.DEVNULL, capture_output=True, text=True,
                                   timeout=60, check=False)
            self.assertEqual(child.returncode, 0, child.stderr)
            return os.path.relpath(self.saved(url).saved_path, self.session.root)
        self.assertEqual(add("-o", "./x.bin", name="1.bin"), "home/x.bin")
        self.assertEqual(add("--folder", "sub", name="2.bin"), "home/sub/2.bin")
        self.assertEqual(add("--folder", "sub", "--output", "y.bin", name="3.bin"), "home/sub/y.bin")
        self.assertEqual(add("--output", "z.bin", name="4.bin"), "downloads/z.bin")
        self.assertEqual(self.control("add", "--folder", "none", self.serve("/5.bin"))[0], 1)

    def test_listed_url_is_refused_or_downloaded_again(self):
        url = self.serve("/a.bin")
        [first] = self.companion.add(url)
        self.saved(url)
        code, _, [complaint] = self.control("add", "--on-duplicate", "no", url)
        self.assertEqual((code, complaint), (1, "pelloractl: %s: It is in the list already." % url))
        code, [second], _ = self.control("add", "--on-duplicate=yes", url)
        self.assertEqual(code, 0)
        self.assertNotEqual(first, second)
        self.assertEqual(self.control("wait", second)[0], 0)
        self.assertEqual([d.id for d in self.companion.downloads()], [second])

    def test_lists_of_addresses_open_no_windows(self):
        urls = [self.serve("/%d.bin" % i) for i in range(5)]
        self.session.window(harness.MAIN)
        before = self.session.own_windows()
        code, ids, complaints = self.control("add", "-i", "-", given="\n".join(["# mine", *urls]).encode())
        self.assertEqual((code, len(set(ids)), complaints), (0, 5, []))
        self.assertEqual(self.control("wait", *ids)[0], 0)
        self.assertEqual(self.session.own_windows(), before)
        for url in urls:
            self.saved(url)

    def test_later_and_timed_downloads_do_not_start(self):
        later, timed = self.serve("/a.bin"), self.serve("/b.bin")
        self.assertEqual(self.control("add", "--later", later)[0], 0)
        self.assertEqual(self.control("add", "--at", "2199-01-01 10:00", timed)[0], 0)
        time.sleep(1)
        self.assertEqual((self.state(later), self.state(timed)), ("waiting", "queued"))
        self.assertEqual(self.origin.requests_for("/a.bin") + self.origin.requests_for("/b.bin"), [])
        self.assertEqual(self.control("resume", later)[0], 0)
        self.saved(later)
        self.assertEqual(self.control("add", "--at", "2001-01-01 10:00", later + "x")[0], 1)

    def test_limits_are_set_and_listed(self):
        self.assertEqual(self.control("limit"), (0, ["off"], []))
        self.assertEqual(self.control("limit", "300"), (0, [], []))
        self.assertEqual(self.control("limit"), (0, ["300"], []))
        self.assertEqual(self.control("limit", "--json"), (0, ['{"limit":300}'], []))
        self.assertEqual(self.control("limit", "off"), (0, [], []))
        self.assertEqual(self.control("limit", "--json"), (0, ['{"limit":null}'], []))
        self.assertEqual(self.control("limit", "--json", "300")[0], 2)
        self.assertEqual(self.control("limit"), (0, ["off"], []))
        code, [identity], _ = self.control("add", "--limit", "50", self.serve("/a.bin", 4000000))
        self.assertEqual(code, 0)
        limit = lambda: json.loads(self.control("list", "--json")[1][0])["limit"]
        self.assertEqual(limit(), 50)
        self.assertEqual(self.control("limit", identity, "off"), (0, [], []))
        self.assertIsNone(limit())

    def test_file_without_its_checksum_does_not_appear(self):
        good, bad = self.serve("/good.bin"), self.serve("/bad.bin")
        digest = self.origin.digest(good)
        self.assertEqual(len(digest), 64)
        code, [identity], _ = self.control("add", "--checksum", digest.upper(), good)
        self.assertEqual((code, self.control("wait", identity)[0]), (0, 0))
        code, [identity], _ = self.control("add", "--checksum", "sha-256:" + "0" * 64, bad)
        self.assertEqual((code, self.control("wait", identity)[0]), (0, 1))
        self.assertIn("checksum", self.companion.find(bad).reason)
        self.assertNotIn("bad.bin", os.listdir(self.session.downloads))

    def test_wrong_checksum_text_is_refused(self):
        code, _, [complaint] = self.control("add", "--checksum", "abc", self.serve("/a.bin"))
        self.assertEqual((code, complaint.endswith("This is no checksum: abc")), (1, True))


class Headless(Case):
    settings = {"MaxSegments": 4, "SaveAs": "True"}

    def setUp(self):
        super().setUp()
        for name in ("DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"):
            self.session.env.pop(name, None)
        self.companion = self.session.companion

    def start(self):
        self.session.arguments = ["--headless"]
        self.session.start()

    def quit(self):
        self.assertEqual(self.companion.run("quit").returncode, 0)
        self.assertEqual(self.session.process.wait(20), 0)

    def test_downloads_without_a_display(self):
        self.start()
        url = self.serve("/a.bin")
        self.companion.add(url)
        self.saved(url)
        self.fetch(self.serve("/b.bin"))  # no path is asked for
        refused = self.companion.run("open")
        self.assertEqual((refused.returncode, refused.stderr), (1, b"pelloractl: Pellora runs without windows.\n"))
        self.quit()

    def test_messages_go_to_standard_error(self):
        self.start()
        self.session.menu_url("gopher://127.0.0.1/x")
        harness.wait_until(lambda: "Pellora: This is not a URL" in self.session.read_log(), 20, "the message")
        url = self.serve("/a.bin")
        self.fetch(url)
        self.session.menu_url(url)
        harness.wait_until(lambda: "already in the list" in self.session.read_log(), 20, "the question")
        self.assertIn("(No)", self.session.read_log())
        self.assertEqual(len(self.companion.downloads()), 1)
        self.quit()

    def test_goes_on_with_what_ran(self):
        ran, paused = (self.serve(path, 4000000, rate=20000) for path in ("/a.bin", "/b.bin"))
        self.start()
        self.companion.add(ran, paused)
        self.wait_state(paused, "active")
        self.companion.run("pause", paused)
        for end in (self.quit, self.session.kill):
            self.wait_state(ran, "active")
            self.assertEqual(self.state(paused), "paused")
            if end == self.session.kill:
                time.sleep(6)  # the list is saved every five seconds
            end()
            self.start()
        self.wait_state(ran, "active")
        self.assertEqual(self.state(paused), "paused")
        self.quit()

    def test_is_what_the_bus_starts_where_there_is_no_display(self):
        self.start()  # registers it
        self.quit()
        with self.session.connect() as bus:
            bus.call("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "UpdateActivationEnvironment",
                     {"DISPLAY": "", "WAYLAND_DISPLAY": "", "QT_QPA_PLATFORM": ""}, signature="a{ss}")
        url = self.serve("/a.bin")
        self.companion.add(url)
        pid = self.session.owner()
        self.addCleanup(lambda: harness.has_ended(pid) or os.kill(pid, 15))
        self.saved(url)
        self.assertEqual(self.companion.run("open").returncode, 1)
        self.assertEqual(self.companion.run("quit").returncode, 0)

    def test_warnings_reach_no_file_without_standard_streams(self):
        self.session.prefix = ("sh", "-c", 'exec "$@" <&- >&- 2>&-', "sh")
        self.start()
        streams = [os.readlink("/proc/%d/fd/%d" % (self.session.process.pid, stream)) for stream in range(3)]
        self.assertEqual(streams, ["/dev/null"] * 3)
        self.session.menu_url("gopher://127.0.0.1/x")  # refused on standard error
        self.fetch(self.serve("/a.bin"))
        self.quit()

    def test_hangup_that_nohup_ignores_ends_nothing(self):
        self.session.prefix = ("nohup",)
        self.start()
        self.session.process.send_signal(signal.SIGHUP)
        self.fetch(self.serve("/a.bin"))
        self.assertIsNone(self.session.process.poll())
        self.session.process.send_signal(signal.SIGTERM)
        self.assertEqual(self.session.process.wait(20), 0)

    def test_hangup_ends_it_like_a_request_to_quit(self):
        self.session.prefix = ("env", "--default-signal=HUP")  # the tests themselves may have been started by nohup
        self.start()
        self.fetch(self.serve("/a.bin"))
        self.session.process.send_signal(signal.SIGHUP)
        self.assertEqual(self.session.process.wait(20), 0)

    def start_blindly(self, *arguments):
        """As over ssh. Returns the exit code and what it says."""
        process = subprocess.run([os.path.join(self.session.program, "Pellora"), *arguments], env=self.session.env,
                                 cwd=self.session.home, stdin=subprocess.DEVNULL, capture_output=True, text=True,
                                 timeout=60, check=False)
        return process.returncode, process.stderr

    def test_a_start_for_windows_says_that_there_is_no_display(self):
        refused = (1, "Pellora: there is no display; with --headless it runs without one\n")
        self.assertEqual(self.start_blindly(), refused)
        self.assertEqual(self.start_blindly("http://127.0.0.1:1/a"), refused)
        self.start()
        self.assertEqual(self.start_blindly(), refused)
        self.quit()

    def test_addresses_of_a_second_start_need_no_display(self):
        self.start()
        url = self.serve("/a.bin")
        self.assertEqual(self.start_blindly(url), (0, ""))
        self.saved(url)
        self.quit()

    def test_second_start_says_that_there_are_no_windows(self):
        self.start()
        self.session.env.update(DISPLAY=self.session.stage.env["DISPLAY"], QT_QPA_PLATFORM="xcb")
        for arguments in ([], ["--add-url"]):
            with self.subTest(arguments):
                self.session.arguments = arguments
                second = self.session.launch()
                self.addCleanup(harness.end_process, second)
                windows = harness.wait_until(lambda: [w for w in self.session.windows_of(second.pid) if w[2]], 20, "a message")
                self.session.dismiss(windows[0][0])
                self.assertEqual(second.wait(20), 0)
        self.quit()


if __name__ == "__main__":
    unittest.main()

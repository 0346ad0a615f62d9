"""The program without windows and without a display: its start, its messages, and what ends it."""

import fcntl
import os
import pty
import signal
import subprocess
import time
import unittest

import harness
from case import Case


METALINK = ('<metalink xmlns="urn:ietf:params:xml:ns:metalink"><file name="%s"><url>%s</url></file></metalink>')


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

    def run_program(self, *arguments):
        result = subprocess.run([os.path.join(self.session.program, "Pellora"), *arguments], env=self.session.env,
                                stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=60, check=False)
        return result.returncode, result.stdout, result.stderr

    def test_a_start_for_windows_says_that_there_is_no_display(self):
        refused = (1, "", "Pellora: There is no display. \"--headless\" runs without one.\n")
        self.assertEqual(self.run_program(), refused)
        self.assertEqual(self.run_program("http://127.0.0.1:1/a"), refused)
        self.start()
        self.assertEqual(self.run_program(), refused)
        self.quit()

    def test_display_that_does_not_answer_is_none(self):
        self.session.env["DISPLAY"] = ":987"
        code, _, complaint = self.run_program()
        self.assertEqual(code, 1, complaint)
        self.assertTrue(complaint.endswith("Pellora: There is no display. \"--headless\" runs without one.\n"), complaint)

    def test_addresses_of_a_second_start_need_no_display_that_answers(self):
        self.start()
        self.session.env["DISPLAY"] = ":987"
        url = self.serve("/a.bin")
        self.assertEqual(self.run_program(url)[:2], (0, ""))
        self.saved(url)
        self.quit()

    def test_addresses_of_a_second_start_need_no_display(self):
        self.start()
        for i, options in enumerate(([], ["--headless"])):
            url = self.serve("/%d.bin" % i)
            self.assertEqual(self.run_program(*options, url), (0, "", ""))
            self.saved(url)
        self.quit()

    def test_second_start_without_windows_cannot_ask_for_an_address(self):
        self.start()
        self.assertEqual(self.run_program("--headless", "--add-url"),
                         (1, "", "Pellora runs already, without windows. \"pelloractl quit\" ends it.\n"))
        self.assertEqual(self.run_program("--headless"), (0, "", "Pellora: runs already\n"))
        self.quit()

    def write(self, name, text):
        path = os.path.join(self.session.home, name)
        with open(path, "w", encoding="utf-8") as f:
            f.write(text)
        return path

    def test_files_of_addresses_are_added_unasked(self):
        urls = [self.serve("/%d.bin" % i) for i in range(4)]
        files = [self.write("0.meta4", METALINK % ("0.bin", urls[0])), self.write("1.meta4", METALINK % ("1.bin", urls[1])),
                 self.write("some.txt", "%s\n%s\n" % tuple(urls[2:]))]
        self.session.arguments = ["--headless", files[0]]
        self.session.start()
        self.saved(urls[0])
        self.assertEqual(self.run_program(*files[1:]), (0, "", ""))
        for url in urls[1:]:
            self.saved(url)
        self.quit()

    def test_what_a_second_start_cannot_add_is_refused_with_a_reason(self):
        self.start()
        url = self.serve("/a.bin")
        broken = self.write("broken.meta4", "none")
        missing = os.path.join(self.session.home, "missing.meta4")
        for given, reason in ((broken, "This Metalink names no file that Pellora can download."), (missing, "missing.meta4"),
                              ("gopher://127.0.0.1/x", "It is no address that Pellora takes"), (self.write("none.txt", "nothing"), "no addresses")):
            with self.subTest(given):
                code, text, complaint = self.run_program(given, url)
                self.assertEqual((code, text), (1, ""))
                self.assertTrue(complaint.startswith("Pellora: " + given + ": "), complaint)
                self.assertIn(reason, complaint)
                self.saved(url)  # the others are added all the same
                self.companion.run("remove", url)
        self.quit()

    def test_start_that_another_bus_hides_has_failed(self):
        self.start()
        self.session.env["DBUS_SESSION_BUS_ADDRESS"] = "unix:path=/nonexistent"
        refused = (1, "", "Pellora: runs already, but not on this session bus\n")
        for arguments in (["--headless"], ["http://127.0.0.1:1/a"]):
            self.assertEqual(self.run_program(*arguments), refused)
        self.stop()

    def test_option_that_does_not_exist_is_refused(self):
        for wrong in ("--wrong", "-wrong"):
            self.assertEqual(self.run_program("--headless", wrong),
                             (2, "", "Pellora: unknown option %s; --help lists those that there are\n" % wrong))

    def test_version_and_help_need_no_display(self):
        self.assertRegex(self.run_program("--version")[1], r"^Pellora \d+\.\d+\.\d+\n$")
        code, text, _ = self.run_program("--headless", "--help")
        self.assertEqual((code, text.split(":")[0]), (0, "Usage"))

    def test_messages_that_nobody_reads_any_more_end_nothing(self):
        self.session.prefix = ("bash", "-c", 'exec "$@" 2> >(exec true)', "bash")
        self.start()
        self.session.menu_url("gopher://127.0.0.1/x")  # refused on standard error
        self.fetch(self.serve("/a.bin"))
        self.quit()

    def write_to(self, stream):
        """In place of the log."""
        self.session.log.close()
        self.session.log = os.fdopen(stream, "wb")

    def short_pipe(self):
        reader, writer = os.pipe()
        self.addCleanup(os.close, reader)
        fcntl.fcntl(writer, fcntl.F_SETPIPE_SZ, 4096)
        self.write_to(writer)
        return reader, writer

    def check_refusals_hold_nothing_up(self):
        self.start()
        for i in range(200):
            self.session.menu_url("gopher://127.0.0.1/%s" % ("x" * i))  # refused on standard error
        self.fetch(self.serve("/a.bin"))

    def test_messages_that_nobody_reads_hold_nothing_up(self):
        reader, _ = self.short_pipe()
        self.check_refusals_hold_nothing_up()
        self.assertIn(b"Pellora: This is not a URL", os.read(reader, 4096))
        self.quit()

    def test_messages_to_a_terminal_that_takes_no_more_hold_nothing_up(self):
        terminal, program = pty.openpty()
        self.addCleanup(os.close, terminal)
        self.write_to(program)
        self.check_refusals_hold_nothing_up()
        self.assertIn(b"Pellora: This is not a URL", os.read(terminal, 4096))
        self.quit()

    def test_end_of_its_bus_needs_no_reader_of_the_message(self):
        _, writer = self.short_pipe()
        os.write(writer, bytes(4096))
        self.start()
        harness.end_process(self.session.bus)
        self.assertEqual(self.session.process.wait(20), 0)

    def test_ends_with_its_bus_since_nothing_else_could_reach_it(self):
        self.start()
        url = self.slow()
        harness.end_process(self.session.bus)
        self.assertEqual(self.session.process.wait(20), 0)
        self.assertIn("The session bus has ended.", self.session.read_log())
        with open(self.session.list_file, "rb") as f:
            self.assertIn(url.encode(), f.read())

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

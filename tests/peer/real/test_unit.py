"""The user unit of systemd: what systemd says about it, and its command as a user's service manager runs it, in an
environment with nothing of a desktop, worked by pelloractl alone."""

import configparser
import os
import shlex
import subprocess
import unittest

import harness
from case import Case

UNIT = os.path.join(harness.ROOT, "assets/desktop/pellora.service.in")


class Unit(Case):
    settings = {"MaxSegments": 4}

    def setUp(self):
        super().setUp()
        self.bin = os.path.join(self.session.root, "bin")
        os.mkdir(self.bin)
        # The names by which an installed program is called.
        for command, name in (("pellora", "Pellora"), ("pelloractl", "pelloractl")):
            os.symlink(os.path.join(self.session.program, name), os.path.join(self.bin, command))
        self.unit = os.path.join(self.session.root, "pellora.service")
        with open(UNIT, encoding="utf-8") as f:
            text = f.read().replace("@PELLORA_BIN@", self.bin)
        with open(self.unit, "w", encoding="utf-8") as f:
            f.write(text)

    def entry(self, section, key):
        unit = configparser.ConfigParser()
        unit.optionxform = str
        unit.read(self.unit)
        return unit[section][key]

    def bare_environment(self):
        """What a user's service manager passes on by default (systemd.exec(5), "Environment variables in spawned
        processes"), with the folders of the session."""
        kept = ("HOME", "XDG_RUNTIME_DIR", "XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CONFIG_DIRS",
                "DBUS_SESSION_BUS_ADDRESS")
        return {**{name: self.session.env[name] for name in kept}, "PATH": "/usr/local/bin:/usr/bin:/bin",
                "LANG": "C.UTF-8", "SHELL": "/bin/sh", "USER": "user", "LOGNAME": "user"}

    def test_systemd_finds_nothing_wrong(self):
        # Its manual pages are not installed here.
        result = subprocess.run(["systemd-analyze", "--user", "--man=no", "verify", self.unit], env=self.session.env,
                                stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=120, check=False)
        # Other units of this machine may lack something.
        wrong = [line for line in result.stderr.splitlines() if "pellora" in line]
        self.assertEqual((result.returncode, wrong), (0, []), result.stderr)

    def test_its_command_serves_pelloractl_without_a_desktop_until_quit(self):
        self.session.env = self.bare_environment()
        self.session.companion.env = self.session.env
        self.session.companion.path = os.path.join(self.bin, "pelloractl")
        bus_name = self.entry("Service", "BusName")
        self.assertEqual((self.entry("Service", "Type"), bus_name), ("dbus", harness.BUS_NAME))
        process = subprocess.Popen(shlex.split(self.entry("Service", "ExecStart")), env=self.session.env, cwd=self.session.home,
                                   stdin=subprocess.DEVNULL, stdout=self.session.log, stderr=self.session.log)
        self.addCleanup(harness.end_process, process)
        harness.wait_until(self.session.name_taken, 30, "the name on the bus")
        url, slow = self.serve("/unit.bin"), self.serve("/slow.bin", 60000000, rate=50000)
        added = [self.command("add", each) for each in (url, slow)]
        self.saved(url)
        harness.wait_until(lambda: self.received(slow), 20, "the first bytes")
        self.command("pause", added[1])
        self.wait_state(slow, "paused")
        self.command("resume", slow)
        self.wait_state(slow, "active")
        self.command("limit", "20")
        self.assertEqual(self.command("limit"), "20")
        self.command("limit", "off")
        self.command("pause", "--all")
        self.command("remove", added[1])
        self.wait_state(slow, None)
        self.assertNotEqual(self.session.companion.run("open").returncode, 0)  # there are no windows
        self.command("quit")
        self.assertEqual(process.wait(20), 0)  # a failure would start it again
        lines = self.session.read_log().splitlines()
        self.assertEqual([line for line in lines if line and not line.startswith("dbus-daemon[")], [])

    def command(self, *words):
        """What pelloractl prints."""
        result = self.session.companion.run(*words)
        self.assertEqual(result.returncode, 0, (words, result.stderr))
        return result.stdout.decode().strip()


class Boxes(Case):
    """What the classic engine says in boxes becomes a state with a reason."""

    settings = {"MaxSegments": 4, "WebEngine": 1}

    def setUp(self):
        super().setUp()
        for name in ("DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"):
            self.session.env.pop(name, None)
        self.session.arguments = ["--headless"]
        self.session.start()

    def stopped(self, url, state):
        self.session.companion.run("add", url)
        self.wait_state(url, state)
        return self.session.companion.find(url).reason

    def test_a_file_that_is_too_long_is_paused_and_fills_no_log(self):
        url = self.serve("/long.bin", 3 << 30)
        self.assertIn("2 GiB", self.stopped(url, "paused"))
        self.assertEqual(self.session.read_log().count("Error !"), 1)
        self.stop()

    def test_a_server_that_does_not_answer_is_named(self):
        self.assertEqual(self.stopped("http://127.0.0.1:1/a", "failed"), "The host 127.0.0.1 does not answer.")
        self.stop()

    def test_what_a_server_refuses_has_failed_and_can_be_tried_again(self):
        url = self.origin.url("/missing.bin")
        self.session.companion.run("add", url)
        waited = self.session.companion.run("wait", "--timeout", "20", url)
        self.assertEqual((waited.returncode, b"missing.bin" in waited.stdout), (1, True), waited)
        self.assertNotIn("from the list", waited.stdout.decode() + self.session.read_log())  # it is still there
        self.serve("/missing.bin")
        self.session.companion.run("resume", url)
        self.saved(url)
        self.stop()

    def test_folder_for_parts_that_cannot_be_written_is_named(self):
        os.rmdir(self.session.parts)
        with open(self.session.parts.rstrip("/"), "wb"):
            pass
        url = self.serve("/a.bin")
        self.assertIn(self.session.parts, self.stopped(url, "paused"))
        os.remove(self.session.parts.rstrip("/"))
        os.mkdir(self.session.parts)
        self.session.companion.run("resume", url)
        self.saved(url)
        self.stop()


if __name__ == "__main__":
    unittest.main()

"""Logins of the web engine: questions answered in their window, Basic and Digest, the desktop's password store."""

import os
import subprocess
import unittest

import harness
import loginservers
import ntlm
from test_web import DATA, Web

NEEDED = "The server requires a user name and a password."
WRONG = "The server refused this user name and password."
PROMPT = "Unlock Login Keyring"
STORE = ("application", "pellora", "host", "127.0.0.1")


class Logins(Web):
    more_settings = {"WebEngine": 2}

    def ask(self, url, title="127.0.0.1"):
        """Begins the download and opens the window of its login."""
        self.begin_url(url)
        self.wait_state(url, "failed")
        self.assertEqual(self.session.titled("Log In"), [], "no window comes unasked")
        self.click_log_in(title)

    def click_log_in(self, title="127.0.0.1"):
        self.screen.click("push button", "Log In...", title)
        self.screen.wait("push button", "OK", "Log In")

    def type_login(self, user, password, remember=False):
        self.screen.raise_window("Log In")
        self.screen.wait("text", "User name :", "Log In", "FOCUSED" if user else None)
        if user:
            self.screen.type(user)
            self.screen.keys("Tab")
        self.screen.type(password)
        if remember:
            self.screen.click("check box", "Remember in the desktop's password store", "Log In")
            self.screen.wait("check box", "Remember in the desktop's password store", "Log In", "CHECKED")
        self.session.save_screenshot("login")
        self.screen.click("push button", "OK", "Log In")
        self.screen.wait_gone("push button", "OK", "Log In")

    def check_nowhere(self, secret):
        with open("/proc/%d/cmdline" % self.session.process.pid, "rb") as f:
            self.assertNotIn(secret, f.read())
        for _, title, _ in self.session.own_windows():
            self.assertNotIn(secret.decode(), title)
        self.assertNotIn(secret, self.session.companion.run("list").stdout)
        self.assertEqual(loginservers.bytes_in_files(self.session.root, secret), [])

    def texts(self, window):
        return {text for e in self.screen.elements(window) for text in (e.name, e.text)}


class Questions(Logins):
    def test_login_is_asked_for_again_if_it_is_wrong(self):
        self.start_with_screen()
        url = self.nginx.url(self.nginx.plain, "private/a.bin")
        self.ask(url)
        self.assertLessEqual({NEEDED, "https://127.0.0.1:%d" % self.nginx.plain, "Area: files"}, self.texts("Log In"))
        self.type_login("joe", "wrong")
        self.screen.wait("push button", "Log In...", "127.0.0.1")
        self.assertIn(WRONG, self.texts("127.0.0.1"))
        self.click_log_in()
        self.assertIn(WRONG, self.texts("Log In"))
        self.assertIn("joe", self.texts("Log In"))
        self.type_login("", "s3cret")
        self.finish(url, DATA)
        self.check_nowhere(b"s3cret")
        second = self.begin_url(self.nginx.url(self.nginx.plain, "private/small.bin"))
        self.finish(second, DATA[:1000])  # without a question

    def test_password_on_the_screen_is_dots(self):
        self.start_with_screen()
        self.ask(self.nginx.url(self.nginx.plain, "private/a.bin"))
        self.screen.type("joe")
        self.screen.keys("Tab")
        self.screen.type("s3cret")
        harness.wait_until(lambda: "joe" in self.texts("Log In"), 10, "the user's name")
        self.assertNotIn("s3cret", self.texts("Log In"))
        self.assertTrue([e for e in self.screen.elements("Log In") if e.role == "password text"])

    def test_cancel_leaves_the_reason_and_resume_asks_again(self):
        self.start_with_screen()
        url = self.nginx.url(self.nginx.plain, "private/a.bin")
        self.ask(url)
        self.screen.click("push button", "Cancel", "Log In")
        self.screen.wait("push button", "Resume Download", "127.0.0.1")
        self.assertEqual(self.session.companion.find(url).reason, NEEDED)
        self.screen.click("push button", "Resume Download", "127.0.0.1")
        self.click_log_in()
        self.type_login("joe", "s3cret")
        self.finish(url, DATA)

    def test_plain_http_with_basic_says_that_others_can_read_it(self):
        self.start_with_screen()
        url = self.nginx.url(self.nginx.clear, "private/a.bin")
        self.ask(url, "a.bin")  # an http address has its name at once
        self.assertIn("The password is sent without encryption: others on the way can read it.", self.texts("Log In"))
        self.type_login("joe", "s3cret")
        self.finish(url, DATA)


class Digest(Logins):
    def test_both_algorithms_are_answered_and_basic_is_never_sent(self):
        self.session.start()
        for algorithm in ("MD5", "SHA-256"):
            with self.subTest(algorithm):
                server = loginservers.DigestServer(DATA, algorithm, also=['Basic realm="files"'])
                self.addCleanup(server.close)
                url = server.url(algorithm + ".bin")
                self.session.menu_url(url.replace("//", "//joe:s3cret@"))
                self.finish(url.replace("//", "//joe@"), DATA)
                self.assertEqual(server.seen[0], "")
                self.assertEqual({given.split(" ")[0] for given in server.seen}, {"", "Digest"})
        self.check_nowhere(b"s3cret")

    def test_wrong_password_is_asked_about(self):
        server = loginservers.DigestServer(DATA)
        self.addCleanup(server.close)
        self.start_with_screen()
        url = server.url("a.bin")
        self.session.menu_url(url.replace("//", "//joe:wrong@"))
        listed = url.replace("//", "//joe@")
        self.wait_state(listed, "failed")
        self.click_log_in("a.bin")
        self.type_login("", "s3cret")
        self.finish(listed, DATA)


class Ntlm(Logins):
    def test_login_is_asked_for_and_the_password_never_sent(self):
        server = ntlm.Server(DATA)
        self.addCleanup(server.close)
        self.start_with_screen()
        url = server.url("a.bin")
        self.ask(url, "a.bin")
        self.type_login("joe", "wrong")
        self.screen.wait("push button", "Log In...", "a.bin")
        self.assertIn(WRONG, self.texts("a.bin"))
        self.click_log_in("a.bin")
        self.type_login("", "s3cret")
        self.finish(url, DATA)
        self.assertEqual({given.split(" ")[0] for given in server.seen}, {"", "NTLM"})
        self.check_nowhere(b"s3cret")

    def test_negotiate_alone_gets_no_password_and_stops_with_the_reason(self):
        """Without a ticket nothing can be done."""
        server = ntlm.Server(DATA, offers=["Negotiate"])
        self.addCleanup(server.close)
        self.session.start()
        url = server.url("a.bin")
        self.session.menu_url(url.replace("//", "//joe:s3cret@"))
        listed = url.replace("//", "//joe@")
        self.wait_state(listed, "failed")
        self.assertIn(self.session.companion.find(listed).reason, (NEEDED, WRONG))
        self.assertLess(len(server.seen), 8)
        for given in server.seen:
            self.assertTrue(given == "" or given.startswith("Negotiate "), given)
            self.assertNotIn("s3cret", given)


class PasswordStore(Logins):
    def setUp(self):
        super().setUp()
        self.start_store("--unlock")
        self.url = self.nginx.url(self.nginx.plain, "private/a.bin")

    def start_store(self, *options):
        self.store = subprocess.Popen(["gnome-keyring-daemon", "--foreground", "--components=secrets", *options],
                                      env=self.session.env, stdin=subprocess.PIPE, stdout=self.session.log,
                                      stderr=self.session.log)
        self.addCleanup(harness.end_process, self.store)
        self.store.stdin.write(b"opensesame")
        self.store.stdin.close()
        harness.wait_until(self.has_store, 20, "the store")

    def has_store(self):
        return self.session.call_bus("NameHasOwner", "org.freedesktop.secrets")

    def tool(self, *arguments, **options):
        return subprocess.run(["secret-tool", *arguments], env=self.session.env, check=False, capture_output=True,
                              timeout=30, **options)

    def test_remembered_login_is_found_by_others_and_after_a_restart(self):
        self.start_with_screen()
        self.ask(self.url)
        self.type_login("joe", "wrong", True)
        self.screen.wait("push button", "Log In...", "127.0.0.1")
        self.assertEqual(self.tool("lookup", *STORE).stdout, b"", "it is not stored before it is right")
        self.click_log_in()
        self.type_login("", "s3cret", True)
        self.finish(self.url, DATA)
        attributes = ("scheme", "https", "port", str(self.nginx.plain), "realm", "files", "user", "joe")
        harness.wait_until(lambda: self.tool("lookup", *STORE, *attributes).stdout == b"s3cret", 20, "the stored login")
        self.check_nowhere(b"s3cret")
        self.stop()
        self.session.start()
        small = self.begin_url(self.nginx.url(self.nginx.plain, "private/small.bin"))
        self.finish(small, DATA[:1000])

    def store_login(self):
        stored = self.tool("store", "--label=files", *STORE, "scheme", "https", "port", str(self.nginx.plain), "realm",
                           "files", "user", "joe", input=b"s3cret")
        self.assertEqual(stored.returncode, 0, stored.stderr)

    def test_login_that_another_program_has_stored_is_used(self):
        self.store_login()
        self.session.start()
        self.finish(self.begin_url(self.url), DATA)

    def lock_store(self):
        self.store_login()
        harness.end_process(self.store)
        harness.wait_until(lambda: not self.has_store(), 20, "the end of the store")
        self.start_store()

    def answer_prompt(self, password, key):
        """In the desktop's own window."""
        self.screen.wait("dialog", PROMPT)
        harness.wait_until(lambda: self.screen.find("password text", "", PROMPT), 20, "its field")
        self.screen.type(password)
        self.screen.keys(key)
        self.screen.wait_gone("dialog", PROMPT)

    def test_locked_store_asks_for_its_own_password(self):
        self.lock_store()
        self.start_with_screen()
        self.begin_url(self.url)
        self.answer_prompt("opensesame", "Return")
        self.finish(self.url, DATA)

    def test_store_that_stays_locked_leads_to_the_question(self):
        self.lock_store()
        self.start_with_screen()
        self.begin_url(self.url)
        self.answer_prompt("", "Escape")
        self.click_log_in()
        self.type_login("joe", "s3cret")
        self.finish(self.url, DATA)


class NoPasswordStore(Logins):
    def test_login_counts_in_this_run_which_is_said_once(self):
        folder = os.path.join(self.session.root, "data", "dbus-1", "services")
        os.makedirs(folder)
        # The user's own files come before those of the system.
        with open(os.path.join(folder, "org.freedesktop.secrets.service"), "w", encoding="ascii") as f:
            f.write("[D-BUS Service]\nName=org.freedesktop.secrets\nExec=/bin/false\n")
        self.session.call_bus("ReloadConfig")
        self.start_with_screen()
        url = self.nginx.url(self.nginx.plain, "private/a.bin")
        self.ask(url)
        self.type_login("joe", "s3cret", True)
        self.finish(url, DATA)
        self.screen.answer("The desktop's password store did not take the login. Pellora keeps it until the program ends.",
                           "OK")
        self.finish(self.begin_url(self.nginx.url(self.nginx.plain, "private/small.bin")), DATA[:1000])
        self.assertEqual(self.session.dialogs(), [])


if __name__ == "__main__":
    unittest.main()

"""A program in a folder that the user cannot write, as packages and administrators install it."""

import os
import shutil
import unittest

import harness
import listfile
from case import Case


class ReadOnlySession(harness.Session):
    bound = True

    def seal(self):
        for folder, _, files in os.walk(self.program):
            for name in files:
                path = os.path.join(folder, name)
                os.chmod(path, os.stat(path).st_mode & 0o555)
            os.chmod(folder, 0o555)

    def unseal(self):
        for folder, _, _ in os.walk(self.program):
            os.chmod(folder, 0o755)

    @property
    def own_folder(self):
        return os.path.join(self.env["XDG_DATA_HOME"], "pellora")


class ReadOnly(Case):
    settings = {"MaxSegments": 2}

    def new_session(self, stage=None, **settings):
        session = ReadOnlySession(type(self).__name__, stage, **{**self.settings, **settings})
        self.addCleanup(session.close)
        return session

    def setUp(self):
        super().setUp()
        self.addCleanup(self.session.unseal)
        self.url = self.serve("/a.bin", 300000)
        self.own_list = os.path.join(self.session.own_folder, "Pellora.dat")

    def test_keeps_the_list_in_the_data_folder_over_restarts(self):
        self.session.seal()
        before = sorted(os.listdir(self.session.program))
        self.session.start()
        self.fetch(self.url)
        self.assertEqual(self.session.dialogs(), [])
        self.stop()
        self.assertTrue(listfile.find(self.own_list, self.url).finished)
        self.assertIn("pellora.lock", os.listdir(self.session.own_folder))
        self.assertEqual(os.stat(self.session.own_folder).st_mode & 0o777, 0o700)
        self.assertEqual(sorted(os.listdir(self.session.program)), before)
        self.session.start()
        self.assertEqual([each.url for each in self.session.companion.downloads()], [self.url])
        self.stop()

    def fetched_while_sealed_is_listed_later(self):
        self.session.seal()
        self.session.start()
        self.fetch(self.url)
        self.stop()
        self.session.unseal()
        self.session.start()
        self.assertEqual([each.url for each in self.session.companion.downloads()], [self.url])
        self.stop()

    def test_keeps_the_list_that_it_has_used_when_the_folder_can_be_written_again(self):
        self.session.start()
        self.stop()
        self.assertTrue(os.path.exists(self.session.list_file))
        self.fetched_while_sealed_is_listed_later()

    def test_relative_folders_of_the_environment_do_not_count(self):
        self.session.seal()
        self.session.env.update(XDG_DATA_HOME="data", XDG_CONFIG_HOME="config", XDG_STATE_HOME="state")
        self.session.start()
        self.session.companion.run("quit")
        self.session.process.wait(20)
        self.assertEqual([name for name in ("data", "config", "state")
                          if os.path.exists(os.path.join(self.session.home, name))], [])
        self.assertTrue(os.path.exists(os.path.join(self.session.home, ".local/share/pellora/Pellora.dat")))
        self.assertIn("ignores XDG_DATA_HOME=data", self.session.read_log())

    def test_finds_the_list_beside_the_program(self):
        self.session.start()
        self.fetch(self.url)
        self.stop()
        with open(self.session.list_file, "rb") as f:
            beside = f.read()
        self.session.seal()
        self.session.start()
        self.assertEqual([each.url for each in self.session.companion.downloads()], [self.url])
        self.assertEqual(self.session.companion.run("remove", self.url).returncode, 0)
        self.stop()
        with open(self.session.list_file, "rb") as f:
            self.assertEqual(f.read(), beside)
        self.session.start()
        self.assertEqual(self.session.companion.downloads(), [])
        self.stop()

    def test_finds_the_list_of_the_data_folder_after_it_was_unpacked_elsewhere(self):
        self.fetched_while_sealed_is_listed_later()
        self.assertFalse(os.path.exists(self.session.list_file))

    def test_registers_nothing_and_removes_what_another_copy_has_registered(self):
        chromium = os.path.join(self.session.env["XDG_CONFIG_HOME"], "chromium")
        os.mkdir(chromium)
        self.session.write_settings(self.session.settings_file, {"BrowserIngeration": "True", "CheckClipboard": "False"})
        data = self.session.env["XDG_DATA_HOME"]
        own = [os.path.join(data, "dbus-1/services/PelloraProject.Pellora.service"),
               os.path.join(data, "applications/org.pelloraproject.pellora.desktop"),
               os.path.join(chromium, "NativeMessagingHosts/pelloraproject.pellora.json")]
        self.session.start()
        self.stop()
        self.assertEqual([path for path in own if not os.path.exists(path)], [])
        self.session.seal()
        self.session.start()
        self.stop()
        self.assertEqual([path for path in own if os.path.exists(path)], [])

    def test_says_once_that_the_list_cannot_be_saved(self):
        self.session.seal()
        os.makedirs(self.session.own_folder)
        os.chmod(self.session.own_folder, 0o555)
        self.addCleanup(os.chmod, self.session.own_folder, 0o755)
        self.session.start()
        self.session.save_screenshot("list-not-saved")
        self.session.dismiss(self.session.wait_dialog()[0])
        self.fetch(self.url)
        self.session.companion.run("wait", "--timeout", "12", "http://127.0.0.1:1/none")
        self.assertEqual(self.session.dialogs(), [])
        self.stop()


class Installed(Case):
    """The folders as cmake --install makes them, in a prefix of the user's own."""

    settings = {"MaxSegments": 2}

    def setUp(self):
        super().setUp()
        prefix = os.path.join(self.session.root, "prefix")
        texts = os.path.join(prefix, "share/pellora/languages")
        os.makedirs(texts)
        for name in os.listdir(self.session.program):
            if name.endswith(".txt"):
                shutil.move(os.path.join(self.session.program, name), texts)
        os.makedirs(os.path.join(prefix, "lib"))
        self.session.move_program("prefix/lib/pellora")
        self.url = self.serve("/a.bin", 300000)

    def test_keeps_its_list_in_the_data_folder_though_it_could_write_its_own(self):
        self.session.write_settings(self.session.settings_file, {"Language": "german", "CheckClipboard": "False"})
        self.session.start()
        self.fetch(self.url)
        self.stop()
        data = os.path.join(self.session.env["XDG_DATA_HOME"], "pellora/Pellora.dat")
        self.assertTrue(listfile.find(data, self.url).finished)
        self.assertFalse(os.path.exists(self.session.list_file))

    def test_takes_the_settings_of_the_system_for_keys_that_the_user_lacks(self):
        system = os.path.join(self.session.root, "xdg")
        os.makedirs(os.path.join(system, "pellora"))
        path = os.path.join(system, "pellora/Pellora.ini")
        self.session.write_settings(path, {"WebEngine": "2", "MaxSegments": "1"})
        with open(path, "rb") as f:
            before = f.read()
        self.session.env["XDG_CONFIG_DIRS"] = system
        self.session.start()
        self.fetch(self.url)
        self.stop()
        with open(os.path.join(self.session.env["XDG_DATA_HOME"], "pellora/Pellora.fetch"), "rb") as f:
            self.assertIn(self.url.encode(), f.read())
        with open(path, "rb") as f:
            self.assertEqual(f.read(), before)


class Arguments(Case):
    settings = {"MaxSegments": 2}

    def test_of_a_second_start_go_to_the_copy_that_runs(self):
        url = self.serve("/a.bin", 300000)
        self.session.start()
        self.session.arguments = (url,)
        self.assertEqual(self.session.launch().wait(30), 0)
        self.session.companion.wait_finished([url], 30)
        self.assertEqual(self.session.dialogs(), [])
        self.stop()

    def test_add_a_download_at_the_start(self):
        url = self.serve("/a.bin", 300000)
        self.session.arguments = (url,)
        self.session.start()
        self.session.companion.wait_finished([url], 30)
        self.stop()

    def test_open_a_file_of_addresses(self):
        path = os.path.join(self.session.root, "two.txt")
        with open(path, "w", encoding="utf-8") as f:
            f.write("http://127.0.0.1:1/a\nhttp://127.0.0.1:1/b\n")
        self.session.arguments = (path,)
        self.session.start()
        self.session.window("Add several addresses")
        self.stop()

    def test_ask_for_an_address(self):
        self.session.start()
        self.session.arguments = ("--add-url",)
        self.assertEqual(self.session.launch().wait(30), 0)
        self.session.window("Enter the URL")
        self.session.save_screenshot("add-url-action")
        self.stop()


if __name__ == "__main__":
    unittest.main()

"""Who can read the program's files, and links and lists that point to files of other users."""

import os
import stat
import struct
import unittest

import harness
import listfile
from case import Case

SIZE = 300000
ANOTHER_USER = 54321


def rights(path):
    return stat.S_IMODE(os.stat(path).st_mode)


class PrivateFiles(Case):
    settings = {"MaxSegments": 2}

    def setUp(self):
        super().setUp()
        self.url = self.serve("/a.bin", SIZE)
        self.victim = os.path.join(self.session.home, "letter")
        self.elsewhere = os.path.join(self.session.home, "made")
        with open(self.victim, "wb") as f:
            f.write(b"kept" * 100000)

    def with_umask(self, mask):
        self.session.prefix = ("sh", "-c", "umask %o; exec \"$@\"" % mask, "sh")
        self.session.start()

    def part(self, number, name="a.bin"):
        return os.path.join(self.session.parts, "%s%03d.tmp" % (name, number))

    def check_victim(self):
        with open(self.victim, "rb") as f:
            self.assertEqual(f.read(), b"kept" * 100000)
        self.assertFalse(os.path.lexists(self.elsewhere), "made through a link")

    def test_only_the_user_reads_lists_locks_and_parts(self):
        slow = self.serve("/slow.bin", SIZE, rate=60000)
        for name in ("", ".damaged"):
            with open(self.session.list_file + name, "wb") as f:
                f.write(b"no list")
            os.chmod(self.session.list_file + name, 0o666)
        self.with_umask(0)
        self.session.menu_url(slow)
        harness.wait_until(lambda: os.path.exists(self.part(2, "slow.bin")), 20, "the parts")
        program = self.session.program
        private = [os.path.join(program, n) for n in os.listdir(program) if n.startswith("Pellora.dat")]
        self.assertEqual(len(private), 3, private)  # the list, its previous copy and a new one
        private += [os.path.join(program, "pellora.lock"), self.part(1, "slow.bin"), self.part(2, "slow.bin")]
        for path in private:
            self.assertEqual(oct(rights(path)), oct(0o600), path)
        self.assertEqual(rights(self.saved(slow).saved_path), 0o666)

    def test_finished_file_follows_the_umask(self):
        self.with_umask(0o027)
        self.assertEqual(rights(self.fetch(self.url).saved_path), 0o640)

    def test_links_named_like_parts_are_left_alone(self):
        os.symlink(self.victim, self.part(1))
        os.symlink(self.elsewhere, self.part(2))
        self.session.start()
        self.fetch(self.url)
        self.check_victim()
        self.assertEqual(sorted(os.listdir(self.session.parts)), ["a.bin001.tmp", "a.bin002.tmp"])
        self.assertEqual(self.session.dialogs(), [])

    def test_link_in_place_of_a_running_part_pauses_only_its_download(self):
        slow = self.serve("/slow.bin", SIZE, rate=40000)
        other = self.serve("/other.bin", SIZE, rate=60000)
        self.session.start()
        self.session.menu_url(slow)
        self.session.menu_url(other)
        part = self.part(1, "slow.bin")
        harness.wait_until(lambda: os.path.exists(part) and os.path.getsize(part) > 0, 20, "the part")
        os.symlink(self.victim, part + ".new")
        os.rename(part + ".new", part)
        window, _ = self.session.wait_dialog()
        self.session.save_screenshot("foreign_part")
        self.session.dismiss(window)
        self.saved(other)
        self.assertFalse(self.session.companion.find(slow).finished)
        self.session.resume()
        self.saved(slow)
        self.check_victim()
        self.stop()

    def test_link_of_the_user_leads_to_the_finished_file(self):
        os.symlink(self.elsewhere, self.session.downloads + "a.bin")
        self.session.start()
        self.fetch(self.url)
        self.assertTrue(os.path.islink(self.session.downloads + "a.bin"))
        self.assertEqual(harness.digest(self.elsewhere), self.origin.digest(self.url))

    def test_link_of_another_user_creates_no_file_elsewhere(self):
        link = self.session.downloads + "a.bin"
        if os.geteuid() == 0:
            os.symlink(self.elsewhere, link)
            os.lchown(link, ANOTHER_USER, ANOTHER_USER)
        else:
            os.symlink("/etc/mtab", link)  # a link of root's
        self.session.start()
        self.session.menu_url(self.url)
        window, _ = self.session.wait_dialog()
        self.session.save_screenshot("foreign_output")
        self.session.dismiss(window)
        self.check_victim()
        request_count = len(self.origin.requests)
        os.remove(link)
        self.session.resume()
        self.saved(self.url)
        self.assertEqual(len(self.origin.requests), request_count, "fetched again")

    def plan_is_listed(self):
        record = listfile.find(self.session.list_file, self.url)
        return record is not None and len(record.segments) == 2

    def rename_parts_in_list(self, names):
        """Marks every part in the list as complete, under other names."""
        record = listfile.find(self.session.list_file, self.url)
        with open(self.session.list_file, "rb") as f:
            data = f.read()
        self.assertEqual(len(record.segments), len(names))
        for segment, name in zip(record.segments, names):
            before = struct.pack("<H", len(segment.temp_file)) + segment.temp_file + struct.pack("<h", segment.state)
            self.assertEqual(data.count(before), 1)
            data = data.replace(before, struct.pack("<H", len(name)) + name.encode() + struct.pack("<h", 3))
        with open(self.session.list_file, "wb") as f:
            f.write(data)

    def test_list_cannot_cause_foreign_files_to_be_joined_or_deleted(self):
        for names in ((self.victim, self.victim), ("a.bin001.tmp", "letter002.tmp")):
            with self.subTest(names=names), harness.Session("foreign", MaxSegments=2) as self.session:
                self.origin.serve_file("/a.bin", SIZE, rate=20000)
                self.session.start()
                self.session.menu_url(self.url)
                harness.wait_until(self.plan_is_listed, 20, "the plan in the list")
                self.stop()
                names = [os.path.join(self.session.parts, name) for name in names]
                if names[1] != self.victim:
                    os.link(self.victim, names[1])  # named like a part
                self.rename_parts_in_list(names)
                self.origin.serve_file("/a.bin", SIZE)
                self.session.start()
                self.session.resume()
                self.saved(self.url)
                self.check_victim()
                for name in names[1:]:
                    self.assertTrue(os.path.samefile(name, self.victim))
                self.stop()


if __name__ == "__main__":
    unittest.main()

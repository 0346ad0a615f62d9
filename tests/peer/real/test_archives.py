"""Files out of remote ZIP archives by pelloractl: archives of several archivers on nginx with TLS, compared with what
Python's zipfile lists and unzip unpacks."""

import json
import os
import random
import shutil
import subprocess
import time
import unittest
import zipfile

import harness
import zstdzip
from test_web import Web

RANDOM = random.Random(16)
PASSWORD = "pass word"
ACCENTED = "na\u00efve \u00fc.txt"
FILES = {
    "readme.txt": b"What is in here.\n" * 400,
    "empty": b"",
    "run.sh": b"#!/bin/sh\n",
    ACCENTED: b"accents\n" * 50,
    "docs/a.pdf": RANDOM.randbytes(200_000),
    "docs/note.txt": b"note\n" * 1000,
    "docs/deep/b.pdf": RANDOM.randbytes(300_000) + b"x" * 1_000_000,
    "large.bin": RANDOM.randbytes(2_000_000),
}
MOMENT = 1_600_000_000
TAIL = 128 << 10  # bytes of an archive's end that are asked for first
# In a folder with FILES; "zip -r -" and "bsdtar -cf -" cannot seek.
ARCHIVERS = {
    "zip": "zip -q -r OUT .",
    "comment": "printf 'PK and a remark' | zip -q -r -z OUT .",
    "piped": "zip -q -r - . | cat >OUT",
    "stored": "zip -q -0 -X -r OUT .",
    "bzip2": "zip -q -r -Z bzip2 OUT .",
    "7z": "7zz a -tzip -bso0 -bsp0 OUT .",
    "bsdtar": "bsdtar --format zip -cf OUT *",
    "bsdtar-piped": "bsdtar --format zip -cf - * | cat >OUT",
    "jar": "jar cf OUT .",
    "python": "python3 -m zipfile -c OUT *",
}
LOCALE = {"LC_ALL": "C.UTF-8", "TZ": "UTC"}


def make(folder, files):
    for name, data in files.items():
        path = os.path.join(folder, name)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "wb") as f:
            f.write(data)
        os.chmod(path, 0o755 if name.endswith(".sh") else 0o644)
        os.utime(path, (MOMENT, MOMENT))
    for place, _, _ in os.walk(folder):  # zipfile reads times in steps of two seconds
        os.utime(place, (MOMENT, MOMENT))


def contents(folder):
    """The bytes of the files below it, by their names."""
    found = {}
    for place, _, names in os.walk(folder):
        for name in names:
            path = os.path.join(place, name)
            with open(path, "rb") as f:
                found[os.path.relpath(path, folder)] = f.read()
    return found


def permissions(folder):
    return {name: oct(os.stat(os.path.join(folder, name)).st_mode & 0o777) for name in contents(folder)}


def folders(folder):
    """(permissions, moment) of the folders below it."""
    found = {}
    for place, names, _ in os.walk(folder):
        for name in names:
            path = os.path.join(place, name)
            status = os.stat(path)
            found[os.path.relpath(path, folder)] = (oct(status.st_mode & 0o777), int(status.st_mtime))
    return found


def moments(folder):
    return {name: int(os.stat(os.path.join(folder, name)).st_mtime) for name in contents(folder)}


class Archives(Web):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.source = harness.Stage.get().new_folder("packed")
        make(cls.source, FILES)

    def setUp(self):
        super().setUp()
        self.session.env.update(LOCALE)
        self.folder = os.path.join(self.session.root, "unpacked")
        os.mkdir(self.folder)

    def pack(self, name, command, folder=None):
        """The path of an archive that the server has."""
        path = os.path.join(self.nginx.files, name + ".zip")
        if os.path.exists(path):
            os.remove(path)
        subprocess.run(command.replace("OUT", path), shell=True, cwd=folder or self.source, check=True,
                       env={**os.environ, **LOCALE}, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL)
        return path

    def url(self, path, port=None):
        return self.nginx.url(port or self.nginx.plain, os.path.basename(path))

    def control(self, *arguments, given=b""):
        """(exit code, lines, complaint) of pelloractl."""
        result = self.session.companion.run(*arguments, given=given, timeout=180)
        return result.returncode, result.stdout.decode().splitlines(), result.stderr.decode().strip()

    def entries(self, url, *options, given=b""):
        code, lines, complaint = self.control("zip", "list", "--json", *options, url, given=given)
        self.assertEqual((code, complaint), (0, ""))
        return [json.loads(line) for line in lines]

    def remarks(self, url):
        return {entry["name"]: entry["remark"] for entry in self.entries(url)}

    def begin(self, url, *patterns, given=b""):
        """The id of a download."""
        code, lines, complaint = self.control("zip", "get", "--to", self.folder, url, *patterns, given=given)
        self.assertEqual((code, complaint), (0, ""))
        return lines[0]

    def get(self, url, *patterns, given=b""):
        """What is unpacked, in an empty folder."""
        shutil.rmtree(self.folder)
        os.mkdir(self.folder)
        return self.get_more(url, *patterns, given=given)

    def get_more(self, url, *patterns, given=b""):
        self.finished(self.begin(url, *patterns, given=given))
        return contents(self.folder)

    def finished(self, identity):
        code, lines, complaint = self.control("wait", "--timeout", "120", identity)
        self.assertEqual((code, complaint), (0, ""), lines)

    def refused(self, url, *arguments, given=b""):
        code, lines, complaint = self.control("zip", *arguments[:1], url, *arguments[1:], given=given)
        self.assertEqual((code, lines), (1, []), complaint)
        self.assertEqual(self.session.companion.downloads(), [])
        return complaint

    def refused_get(self, url, *patterns, given=b""):
        complaint = self.refused(url, "get", "--to", self.folder, *patterns, given=given)
        self.assertEqual(contents(self.folder), {})
        return complaint

    def unzipped(self, path):
        folder = path + ".unzipped"
        if os.path.exists(folder):
            shutil.rmtree(folder)
        subprocess.run(["unzip", "-q", "-o", path, "-d", folder], check=True, env={**os.environ, **LOCALE},
                       stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL)
        return folder


class Listing(Archives):
    def test_entries_are_those_that_zipfile_finds(self):
        self.session.start()
        for archiver, command in ARCHIVERS.items():
            with self.subTest(archiver):
                path = self.pack(archiver, command)
                listed = self.entries(self.url(path))
                with zipfile.ZipFile(path) as archive:
                    infos = archive.infolist()
                self.assertEqual(
                    [(entry["size"], entry["packed"], entry["time"]) for entry in listed],
                    [(info.file_size, info.compress_size, "%d-%02d-%02d %02d:%02d:%02d" % info.date_time)
                     for info in infos])
                for entry, info in zip(listed, infos):
                    if info.filename.isascii() or info.flag_bits & 0x800:  # zipfile guesses the others
                        self.assertEqual(entry["name"], info.filename)
                names = {entry["name"] for entry in listed if not entry["name"].endswith("/")}
                self.assertEqual(names - {"META-INF/MANIFEST.MF"}, set(FILES))
                self.assertEqual({entry["remark"] for entry in listed}, {None})

    def test_line_has_fields_and_remark(self):
        self.session.start()
        path = self.pack("locked", "zip -q -X -P secret OUT readme.txt")
        code, [line], complaint = self.control("zip", "list", self.url(path))
        self.assertEqual((code, complaint), (0, ""))
        name, size, packed, moment, remark = line.split("\t")
        self.assertEqual((name, int(size), moment, remark),
                         ("readme.txt", len(FILES["readme.txt"]), "2020-09-13 12:26:40", "encrypted"))
        self.assertLess(int(packed), int(size))

    def test_costs_the_end_of_the_archive_alone(self):
        self.session.start()
        url = self.url(self.pack("zip", ARCHIVERS["zip"]))
        before = len(self.nginx.log())
        self.entries(url)
        harness.wait_until(lambda: len(self.nginx.log()) > before, 20, "the log")
        self.assertLessEqual(self.nginx.sent(before), TAIL)
        self.assertEqual(self.session.companion.downloads(), [])

    def test_says_why_there_is_none(self):
        self.session.start()
        path = self.pack("zip", ARCHIVERS["zip"])
        for url, words in ((self.url(path, self.nginx.whole), "parts"),
                           (self.nginx.url(self.nginx.plain, "a.bin"), "ZIP"),
                           (self.nginx.url(self.nginx.plain, "empty.bin"), "ZIP"),
                           (self.nginx.url(self.nginx.plain, "none.zip"), "does not have this file"),
                           (self.url(path, self.nginx.expired), "certificate"),
                           (self.url(path, self.nginx.clear), "does not look inside archives"),
                           ("gopher://127.0.0.1/x.zip", "no address")):
            with self.subTest(url):
                self.assertIn(words, self.refused(url, "list"))

    def test_login_comes_from_standard_input(self):
        self.session.start()
        path = self.pack("zip", ARCHIVERS["zip"])
        url = self.nginx.url(self.nginx.plain, "private/" + os.path.basename(path))
        self.refused(url, "list")
        self.refused(url, "list", "--user", "joe", "--password-stdin", given=b"wrong\n")
        self.assertTrue(self.entries(url, "--user", "joe", "--password-stdin", given=b"s3cret\n"))
        found = self.get(url, "readme.txt", "--user", "joe", "--password-stdin", given=b"s3cret\n")
        self.assertEqual(found, {"readme.txt": FILES["readme.txt"]})


class Getting(Archives):
    def test_files_are_those_that_unzip_makes(self):
        self.session.start()
        for archiver, command in ARCHIVERS.items():
            if archiver == "jar":
                continue  # its accented names are garbled by unzip
            with self.subTest(archiver):
                path = self.pack(archiver, command)
                reference = self.unzipped(path)
                # No assertEqual: a difference of megabytes takes minutes to show.
                self.assertTrue(self.get(self.url(path), "*") == contents(reference), "other files than unzip's")
                self.assertEqual(permissions(self.folder), permissions(reference))
                self.assertEqual(moments(self.folder), moments(reference))
                self.assertEqual(folders(self.folder), folders(reference))

    def test_archive_of_a_whole_folder_has_its_names(self):
        folder = os.path.join(self.session.root, "whole")
        make(folder, {"docs/a.pdf": b"a", "docs/deep/b.pdf": b"b", "c.txt": b"c"})
        os.makedirs(os.path.join(folder, "none/inner"))
        path = self.pack("whole", "bsdtar --format zip -cf OUT .", folder)
        self.session.start()
        url = self.url(path)
        self.assertEqual({entry["remark"] for entry in self.entries(url)}, {None})
        self.assertEqual(self.get(url, "docs/*.pdf"), {"docs/a.pdf": b"a", "docs/deep/b.pdf": b"b"})
        self.assertEqual(self.get(url, "*"), contents(folder))
        self.assertEqual(set(folders(self.folder)), {"docs", "docs/deep", "none", "none/inner"})
        self.assertEqual(self.get(url, "none"), {})
        self.assertEqual(set(folders(self.folder)), {"none", "none/inner"})

    def test_archives_with_rare_marks_are_listed_right(self):
        empty = b"PK\5\6" + bytes(18)
        self.session.start()
        path = self.pack("marked", "printf 'a long remark' | zip -q -z OUT readme.txt")
        with open(path, "rb") as f:
            whole = f.read()
        for name, data in (("cut", whole[:-5]), ("followed", whole + empty)):
            with self.subTest(name):
                other = os.path.join(self.nginx.files, name + ".zip")
                with open(other, "wb") as f:
                    f.write(data)
                self.assertEqual([entry["name"] for entry in self.entries(self.url(other))], ["readme.txt"])

    def test_archive_of_java_gives_the_packed_files(self):
        self.session.start()
        found = self.get(self.url(self.pack("jar", ARCHIVERS["jar"])), "*")
        self.assertIn(b"Manifest-Version", found.pop("META-INF/MANIFEST.MF"))
        self.assertTrue(found == FILES)

    def test_other_methods_give_the_same_files(self):
        self.session.start()
        for method, number in (("BZip2", 12), ("LZMA", 14), ("XZ", 95), ("PPMd", 98)):
            with self.subTest(method):
                path = self.pack(method, "7zz a -tzip -bso0 -bsp0 -mm=%s OUT ." % method)
                with zipfile.ZipFile(path) as archive:
                    self.assertEqual(archive.getinfo("docs/deep/b.pdf").compress_type, number)
                self.assertTrue(self.get(self.url(path), "*") == FILES)

    def test_zstandard_gives_the_same_files(self):
        self.session.start()
        path = os.path.join(self.nginx.files, "zstd.zip")
        with open(path, "wb") as f:
            f.write(zstdzip.archive(FILES))
        self.assertEqual(set(self.remarks(self.url(path)).values()), {None})
        self.assertTrue(self.get(self.url(path), "*") == FILES)

    def test_deflate64_is_refused_and_other_entries_of_the_archive_are_not(self):
        path = self.pack("deflate64", "7zz a -tzip -bso0 -bsp0 -mm=Deflate64 OUT large.bin docs/note.txt && "
                                      "7zz a -tzip -bso0 -bsp0 OUT readme.txt")
        with zipfile.ZipFile(path) as archive:
            self.assertEqual(archive.getinfo("docs/note.txt").compress_type, 9)
        self.session.start()
        url = self.url(path)
        remarks = self.remarks(url)
        self.assertEqual(remarks["docs/note.txt"], "packed in a way that Pellora does not support")
        self.assertEqual(remarks["readme.txt"], None)
        self.assertIn("docs/note.txt cannot be unpacked: packed in a way", self.refused_get(url, "docs/*"))
        self.assertEqual(self.get(url, "readme.txt"), {"readme.txt": FILES["readme.txt"]})

    def test_patterns_and_folders_choose_files(self):
        self.session.start()
        url = self.url(self.pack("zip", ARCHIVERS["zip"]))
        for patterns, names in ((["readme.txt"], ["readme.txt"]),
                                (["docs/*.pdf"], ["docs/a.pdf", "docs/deep/b.pdf"]),
                                (["docs/"], ["docs/a.pdf", "docs/note.txt", "docs/deep/b.pdf"]),
                                (["docs/deep", "empty"], ["docs/deep/b.pdf", "empty"]),
                                (["na?ve*"], [ACCENTED]),
                                (["docs/note.txt", "docs"], ["docs/a.pdf", "docs/note.txt", "docs/deep/b.pdf"])):
            with self.subTest(patterns):
                self.assertEqual(self.get(url, *patterns), {name: FILES[name] for name in names})
        code, lines, complaint = self.control("zip", "get", "--to", self.folder, url, "README.TXT")
        self.assertEqual((code, lines), (1, []))
        self.assertIn("No file in the archive has such a name", complaint)

    def test_only_the_bytes_of_the_chosen_files_come(self):
        self.session.start()
        path = self.pack("zip", ARCHIVERS["zip"])
        with zipfile.ZipFile(path) as archive:
            packed = sum(archive.getinfo(name).compress_size for name in ("docs/a.pdf", "readme.txt"))
        before = len(self.nginx.log())
        self.get(self.url(path), "docs/a.pdf", "readme.txt")
        time.sleep(0.5)  # nginx writes its log when a request has ended
        sent = self.nginx.sent(before)
        self.assertGreaterEqual(sent, packed)
        self.assertLess(sent, packed + TAIL + (64 << 10))
        self.assertLess(sent, os.path.getsize(path) / 4)

    def test_two_downloads_of_one_archive_stand_side_by_side(self):
        self.session.start()
        url = self.url(self.pack("zip", ARCHIVERS["zip"]))
        first, second = self.begin(url, "readme.txt"), self.begin(url, "docs/note.txt")
        self.assertNotEqual(first, second)
        self.finished(first)
        self.finished(second)
        self.assertEqual(contents(self.folder), {name: FILES[name] for name in ("readme.txt", "docs/note.txt")})

    def test_existing_files_follow_the_rule(self):
        self.session.start()
        url = self.url(self.pack("zip", ARCHIVERS["zip"]))
        new = FILES["readme.txt"]
        for options, expected in (([], {"readme.txt": b"old", "readme (2).txt": new}),
                                  (["--existing", "number"], {"readme.txt": b"old", "readme (2).txt": new}),
                                  (["--existing", "replace"], {"readme.txt": new}),
                                  (["--existing", "keep"], {"readme.txt": b"old"})):
            with self.subTest(options):
                shutil.rmtree(self.folder)
                make(self.folder, {"readme.txt": b"old"})
                self.assertEqual(self.get_more(url, "readme.txt", *options), expected)

    def test_download_without_windows_is_the_same(self):
        self.session.arguments = ["--headless"]
        self.session.start()
        url = self.url(self.pack("zip", ARCHIVERS["zip"]))
        self.assertEqual(len(self.entries(url)), len(self.entries(url)))
        self.assertEqual(self.get(url, "*"), FILES)

    def test_folder_must_exist(self):
        self.session.start()
        url = self.url(self.pack("zip", ARCHIVERS["zip"]))
        for folder in (self.folder + "/none", self.session.settings_file):
            self.assertIn("There is no folder", self.refused(url, "get", "--to", folder, "*"))

    def test_server_without_ranges_is_refused(self):
        self.session.start()
        path = self.pack("zip", ARCHIVERS["zip"])
        self.assertIn("parts", self.refused_get(self.url(path, self.nginx.whole), "*"))


class Encrypted(Archives):
    def test_password_unpacks(self):
        self.session.start()
        for name, command in (("zipcrypto", "zip -q -r -P '%s' OUT ."),
                              ("aes", "7zz a -tzip -bso0 -bsp0 -mem=AES256 '-p%s' OUT .")):
            with self.subTest(name):
                url = self.url(self.pack(name, command % PASSWORD))
                found = self.get(url, "*", "--archive-password-stdin", given=PASSWORD.encode() + b"\n")
                self.assertEqual(found, FILES)

    def test_is_refused_at_once_without_the_password(self):
        self.session.start()
        url = self.url(self.pack("locked", "zip -q -X -P secret OUT readme.txt"))
        self.assertIn("its password is needed", self.refused_get(url, "*"))

    def test_wrong_password_makes_no_file(self):
        self.session.start()
        url = self.url(self.pack("locked", "zip -q -X -P secret OUT readme.txt"))
        identity = self.begin(url, "*", "--archive-password-stdin", given=b"wrong\n")
        code, lines, _ = self.control("wait", "--timeout", "20", identity)
        self.assertNotEqual(code, 0, lines)
        [download] = self.session.companion.downloads()
        self.assertIn("password", download.reason)
        self.assertEqual({name for name in contents(self.folder) if not name.endswith(".part")}, set())


class Hostile(Archives):
    def test_names_that_lead_out_of_the_folder_are_refused(self):
        path = os.path.join(self.nginx.files, "names.zip")
        with zipfile.ZipFile(path, "w") as archive:
            for name in ("good.txt", "../evil.txt", "a/../../evil.txt"):
                archive.writestr(name, name)
        self.session.start()
        url = self.url(path)
        remarks = self.remarks(url)
        self.assertEqual(remarks.pop("good.txt"), None)
        self.assertEqual(set(remarks.values()), {"its name leads out of the folder"})
        self.assertIn("evil.txt cannot be unpacked", self.refused_get(url, "*"))
        self.assertEqual(self.get(url, "good.txt"), {"good.txt": b"good.txt"})
        self.assertFalse(os.path.exists(os.path.join(self.session.root, "evil.txt")))

    def test_names_send_nothing_to_a_terminal(self):
        path = os.path.join(self.nginx.files, "terminal.zip")
        with zipfile.ZipFile(path, "w") as archive:
            archive.writestr("\x1b]0;title\x07evil.txt", b"x")
        self.session.start()
        url = self.url(path)
        code, [line], _ = self.control("zip", "list", url)
        self.assertEqual(code, 0)
        for shown in (line, self.refused_get(url, "*")):
            self.assertIn("evil.txt", shown)
            self.assertNotRegex(shown, r"[\x00-\x08\x0b-\x1f\x7f-\x9f]")

    def test_reason_is_not_cut_at_a_nul_in_a_name(self):
        path = os.path.join(self.nginx.files, "cut.zip")
        with zipfile.ZipFile(path, "w") as archive:
            archive.writestr("before~after.txt", b"")
        with open(path, "rb") as f:
            data = f.read()
        with open(path, "wb") as f:
            f.write(data.replace(b"~", b"\0"))
        self.session.start()
        self.assertIn("\ufffdafter.txt cannot be unpacked", self.refused_get(self.url(path), "*"))

    def test_names_of_many_parts_hold_nothing_up(self):
        path = os.path.join(self.nginx.files, "parts.zip")
        with zipfile.ZipFile(path, "w") as archive:
            for number in range(20):
                archive.writestr("a/" * 32760 + "%02d" % number, b"")
        self.session.start()
        began = time.monotonic()
        self.assertIn("No file", self.refused_get(self.url(path), "*.pdf"))
        self.assertLess(time.monotonic() - began, 10)

    def test_list_that_is_too_long_for_the_bus_is_refused(self):
        path = os.path.join(self.nginx.files, "nuls.zip")
        with zipfile.ZipFile(path, "w") as archive:
            for number in range(390):
                archive.writestr("x" * 64000 + "%03d" % number, b"")
        with open(path, "rb") as f:
            data = f.read()
        with open(path, "wb") as f:
            f.write(data.replace(b"x" * 64000, b"\0" * 64000))
        self.session.start()
        self.assertIn("too much for a list", self.refused(self.url(path), "list"))
        self.assertEqual(self.session.companion.downloads(), [])

    def test_links_are_refused(self):
        folder = os.path.join(self.session.root, "linked")
        os.mkdir(folder)
        make(folder, {"good.txt": b"good"})
        os.symlink("/etc/passwd", os.path.join(folder, "link"))
        self.session.start()
        url = self.url(self.pack("links", "zip -q -r -y OUT .", folder))
        self.assertEqual(self.remarks(url), {"good.txt": None, "link": "a link or a device"})
        self.assertIn("link cannot be unpacked", self.refused_get(url, "*"))
        self.assertEqual(self.get(url, "good.txt"), {"good.txt": b"good"})

    def test_no_file_is_made_through_a_link_in_the_folder(self):
        self.session.start()
        url = self.url(self.pack("zip", ARCHIVERS["zip"]))
        outside = os.path.join(self.session.root, "outside")
        os.mkdir(outside)
        os.symlink(outside, os.path.join(self.folder, "docs"))
        identity = self.begin(url, "docs/note.txt")
        self.assertNotEqual(self.control("wait", "--timeout", "20", identity)[0], 0)
        self.assertEqual(os.listdir(outside), [])

    def test_damaged_entry_is_named_and_gets_no_file(self):
        path = self.pack("damaged", "zip -q -0 -X OUT readme.txt docs/note.txt")
        with open(path, "r+b") as f:
            f.seek(100)
            f.write(b"damage")
        self.session.start()
        identity = self.begin(self.url(path), "*")
        code, lines, _ = self.control("wait", "--timeout", "60", identity)
        self.assertEqual(code, 1, lines)
        [download] = self.session.companion.downloads()
        self.assertIn("readme.txt", download.reason)
        self.assertEqual({name for name in contents(self.folder) if not name.endswith(".part")}, {"docs/note.txt"})


class Killed(Archives):
    def test_files_come_whole_after_a_kill_and_nothing_is_fetched_twice(self):
        files = {"%02d.bin" % number: RANDOM.randbytes(1_000_000) for number in range(24)}
        folder = harness.Stage.get().new_folder("many")
        make(folder, files)
        path = self.pack("many", "zip -q -r OUT .", folder)
        self.session.start()
        identity = self.begin(self.url(path, self.nginx.slow), "*")
        of = lambda: next(d for d in self.session.companion.downloads() if d.id == identity)
        made = lambda: {name for name in contents(self.folder) if name in files}
        harness.wait_until(lambda: of().received > 10_000_000 and made(), 60, "a part of the files")
        time.sleep(2.5)  # what is unpacked is journaled every two seconds
        self.session.kill()
        kept = {name: os.stat(os.path.join(self.folder, name)).st_ino for name in made()}
        self.assertTrue(kept)
        self.assertLess(len(kept), len(files))
        time.sleep(0.5)  # nginx notices the ends of the connections
        before = len(self.nginx.log())
        self.session.start()
        claimed = of().received
        self.assertGreater(claimed, 1_000_000)
        self.session.resume()
        self.finished(identity)
        self.assertEqual(contents(self.folder), files)
        for name, inode in kept.items():
            self.assertEqual(os.stat(os.path.join(self.folder, name)).st_ino, inode, name)
        # Beyond what is claimed: what comes after the end of a piece before its connection closes.
        self.assertLess(self.nginx.sent(before), os.path.getsize(path) - claimed + 8_000_000)


if __name__ == "__main__":
    unittest.main()

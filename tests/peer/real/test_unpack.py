"""The process that unpacks entries of archives: what several archivers have written, byte by byte, and bytes that nobody
should have written."""

import os
import random
import resource
import struct
import subprocess
import tempfile
import unittest
import zipfile

import harness
import zstdzip

PROGRAM = os.path.join(harness.PROGRAM, "pellora-unpack")
DONE, DAMAGED, BAD_ORDER, ENDED = 0, 1, 2, 4
ENCRYPTED = 1
PASSWORD = "pass word"

RANDOM = random.Random(1)
FILES = {
    "text.txt": b"hello " * 1000,
    "empty": b"",
    "large.bin": RANDOM.randbytes(300_000) + b"x" * 3_000_000,
    # What looks like the record after an entry's data.
    "record.bin": b"PK\7\10" + b"\0" * 12 + b"abc" * 100,
}


class Packed:
    """An entry as the directory of its archive has it, and its packed bytes."""

    def __init__(self, data, info):
        self.info = info
        name, extra = struct.unpack("<HH", data[info.header_offset + 26:info.header_offset + 30])
        start = info.header_offset + 30 + name + extra
        self.bytes = data[start:start + info.compress_size]
        self.method = info.compress_type
        self.aes = ""
        fields = info.extra
        while len(fields) >= 4:
            number, length = struct.unpack("<HH", fields[:4])
            if number == 0x9901:
                self.aes = fields[4:4 + length].hex()
                self.method = struct.unpack("<H", fields[9:11])[0]
            fields = fields[4 + length:]

    def order(self, password=PASSWORD, packed=None, size=None):
        info = self.info
        year, month, day, hour, minute, second = info.date_time
        words = ["unpack", self.method, info.flag_bits, hour << 11 | minute << 5 | second // 2,
                 (year - 1980) << 9 | month << 5 | day, info.CRC, info.compress_size if packed is None else packed,
                 info.file_size if size is None else size, self.aes or "-",
                 password.encode().hex() if info.flag_bits & ENCRYPTED else "-"]
        return " ".join(str(word) for word in words).encode() + b"\n"


def unpack(order, packed):
    done = subprocess.run([PROGRAM], input=order + packed, capture_output=True, timeout=60, check=False)
    return done.returncode, done.stdout


class Unpack(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory(prefix="pellora-unpack.")
        for name, data in FILES.items():
            with open(os.path.join(cls.folder.name, name), "wb") as file:
                file.write(data)

    @classmethod
    def tearDownClass(cls):
        cls.folder.cleanup()

    def archive(self, name, command, piped=False):
        """Made by `command`, in which ARCHIVE is its name and FILES what it packs."""
        words = []
        for word in command.split("|" if "|" in command else " "):
            words += list(FILES) if word == "FILES" else [word.replace("ARCHIVE", name).replace("PASSWORD", PASSWORD)]
        done = subprocess.run(words, cwd=self.folder.name, capture_output=True, check=True)
        path = os.path.join(self.folder.name, name)
        if piped:
            with open(path, "wb") as file:
                file.write(done.stdout)
        return path

    def entries(self, path):
        with open(path, "rb") as file:
            data = file.read()
        with zipfile.ZipFile(path) as archive:
            return [Packed(data, info) for info in archive.infolist() if info.filename in FILES]

    def check_archive(self, path):
        entries = self.entries(path)
        self.assertEqual(sorted(entry.info.filename for entry in entries), sorted(FILES))
        for entry in entries:
            with self.subTest(archive=os.path.basename(path), file=entry.info.filename):
                self.assertEqual(unpack(entry.order(), entry.bytes), (DONE, FILES[entry.info.filename]))

    def test_what_archivers_write_is_unpacked_to_the_byte(self):
        for name, command, piped in (
                ("deflate.zip", "zip -q ARCHIVE FILES", False), ("stored.zip", "zip -q -0 ARCHIVE FILES", False),
                ("bzip2.zip", "zip -q -Z bzip2 ARCHIVE FILES", False), ("pipe.zip", "zip -q - FILES", True),
                ("7-lzma.zip", "7zz a -tzip -mm=LZMA ARCHIVE FILES", False),
                ("7-ppmd.zip", "7zz a -tzip -mm=PPMd ARCHIVE FILES", False),
                ("7-xz.zip", "7zz a -tzip -mm=xz ARCHIVE FILES", False),
                ("bsdtar.zip", "bsdtar -a -cf ARCHIVE FILES", False),
                ("bsdtar-pipe.zip", "bsdtar --format zip -cf - FILES", True)):
            self.check_archive(self.archive(name, command, piped))
        for name, method in (("lzma.zip", zipfile.ZIP_LZMA), ("python-bzip2.zip", zipfile.ZIP_BZIP2)):
            path = os.path.join(self.folder.name, name)
            with zipfile.ZipFile(path, "w", method) as archive:
                for file in FILES:
                    archive.write(os.path.join(self.folder.name, file), file)
            self.check_archive(path)

    def test_zstandard_is_unpacked_to_the_byte(self):
        path = os.path.join(self.folder.name, "zstd.zip")
        with open(path, "wb") as file:
            file.write(zstdzip.archive(FILES))
        self.check_archive(path)

    ENCRYPTED = (("zip.zip", "zip|-q|-P|PASSWORD|ARCHIVE|FILES"), ("zip-fd.zip", "zip|-q|-fd|-P|PASSWORD|ARCHIVE|FILES"),
                 ("7-aes.zip", "7zz|a|-tzip|-mem=AES256|-pPASSWORD|ARCHIVE|FILES"),
                 ("bsdtar-aes.zip", "bsdtar|--format|zip|--options|zip:encryption=aes256|--passphrase|PASSWORD|-cf|"
                                    "ARCHIVE|FILES"))

    def test_encrypted_entries_need_their_password(self):
        for name, command in self.ENCRYPTED:
            path = self.archive(name, command)
            self.check_archive(path)
            for entry in self.entries(path):
                if not entry.info.file_size:
                    continue
                with self.subTest(archive=name, file=entry.info.filename):
                    for wrong in ("", "pass", PASSWORD + " "):
                        code, data = unpack(entry.order(wrong) if wrong else entry.order("-"), entry.bytes)
                        self.assertTrue(code == DAMAGED or data != FILES[entry.info.filename], (code, len(data)))

    def first(self):
        return self.entries(self.archive("first.zip", "zip -q ARCHIVE FILES"))[0]

    def test_packed_bytes_that_end_early_are_no_file(self):
        entry = self.first()
        self.assertEqual(unpack(entry.order(), entry.bytes[:-3])[0], ENDED)

    def test_an_entry_longer_or_shorter_than_it_says_is_damaged(self):
        entry = self.first()
        for size in (entry.info.file_size - 1, entry.info.file_size + 1, 10):
            code, data = unpack(entry.order(size=size), entry.bytes)
            self.assertEqual(code, DAMAGED)
            self.assertLessEqual(len(data), size)

    def test_bytes_after_the_packed_ones_are_left_alone(self):
        entry = self.first()
        self.assertEqual(unpack(entry.order(), entry.bytes + b"PK\1\2more"), (DONE, FILES[entry.info.filename]))

    def test_other_orders_are_refused(self):
        for order in (b"", b"\n", b"unpack\n", b"unpack 8 0 0 0 0 1 1 - zz\n", b"unpack 8 0 0 0 0 1 1 - -",
                      b"unpack 70000 0 0 0 0 1 1 - -\n", b"unpack 8 0 0 0 0 -1 1 - -\n", b"x" * 100_000):
            self.assertEqual(unpack(order, b"")[0], BAD_ORDER, order[:40])

    def test_damaged_bytes_end_it_within_its_memory_and_time(self):
        for name, command in (("d.zip", "zip -q ARCHIVE FILES"), ("l.zip", "7zz a -tzip -mm=LZMA ARCHIVE FILES"),
                              ("p.zip", "7zz a -tzip -mm=PPMd ARCHIVE FILES")):
            for entry in self.entries(self.archive(name, command)):
                for _ in range(5 if entry.bytes else 0):
                    damaged = bytearray(entry.bytes)
                    for _ in range(5):
                        damaged[RANDOM.randrange(len(damaged))] = RANDOM.randrange(256)
                    code, data = unpack(entry.order(), bytes(damaged))
                    self.assertIn(code, (DONE, DAMAGED), (name, entry.info.filename))
                    self.assertLessEqual(len(data), entry.info.file_size)
        self.assertLess(resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss, 600 << 10)


if __name__ == "__main__":
    unittest.main()

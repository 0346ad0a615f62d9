"""The archives of stored inputs are reproducible."""

import os
import subprocess
import sys
import tempfile
import unittest

import archive

HERE = os.path.dirname(os.path.abspath(__file__))


def bytes_of(path):
    with open(path, "rb") as f:
        return f.read()


class Archive(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name
        self.targets = sorted(name[:-len(".tar")] for name in os.listdir(archive.CORPUS))
        self.assertGreater(len(self.targets), 10)

    def written(self, name):
        return os.path.join(self.folder, name)

    def test_equal_inputs_give_equal_archives(self):
        archive.write(self.written("one.tar"), {"b": b"\0\1", "a": b"", "c": b"x" * 600})
        archive.write(self.written("two.tar"), {"c": b"x" * 600, "a": b"", "b": b"\0\1"})
        self.assertEqual(bytes_of(self.written("one.tar")), bytes_of(self.written("two.tar")))
        self.assertEqual(list(archive.read(self.written("two.tar")).items()), [("a", b""), ("b", b"\0\1"), ("c", b"x" * 600)])

    def test_unpacking_and_packing_give_the_same_archive(self):
        for target in self.targets:
            path, files = archive.path_of(target), self.written(target)
            archive.unpack(path, files)
            for number, name in enumerate(sorted(os.listdir(files), reverse=True)):
                os.utime(os.path.join(files, name), (number, number))
                os.chmod(os.path.join(files, name), 0o600)
            archive.pack(self.written("again.tar"), files)
            self.assertEqual(bytes_of(self.written("again.tar")), bytes_of(path), target)

    def test_unpacking_removes_everything_else_from_the_folder(self):
        archive.write(self.written("one.tar"), {"a": b"1"})
        os.mkdir(self.written("files"))
        with open(self.written("files/old"), "wb"):
            pass
        archive.unpack(self.written("one.tar"), self.written("files"))
        self.assertEqual(os.listdir(self.written("files")), ["a"])

    def test_rewriting_the_named_inputs_changes_nothing(self):
        for target in self.targets:
            archive.write(archive.path_of(target, self.folder), archive.read(archive.path_of(target)))
        subprocess.run([sys.executable, os.path.join(HERE, "seeds.py"), self.folder], check=True)
        for target in self.targets:
            self.assertEqual(bytes_of(archive.path_of(target, self.folder)), bytes_of(archive.path_of(target)), target)

    def test_named_inputs_create_a_missing_archive(self):
        for round_of in ("first", "second"):
            subprocess.run([sys.executable, os.path.join(HERE, "seeds.py"), self.written(round_of)], check=True)
        self.assertEqual(sorted(os.listdir(self.written("first"))), sorted(target + ".tar" for target in self.targets))
        for target in self.targets:
            self.assertEqual(bytes_of(archive.path_of(target, self.written("first"))),
                             bytes_of(archive.path_of(target, self.written("second"))), target)


if __name__ == "__main__":
    unittest.main()

#!/usr/bin/env python3
"""The kill test of tests/peer/real in large numbers, and two more like it: kills during FTP, and kills of a program
whose list holds a thousand records.

    kills.py [--http N] [--ftp N] [--long N]        how many of each; by default 2,000, 160 and 160

PELLORA_SEED repeats the same moments."""

import argparse
import os
import struct
import subprocess
import sys
import unittest

import support  # noqa: F401, it finds the harness
import ftpservers
import harness
import listfile
import origin
import test_kill

LONG = 1000


def text(value):
    return struct.pack("<H", len(value)) + value


def record(number):
    """A finished download in the format of the list file."""
    name = b"old%d.bin" % number
    url = b"http://127.0.0.1:1/" + name
    return b"".join((
        struct.pack("<hHii", 0, 1, 1, 0), bytes(34), struct.pack("<h", 0), text(name), text(b"/" + name),
        text(b"127.0.0.1"), struct.pack("<i", 1), text(b""), text(b""), text(b""), struct.pack("<h", 0),
        text(b"/nowhere/" + name), struct.pack("<hh", 0, 0), text(b""), text(b""), text(b""), text(b""),
        struct.pack("<hhhhI", 0, 0, 0, 0, 0), struct.pack("<iiff", 1000, 1000, 1.0, 0.0),
        struct.pack("<hhhhhf", -1, 0, -1, 0, 0, 100.0), text(url), struct.pack("<hd", 0, 46000.0)))


class OverFtp(test_kill.Victim):
    def server(self):
        kind = (ftpservers.Vsftpd, ftpservers.Proftpd)[self.number % 2]
        return kind(rate=test_kill.RATE)

    def serve(self, name, seed):
        self.origin.put(name, origin.content(test_kill.SIZE, seed))
        return self.origin.url(name)


class LongList(test_kill.Victim):
    """All old records must be there after each kill."""

    def __init__(self, number, rounds):
        super().__init__(number, rounds)
        blank = bytes(92)
        with open(self.session.list_file, "wb") as f:
            f.write(struct.pack("<ih", listfile.MAGIC, LONG) + blank + b"".join(map(record, range(LONG))))

    def round(self):
        super().round()
        found = {d.url for d in self.session.companion.downloads()}
        missing = sum("http://127.0.0.1:1/old%d.bin" % number not in found for number in range(LONG))
        if missing:
            raise AssertionError("%d of the old records are missing" % missing)


def run_kind(victim, rounds):
    test_kill.ROUNDS = rounds
    test_kill.SIDE_BY_SIDE = 4

    class Kind(test_kill.Kill):
        pass
    Kind.victim = victim
    suite = unittest.TestLoader().loadTestsFromTestCase(Kind)
    result = unittest.TextTestRunner(sys.stdout, verbosity=1).run(suite)
    return len(result.failures) + len(result.errors)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--http", type=int, default=2000)
    parser.add_argument("--ftp", type=int, default=160)
    parser.add_argument("--long", type=int, default=160)
    arguments = parser.parse_args()
    failed = passed = 0
    if arguments.http:
        result = subprocess.run([sys.executable, os.path.join(harness.HERE, "run.py"), "--file", "test_kill.py"],
                                env=dict(os.environ, PELLORA_KILLS=str(arguments.http)), stdin=subprocess.DEVNULL,
                                check=False)
        failed += result.returncode != 0
        passed += result.returncode == 0
    for name, victim, rounds in (("over FTP", OverFtp, arguments.ftp), ("with a long list", LongList, arguments.long)):
        if rounds:
            print("== kills " + name, flush=True)
            wrong = run_kind(victim, rounds)
            failed += bool(wrong)
            passed += not wrong
    print("%d passed, %d failed" % (passed, failed))
    return bool(failed)


if __name__ == "__main__":
    sys.exit(main())

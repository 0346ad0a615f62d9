#!/usr/bin/env python3
"""Runs the peer tests: run.py [-k PATTERN]... The last line is "N passed, N failed".

PELLORA_PROGRAM   the program's folder, build/release/Pellora if not set
PELLORA_KILLS     rounds of the kill test
PELLORA_PICTURES  a folder for pictures of the display at some moments
PELLORA_KEEP      leaves the run's folder behind, to look into
"""

import argparse
import sys
import time
import unittest

import harness


class Result(unittest.TextTestResult):
    passed = 0

    def startTest(self, test):
        super().startTest(test)
        self.began = time.monotonic()

    def addSuccess(self, test):
        super().addSuccess(test)
        self.passed += 1
        self.stream.writeln("      %.1f s" % (time.monotonic() - self.began))


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("-k", action="append", default=[], metavar="PATTERN", help="only tests whose name contains it")
    arguments = parser.parse_args()
    loader = unittest.TestLoader()
    if arguments.k:
        loader.testNamePatterns = ["*%s*" % pattern for pattern in arguments.k]
    suite = loader.discover(harness.HERE)
    result = unittest.TextTestRunner(sys.stdout, verbosity=2, resultclass=Result).run(suite)
    failed = len(result.failures) + len(result.errors)
    print("%d passed, %d failed" % (result.passed, failed))
    return 1 if failed or not result.passed else 0


if __name__ == "__main__":
    sys.exit(main())

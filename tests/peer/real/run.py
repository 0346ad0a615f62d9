#!/usr/bin/env python3
"""Runs the peer tests: run.py [-k PATTERN]... [--jobs N]. The last line is "N passed, N failed".

PELLORA_PROGRAM   the program's folder, build/release/Pellora if not set
PELLORA_KILLS     rounds of the kill test
PELLORA_KEEP      leaves the run's folder behind, to look into
"""

import argparse
import glob
import os
import re
import signal
import subprocess
import sys
import tempfile
import time
import unittest

import harness

# Side by side, the longest begin first.
LONGEST = ["test_kill", "test_preview", "test_ftp", "test_hostile", "test_actions", "test_windows"]


class Result(unittest.TextTestResult):
    passed = 0

    def startTest(self, test):
        super().startTest(test)
        self.began = time.monotonic()

    def addSuccess(self, test):
        super().addSuccess(test)
        self.passed += 1
        self.stream.writeln("      %.1f s" % (time.monotonic() - self.began))


def run_here(patterns, files):
    loader = unittest.TestLoader()
    if patterns:
        loader.testNamePatterns = ["*%s*" % pattern for pattern in patterns]
    suite = loader.discover(harness.HERE, files)
    result = unittest.TextTestRunner(sys.stdout, verbosity=2, resultclass=Result).run(suite)
    return result.passed, len(result.failures) + len(result.errors)


def run_side_by_side(jobs):
    """One process and one display for each file of tests, `jobs` at a time; each one's output in one piece."""
    names = sorted(os.path.basename(path)[:-3] for path in glob.glob(os.path.join(harness.HERE, "test_*.py")))
    waiting = [name for name in LONGEST if name in names] + [name for name in names if name not in LONGEST]
    running = {}
    passed = failed = 0
    try:
        while waiting or running:
            while waiting and len(running) < jobs:
                output = tempfile.TemporaryFile()
                command = [sys.executable, os.path.abspath(__file__), "--file", waiting.pop(0) + ".py"]
                running[subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=output, stderr=output)] = output
            time.sleep(0.1)
            for process in [p for p in running if p.poll() is not None]:
                output = running.pop(process)
                output.seek(0)
                text = output.read().decode(errors="replace")
                output.close()
                counts = re.search(r"^(\d+) passed, (\d+) failed\n\Z", text, re.MULTILINE)
                print(text[:counts.start()] if counts else text, flush=True)
                passed += int(counts.group(1)) if counts else 0
                failed += int(counts.group(2)) if counts else 1
    finally:
        for process in running:
            harness.end_process(process)
    return passed, failed


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("-k", action="append", default=[], metavar="PATTERN", help="only tests whose name contains it")
    parser.add_argument("--jobs", type=int, default=1, metavar="N", help="files of tests side by side")
    parser.add_argument("--file", default="test_*.py", help=argparse.SUPPRESS)
    arguments = parser.parse_args()
    # A request to end lets every process end what it has started.
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(143))
    if arguments.jobs > 1 and not arguments.k:
        passed, failed = run_side_by_side(arguments.jobs)
    else:
        passed, failed = run_here(arguments.k, arguments.file)
    print("%d passed, %d failed" % (passed, failed))
    return 1 if failed or not passed else 0


if __name__ == "__main__":
    sys.exit(main())

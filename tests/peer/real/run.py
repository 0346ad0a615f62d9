#!/usr/bin/env python3
"""Runs the peer tests: run.py [-k PATTERN]... [--jobs N]. The last line is "N passed, N failed".

On a busy machine a display may lose a click, or a server may be too slow. With --jobs, a few tests that fail are
therefore run again, one by one after all others, and the second result counts; both are shown. Tests that compare files
after a kill are never run again: a wrong byte is wrong even on a busy machine.

PELLORA_PROGRAM   the program's folder, by default build/release/Pellora
PELLORA_KILLS     rounds of the kill test
PELLORA_KEEP      keeps the run's folder for inspection
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

# With --jobs, the longest start first.
LONGEST = ["test_kill", "test_actions", "test_preview", "test_notices", "test_web", "test_ftp"]


# More failures than this are not caused by a busy machine.
MAX_RERUNS = 4
NO_RERUN = ("test_kill.",)


class Result(unittest.TextTestResult):
    passed = 0

    def startTest(self, test):
        super().startTest(test)
        self.began = time.monotonic()

    def addSuccess(self, test):
        super().addSuccess(test)
        self.passed += 1
        self.stream.writeln("      %.1f s" % (time.monotonic() - self.began))


def run_here(patterns, files, name):
    loader = unittest.TestLoader()
    if patterns:
        loader.testNamePatterns = ["*%s*" % pattern for pattern in patterns]
    suite = loader.loadTestsFromName(name) if name else loader.discover(harness.HERE, files)
    result = unittest.TextTestRunner(sys.stdout, verbosity=2, resultclass=Result).run(suite)
    wrong = result.failures + result.errors
    for test, _ in wrong:
        print("failed: %s" % test.id())
    return result.passed, len(wrong)


def start(arguments):
    """Starts this script for some of the tests. Returns it and the file for its output."""
    output = tempfile.TemporaryFile()
    command = [sys.executable, "-u", os.path.abspath(__file__), *arguments]
    return subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=output, stderr=output), output


def take(output):
    """Prints the output of a finished script. Returns the counts in its last line and its failed tests."""
    output.seek(0)
    text = output.read().decode(errors="replace")
    output.close()
    counts = re.search(r"^(\d+) passed, (\d+) failed\s*\Z", text, re.MULTILINE)
    print(text[:counts.start()] if counts else text, flush=True)
    if not counts:
        print("failed: a test file that ended without its counts", flush=True)
        return 0, 1, []
    return int(counts.group(1)), int(counts.group(2)), re.findall(r"^failed: (.*)$", text, re.MULTILINE)


def rerun(tests):
    """Runs each test alone. Returns how many passed now."""
    passed = 0
    for test in tests:
        print("== again: %s" % test, flush=True)
        process, output = start(["--test", test])
        try:
            process.wait()
        finally:
            harness.end_process(process)
        now, still, _ = take(output)
        passed += now == 1 and still == 0
        print("at the second run %s: %s" % ("failed" if still or not now else "passed", test), flush=True)
    return passed


def run_side_by_side(jobs):
    """One process and one display for each test file, `jobs` at a time; each one's output is printed in one piece."""
    names = sorted(os.path.basename(path)[:-3] for path in glob.glob(os.path.join(harness.HERE, "test_*.py")))
    waiting = [name for name in LONGEST if name in names] + [name for name in names if name not in LONGEST]
    running = {}
    passed = failed = 0
    wrong = []
    try:
        while waiting or running:
            while waiting and len(running) < jobs:
                process, output = start(["--file", waiting.pop(0) + ".py"])
                running[process] = output
            time.sleep(0.1)
            for process in [p for p in running if p.poll() is not None]:
                good, bad, names = take(running.pop(process))
                passed += good
                failed += bad
                wrong += names
    finally:
        for process in running:
            harness.end_process(process)
    # A file that ended without its counts, or whose set-up failed, has no test to run again.
    again = [test for test in wrong if re.fullmatch(r"\w+\.\w+\.test_\w+", test) and not test.startswith(NO_RERUN)]
    if 0 < failed == len(again) <= MAX_RERUNS:
        recovered = rerun(again)
        passed += recovered
        failed -= recovered
    return passed, failed


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("-k", action="append", default=[], metavar="PATTERN", help="only tests whose name contains it")
    parser.add_argument("--jobs", type=int, default=1, metavar="N", help="test files in parallel")
    parser.add_argument("--file", default="test_*.py", help=argparse.SUPPRESS)
    parser.add_argument("--test", help=argparse.SUPPRESS)
    arguments = parser.parse_args()
    # SIGTERM lets every process end what it has started.
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(143))
    if arguments.jobs > 1 and not arguments.k:
        passed, failed = run_side_by_side(arguments.jobs)
    else:
        passed, failed = run_here(arguments.k, arguments.file, arguments.test)
    print("%d passed, %d failed" % (passed, failed))
    return 1 if failed or not passed else 0


if __name__ == "__main__":
    sys.exit(main())

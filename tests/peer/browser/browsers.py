#!/usr/bin/env python3
"""Runs the tests with real browsers: run.py [-k PATTERN]... Installs the browsers of cmake/packages/browser.txt if they
are missing. The last line is "N passed, N failed"."""

import os
import subprocess
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(os.path.dirname(os.path.dirname(HERE)))
sys.path[:0] = [os.path.join(os.path.dirname(HERE), "real")]

import harness  # noqa: E402
import run  # noqa: E402


def main():
    subprocess.run(["bash", "-c", ". scripts/packages.sh && ensure_packages display check browser"], cwd=ROOT,
                   env=dict(os.environ, ROOT=ROOT), check=True)
    harness.HERE = HERE
    return run.main()


if __name__ == "__main__":
    sys.exit(main())

#!/usr/bin/env python3
"""The packages built twice from the clean tree, in folders of other names, are the same to the byte; they hold what the
quick check of the packages looks for. Some 20 min."""

import hashlib
import os
import re
import subprocess
import sys
import tempfile

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(os.path.dirname(os.path.dirname(HERE)))


def build(folder):
    """The packages, name and checksum of each."""
    done = subprocess.run([sys.executable, os.path.join(ROOT, "scripts/package.py"), folder], stdin=subprocess.DEVNULL,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False)
    if done.returncode:
        print(done.stdout[-4000:])
        return {}
    sums = {}
    for path in re.findall(r"^/.*\.deb$", done.stdout, re.MULTILINE):
        with open(path, "rb") as f:
            sums[os.path.basename(path)] = hashlib.sha256(f.read()).hexdigest()
    return sums


def main():
    passed = failed = 0

    def note(good, what):
        nonlocal passed, failed
        passed += good
        failed += not good
        print("%s: %s" % ("ok" if good else "FAIL", what), flush=True)

    with tempfile.TemporaryDirectory(prefix="pellora-packages.") as folder:
        os.chmod(folder, 0o755)
        first = os.path.join(folder, "one")
        one, two = build(first), build(os.path.join(folder, "another-name"))
        note(len(one) >= 2, "the clean tree builds: %s" % ", ".join(sorted(one)))
        for name, digest in sorted(one.items()):
            note(two.get(name) == digest, "%s is the same in another folder" % name)
        if one:
            note(subprocess.run([sys.executable, os.path.join(ROOT, "tests/peer/package/run.py"), "--packages", first],
                                stdin=subprocess.DEVNULL, check=False).returncode == 0, "the check of the packages")
    print("%d passed, %d failed" % (passed, failed))
    return bool(failed)


if __name__ == "__main__":
    sys.exit(main())

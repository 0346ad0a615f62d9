#!/usr/bin/env python3
"""The torture finds each planted fault, with its kind and place, and nothing else.

    planted_test.py EXECUTABLE
"""

import re
import subprocess
import sys

# The findings by test; the place is where the program's line must be named.
FOUND = {
    "Planted.Crash": ("crash", "UsesFileThatDidNotOpen"),
    "Planted.EndlessHandler": ("no end", "RetriesForever"),
    "Planted.EndlessEvents": ("events without end", ""),
    "Planted.StrangeException": ("exception St13runtime_error", "ThrowsUncaughtException"),
    "Planted.Leak": ("leak", "LeaksItsBuffer"),
    "Planted.ActiveAndPaused": ("wrong, flags", ""),
    "Planted.FileOutside": ("wrong, outside /", ""),
    "Planted.HalfAList": ("wrong, list", ""),
}


def main():
    out = subprocess.run([sys.argv[1], "--torture", "--leaks=1", "--processor-seconds=1", "--program=tests/torture/planted/Wrong"],
                         capture_output=True, text=True, stdin=subprocess.DEVNULL)
    failed = []

    def expect(holds, claim):
        print(("ok      " if holds else "FAILED  ") + claim)
        if not holds:
            failed.append(claim)

    blocks = re.findall(r"^(FOUND|test's own|simulator): (.*)\n    \d+ runs; first: ([\w.]+)", out.stdout, flags=re.M)
    for test, (kind, place) in FOUND.items():
        met = [text for whose, text, where in blocks if whose == "FOUND" and where == test]
        expect(len(met) == 1 and met[0].startswith(kind) and place in met[0], "%s is found once, as a %s" % (test, kind))
    own = {where for whose, text, where in blocks if whose == "test's own" and text.startswith("crash")}
    expect(own == {"Planted.TestThatErrs"}, "the error of a test is not attributed to the program")
    expect(sum(whose == "FOUND" for whose, _, _ in blocks) == len(FOUND), "nothing else is found")
    expect(not any("Planted.Nothing" in where for _, _, where in blocks), "nothing is found in a correct program")
    expect(out.returncode == 1, "the torture fails")
    if failed:
        print(out.stdout + out.stderr)
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())

#!/usr/bin/env python3
"""The torture of the planted faults finds each of them, calls each by its name and place, and finds nothing else.

    planted_test.py EXECUTABLE
"""

import re
import subprocess
import sys

# What is found, and in which test; the place is where the program's own line is to be named.
FOUND = {
    "Planted.Crash": ("crash", "DereferencesWhatDidNotOpen"),
    "Planted.EndlessHandler": ("no end", "TriesAgainForEver"),
    "Planted.EndlessEvents": ("events without end", ""),
    "Planted.StrangeException": ("exception St13runtime_error", "ThrowsWhatNobodyCatches"),
    "Planted.Leak": ("leak", "LosesItsBuffer"),
    "Planted.ActiveAndPaused": ("wrong, flags", ""),
    "Planted.FileOutside": ("wrong, outside /", ""),
    "Planted.HalfAList": ("wrong, list", ""),
}


def main():
    out = subprocess.run([sys.argv[1], "--torture", "--leaks=1", "--patience=1", "--program=tests/torture/planted/Wrong"],
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
    expect(own == {"Planted.TestThatErrs"}, "the test that errs itself is told apart from the program")
    expect(sum(whose == "FOUND" for whose, _, _ in blocks) == len(FOUND), "nothing else is found")
    expect(not any("Planted.Nothing" in where for _, _, where in blocks), "a program that does right is left in peace")
    expect(out.returncode == 1, "the torture fails")
    if failed:
        print(out.stdout + out.stderr)
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())

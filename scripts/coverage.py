#!/usr/bin/env python3
"""How much of the logic the tests cover: lines of each folder, and branches of the parsers and the planner.

    coverage.py                  builds the preset "coverage", runs all tests of the logic, prints the tables
    coverage.py --report         prints the tables of the last run
    coverage.py --missing PART   also lists the lines and branches not covered in files whose path contains PART

gcovr counts; this script sums up by folder and by reader, which gcovr 5.2 does not.
Not counted are branches taken by an exception, as every call that may run out of memory has one, and those of closing
braces, which the compiler adds for destructors and the ends of coroutines. The copies of a template count as one. Code
that never ran counts with its exceptions' branches, because gcov identifies them only in code that ran.
PELLORA_SEEDS (default 40) is the number of random runs included. The last line is "N passed, N failed", counting each
folder's lines and each parser's branches as one. Needs gcovr, and g++ and gcov of the same version.
"""

import argparse
import concurrent.futures
import glob
import json
import os
import shutil
import subprocess
import sys

import layers

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
BUILD = os.path.join(ROOT, "build", "coverage")
FOLDERS = layers.layers()
LINES_AIM = 95.0
CLOSING = r"^[\s});,]*$"  # a line that only closes something

# The readers of untrusted bytes, and the planner of ranges: tests must take every branch.
READERS = (
    ("URL", "core/ParseUrl.cpp", "core/ParseUrl.h"),
    ("redirect target", "transfer/RedirectTarget.cpp"),
    ("reply headers", "transfer/ReplyHeaders.cpp"),
    ("FTP replies", "transfer/FtpReplies.cpp"),
    ("range reply", "transfer/RangeReply.cpp"),
    ("version reply", "mainwin/VersionReply.cpp"),
    ("file names", "core/FileNames.cpp"),
    ("planner", "transfer/Plan.cpp"),
    ("ZIP directory", "zipview/ZipDirectory.cpp", "zipview/ZipListing.cpp"),
    ("list file", "core/ListCodec.cpp", "core/ListFile.cpp"),
    ("language file", "lang/Language.cpp"),
    ("settings", "core/Settings.cpp", "core/IniText.cpp"),
    ("clipboard", "mainwin/ClipboardUrl.cpp"),
    ("numbers and dates", "core/Numbers.cpp", "core/Dates.cpp", "core/Ascii.h"),
    ("dates as shown", "core/DateTexts.cpp"),
    ("web addresses", "core/WebAddress.cpp", "core/Percent.cpp", "core/Utf8.cpp"),
    ("replies to ranges", "fetch/ReplyHeads.cpp", "fetch/ReplyCheck.cpp", "fetch/HttpDate.cpp"),
    ("names of files", "fetch/FileNameFromReply.cpp"),
    ("plan of ranges", "fetch/RangePlan.cpp", "core/IntervalSet.cpp"),
    ("journal", "fetch/JournalCodec.cpp"),
)


def run_tests():
    subprocess.run(["cmake", "--preset", "coverage"], cwd=ROOT, check=True, stdout=subprocess.DEVNULL)
    subprocess.run(["cmake", "--build", BUILD, "-j", str(os.cpu_count())], cwd=ROOT, check=True,
                   stdout=subprocess.DEVNULL)
    for name in glob.glob(os.path.join(BUILD, "**", "*.gcda"), recursive=True):
        os.remove(name)
    environment = dict(os.environ, PELLORA_SEEDS=os.environ.get("PELLORA_SEEDS", "40"))

    def run(program):
        done = subprocess.run([program, "--gtest_brief=1"], cwd=os.path.dirname(program), env=environment,
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        if done.returncode:
            sys.stdout.write(done.stdout.decode(errors="replace")[-4000:])
        return done.returncode == 0

    programs = [name for name in glob.glob(os.path.join(BUILD, "tests", "**", "pellora_*"), recursive=True)
                if os.path.isfile(name) and os.access(name, os.X_OK)]
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        return all(list(pool.map(run, programs)))


def gather():
    """{file: [line]} of the logic, as gcovr's JSON report has a line.

    Branches taken by an exception are dropped here rather than by gcovr: the copy of an inline function that the linker
    discarded never ran, so gcov does not identify its branches. Merged with the copy that ran, it does."""
    command = ["gcovr", "--root", ROOT, "--filter", "src/(?:%s)/" % "|".join(FOLDERS), "--object-directory", BUILD,
               "--exclude-branches-by-pattern", CLOSING, "-j", str(os.cpu_count()), "--json", "-", BUILD]
    out = subprocess.run(command, cwd=ROOT, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, check=True).stdout
    files = {}
    for file in json.loads(out)["files"]:
        files[file["file"].removeprefix("src/")] = lines = [line for line in file["lines"] if not line["gcovr/noncode"]]
        for line in lines:
            line["branches"] = [branch for branch in line["branches"] if not branch["throw"]]
    return files


def share(counted):
    """How many of the lines or branches were covered, of how many, and the percentage."""
    met, total = sum(entry["count"] > 0 for entry in counted), len(counted)
    return met, total, 100.0 * met / total if total else 100.0


def figures(files, names):
    lines = [line for name in names for line in files[name]]
    return share(lines), share([branch for line in lines for branch in line["branches"]])


def report(files, missing):
    passed = failed = 0
    print("%-18s %14s %8s %14s %8s" % ("folder", "lines", "%", "branches", "%"))
    parts = [(folder, [name for name in files if name.startswith(folder + "/")]) for folder in FOLDERS]
    for folder, names in parts + [("all", list(files))]:
        lines, branches = figures(files, names)
        good = lines[2] >= LINES_AIM
        passed, failed = passed + good, failed + (not good)
        print("%-18s %6d of %5d %8.1f %6d of %5d %8.1f%s"
              % ((folder,) + lines + branches + ("" if good else "   below %.0f" % LINES_AIM,)))
    print("\n%-18s %14s %8s %14s %8s" % ("reader", "lines", "%", "branches", "%"))
    for title, *names in READERS:
        names = [name for name in names if name in files]
        lines, branches = figures(files, names)
        good = bool(names) and branches[0] == branches[1]
        passed, failed = passed + good, failed + (not good)
        print("%-18s %6d of %5d %8.1f %6d of %5d %8.1f%s"
              % ((title,) + lines + branches + ("" if good else "   not all branches",)))
    if missing is not None:
        name_missing(files, missing)
    return passed, failed


def name_missing(files, part):
    for name in sorted(name for name in files if part in name):
        with open(os.path.join(ROOT, "src", name), encoding="utf-8") as f:
            source = f.read().split("\n")
        for line in files[name]:
            untaken = sum(not branch["count"] for branch in line["branches"])
            if untaken or not line["count"]:
                what = "%d branches" % untaken if line["count"] else "never run"
                number = line["line_number"]
                print("src/%s:%d: %-11s  %s" % (name, number, what, source[number - 1].strip()))


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--report", action="store_true")
    parser.add_argument("--missing", metavar="PART")
    arguments = parser.parse_args()
    if not shutil.which("gcovr"):
        sys.exit("gcovr is missing: apt-get install gcovr")
    healthy = arguments.report or run_tests()
    passed, failed = report(gather(), arguments.missing)
    if not healthy:
        print("FAILED  a test failed")
        failed += 1
    print("%d passed, %d failed" % (passed, failed))
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())

#!/usr/bin/env python3
"""What of the logic the tests run: lines of each folder, and branches of the parsers and the planner.

    coverage.py                  builds the preset "coverage", runs all tests of the logic, prints the tables
    coverage.py --report         prints the tables of the last run
    coverage.py --missing PART   also names the lines and branches that PART (of a path) still lacks

Not counted are branches by which an exception leaves, as every call that could run out of memory has one, and those
of closing braces, which are the compiler's own: destructors on such ways, and the ends of coroutines. The copies of
a template count as one.
PELLORA_SEEDS (40 if not set) says how many random lives take part. The last line is "N passed, N failed"; one of
them is each folder's lines and each parser's branches. Needs g++ and gcov of the same version.
"""

import argparse
import collections
import concurrent.futures
import functools
import glob
import json
import os
import re
import subprocess
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
BUILD = os.path.join(ROOT, "build", "coverage")
FOLDERS = ("platform", "core", "lang", "transfer", "mainwin", "capture", "zipview", "app")
LINES_AIM = 95.0

# Whoever reads bytes of others, and whoever decides the ranges: every branch is to be taken by some test.
READERS = (
    ("URL", "transfer/ParseUrl.cpp", "transfer/ParseUrl.h"),
    ("redirect target", "transfer/RedirectTarget.cpp"),
    ("reply headers", "transfer/ReplyHeaders.cpp"),
    ("FTP replies", "transfer/FtpReplies.cpp"),
    ("range reply", "transfer/RangeReply.cpp"),
    ("version reply", "mainwin/VersionReply.cpp"),
    ("file names", "transfer/FileNames.cpp"),
    ("planner", "transfer/Plan.cpp"),
    ("ZIP directory", "zipview/ZipDirectory.cpp", "zipview/ZipListing.cpp"),
    ("list file", "core/ListCodec.cpp", "core/ListFile.cpp"),
    ("language file", "lang/Language.cpp"),
    ("settings", "core/Settings.cpp", "core/IniText.cpp"),
    ("clipboard", "mainwin/ClipboardUrl.cpp"),
    ("numbers and dates", "core/Numbers.cpp", "core/Dates.cpp", "core/Ascii.h"),
    ("dates as shown", "lang/DateTexts.cpp"),
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


def counts_of_object(notes):
    """What gcov tells of one object file, for the files of src alone."""
    out = subprocess.run(["gcov", "--json-format", "--stdout", "--branch-probabilities", notes], cwd=BUILD,
                         stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=True).stdout
    found = []
    for text in out.decode().split("\n"):
        if not text:
            continue
        for entry in json.loads(text)["files"]:
            name = os.path.relpath(os.path.join(BUILD, entry["file"]), os.path.join(ROOT, "src"))
            if name.partition("/")[0] in FOLDERS:
                found.append((name, entry["lines"], {function["name"]: re.sub(r"<.*>", "", function["demangled_name"])
                                                     for function in entry["functions"]}))
    return found


@functools.lru_cache(None)
def source_of(name):
    with open(os.path.join(ROOT, "src", name), encoding="utf-8") as f:
        return f.read().split("\n")


def gather():
    """{file: ({line: count}, {(line, function, index): count})}, summed over the objects that hold the file."""
    notes = glob.glob(os.path.join(BUILD, "**", "*.gcno"), recursive=True)
    files = collections.defaultdict(lambda: (collections.Counter(), collections.Counter()))
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for entries in pool.map(counts_of_object, notes):
            for name, lines, functions in entries:
                by_line, by_branch = files[name]
                source = source_of(name)
                for line in lines:
                    number = line["line_number"]
                    by_line[number] += line["count"]
                    if not source[number - 1].strip(" });,"):
                        continue
                    function = functions.get(line.get("function_name"), "")
                    for index, branch in enumerate(line["branches"]):
                        if not branch["throw"]:
                            by_branch[number, function, index] += branch["count"]
    return files


def share(counters):
    total = sum(len(counter) for counter in counters)
    met = sum(sum(1 for count in counter.values() if count) for counter in counters)
    return met, total, 100.0 * met / total if total else 100.0


def report(files, missing):
    passed = failed = 0
    print("%-18s %14s %8s %14s %8s" % ("folder", "lines", "%", "branches", "%"))
    parts = [(folder, [name for name in files if name.startswith(folder + "/")]) for folder in FOLDERS]
    for folder, names in parts + [("all", list(files))]:
        lines, branches = share([files[name][0] for name in names]), share([files[name][1] for name in names])
        good = lines[2] >= LINES_AIM
        passed, failed = passed + good, failed + (not good)
        print("%-18s %6d of %5d %8.1f %6d of %5d %8.1f%s"
              % ((folder,) + lines + branches + ("" if good else "   below %.0f" % LINES_AIM,)))
    print("\n%-18s %14s %8s %14s %8s" % ("reader", "lines", "%", "branches", "%"))
    for title, *names in READERS:
        names = [name for name in names if name in files]
        lines, branches = share([files[name][0] for name in names]), share([files[name][1] for name in names])
        good = bool(names) and branches[0] == branches[1]
        passed, failed = passed + good, failed + (not good)
        print("%-18s %6d of %5d %8.1f %6d of %5d %8.1f%s"
              % ((title,) + lines + branches + ("" if good else "   not all branches",)))
    if missing is not None:
        name_missing(files, missing)
    return passed, failed


def name_missing(files, part):
    for name in sorted(files):
        if part not in name:
            continue
        by_line, by_branch = files[name]
        source = source_of(name)
        untaken = collections.Counter(number for (number, _, _), count in by_branch.items() if not count)
        for number in sorted(set(untaken) | {number for number, count in by_line.items() if not count}):
            if by_line[number]:
                what = "%d branches" % untaken[number]
            else:
                what = "never run"
            print("src/%s:%d: %-11s  %s" % (name, number, what, source[number - 1].strip()))


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--report", action="store_true")
    parser.add_argument("--missing", metavar="PART")
    arguments = parser.parse_args()
    healthy = arguments.report or run_tests()
    passed, failed = report(gather(), arguments.missing)
    if not healthy:
        print("FAILED  a test failed")
        failed += 1
    print("%d passed, %d failed" % (passed, failed))
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())

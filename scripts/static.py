#!/usr/bin/env python3
"""Runs clang-tidy 14 and cppcheck over the sources, in parallel. A finding fails.

    static.py                      both over src, clang-tidy's smaller set over tests
    static.py --tool cppcheck      one of them
    static.py --changed [REF]      only files that differ from REF (default HEAD), and those that include them
    static.py src/mainwin ...      only these files and folders
    static.py --jobs 1             one process at a time, for a shared machine
    static.py --no-cache           runs clang-tidy even for files that it found clean before

The checks, and why others are left out: .clang-tidy, tests/.clang-tidy and scripts/cppcheck.txt. Works on build/release,
which it configures if necessary and whose generated headers it builds. All of it takes some 20 minutes on two cores,
cppcheck alone ten seconds. A file that clang-tidy found clean is not checked again until it, a header that it includes
(including the system's), its command, the checks or clang-tidy change: build/release/clean stores a hash over all of
these. The last line is "N passed, N failed", by files.
"""

import argparse
import concurrent.futures
import functools
import hashlib
import json
import os
import re
import shlex
import subprocess
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
BUILD = os.path.join(ROOT, "build", "release")
CLEAN = os.path.join(BUILD, "clean")
# clang does not know all of g++'s options and warns about them, and warnings are errors.
FOR_CLANG = ["--extra-arg=-Wno-unknown-warning-option"]
FOR_CPPCHECK = ["--enable=warning,style,performance,portability", "--inconclusive", "--inline-suppr", "--std=c++20",
                "--language=c++", "--library=qt", "-Isrc", "--error-exitcode=1", "--quiet",
                "--suppressions-list=scripts/cppcheck.txt", "--template={file}:{line}: {severity}: {message} [{id}]"]


def output_of(command):
    return subprocess.run(command, cwd=ROOT, check=True, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE).stdout.decode()


def sources():
    return [name for name in output_of(["git", "ls-files", "-co", "--exclude-standard", "src", "tests"]).split("\n")
            if name.endswith((".cpp", ".h")) and os.path.exists(os.path.join(ROOT, name))]


def with_includers(changed, names):
    """The changed files and all that include one of them, directly or indirectly."""
    wanted, includes = set(changed), {}
    for name in names:
        with open(os.path.join(ROOT, name), encoding="utf-8") as f:
            includes[name] = [os.path.basename(other) for other in re.findall(r'^#include "([^"]+)"', f.read(), re.M)]
    before = -1
    while before != len(wanted):
        before = len(wanted)
        known = {os.path.basename(name) for name in wanted}
        wanted |= {name for name in names if known.intersection(includes[name])}
    return wanted


def chosen(arguments):
    names = sources()
    if arguments.changed:
        changed = output_of(["git", "diff", "--name-only", arguments.changed, "--", "src", "tests"]).split()
        changed += output_of(["git", "ls-files", "-o", "--exclude-standard", "src", "tests"]).split()
        wanted = with_includers(changed, names)
        names = [name for name in names if name in wanted]
    if arguments.paths:
        paths = tuple(os.path.relpath(os.path.abspath(path), ROOT) for path in arguments.paths)
        names = [name for name in names if name in paths or name.startswith(tuple(path + "/" for path in paths))]
    return [name for name in names if name.endswith(".cpp")]


def compiled_files():
    """{file: (folder, command)} of the compiled sources, after generating the headers that they include."""
    database = os.path.join(BUILD, "compile_commands.json")
    if not os.path.exists(database):
        output_of(["cmake", "--preset", "release", "-DPELLORA_TESTS=ON"])
    targets = re.findall(r"^(\w[\w-]*_autogen): ", output_of(["ninja", "-C", BUILD, "-t", "targets", "all"]), re.M)
    if not all(os.path.isdir(os.path.join(BUILD, "src", "desktop", part))
               for part in ("pellora_desktop_autogen", "views/pellora_views_autogen")):
        output_of(["cmake", "--build", BUILD, "--target"] + targets)
    with open(database, encoding="utf-8") as f:
        return {os.path.relpath(os.path.join(entry["directory"], entry["file"]), ROOT):
                (entry["directory"], shlex.split(entry["command"])) for entry in json.load(f)}


@functools.lru_cache(None)
def hash_of(path):
    with open(path, "rb") as f:
        return hashlib.sha256(f.read()).hexdigest()


@functools.lru_cache(None)
def checks():
    """What clang-tidy checks, as part of the hash."""
    files = [os.path.join(folder, ".clang-tidy") for folder, _, names in os.walk(ROOT)
             if ".clang-tidy" in names and not folder.startswith(os.path.join(ROOT, "build"))]
    return [output_of(["clang-tidy-14", "--version"])] + FOR_CLANG + sorted(map(hash_of, files))


def mark_of(folder, command):
    """The file that marks everything read by `command` as clean; None if it cannot be determined."""
    compiler = command[1:] if os.path.basename(command[0]) == "ccache" else command
    output = compiler.index("-o")
    done = subprocess.run(compiler[:output] + compiler[output + 2:] + ["-M"], cwd=folder, stdin=subprocess.DEVNULL,
                          stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
    if done.returncode:
        return None
    read = done.stdout.decode().replace("\\\n", " ").partition(":")[2].split()
    what = [compiler, checks(), [(name, hash_of(os.path.join(folder, name))) for name in read]]
    return os.path.join(CLEAN, hashlib.sha256(repr(what).encode()).hexdigest())


def findings_of_clang(name, compiled, use_cache):
    mark = mark_of(*compiled)
    if mark and os.path.exists(mark) and use_cache:
        return ""
    findings = findings_of(["clang-tidy-14", "-p", BUILD, "--quiet"] + FOR_CLANG + [name])
    if mark and not findings:
        os.makedirs(CLEAN, exist_ok=True)
        with open(mark, "w", encoding="utf-8") as f:
            f.write(name + "\n")
    return findings


def findings_of(command):
    done = subprocess.run(command, cwd=ROOT, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    text = done.stdout.decode(errors="replace")
    text = "\n".join(line for line in text.split("\n") if not re.match(r"\d+ warnings?( and .*)? (generated|treated)", line))
    return (text.strip() or "ended with %d" % done.returncode) if done.returncode else ""


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("paths", nargs="*")
    parser.add_argument("--changed", nargs="?", const="HEAD", metavar="REF")
    parser.add_argument("--tool", choices=("clang-tidy", "cppcheck"))
    parser.add_argument("--no-cache", action="store_true")
    parser.add_argument("--jobs", type=int, default=os.cpu_count(), metavar="N")
    arguments = parser.parse_args()
    names = chosen(arguments)
    jobs = []
    if arguments.tool != "clang-tidy":
        # cppcheck does not understand gtest's macros.
        jobs += [("cppcheck", name, functools.partial(findings_of, ["cppcheck"] + FOR_CPPCHECK + [name]))
                 for name in names if name.startswith("src/")]
    if arguments.tool != "cppcheck":
        compiled = compiled_files()
        jobs += [("clang-tidy", name, functools.partial(findings_of_clang, name, compiled[name], not arguments.no_cache))
                 for name in names if name in compiled]
    failed, reported = 0, set()
    with concurrent.futures.ThreadPoolExecutor(arguments.jobs) as pool:
        for (tool, name, _), findings in zip(jobs, pool.map(lambda job: job[2](), jobs)):
            failed += bool(findings)
            # A finding in a header is repeated for every file that includes it.
            new = [line for line in findings.replace(ROOT + "/", "").split("\n") if line not in reported]
            reported.update(line for line in new if "[" in line)
            if findings:
                print("FAILED  %s %s" % (tool, name))
                print("\n".join("   " + line for line in new if line), flush=True)
    print("%d passed, %d failed" % (len(jobs) - failed, failed))
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())

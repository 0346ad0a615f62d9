#!/usr/bin/env python3
"""How well the executables of a folder are hardened, read from the files themselves. What is missing fails.

    hardening.py FOLDER                            each executable of the folder
    hardening.py FOLDER --commands FILE            and what each source of src/ was compiled with

checksec reads what it knows of. It does not look for segments that are both written and run, stack probes, landing marks
(Debian's hardening-check wants these of the C runtime too, which has none, and never fails for missing probes) or the
library's assertions: those are read here. FILE is a compile_commands.json: an executable that calls nothing that could
overflow shows no trace of the checks that it was compiled with. Needs checksec and binutils. The last line is "N passed,
N failed".
"""

import argparse
import functools
import json
import os
import re
import subprocess
import sys

COMPILER_FLAGS = ("-O2", "-fPIE", "-D_FORTIFY_SOURCE=3", "-D_GLIBCXX_ASSERTIONS", "-fstack-protector-strong",
                  "-fstack-clash-protection", "-fcf-protection=full")
PAGE = 0x1000


@functools.lru_cache(None)
def output_of(*command):
    return subprocess.run(command, check=True, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE).stdout.decode()


def checked(path):
    """What checksec says of a file: {"relro": "full", "canary": "yes", ...}."""
    return json.loads(output_of("checksec", "--format=json", "--file=" + path))[path]


def says(**wanted):
    return lambda path: all(checked(path)[key] == value for key, value in wanted.items())


def writes_nothing_that_it_runs(path):
    loads = re.findall(r"LOAD(?:\s+0x\S+){5}\s+([RWE ]{3})", output_of("readelf", "--program-headers", "--wide", path))
    return bool(loads) and not any("W" in flags and "E" in flags for flags in loads)


def has_the_assertions_of_the_library(path):
    return "__glibcxx_assert_fail" in output_of("readelf", "--dyn-syms", "--wide", path)


def code_of(path):
    return output_of("objdump", "--disassemble", "--no-show-raw-insn", path)


def touches_every_page_of_its_stack(path):
    """No frame is made in one step that could jump over the guard page below a stack."""
    steps = re.finditer(r"\bsubq? +\$0x([0-9a-f]+),%rsp\n(.*)", code_of(path))
    # What subtracts a negative number gives a frame back.
    return all(not PAGE <= int(step.group(1), 16) < 1 << 63 or re.search(r"\borq? +\$0x0,\(%rsp\)", step.group(2))
               for step in steps)


def marks_where_jumps_may_land(path):
    main = re.search(r"<main>:\n(.*)", code_of(path))
    return main is not None and "endbr64" in main.group(1)


OF_EACH = (
    ("is placed anywhere in memory", says(pie="yes")),
    ("has its relocated data read-only, and bound at its start", says(relro="full")),
    ("runs nothing on its stack", says(nx="yes")),
    ("has no memory that is written and run", writes_nothing_that_it_runs),
    ("names no folder to take libraries from", says(rpath="no", runpath="no")),
    ("guards its stack", says(canary="yes")),
    ("touches every page of its stack", touches_every_page_of_its_stack),
    ("marks where jumps may land", marks_where_jumps_may_land),
)

# Only code that copies memory or checks an index shows these.
OF_ONE = (
    ("has checked copies of memory", says(fortify_source="yes")),
    ("has the library's assertions", has_the_assertions_of_the_library),
)


def is_executable(path):
    with open(path, "rb") as f:
        return os.access(path, os.X_OK) and f.read(4) == b"\x7fELF"


def check_folder(folder):
    """[(claim, holds)]"""
    files = [os.path.join(folder, name) for name in sorted(os.listdir(folder))
             if os.path.isfile(os.path.join(folder, name)) and is_executable(os.path.join(folder, name))]
    found = [("there are executables in " + folder, bool(files))]
    for path in files:
        found += [("%s %s" % (os.path.basename(path), claim), holds(path)) for claim, holds in OF_EACH]
    found += [("one of them " + claim, any(holds(path) for path in files)) for claim, holds in OF_ONE]
    return found


def check_commands(name):
    with open(name, encoding="utf-8") as f:
        commands = [(entry["file"], entry["command"].split()) for entry in json.load(f)]
    commands = [(file, words) for file, words in commands if "/src/" in file and "/build/" not in file]
    found = [("sources are compiled", bool(commands))]
    for flag in COMPILER_FLAGS:
        # A library's objects are as movable as an executable's.
        wanted = (flag, "-O3") if flag == "-O2" else (flag, "-fPIC") if flag == "-fPIE" else (flag,)
        without = [file for file, words in commands if not set(wanted) & set(words)]
        found.append(("every source is compiled with %s%s" % (flag, ": not " + without[0] if without else ""), not without))
    return found


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("folder")
    parser.add_argument("--commands", metavar="FILE")
    arguments = parser.parse_args()
    found = check_folder(arguments.folder) + (check_commands(arguments.commands) if arguments.commands else [])
    for claim, holds in found:
        print("%s  %s" % ("ok    " if holds else "FAILED", claim))
    failed = sum(not holds for _, holds in found)
    print("%d passed, %d failed" % (len(found) - failed, failed))
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())

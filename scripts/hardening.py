#!/usr/bin/env python3
"""How well the executables of a folder are armoured, read from the files themselves. What is missing fails.

    hardening.py FOLDER                            each executable of the folder
    hardening.py FOLDER --commands FILE            and what each source of src/ was compiled with

FILE is a compile_commands.json: an executable that calls nothing that could overflow shows no trace of the checks that
it was compiled with. Needs binutils. The last line is "N passed, N failed".
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


def dynamic(path):
    return output_of("readelf", "--dynamic", "--wide", path)


def is_placed_anywhere(path):
    return "DYN" in re.search(r"Type:\s+(\S+)", output_of("readelf", "--file-header", path)).group(1) and \
        bool(re.search(r"FLAGS_1\).*\bPIE\b", dynamic(path)))


def is_read_only_after_start(path):
    return "GNU_RELRO" in output_of("readelf", "--program-headers", "--wide", path) and \
        bool(re.search(r"\(FLAGS\).*BIND_NOW|FLAGS_1\).*\bNOW\b", dynamic(path)))


def runs_nothing_on_its_stack(path):
    flags = re.search(r"GNU_STACK(?:\s+0x\S+){5}\s+([RWE ]{3})", output_of("readelf", "--program-headers", "--wide", path))
    return flags is not None and "E" not in flags.group(1)


def writes_nothing_that_it_runs(path):
    loads = re.findall(r"LOAD(?:\s+0x\S+){5}\s+([RWE ]{3})", output_of("readelf", "--program-headers", "--wide", path))
    return bool(loads) and not any("W" in flags and "E" in flags for flags in loads)


def names_no_library_folder(path):
    return not re.search(r"\((?:RPATH|RUNPATH)\)", dynamic(path))


def imports(path, pattern):
    return bool(re.search(pattern, output_of("readelf", "--dyn-syms", "--wide", path)))


def guards_its_stack(path):
    return imports(path, r"\b__stack_chk_fail\b")


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
    ("is placed anywhere in memory", is_placed_anywhere),
    ("has its relocated data read-only, and bound at its start", is_read_only_after_start),
    ("runs nothing on its stack", runs_nothing_on_its_stack),
    ("has no memory that is written and run", writes_nothing_that_it_runs),
    ("names no folder to take libraries from", names_no_library_folder),
    ("guards its stack", guards_its_stack),
    ("touches every page of its stack", touches_every_page_of_its_stack),
    ("marks where jumps may land", marks_where_jumps_may_land),
)

# Only whoever copies memory or counts an index bears the trace of these.
OF_ONE = (
    ("has checked copies of memory", lambda path: imports(path, r"\b__(?!stack)\w+_chk\b")),
    ("has the library's assertions", lambda path: imports(path, r"__glibcxx_assert_fail")),
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

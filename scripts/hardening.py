#!/usr/bin/env python3
"""Checks how well the executables of a folder are hardened, from the files themselves. A missing protection fails.

    hardening.py FOLDER                            each executable of the folder
    hardening.py FOLDER --commands FILE            also the flags with which each source of src/ was compiled

checksec checks what it knows. It does not check for writable executable segments, stack probes, landing marks (Debian's
hardening-check expects these in the C runtime too, which has none, and never fails for missing probes) or the C++
library's assertions: those are checked here. FILE is a compile_commands.json; it is needed because an executable that
calls nothing that could overflow shows no trace of the flags. Needs checksec and binutils. The last line is "N passed,
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
    """checksec's result for a file: {"relro": "full", "canary": "yes", ...}."""
    return json.loads(output_of("checksec", "--format=json", "--file=" + path))[path]


def has(**wanted):
    return lambda path: all(checked(path)[key] == value for key, value in wanted.items())


def has_no_writable_code(path):
    loads = re.findall(r"LOAD(?:\s+0x\S+){5}\s+([RWE ]{3})", output_of("readelf", "--program-headers", "--wide", path))
    return bool(loads) and not any("W" in flags and "E" in flags for flags in loads)


def has_library_assertions(path):
    return "__glibcxx_assert_fail" in output_of("readelf", "--dyn-syms", "--wide", path)


def code_of(path):
    return output_of("objdump", "--disassemble", "--no-show-raw-insn", path)


def probes_the_stack(path):
    """No stack frame is allocated in one step that could jump over the guard page below the stack."""
    steps = re.finditer(r"\bsubq? +\$0x([0-9a-f]+),%rsp\n(.*)", code_of(path))
    # Subtracting a negative number frees a stack frame.
    return all(not PAGE <= int(step.group(1), 16) < 1 << 63 or re.search(r"\borq? +\$0x0,\(%rsp\)", step.group(2))
               for step in steps)


def has_landing_marks(path):
    """In the first line of main. A stripped file does not name it, but its entry point hands its address on."""
    code = code_of(path)
    main = re.search(r"<main>:\n(.*)", code)
    if main is None:
        entry = re.search(r"Entry point address:\s+0x([0-9a-f]+)", output_of("readelf", "--file-header", path)).group(1)
        start = code.find("\n%8s:" % entry)
        address = re.search(r"\blea +\S+\(%rip\),%rdi +# (?:0x)?([0-9a-f]+)", code[start:start + 2000])
        main = address and re.search(r"^ *%s:\t(.*)" % address.group(1), code, re.MULTILINE)
    return bool(main) and "endbr64" in main.group(1)


EACH_EXECUTABLE = (
    ("is position-independent", has(pie="yes")),
    ("has full RELRO", has(relro="full")),
    ("has no executable stack", has(nx="yes")),
    ("has no memory that is writable and executable", has_no_writable_code),
    ("has no library search path", has(rpath="no", runpath="no")),
    ("has stack canaries", has(canary="yes")),
    ("probes every page of its stack", probes_the_stack),
    ("has landing marks for indirect jumps", has_landing_marks),
)

# Only code that copies memory or checks an index shows these, so one executable is enough.
SOME_EXECUTABLE = (
    ("has checked memory copies", has(fortify_source="yes")),
    ("has the library's assertions", has_library_assertions),
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
        found += [("%s %s" % (os.path.basename(path), claim), holds(path)) for claim, holds in EACH_EXECUTABLE]
    found += [("one of them " + claim, any(holds(path) for path in files)) for claim, holds in SOME_EXECUTABLE]
    return found


def check_commands(name):
    with open(name, encoding="utf-8") as f:
        commands = [(entry["file"], entry["command"].split()) for entry in json.load(f)]
    commands = [(file, words) for file, words in commands if "/src/" in file and "/build/" not in file]
    found = [("sources are compiled", bool(commands))]
    for flag in COMPILER_FLAGS:
        # A library's objects are position-independent with -fPIC.
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

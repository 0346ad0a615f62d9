#!/usr/bin/env python3
"""Writes docs/man/pelloractl.1 from the help texts in src/tools/Help.cpp.

    manual.py            writes the page
    manual.py --check    fails if the page is not what would be written
"""

import ast
import os
import re
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
PAGE = os.path.join(ROOT, "docs/man/pelloractl.1")
COMMANDS = ("Add", "List", "Wait", "Pause", "Resume", "Remove", "Limit", "Open", "Zip", "Quit")
HEAD = r""".\" Written by scripts/manual.py from the help texts of the program.
.TH PELLORACTL 1 2026-11-22 "Pellora 5.2" "User Commands"
.SH NAME
pelloractl \- controls Pellora from the command line
.SH SYNOPSIS
.B pelloractl
.I COMMAND
.RI [ OPTION "]... [" ARGUMENT ]...
.SH DESCRIPTION
"""
TAIL = r""".SH SEE ALSO
.BR pellora (1)
"""


def help_texts():
    with open(os.path.join(ROOT, "src/tools/Help.cpp"), encoding="utf-8") as f:
        source = f.read()
    found = re.finditer(r'const char\* const k(\w*)Help =\s*((?:"(?:[^"\\]|\\.)*"\s*)+);', source)
    return {match.group(1): ast.literal_eval("(%s)" % match.group(2)) for match in found}


def escaped(line):
    line = line.replace("\\", "\\e").replace("-", "\\-")
    return "\\&" + line if line.startswith((".", "'")) else line


def verbatim(text):
    return ".nf\n" + "".join(escaped(line) + "\n" for line in text.strip("\n").split("\n")) + ".fi\n"


def page():
    texts = help_texts()
    usage, _, rest = texts[""].partition("\n\n")
    del usage
    parts = [HEAD, verbatim(rest), ".SH COMMANDS\n"]
    for name in COMMANDS:
        parts += [".SS %s\n" % name.lower(), verbatim(texts[name])]
    return "".join(parts) + TAIL


def main():
    if sys.argv[1:] == ["--check"]:
        with open(PAGE, encoding="utf-8") as f:
            same = f.read() == page()
        print("the manual page has the help texts" if same else "docs/man/pelloractl.1 differs: run scripts/manual.py")
        return 0 if same else 1
    with open(PAGE, "w", encoding="utf-8") as f:
        f.write(page())
    return 0


if __name__ == "__main__":
    sys.exit(main())

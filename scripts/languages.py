#!/usr/bin/env python3
"""Checks language files. Prints, for each file, what is missing, unknown or would be displayed incorrectly.

    languages.py [FILE...]     without files: all of languages/

english.txt is the reference: its numbers are those that the program reads. The format is explained in
languages/TRANSLATING.md.
"""

import os
import re
import sys
import unicodedata

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
FOLDER = os.path.join(ROOT, "languages")

LAST = 1024
FAR = 1e9
# Numbers of the table that are never shown: optional in a file.
NEVER_SHOWN = {117, 120, 137, 404, 529, 532, 533, 603, 628}
# Texts that are the same in every language.
SAME_EVERYWHERE = {951: '"'}
# The program appends something to these texts, so they must end in a certain way.
GLUED = {401: ("\u00a0", "a file name follows: it must end in a no-break space (U+00A0)"),
         535: ("(", "the status number and a closing bracket follow: it must end in an opening bracket"),
         530: (".", "it ends the message that begins with 531: it must end in a full stop")}
# Captions whose controls do not grow with the text, and the number of characters that fit.
CAPTIONS = (*range(110, 122), *range(200, 208), *range(270, 290), *range(405, 408), *range(500, 517), *range(600, 649),
            *range(669, 705), *range(786, 793), *range(800, 808), *range(867, 871), 872, 873, 874, 876,
            *range(877, 883), 900, 902, 903, 917, 918, 919, *range(922, 927), *range(938, 945), 949, 950, *range(952, 957), *range(958, 967),
            987, 993, 1001, *range(1011, 1018))
LENGTHS = {**dict.fromkeys(range(LAST + 1), 400),  # messages and tool tips
           **dict.fromkeys(CAPTIONS, 72),
           **dict.fromkeys(range(100, 109), 24),  # buttons of the toolbar
           **dict.fromkeys((201, 207, 300, 302), 10),  # narrow columns
           **dict.fromkeys((301, 303), 7),  # likewise, with " (100.0%)" appended
           **dict.fromkeys((250, 251), 13),  # tabs of the side pane
           **dict.fromkeys(range(524, 529), 30),  # states of segments
           **dict.fromkeys(range(810, 815), 31)}  # states of the web engine's
# These texts name others of the same file.
QUOTED = {806: 803, 820: 800, 912: 800, 927: 800}
UNITS = range(0, 7)
# Entries of one menu; no two may have the same access key, nor that of "Show download &Basket", which stays English.
MENUS = ((786, 119, 787, 699), (110, 111, 112, 118), (114, 115, 116), (121, 113),
         (283, 286, 282, 289, 288, 285, 872, 993, 943, 949, 950, 952, 953),
         (284, 281, 280), (700, 701, 702, 805, 703, 874))
SHOW_BASKET = "Show download &Basket"


class Entry:
    def __init__(self, line, number, text):
        self.line, self.number, self.text = line, number, text


def number_of(left):
    """The number before the equals sign as the program reads it: the leading number, or 0. Only plain digits count. A
    number of any length stays far outside the table."""
    match = re.match(r" *([+-]?[0-9]*(?:\.[0-9]*)?)", left)
    try:
        return round(max(-FAR, min(float(match.group(1)), FAR)))
    except ValueError:
        return 0


def signs(text):
    """Control characters and line separators: the program shows a blank instead, or breaks the text there."""
    return sorted({"U+%04X" % ord(c) for c in text if unicodedata.category(c) in ("Cc", "Zl", "Zp") and c != "\t"})


def read(path):
    """The entries of a file with their line numbers, and the problems of single lines."""
    with open(path, "rb") as f:
        data = f.read()
    problems = []
    try:
        content = data.decode("utf-8-sig")
    except UnicodeDecodeError as error:
        line = data[:error.start].count(b"\n") + 1
        return [], ["line %d: not UTF-8: save the file in this encoding" % line]
    if len(data) > 1 << 20:
        problems.append("the file is larger than 1 MiB, so the program does not read it")
    entries = []
    for at, raw in enumerate(content.split("\n"), 1):
        line = raw[:-1] if raw.endswith("\r") else raw
        stripped = line.strip(" ")
        if "LANG=" in stripped and not stripped.startswith("LANG="):
            problems.append("line %d: \"LANG=\" in the middle of a line starts a second language" % at)
        if not stripped or stripped.startswith(("//", ";")):
            continue
        if "=" not in stripped:
            problems.append("line %d: neither a comment nor \"number=text\": %s" % (at, stripped[:60]))
            continue
        if line != stripped:
            problems.append("line %d: blanks around a line are not kept" % at)
        if "\t" in line:
            problems.append("line %d: a tab" % at)
        if signs(line):
            problems.append("line %d: a control character: %s" % (at, ", ".join(signs(line))))
        left, _, text = stripped.partition("=")
        if left == "LANG":
            entries.append(Entry(at, "LANG", text))
            continue
        if not re.fullmatch(r"[0-9]+", left):
            problems.append("line %d: \"%s\" is not a number; the text counts as number %d" %
                            (at, left[:40], number_of(left)))
            continue
        entries.append(Entry(at, number_of(left), text))
    return entries, problems


def places(text):
    """The places for values in a text, in alphabetical order."""
    return sorted(re.findall("%[12]", text))


def texts_of(entries):
    return {entry.number: entry.text for entry in entries}


def menu_keys(texts):
    problems = []
    for menu in MENUS:
        keys = {"b": [SHOW_BASKET]} if 121 in menu else {}
        for number in menu:
            match = re.search(r"&([^& ])", texts.get(number, "").replace("&&", ""))
            if match:
                keys.setdefault(match.group(1).lower(), []).append(number)
        problems += ["%s: entries of one menu with the same key \"%s\"" % (", ".join(map(str, numbers)), key)
                     for key, numbers in keys.items() if len(numbers) > 1]
    return problems


def check(path, english):
    entries, problems = read(path)
    texts = texts_of(entries)
    known = {number for number in english if number != "LANG"}
    for number in sorted(known - set(texts)):
        problems.append("missing: %d (\"%s\")" % (number, english[number]))
    seen = {}
    for entry in entries:
        if entry.number in seen:
            problems.append("line %d: %s is already in line %d; the later one counts" %
                            (entry.line, entry.number, seen[entry.number]))
        seen[entry.number] = entry.line
        if entry.number == "LANG":
            continue
        if entry.number > LAST:
            problems.append("line %d: unknown: %d; numbers go from 0 to %d" % (entry.line, entry.number, LAST))
        elif entry.number not in known and entry.number not in NEVER_SHOWN:
            problems.append("line %d: unknown: %d; the program has no such text" % (entry.line, entry.number))
        if not entry.text.strip():
            problems.append("line %d: %d is empty" % (entry.line, entry.number))
    if not texts.get("LANG", "").strip():
        problems.append("missing: the line LANG= with the name of the language")
    elif 0 in seen and seen[0] < seen["LANG"]:
        problems.append("line %d: 0= must come after LANG=, which the program takes for number 0 as well" % seen[0])
    for number, (ending, reason) in GLUED.items():
        if number in texts and not texts[number].endswith(ending):
            problems.append("line %d: %d: %s" % (seen[number], number, reason))
    for number, same in SAME_EVERYWHERE.items():
        if number in texts and texts[number] != same:
            problems.append("line %d: %d must not be translated: %s" % (seen[number], number, same))
    for number, length in LENGTHS.items():
        if len(texts.get(number, "")) > length:
            problems.append("line %d: %d is longer than the %d characters that fit" %
                            (seen[number], number, length))
    for number, text in texts.items():
        if number in known and places(text) != places(english[number]):
            problems.append("line %d: %d must have the same %%1 and %%2 as the English text" % (seen[number], number))
    for number, other in QUOTED.items():
        if number in texts and other in texts and texts[other] not in texts[number]:
            problems.append("line %d: %d must name number %d as it is: %s" % (seen[number], number, other, texts[other]))
    for number in UNITS:
        if " " in texts.get(number, ""):
            problems.append("line %d: %d is a unit and must not contain blanks" % (seen[number], number))
    return problems + menu_keys(texts)


def main():
    paths = sys.argv[1:]
    if paths and paths[0].startswith("-"):
        print(__doc__.strip())
        return 2
    paths = paths or sorted(os.path.join(FOLDER, name) for name in os.listdir(FOLDER) if name.endswith(".txt"))
    english, _ = read(os.path.join(FOLDER, "english.txt"))
    english = texts_of(english)
    failed = 0
    for path in paths:
        try:
            problems = check(path, english)
        except OSError as error:
            problems = ["cannot be read: %s" % error.strerror]
        failed += bool(problems)
        print("%s: %s" % (os.path.basename(path), "%d problems" % len(problems) if problems else "complete"))
        for problem in problems:
            print("  " + problem)
    print("%d passed, %d failed" % (len(paths) - failed, failed))
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())

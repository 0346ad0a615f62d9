#!/usr/bin/env python3
"""Writes the documents of a package into FOLDER, without the pictures, which it does not have, and without links to files
that it lacks: packaged_docs.py FOLDER DOCUMENT..."""

import os
import re
import sys

LINK = re.compile(r"(!?)\[([^]]*)\]\(([^)\s]+)\)")


def is_picture(target):
    return target.endswith((".png", ".svg"))


def packaged(text, names):
    """The text, as one of the documents with these names, which all lie in one folder."""
    paragraphs = [each for each in text.split("\n\n") if not any(is_picture(link[2]) for link in LINK.findall(each))]

    def link(match):
        _, words, target = match.groups()
        if re.match(r"\w+:|#", target):
            return match.group(0)
        path, mark, place = target.partition("#")
        name = os.path.basename(path)
        return "[%s](%s%s%s)" % (words, name, mark, place) if name in names else words

    return LINK.sub(link, "\n\n".join(paragraphs)).rstrip("\n") + "\n"


def main():
    folder, documents = sys.argv[1], sys.argv[2:]
    os.makedirs(folder, exist_ok=True)
    names = {os.path.basename(path) for path in documents}
    for path in documents:
        with open(path, encoding="utf-8") as f:
            text = packaged(f.read(), names)
        with open(os.path.join(folder, os.path.basename(path)), "w", encoding="utf-8") as f:
            f.write(text)


if __name__ == "__main__":
    main()

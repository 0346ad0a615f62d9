#!/usr/bin/env python3
"""Hands URLs to the running Pellora, shows their progress, and says where the files lie.

    fetch.py [--nobody-answers PICTURE] PELLORACTL URL...

Exit code 0 only if every URL is a finished file. With --nobody-answers (a virtual display) a question or
message of the program ends the wait, with a picture of it; with a user before the display it is his to answer.
"""

import argparse
import os
import subprocess
import sys
import time

from pellora import Companion, Windows

PATIENCE = 3.0  # seconds that a dialog must stand to count: some close by themselves


def watch_progress(companion, picture, indices):
    """Runs `pelloractl wait --progress` for the records; False if a dialog stands that nobody will answer."""
    child = subprocess.Popen([companion.path, "wait", "--progress", *map(str, indices)], stdin=subprocess.DEVNULL)
    standing = {}
    try:
        while True:
            try:
                child.wait(timeout=0.5)
                return True
            except subprocess.TimeoutExpired:
                pass
            if picture is None:
                continue
            now = time.monotonic()
            standing = {w: standing.get(w, (now, title)) for w, title in Windows().dialogs()}
            for since, title in standing.values():
                if now - since > PATIENCE:
                    Windows().screenshot(picture)
                    print("Pellora asks something that nobody can answer here (\"%s\"). See %s" % (title, picture),
                          file=sys.stderr)
                    return False
    finally:
        if child.poll() is None:
            child.terminate()
            child.wait()


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--nobody-answers", metavar="PICTURE")
    parser.add_argument("pelloractl")
    parser.add_argument("urls", nargs="+")
    arguments = parser.parse_args()
    companion = Companion(arguments.pelloractl)

    urls = list(dict.fromkeys(arguments.urls))
    before = {d.url: d for d in companion.downloads()}
    new, indices = [], []
    for url in urls:
        if url not in before:
            new.append(url)
        elif before[url].finished and os.path.exists(before[url].saved_path):
            print("%s was fetched before." % url)
        elif before[url].finished:
            print("%s was fetched before, and its file is gone. Clear it from the list to fetch it anew." % url,
                  file=sys.stderr)
        else:
            indices.append(before[url].index)
    if indices:
        companion.run("resume")
    if new:
        companion.add(*new)
        indices += settle(companion, set((d.index, d.url) for d in before.values()), len(new))
    if indices:
        watch_progress(companion, arguments.nobody_answers, indices)

    after = companion.downloads()
    by_url = {d.url: d for d in after}
    # A redirect changes a record's URL: a finished record that was not there before answers for it.
    others = [d for d in after if d.finished and d.index in indices and d.url not in urls]
    missing = 0
    for url in urls:
        found = by_url.get(url) or (others.pop(0) if others else None)
        if found is not None and found.finished and os.path.exists(found.saved_path):
            print("saved: %s" % found.saved_path)
        else:
            missing += 1
            print("not fetched: %s (%s)" % (url, found.state if found else "no longer in the list"), file=sys.stderr)
    return 1 if missing else 0


def settle(companion, before, count):
    """The hand-over returns at once: waits until the program has taken the URLs, or has had time to refuse them.
    Returns the new records by index, since a redirect may have changed their URL already."""
    end = time.monotonic() + 3.0
    while True:
        found = [d.index for d in companion.downloads() if (d.index, d.url) not in before]
        if len(found) >= count or time.monotonic() > end:
            return found
        time.sleep(0.1)


if __name__ == "__main__":
    sys.exit(main())

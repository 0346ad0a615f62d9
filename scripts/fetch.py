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

REFUSED = 1  # exit code of pelloractl

PATIENCE = 3.0  # seconds that a dialog must stand to count: some close by themselves


def watch_progress(companion, picture, ids):
    """Runs `pelloractl wait --progress` for the downloads; False if a dialog stands that nobody will answer."""
    child = subprocess.Popen([companion.path, "wait", "--progress", *ids], stdin=subprocess.DEVNULL)
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
    ids, waiting = {}, []  # by URL, once the program has taken it; those whose end is awaited
    for url in urls:
        known = before.get(url)
        if known is None:
            ids[url] = add(companion, url)
        else:
            ids[url] = known.id
            if known.finished and os.path.exists(known.saved_path):
                print("%s was fetched before." % url)
            elif known.finished:
                print("%s was fetched before, and its file is gone. Clear it from the list to fetch it anew." % url,
                      file=sys.stderr)
        if ids[url] and not (known and known.finished):
            waiting.append(ids[url])
    if any(url in before and ids[url] in waiting for url in urls):
        companion.run("resume")
    if waiting:
        watch_progress(companion, arguments.nobody_answers, waiting)

    after = {d.id: d for d in companion.downloads()}
    missing = 0
    for url in urls:
        found = after.get(ids[url])
        if found is not None and found.finished and os.path.exists(found.saved_path):
            print("saved: %s" % found.saved_path)
            continue
        missing += 1
        if ids[url]:
            print("not fetched: %s (%s)" % (url, found.state if found else "no longer in the list"), file=sys.stderr)
    return 1 if missing else 0


def add(companion, url):
    """The id of the new download; None, with the reason printed, if the program refuses the URL."""
    result = companion.run("add", url)
    said = result.stderr.decode(errors="replace").strip()
    if result.returncode == REFUSED:
        print("not fetched: " + said.removeprefix("pelloractl: "), file=sys.stderr)
        return None
    if result.returncode != 0:
        raise RuntimeError(said)
    return result.stdout.decode().strip()


if __name__ == "__main__":
    sys.exit(main())

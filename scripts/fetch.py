#!/usr/bin/env python3
"""Adds URLs to the running Pellora, shows their progress, and prints where the files are.

    fetch.py [--unattended PICTURE] PELLORACTL URL...

Exit code 0 only if every URL is a finished file. With --unattended (on a virtual display) a question or message of the
program ends the wait and is saved as a screenshot; otherwise the user answers it.
"""

import argparse
import os
import re
import subprocess
import sys
import time

from pellora import Companion

REFUSED = 1  # exit code of pelloractl

DIALOG_SECONDS = 3.0  # how long a dialog must be open to count: some close automatically


def watch_progress(companion, picture, ids):
    """Runs `pelloractl wait --progress` for the downloads; False if a dialog is open that no user can answer."""
    child = subprocess.Popen([companion.path, "wait", "--progress", *ids], stdin=subprocess.DEVNULL)
    opened = {}
    if picture is not None:
        from xdisplay import XDisplay  # its package is only required without a user's display
        display = XDisplay()
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
            opened = {w: opened.get(w, (now, title)) for w, title in display.dialogs()}
            for since, title in opened.values():
                if now - since > DIALOG_SECONDS:
                    display.screenshot(picture)
                    print("Pellora shows a message that no user can answer here (\"%s\"). See %s" % (title, picture),
                          file=sys.stderr)
                    return False
    finally:
        if child.poll() is None:
            child.terminate()
            child.wait()


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--unattended", metavar="PICTURE")
    parser.add_argument("pelloractl")
    parser.add_argument("urls", nargs="+")
    arguments = parser.parse_args()
    companion = Companion(arguments.pelloractl)

    urls = list(dict.fromkeys(arguments.urls))
    listed = {d.url: d for d in companion.downloads()}
    before = {url: listed[form] for url in urls for form in (url, without_password(url)) if form in listed}
    ids, waiting = {}, []  # id by URL, for the URLs that the program has taken; ids to wait for
    for url in urls:
        known = before.get(url)
        if known is None:
            ids[url] = add(companion, url)
        else:
            ids[url] = known.id
            if known.finished and os.path.exists(known.saved_path):
                print("%s was downloaded before." % url)
            elif known.finished:
                print("%s was downloaded before, but its file is gone. Clear it from the list to download it again." % url,
                      file=sys.stderr)
        if ids[url] and not (known and known.finished):
            waiting.append(ids[url])
    if any(url in before and ids[url] in waiting for url in urls):
        companion.run("resume")
    if waiting:
        watch_progress(companion, arguments.unattended, waiting)

    after = {d.id: d for d in companion.downloads()}
    missing = 0
    for url in urls:
        found = after.get(ids[url])
        if found is not None and found.finished and os.path.exists(found.saved_path):
            print("saved: %s" % found.saved_path)
            continue
        missing += 1
        if ids[url]:
            print("not downloaded: %s (%s)" % (url, found.reason or found.state if found else "no longer in the list"),
                  file=sys.stderr)
    return 1 if missing else 0


def without_password(url):
    """As the list has the addresses of the web engine."""
    return re.sub(r"^([^:/]+://[^/?#@:]*):[^/?#]*@", r"\1@", url)


def add(companion, url):
    """The id of the new download; None, with the reason printed, if the program refuses the URL."""
    result = companion.run("add", url)
    message = result.stderr.decode(errors="replace").strip()
    if result.returncode == REFUSED:
        print("not downloaded: " + message.removeprefix("pelloractl: "), file=sys.stderr)
        return None
    if result.returncode != 0:
        raise RuntimeError(message)
    return result.stdout.decode().strip()


if __name__ == "__main__":
    sys.exit(main())

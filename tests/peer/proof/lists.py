#!/usr/bin/env python3
"""Starts the real program with damaged lists: truncated, with flipped bits, with random bytes. Each is derived from a
list that the program has written, with running, finished and waiting downloads in it.

    lists.py [--count N] [--seed N] [--jobs N]

Whatever the list contains, the main window is shown, the bus answers, the program ends normally, and the list can be
read completely afterwards. (The unit tests of the list file try every truncation and every bit.)"""

import argparse
import collections
import concurrent.futures
import os
import random
import sys

import support
import harness
import origin


def real_list():
    """The bytes of a list with three records."""
    server = origin.Origin(30000)
    session = harness.Session("lists", MaxSegments=4, MaxSimulDownlads=2)
    try:
        session.start()
        server.serve_file("/done.bin", 20000, rate=0)
        session.menu_url(server.url("/done.bin"))
        session.companion.wait_finished([server.url("/done.bin")], 20)
        for name in ("/one.bin", "/two.bin", "/three.bin"):
            server.serve_file(name, 2000000)
            session.menu_url(server.url(name))
        harness.wait_until(lambda: sum(d.received > 20000 for d in session.companion.downloads()) >= 3, 30, "bytes")
        session.stop()
        with open(session.list_file, "rb") as f:
            return f.read()
    finally:
        session.close()
        server.close()


def damaged(whole, chance):
    """(kind of damage, bytes)"""
    kind = chance.choice(("cut", "bit", "bit", "bits", "bytes", "count"))
    data = bytearray(whole)
    if kind == "cut":
        del data[chance.randrange(len(data)):]
    elif kind in ("bit", "bits"):
        for _ in range(1 if kind == "bit" else 20):
            at = chance.randrange(len(data) * 8)
            data[at // 8] ^= 1 << at % 8
    elif kind == "bytes":
        at = chance.randrange(6, len(data))
        data[at:at + 40] = chance.randbytes(40)
    else:
        data[4:6] = chance.randbytes(2)
    return kind, bytes(data)


def start_with(data):
    """The problem found, or None."""
    session = harness.Session("damaged", MaxSegments=4)
    try:
        with open(session.list_file, "wb") as f:
            f.write(data)
        session.start()
        session.window(harness.MAIN)
        if session.companion.run("list").returncode != 0:
            return "it does not answer"
        for window, _ in session.dialogs():
            with support.KEYBOARD:
                session.dismiss(window)
        if session.stop() != 0:
            return "it ended with %d: %s" % (session.process.returncode, session.read_log()[-300:])
        if support.stored(session) is None:
            return "the list that it left is not whole"
        return None
    except Exception as failure:  # reported with the number that repeats it
        return "%s: %s" % (type(failure).__name__, failure)
    finally:
        session.close()


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--count", type=int, default=200)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--jobs", type=int, default=4)
    arguments = parser.parse_args()
    whole = real_list()
    cases = [damaged(whole, random.Random("%d-%d" % (arguments.seed, number))) for number in range(arguments.count)]
    with concurrent.futures.ThreadPoolExecutor(arguments.jobs) as pool:
        faults = list(pool.map(start_with, [data for _, data in cases]))
    kinds = collections.Counter(kind for kind, _ in cases)
    print("%d starts with damage to a list of %d bytes: %s" % (
        len(cases), len(whole), ", ".join("%s %d" % pair for pair in sorted(kinds.items()))))
    wrong = [(number, fault) for number, fault in enumerate(faults) if fault]
    for number, fault in wrong:
        kind, data = cases[number]
        print("  number %d (%s): %s" % (number, kind, fault))
        keep = os.path.join(os.environ.get("PELLORA_PICTURES", "/tmp"), "damaged-%d.dat" % number)
        with open(keep, "wb") as f:
            f.write(data)
    print("%d passed, %d failed" % (len(cases) - len(wrong), len(wrong)))
    return bool(wrong)


if __name__ == "__main__":
    sys.exit(main())

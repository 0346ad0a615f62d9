#!/usr/bin/env python3
"""The demonstration for a machine without a display: a local server on loopback serves a generated file, Pellora
downloads it in eight segments, and the checksums are compared.

    demonstration.py PROGRAM_FOLDER PICTURE

Everything is in a temporary home that is removed at the end, except the screenshot.
"""

import os
import sys
import time

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
sys.path[:0] = [os.path.join(ROOT, "tests/peer/real"), os.path.join(ROOT, "tests/peer")]

SIZE = 32 << 20
RATE = 1 << 20  # bytes a second for each connection: eight segments take four seconds, long enough to watch


def main():
    program, picture = sys.argv[1:3]
    os.environ["PELLORA_PROGRAM"] = program
    import harness
    import origin

    server = origin.Origin(RATE)
    server.serve_file("/demonstration.bin", SIZE)
    url = server.url("/demonstration.bin")
    print("There is no display, so this is the demonstration.")
    print("A local server serves a generated file of %d MiB, at %d MiB/s for each connection." % (SIZE >> 20, RATE >> 20))
    with harness.Session("demonstration", MaxSegments=8) as session:
        session.start()
        began = time.monotonic()
        session.companion.add(url)
        shown, pictured = -1, False
        while True:
            download = session.companion.find(url)
            took = time.monotonic() - began
            if download is None and took > 5:
                print("Pellora did not take the URL.", file=sys.stderr)
                return 1
            if download and int(download.percent) // 10 > shown:
                shown = int(download.percent) // 10
                print("  %5.1f s  %3d%%  %s" % (took, download.percent, download.state))
            if download and not pictured and download.percent > 50:
                session.stage.x.screenshot(picture)
                pictured = True
            if download and download.finished:
                break
            if took > 120:
                print("The download did not end: %s" % download, file=sys.stderr)
                return 1
            time.sleep(0.1)
        if not pictured:
            session.stage.x.screenshot(picture)

        # A segment may reconnect and ask only for the rest, so the last byte of its range identifies it.
        ranges = {}
        for request in server.requests_for("/demonstration.bin"):
            if request.range():
                ranges.setdefault(request.range()[1], request.range()[0])
        print("Downloaded in %.1f s in %d segments:" % (took, len(ranges)))
        for last, first in sorted(ranges.items()):
            print("  bytes %9d to %9d" % (first, last))
        wanted, found = origin.content_digest(SIZE), harness.digest(download.saved_path)
        print("sha256 of the served file: %s" % wanted)
        print("sha256 of the saved file:  %s" % found)
        code = session.stop()
    server.close()
    print("A screenshot of the windows is at %s" % picture)
    if found != wanted or len(ranges) != 8 or code != 0:
        print("The demonstration FAILED (exit code of the program: %d)." % code, file=sys.stderr)
        return 1
    print("The files are identical: the demonstration succeeded.")
    return 0


if __name__ == "__main__":
    sys.exit(main())

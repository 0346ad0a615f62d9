#!/usr/bin/env python3
"""The demonstration for a machine without a display: a small origin on loopback serves a generated file, Pellora
fetches it in eight segments, and the bytes are compared by checksum.

    demonstration.py PROGRAM_FOLDER PICTURE

Everything lives in a temporary home of its own and is gone at the end, but for the picture of the windows.
"""

import os
import sys
import time

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
sys.path[:0] = [os.path.join(ROOT, "tests/peer/real"), os.path.join(ROOT, "tests/peer")]

SIZE = 32 << 20
RATE = 1 << 20  # bytes a second for each connection: slow enough to look at, four seconds for eight segments


def main():
    program, picture = sys.argv[1:3]
    os.environ["PELLORA_PROGRAM"] = program
    import harness
    import origin

    server = origin.Origin(RATE)
    server.serve_file("/demonstration.bin", SIZE)
    url = server.url("/demonstration.bin")
    print("No display here, so this is the demonstration.")
    print("A local origin serves a generated file of %d MiB, at %d MiB/s for each connection." % (SIZE >> 20, RATE >> 20))
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
                session.stage.windows.screenshot(picture)
                pictured = True
            if download and download.finished:
                break
            if took > 120:
                print("The download did not end: %s" % download, file=sys.stderr)
                return 1
            time.sleep(0.1)
        if not pictured:
            session.stage.windows.screenshot(picture)

        # A segment may be connected anew, behind what it has received by then: its end tells which one it is.
        ranges = {}
        for request in server.requests_for("/demonstration.bin"):
            if request.range():
                ranges.setdefault(request.range()[1], request.range()[0])
        print("Fetched in %.1f s in %d segments:" % (took, len(ranges)))
        for last, first in sorted(ranges.items()):
            print("  bytes %9d to %9d" % (first, last))
        wanted, found = origin.content_digest(SIZE), harness.digest(download.saved_path)
        print("sha256 of what was served: %s" % wanted)
        print("sha256 of what was saved:  %s" % found)
        code = session.stop()
    server.close()
    print("A picture of the windows lies at %s" % picture)
    if found != wanted or len(ranges) != 8 or code != 0:
        print("The demonstration FAILED (exit code of the program: %d)." % code, file=sys.stderr)
        return 1
    print("The bytes are the same: the demonstration went well.")
    return 0


if __name__ == "__main__":
    sys.exit(main())

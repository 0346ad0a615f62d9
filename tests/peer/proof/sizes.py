#!/usr/bin/env python3
"""A file above 4 GiB by https: fetched on several connections, killed above 4 GiB of it, and resumed.

    sizes.py [-k PATTERN]...        needs 10 GB in the folder for temporary files"""

import os
import random

import support
import harness
import test_web

SIZE = (4 << 30) + 300_000_001
PLANTED = random.Random(2).randbytes(100_000)
PLACES = (0, (2 << 30) - 50_000, (4 << 30) - 50_000, SIZE - len(PLANTED))


class Sizes(test_web.Web):
    def check(self, path):
        self.assertEqual(os.path.getsize(path), SIZE)
        place = 0
        with open(path, "rb") as f:
            while True:
                block = f.read(1 << 24)
                if not block:
                    break
                expected = bytearray(len(block))
                for start in PLACES:
                    first, last = max(start, place), min(start + len(PLANTED), place + len(block))
                    if first < last:
                        expected[first - place:last - place] = PLANTED[first - start:last - start]
                self.assertTrue(block == expected, "wrong bytes after %d" % place)
                place += len(block)

    def test_file_above_4_gib_is_right_after_a_kill(self):
        self.nginx.put_sparse("huge.bin", SIZE, {place: PLANTED for place in PLACES})
        self.addCleanup(os.remove, os.path.join(self.nginx.files, "huge.bin"))
        self.session.start()
        url = self.begin_url(self.nginx.url(self.nginx.plain, "huge.bin"))
        harness.wait_until(lambda: self.received(url) > 4 << 30, 200, "the first 4 GiB")
        self.session.kill()
        self.session.start()
        held = self.received(url)
        print("      %.2f GiB on the disk at the kill" % (held / (1 << 30)))
        self.session.resume()
        [download] = self.session.companion.wait_finished([url], 200)
        self.check(download.saved_path)


if __name__ == "__main__":
    support.run()

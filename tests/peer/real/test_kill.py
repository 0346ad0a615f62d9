"""Kills the program at random moments of real downloads and starts it again; the files must be correct.

PELLORA_KILLS rounds (default 24) are divided among parallel sessions, as most of a round is waiting. PELLORA_SEED
repeats the same moments. """

import os
import random
import sys
import threading
import time
import unittest

import harness
import listfile
import origin

ROUNDS = int(os.environ.get("PELLORA_KILLS", "24"))
SEED = int(os.environ.get("PELLORA_SEED", "0")) or random.SystemRandom().randrange(1, 1 << 31)
SIDE_BY_SIDE = 8
SIZE = 5000000
RATE = 60000        # bytes a second for each of eight connections: a file takes about ten seconds
SAVE_INTERVAL = 5.0
SLACK = 1.5         # for the duration of a save and the age of the sample


class Victim(threading.Thread):
    """One session: adds a file, kills the program, starts it and resumes until all rounds are done; then lets the last
    file finish. Every finished file is compared."""

    def __init__(self, number, rounds):
        super().__init__()
        self.number = number
        self.rounds = rounds
        self.random = random.Random(SEED * 1000 + number)
        self.failure = None
        self.finished = 0
        self.resumed = 0
        self.origin = self.server()
        self.session = harness.Session("kill", MaxSegments=8, MaxSimulDownlads=1)
        self.files = 0
        self.url = None

    def server(self):
        return origin.Origin(RATE)

    def serve(self, name, seed):
        """Serves a new file. Returns its URL."""
        self.origin.serve_file("/" + name, SIZE, seed=seed)
        return self.origin.url("/" + name)

    def run(self):
        try:
            self.session.start()
            self.next_file()
            for _ in range(self.rounds):
                self.round()
            self.finish()
            self.check_leftovers()
        except Exception as failure:  # reported by the test, with the seed
            self.failure = failure
        finally:
            self.session.close()
            self.origin.close()

    def next_file(self):
        self.files += 1
        self.url = self.serve("file%d.bin" % self.files, self.number * 100 + self.files)
        self.session.menu_url(self.url)
        self.added = time.monotonic()

    def round(self):
        """Runs for up to nine seconds, so that kills fall before, during and after saves; then kills."""
        moment = time.monotonic() + self.random.uniform(0.0, 9.0)
        samples = []
        late = 0.0  # the delay caused by a busy machine
        while time.monotonic() < moment:
            asked = time.monotonic()
            download = self.session.companion.find(self.url)
            late = max(late, time.monotonic() - asked)
            if download:
                samples.append((time.monotonic(), download.received))
                if download.finished:
                    self.compare(download.saved_path)
                    self.next_file()
                    samples = []
            time.sleep(min(0.5, max(0.0, moment - time.monotonic())))
        killed = time.monotonic()
        self.session.kill()
        record = listfile.find(self.session.list_file, self.url)
        if record is None:
            if killed - self.added > SAVE_INTERVAL + SLACK + 4 * late:
                raise AssertionError("a download of %.1f s ago is not in the list" % (killed - self.added))
        elif not record.finished:
            due = [received for at, received in samples if at < killed - SAVE_INTERVAL - SLACK - 4 * late]
            if due and record.kept < due[-1]:
                raise AssertionError("%d bytes were received in time for a save, %d are kept" % (due[-1], record.kept))
        self.session.start()
        if record is None:
            self.session.menu_url(self.url)
            self.added = time.monotonic()
        elif record.finished:
            self.compare(record.save_path.decode())
            self.next_file()
        else:
            self.resumed += 1
            self.session.resume()

    def finish(self):
        self.session.companion.wait_finished([self.url], 60)
        self.compare(self.session.companion.find(self.url).saved_path)

    def compare(self, path):
        self.finished += 1
        if os.path.getsize(path) != SIZE:
            raise AssertionError("%s has %d bytes" % (path, os.path.getsize(path)))
        if harness.digest(path) != origin.content_digest(SIZE, seed=self.number * 100 + self.files):
            raise AssertionError("%s differs from what the server sent" % path)

    def check_leftovers(self):
        left = os.listdir(self.session.parts)
        # A kill between the end of a join and the deletion of its parts leaves the parts: this costs space, not data.
        left = [name for name in left if name.startswith("file%d.bin" % self.files)]
        if left:
            raise AssertionError("part files of a finished download: %s" % left)


class Kill(unittest.TestCase):
    victim = Victim

    def test_files_survive_kills_at_random_moments(self):
        count = min(SIDE_BY_SIDE, ROUNDS)
        victims = [self.victim(i, ROUNDS // count + (i < ROUNDS % count)) for i in range(count)]
        for victim in victims:
            victim.start()
        for victim in victims:
            victim.join()
        failures = ["session %d: %r" % (v.number, v.failure) for v in victims if v.failure]
        sys.stderr.write("\n%d kills, %d resumed, %d files compared, PELLORA_SEED=%d\n" % (
            ROUNDS, sum(v.resumed for v in victims), sum(v.finished for v in victims), SEED))
        self.assertEqual(failures, [], "PELLORA_SEED=%d PELLORA_KILLS=%d replays this" % (SEED, ROUNDS))
        self.assertGreater(sum(v.resumed for v in victims), 0)


if __name__ == "__main__":
    unittest.main()

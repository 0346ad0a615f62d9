#!/usr/bin/env python3
"""Runs the real program continuously with fifty records: added, queued, paused, resumed, finished, cleared, deleted
while running. Once a minute its memory, descriptors, threads, windows and processor time are recorded.

    soak.py [--minutes N] [--records N] [--table FILE]
    soak.py --web                                       the web engine fetches all but ftp, half of it by https
    soak.py --judge FILE                                judges the table of an interrupted or running soak

It is flat if, after the first quarter of the time: the linear trend of the private memory rises by less than 2 MiB an
hour (or by less than 2 MiB in all, for shorter runs); the most descriptors, threads and windows in the last quarter
exceed those of the quarter before by no more than the records can explain; and a second of the last quarter takes at
most one and a half times the processor time of a second of the second quarter. The exit code is 0 only then, and only
if every finished file is what its server sent."""

import argparse
import os
import random
import signal
import sys
import time

import support
import ftpservers
import harness
import origin
import screen
import servers
import webservers
from harness import MAIN

SIZES = (30000, 90000, 250000, 700000, 1600000)
RATES = {"slow": 1500, "middle": 5000, "quick": 20000}
LOCATIONS = " ".join(r"location /%s/ { rewrite -(\d+\.bin)$ /$1 break; limit_rate %d; }" % pair for pair in RATES.items())


class SlowNginx(servers.Nginx):
    """Serves the same files repeatedly under new names, at three rates for each connection: by http, and by https to
    those who trust `authority`."""

    def __init__(self):
        trust = webservers.Authority()
        self.authority = trust.file
        self.rules = {"clear": LOCATIONS, "secure": trust.lines() + LOCATIONS}
        super().__init__()
        for size in SIZES:
            self.put("%d.bin" % size, origin.content(size, seed=size))

    def url(self, port, name):
        return ("https" if port == self.secure else "http") + "://%s:%d/%s" % (self.address, port, name)


def windows_of_client(display, window):
    """How many windows the display has for the program that created this one."""
    mask = 0x1fffff
    return sum(each & ~mask == window & ~mask for each in display.tree())


def measure_places():
    """The positions of the two lists in the main window, from assistive technology; in a separate program, since that
    technology uses memory too."""
    with harness.Session("places") as session:
        looking = screen.Screen(session)
        try:
            session.start()
            window = looking.raise_window(MAIN)
            left, top, _, _ = session.stage.x.place(window)
            places = []
            for name in ("Current Downloads :", "Finished files :"):
                shown = looking.steady("tree", name, MAIN)
                places.append((shown.left - left + 60, shown.top - top + 32))
            return places
        finally:
            looking.close()


class Soak:
    def __init__(self, records, seed, web):
        self.random = random.Random(seed)
        self.records = records
        self.number = 0
        self.counts = dict.fromkeys(("added", "finished", "deleted", "pauses", "resumes", "cleared", "missed"), 0)
        self.faults = []
        self.places = measure_places()
        self.nginx = SlowNginx()
        self.ftp = ftpservers.Vsftpd(rate=8000)
        for size in SIZES:
            self.ftp.put("%d.bin" % size, origin.content(size, seed=size))
        self.digests = {size: origin.content_digest(size, seed=size) for size in SIZES}
        self.ports = [self.nginx.clear, self.nginx.secure] if web else [self.nginx.clear]
        settings = {"WebEngine": 2, "ExtraCertificates": self.nginx.authority} if web else {}
        self.session = harness.Session("soak", MaxSegments=4, MaxSimulDownlads=30, **settings)
        self.session.start()
        self.main = self.session.window(MAIN)
        # Hides the windows of the transfers: fifty of them would cover the lists.
        self.session.choose("alt+o", "s")

    def close(self):
        self.session.close()
        self.ftp.close()
        self.nginx.close()

    def click(self, place):
        display = self.session.stage.x
        display.activate(self.main)
        left, top, _, _ = display.place(self.main)
        display.click(left + place[0], top + place[1])

    def add(self):
        self.number += 1
        size = self.random.choice(SIZES)
        if self.number % 10 == 0:
            name = "%d-%d.bin" % (self.number, size)
            os.link(os.path.join(self.ftp.files, "%d.bin" % size), os.path.join(self.ftp.files, name))
            url = self.ftp.url(name)
        else:
            url = self.nginx.url(self.random.choice(self.ports), "%s/%d-%d.bin" % (
                self.random.choice(list(RATES)), self.number, size))
        self.session.menu_url(url)
        self.counts["added"] += 1

    def check_finished(self, found):
        for download in found:
            size = int(download.url.rsplit("-", 1)[1].split(".")[0])
            if not os.path.exists(download.saved_path):
                continue  # already compared
            if harness.digest(download.saved_path) != self.digests[size]:
                self.faults.append("%s differs from what the server sent" % download.url)
            os.remove(download.saved_path)
            self.counts["finished"] += 1
            name = os.path.join(self.ftp.files, download.url.rsplit("/", 1)[1])
            if os.path.exists(name):
                os.remove(name)

    def clear_finished(self):
        before = sum(d.finished for d in self.session.companion.downloads())
        self.click(self.places[1])
        self.session.stage.x.keys("ctrl+a", "Delete")
        time.sleep(1)
        self.counts["cleared"] += before - sum(d.finished for d in self.session.companion.downloads())

    def delete_one(self):
        before = {d.url for d in self.session.companion.downloads() if not d.finished}
        self.click(self.places[0])
        time.sleep(0.3)
        self.session.stage.x.keys("Delete")
        time.sleep(1)
        for window, _ in self.session.dialogs():
            self.session.dismiss(window, "alt+y")
        time.sleep(0.5)
        gone = before - {d.url for d in self.session.companion.downloads()}
        self.counts["deleted" if gone else "missed"] += 1

    def step(self, turn):
        found = self.session.companion.downloads()
        done = [d for d in found if d.finished]
        self.check_finished(done)
        if len(done) >= 5:
            self.clear_finished()
        for _ in range(min(10, self.records - len(found) + len(done))):
            self.add()
        for window, _ in self.session.dialogs():
            self.session.dismiss(window, "alt+y")
            self.counts["missed"] += 1
        if turn % 12 == 5:
            self.session.choose("alt+a", "u")
            self.counts["pauses"] += 1
        if turn % 12 in (7, 10):
            self.session.resume()
            self.counts["resumes"] += 1
        if turn % 4 == 1:
            self.delete_one()

    def sample(self):
        pid = self.session.process.pid
        with open("/proc/%d/stat" % pid, encoding="ascii") as f:
            fields = f.read().rsplit(")", 1)[1].split()
        states = [d.state for d in self.session.companion.downloads()]
        return {
            "rss KiB": self.session.memory("VmRSS") // 1024,
            "private KiB": self.session.memory("RssAnon") // 1024,
            "heap KiB": support.heap_bytes(pid) // 1024,
            "descriptors": len(os.listdir("/proc/%d/fd" % pid)),
            "threads": len(os.listdir("/proc/%d/task" % pid)),
            "windows": windows_of_client(self.session.stage.x, self.main),
            "cpu s": round((int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK"), 2),
            "records": len(states),
            "active": states.count("active"),
        }


def rise(values):
    """The rise of their linear trend from the first to the last."""
    count = len(values)
    middle, mean = (count - 1) / 2, sum(values) / count
    spread = sum((at - middle) ** 2 for at in range(count))
    return sum((at - middle) * (value - mean) for at, value in enumerate(values)) / spread * (count - 1)


def verdict(samples, minutes, records):
    """Descriptions of what is not flat; empty if all is flat."""
    if len(samples) < 8:
        return ["too few samples"]
    quarter = len(samples) // 4
    second, third, last = (samples[quarter * n:quarter * (n + 1)] for n in (1, 2, 3))
    found = []
    allowed = 2048 * max(1.0, minutes * 0.75 / 60)
    grown = rise([s["private KiB"] for s in samples[quarter:]])
    if grown > allowed:
        found.append("private memory grew by %d KiB" % grown)
    for name, slack in (("descriptors", 10 * 2), ("threads", 2), ("windows", 2 * records)):
        if max(s[name] for s in last) > max(s[name] for s in second + third) + slack:
            found.append("more %s in the last quarter" % name)

    def busy(part):
        return (part[-1]["cpu s"] - part[0]["cpu s"]) / (part[-1]["second"] - part[0]["second"])
    if busy(last) > 1.5 * busy(second) + 0.005:
        found.append("processor time rose from %.3f to %.3f of a second" % (busy(second), busy(last)))
    print("private memory: %+d KiB over the last three quarters (%d allowed); processor: %.1f %% of a core in the second "
          "quarter, %.1f %% in the last" % (grown, allowed, 100 * busy(second), 100 * busy(last)))
    return found


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--minutes", type=float, default=120)
    parser.add_argument("--records", type=int, default=50)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--web", action="store_true")
    parser.add_argument("--table", help="a file that the samples are written to as well")
    parser.add_argument("--judge", metavar="FILE")
    arguments = parser.parse_args()
    if arguments.judge:
        with open(arguments.judge, encoding="ascii") as f:
            names, *rows = [line.rstrip("\n").split("\t") for line in f if "\t" in line]
        samples = [dict(zip(names, map(float, row))) for row in rows]
        found = verdict(samples, samples[-1]["second"] / 60, arguments.records)
        print("\n".join(found) or "flat so far")
        return bool(found)
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(143))
    table = open(arguments.table, "w", encoding="ascii") if arguments.table else None

    def report(line):
        print(line, flush=True)
        if table:
            print(line, file=table, flush=True)

    soak = Soak(arguments.records, arguments.seed, arguments.web)
    samples = []
    began = time.monotonic()
    every = min(60.0, arguments.minutes * 60 / 12)
    try:
        turn = 0
        while time.monotonic() - began < arguments.minutes * 60:
            step_began = time.monotonic()
            try:
                soak.step(turn)
            except Exception as fault:  # reported at the end, so that the table of the hours before is kept
                soak.faults.append("%s: %s" % (type(fault).__name__, fault))
            if not soak.session.alive():
                soak.faults.append("the program has ended: %s" % soak.session.read_log())
                break
            turn += 1
            if time.monotonic() - began >= every * (len(samples) + 1):
                sample = {"second": round(time.monotonic() - began), **soak.sample(), **soak.counts}
                if not samples:
                    report("\t".join(sample))
                samples.append(sample)
                report("\t".join(map(str, sample.values())))
            time.sleep(max(0.0, 5 - (time.monotonic() - step_began)))
        found = verdict(samples, arguments.minutes, arguments.records) + soak.faults
        if soak.session.alive():
            code = soak.session.stop()
            if code != 0:
                found.append("it ended with %d" % code)
    finally:
        soak.close()
    for line in found:
        report("NOT FLAT OR WRONG: " + line)
    report("%d passed, %d failed" % (not found, bool(found)))
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())

#!/usr/bin/env python3
"""Kills the real program at every file call on its own data, and makes each such call fail once with an error.

    syscalls.py [SWEEP]... [--jobs N] [--seconds N] [--skip NAMES]

A sweep is a phase of a small download of four segments and what happens at the call: start, first or second, with kill,
ENOSPC, EIO or EACCES ("second-kill"). strace counts the calls of each thread separately by kind (the main thread and
the joining thread write files) and injects the fault into the n-th, for every n until a run does not reach it. At a
start it traces only the main thread. Afterwards the program starts again without a fault and must end with the origin's
file, a complete list and no more files than an undisturbed run leaves.

start    from nothing to the first window: settings, entries of desktop and bus, folders, an empty list
first    an addition and the first half of every segment; then a request to quit, which saves the list
second   the list is loaded, every segment resumed at its half, joined, its parts deleted, and the list saved"""

import argparse
import collections
import concurrent.futures
import contextlib
import os
import re
import subprocess
import sys
import threading
import time

import support
import harness
import origin
from bus import NO_AUTO_START, BusError

SIZE = 100000
SEGMENTS = 4
ANSWER = 30.0  # seconds: the tracer stops the program at each of its calls
CHANGES = ("openat,creat,write,pwrite64,ftruncate,fallocate,copy_file_range,unlink,unlinkat,rename,renameat,renameat2,"
           "mkdir,mkdirat,fsync,fdatasync,fchmod,chmod,close")
# Here a failed close leaves the descriptor open, unlike a real failure.
FAILS = {
    "ENOSPC": "openat,write,pwrite64,fallocate,mkdir,rename,fsync",
    "EIO": "openat,write,pwrite64,pread64,fallocate,unlink,fsync,newfstatat",
    "EACCES": "openat,unlink,rename,mkdir,fchmod,newfstatat",
}
# At a start the names of the settings' drafts are unknown, so all calls count, except opening files (too many).
START_CHANGES = "write,pwrite64,ftruncate,fallocate,unlink,rename,mkdir,fsync,fchmod"
# Most of these writes wake threads and cannot fail like this; limits.py tests full disks.
START_FAILS = {
    "ENOSPC": "fallocate,mkdir,rename,fsync",
    "EIO": "fallocate,unlink,fsync,rename",
    "EACCES": "unlink,rename,mkdir,fchmod",
}


class Outcome:
    def __init__(self, number):
        self.number = number
        self.hit = False
        self.line = ""
        self.kind = ""
        self.faults = []


class Trial:
    """One user whose program encounters one fault."""

    def __init__(self, phase, fault, call, number, clean_tree):
        self.phase, self.fault, self.call = phase, fault, call
        self.clean_tree = clean_tree
        self.outcome = Outcome(number)
        self.origin = support.GatedOrigin()
        self.origin.serve_gated("/a.bin", SIZE)
        self.url = self.origin.url("/a.bin")
        self.session = harness.Session("call", MaxSegments=SEGMENTS)
        self.log = os.path.join(self.session.root, "calls.log")
        self.reported = False

    def run(self):
        try:
            if self.phase == "second":
                self.session.start()
                self.first_half()
                self.session.stop()
                self.origin.gate.set()
            self.arm()
            self.run_with_fault()
            self.disarm()
            if self.outcome.hit:
                self.recover()
        except Exception as failure:  # only this trial fails
            self.outcome.faults.append("%s: %s" % (type(failure).__name__, failure))
        finally:
            self.session.close()
            self.origin.close()
        return self.outcome

    def arm(self):
        paths = [self.session.list_file, self.session.downloads + "a.bin"]
        paths += [self.session.parts + "a.bin%03d.tmp" % number for number in range(1, SEGMENTS + 1)]
        where = ["-f", *(word for path in paths for word in ("-P", path))] if self.phase != "start" else []
        what = "signal=SIGKILL" if self.fault == "kill" else "error=" + self.fault
        inject = ["-e", "inject=%s:%s:when=%d" % (self.call, what, self.outcome.number)]
        # With -D strace runs as a grandchild, so that the program stays this script's child.
        self.session.prefix = ("strace", "-D", "-q", "-o", self.log, "-e", "trace=" + self.call, *where, *inject)

    def disarm(self):
        self.session.prefix = ()
        end = "+++ " if self.phase == "start" else "%d +++ " % self.session.process.pid  # of the main thread
        text = support.wait_log(self.log, end)
        if self.fault == "kill":
            self.outcome.hit = self.session.process.returncode == -9
        else:
            self.outcome.hit = "(INJECTED)" in text
        calls = [line for line in text.splitlines() if re.match(r"(\d+ +)?\w+\(", line)]
        hit = [line for line in calls if "(INJECTED)" in line] or calls[-1:]
        if hit:
            line = hit[0].replace(self.session.root + "/", "").replace(self.stage_folder(), "")
            self.outcome.line = line[:150]

    def stage_folder(self):
        return harness.Stage.get().folder + "/"

    def dead(self):
        return self.session.process.poll() is not None

    def first_half(self):
        # The bus must not start another copy in place of a killed one.
        with self.session.connect() as bus, contextlib.suppress(BusError):  # it may be killed during the call
            bus.call(*harness.PROGRAM_OBJECT, "MenuURL", self.url, "", "", flags=NO_AUTO_START)
        self.until(lambda: getattr(self.session.companion.find(self.url), "received", 0) >= SIZE // 2)

    def until(self, condition, timeout=12.0):
        """False if the program ends first, shows a message, or nothing changes any more."""
        end = time.monotonic() + timeout
        while time.monotonic() < end:
            if self.dead():
                return False
            if self.session.dialogs():
                self.reported = True
                return False
            try:
                if condition():
                    return True
            except (RuntimeError, subprocess.TimeoutExpired):
                if not self.dead():
                    time.sleep(0.3)  # it may be about to be killed
            time.sleep(0.1)
        return False

    def dismiss_all(self):
        for window, _ in self.session.dialogs():
            with support.KEYBOARD:
                self.session.dismiss(window)

    def run_with_fault(self):
        try:
            self.session.start()
        except (RuntimeError, TimeoutError):
            if not self.dead():
                raise
        went = not self.dead()
        if went and self.phase == "first":
            try:
                self.first_half()
            except (RuntimeError, subprocess.TimeoutExpired):
                pass  # the bus reports that the program is gone
        elif went and self.phase == "second":
            if self.session.companion.run("resume").returncode == 0:
                self.until(lambda: getattr(self.session.companion.find(self.url), "finished", False))
        for _ in range(3):
            if not self.dead() and self.session.dialogs():
                self.reported = True
                self.dismiss_all()
                time.sleep(0.3)
        if self.responds():
            code = self.session.stop()
            if code == -9:
                self.outcome.kind = "killed while it ended"
        else:
            code = self.session.process.returncode
            self.outcome.kind = "killed" if code == -9 else "reported, ended with %d" % code if self.reported else (
                "ended with %d" % code)
        if self.fault != "kill" and code not in (0, 1) or self.fault == "kill" and code not in (0, -9):
            self.outcome.faults.append("it ended with %d: %s" % (code, self.session.read_log()[-300:]))

    def responds(self):
        """Whether it still responds; a fault may end it at any moment."""
        if self.dead():
            return False
        try:
            if self.session.response_seconds() > ANSWER:
                self.outcome.faults.append("it does not answer")
            found = self.session.companion.find(self.url)
        except RuntimeError:
            harness.wait_until(self.dead, 5, "an answer or the end")
            return False
        self.outcome.kind = "%s, %s" % ("reported" if self.reported else "silent", found.state if found else "not listed")
        return True

    def recover(self):
        """Starts without a fault and runs until the file is finished."""
        self.origin.gate.set()
        session = self.session
        records = support.stored(session)
        if records is None:
            self.outcome.faults.append("the list is incomplete")
        session.start()
        if session.dialogs():
            self.outcome.faults.append("a message at the next start")
            self.dismiss_all()
        found = session.companion.find(self.url)
        if found is None:
            if self.phase == "second":
                self.outcome.faults.append("the record is gone")
            session.menu_url(self.url)
        elif not found.finished:
            session.resume()
        [download] = session.companion.wait_finished([self.url], 20)
        if harness.digest(download.saved_path) != origin.content_digest(SIZE):
            self.outcome.faults.append("the file differs")
        if session.dialogs():
            self.outcome.faults.append("a message at the end")
        if session.stop() != 0:
            self.outcome.faults.append("ended with %d" % session.process.returncode)
        if sorted(os.listdir(session.downloads)) != ["a.bin"]:
            self.outcome.faults.append("in the downloads: %s" % os.listdir(session.downloads))
        if os.listdir(session.parts):
            self.outcome.faults.append("parts are left: %s" % sorted(os.listdir(session.parts)))
        stray = session.tree() - self.clean_tree - {"calls.log"}
        if stray:
            self.outcome.faults.append("files are left: %s" % sorted(stray))
        records = support.stored(session)
        if not records or not records[0].finished:
            self.outcome.faults.append("the last list does not hold the finished record")


def clean_tree():
    """The files that an undisturbed run leaves."""
    trial = Trial("first", "kill", "close", 0, set())
    try:
        trial.recover()
        return trial.session.tree()
    finally:
        trial.session.close()
        trial.origin.close()


class Sweep:
    """Tries every number of each call until one is not reached, several in parallel."""

    def __init__(self, phase, fault, tree, deadline, skip):
        self.phase, self.fault, self.tree = phase, fault, tree
        self.deadline = deadline
        lists = (START_CHANGES, START_FAILS) if phase == "start" else (CHANGES, FAILS)
        self.calls = (lists[0] if fault == "kill" else lists[1][fault]).split(",")
        self.skip = skip
        self.waiting = [call for call in self.calls if "%s-%s-%s" % (phase, fault, call) not in skip]
        self.at = {call: 0 for call in self.waiting}
        self.over = set()
        self.lock = threading.Lock()
        self.outcomes = []

    def choose(self):
        """The next number of the call with the fewest tries."""
        left = [call for call in self.waiting if call not in self.over]
        if not left or time.monotonic() > self.deadline:
            return None
        call = left[0]
        self.at[call] += 1
        return call, self.at[call]

    def work(self):
        while True:
            with self.lock:
                chosen = self.choose()
            if chosen is None:
                return
            call, number = chosen
            outcome = Trial(self.phase, self.fault, call, number, self.tree).run()
            outcome.call = call
            with self.lock:
                self.outcomes.append(outcome)
                if not outcome.hit and not outcome.faults:
                    self.over.add(call)

    def run(self, jobs):
        with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
            list(pool.map(lambda _: self.work(), range(jobs)))
        return self

    def report(self):
        hits = [o for o in self.outcomes if o.hit]
        bad = [o for o in self.outcomes if o.faults]
        calls = collections.Counter(o.call for o in hits)
        kinds = collections.Counter(o.kind for o in hits)
        print("%s-%s: %d faults (%s); %s; %d wrong" % (
            self.phase, self.fault, len(hits), ", ".join("%s %d" % pair for pair in sorted(calls.items())),
            ", ".join("%s %d" % pair for pair in sorted(kinds.items())), len(bad)))
        for outcome in bad:
            print("  %s-%s-%s at %d (%s): %s" % (self.phase, self.fault, outcome.call, outcome.number, outcome.line,
                                                 "; ".join(outcome.faults)))
        rest = [call for call in self.waiting if call not in self.over]
        if rest:
            print("  not completed in time: %s" % ", ".join(rest))
        sys.stdout.flush()
        return len(hits), len(self.outcomes) - len(bad), len(bad)


def main():
    everything = [phase + "-" + fault for phase in ("start", "first", "second")
                  for fault in ("kill", "ENOSPC", "EIO", "EACCES")]
    parser = argparse.ArgumentParser()
    parser.add_argument("sweeps", nargs="*", default=everything)
    parser.add_argument("--jobs", type=int, default=5)
    parser.add_argument("--skip", default="", metavar="NAMES", help="calls to leave out: second-kill-pwrite64,...")
    parser.add_argument("--seconds", type=float, default=3600, help="start no further trial after this time")
    arguments = parser.parse_args()
    deadline = time.monotonic() + arguments.seconds
    tree = clean_tree()
    hit = passed = wrong = 0
    for name in arguments.sweeps or everything:
        phase, fault = name.split("-")
        sweep = Sweep(phase, fault, tree, deadline, arguments.skip.split(","))
        hits, good, bad = sweep.run(arguments.jobs).report()
        hit += hits
        passed += good
        wrong += bad
    print("%d faults in all" % hit)
    print("%d passed, %d failed" % (passed, wrong))
    return 1 if wrong or not hit else 0


if __name__ == "__main__":
    sys.exit(main())

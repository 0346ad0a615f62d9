#!/usr/bin/env python3
"""Cuts the power of a disk with a real file system while the real program downloads, and starts the program on what is left.

    powercuts.py [--filesystem ext4|xfs|btrfs] [--engine web|classic] [--seconds N] [--cuts N] [--seed N]      as root

The program works for some time, without windows, in folders on a loop device, whose file records every write and flush:
downloads are added, paused, resumed and removed, and what the program says of them is noted. Then, for each of many
moments, the disk is put together that a power cut at that moment might have left: all writes up to the last flush, and of
those after it each one as a whole, torn at a sector, or not at all. The system repairs its file system by mounting it; the
program starts and continues. Right is:

- every file with a download's name has the bytes of its server, at once and in the end;
- what the program had listed, received, finished or removed eight seconds before the cut is so after it;
- all else is finished after that, and no part is left that takes room.

The classic engine, which flushes nothing, does not pass.
The mounts are in a namespace that ends with the script."""

import argparse
import os
import random
import re
import shutil
import subprocess
import sys
import threading
import time

import support
import harness
import origin
import recordingdisk
import servers
import webservers

SIZES = (30_000, 250_000, 900_000, 2_000_000)
RATE = 60  # KiB/s of each connection, until the cut: the recorded disk takes some 8 MB/s
SECTOR = 512
SETTLED = 8.0  # seconds after which what the program said of a download must survive: the list is saved every five
MKFS = {"ext4": ["mkfs.ext4", "-q", "-E", "nodiscard"], "xfs": ["mkfs.xfs", "-q", "-K"], "btrfs": ["mkfs.btrfs", "-q", "-K"]}


def call(*words):
    subprocess.run(words, check=True, stdin=subprocess.DEVNULL)


class Disk:
    """A file system on a loop device that is recorded; later one of those that power cuts have left, at the same place."""

    def __init__(self, folder, filesystem):
        self.image, self.left, self.record = (os.path.join(folder, name) for name in ("image", "left", "record"))
        self.place = os.path.join(folder, "disk")
        self.recorder = os.path.join(folder, "recorder")
        os.mkdir(self.place)
        os.mkdir(self.recorder)
        with open(self.image, "wb") as f:
            f.truncate(320 << 20)
        call(*MKFS[filesystem], self.image)

    def start_recording(self):
        shutil.copyfile(self.image, self.image + ".before")
        self.server = subprocess.Popen(["/usr/bin/python3", recordingdisk.__file__, self.image, self.recorder, self.record],
                                       stdin=subprocess.DEVNULL)
        recorded = os.path.join(self.recorder, "disk")
        harness.wait_until(lambda: os.path.exists(recorded), 10, "the recording disk")
        self.mount(recorded)

    def stop_recording(self):
        self.unmount()
        call("umount", self.recorder)
        self.server.wait(20)
        os.rename(self.image + ".before", self.image)

    def mount(self, image):
        call("mount", "-o", "loop", image, self.place)

    def unmount(self):
        call("umount", self.place)

    def moment(self):
        return os.path.getsize(self.record)

    def cut(self, moments, chance):
        """For each of these ascending moments: its time, once what a cut has left is mounted."""
        moments = list(moments)
        waiting = []
        with open(self.image, "r+b") as durable:
            for end, seconds, offset, data in recordingdisk.entries(self.record):
                if data:
                    waiting.append((offset, data))
                else:
                    for at, written in waiting:
                        os.pwrite(durable.fileno(), written, at)
                    waiting = []
                while moments and end >= moments[0]:
                    del moments[0]
                    self.mount_left(waiting, chance)
                    yield seconds
                    self.unmount()

    def mount_left(self, waiting, chance):
        call("cp", "--sparse=always", self.image, self.left)
        with open(self.left, "r+b") as f:
            for offset, data in waiting:
                fate = chance.random()
                kept = len(data) if fate < 0.5 else chance.randrange(0, len(data) + 1, SECTOR) if fate < 0.6 else 0
                os.pwrite(f.fileno(), data[:kept], offset)
        self.mount(self.left)


class Nginx(servers.Nginx):
    """Each size as a file, by http and https, under any name that ends in it; slow until `hurry`."""

    def __init__(self):
        trust = webservers.Authority()
        self.authority = trust.file
        names = r"rewrite -(\d+)\.bin$ /$1 break; limit_rate %dk;" % RATE
        self.rules = {"clear": names, "secure": trust.lines() + names}
        super().__init__()
        for size in SIZES:
            self.put(str(size), origin.content(size, seed=size))

    def url(self, port, name):
        return "%s://%s:%d/%s" % ("https" if port == self.secure else "http", self.address, port, name)

    def hurry(self):
        self.close()
        path = os.path.join(self.folder, "nginx.conf")
        with open(path, encoding="ascii") as f:
            text = f.read()
        with open(path, "w", encoding="ascii") as f:
            f.write(text.replace("limit_rate %dk;" % RATE, ""))
        self.start()


class Session(harness.Session):
    """Its program, list, parts and files are on the disk."""

    arguments = ("--headless",)

    def __init__(self, disk, **settings):
        super().__init__("powercuts", **settings)
        for name in ("program", "downloads", "parts"):
            shutil.move(os.path.join(self.root, name), os.path.join(disk.place, name))
            os.symlink(os.path.join(disk.place, name), os.path.join(self.root, name))


def length_of(name):
    """The second part file of a download, whose first one no line named, makes it "NAME (2).bin"."""
    return int(re.search(r"-(\d+)(?: \(\d+\))?\.bin$", name)[1])


class Work:
    """What is done until the cut, and what the program said of it."""

    def __init__(self, session, nginx, seed):
        self.session, self.nginx = session, nginx
        self.random = random.Random(seed)
        self.number = 0
        self.seen = []  # (time, {URL: download}), ascending
        self.removed = {}  # URL: time
        self.over = threading.Event()

    def observe(self):
        while not self.over.wait(0.2):
            asked = time.time()
            self.seen.append((asked, {d.url: d for d in self.session.companion.downloads()}))

    def do(self, seconds):
        self.began = time.time()
        observer = threading.Thread(target=self.observe)
        observer.start()
        end = time.monotonic() + seconds
        while time.monotonic() < end:
            self.step()
            time.sleep(self.random.random())
        self.over.set()
        observer.join()

    def step(self):
        companion = self.session.companion
        unfinished = [d.url for d in companion.downloads() if not d.finished]
        act = self.random.choice(("add", "add", "add", "remove", "pause", "resume"))
        if act == "add" and len(unfinished) < 8:
            self.number += 1
            port = self.random.choice((self.nginx.clear, self.nginx.secure))
            companion.add(self.nginx.url(port, "%d-%d.bin" % (self.number, self.random.choice(SIZES))))
        elif act == "resume":
            companion.run("resume")
        elif act != "add" and unfinished:
            url = self.random.choice(unfinished)
            if companion.run(act, url).returncode == 0 and act == "remove":
                self.removed[url] = time.time()

    def settled(self, moment):
        """The downloads that the program listed so long before this moment that a power cut must not undo it."""
        before = [listed for asked, listed in self.seen if asked < moment - SETTLED]
        return before[-1] if before else {}


class Examination:
    def __init__(self, work, session):
        self.work, self.session = work, session
        self.digests = {size: origin.content_digest(size, seed=size) for size in SIZES}
        self.counts = dict.fromkeys(("files whole at once", "unfinished at once", "finished", "unfinished", "removed"), 0)

    def files(self):
        """What is wrong with files that have names of downloads, and all others' names."""
        wrong, others, names = [], [], os.listdir(self.session.downloads)
        for name in names:
            if not name.endswith(".bin"):
                others.append(name)
                continue
            path = os.path.join(self.session.downloads, name)
            if harness.digest(path) != self.digests[length_of(name)]:
                wrong.append("%s, %d bytes, is not what the server has" % (name, os.path.getsize(path)))
        self.counts["files whole at once"] += len(names) - len(others) - len(wrong)
        return wrong, others

    def examine(self, moment):
        """What is wrong with what a cut at this moment has left, and with what the program makes of it."""
        wrong, _ = self.files()
        self.session.start()
        companion = self.session.companion
        listed = {d.url: d for d in companion.downloads()}
        undone = (self.undone(was, listed, moment) for was in self.work.settled(moment).values())
        wrong += filter(None, undone)
        self.counts["unfinished at once"] += sum(not d.finished for d in listed.values())
        companion.run("resume")
        try:
            companion.wait_finished(list(listed), 60)
        except TimeoutError as late:
            wrong.append(str(late))
        if self.session.stop() != 0:
            wrong.append("the program ended with %d" % self.session.process.returncode)
        still, others = self.files()
        for name in others:
            status = os.stat(os.path.join(self.session.downloads, name))
            if status.st_size or status.st_blocks:
                still.append("%s is left, %d bytes, %d blocks" % (name, status.st_size, status.st_blocks))
        return wrong + still

    def undone(self, was, listed, moment):
        """What the cut has undone of a download that was listed like this long before."""
        removed = self.work.removed.get(was.url)
        now = listed.get(was.url)
        if removed and removed < moment:
            self.counts["removed"] += 1
            return now and removed < moment - SETTLED and "%s was removed and is %s" % (was.url, now.state)
        self.counts["finished" if was.finished else "unfinished"] += 1
        if now is None:
            return "%s was %s and is not listed" % (was.url, was.state)
        if not now.finished and (was.finished or now.received < was.received):
            return "%s was %s with %d bytes and is %s with %d" % (was.url, was.state, was.received, now.state, now.received)
        return None


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--filesystem", choices=MKFS, default="ext4")
    parser.add_argument("--engine", choices=("web", "classic"), default="web", help="of http; https has the web engine")
    parser.add_argument("--seconds", type=float, default=60)
    parser.add_argument("--cuts", type=int, default=100)
    parser.add_argument("--seed", type=int, default=1)
    arguments = parser.parse_args()
    support.own_mounts(sys.argv)
    disk = Disk(harness.Stage.get().new_folder("power"), arguments.filesystem)
    nginx = Nginx()
    disk.start_recording()
    session = Session(disk, WebEngine=2 if arguments.engine == "web" else 1, MaxSegments=4, ExtraCertificates=nginx.authority)
    session.start()
    call("sync", "-f", disk.place)
    work = Work(session, nginx, arguments.seed)
    began = disk.moment()
    work.do(arguments.seconds)
    session.kill()
    ended = disk.moment()
    disk.stop_recording()
    nginx.hurry()
    chance = random.Random(arguments.seed)
    examination = Examination(work, session)
    cuts = failed = 0
    moments = sorted(chance.randrange(began, ended) for _ in range(arguments.cuts))
    for moment in disk.cut(moments, chance):
        cuts += 1
        wrong = examination.examine(moment)
        failed += bool(wrong)
        for line in wrong:
            print("cut %d, after %.1f s: %s" % (cuts, moment - work.began, line), flush=True)
    print("%d files of %d bytes recorded; %s" % (work.number, ended, examination.counts))
    session.close()
    nginx.close()
    print("%d passed, %d failed" % (cuts - failed, failed))
    return 0 if cuts and not failed else 1


if __name__ == "__main__":
    sys.exit(main())

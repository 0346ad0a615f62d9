"""The cases of `bench/compare --archive`: files out of remote archives, by TLS.

The archives are made each time, in the memory file system if there is one, and served by nginx. The line of limited
speed is a relay that all connections share, and it counts what it carries, TLS and all. The programs write to TMPDIR.
"""

import os
import random
import shutil
import statistics
import subprocess
import tempfile
import time
import zipfile

import harness
import webservers
from calls import Calls
from lines import Line

MIB = 1 << 20
LINE = 20 * MIB  # bytes a second
CLOCK_TICK = os.sysconf("SC_CLK_TCK")
MOMENT = (2024, 2, 29, 12, 34, 56)
POOL = random.Random(16).randbytes(4 * MIB)  # what is in the archives cannot be packed
VIEWER = "OnLine-Zip Viewer & Extractor"


class Server(webservers.TlsNginx):
    def __init__(self):
        super().__init__()
        memory = "/dev/shm"
        self.archives = tempfile.mkdtemp(prefix="pellora-bench.", dir=memory if os.path.isdir(memory) else None)
        os.chmod(self.archives, 0o755)
        os.symlink(self.archives, os.path.join(self.files, "archives"))

    def path(self, name):
        return os.path.join(self.archives, name)

    def url(self, port, name):
        return super().url(port, "archives/" + name)

    def close(self):
        super().close()
        shutil.rmtree(self.archives)


def content(number, size):
    start = number * 7919 % (len(POOL) // 2)
    return POOL[start:start + size]


def put(archive, name, method, data, level=0):
    info = zipfile.ZipInfo(name, MOMENT)
    info.external_attr = 0o100644 << 16
    info.compress_type = method
    archive.writestr(info, data, compresslevel=level)


def directory_bytes(path):
    """From the first byte of the directory to the end of the file."""
    with zipfile.ZipFile(path) as archive:
        return os.path.getsize(path) - archive.start_dir


def make_large(path, size, chosen=()):
    """An archive of `size` bytes; its entries have a mean of 4 GiB / 10,000. Every second one is packed by deflate. The
    chosen ones, named wanted-N.bin, have 1 MiB each. Returns the packed bytes of these."""
    dice = random.Random(4)
    mean = (4 << 30) // 10000
    count = size // mean
    packed = 0
    with zipfile.ZipFile(path, "w") as archive:
        for number in range(count):
            method = zipfile.ZIP_DEFLATED if number % 2 else zipfile.ZIP_STORED
            if number in chosen:
                name = "folder-%02d/wanted-%d.bin" % (number % 97, number)
                put(archive, name, method, random.Random(number).randbytes(MIB), 6)
                packed += archive.getinfo(name).compress_size
            else:
                put(archive, "folder-%02d/part-%05d.bin" % (number % 97, number), method,
                    content(number, dice.randrange(1024, 2 * mean)))
    return packed


def make_small(path, count, size, name="folder-%03d/with-a-name-of-the-usual-length/file-%06d.txt", packed=True):
    """Entries of `size` bytes, every second one packed by deflate if `packed`. Of those with the usual name 103 bytes each
    are in the directory."""
    with zipfile.ZipFile(path, "w") as archive:
        for number in range(count):
            method = zipfile.ZIP_DEFLATED if packed and number % 2 else zipfile.ZIP_STORED
            put(archive, name % (number % 500, number), method, content(number, size))


def files_below(folder):
    return sum(len([name for name in names if not name.endswith(".part")]) for _, _, names in os.walk(folder))


class Program:
    """Pellora, as it runs for its user; figures count from here on."""

    def __init__(self, server, **settings):
        self.session = harness.Session("bench", **{"MaxSegments": 4, "ExtraCertificates": server.authority, **settings})
        self.session.start()
        time.sleep(2)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.session.close()

    def cpu(self):
        """Seconds, with those of the processes that it waited for."""
        with open("/proc/%d/stat" % self.session.process.pid, encoding="ascii") as f:
            words = f.read().rpartition(")")[2].split()
        return sum(int(word) for word in words[11:15]) / CLOCK_TICK

    def begin(self):
        with open("/proc/%d/clear_refs" % self.session.process.pid, "w", encoding="ascii") as f:
            f.write("5")  # the peak counts from here on
        self.resident, self.spent, self.began = self.session.memory("VmRSS"), self.cpu(), time.monotonic()

    def figures(self):
        """(wall seconds, CPU seconds, growth of memory in bytes at its peak)"""
        wall = time.monotonic() - self.began
        return wall, self.cpu() - self.spent, self.session.memory() - self.resident

    def control(self, *arguments):
        done = self.session.companion.run(*arguments, timeout=900)
        if done.returncode != 0:
            raise RuntimeError("pelloractl %s: %s" % (arguments[:2], done.stderr.decode().strip()))
        return done.stdout

    def get(self, url, files, *patterns):
        """Figures until the files have their names and the download is listed as finished."""
        folder = tempfile.mkdtemp(prefix="got.", dir=self.session.root)
        self.begin()
        identity = self.control("zip", "get", "--to", folder, url, *patterns).decode().split()[0]
        self.control("wait", "--timeout", "800", identity)
        found = self.figures()
        there = files_below(folder)
        if there != files:
            raise RuntimeError("%d files instead of %d" % (there, files))
        return found, folder


def run(command, folder):
    """(wall seconds, CPU seconds) of a shell command."""
    before, began = os.times(), time.monotonic()
    subprocess.run(command, shell=True, cwd=folder, check=True, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL)
    after = os.times()
    spent = after.children_user + after.children_system - before.children_user - before.children_system
    return time.monotonic() - began, spent


def medians(rows):
    return [statistics.median(column) for column in zip(*rows)]


class Table:
    def __init__(self):
        self.lines, self.missed = [], 0

    def say(self, text):
        print(text, flush=True)
        self.lines.append(text)

    def row(self, who, wall, cpu=None, memory=None):
        self.say("  %-34s %8.2f s %10s %12s" % (
            who, wall, "" if cpu is None else "%.2f s" % cpu, "" if memory is None else "%.1f MiB" % (memory / MIB)))

    def target(self, what, value, most, unit=""):
        met = value <= most
        self.missed += not met
        self.say("    target: %-44s %9.2f, at most %.2f%s: %s" % (what, value, most, unit, "met" if met else "MISSED"))


def whole(server, name, line, folder):
    """aria2c of the whole and unzip, for users who cannot choose."""
    made = tempfile.mkdtemp(prefix="whole.", dir=folder)
    fetched = run("aria2c -q --ca-certificate=%s -x 4 -s 4 -k 1M --file-allocation=none --no-conf -d . '%s'" % (
        server.authority, server.url(line.port, name)), made)
    unpacked = run("unzip -q %s && rm %s" % (name, name), made)
    shutil.rmtree(made)
    return fetched[0] + unpacked[0], fetched[1] + unpacked[1]


def few(server, table, runs, entire):
    """3 files of 10,000."""
    chosen = (17, 5001, 9990)
    packed = make_large(server.path("large.zip"), 4 << 30, chosen)
    around = directory_bytes(server.path("large.zip"))
    table.say("3 of 10,000 files (1 MiB each) of 4 GiB, line of 20 MiB/s")
    rows, wire = [], []
    with Program(server) as program:
        for _ in range(runs):
            line = Line(server.plain, LINE)  # its port makes another address
            found, folder = program.get(server.url(line.port, "large.zip"), 3, "*/wanted-*")
            for number in chosen:
                path = os.path.join(folder, "folder-%02d/wanted-%d.bin" % (number % 97, number))
                with open(path, "rb") as f:
                    if f.read() != random.Random(number).randbytes(MIB):
                        raise RuntimeError("%s is wrong" % path)
            wire.append(line.carried)
            rows.append(found)
            line.close()
        table.row("Pellora", *medians(rows))
        name, scale = ("large.zip", 1) if entire else ("eighth.zip", 8)
        if not entire:
            make_large(server.path(name), 512 * MIB)
        line = Line(server.plain, LINE)
        wall, cpu = whole(server, name, line, program.session.root)
        line.close()
        table.row("aria2c of the whole and unzip" + ("" if entire else ", 8 x 1/8"), wall * scale, cpu * scale)
    limit = 1.02 * packed + around + (256 << 10)
    table.say("    on the wire: %.3f MiB; packed %.3f, directory %.3f" % (
        statistics.median(wire) / MIB, packed / MIB, around / MIB))
    table.target("bytes on the wire, with TLS", statistics.median(wire) / MIB, limit / MIB, " MiB")
    table.target("wall time", medians(rows)[0], 2, " s")
    os.remove(server.path("large.zip"))


def listing(server, table, runs, _):
    """100,000 entries by pelloractl."""
    if not os.path.exists(server.path("list.zip")):
        make_small(server.path("list.zip"), 100000, 1)
    table.say("list of 100,000 entries by pelloractl")
    rows = []
    for _ in range(runs):
        with Program(server) as program:
            program.begin()
            lines = program.control("zip", "list", server.url(server.plain, "list.zip")).count(b"\n")
            rows.append(program.figures())
            if lines != 100000:
                raise RuntimeError("%d lines" % lines)
    table.row("Pellora", *medians(rows))
    table.target("wall time", medians(rows)[0], 1, " s")
    table.target("memory above idle", medians(rows)[2] / MIB, 64, " MiB")


class Viewer:
    """The window that shows an archive. Places are those of its form at its first size."""

    ROWS, FOOT = (40, 150, 180, 280), (15, 450, 200, 20)  # beside the main window
    STILL = 0.6  # seconds without a change of what is seen

    def __init__(self, session):
        self.session, self.x = session, session.stage.x
        self.found = {}  # what was done: (seconds until it was seen, longest time without an answer)

    def open(self):
        """From the entry in the popup of a waiting download."""
        left, top, _, _ = self.x.place(self.session.window(harness.MAIN, False))
        harness.act_until(self.x.menus, lambda: self.x.click(left + 60, top + 137, 3), "the menu")
        calls, began = Calls(self.session), time.monotonic()
        self.x.keys("i")
        while not self.session.titled(VIEWER):
            time.sleep(0.005)
        window = self.session.window(VIEWER)
        self.place = self.x.place(window)
        while self.is_plain(self.FOOT) or self.is_plain(self.ROWS):
            self.place = self.x.place(window)
            time.sleep(0.005)
        self.found["rows shown after Look Inside"] = time.monotonic() - began, self.settle(calls)
        self.x.activate(window)

    def is_plain(self, area):
        seen = self.look(area)
        return seen == seen[:4] * (len(seen) // 4)

    def look(self, area):
        left, top, width, height = area
        return self.x.image(self.place[0] + left, self.place[1] + top, width, height)

    def seen(self):
        return self.look(self.ROWS) + self.look(self.FOOT)

    def settle(self, calls):
        time.sleep(self.STILL)
        calls.close()
        return calls.longest

    def act(self, what, act, each=0.0):
        """Until the last change of what is seen; `each` so many seconds after the act."""
        before = last = self.seen()
        calls, began = Calls(self.session), time.monotonic()
        act()
        changed = None
        while time.monotonic() - (changed or began + 5) < self.STILL:
            now = self.seen()
            if now != last:
                changed, last = time.monotonic(), now
            time.sleep(0.005)
        calls.close()
        if changed is None or last == before:
            raise RuntimeError("nothing is seen of: " + what)
        self.found[what] = changed - began - each, calls.longest

    def type(self, text):
        for letter in text:
            self.x.keys(letter)
            time.sleep(0.1)

    def click(self, x, y):
        self.x.click(self.place[0] + x, self.place[1] + y)

    def select_all(self):
        self.click(60, 176)
        self.x.keys("ctrl+a")


def window(server, table, runs, _):
    """100,000 rows in the real window."""
    if not os.path.exists(server.path("list.zip")):
        make_small(server.path("list.zip"), 100000, 1)
    table.say("100,000 files in the window: seconds until it is seen, longest without an answer")
    rows, memory = [], []
    for _ in range(runs):
        with Program(server) as program:
            program.control("add", "--later", server.url(server.plain, "list.zip"))
            time.sleep(0.5)
            program.begin()
            viewer = Viewer(program.session)
            viewer.open()
            viewer.click(380, 108)
            viewer.act("filter typed, 8 letters", lambda: viewer.type("*123.txt"), 0.8)
            viewer.act("filter deleted", lambda: viewer.x.keys("ctrl+a", "BackSpace"))
            viewer.act("sorted by a figure", lambda: viewer.click(220, 138))
            viewer.act("sorted by the path", lambda: viewer.click(530, 138))
            viewer.act("all selected", viewer.select_all)
            viewer.act("by folder", lambda: viewer.click(184, 75))
            program.session.save_screenshot("archive-window")
            memory.append(program.figures()[2])
            rows.append(viewer.found)
    longest = 0
    for what in rows[0]:
        seen, silent = medians([row[what] for row in rows])
        longest = max(longest, silent)
        table.say("  %-34s %8.2f s %8.2f s" % (what, seen, silent))
    table.target("rows shown", statistics.median(row["rows shown after Look Inside"][0] for row in rows), 1, " s")
    table.target("memory above idle, for all of it", statistics.median(memory) / MIB, 64, " MiB")
    table.say("    longest without an answer: %.2f s" % longest)


def many(server, table, runs, _):
    """10,000 small files."""
    make_small(server.path("many.zip"), 10000, 4096)
    table.say("10,000 files of 4 KiB, all of them, without a limit")
    rows, others = [], []
    with Program(server) as program:
        for _ in range(runs):
            os.sync()
            line = Line(server.plain)
            found, folder = program.get(server.url(line.port, "many.zip"), 10000, "*")
            rows.append(found)
            shutil.rmtree(folder)
            os.sync()
            others.append(whole(server, "many.zip", line, program.session.root))
            line.close()
    table.row("Pellora", *medians(rows))
    table.row("aria2c of the whole and unzip", *medians(others))


def scattered(server, table, _, __):
    """Every second one of 100,000 entries, without a process for each."""
    make_small(server.path("scattered.zip"), 100000, 4096, "folder-%03d/file-%06d.bin", False)
    with zipfile.ZipFile(server.path("scattered.zip")) as archive:
        packed = sum(info.compress_size for info in archive.infolist()[1::2])
    table.say("50,000 stored files of 4 KiB of 100,000, every second one, without a limit")
    with Program(server, MaxSegments=8) as program:
        line = Line(server.plain)
        odd = ["*%d.bin" % digit for digit in (1, 3, 5, 7, 9)]
        found, _ = program.get(server.url(line.port, "scattered.zip"), 50000, *odd)
        table.row("Pellora", *found)
        table.say("    on the wire: %.1f MiB; packed %.1f" % (line.carried / MIB, packed / MIB))
        line.close()


CASES = {"few": few, "list": listing, "window": window, "many": many, "scattered": scattered}
MOST_RUNS = {"list": 3, "window": 3, "many": 2, "scattered": 1}


def main(cases, runs, entire):
    """The table, whose `missed` counts targets."""
    table = Table()
    table.say("%-36s %10s %10s %12s   (medians of up to %d; load %.1f)" % (
        "", "wall", "CPU", "memory", runs, os.getloadavg()[0]))
    server = Server()
    try:
        for name in cases:
            CASES[name](server, table, min(runs, MOST_RUNS.get(name, runs)), entire)
    finally:
        server.close()
    return table

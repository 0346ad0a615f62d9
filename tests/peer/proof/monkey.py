#!/usr/bin/env python3
"""A monkey at the mouse and keyboard of the real program: random keys, clicks, drags, sizes, clipboards, commands,
servers that fail, restarts and kills, by plans made from seeds.

    monkey.py [--seed N] [--rounds N] [--steps N] [--pictures FOLDER]       as root

After each step the program must run and answer, with no report of a sanitizer in its log and no window without a
title. In the end all windows must close, the program quit, the next start show the same list, what honest servers have
arrive as it is there, and no part of it have been fetched again and again. A round fails, too, where the monkey has chosen
a place to save to that does not exist. PELLORA_PROGRAM names the program's folder; build/asan-desktop/Pellora (cmake
--preset asan-desktop) finds most. A seed repeats the steps, but not always what they meet.

The monkey also uses file dialogs, which can delete: in its own namespace all but a new /tmp is read-only."""

import argparse
import collections
import os
import random
import re
import signal
import subprocess
import sys
import time
import traceback

import support
import bus
import hands
import harness
import origin
import playground
import screen
from harness import MAIN

CLIPS = (b"", b"http://127.0.0.1/" + b"x" * 3000000, b"\xff\xfe\0\0http://a/b", b"http://127.0.0.1:1/a.bin\n" * 30)
LANGUAGES = ("english", "german", "french", "spanish")
REPORTS = ("ERROR: AddressSanitizer", "runtime error:", "terminate called")
PROMPT = 20.0  # seconds; Qt waits 15 to paste from a program that does not answer
MEMORY = 2 << 30  # bytes, with what the sanitizers need
WINDOWS = 60
REPEATED = 30  # answers of the same length to requests for the same file; there are up to eight connections


class Monkey(hands.Hands):
    def __init__(self, seed, servers):
        self.random, self.servers = random.Random(seed), servers
        self.done = collections.deque(maxlen=40)  # the last steps
        self.helpers, self.owner, self.screen, self.compared, self.slowest, self.most = [], None, None, set(), 0.0, 0
        pick = self.random.choice
        flags = ("CheckClipboard", "AutoPreviewZIP", "HideTransferWindows", "ShowGraph", "SeekChecksums", "SaveAs")
        self.session = harness.Session(
            "monkey", Language=pick(LANGUAGES), WebEngine=pick((1, 2)), MaxSimulDownlads=pick((1, 3, 9)),
            MaxSegments=pick((1, 4, 8)), ExtraCertificates=servers.authority,
            **{flag: pick(("True", "False")) for flag in flags})
        self.session.env.update(ASAN_OPTIONS="detect_leaks=0:quarantine_size_mb=64",
                                PATH=servers.commands + ":" + self.session.env["PATH"])
        self.x = self.session.stage.x
        if pick((True, True, False)):
            self.screen = screen.Screen(self.session)
        self.tray = self.start("trayer", "--edge", "bottom", "--align", "right", "--width", "160", "--widthtype", "pixel")
        self.session.start()
        self.link = self.session.connect()
        self.requests = len(servers.log())

    def close(self):
        self.link.close()
        self.end_helpers()
        for process in filter(None, (self.owner, self.tray)):
            harness.end_process(process)
        if self.screen:
            self.screen.close()
        self.session.close()

    def start(self, *words, **options):
        return subprocess.Popen(words, env=self.session.env, stdout=self.session.log, stderr=self.session.log,
                                **{"stdin": subprocess.DEVNULL, **options})

    def end_helpers(self):
        for process in self.helpers:
            harness.end_process(process, 1)
        self.helpers = []

    # What it does.

    def copy(self):
        if self.owner:
            self.owner.send_signal(signal.SIGCONT)
            harness.end_process(self.owner)
        self.owner = self.start("xclip", "-selection", "clipboard", "-quiet", stdin=subprocess.PIPE)
        self.owner.stdin.write(self.random.choice((self.servers.any(self.random).encode(), *CLIPS)))
        self.owner.stdin.close()
        if self.random.random() < 0.1:
            self.owner.send_signal(signal.SIGSTOP)  # an owner that does not answer

    def control(self):
        url, pick = self.servers.any(self.random), self.random.choice
        known = pick(sorted(self.ids()) or [url])
        words = pick((
            ("add", url), ("add", self.servers.honest(self.random)), ("add", "--later", url),
            ("add", "--limit", "20", "--on-duplicate", "yes", url), ("pause", "--all"), ("resume",),
            ("pause", known), ("resume", known), ("remove", known), ("open",), ("open", known),
            ("limit", pick(("off", "1", "100"))), ("limit", known, pick(("off", "5"))), ("zip", "list", url),
            ("zip", "get", "--to", self.session.downloads, self.servers.archive, "*1.txt")))
        self.done.append(" ".join(words)[:100])
        self.helpers = [process for process in self.helpers if process.poll() is None]
        if len(self.helpers) < 6:
            self.helpers.append(self.start(self.session.companion.path, *words))

    def browser(self):
        url = self.random.choice((self.servers.any, self.servers.honest))(self.random)
        self.link.send(*harness.PROGRAM_OBJECT, "MenuURL", url, "", "", flags=bus.NO_AUTO_START)

    def restart_server(self):
        harness.end_process(self.servers.process)
        time.sleep(self.random.choice((0, 1, 3)))
        self.servers.start()

    def start_second_copy(self):
        self.helpers.append(self.start(os.path.join(self.session.program, "Pellora")))

    def kill(self):
        before = self.ids()
        time.sleep(7)  # the list is saved every five seconds
        before &= self.ids()
        self.end_helpers()
        self.session.kill()
        self.start_again()
        if before - self.ids():
            raise hands.Fault("after a kill the list lacks %s" % sorted(before - self.ids()))

    def quit(self):
        self.end_helpers()
        self.session.companion.run("quit")
        if self.session.process.wait(PROMPT * 2) != 0:
            raise hands.Fault("it ended with %d" % self.session.process.returncode)
        self.start_again()

    def start_again(self):
        """With another engine and language."""
        self.end_helpers()
        if self.session.name_taken():  # one of them has started it
            self.session.companion.run("quit")
            harness.wait_until(lambda: not self.session.name_taken(), PROMPT, "the end")
        with open(self.session.settings_file, encoding="utf-8", errors="surrogateescape") as f:
            text = f.read()
        for key, value in (("WebEngine", self.random.choice("12")), ("Language", self.random.choice(LANGUAGES))):
            text = re.sub("(?m)^%s=.*$" % key, "%s=%s" % (key, value), text)
        with open(self.session.settings_file, "w", encoding="utf-8", errors="surrogateescape") as f:
            f.write(text)
        self.session.start()

    # What it judges.

    def rows(self):
        """(id, index, name, address, state, received, size, percent, saved path, more) of each download."""
        began = time.monotonic()
        try:
            found = self.link.call(harness.BUS_NAME, "/PelloraProject/Pellora", "PelloraProject.Downloads", "Details",
                                   flags=bus.NO_AUTO_START)[0]
        except bus.BusError:
            self.session.process.wait(PROMPT)  # it was ending
            return []
        self.slowest = max(self.slowest, time.monotonic() - began)
        if self.slowest > PROMPT:
            raise hands.Fault("it took %.0f s to answer" % self.slowest)
        return found

    def ids(self):
        return {row[0] for row in self.rows()}

    def judge(self):
        if any(report in self.session.read_log() for report in REPORTS):
            raise hands.Fault("a report in the log")
        if self.session.process.poll() is not None:
            if self.session.process.returncode != 0:
                raise hands.Fault("it ended with %d" % self.session.process.returncode)
            self.start_again()
        for row in self.rows():
            size = playground.HONEST.search(row[3])
            if row[4] == "finished" and size and row[0] not in self.compared and os.path.isfile(row[8]):
                self.compared.add(row[0])
                if harness.digest(row[8]) != origin.content_digest(int(size[1]), seed=int(size[1])):
                    raise hands.Fault("%s differs from %s" % (row[8], row[3]))
        windows = self.session.own_windows()
        if not all(title for _, title, _ in windows) and not all(title for _, title, _ in self.session.own_windows()):
            raise hands.Fault("a window without a title")
        if self.session.alive():
            self.most = max(self.most, self.session.memory("VmRSS"))
        if len(windows) > WINDOWS or self.most > MEMORY:
            raise hands.Fault("%d windows, %d MiB" % (len(windows), self.most >> 20))

    def close_windows(self):
        """All but the main one, like a patient user. Whether they are closed."""
        self.judge()
        if self.x.menus():
            self.x.keys("Escape")
        left = [window for window, title, is_dialog in self.session.own_windows() if is_dialog or title != MAIN]
        for window in left:
            self.x.ask_manager(window, "_NET_CLOSE_WINDOW", 0, 2)
        for window, _ in self.session.dialogs()[-1:]:  # a question may need an answer
            self.x.ask_manager(window, "_NET_ACTIVE_WINDOW", 2, 0, 0)
            self.x.keys(self.random.choice(("Escape", "Return")))
        time.sleep(0.5)
        return not left

    def judge_requests(self):
        answers = collections.Counter(tuple(line.split()[6:10:3]) for line in self.servers.log()[self.requests:])
        for (path, length), times in answers.most_common(1):
            if times > REPEATED:
                raise hands.Fault("%d answers of %s bytes to requests for %s" % (times, length, path))

    def finish(self):
        self.x.button(1, False)
        self.end_helpers()
        if self.owner:
            self.owner.send_signal(signal.SIGCONT)
        harness.wait_until(self.close_windows, 30, "all windows to close", slowness=1)
        before = self.ids()
        self.quit()
        if before != self.ids():
            raise hands.Fault("the next start shows another list: %s" % (before ^ self.ids()))
        control = self.session.companion.run
        control("limit", "off")
        for row in self.rows():
            control(*(("limit", row[0], "off") if playground.HONEST.search(row[3]) else ("remove", row[0])))
        control("resume")
        harness.wait_until(lambda: all(row[4] == "finished" for row in self.rows() if playground.HONEST.search(row[3])),
                           60, "what honest servers have", slowness=1)
        self.judge_requests()
        self.judge()

    def run(self, steps):
        """Why it has failed, or nothing."""
        usual = (self.keys, self.keys, self.text, self.click, self.click, self.element, self.element, self.element,
                 self.icon, self.drag, self.shape, self.shut, self.copy, self.control, self.control, self.browser,
                 self.options)
        rare = (self.restart_server, self.start_second_copy, self.kill, self.quit)
        try:
            for number in range(steps):
                act = self.random.choice(rare if self.random.random() < 0.03 else usual)
                self.done.append("%d %s" % (number, act.__name__))
                act()
                time.sleep(self.random.choice((0, 0.05, 0.3)))
                self.judge()
            self.finish()
        except Exception:  # reported with the seed
            return "%s\nwindows: %s\nrows: %s\nlast steps: %s\nlog: %s" % (
                traceback.format_exc(), self.session.own_windows(), self.session.alive() and self.rows(),
                "; ".join(self.done), self.session.read_log()[-9000:])
        return ""


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--seed", type=int, default=1, help="the first one")
    parser.add_argument("--rounds", type=int, default=10)
    parser.add_argument("--steps", type=int, default=150)
    parser.add_argument("--pictures", metavar="FOLDER",
                        help="not below /tmp; gets a picture of the display for each seed that fails")
    arguments = parser.parse_args()
    if os.path.abspath(arguments.pictures or "/").startswith("/tmp/"):
        parser.error("the monkey has a new /tmp")
    support.own_mounts(sys.argv)
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(143))
    servers = playground.prepare(arguments.pictures)
    failed = files = 0
    try:
        for seed in range(arguments.seed, arguments.seed + arguments.rounds):
            monkey = Monkey(seed, servers)
            try:
                fault = monkey.run(arguments.steps)
                if fault and arguments.pictures:
                    monkey.x.screenshot(os.path.join(arguments.pictures, "monkey-%d.png" % seed))
            finally:
                monkey.close()
            failed += bool(fault)
            files += len(monkey.compared)
            print("seed %d %s: %d files compared, at most %.1f s without an answer and %d MiB%s" % (
                seed, "failed" if fault else "passed", len(monkey.compared), monkey.slowest, monkey.most >> 20,
                fault and "\n" + fault), flush=True)
    finally:
        servers.close()
    print("%d files compared\n%d passed, %d failed" % (files, arguments.rounds - failed, failed))
    return bool(failed)


if __name__ == "__main__":
    sys.exit(main())

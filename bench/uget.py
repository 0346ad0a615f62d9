"""uGet, which runs all the time as Pellora does, and is given URLs by its command line. It is as it comes: one
connection for each file, since nothing but its windows sets another number."""

import os
import signal
import subprocess
import time

import harness

CLOCK_TICK = os.sysconf("SC_CLK_TCK")
UNFINISHED = ".aria2"  # the ending of the file beside an unfinished one


class UGet:
    def __init__(self, tool="uget-gtk"):
        stage = harness.Stage.get()
        self.tool = tool
        self.folder = stage.new_folder("uget")
        home, self.files = (os.path.join(self.folder, name) for name in ("home", "files"))
        os.mkdir(home)
        os.mkdir(self.files)
        self.env = dict(stage.env, HOME=home, XDG_CONFIG_HOME=home, XDG_CACHE_HOME=home)
        self.log = open(os.path.join(self.folder, "log"), "wb")
        # The session bus must not be the machine's.
        self.process = subprocess.Popen(["dbus-run-session", "--", tool], env=self.env, stdin=subprocess.DEVNULL,
                                        stdout=self.log, stderr=self.log, start_new_session=True)
        self.pid = harness.wait_until(self.find, 30, tool)
        time.sleep(2)

    def find(self):
        with open("/proc/{0}/task/{0}/children".format(self.process.pid), encoding="ascii") as f:
            for pid in map(int, f.read().split()):
                with open("/proc/%d/comm" % pid, encoding="ascii") as comm:
                    if comm.read().strip() == self.tool:
                        return pid
        return None

    def cpu(self):
        with open("/proc/%d/stat" % self.pid, encoding="ascii") as f:
            words = f.read().rpartition(")")[2].split()
        return (int(words[11]) + int(words[12])) / CLOCK_TICK

    def memory(self, field):
        with open("/proc/%d/status" % self.pid, encoding="ascii") as f:
            return next(int(line.split()[1]) * 1024 for line in f if line.startswith(field + ":"))

    def run(self, server, memory):
        """For one file: wall seconds, CPU seconds, growth in bytes, three figures that are not measured, the file."""
        output = os.path.join(self.files, "file.bin")
        size = os.path.getsize(os.path.join(server.files, "file.bin"))
        with open("/proc/%d/clear_refs" % self.pid, "w", encoding="ascii") as f:
            f.write("5")  # the peak counts from here on
        resident, cpu = self.memory("VmRSS"), self.cpu()
        began = time.monotonic()
        subprocess.run([self.tool, "--quiet", "--folder=" + self.files, server.url()], env=self.env, check=True,
                       stdin=subprocess.DEVNULL, stdout=self.log, stderr=self.log)
        while not self.is_complete(output, size):
            memory.follow(self.files)
            if time.monotonic() - began > 300:
                raise TimeoutError("uGet did not finish")
            time.sleep(0.002)
        wall = time.monotonic() - began
        return wall, self.cpu() - cpu, self.memory("VmHWM") - resident, 0, 0, 0, [output]

    @staticmethod
    def is_complete(output, size):
        there = os.path.exists(output) and not os.path.exists(output + UNFINISHED)
        return there and os.path.getsize(output) == size

    def close(self):
        os.killpg(self.process.pid, signal.SIGTERM)
        self.process.wait(20)
        self.log.close()

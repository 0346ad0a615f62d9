"""Runs the real program: one virtual display for the whole run, and for each session a private copy of the program's
folder with its own home, runtime folder and session bus. Everything that is started is ended by its id."""

import atexit
import hashlib
import os
import shutil
import signal
import subprocess
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(os.path.dirname(os.path.dirname(HERE)))
sys.path[:0] = [os.path.join(ROOT, "scripts"), os.path.dirname(HERE)]

from pellora import Companion  # noqa: E402

PROGRAM = os.environ.get("PELLORA_PROGRAM", os.path.join(ROOT, "build/release/Pellora"))
MAIN = "Pellora !"  # the title of the main window
# Seconds within which the program must answer a call, including delays on a busy machine.
PROMPT = 5.0
# All time-outs are multiplied by this, for busy machines.
SLOWNESS = 3
BUS_NAME = "PelloraProject.Pellora"
PROGRAM_OBJECT = (BUS_NAME, "/PelloraProject/Pellora", BUS_NAME)  # its name, path and interface


def wait_until(condition, timeout, what, slowness=SLOWNESS):
    """Polls `condition` and returns its first true value."""
    end = time.monotonic() + timeout * slowness
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() > end:
            raise TimeoutError("waited %s s for %s" % (timeout, what))
        time.sleep(0.05)


def act_until(done, act, what, timeout=20, each=5):
    """Acts, again every `each` seconds, until `done` has a true value, which it returns: a busy display may lose a click
    or a key."""
    def try_it():
        act()
        try:
            return wait_until(done, each, what, slowness=1)
        except TimeoutError:
            return None
    return wait_until(try_it, timeout, what)


def wait_steady(look, what, times=10):
    """What `look` returns once it has been the same, and not empty, several times in a row."""
    seen = []

    def steady():
        seen.append(look())
        return seen[-1] if seen[-1] and len(seen) >= times and seen[-times:] == [seen[-1]] * times else None
    return wait_until(steady, 20, what)


def write_script(path, text):
    with open(path, "w", encoding="utf-8") as f:
        f.write("#!/bin/sh\n%s\n" % text)
    os.chmod(path, 0o755)


def end_process(process, grace=10):
    if process.poll() is None:
        process.terminate()
        try:
            process.wait(grace)
        except subprocess.TimeoutExpired:
            process.kill()
            process.wait()


def has_ended(pid):
    """Also true for a zombie: without an init process that reaps orphans, it stays one."""
    try:
        with open("/proc/%d/stat" % pid, encoding="utf-8", errors="replace") as f:
            return f.read().rpartition(")")[2].split()[0] == "Z"
    except (FileNotFoundError, ProcessLookupError):
        return True


def start_with_answer(command, log, **options):
    """Starts a server that writes one line about itself to the descriptor whose number replaces "{fd}" in its
    arguments. Returns the process and the line."""
    reader, writer = os.pipe()
    command = [word.replace("{fd}", str(writer)) for word in command]
    process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=log, stderr=log, pass_fds=[writer], **options)
    os.close(writer)
    with os.fdopen(reader) as answer:
        line = answer.readline().strip()
    if not line:
        end_process(process)
        raise RuntimeError("%s did not start" % command[0])
    return process, line


class Stage:
    """The run's folder and its display, shared by all sessions that do not have their own."""

    _only = None

    def __init__(self, screen="1280x1024"):
        self.folder = tempfile.mkdtemp(prefix="pellora-peer.")
        self.log = open(os.path.join(self.folder, "stage.log"), "wb")
        self.processes = []
        atexit.register(self.close)
        display, number = start_with_answer(
            ["setpriv", "--pdeathsig", "TERM",  # it ends with the tests, however they end
             "Xvfb", "-displayfd", "{fd}", "-screen", "0", screen + "x24", "-nolisten", "tcp"], self.log)
        self.processes.append(display)
        self.display = ":" + number
        self.env = dict(os.environ, DISPLAY=self.display)
        self.env.pop("WAYLAND_DISPLAY", None)
        self.processes.append(subprocess.Popen(["openbox"], env=self.env, stdin=subprocess.DEVNULL, stdout=self.log,
                                               stderr=self.log))
        from xdisplay import XDisplay  # not above, since some scripts import this before they install its package
        self.x = XDisplay(self.display)
        wait_until(self.x.has_manager, 20, "the window manager")
        self.sessions = 0

    @classmethod
    def get(cls):
        if cls._only is None:
            cls._only = cls()
        return cls._only

    def new_folder(self, name):
        self.sessions += 1
        folder = os.path.join(self.folder, "%03d-%s" % (self.sessions, name))
        os.mkdir(folder)
        return folder

    def close(self):
        self.x.close()
        for process in reversed(self.processes):
            end_process(process)
        self.processes = []
        self.log.close()
        if not os.environ.get("PELLORA_KEEP"):
            shutil.rmtree(self.folder, ignore_errors=True)


class Session:
    """One user of the program. `settings` are keys of [Options]; the folders are in the session's home."""

    prefix = ()  # a command that runs the program
    arguments = ()  # of the program
    bound = False  # whether access rights apply to the program even if root runs the tests

    def __init__(self, name, stage=None, **settings):
        stage = stage or Stage.get()
        self.stage = stage
        self.root = stage.new_folder(name)
        self.home = os.path.join(self.root, "home")
        self.downloads = os.path.join(self.root, "downloads") + "/"
        self.parts = os.path.join(self.root, "parts") + "/"
        self.program = os.path.join(self.root, "program")
        runtime = os.path.join(self.root, "runtime")
        config = os.path.join(self.root, "config")
        data = os.path.join(self.root, "data")
        for folder in (self.home, self.downloads, self.parts, os.path.join(config, "pellora"), data):
            os.makedirs(folder)
        os.mkdir(runtime, 0o700)
        shutil.copytree(PROGRAM, self.program, ignore=shutil.ignore_patterns("Pellora.dat*"))
        self.list_file = os.path.join(self.program, "Pellora.dat")
        self.settings_file = os.path.join(config, "pellora", "Pellora.ini")
        # The clipboard is shared by the display: a session must not ask about the URL of another one.
        self.write_settings(self.settings_file, {"CheckClipboard": "False", "MaxSimulDownlads": "9", **settings})
        self.write_settings(os.path.join(config, "pellora", "Brenmoor.ini"),
                            {"DownloadFolder": self.downloads, "TempFolder": self.parts})

        self.env = {k: v for k, v in stage.env.items() if not k.startswith(("DBUS_", "XDG_"))}
        self.env.update(HOME=self.home, XDG_RUNTIME_DIR=runtime, XDG_CONFIG_HOME=config, XDG_DATA_HOME=data,
                        XDG_CONFIG_DIRS=os.path.join(self.root, "xdg"),
                        QT_QPA_PLATFORM="xcb", TMPDIR=runtime)
        self.log = open(os.path.join(self.root, "program.log"), "wb")
        self.bus, address = start_with_answer(
            ["dbus-daemon", "--session", "--nofork", "--print-address={fd}", "--address=unix:path=%s/bus" % runtime],
            self.log, env=self.env)
        self.env["DBUS_SESSION_BUS_ADDRESS"] = address
        self.companion = Companion(os.path.join(self.program, "pelloractl"), self.env, SLOWNESS)
        self.process = None

    @staticmethod
    def write_settings(path, values):
        with open(path, "w", encoding="utf-8") as f:
            f.write("[Options]\n" + "".join("%s=%s\n" % pair for pair in values.items()))

    def move_program(self, name):
        folder = os.path.join(self.root, name)
        os.rename(self.program, folder)
        self.program = folder
        self.list_file = os.path.join(folder, "Pellora.dat")
        self.companion.path = os.path.join(folder, "pelloractl")

    def preload(self, source, **variables):
        """Compiles a source beside this one into a library, which is loaded into the program with these variables."""
        library = os.path.join(self.root, source + ".so")
        subprocess.run(["g++", "-std=c++20", "-shared", "-fPIC", "-O1", "-o", library, os.path.join(HERE, source), "-ldl"],
                       stdin=subprocess.DEVNULL, check=True)
        self.env.update(LD_PRELOAD=library, **variables)

    def start(self):
        self.process = self.launch()
        wait_until(lambda: self.name_taken() or self.process.poll() is not None, 30, "the program on its bus")
        if self.process.poll() is not None:
            raise RuntimeError("the program ended at once, code %s\n%s" % (self.process.returncode, self.read_log()))
        self.companion.run("list")  # the name is taken before the start's own steps; an answer comes after them
        return self

    def launch(self):
        command = [*self.prefix, os.path.join(self.program, "Pellora"), *self.arguments]
        if self.bound:
            command = ["setpriv", "--bounding-set=-dac_override,-dac_read_search"] + command
        return subprocess.Popen(command, env=self.env, cwd=self.home,
                                stdin=subprocess.DEVNULL, stdout=self.log, stderr=self.log)

    def read_log(self):
        with open(os.path.join(self.root, "program.log"), encoding="utf-8", errors="replace") as f:
            return f.read()

    def connect(self):
        """A new connection to the session's bus."""
        from bus import Bus  # not above, as with XDisplay
        return Bus(self.env["DBUS_SESSION_BUS_ADDRESS"])

    def call_bus(self, method, *values):
        """The first result of a method of the bus itself; its arguments are texts and numbers."""
        with self.connect() as bus:
            return (bus.call_daemon(method, *values) or [None])[0]

    def name_taken(self):
        return self.call_bus("NameHasOwner", BUS_NAME)

    def owner(self):
        """The process id of the program that the bus knows, whoever started it."""
        return self.call_bus("GetConnectionUnixProcessID", BUS_NAME)

    def call_program(self, method, *texts):
        with self.connect() as bus:
            bus.call(*PROGRAM_OBJECT, method, *texts)

    def menu_url(self, url, referrer="", cookie=""):
        self.call_program("MenuURL", url, referrer, cookie)

    def resume(self):
        result = self.companion.run("resume")
        if result.returncode != 0:
            raise RuntimeError("pelloractl resume: " + result.stderr.decode(errors="replace"))

    def alive(self):
        return self.process is not None and self.process.poll() is None

    def response_seconds(self):
        """Seconds that the program took to answer a call; the same thread serves its windows."""
        began = time.monotonic()
        self.companion.downloads()
        return time.monotonic() - began

    def own_windows(self):
        """The windows of this session's program; other sessions share the display."""
        return self.windows_of(self.process.pid) if self.process else []

    def windows_of(self, pid):
        return [found[:3] for found in self.stage.x.all() if found[3] == pid]

    def titled(self, part, dialog=None):
        """Its windows whose titles contain this text, first those that have no other. Only the latter for MAIN, which is
        part of other titles."""
        found = sorted(self.own_windows(), key=lambda each: each[1] != part)
        return [window for window, title, is_dialog in found
                if part in title and (part != MAIN or title == MAIN) and dialog in (None, is_dialog)]

    def window(self, part, dialog=None, timeout=20):
        return wait_until(lambda: self.titled(part, dialog), timeout, "a window of %r" % part)[0]

    def dialogs(self):
        return [(window, title) for window, title, is_dialog in self.own_windows() if is_dialog]

    def wait_dialog(self, timeout=20):
        return wait_until(self.dialogs, timeout, "a message box")[0]

    def press(self, window, *keys):
        """Sends keys to a window once it has the keyboard focus. False if the window is closed before that."""
        if not self.stage.x.activate(window):
            return False
        self.stage.x.keys(*keys)
        return True

    def press_until(self, done, window, *keys, timeout=20, what="an effect of keys"):
        """Repeats the keys until they have an effect; only for keys that may be sent twice."""
        return done() or act_until(done, lambda: self.press(window, *keys), what, timeout)

    def choose(self, *keys):
        """Opens a menu of the main window by its key and chooses an entry by the key that follows."""
        menus = self.stage.x.menus
        self.press_until(menus, self.window(MAIN, False), keys[0], what="the menu")
        self.stage.x.keys(*keys[1:])
        wait_until(lambda: not menus(), 20, "the end of the menu")

    def press_in_dialogs(self, key="Return"):
        for window, _ in self.dialogs():
            self.press(window, key)

    def dismiss(self, window, key="Return"):
        """Answers a message with its default key, or another one. Returns when it is closed."""
        self.press_until(lambda: window not in self.stage.x.clients(), window, key, what="the message to go")

    def close_window(self, window):
        """Closes it like the close box of its frame. Returns when it is closed."""
        self.stage.x.close_window(window)

    def run_on_display(self, *command):
        """The output of a tool run on the display."""
        return subprocess.run(command, env=self.stage.env, stdin=subprocess.DEVNULL, capture_output=True, text=True,
                              timeout=20, check=False).stdout

    def save_screenshot(self, name):
        """Saves a screenshot of the display if PELLORA_PICTURES names a folder."""
        folder = os.environ.get("PELLORA_PICTURES")
        if folder:
            os.makedirs(folder, exist_ok=True)
            self.stage.x.screenshot(os.path.join(folder, name + ".png"))

    def memory(self, field="VmHWM"):
        """In bytes; VmHWM is the peak."""
        with open("/proc/%d/status" % self.process.pid, encoding="ascii") as f:
            for line in f:
                if line.startswith(field + ":"):
                    return int(line.split()[1]) * 1024
        raise RuntimeError("no %s" % field)

    def stop(self):
        """Sends a termination signal. Returns the exit code."""
        self.process.terminate()
        try:
            return self.process.wait(60)
        finally:
            if self.process.poll() is None:
                self.process.kill()
                self.process.wait()

    def kill(self):
        self.process.send_signal(signal.SIGKILL)
        self.process.wait()

    def close(self):
        if self.alive():
            end_process(self.process)
        end_process(self.bus)
        self.log.close()
        if not os.environ.get("PELLORA_KEEP"):
            shutil.rmtree(self.root, ignore_errors=True)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def tree(self):
        """Every file of the session except the two folders, the logs and caches of the desktop's libraries."""
        found = set()
        for folder, _, names in os.walk(self.root):
            for name in names:
                path = os.path.join(folder, name)
                if not path.startswith((self.downloads, self.parts)) and "/.cache/" not in path:
                    found.add(os.path.relpath(path, self.root))
        return found


def digest(path):
    value = hashlib.sha256()
    with open(path, "rb") as f:
        for block in iter(lambda: f.read(1 << 20), b""):
            value.update(block)
    return value.hexdigest()

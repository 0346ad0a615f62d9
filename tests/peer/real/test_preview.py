"""The preview with samples of every supported type, on a machine without a sound device: the process that renders them,
and the pane of the real program."""

import array
import concurrent.futures
import os
import select
import signal
import struct
import subprocess
import tempfile
import time
import unittest
import urllib.parse

import harness
import samples
from case import Case
from harness import MAIN

RENDERED, FRAME, ENDED = 1, 2, 3
WIDTH, HEIGHT = 200, 160

_folder = None


def sample_paths():
    """Created once in a run."""
    global _folder
    if _folder is None:
        _folder = tempfile.TemporaryDirectory(prefix="pellora-samples.")
        sample_paths.made = samples.make(_folder.name)
    return sample_paths.made


def silent_environment():
    """An environment without a sound server, whatever the machine has."""
    return {k: v for k, v in os.environ.items() if not k.startswith("PULSE_") and k != "XDG_RUNTIME_DIR"}


class Rendering:
    """One preview process, used as by the program."""

    def __init__(self, path, env=None):
        self.process = subprocess.Popen([os.path.join(harness.PROGRAM, "pellora-preview")], stdin=subprocess.PIPE,
                                        stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                                        env=env or silent_environment())
        self.data = b""
        self.frames = []
        self.messages = []
        self.over = False
        encoded = urllib.parse.quote_from_bytes(os.fsencode(path))
        self.send("open %d %d %s" % (WIDTH, HEIGHT, encoded))

    def send(self, line):
        try:
            self.process.stdin.write(line.encode() + b"\n")
            self.process.stdin.flush()
        except BrokenPipeError:
            pass

    def until(self, condition, timeout):
        """Reads until the condition holds, the process ends or the time is up."""
        end = time.monotonic() + timeout
        while not condition() and not self.over and time.monotonic() < end:
            if not select.select([self.process.stdout], [], [], 0.05)[0]:
                continue
            more = os.read(self.process.stdout.fileno(), 1 << 20)
            self.over = not more
            self.data += more
            while self.take():
                pass
        return condition()

    def take(self):
        if len(self.data) < 12:
            return False
        message, width, height = struct.unpack("<III", self.data[:12])
        size = width * height * 4 if message == FRAME else 0
        if len(self.data) < 12 + size:
            return False
        if message == FRAME:
            self.frames.append((width, height, self.data[12:12 + size]))
            self.send("seen")
        else:
            self.messages.append(message)
        self.data = self.data[12 + size:]
        return True

    def rendered(self, timeout=60):
        return self.until(lambda: RENDERED in self.messages, timeout)

    def close(self):
        """Closes the input, which ends the process. Returns its exit code."""
        try:
            self.process.stdin.close()
        except BrokenPipeError:
            pass
        try:
            return self.process.wait(60)
        finally:
            if self.process.poll() is None:
                self.process.kill()
                self.process.wait()
            self.process.stdout.close()


def colours(frame):
    return len({frame[2][at:at + 4] for at in range(0, len(frame[2]), 4)})


class Process(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        sample_paths()  # before threads need them

    def open(self, path):
        rendering = Rendering(path)
        self.addCleanup(rendering.close)
        return rendering

    def each(self, kinds, check):
        """Runs a check for several types in parallel."""
        with concurrent.futures.ThreadPoolExecutor(4) as pool:
            for result in [pool.submit(check, kind) for kind in kinds]:
                result.result()

    def test_picture_of_each_type_keeps_its_proportions(self):
        for kind in samples.PICTURES:
            rendering = self.open(sample_paths()[kind])
            self.assertTrue(rendering.rendered(), kind)
            [frame] = rendering.frames
            self.assertEqual(frame[:2], (200, 150), kind)
            self.assertGreater(colours(frame), 50, kind)
            self.assertEqual(rendering.close(), 0, kind)

    def test_video_of_each_type_is_cued_played_stopped_and_played_again(self):
        def check(kind):
            rendering = self.open(sample_paths()[kind])
            self.assertTrue(rendering.rendered(), kind)
            self.assertTrue(rendering.until(lambda: rendering.frames, 20), kind)
            first = rendering.frames[0]
            self.assertEqual(first[:2], (200, 150), kind)
            self.assertGreater(colours(first), 50, kind)
            rendering.until(lambda: False, 0.3)
            self.assertEqual(len(rendering.frames), 1, kind)  # it is paused
            rendering.send("run")
            self.assertTrue(rendering.until(lambda: len(rendering.frames) > 3, 30), kind)
            self.assertNotEqual(rendering.frames[3], first, kind)
            rendering.send("stop")
            rendering.until(lambda: rendering.frames[-1] == first, 30)
            rendering.until(lambda: False, 0.5)
            self.assertEqual(rendering.frames[-1], first, kind)
            count = len(rendering.frames)
            rendering.until(lambda: False, 0.3)
            self.assertEqual(len(rendering.frames), count, kind)
            for _ in range(2):  # plays to the end, then again from the beginning
                rendering.messages.clear()
                rendering.send("run")
                self.assertTrue(rendering.until(lambda: ENDED in rendering.messages, 60), kind)
            self.assertEqual(rendering.close(), 0, kind)

        self.each(samples.VIDEOS, check)

    def test_sound_of_each_type_is_played_stopped_and_played_to_its_end(self):
        def check(kind):
            rendering = self.open(sample_paths()[kind])
            self.assertTrue(rendering.rendered(), kind)
            rendering.send("volume -1260")
            for _ in range(5):  # on a busy machine the end may come before the stop
                rendering.send("run")
                rendering.until(lambda: False, 0.2)
                rendering.send("stop")
                rendering.until(lambda: False, 0.2)
                if ENDED not in rendering.messages:
                    break
                rendering.messages.remove(ENDED)
            self.assertEqual(rendering.messages, [RENDERED], kind)
            began = time.monotonic()
            rendering.send("run")
            self.assertTrue(rendering.until(lambda: ENDED in rendering.messages, 60), kind)
            self.assertGreater(time.monotonic() - began, 0.5, kind)
            self.assertEqual(rendering.frames, [], kind)
            self.assertEqual(rendering.close(), 0, kind)

        self.each(samples.SOUNDS, check)

    def test_a_file_without_extension_is_played_whatever_it_is(self):
        def check(kind):
            rendering = self.open(sample_paths()[kind])
            self.assertTrue(rendering.rendered(), kind)
            rendering.send("run")
            self.assertTrue(rendering.until(lambda: ENDED in rendering.messages, 60), kind)
            self.assertEqual(len(rendering.frames) > 3, kind in ("mp4", "mov", "flv", "webm"), kind)
            self.assertEqual(rendering.close(), 0, kind)

        self.each(samples.FURTHER, check)

    def test_run_and_cue_together_play_nothing(self):
        rendering = self.open(sample_paths()["avi"])
        self.assertTrue(rendering.rendered())
        rendering.send("run\ncue")
        rendering.until(lambda: False, 0.6)
        self.assertEqual(len(rendering.frames), 1)

    def test_partial_files_and_garbage_cause_no_crash_and_leave_no_process(self):
        """The media library sometimes hangs with these; the end of the input must end the process all the same."""
        with tempfile.TemporaryDirectory() as folder:
            def check(kind):
                with open(sample_paths()[kind], "rb") as f:
                    whole = f.read()
                swapped = bytes(byte ^ 0x55 if at % 97 == 50 else byte for at, byte in enumerate(whole))
                for number, data in enumerate((whole[:len(whole) // 2], swapped, b"", b"\x00" * 4096, b"<html>404")):
                    path = os.path.join(folder, "%d.%s" % (number, kind))
                    with open(path, "wb") as f:
                        f.write(data)
                    rendering = Rendering(path)
                    rendering.rendered(4)
                    rendering.send("run")
                    rendering.until(lambda: False, 0.1)
                    self.assertGreaterEqual(rendering.close(), 0, path)

            self.each(samples.EVERY, check)

    def test_file_names_of_any_bytes_are_opened(self):
        with tempfile.TemporaryDirectory() as folder:
            for kind in ("png", "wav"):
                path = os.path.join(os.fsencode(folder), b"100% \xe4\xf6 #1?\n." + kind.encode())
                with open(sample_paths()[kind], "rb") as source, open(path, "wb") as target:
                    target.write(source.read())
                rendering = self.open(path)
                self.assertTrue(rendering.rendered(), kind)

    def test_process_ends_when_its_input_closes(self):
        rendering = self.open(sample_paths()["avi"])
        self.assertTrue(rendering.rendered())
        rendering.process.send_signal(signal.SIGINT)  # from a terminal, not meant for this process
        rendering.send("run")
        self.assertTrue(rendering.until(lambda: len(rendering.frames) > 2, 30))
        rendering.process.stdin.close()
        self.assertEqual(rendering.process.wait(60), 0)

    def test_the_process_is_limited_and_leaves_no_core(self):
        rendering = self.open(sample_paths()["mp3"])
        self.assertTrue(rendering.rendered())
        with open("/proc/%d/status" % rendering.process.pid, encoding="ascii") as f:
            status = dict(line.split(":", 1) for line in f if ":" in line)
        self.assertEqual(status["NoNewPrivs"].strip(), "1")
        self.assertEqual(status["Seccomp"].strip(), "2")
        for kind in ("CapInh", "CapPrm", "CapEff", "CapAmb"):
            self.assertEqual(int(status[kind], 16), 0, kind)
        with open("/proc/%d/limits" % rendering.process.pid, encoding="ascii") as f:
            limits = {line[:26].strip(): line[26:].split()[:2] for line in f}
        self.assertEqual(limits["Max core file size"], ["0", "0"])
        self.assertEqual(limits["Max address space"], ["3221225472", "3221225472"])
        self.assertEqual(limits["Max open files"], ["256", "256"])
        self.assertEqual(limits["Max file size"][0], "0")
        self.assertEqual(limits["Max cpu time"][0], "30")

    def plugin_lists(self, cache):
        folder = os.path.join(cache, "pellora")
        return {name: os.stat(os.path.join(folder, name)).st_mtime_ns for name in os.listdir(folder)}

    def test_plugins_are_listed_once_and_again_when_they_changed(self):
        with tempfile.TemporaryDirectory() as folder:
            plugins = os.path.join(folder, "plugins")
            os.mkdir(plugins)
            env = dict(silent_environment(), XDG_CACHE_HOME=os.path.join(folder, "cache"), GST_PLUGIN_PATH=plugins)

            def lists_after_rendering():
                rendering = Rendering(sample_paths()["wav"], env)
                self.addCleanup(rendering.close)
                self.assertTrue(rendering.rendered())
                return self.plugin_lists(env["XDG_CACHE_HOME"])

            first = lists_after_rendering()
            self.assertEqual(len(first), 1)
            self.assertEqual(lists_after_rendering(), first)
            with open(os.path.join(plugins, "new"), "wb"):
                pass
            second = lists_after_rendering()
            self.assertEqual(len(second), 1)
            self.assertNotEqual(second, first)

    def test_plugins_are_listed_without_a_file(self):
        with tempfile.TemporaryDirectory() as folder:
            env = dict(silent_environment(), XDG_CACHE_HOME=folder)
            result = subprocess.run([os.path.join(harness.PROGRAM, "pellora-preview"), "--plugins"], env=env, check=False,
                                    stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, timeout=120)
            self.assertEqual((result.returncode, result.stdout), (0, b""))
            self.assertEqual(len(self.plugin_lists(folder)), 1)

    def test_a_home_that_takes_no_list_still_has_previews(self):
        rendering = Rendering(sample_paths()["wav"], dict(silent_environment(), XDG_CACHE_HOME="/dev/null"))
        self.addCleanup(rendering.close)
        self.assertTrue(rendering.rendered())


class Sound(unittest.TestCase):
    """The audible result, on a sound server started by the test."""

    def setUp(self):
        self.folder = tempfile.TemporaryDirectory(prefix="pellora-sound.")
        self.addCleanup(self.folder.cleanup)
        os.chmod(self.folder.name, 0o700)
        self.env = dict(silent_environment(), XDG_RUNTIME_DIR=self.folder.name, HOME=self.folder.name)
        server = subprocess.Popen(["pulseaudio", "-n", "--daemonize=no", "--exit-idle-time=-1",
                                   "-L", "module-native-protocol-unix", "-L", "module-null-sink sink_name=heard"],
                                  env=self.env, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                  stderr=subprocess.DEVNULL)
        self.addCleanup(harness.end_process, server)
        native = os.path.join(self.folder.name, "pulse", "native")
        harness.wait_until(lambda: os.path.exists(native), 10, "the sound server")
        self.path = os.path.join(self.folder.name, "long.wav")
        samples.encode(self.path, ["-f", "lavfi", "-i", "sine=frequency=440:duration=4"])

    def loudest(self, volume):
        """The loudest sample of the first second of playback."""
        rendering = Rendering(self.path, self.env)
        self.addCleanup(rendering.close)
        self.assertTrue(rendering.rendered())
        rendering.send("volume %d" % volume)
        listener = subprocess.Popen(["ffmpeg", "-v", "error", "-f", "pulse", "-i", "heard.monitor", "-t", "1.2", "-f",
                                     "s16le", "-ac", "1", "-"], env=self.env, stdin=subprocess.DEVNULL,
                                    stdout=subprocess.PIPE)
        time.sleep(0.4)
        rendering.send("run")
        data = listener.communicate(timeout=20)[0]
        rendering.close()
        return max(map(abs, array.array("h", data[:len(data) // 2 * 2])))

    def test_volume_ranges_from_full_to_a_tenth_and_no_start_is_louder(self):
        full = self.loudest(0)
        self.assertGreater(full, 1000)
        for volume, share, delta in ((-1260, 10 ** (-1260 / 2000), 0.08), (-2000, 0.1, 0.04)):
            for _ in range(5):  # a busy machine interrupts the sound at times, and each interruption adds a crackle
                heard = self.loudest(volume) / full
                if abs(heard - share) <= delta:
                    break
            self.assertAlmostEqual(heard, share, delta=delta)


class Pane(Case):
    """Operated by the mouse: the lower list and the pane's buttons."""

    settings = {"MaxSegments": 1}

    def setUp(self):
        super().setUp()
        self.catch_opened_files()
        # Plugins are scanned once, here: on a busy machine the program would time out.
        self.session.env["XDG_CACHE_HOME"] = os.path.join(harness.Stage.get().folder, "cache")
        first = Rendering(sample_paths()["avi"], self.session.env)
        self.assertTrue(first.rendered(180))
        first.close()
        self.start_with_screen()
        self.names = []

    def download(self, name, path):
        with open(path, "rb") as f:
            data = f.read()
        self.origin.serve_made("/" + name, len(data), lambda start, end: data[start:end])
        self.session.menu_url(self.origin.url("/" + name))
        self.names.append(name)

    def arrange(self):
        """Finishes all downloads, hides the transfer windows, opens the pane, and finds the position of everything."""
        self.session.companion.wait_finished([self.origin.url("/" + name) for name in self.names], 30)
        main = self.screen.raise_window(MAIN)
        for window, _, _ in self.session.own_windows():
            if window != main:
                self.x.minimise(window)
        self.x.configure(main, x=20, y=20, width=900, height=760)
        harness.wait_until(lambda: self.x.place(main)[2:] == (900, 760), 20, "the size")
        for name in self.names:
            self.screen.wait("table cell", name, MAIN)
        self.screen.click("push button", "Show or hide the side pane", MAIN)
        self.screen.wait("page tab", "Preview", MAIN)
        harness.wait_steady(lambda: [(repr(e), e.middle) for e in self.screen.elements(MAIN)], "the layout", times=2)
        self.places = {}
        for element in self.screen.elements(MAIN):
            if element.role == "page tab list":
                continue  # has the name of its tab
            place = element.role if element.role == "slider" else (element.name, element.role == "page tab")
            self.places.setdefault(place, element)
        surface = self.places[("Preview", False)]
        self.area = "%dx%d+%d+%d" % (surface.width - 4, surface.height - 4, surface.left + 2, surface.top + 2)

    def click(self, name, repeat=1, tab=False):
        x, y = self.places["slider" if name == "slider" else (name, tab)].middle
        self.x.click(x, y, times=repeat)

    def look(self, rest):
        """The picture of the surface, passed through a command."""
        result = subprocess.run(["sh", "-c", "import -window root png:- | convert png:- -crop %s +repage %s" % (
            self.area, rest)], env=self.session.stage.env, stdin=subprocess.DEVNULL, capture_output=True, timeout=30,
            check=True)
        return result.stdout

    def saturation(self):
        """The mean saturation: 0 for a blank pane with its grey text, high for the test picture."""
        return float(self.look("-colorspace HSL -channel G -separate -format '%[fx:mean]' info:"))

    def picture(self):
        return self.look("rgb:- | md5sum")

    def processes(self):
        result = subprocess.run(["pgrep", "-P", str(self.session.process.pid), "pellora-preview"], capture_output=True,
                                check=False, stdin=subprocess.DEVNULL, timeout=20)
        return [int(word) for word in result.stdout.split()]

    def seen(self, condition, what, timeout=20):
        harness.wait_until(lambda: condition(self.saturation()), timeout, what)

    def click_until(self, name, condition, what):
        """Clicks again if nothing happens: on a busy machine a decoder may exceed its time limit, and a short film may
        be over between two checks."""
        harness.act_until(condition, lambda: self.click(name), what, timeout=30, each=25)

    def test_every_type_is_shown_played_and_stopped(self):
        for kind in samples.EVERY:
            self.download("sample." + kind, sample_paths()[kind])
        self.arrange()
        self.assertLess(self.saturation(), 0.05)
        for kind in samples.EVERY:
            if kind in samples.PICTURES + samples.VIDEOS:
                self.click_until("sample." + kind, lambda: self.saturation() > 0.3, kind)
            else:
                self.click("sample." + kind)
                time.sleep(0.6)
                if kind in ("mp3", "ogg", "wma", "wav"):
                    self.seen(lambda value: 0.05 < value < 0.3, "the drawing for " + kind)
                else:
                    self.seen(lambda value: value < 0.05, "a blank pane for " + kind)
            if kind not in samples.PICTURES:
                harness.wait_until(self.processes, 5, "the process of " + kind)
            if kind in samples.VIDEOS:
                before = self.picture()
                self.click_until("Play", lambda: self.picture() != before, "moving pictures of " + kind)
            else:
                self.click("Play")
            self.click("Stop")
            self.assertLess(self.session.response_seconds(), harness.PROMPT, kind)
            self.assertLessEqual(len(self.processes()), 1)
        self.stop()

    def test_double_click_opens_the_file_and_a_killed_process_leaves_the_program_running(self):
        self.download("a.avi", sample_paths()["avi"])
        self.download("b.zip", sample_paths()["png"])
        self.download("broken.avi", __file__)
        self.arrange()
        self.click("a.avi", 2)
        time.sleep(1.1)
        self.assertEqual(self.processes(), [])
        self.assertLess(self.saturation(), 0.05)
        harness.wait_until(self.opened, 20, "the opener")
        self.assertEqual(self.opened(), [os.path.join(self.session.downloads, "a.avi")])
        self.click_until("a.avi", lambda: self.saturation() > 0.3, "the video")
        for pid in self.processes():
            os.kill(pid, signal.SIGKILL)
        self.seen(lambda value: value < 0.05, "a blank pane")
        for name in ("Play", "Stop", "slider"):
            self.click(name)
        self.click("Infos", tab=True)
        self.click("Preview", tab=True)
        for name in ("b.zip", "broken.avi"):
            self.click(name)
            time.sleep(1.1)
            self.assertLess(self.saturation(), 0.05, name)
        os.unlink(os.path.join(self.session.downloads, "a.avi"))
        self.click("a.avi")
        time.sleep(1)
        harness.wait_until(lambda: not self.processes(), 10, "the end of the process before")
        self.stop()

    def test_killed_program_ends_its_preview_process(self):
        self.download("a.avi", sample_paths()["avi"])
        self.arrange()
        self.click("a.avi")
        [pid] = harness.wait_until(self.processes, 10, "the process")
        self.session.kill()
        harness.wait_until(lambda: harness.has_ended(pid), 10, "its end")


if __name__ == "__main__":
    unittest.main()

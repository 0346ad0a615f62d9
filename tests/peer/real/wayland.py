"""A Wayland desktop without a screen: sway, with a seat whose mouse and keyboard are the tests'. The protocols are those of
the freedesktop.org repositories wayland-protocols and wlr-protocols."""

import json
import os
import socket
import struct
import subprocess
import time

import harness

SIZE = 1280, 1024
CONFIG = """output * mode --custom %dx%d
xwayland disable
focus_follows_mouse no
focus_on_window_activation focus
popup_during_fullscreen smart
default_border normal
for_window [app_id=".*"] floating enable
""" % SIZE

RUN_COMMAND, GET_TREE = 0, 4  # requests to sway
LEFT_BUTTON = 0x110
BUTTONS = {1: LEFT_BUTTON, 2: LEFT_BUTTON + 2, 3: LEFT_BUTTON + 1}
# Key codes of Linux: the first of each row, and its characters without and with Shift.
ROWS = [(2, "1234567890-=", "!@#$%^&*()_+"), (16, "qwertyuiop[]", "QWERTYUIOP{}"), (30, "asdfghjkl;'", 'ASDFGHJKL:"'),
        (44, "zxcvbnm,./", "ZXCVBNM<>?"), (57, " ", " ")]
NAMED = {"Escape": 1, "Tab": 15, "Return": 28, "F1": 59, "Up": 103, "Left": 105, "Right": 106, "Down": 108, "Delete": 111}
MODIFIERS = {"shift": (42, 1), "ctrl": (29, 4), "alt": (56, 8)}  # the key, and its bit in the state of the keyboard
KEYMAP = b"""xkb_keymap {
  xkb_keycodes { include "evdev+aliases(qwerty)" };
  xkb_types { include "complete" };
  xkb_compat { include "complete" };
  xkb_symbols { include "pc+us+inet(evdev)" };
};\0"""


def key_of(name):
    """(key code, whether Shift is needed) of a key's name or of a character."""
    if name in NAMED:
        return NAMED[name], False
    for first, plain, shifted in ROWS:
        for characters in (plain, shifted):
            if name in characters:
                return first + characters.index(name), characters == shifted != plain
    raise ValueError("no key " + name)


class Client:
    """A connection to a compositor. Objects are numbers, and requests are numbered by their place in the protocol."""

    DISPLAY, REGISTRY = 1, 2

    def __init__(self, path):
        self.socket = socket.socket(socket.AF_UNIX)
        self.socket.connect(path)
        self.socket.settimeout(60)
        self.last = self.REGISTRY
        self.globals = {}
        self.unread = b""
        self.request(self.DISPLAY, 1, self.REGISTRY)  # get_registry
        self.round_trip()

    def close(self):
        self.socket.close()

    def new(self):
        """The number of the object that the next request makes; they are to be used in their order."""
        self.last += 1
        return self.last

    def request(self, target, number, *values, descriptor=None):
        """Values are whole numbers or texts."""
        body = b"".join(self._text(value) if isinstance(value, str) else struct.pack("=i" if value < 0 else "=I", value)
                        for value in values)
        message = struct.pack("=II", target, (8 + len(body)) << 16 | number) + body
        if descriptor is None:
            self.socket.sendall(message)
        else:
            socket.send_fds(self.socket, [message], [descriptor])

    @staticmethod
    def _text(value):
        data = value.encode() + b"\0"
        return struct.pack("=I", len(data)) + data + b"\0" * (-len(data) % 4)

    def bind(self, interface):
        name, version = self.globals[interface]
        target = self.new()
        self.request(self.REGISTRY, 0, name, interface, version, target)
        return target

    def _event(self):
        """The next event: its object, its number and its content."""
        while True:
            if len(self.unread) >= 8:
                target, word = struct.unpack_from("=II", self.unread)
                if len(self.unread) >= word >> 16:
                    body, self.unread = self.unread[8:word >> 16], self.unread[word >> 16:]
                    return target, word & 0xffff, body
            data = self.socket.recv(65536)
            if not data:
                raise ConnectionError("the compositor has closed the connection")
            self.unread += data

    def wait(self, wanted, number):
        """The content of an event of this object."""
        while True:
            target, kind, body = self._event()
            if (target, kind) == (self.DISPLAY, 0):
                raise RuntimeError("refused by the compositor: %r" % body)
            if (target, kind) == (self.REGISTRY, 0):
                name, length = struct.unpack_from("=II", body)
                [version] = struct.unpack_from("=I", body, 8 + length + -length % 4)
                self.globals[body[8:7 + length].decode()] = name, version
            if (target, kind) == (wanted, number):
                return body

    def round_trip(self):
        callback = self.new()
        self.request(self.DISPLAY, 0, callback)  # sync
        self.wait(callback, 0)


class Seat:
    """A mouse and a keyboard, with the methods of XDisplay that tests use."""

    def __init__(self, path):
        self.client = Client(path)
        seat = self.client.bind("wl_seat")
        self.mouse = self._device("zwlr_virtual_pointer_manager_v1", seat)
        self.keyboard = self._device("zwp_virtual_keyboard_manager_v1", seat)
        keymap = os.memfd_create("keymap")
        os.write(keymap, KEYMAP)
        self.client.request(self.keyboard, 0, 1, len(KEYMAP), descriptor=keymap)
        os.close(keymap)
        self.client.round_trip()

    def close(self):
        self.client.close()

    def _device(self, manager, seat):
        maker, device = self.client.bind(manager), self.client.new()
        self.client.request(maker, 0, seat, device)
        return device

    @staticmethod
    def _now():
        return int(time.monotonic() * 1000) & 0xffffffff

    def move(self, x, y):
        self.client.request(self.mouse, 1, self._now(), x, y, *SIZE)
        self.client.request(self.mouse, 4)  # the end of what belongs together
        self.client.round_trip()

    def button(self, number, down):
        self.client.request(self.mouse, 2, self._now(), BUTTONS[number], int(down))
        self.client.request(self.mouse, 4)
        self.client.round_trip()

    def click(self, x, y, button=1, times=1):
        self.move(x, y)
        for _ in range(times):
            self.button(button, True)
            self.button(button, False)

    def keys(self, *names):
        """Presses keys, each with its modifiers in front: "alt+F4"."""
        for name in names:
            *modifiers, last = name.split("+") if len(name) > 1 else [name]
            code, shift = key_of(last)
            held = [MODIFIERS[word] for word in modifiers + ["shift"] * shift]
            state = sum(bit for _, bit in held)
            for key, _ in held:
                self._key(key, True)
            self.client.request(self.keyboard, 2, state, 0, 0, 0)
            self._key(code, True)
            self._key(code, False)
            for key, _ in held[::-1]:
                self._key(key, False)
            self.client.request(self.keyboard, 2, 0, 0, 0, 0)
        self.client.round_trip()

    def _key(self, code, down):
        self.client.request(self.keyboard, 1, self._now(), code, int(down))

    def type(self, text):
        self.keys(*text)

    def activation_token(self):
        """What a panel hands to a program that the user has started."""
        maker, token = self.client.bind("xdg_activation_v1"), self.client.new()
        self.client.request(maker, 1, token)
        self.client.request(token, 3)  # commit
        body = self.client.wait(token, 0)
        return body[4:3 + struct.unpack_from("=I", body)[0]].decode()


class Desktop:
    """Sway for a session, whose programs then find it instead of the X display."""

    def __init__(self, session):
        self.session = session
        runtime = session.env["XDG_RUNTIME_DIR"]
        config = os.path.join(session.root, "sway")
        with open(config, "w", encoding="utf-8") as f:
            f.write(CONFIG)
        self.control = os.path.join(runtime, "sway")
        env = {**session.env, "WLR_BACKENDS": "headless", "WLR_RENDERER": "pixman", "WLR_LIBINPUT_NO_DEVICES": "1",
               "SWAYSOCK": self.control}
        for name in ("DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"):
            env.pop(name, None)
            session.env.pop(name, None)
        before = set(os.listdir(runtime))
        # It refuses to run as root, who is therefore mapped to another user.
        other = ["unshare", "--map-user=1000", "--map-group=1000"] if os.geteuid() == 0 else []
        # It ends with the tests, however they end.
        command = [*other, "setpriv", "--pdeathsig", "TERM", "sway", "--config", config]
        self.log = os.path.join(session.root, "sway.log")
        with open(self.log, "wb") as log:
            self.process = subprocess.Popen(command, env=env, stdin=subprocess.DEVNULL, stdout=log, stderr=log)

        def display():
            found = {name for name in os.listdir(runtime) if name.startswith("wayland-") and not name.endswith(".lock")}
            if self.process.poll() is not None:
                with open(self.log, encoding="utf-8", errors="replace") as f:
                    raise RuntimeError("sway ended\n" + f.read())
            return sorted(found - before)
        try:
            [name] = harness.wait_until(display, 20, "the compositor")
            session.env["WAYLAND_DISPLAY"] = name
            self.path = os.path.join(runtime, name)
            harness.wait_until(lambda: os.path.exists(self.control) and self.command(""), 20, "the compositor's control")
            self.seat = Seat(self.path)
        except BaseException:
            harness.end_process(self.process)
            raise

    def close(self):
        self.seat.close()
        harness.end_process(self.process)

    def ask(self, kind, text=""):
        with socket.socket(socket.AF_UNIX) as connection:
            connection.settimeout(60)
            connection.connect(self.control)
            connection.sendall(b"i3-ipc" + struct.pack("=II", len(text.encode()), kind) + text.encode())
            with connection.makefile("rb") as answer:
                length, _ = struct.unpack("=II", answer.read(14)[6:])
                return json.loads(answer.read(length))

    def command(self, text):
        """Runs a command of sway's. Whether it did."""
        return all(each["success"] for each in self.ask(RUN_COMMAND, text))

    def windows(self):
        """The windows as sway describes them."""
        waiting, found = [self.ask(GET_TREE)], []
        while waiting:
            node = waiting.pop()
            waiting += node["nodes"] + node["floating_nodes"]
            if node.get("pid"):
                found.append(node)
        return found

    def find(self, title):
        """The window of this title, or None."""
        return next((window for window in self.windows() if window["name"] == title), None)

    def wait(self, title):
        return harness.wait_until(lambda: self.find(title), 20, "the window %r" % title)

    def wait_gone(self, title):
        harness.wait_until(lambda: not self.find(title), 20, "the end of the window %r" % title)

    def focus(self, title):
        """Gives a window the keyboard, as a click on it would."""
        harness.wait_until(lambda: self.command("[con_id=%d] focus" % self.wait(title)["id"]) and self.has_focus(title), 20,
                           "the keyboard in %r" % title)

    def has_focus(self, title):
        return bool((self.find(title) or {}).get("focused"))

    def wait_focus(self, title):
        harness.wait_until(lambda: self.has_focus(title), 20, "the keyboard in %r" % title)

    def put(self, title, left, top):
        self.command("[con_id=%d] move absolute position %d %d" % (self.wait(title)["id"], left, top))

    def content(self, title):
        """(left, top, width, height) of what is inside of the window's frame."""
        window = self.wait(title)
        inner = window["window_rect"]
        return window["rect"]["x"] + inner["x"], window["rect"]["y"] + inner["y"], inner["width"], inner["height"]

    def middle(self, title):
        left, top, width, height = self.content(title)
        return left + width // 2, top + height // 2

    def save_screenshot(self, name):
        """Like Session's."""
        folder = os.environ.get("PELLORA_PICTURES")
        if folder:
            os.makedirs(folder, exist_ok=True)
            subprocess.run(["grim", os.path.join(folder, name + ".png")], env=self.session.env, stdin=subprocess.DEVNULL,
                           stdout=self.session.log, stderr=self.session.log, check=True)

"""A client of an X display that has a window manager: queries windows, and sends keys, clicks and requests to close
reliably.

All events of one action are sent to the server in one piece, so that even on a busy machine no key repeats between its
press and its release, and two clicks are a double click. Keys are sent only to a window that has the keyboard focus."""

import contextlib
import functools
import subprocess
import sys
import threading
import time

sys.path.append("/usr/lib/python3/dist-packages")  # Debian's modules, if another Python runs this
from Xlib import X, XK, error  # noqa: E402
from Xlib.display import Display  # noqa: E402
from Xlib.ext import xtest  # noqa: E402
from Xlib.protocol.event import ClientMessage  # noqa: E402

MODIFIERS = {"alt": "Alt_L", "ctrl": "Control_L", "shift": "Shift_L"}
ICONIC = 3  # a state of WM_CHANGE_STATE


def _query(closed):
    """A query that no other thread interrupts. Its result is `closed` if the window was closed meanwhile."""
    def decorate(method):
        @functools.wraps(method)
        def query(self, *arguments):
            with self.lock:
                try:
                    return method(self, *arguments)
                except error.XError:
                    return closed
        return query
    return decorate


class XDisplay:
    """Windows are identified by their numbers."""

    def __init__(self, name=None):
        self.display = Display(name)
        self.display.set_error_handler(lambda *_: None)  # of requests without a reply, to windows that were closed
        self.root = self.display.screen().root.id
        self.lock = threading.RLock()

    def close(self):
        with contextlib.suppress(error.ConnectionClosedError):
            self.display.close()

    def atom(self, name):
        return self.display.get_atom(name)

    def _window(self, number):
        return self.display.create_resource_object("window", number)

    @_query([])
    def property(self, window, name):
        """The property's numbers or bytes; empty if it is not set."""
        found = self._window(window).get_full_property(self.atom(name), X.AnyPropertyType, sizehint=100)
        if not found:
            return []
        return found.value if found.format == 8 else list(found.value)

    def clients(self):
        """The windows managed by the window manager."""
        return self.property(self.root, "_NET_CLIENT_LIST")

    def all(self):
        """(window, title, whether it is a dialog, process) of each."""
        found = []
        for window in self.clients():
            kinds = self.property(window, "_NET_WM_WINDOW_TYPE")
            if kinds:
                title = bytes(self.property(window, "_NET_WM_NAME")).decode(errors="replace")
                [pid] = self.property(window, "_NET_WM_PID") or [0]
                found.append((window, title, self.atom("_NET_WM_WINDOW_TYPE_DIALOG") in kinds, pid))
        return found

    def dialogs(self):
        """(window, title) of each."""
        return [(window, title) for window, title, is_dialog, _ in self.all() if is_dialog]

    @_query((0, 0, 0, 0))
    def place(self, window):
        """(left, top, width, height) on the screen; all 0 if the window is closed."""
        size = self._window(window).get_geometry()
        corner = self._window(self.root).translate_coords(window, 0, 0)
        return corner.x, corner.y, size.width, size.height

    @_query(False)
    def shows(self, window, x, y):
        """Whether the window is the one at this position of the screen."""
        at = self._window(self.root)
        while at and at.id != window:
            at = at.translate_coords(self.root, x, y).child
        return bool(at)

    @_query([])
    def children(self, window):
        return [child.id for child in self._window(window).query_tree().children]

    def tree(self):
        """All windows of the display, those without a frame and those that are not shown included."""
        waiting = [self.root]
        while waiting:
            found = self.children(waiting.pop())
            yield from found
            waiting += found

    @_query(False)
    def _is_mapped(self, window):
        return self._window(window).get_attributes().map_state == X.IsViewable

    def menus(self):
        """The open menus of all programs: windows that have a type and no frame. The menu of a tray icon has the type
        of an ordinary window."""
        kinds = {self.atom("_NET_WM_WINDOW_TYPE_" + name) for name in ("POPUP_MENU", "DROPDOWN_MENU", "NORMAL")}
        return [window for window in self.children(self.root)
                if kinds.intersection(self.property(window, "_NET_WM_WINDOW_TYPE")) and self._is_mapped(window)]

    def has_manager(self):
        return bool(self.property(self.root, "_NET_SUPPORTING_WM_CHECK"))

    @_query(False)
    def has_keyboard(self, window):
        return self.property(self.root, "_NET_ACTIVE_WINDOW")[:1] == [window] and \
            getattr(self.display.get_input_focus().focus, "id", None) == window

    @_query(b"")
    def image(self, left, top, width, height):
        """This area of the screen, four bytes a pixel: blue, green, red, and one without a meaning."""
        return self._window(self.root).get_image(left, top, width, height, X.ZPixmap, 0xffffffff).data

    def screenshot(self, path):
        subprocess.run(["import", "-display", self.display.get_display_name(), "-window", "root", path],
                       stdin=subprocess.DEVNULL, check=True, timeout=60)

    def ask_manager(self, window, message, *values):
        data = (32, [*values, 0, 0, 0, 0, 0][:5])
        event = ClientMessage(window=window, client_type=self.atom(message), data=data)
        with self.lock:
            self._window(self.root).send_event(event, X.SubstructureRedirectMask | X.SubstructureNotifyMask)
            self.display.sync()

    def activate(self, window, timeout=60):
        """Raises the window and waits until it has the keyboard focus. False if it is closed meanwhile."""
        end = time.monotonic() + timeout
        while window in self.clients():
            if self.has_keyboard(window):
                return True
            if time.monotonic() > end:
                raise TimeoutError("window %#x does not get the keyboard focus" % window)
            self.ask_manager(window, "_NET_ACTIVE_WINDOW", 2, 0, 0)
            again = time.monotonic() + 1
            while time.monotonic() < again and not self.has_keyboard(window):
                time.sleep(0.01)
        return False

    def minimise(self, window):
        self.ask_manager(window, "WM_CHANGE_STATE", ICONIC)

    def configure(self, window, **values):
        """Requests another x, y, width or height."""
        with self.lock:
            self._window(window).configure(**values)
            self.display.sync()

    def close_window(self, window, timeout=60):
        """Closes it like the close box of its frame. Returns when the window manager no longer manages it."""
        end = time.monotonic() + timeout
        while window in self.clients():
            if time.monotonic() > end:
                raise TimeoutError("window %#x does not close" % window)
            self.ask_manager(window, "_NET_CLOSE_WINDOW", 0, 2)
            again = time.monotonic() + 3
            while time.monotonic() < again and window in self.clients():
                time.sleep(0.02)

    def _key(self, name):
        """(key code, whether shift is needed) of a key's name or of a character."""
        symbol = XK.string_to_keysym(name) or (ord(name) if len(name) == 1 else 0)
        for code, index in self.display.keysym_to_keycodes(symbol):
            return code, index == 1
        raise ValueError("no key " + name)

    def _fake(self, *events):
        """Sends these pairs of a kind and a key or button in one piece."""
        with self.lock:
            for kind, detail in events:
                xtest.fake_input(self.display, kind, detail)
            self.display.sync()

    def keys(self, *names):
        """Presses keys, each with its modifiers in front: "alt+F4"."""
        events = []
        for name in names:
            *modifiers, last = name.split("+") if len(name) > 1 else [name]
            code, shift = self._key(last)
            held = [self._key(MODIFIERS[word])[0] for word in modifiers + ["shift"] * shift]
            events += [(X.KeyPress, each) for each in held + [code]]
            events += [(X.KeyRelease, each) for each in [code] + held[::-1]]
        self._fake(*events)

    def type(self, text):
        self.keys(*text)

    def button(self, number, down):
        self._fake((X.ButtonPress if down else X.ButtonRelease, number))

    def move(self, x, y):
        with self.lock:
            xtest.fake_input(self.display, X.MotionNotify, x=x, y=y)
            self.display.sync()

    def click(self, x, y, button=1, times=1):
        with self.lock:
            xtest.fake_input(self.display, X.MotionNotify, x=x, y=y)
            self._fake(*[(X.ButtonPress, button), (X.ButtonRelease, button)] * times)

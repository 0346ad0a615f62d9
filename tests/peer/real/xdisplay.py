"""A client of the run's display: queries windows, and sends keys, clicks and requests to close reliably.

All events of one action are sent to the server in one piece, so that even on a busy machine no key repeats between its
press and its release, and two clicks are a double click. Keys are sent only to a window that has the keyboard focus."""

import ctypes
import threading
import time

CLIENT_MESSAGE = 33
REDIRECT_AND_NOTIFY = (1 << 20) | (1 << 19)
ANY_TYPE = 0
VIEWABLE = 2
MODIFIERS = {"alt": "Alt_L", "ctrl": "Control_L", "shift": "Shift_L"}
Handle = ctypes.c_ulong


class ClientMessage(ctypes.Structure):
    _fields_ = [("type", ctypes.c_int), ("serial", ctypes.c_ulong), ("send_event", ctypes.c_int),
                ("display", ctypes.c_void_p), ("window", Handle), ("message_type", Handle), ("format", ctypes.c_int),
                ("data", ctypes.c_long * 5), ("padding", ctypes.c_long * 24)]


class Failed(ctypes.Structure):
    _fields_ = [("type", ctypes.c_int), ("display", ctypes.c_void_p), ("resource", Handle), ("serial", ctypes.c_ulong),
                ("code", ctypes.c_ubyte), ("request", ctypes.c_ubyte), ("minor", ctypes.c_ubyte)]


class Attributes(ctypes.Structure):
    _fields_ = [("place", ctypes.c_int * 6), ("visual", ctypes.c_void_p), ("root", Handle), ("kind", ctypes.c_int * 4),
                ("planes", ctypes.c_ulong * 2), ("save_under", ctypes.c_int), ("colours", ctypes.c_ulong),
                ("installed", ctypes.c_int), ("map_state", ctypes.c_int), ("masks", ctypes.c_long * 3),
                ("override", ctypes.c_int), ("screen", ctypes.c_void_p)]


Handler = ctypes.CFUNCTYPE(ctypes.c_int, ctypes.c_void_p, ctypes.POINTER(Failed))
# A window may be closed between two queries; the result is empty then.
_ignore = Handler(lambda _display, _error: 0)


def _libraries():
    x, test = ctypes.CDLL("libX11.so.6"), ctypes.CDLL("libXtst.so.6")
    pointer, number, size = ctypes.c_void_p, ctypes.c_int, ctypes.c_long
    for library, name, result, arguments in (
            (x, "XOpenDisplay", pointer, [ctypes.c_char_p]),
            (x, "XCloseDisplay", number, [pointer]),
            (x, "XDefaultRootWindow", Handle, [pointer]),
            (x, "XInternAtom", Handle, [pointer, ctypes.c_char_p, number]),
            (x, "XGetWindowProperty", number, [pointer, Handle, Handle, size, size, number, Handle] + [pointer] * 5),
            (x, "XFree", number, [pointer]),
            (x, "XSendEvent", number, [pointer, Handle, number, size, pointer]),
            (x, "XSync", number, [pointer, number]),
            (x, "XGetInputFocus", number, [pointer, pointer, pointer]),
            (x, "XTranslateCoordinates", number, [pointer, Handle, Handle, number, number] + [pointer] * 3),
            (x, "XGetGeometry", number, [pointer, Handle] + [pointer] * 7),
            (x, "XQueryTree", number, [pointer, Handle] + [pointer] * 4),
            (x, "XGetWindowAttributes", number, [pointer, Handle, pointer]),
            (x, "XStringToKeysym", Handle, [ctypes.c_char_p]),
            (x, "XKeysymToKeycode", ctypes.c_ubyte, [pointer, Handle]),
            (x, "XkbKeycodeToKeysym", Handle, [pointer, ctypes.c_ubyte, number, number]),
            (x, "XSetErrorHandler", pointer, [Handler]),
            (test, "XTestFakeKeyEvent", number, [pointer, ctypes.c_uint, number, ctypes.c_ulong]),
            (test, "XTestFakeButtonEvent", number, [pointer, ctypes.c_uint, number, ctypes.c_ulong]),
            (test, "XTestFakeMotionEvent", number, [pointer, number, number, number, ctypes.c_ulong])):
        function = getattr(library, name)
        function.restype, function.argtypes = result, arguments
    x.XSetErrorHandler(_ignore)
    return x, test


class XDisplay:
    """Windows are identified by their numbers as text, as in the output of X tools."""

    def __init__(self, name):
        self.x, self.test = _libraries()
        self.display = self.x.XOpenDisplay(name.encode())
        if not self.display:
            raise OSError("no display " + name)
        self.root = self.x.XDefaultRootWindow(self.display)
        self.lock = threading.RLock()
        self.atoms = {}

    def close(self):
        if self.display:
            self.x.XCloseDisplay(self.display)
            self.display = None

    def atom(self, name):
        if name not in self.atoms:
            self.atoms[name] = self.x.XInternAtom(self.display, name.encode(), 0)
        return self.atoms[name]

    def property(self, window, name):
        """The property's numbers or bytes; empty if it is not set."""
        kind, form, count, after = Handle(), ctypes.c_int(), ctypes.c_ulong(), ctypes.c_ulong()
        data = ctypes.c_void_p()
        with self.lock:
            failed = self.x.XGetWindowProperty(
                self.display, window, self.atom(name), 0, 1 << 16, 0, ANY_TYPE, ctypes.byref(kind), ctypes.byref(form),
                ctypes.byref(count), ctypes.byref(after), ctypes.byref(data))
            if failed or not data.value:
                return []
            try:
                if form.value == 8:
                    return ctypes.string_at(data.value, count.value)
                if form.value == 16:
                    return list(ctypes.cast(data, ctypes.POINTER(ctypes.c_ushort))[:count.value])
                return list(ctypes.cast(data, ctypes.POINTER(ctypes.c_ulong))[:count.value])
            finally:
                self.x.XFree(data)

    def clients(self):
        """The windows managed by the window manager."""
        return ["0x%x" % window for window in self.property(self.root, "_NET_CLIENT_LIST")]

    def all(self):
        """(window, title, whether it is a dialog, process) of each."""
        found = []
        for window in self.clients():
            number = int(window, 16)
            kinds = self.property(number, "_NET_WM_WINDOW_TYPE")
            if not kinds:
                continue
            pid = self.property(number, "_NET_WM_PID")
            title = bytes(self.property(number, "_NET_WM_NAME")).decode(errors="replace")
            found.append((window, title, self.atom("_NET_WM_WINDOW_TYPE_DIALOG") in kinds, pid[0] if pid else 0))
        return found

    def place(self, window):
        """(left, top, width, height) on the screen; all 0 if the window is closed."""
        rest = [ctypes.c_uint() for _ in range(6)]
        root, child, x, y = Handle(), Handle(), ctypes.c_int(), ctypes.c_int()
        number = int(window, 0)
        with self.lock:
            if not self.x.XGetGeometry(self.display, number, ctypes.byref(root), *map(ctypes.byref, rest)):
                return 0, 0, 0, 0
            if not self.x.XTranslateCoordinates(self.display, number, self.root, 0, 0, ctypes.byref(x), ctypes.byref(y),
                                                ctypes.byref(child)):
                return 0, 0, 0, 0
        return x.value, y.value, rest[2].value, rest[3].value

    def shows(self, window, x, y):
        """Whether the window is the one at this position of the screen."""
        wanted, at = int(window, 0), self.root
        a, b, child = ctypes.c_int(), ctypes.c_int(), Handle()
        with self.lock:
            while at:
                if not self.x.XTranslateCoordinates(self.display, self.root, at, x, y, ctypes.byref(a), ctypes.byref(b),
                                                    ctypes.byref(child)):
                    return False
                if at == wanted:
                    return True
                at = child.value
        return False

    def menus(self):
        """The open menus of all programs: windows that have a type and no frame. The menu of a tray icon has the type
        of an ordinary window."""
        kinds = {self.atom("_NET_WM_WINDOW_TYPE_" + name) for name in ("POPUP_MENU", "DROPDOWN_MENU", "NORMAL")}
        root, parent, children, count = Handle(), Handle(), ctypes.POINTER(Handle)(), ctypes.c_uint()
        with self.lock:
            if not self.x.XQueryTree(self.display, self.root, ctypes.byref(root), ctypes.byref(parent),
                                     ctypes.byref(children), ctypes.byref(count)):
                return []
            found = children[:count.value]
            if children:
                self.x.XFree(children)
            return ["0x%x" % window for window in found
                    if kinds.intersection(self.property(window, "_NET_WM_WINDOW_TYPE")) and self._is_mapped(window)]

    def _is_mapped(self, window):
        attributes = Attributes()
        return bool(self.x.XGetWindowAttributes(self.display, window, ctypes.byref(attributes))) and \
            attributes.map_state == VIEWABLE

    def has_manager(self):
        return bool(self.property(self.root, "_NET_SUPPORTING_WM_CHECK"))

    def has_keyboard(self, window):
        number = int(window, 0)
        focus, revert = Handle(), ctypes.c_int()
        with self.lock:
            if self.property(self.root, "_NET_ACTIVE_WINDOW")[:1] != [number]:
                return False
            self.x.XGetInputFocus(self.display, ctypes.byref(focus), ctypes.byref(revert))
        return focus.value == number

    def ask_manager(self, window, message, *values):
        event = ClientMessage(type=CLIENT_MESSAGE, window=int(window, 0), format=32)
        event.message_type = self.atom(message)
        event.data[:len(values)] = values
        with self.lock:
            self.x.XSendEvent(self.display, self.root, 0, REDIRECT_AND_NOTIFY, ctypes.byref(event))
            self.x.XSync(self.display, 0)

    def activate(self, window, timeout=60):
        """Raises the window and waits until it has the keyboard focus. False if it is closed meanwhile."""
        end = time.monotonic() + timeout
        while window in self.clients():
            if self.has_keyboard(window):
                return True
            if time.monotonic() > end:
                raise TimeoutError("window %s does not get the keyboard focus" % window)
            self.ask_manager(window, "_NET_ACTIVE_WINDOW", 2, 0, 0)
            again = time.monotonic() + 1
            while time.monotonic() < again and not self.has_keyboard(window):
                time.sleep(0.01)
        return False

    def close_window(self, window, timeout=60):
        """Closes it like the close box of its frame. Returns when the window manager no longer manages it."""
        end = time.monotonic() + timeout
        while window in self.clients():
            if time.monotonic() > end:
                raise TimeoutError("window %s does not close" % window)
            self.ask_manager(window, "_NET_CLOSE_WINDOW", 0, 2)
            again = time.monotonic() + 3
            while time.monotonic() < again and window in self.clients():
                time.sleep(0.02)

    def _key(self, name):
        """(key code, whether shift is needed) of a key's name or of a character."""
        symbol = self.x.XStringToKeysym(name.encode()) or (ord(name) if len(name) == 1 else 0)
        code = self.x.XKeysymToKeycode(self.display, symbol)
        if not code:
            raise ValueError("no key " + name)
        return code, self.x.XkbKeycodeToKeysym(self.display, code, 0, 0) != symbol

    def keys(self, *names):
        """Presses keys, each with its modifiers in front: "alt+F4"."""
        with self.lock:
            for name in names:
                *modifiers, last = name.split("+") if len(name) > 1 else [name]
                code, shift = self._key(last)
                held = [self._key(MODIFIERS[word])[0] for word in modifiers + ["shift"] * shift]
                for each in held + [code]:
                    self.test.XTestFakeKeyEvent(self.display, each, 1, 0)
                for each in [code] + held[::-1]:
                    self.test.XTestFakeKeyEvent(self.display, each, 0, 0)
            self.x.XSync(self.display, 0)

    def type(self, text):
        self.keys(*text)

    def button(self, number, down):
        with self.lock:
            self.test.XTestFakeButtonEvent(self.display, number, down, 0)
            self.x.XSync(self.display, 0)

    def move(self, x, y):
        with self.lock:
            self.test.XTestFakeMotionEvent(self.display, -1, x, y, 0)
            self.x.XSync(self.display, 0)

    def click(self, x, y, button=1, times=1):
        with self.lock:
            self.test.XTestFakeMotionEvent(self.display, -1, x, y, 0)
            for _ in range(times):
                self.test.XTestFakeButtonEvent(self.display, button, 1, 0)
                self.test.XTestFakeButtonEvent(self.display, button, 0, 0)
            self.x.XSync(self.display, 0)

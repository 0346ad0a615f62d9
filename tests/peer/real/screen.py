"""The windows of a session as used by assistive technology and the mouse: elements by role and name."""

import json
import os
import subprocess

import harness


class Element:
    def __init__(self, data):
        self.role = data["role"]
        self.name = data["name"]
        self.text = data["text"]
        self.states = set(data["states"])
        self.left, self.top, self.width, self.height = data["area"]

    def __repr__(self):
        return "%s %r" % (self.role, self.name)

    @property
    def middle(self):
        return self.left + self.width // 2, self.top + self.height // 2


class Screen:
    """The session's program must be started after this."""

    def __init__(self, session):
        self.session = session
        session.env["QT_LINUX_ACCESSIBILITY_ALWAYS_ON"] = "1"
        # The bindings are part of Debian's Python, which may not be the one that runs the tests.
        self.reader = subprocess.Popen(
            ["/usr/bin/python3", os.path.join(harness.HERE, "screen_reader.py")], env=session.env,
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=session.log, text=True)

    def close(self):
        self.reader.stdin.close()
        harness.end_process(self.reader)
        self.reader.stdout.close()

    def _ask(self, line):
        self.reader.stdin.write(line + "\n")
        self.reader.stdin.flush()
        return json.loads(self.reader.stdout.readline())

    def elements(self, window=""):
        """Everything on the screen now, in windows whose titles contain `window`."""
        return [Element(data) for data in self._ask(window)]

    def windows(self):
        """(role, name) of each window, minimised or not."""
        return [tuple(each) for each in self._ask("*")]

    def find(self, role, name, window=""):
        for element in self.elements(window):
            if element.role == role and element.name == name:
                return element
        return None

    def wait(self, role, name, window="", state=None, timeout=20):
        def there():
            element = self.find(role, name, window)
            return element if element and (state is None or state in element.states) else None
        return harness.wait_until(there, timeout, "%s %r" % (role, name))

    def wait_gone(self, role, name, window="", timeout=20):
        harness.wait_until(lambda: self.find(role, name, window) is None, timeout, "the end of %s %r" % (role, name))

    @property
    def x(self):
        return self.session.stage.x

    def raise_window(self, part):
        """Activates the window whose title is `part` or contains it. Returns its id."""
        def found():
            return next(filter(self.x.activate, self.session.titled(part)), None)
        return harness.wait_until(found, 20, "a window of %r" % part)

    def steady(self, role, name, window=""):
        """The element once its position is stable: windows may move right after they are shown."""
        last = []

        def there():
            element = self.find(role, name, window)
            last.append(element.middle if element else None)
            return element if element and last[-2:] == [element.middle] * 2 else None
        return harness.wait_until(there, 20, "%s %r" % (role, name))

    def click(self, role, name, window="", button=1, repeat=1):
        if window:
            raised = self.raise_window(window)
        x, y = self.steady(role, name, window).middle
        if window:
            harness.wait_until(lambda: self.x.shows(raised, x, y) or self.x.ask_manager(
                raised, "_NET_ACTIVE_WINDOW", 2, 0, 0), 20, "%s %r in front" % (role, name))
        self.x.click(x, y, button, repeat)

    def double_click(self, role, name, window=""):
        self.click(role, name, window, repeat=2)

    def keys(self, *names):
        self.x.keys(*names)

    def type(self, text):
        self.x.type(text)

    def answer(self, text, key):
        """Presses a button of the message box that shows `text`."""
        self.wait("label", text)
        self.click("push button", key)
        self.wait_gone("label", text)

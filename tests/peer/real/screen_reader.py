"""Prints what assistive technology can read of the windows on a session's bus. Runs on Debian's Python, which has the
bindings.

For each input line, the name of a window or nothing for all, it prints a JSON list of the elements on the screen, each
after its parent. The line "*" lists only the windows, including those that are not on the screen."""

import json
import sys
import warnings

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi, GLib  # noqa: E402

warnings.simplefilter("ignore")
STATES = ("FOCUSABLE", "FOCUSED", "ENABLED", "CHECKED", "SELECTED", "SHOWING")


def text_of(element, role):
    if role != "text":
        return ""
    return Atspi.Text.get_text(element, 0, -1)


def walk(element, parent, found):
    states = element.get_state_set()
    role = element.get_role_name()
    if not states.contains(Atspi.StateType.SHOWING) and role not in ("application", "menu bar"):
        return
    area = element.get_extents(Atspi.CoordType.SCREEN) if role != "application" else None
    found.append({
        "role": role,
        "name": element.get_name(),
        "parent": parent,
        "text": text_of(element, role),
        "area": [area.x, area.y, area.width, area.height] if area else [0, 0, 0, 0],
        "states": [name for name in STATES if states.contains(getattr(Atspi.StateType, name))],
    })
    own = len(found) - 1
    for index in range(element.get_child_count()):
        child = element.get_child_at_index(index)
        if child:
            walk(child, own, found)


def tops():
    desktop = Atspi.get_desktop(0)
    for number in range(desktop.get_child_count()):
        application = desktop.get_child_at_index(number)
        for index in range(application.get_child_count() if application else 0):
            top = application.get_child_at_index(index)
            if top:
                yield top


def look(window):
    if window == "*":
        return [[top.get_role_name(), top.get_name()] for top in tops()]
    found = []
    for top in tops():
        if window in (top.get_name() or ""):
            walk(top, None, found)
    return found


def main():
    for line in sys.stdin:
        for _ in range(10):
            try:
                answer = look(line.rstrip("\n"))
                break
            except GLib.Error:
                answer = []  # something vanished meanwhile: try again
        print(json.dumps(answer), flush=True)


main()

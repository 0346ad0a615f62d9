"""Prints what assistive technology is notified of by programs on a session's bus, until it is ended: one line for each
change of a name, a value or a description, with the role and the name of the element. Runs on Debian's Python."""

import warnings

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi  # noqa: E402

warnings.simplefilter("ignore")
KINDS = ("accessible-name", "accessible-value", "accessible-description")


def show(event):
    kind = event.type.rsplit(":", 1)[-1]
    print("%s\t%s\t%s" % (kind, event.source.get_role_name(), event.source.get_name()), flush=True)


listener = Atspi.EventListener.new(show)
for each in KINDS:
    listener.register("object:property-change:" + each)
print("ready", flush=True)
Atspi.event_main()

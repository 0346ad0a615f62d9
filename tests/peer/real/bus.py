"""Connections to a session's bus, by jeepney. The desktops that tests play also call the program, which those of
python3-dbusmock do not."""

import sys
import threading

sys.path.append("/usr/lib/python3/dist-packages")  # Debian's modules, if another Python runs this
from jeepney import (DBusAddress, DBusErrorResponse as BusError, HeaderFields, MatchRule, MessageFlag, new_error,
                     new_method_call, new_method_return, new_signal)
from jeepney.io import blocking
from jeepney.io.threading import DBusRouter, open_dbus_connection
from jeepney.wrappers import unwrap_msg

TIMEOUT = 120  # seconds
NO_AUTO_START = MessageFlag.no_auto_start
MEMBER = HeaderFields.member
SIGNATURES = {str: "s", int: "u"}
UNKNOWN_METHOD = "org.freedesktop.DBus.Error.UnknownMethod"


class Bus:
    """Calls others, from one thread. Values are as jeepney has them: a variant is its signature and its value."""

    def __init__(self, address):
        self.connection = self.router = blocking.open_dbus_connection(address, auth_timeout=TIMEOUT)

    def close(self):
        self.connection.close()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    @staticmethod
    def _message(destination, path, interface, member, values, signature, flags):
        if signature is None:
            signature = "".join(SIGNATURES[type(value)] for value in values)
        message = new_method_call(DBusAddress(path, destination, interface), member, signature or None, values)
        message.header.flags = flags
        return message

    def call(self, destination, path, interface, member, *values, signature=None, flags=MessageFlag(0)):
        """The results. Without a signature all arguments are texts or numbers. BusError if the reply is an
        error."""
        message = self._message(destination, path, interface, member, values, signature, flags)
        return unwrap_msg(self.router.send_and_get_reply(message, timeout=TIMEOUT))

    def call_daemon(self, method, *values):
        return self.call("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", method, *values)

    def send(self, destination, path, interface, member, *values, flags=MessageFlag(0)):
        """Like call, without a reply."""
        self.connection.send(self._message(destination, path, interface, member, values, None,
                                           flags | MessageFlag.no_reply_expected))


class Peer(Bus):
    """Is called by others as well: a separate thread reads."""

    def __init__(self, address):
        self.connection = open_dbus_connection(address, auth_timeout=TIMEOUT)
        self.router = DBusRouter(self.connection)

    def close(self):
        if self.connection.sock.fileno() >= 0:
            self.router.close()
            super().close()

    def take_name(self, name):
        self.call_daemon("RequestName", name, 4)

    def listen(self, interface):
        """A queue that gets the signals of an interface."""
        rule = MatchRule(type="signal", interface=interface)
        self.call_daemon("AddMatch", rule.serialise())
        return self.router.filter(rule, bufsize=0).queue

    def emit(self, path, interface, member, signature, *values):
        self.connection.send(new_signal(DBusAddress(path, interface=interface), member, signature, values))

    def serve(self, methods):
        """Answers calls: `methods` maps (interface, method) to a function of (sender, arguments) that returns a signature
        and its values, or the name of an error."""
        calls = self.router.filter(MatchRule(type="method_call"), bufsize=0).queue
        threading.Thread(target=self._answer, args=(calls, methods), daemon=True).start()

    def _answer(self, calls, methods):
        while True:
            call = calls.get()
            fields = call.header.fields
            method = methods.get((fields.get(HeaderFields.interface), fields[HeaderFields.member]))
            answer = method(fields[HeaderFields.sender], call.body) if method else UNKNOWN_METHOD
            if isinstance(answer, str):
                reply = new_error(call, answer)
            else:
                signature, values = answer
                reply = new_method_return(call, signature or None, values)
            try:
                self.connection.send(reply)
            except OSError:
                return  # closed

"""Fast calls over the session bus: many of them, and larger than fit on a command line."""

import os
import re
import socket
import struct

BUS = ("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus")
NO_REPLY_EXPECTED = 1
NO_AUTO_START = 2
REPLY, ERROR = 2, 3


def _text(data, text):
    raw = text.encode()
    data += b"\0" * (-len(data) % 4) + struct.pack("<I", len(raw)) + raw + b"\0"


def _field(data, code, signature, text):
    data += b"\0" * (-len(data) % 8) + struct.pack("<BB", code, len(signature)) + signature.encode() + b"\0"
    if signature == "g":
        data += struct.pack("<B", len(text)) + text.encode() + b"\0"
    else:
        _text(data, text)


class RawBus:
    def __init__(self, address):
        self.socket = socket.socket(socket.AF_UNIX)
        self.socket.settimeout(120)
        self.socket.connect(re.search("path=([^,]*)", address).group(1))
        self.socket.sendall(b"\0AUTH EXTERNAL " + str(os.geteuid()).encode().hex().encode() + b"\r\n")
        if not self.socket.recv(4096).startswith(b"OK"):
            raise ConnectionError("the bus refused the login")
        self.socket.sendall(b"BEGIN\r\n")
        self.serial = 0
        self.call(*BUS, "Hello")

    def close(self):
        self.socket.close()

    def send(self, destination, path, interface, method, *texts, flags=NO_REPLY_EXPECTED):
        """Sends a call with string arguments. Returns its number."""
        body = bytearray()
        for text in texts:
            _text(body, text)
        self.serial += 1
        fields = bytearray()
        for code, signature, text in ((1, "o", path), (2, "s", interface), (3, "s", method), (6, "s", destination)):
            _field(fields, code, signature, text)
        if texts:
            _field(fields, 8, "g", "s" * len(texts))
        head = b"l" + struct.pack("<BBBIII", 1, flags, 1, len(body), self.serial, len(fields)) + fields
        self.socket.sendall(head + b"\0" * (-len(head) % 8) + body)
        return self.serial

    def call(self, destination, path, interface, method, *texts, flags=0):
        """Waits for the reply. Returns its kind (REPLY, ERROR)."""
        number = self.send(destination, path, interface, method, *texts, flags=flags)
        while True:
            kind, answered = self._receive()
            if kind in (REPLY, ERROR) and answered == number:
                return kind

    def _receive(self):
        fixed = self._exactly(16)
        kind = fixed[1]
        body, _, fields = struct.unpack("<III", fixed[4:])
        rest = self._exactly((fields + 7) // 8 * 8 + body)
        answered = None
        at = 0
        while at < fields:  # only the number of the call that it answers, code 5, type u
            at += -at % 8
            code, length = rest[at], rest[at + 1]
            signature = rest[at + 2:at + 2 + length]
            at += 3 + length
            if signature == b"u":
                at += -at % 4
                if code == 5:
                    answered = struct.unpack_from("<I", rest, at)[0]
                at += 4
            elif signature == b"g":
                at += 2 + rest[at]
            else:
                at += -at % 4
                at += 5 + struct.unpack_from("<I", rest, at)[0]
        return kind, answered

    def _exactly(self, count):
        data = bytearray()
        while len(data) < count:
            more = self.socket.recv(count - len(data))
            if not more:
                raise ConnectionError("the bus hung up")
            data += more
        return bytes(data)

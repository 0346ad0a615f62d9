"""A peer on the session bus that can also be called: values of every type, replies, signals, and objects. A separate
thread reads; calls wait for their reply."""

import os
import re
import socket
import struct
import threading

BUS = ("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus")
PROPERTIES = "org.freedesktop.DBus.Properties"
CALL, REPLY, ERROR, SIGNAL = 1, 2, 3, 4
FIXED = {"y": ("B", 1), "b": ("I", 4), "n": ("h", 2), "q": ("H", 2), "i": ("i", 4), "u": ("I", 4), "x": ("q", 8),
         "t": ("Q", 8), "d": ("d", 8)}


class Variant:
    def __init__(self, signature, value):
        self.signature, self.value = signature, value


def split(signature):
    """The complete types in a signature."""
    at = 0
    while at < len(signature):
        end = at
        while signature[end] == "a":
            end += 1
        if signature[end] in "({":
            depth = 0
            while True:
                depth += {"(": 1, "{": 1, ")": -1, "}": -1}.get(signature[end], 0)
                if depth == 0:
                    break
                end += 1
        yield signature[at:end + 1]
        at = end + 1


def alignment(kind):
    if kind[0] in FIXED:
        return FIXED[kind[0]][1]
    return {"s": 4, "o": 4, "a": 4, "(": 8, "{": 8}.get(kind[0], 1)


def pad(data, to):
    data += b"\0" * (-len(data) % to)


def write(data, kind, value):
    pad(data, alignment(kind))
    if kind in FIXED:
        data += struct.pack("<" + FIXED[kind][0], value)
    elif kind in "so":
        raw = value.encode()
        data += struct.pack("<I", len(raw)) + raw + b"\0"
    elif kind == "g":
        data += bytes([len(value)]) + value.encode() + b"\0"
    elif kind == "v":
        write(data, "g", value.signature)
        write(data, value.signature, value.value)
    elif kind[0] == "a":
        items = bytearray()
        start = len(data) + 4
        before = start + -start % alignment(kind[1])
        items += b"\0" * before  # aligns the items as in the message
        for item in value.items() if isinstance(value, dict) else value:
            write(items, kind[1:], item)
        data += struct.pack("<I", len(items) - before)
        pad(data, alignment(kind[1]))
        data += items[before:]
    else:
        for part, item in zip(split(kind[1:-1]), value):
            write(data, part, item)


def read(data, at, kind):
    """(value, position after it)"""
    at += -at % alignment(kind)
    if kind in FIXED:
        form, size = FIXED[kind]
        return struct.unpack_from("<" + form, data, at)[0], at + size
    if kind in "so":
        length = struct.unpack_from("<I", data, at)[0]
        return data[at + 4:at + 4 + length].decode(), at + 5 + length
    if kind == "g":
        return data[at + 1:at + 1 + data[at]].decode(), at + 2 + data[at]
    if kind == "v":
        signature, at = read(data, at, "g")
        return read(data, at, signature)
    if kind[0] == "a":
        length = struct.unpack_from("<I", data, at)[0]
        at += 4
        at += -at % alignment(kind[1])
        end = at + length
        if kind == "ay":
            return bytes(data[at:end]), end
        items = []
        while at < end:
            item, at = read(data, at, kind[1:])
            items.append(item)
        return (dict(items) if kind[1] == "{" else items), end
    values = []
    for part in split(kind[1:-1]):
        value, at = read(data, at, part)
        values.append(value)
    return tuple(values), at


class WireBus:
    """`methods` maps (interface, method) to a function of (sender, arguments) that returns (signature, values)."""

    def __init__(self, address):
        self.socket = socket.socket(socket.AF_UNIX)
        self.socket.connect(re.search("path=([^,]*)", address).group(1))
        self.socket.sendall(b"\0AUTH EXTERNAL " + str(os.geteuid()).encode().hex().encode() + b"\r\n")
        if not self.socket.recv(4096).startswith(b"OK"):
            raise ConnectionError("the bus refused the login")
        self.socket.sendall(b"BEGIN\r\n")
        self.methods = {}
        self.signals = []  # (member, arguments), in order
        self._serial = 0
        self._answers = {}
        self._changed = threading.Condition()
        self._reader = threading.Thread(target=self._read_all, daemon=True)
        self._reader.start()
        self.name = self.call(*BUS, "Hello")[0]

    def close(self):
        if self.socket.fileno() < 0:
            return
        self.socket.shutdown(socket.SHUT_RDWR)
        self._reader.join(5)
        self.socket.close()

    def take_name(self, name):
        self.call(*BUS, "RequestName", "su", name, 4)

    def listen(self, rule):
        self.call(*BUS, "AddMatch", "s", rule)

    def call(self, destination, path, interface, member, signature="", *values, timeout=20):
        with self._changed:
            number = self._send(CALL, {1: ("o", path), 2: ("s", interface), 3: ("s", member), 6: ("s", destination)},
                                signature, values)
            if not self._changed.wait_for(lambda: number in self._answers, timeout):
                raise TimeoutError("no answer to " + member)
            kind, body = self._answers.pop(number)
        if kind == ERROR:
            raise RuntimeError("%s: %s" % (member, body))
        return body

    def properties(self, destination, path, interface):
        return self.call(destination, path, PROPERTIES, "GetAll", "s", interface)[0]

    def emit(self, path, interface, member, signature="", *values):
        with self._changed:
            self._send(SIGNAL, {1: ("o", path), 2: ("s", interface), 3: ("s", member)}, signature, values)

    def _send(self, kind, fields, signature, values, flags=0):
        body = bytearray()
        for part, value in zip(split(signature), values):
            write(body, part, value)
        if signature:
            fields[8] = ("g", signature)
        self._serial += 1
        message = bytearray(b"l" + struct.pack("<BBBII", kind, flags, 1, len(body), self._serial))
        write(message, "a(yv)", [(code, Variant(*field)) for code, field in fields.items()])
        pad(message, 8)
        self.socket.sendall(message + body)
        return self._serial

    def _exactly(self, count):
        data = bytearray()
        while len(data) < count:
            more = self.socket.recv(count - len(data))
            if not more:
                raise ConnectionError("the bus hung up")
            data += more
        return data

    def _read_all(self):
        try:
            while True:
                message = self._exactly(16)
                body_size, serial, fields_size = struct.unpack_from("<III", message, 4)
                message += self._exactly(fields_size + -fields_size % 8)
                fields = dict(read(message, 12, "a(yv)")[0])
                body = self._exactly(body_size)
                values, at = [], 0
                for part in split(fields.get(8, "")):
                    value, at = read(body, at, part)
                    values.append(value)
                self._take(message[1], serial, fields, values)
        except (OSError, ConnectionError):
            return

    def _take(self, kind, serial, fields, values):
        with self._changed:
            if kind in (REPLY, ERROR):
                self._answers[fields[5]] = (kind, values)
            elif kind == SIGNAL:
                self.signals.append((fields[3], values))
            elif kind == CALL:
                method = self.methods.get((fields.get(2), fields[3]))
                answer = {5: ("u", serial), 6: ("s", fields[7])}
                if method is None:
                    answer[4] = ("s", "org.freedesktop.DBus.Error.UnknownMethod")
                    self._send(ERROR, answer, "s", ["no such method"], flags=1)
                else:
                    self._send(REPLY, answer, *method(fields[7], values), flags=1)
            self._changed.notify_all()

"""An sftp server that answers the request named by its argument, "open" or "read", by replies to no request, without
end. It serves a file of three bytes otherwise."""

import struct
import sys

INIT, VERSION, OPEN, CLOSE, READ, LSTAT, FSTAT, REALPATH, STAT = 1, 2, 3, 4, 5, 7, 8, 16, 17
STATUS, HANDLE, DATA, NAME, ATTRS = 101, 102, 103, 104, 105
OK, END, UNSUPPORTED = 0, 1, 8
FILE = b"abc"


def number(value):
    return struct.pack(">I", value)


def text(value):
    return number(len(value)) + value


def attributes():
    return number(1) + struct.pack(">Q", len(FILE))


def send(kind, content):
    sys.stdout.buffer.write(number(len(content) + 1) + bytes([kind]) + content)
    sys.stdout.buffer.flush()


def receive():
    """The kind of a request, its id and the rest."""
    head = sys.stdin.buffer.read(4)
    if len(head) < 4:
        sys.exit(0)
    content = sys.stdin.buffer.read(struct.unpack(">I", head)[0])
    return content[0], content[1:5], content[5:]


def flood():
    unasked = 1 << 30
    while True:
        unasked += 1
        send(DATA, number(unasked) + text(b"x" * 30000))


def serve(victim):
    while True:
        kind, request, rest = receive()
        if kind == victim:
            flood()
        if kind == INIT:
            send(VERSION, number(3))
        elif kind == REALPATH:
            send(NAME, request + number(1) + text(b"/") + text(b"/") + number(0))
        elif kind == OPEN:
            send(HANDLE, request + text(b"file"))
        elif kind in (LSTAT, FSTAT, STAT):
            send(ATTRS, request + attributes())
        elif kind == READ:
            offset = struct.unpack(">Q", rest[-12:-4])[0]
            left = FILE[offset:]
            send(*((DATA, request + text(left)) if left else (STATUS, request + number(END) + text(b"") + text(b""))))
        else:
            send(STATUS, request + number(OK if kind == CLOSE else UNSUPPORTED) + text(b"") + text(b""))


if __name__ == "__main__":
    serve({"open": OPEN, "read": READ}[sys.argv[1]])

"""An HTTP/2 server's side of one connection, frame by frame, as right or wrong as the test writes them."""

import struct

DATA, HEADERS, PRIORITY, RST_STREAM, SETTINGS, PUSH_PROMISE, PING, GOAWAY, WINDOW_UPDATE, CONTINUATION = range(10)
ACK = END_STREAM = 1
END_HEADERS = 4
PADDED = 8
PREFACE = b"PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n"


def integer(value, bits, first=0):
    """RFC 7541, section 5.1."""
    most = (1 << bits) - 1
    if value < most:
        return bytes([first | value])
    text = [first | most]
    value -= most
    while value >= 128:
        text.append(value % 128 + 128)
        value //= 128
    return bytes([*text, value])


def field(name, value, stored=False):
    """A header field without Huffman coding; `stored`: it enters the table."""
    return (b"\x40" if stored else b"\x00") + integer(len(name), 7) + name + integer(len(value), 7) + value


def head(status, *fields):
    return field(b":status", b"%d" % status) + b"".join(field(name, value) for name, value in fields)


class Connection:
    """Over `tls`, whose client has chosen "h2"."""

    def __init__(self, tls):
        self.tls = tls
        self.rest = b""
        self.stream = 0  # of the last request
        self.room = 65535  # what the client takes at first, and more as it says
        assert self.read(len(PREFACE)) == PREFACE
        self.send(SETTINGS, 0, 0, b"")

    def read(self, count):
        while len(self.rest) < count:
            more = self.tls.recv(65536)
            if not more:
                raise ConnectionError
            self.rest += more
        text, self.rest = self.rest[:count], self.rest[count:]
        return text

    def receive(self):
        high, low, kind, flags, stream = struct.unpack(">BHBBI", self.read(9))
        text = self.read(high << 16 | low)
        if kind == WINDOW_UPDATE and stream == 0:
            self.room += struct.unpack(">I", text)[0]
        return kind, flags, stream & 0x7FFFFFFF, text

    def wait_for_request(self):
        kind = None
        while kind != HEADERS:
            kind, _, self.stream, _ = self.receive()

    def send(self, kind, flags, stream, text):
        self.tls.sendall(self.frame(kind, flags, stream, text))

    @staticmethod
    def frame(kind, flags, stream, text):
        return struct.pack(">BHBBI", len(text) >> 16, len(text) & 0xFFFF, kind, flags, stream) + text

    def answer(self, *fields, status=200, flags=END_HEADERS):
        self.send(HEADERS, flags, self.stream, head(status, *fields))

    def send_body(self, data, end=True):
        for at in range(0, len(data), 16000):
            piece = data[at:at + 16000]
            while self.room < len(piece):
                self.receive()
            self.room -= len(piece)
            self.send(DATA, END_STREAM if end and at + len(piece) >= len(data) else 0, self.stream, piece)

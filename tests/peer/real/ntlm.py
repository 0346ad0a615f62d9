"""A server and a proxy that demand logins by NTLM version 2 ([MS-NLMP]) or Negotiate (RFC 4559)."""

import base64
import hmac
import http.client
import secrets
import select
import socket
import struct
import urllib.parse

import smallservers

SIGNATURE = b"NTLMSSP\0"
FLAGS = 0x1 | 0x4 | 0x200 | 0x10000 | 0x80000 | 0x800000  # Unicode, NTLM, a domain, version 2, its information


def md4(data):
    """RFC 1320; the system's library no longer has it."""
    def rotated(x, by):
        x &= 0xFFFFFFFF
        return (x << by | x >> 32 - by) & 0xFFFFFFFF

    rounds = (
        (lambda x, y, z: x & y | ~x & z, 0, range(16), (3, 7, 11, 19)),
        (lambda x, y, z: x & y | x & z | y & z, 0x5A827999, [i % 4 * 4 + i // 4 for i in range(16)], (3, 5, 9, 13)),
        (lambda x, y, z: x ^ y ^ z, 0x6ED9EBA1, (0, 8, 4, 12, 2, 10, 6, 14, 1, 9, 5, 13, 3, 11, 7, 15), (3, 9, 11, 15)))
    padded = data + b"\x80" + b"\0" * ((55 - len(data)) % 64) + struct.pack("<Q", 8 * len(data))
    state = (0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476)
    for at in range(0, len(padded), 64):
        words = struct.unpack("<16I", padded[at:at + 64])
        a, b, c, d = state
        for mix, constant, order, shifts in rounds:
            for i, word in enumerate(order):
                a, b, c, d = d, rotated(a + mix(b, c, d) + words[word] + constant, shifts[i % 4]), b, c
        state = tuple((old + new) & 0xFFFFFFFF for old, new in zip(state, (a, b, c, d)))
    return struct.pack("<4I", *state)


def field(message, at):
    length, _, offset = struct.unpack("<HHI", message[at:at + 8])
    return message[offset:offset + length]


class Handshake:
    """The state of one connection. `answer` takes what the client gives and returns what to offer next, or None once the
    connection has logged in."""

    def __init__(self, login):
        self.login, self.done, self.challenge = login, False, b""

    def answer(self, given):
        scheme, _, coded = given.partition(" ")
        if self.done and not given:
            return None
        self.done = False
        message = base64.b64decode(coded) if scheme == "NTLM" else b""
        if not message.startswith(SIGNATURE):
            return "NTLM"
        kind, = struct.unpack("<I", message[8:12])
        if kind == 1:
            return "NTLM " + base64.b64encode(self.second()).decode()
        self.done = kind == 3 and bool(self.challenge) and self.is_right(message)
        self.challenge = b""
        return None if self.done else "NTLM"

    def second(self):
        self.challenge = secrets.token_bytes(8)
        target = "FILES".encode("utf-16-le")
        about = struct.pack("<HH", 2, len(target)) + target + struct.pack("<HH", 0, 0)
        at = 56
        return (SIGNATURE + struct.pack("<IHHII", 2, len(target), len(target), at, FLAGS) + self.challenge + bytes(8) +
                struct.pack("<HHI", len(about), len(about), at + len(target)) + bytes(8) + target + about)

    def is_right(self, message):
        given, domain, user = (field(message, at) for at in (20, 28, 36))
        if user.decode("utf-16-le") != self.login[0] or len(given) <= 24:
            return False
        secret = md4(self.login[1].encode("utf-16-le"))
        key = hmac.digest(secret, self.login[0].upper().encode("utf-16-le") + domain, "md5")
        return hmac.compare_digest(given[:16], hmac.digest(key, self.challenge + given[16:], "md5"))


class _Listener(smallservers.Listener):
    """`seen` has what clients gave with each request, `offers` replaces the handshake: nobody gets in."""

    def __init__(self, handler, login, offers):
        self.login, self.offers, self.seen = login, offers, []
        super().__init__(handler)

    def admits(self, handler, header):
        """None if the connection is logged in, else the offers."""
        given = handler.headers.get(header, "")
        self.seen.append(given)
        if self.offers:
            return list(self.offers)
        handler.shake = getattr(handler, "shake", None) or Handshake(self.login)
        offer = handler.shake.answer(given)
        return None if offer is None else [offer]


class _Handler(smallservers.Handler):
    def admitted(self, header, status, demand):
        offers = self.server.owner.admits(self, header)
        if offers is not None:
            self.refuse(status, [(demand, offer) for offer in offers])
        return offers is None


class _ServerHandler(_Handler):
    def do_GET(self):  # the name is the library's
        if self.admitted("Authorization", 401, "WWW-Authenticate"):
            self.send_file(self.server.owner.data)


class Server(_Listener):
    """One file at every path, with ranges."""

    def __init__(self, data, login=("joe", "s3cret"), offers=()):
        self.data = data
        super().__init__(_ServerHandler, login, offers)


class _ProxyHandler(_Handler):
    def is_admitted(self):
        return self.admitted("Proxy-Authorization", 407, "Proxy-Authenticate")

    def do_GET(self):  # the name is the library's
        if not self.is_admitted():
            return
        to = urllib.parse.urlsplit(self.path)
        there = http.client.HTTPConnection(to.hostname, to.port)
        there.request("GET", to.path, headers={"Range": self.headers["Range"]} if "Range" in self.headers else {})
        reply = there.getresponse()
        body = reply.read()
        self.send_response(reply.status)
        for name, value in reply.getheaders():
            if name in ("ETag", "Content-Range", "Last-Modified"):
                self.send_header(name, value)
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)

    def do_CONNECT(self):  # the name is the library's
        if not self.is_admitted():
            return
        host, port = self.path.rsplit(":", 1)
        with socket.create_connection((host, int(port))) as there:
            self.wfile.write(b"HTTP/1.1 200 OK\r\n\r\n")
            self.close_connection = True
            ends = {self.connection: there, there: self.connection}
            while True:
                for end in select.select(list(ends), [], [])[0]:
                    data = end.recv(1 << 16)
                    if not data:
                        return
                    ends[end].sendall(data)


class Proxy(_Listener):
    """For http, and by CONNECT for all else."""

    def __init__(self, login=("ann", "pr0xy"), offers=()):
        super().__init__(_ProxyHandler, login, offers)

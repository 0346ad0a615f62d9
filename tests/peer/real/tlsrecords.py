"""A server of TLS 1.2 whose records after the handshake are the test's own, of any type and content."""

import hashlib
import hmac
import os
import ssl
import struct

SUITE = "ECDHE-ECDSA-CHACHA20-POLY1305"  # RFC 7905: its nonces follow from the number of the record
ALERT, HANDSHAKE, DATA = 21, 22, 23
CLOSE_NOTIFY = b"\x01\x00"
USER_CANCELED = b"\x01\x5a"  # a warning
HELLO_REQUEST = bytes(4)


def chacha20_block(key, counter, nonce):
    state = [*struct.unpack("<4I", b"expand 32-byte k"), *struct.unpack("<8I", key), counter,
             *struct.unpack("<3I", nonce)]
    x = list(state)

    def quarter(a, b, c, d):
        for one, two, three, bits in ((a, b, d, 16), (c, d, b, 12), (a, b, d, 8), (c, d, b, 7)):
            x[one] = (x[one] + x[two]) & 0xffffffff
            turned = x[three] ^ x[one]
            x[three] = (turned << bits | turned >> 32 - bits) & 0xffffffff
    for _ in range(10):
        for a in range(4):
            quarter(a, a + 4, a + 8, a + 12)
        for a in range(4):
            quarter(a, 4 + (a + 1) % 4, 8 + (a + 2) % 4, 12 + (a + 3) % 4)
    return struct.pack("<16I", *((a + b) & 0xffffffff for a, b in zip(x, state)))


def poly1305(key, message):
    r = int.from_bytes(key[:16], "little") & 0x0ffffffc0ffffffc0ffffffc0fffffff
    total = 0
    for at in range(0, len(message), 16):
        total = (total + int.from_bytes(message[at:at + 16] + b"\x01", "little")) * r % ((1 << 130) - 5)
    return ((total + int.from_bytes(key[16:], "little")) & ((1 << 128) - 1)).to_bytes(16, "little")


def sealed(key, nonce, text, associated):
    """RFC 8439, section 2.8."""
    stream = b"".join(chacha20_block(key, 1 + i, nonce) for i in range((len(text) + 63) // 64))
    cipher = bytes(a ^ b for a, b in zip(text, stream))
    padded = b"".join(part + bytes(-len(part) % 16) for part in (associated, cipher))
    return cipher + poly1305(chacha20_block(key, 0, nonce)[:32],
                             padded + struct.pack("<QQ", len(associated), len(cipher)))


def expanded(secret, label, seed, length):
    """The PRF of RFC 5246, section 5."""
    out, a = b"", label + seed
    while len(out) < length:
        a = hmac.new(secret, a, hashlib.sha256).digest()
        out += hmac.new(secret, a + label + seed, hashlib.sha256).digest()
    return out[:length]


class Records:
    """One connection, whose handshake is over when the object is there."""

    def __init__(self, connection, certificate, key, folder):
        self.connection = connection
        keys = os.path.join(folder, "keys-%d" % id(self))
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(certificate, key)
        context.maximum_version = ssl.TLSVersion.TLSv1_2
        context.set_ciphers(SUITE)
        context.keylog_filename = keys
        self.incoming, self.outgoing = ssl.MemoryBIO(), ssl.MemoryBIO()
        self.tls = context.wrap_bio(self.incoming, self.outgoing, server_side=True)
        sent = b""
        while True:
            try:
                self.tls.do_handshake()
                break
            except ssl.SSLWantReadError:
                sent += self.flush()
                self.receive()
        sent += self.flush()
        with open(keys, encoding="ascii") as f:
            client, secret = next(line.split()[1:] for line in f if line.startswith("CLIENT_RANDOM"))
        server = sent[11:43]  # after the headers of record and message, and the version
        block = expanded(bytes.fromhex(secret), b"key expansion", server + bytes.fromhex(client), 2 * 32 + 2 * 12)
        self.key, self.iv = block[32:64], block[76:88]
        self.number = 1  # Finished was the first

    def flush(self):
        out = self.outgoing.read()
        self.connection.sendall(out)
        return out

    def receive(self):
        got = self.connection.recv(65536)
        if not got:
            raise OSError("closed")
        self.incoming.write(got)

    def request(self):
        """The head of a request."""
        head = b""
        while b"\r\n\r\n" not in head:
            try:
                head += self.tls.read(65536)
            except ssl.SSLWantReadError:
                self.receive()
        return head

    def record(self, kind, text):
        header = bytes([kind]) + b"\x03\x03"
        number = struct.pack(">Q", self.number)
        self.number += 1
        nonce = bytes(a ^ b for a, b in zip(self.iv, bytes(4) + number))
        cipher = sealed(self.key, nonce, text, number + header + struct.pack(">H", len(text)))
        return header + struct.pack(">H", len(cipher)) + cipher

    def send(self, kind, text):
        self.connection.sendall(self.record(kind, text))

    def wait_for_end(self, seconds):
        """True if the client ends the connection in time."""
        self.connection.settimeout(seconds)
        try:
            while self.connection.recv(65536):
                pass
        except TimeoutError:
            return False
        except OSError:
            pass
        return True

"""A scripted HTTP server on loopback: correct ranges, odd replies, and a log of the request bytes as received.

Each connection has a thread. Content is generated from the path and the offset, so that any range of any file can be
served and checked without a file on the disk."""

import hashlib
import random
import re
import socket
import struct
import threading
import time

BLOCK = 1 << 16


def content(size, seed=0, start=0, end=None):
    """Bytes `start` to `end` (exclusive) of the generated file: 4096-byte pages, each different from all others."""
    end = size if end is None else min(end, size)
    pieces = []
    page = start // 4096
    while page * 4096 < end:
        pieces.append(hashlib.sha256(struct.pack("<QQ", seed, page)).digest() * 128)
        page += 1
    first = start // 4096 * 4096
    return b"".join(pieces)[start - first:end - first] if end > start else b""


def content_digest(size, seed=0):
    digest = hashlib.sha256()
    for start in range(0, size, BLOCK * 16):
        digest.update(content(size, seed, start, start + BLOCK * 16))
    return digest.hexdigest()


class Ports:
    """Returns ports, in turn, from a block that no other process of these tests uses, so that a server may bind one
    later. Below 32768: a proxy's port is a signed 16-bit setting, and the system assigns higher ones to others."""

    FIRST, BLOCK, BLOCKS = 20000, 120, 100

    def __init__(self):
        self.lock = threading.Lock()
        self.at = 0
        for number in random.sample(range(self.BLOCKS), self.BLOCKS):
            # The name is freed with the process, and is local to the network namespace, like the ports.
            self.claim = socket.socket(socket.AF_UNIX)
            try:
                self.claim.bind("\0pellora-test-ports-%d" % number)
            except OSError:
                self.claim.close()
                continue
            self.first = self.FIRST + number * self.BLOCK
            return
        raise OSError("no free block of ports")

    def next(self):
        with self.lock:
            self.at += 1
            return self.first + self.at % self.BLOCK


_ports = []


def listen_low():
    """A listener on a free loopback port."""
    if not _ports:
        _ports.append(Ports())
    for _ in range(2 * Ports.BLOCK):
        listener = socket.socket()
        listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        try:
            listener.bind(("127.0.0.1", _ports[0].next()))
            listener.listen(128)
            return listener
        except OSError:
            listener.close()
    raise OSError("no free port")


class SilentPort:
    """A port on loopback that neither accepts nor refuses connections, like that of a host which is switched off."""

    def __init__(self):
        self.listener = listen_low()
        self.listener.listen(0)
        self.waiting = []
        for _ in range(4):  # these fill its queue
            client = socket.socket()
            client.setblocking(False)
            client.connect_ex(self.listener.getsockname())
            self.waiting.append(client)

    def url(self, path):
        return "http://127.0.0.1:%d%s" % (self.listener.getsockname()[1], path)

    def close(self):
        for each in [*self.waiting, self.listener]:
            each.close()


class Server:
    """Listens on a free loopback port and serves each connection in a thread."""

    def __init__(self):
        self.listener = listen_low()
        self.port = self.listener.getsockname()[1]
        self.accepting = threading.Thread(target=self._accept, daemon=True)
        self.accepting.start()

    def _accept(self):
        while True:
            try:
                connection, _ = self.listener.accept()
            except OSError:
                return
            threading.Thread(target=self.serve, args=(connection,), daemon=True).start()

    def serve(self, connection):
        raise NotImplementedError

    def close(self):
        self.listener.shutdown(socket.SHUT_RDWR)
        # The thread might otherwise accept connections of the next listener, which gets the same descriptor.
        self.accepting.join()
        self.listener.close()


class Request:
    def __init__(self, raw):
        self.raw = raw
        words = raw.split(b"\r\n", 1)[0].split(b" ")
        self.target = words[1].decode("latin-1") if len(words) > 1 else ""
        self.path = re.sub(r"^http://[^/]*", "", self.target)

    def header(self, name):
        match = re.search(rb"(?im)^" + name.encode() + rb": ?(.*?)\r?$", self.raw)
        return match.group(1).decode("latin-1") if match else None

    def range(self):
        match = re.match(r"bytes=(\d+)-(\d+)$", self.header("Range") or "")
        return (int(match.group(1)), int(match.group(2))) if match else None


class Origin(Server):
    """`replies` maps a path to a function of (socket, request); any other path is a 404."""

    def __init__(self, rate=0):
        self.rate = rate
        self.replies = {}
        self.files = {}  # (size, seed) by path
        self.requests = []  # all Requests, in order of arrival
        self.open_sockets = set()
        self.lock = threading.Lock()
        super().__init__()

    def url(self, path):
        return "http://127.0.0.1:%d%s" % (self.port, path)

    def close(self):
        super().close()
        with self.lock:
            for connection in list(self.open_sockets):
                try:
                    connection.shutdown(socket.SHUT_RDWR)
                except OSError:
                    pass

    def requests_for(self, path):
        with self.lock:
            return [r for r in self.requests if r.path == path]

    def ranges(self, since=0):
        """The ranges that the requests have asked for, without those before the given number of requests."""
        with self.lock:
            return [r.range() for r in self.requests[since:] if r.range()]

    def digest(self, url):
        """Of the content that serve_file serves at this URL, whatever its host."""
        return content_digest(*self.files[re.sub(r"^http://[^/]*", "", url.strip())])

    def serve_file(self, path, size, seed=0, rate=None):
        """Generated content, as by serve_made."""
        self.files[path] = size, seed
        self.serve_made(path, size, lambda start, end: content(size, seed, start, end), rate)

    def serve_made(self, path, size, make, rate=None, content_type="application/octet-stream"):
        """A correctly served file with ranges, of the bytes make(start, end). `rate` is in bytes a second per connection,
        by default the origin's."""
        pace = self.rate if rate is None else rate

        def reply(connection, request):
            wanted = request.range()
            first, last = wanted if wanted else (0, size - 1)
            last = min(last, size - 1)
            head = "HTTP/1.1 %s\r\nContent-Type: %s\r\nContent-Length: %d\r\n" % (
                "206 Partial Content" if wanted else "200 OK", content_type, last - first + 1)
            if wanted:
                head += "Content-Range: bytes %d-%d/%d\r\n" % (first, last, size)
            connection.sendall(head.encode() + b"\r\n")
            send_paced(connection, make, first, last + 1, pace)

        self.replies[path] = reply

    def serve_bytes(self, path, data):
        """These bytes in reply to any request, then the end of the connection."""

        def reply(connection, _request):
            connection.sendall(data)
            connection.shutdown(socket.SHUT_WR)

        self.replies[path] = reply

    def serve_redirect(self, path, location, status="302 Found"):
        self.serve_bytes(path, ("HTTP/1.1 %s\r\nLocation: %s\r\nContent-Length: 0\r\n\r\n" % (status, location)).encode(
            "latin-1"))

    def serve(self, connection):
        with self.lock:
            self.open_sockets.add(connection)
        connection.settimeout(60)
        data = b""
        try:
            while True:
                while b"\r\n\r\n" not in data:
                    more = connection.recv(65536)
                    if not more:
                        return
                    data += more
                # Stray line ends after a request belong to its log.
                end = data.index(b"\r\n\r\n") + 4
                connection.settimeout(0.05)
                try:
                    while len(data) == end or data[end:] == b"\r":
                        more = connection.recv(65536)
                        if not more:
                            break
                        data += more
                except socket.timeout:
                    pass
                connection.settimeout(60)
                while data[end:end + 2] == b"\r\n":
                    end += 2
                request = Request(data[:end])
                data = data[end:]
                with self.lock:
                    self.requests.append(request)
                reply = self.replies.get(request.path)
                if reply is None:
                    connection.sendall(b"HTTP/1.1 404 Not Found\r\nContent-Type: text/plain\r\nContent-Length: 0\r\n\r\n")
                else:
                    reply(connection, request)
        except OSError:
            pass
        finally:
            with self.lock:
                self.open_sockets.discard(connection)
            connection.close()


def send_paced(connection, make, start, end, rate):
    """Sends make(a, b) piece by piece, at most `rate` bytes a second (0: unlimited)."""
    piece = BLOCK if rate == 0 else max(1024, min(BLOCK, rate // 50))
    began = time.monotonic()
    position = start
    while position < end:
        stop = min(position + piece, end)
        connection.sendall(make(position, stop))
        position = stop
        if rate:
            ahead = (position - start) / rate - (time.monotonic() - began)
            if ahead > 0:
                time.sleep(ahead)

"""Servers that demand logins in ways of their own: Digest by RFC 7616, and SOCKS 5 by RFC 1928 and 1929."""

import hashlib
import http.server
import os
import re
import secrets
import select
import socket
import threading
import time

import origin


class DigestServer:
    """One file at every path, with ranges, for one user. `offers` are values of WWW-Authenticate with %s for the nonce.
    `seen` has the Authorization of each request."""

    def __init__(self, data, algorithm="MD5", login=("joe", "s3cret"), also=()):
        server = self
        self.algorithm, self.login, self.also, self.seen = algorithm, login, also, []
        self.nonce = secrets.token_hex(8)

        class Handler(http.server.BaseHTTPRequestHandler):
            protocol_version = "HTTP/1.1"

            def log_message(self, *_):
                pass

            def do_GET(self):  # the name is the library's
                given = self.headers.get("Authorization", "")
                server.seen.append(given)
                if not server.is_right(given, self.path):
                    return self.refuse()
                wanted = re.fullmatch(r"bytes=(\d+)-(\d*)", self.headers.get("Range", ""))
                first = int(wanted[1]) if wanted else 0
                last = int(wanted[2]) if wanted and wanted[2] else len(data) - 1
                self.send_response(206 if wanted else 200)
                self.send_header("Content-Type", "application/octet-stream")
                self.send_header("ETag", '"1"')
                self.send_header("Accept-Ranges", "bytes")
                if wanted:
                    self.send_header("Content-Range", "bytes %d-%d/%d" % (first, last, len(data)))
                self.send_header("Content-Length", str(last + 1 - first))
                self.end_headers()
                self.wfile.write(data[first:last + 1])

            def refuse(self):
                self.send_response(401)
                for offer in server.also:
                    self.send_header("WWW-Authenticate", offer)
                self.send_header("WWW-Authenticate", 'Digest realm="files", qop="auth", algorithm=%s, nonce="%s"' %
                                 (server.algorithm, server.nonce))
                self.send_header("Content-Length", "0")
                self.end_headers()

        class Server(http.server.ThreadingHTTPServer):
            daemon_threads = True

            def handle_error(self, *_):
                pass  # clients hang up

        self.server = Server(("127.0.0.1", 0), Handler)
        self.port = self.server.server_address[1]
        threading.Thread(target=self.server.serve_forever, daemon=True).start()

    def digest(self, text):
        return hashlib.new("sha256" if self.algorithm == "SHA-256" else "md5", text.encode()).hexdigest()

    def is_right(self, given, path):
        scheme, _, rest = given.partition(" ")
        values = {name: quoted or plain for name, quoted, plain in re.findall(r'(\w+)=(?:"([^"]*)"|([^\s,]+))', rest)}
        if scheme != "Digest" or values.get("nonce") != self.nonce or values.get("uri") != path:
            return False
        user, password = self.login
        secret = self.digest("%s:files:%s" % (user, password))
        wanted = self.digest(":".join((secret, self.nonce, values["nc"], values["cnonce"], "auth",
                                       self.digest("GET:" + path))))
        return values.get("username") == user and values.get("response") == wanted

    def url(self, name):
        return "http://127.0.0.1:%d/%s" % (self.port, name)

    def close(self):
        self.server.shutdown()
        self.server.server_close()


class PageServer:
    """One file at every path, with ranges, for those who come from this page; others get 403. `seen` has the Referer of
    each request. While `slow` it sends 100 KB a second."""

    def __init__(self, data, page):
        server = self
        self.seen, self.slow = [], False

        class Handler(http.server.BaseHTTPRequestHandler):
            protocol_version = "HTTP/1.1"

            def log_message(self, *_):
                pass

            def do_GET(self):  # the name is the library's
                server.seen.append(self.headers.get("Referer", ""))
                if server.seen[-1] != page:
                    self.send_response(403)
                    self.send_header("Content-Length", "0")
                    return self.end_headers()
                wanted = re.fullmatch(r"bytes=(\d+)-(\d*)", self.headers.get("Range", ""))
                first = int(wanted[1]) if wanted else 0
                last = int(wanted[2]) if wanted and wanted[2] else len(data) - 1
                self.send_response(206 if wanted else 200)
                self.send_header("ETag", '"1"')
                if wanted:
                    self.send_header("Content-Range", "bytes %d-%d/%d" % (first, last, len(data)))
                self.send_header("Content-Length", str(last + 1 - first))
                self.end_headers()
                for at in range(first, last + 1, 10_000):
                    self.wfile.write(data[at:min(at + 10_000, last + 1)])
                    time.sleep(0.1 if server.slow else 0)

        class Server(http.server.ThreadingHTTPServer):
            daemon_threads = True

            def handle_error(self, *_):
                pass  # clients hang up

        self.server = Server(("127.0.0.1", 0), Handler)
        self.port = self.server.server_address[1]
        threading.Thread(target=self.server.serve_forever, daemon=True).start()

    def url(self, name):
        return "http://127.0.0.1:%d/%s" % (self.port, name)

    def close(self):
        self.server.shutdown()
        self.server.server_close()


class Socks:
    """A proxy that leads every name to 127.0.0.1. `asked` has (kind, host, port) of each request, kind 1 for an address
    of IPv4 and 3 for a name; `logins` what clients gave."""

    def __init__(self, login=None):
        self.login, self.asked, self.logins = login, [], []
        self.listener = origin.listen_low()
        self.port = self.listener.getsockname()[1]
        threading.Thread(target=self._accept, daemon=True).start()

    def _accept(self):
        while True:
            try:
                client, _ = self.listener.accept()
            except OSError:
                return
            threading.Thread(target=self._serve, args=(client,), daemon=True).start()

    @staticmethod
    def _read(client, count):
        data = b""
        while len(data) < count:
            more = client.recv(count - len(data))
            if not more:
                raise OSError("closed")
            data += more
        return data

    def _serve(self, client):
        with client:
            try:
                if self._log_in(client):
                    self._lead(client)
            except OSError:
                pass

    def _log_in(self, client):
        _, count = self._read(client, 2)
        methods = self._read(client, count)
        wanted = 2 if self.login else 0
        if wanted not in methods:
            client.sendall(b"\x05\xff")
            return False
        client.sendall(bytes((5, wanted)))
        if not self.login:
            return True
        _, count = self._read(client, 2)
        user = self._read(client, count).decode()
        password = self._read(client, self._read(client, 1)[0]).decode()
        self.logins.append((user, password))
        right = (user, password) == self.login
        client.sendall(b"\x01\x00" if right else b"\x01\x01")
        return right

    def _lead(self, client):
        _, _, _, kind = self._read(client, 4)
        if kind == 3:
            host = self._read(client, self._read(client, 1)[0]).decode()
        else:
            host = socket.inet_ntoa(self._read(client, 4))
        port = int.from_bytes(self._read(client, 2), "big")
        self.asked.append((kind, host, port))
        with socket.create_connection(("127.0.0.1", port)) as server:
            client.sendall(b"\x05\x00\x00\x01\x00\x00\x00\x00\x00\x00")
            while True:
                for source in select.select([client, server], [], [])[0]:
                    data = source.recv(1 << 16)
                    if not data:
                        return
                    (server if source is client else client).sendall(data)

    def close(self):
        self.listener.close()


def bytes_in_files(folder, text):
    """Names of the files below the folder that hold the text."""
    found = []
    for place, _, names in os.walk(folder):
        for name in names:
            path = os.path.join(place, name)
            if os.path.isfile(path):
                with open(path, "rb") as f:
                    if text in f.read():
                        found.append(path)
    return found

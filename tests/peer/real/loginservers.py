"""Servers that demand logins in ways of their own: Digest by RFC 7616, and SOCKS 5 by RFC 1928 and 1929."""

import hashlib
import os
import re
import secrets
import select
import socket
import threading
import time

import origin
import smallservers


class _DigestHandler(smallservers.Handler):
    def do_GET(self):  # the name is the library's
        owner = self.server.owner
        given = self.headers.get("Authorization", "")
        owner.seen.append(given)
        if owner.is_right(given, self.path):
            return self.send_file(owner.data)
        offer = 'Digest realm="files", qop="auth", algorithm=%s, nonce="%s"' % (owner.algorithm, owner.nonce)
        self.refuse(401, [("WWW-Authenticate", value) for value in (*owner.also, offer)])


class DigestServer(smallservers.Listener):
    """One file at every path, with ranges, for one user. `also` are values of WWW-Authenticate that come first.
    `seen` has the Authorization of each request."""

    def __init__(self, data, algorithm="MD5", login=("joe", "s3cret"), also=()):
        self.data, self.algorithm, self.login, self.also, self.seen = data, algorithm, login, also, []
        self.nonce = secrets.token_hex(8)
        super().__init__(_DigestHandler)

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


class _PageHandler(smallservers.Handler):
    def do_GET(self):  # the name is the library's
        owner = self.server.owner
        owner.seen.append(self.headers.get("Referer", ""))
        if owner.seen[-1] == owner.page:
            self.send_file(owner.data, self.write_slowly)
        else:
            self.refuse(403)

    def write_slowly(self, data):
        for at in range(0, len(data), 10_000):
            self.wfile.write(data[at:at + 10_000])
            time.sleep(0.1 if self.server.owner.slow else 0)


class PageServer(smallservers.Listener):
    """One file at every path, with ranges, for those who come from this page; others get 403. `seen` has the Referer of
    each request. While `slow` it sends 100 KB a second."""

    def __init__(self, data, page):
        self.data, self.page, self.seen, self.slow = data, page, [], False
        super().__init__(_PageHandler)


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

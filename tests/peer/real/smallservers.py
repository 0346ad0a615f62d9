"""What the small HTTP servers of the tests share."""

import http.server
import re
import threading

import origin


class Handler(http.server.BaseHTTPRequestHandler):
    """Answers from the `Listener` in `self.server.owner`."""

    protocol_version = "HTTP/1.1"

    def log_message(self, *_):
        pass

    def refuse(self, status, headers=()):
        self.send_response(status)
        for name, value in headers:
            self.send_header(name, value)
        self.send_header("Content-Length", "0")
        self.end_headers()

    def send_file(self, data, write=None):
        """The whole of it, or the range that is asked for; `write` sends the bytes."""
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
        (write or self.wfile.write)(data[first:last + 1])


class _Server(http.server.ThreadingHTTPServer):
    daemon_threads = True

    def handle_error(self, *_):
        pass  # clients hang up


class Listener:
    """Listens on a port of 127.0.0.1 below 32768: the setting of a proxy takes none above."""

    def __init__(self, handler):
        self.server = _Server(("127.0.0.1", 0), handler, bind_and_activate=False)
        self.server.socket.close()
        self.server.socket = origin.listen_low()
        self.server.server_address = self.server.socket.getsockname()
        self.server.owner = self
        self.port = self.server.server_address[1]
        threading.Thread(target=self.server.serve_forever, daemon=True).start()

    def url(self, name):
        return "http://127.0.0.1:%d/%s" % (self.port, name)

    def close(self):
        self.server.shutdown()
        self.server.server_close()

"""A site with a login by cookie, as browsers meet it: pages that fill the window, files that need the login, and a report
that only a form gets."""

import http.server
import re
import threading
import time

import origin

COOKIE = "session=5f3a"
BIG = 3_000_000
SMALL = 200_000
PAGES = {
    "/login": "<form method=post action=/login><button style='%s'>login</button></form>",
    "/files": "<a href='/big.zip' style='%s'>big</a>",
    "/small": "<a href='/small.zip' style='%s'>small</a>",
    "/form": "<form method=post action=/report><button style='%s'>report</button></form>",
    "/free": "<a href='/free.zip' style='%s'>free</a>",
    "/plain": "<a href='/whole.zip' style='%s'>whole</a>",
    "/page-blob": "<a id=blob download=made.bin style='%s'>blob</a><script>blob.href = "
                  "URL.createObjectURL(new Blob([new Uint8Array(20000000)]))</script>",
}
FILL = "position:fixed;inset:0;display:block;width:100%;height:100%"


class Site:
    """`seen` has (method, path, headers) of each request. `rate` is in bytes a second."""

    def __init__(self, rate=600_000):
        site = self
        self.seen, self.rate = [], rate
        self.refuses = lambda path: False
        sizes = {"/big.zip": BIG, "/small.zip": SMALL, "/whole.zip": BIG, "/free.zip": BIG}

        class Handler(http.server.BaseHTTPRequestHandler):
            protocol_version = "HTTP/1.1"

            def log_message(self, *_):
                pass

            def send(self, status, body, kind="text/html", **headers):
                self.send_response(status)
                self.send_header("Content-Type", kind)
                self.send_header("Content-Length", str(len(body)))
                for name, value in headers.items():
                    self.send_header(name.replace("_", "-"), value)
                self.end_headers()
                self.wfile.write(body)

            def do_POST(self):  # the name is the library's
                site.seen.append(("POST", self.path, dict(self.headers)))
                self.rfile.read(int(self.headers.get("Content-Length", 0)))
                if self.path == "/login":
                    self.send(303, b"", Location="/files", Set_Cookie=COOKIE + "; Path=/; HttpOnly; SameSite=Strict")
                else:
                    # All but the method would fit.
                    self.send_file(BIG, None, attached="report.zip")

            def do_GET(self):  # the name is the library's
                site.seen.append(("GET", self.path, dict(self.headers)))
                if self.path in PAGES:
                    body = "<!doctype html><title>page %s</title><body>%s" % (self.path, PAGES[self.path] % FILL)
                    return self.send(200, body.encode())
                if self.path not in sizes:
                    return self.send(404, b"nothing here")
                needs = self.path == "/big.zip"
                if needs and COOKIE not in self.headers.get("Cookie", "") or site.refuses(self.path):
                    return self.send(403, b"log in first")
                wanted = re.fullmatch(r"bytes=(\d+)-(\d*)", self.headers.get("Range", ""))
                return self.send_file(sizes[self.path], wanted, ranges=self.path != "/whole.zip")

            def send_file(self, size, wanted, attached="", ranges=True):
                wanted = wanted if ranges else None
                first = int(wanted[1]) if wanted else 0
                last = min(int(wanted[2]), size - 1) if wanted and wanted[2] else size - 1
                self.send_response(206 if wanted else 200)
                self.send_header("Content-Type", "application/zip")
                if ranges:
                    self.send_header("ETag", '"v1"')
                    self.send_header("Accept-Ranges", "bytes")
                if wanted:
                    self.send_header("Content-Range", "bytes %d-%d/%d" % (first, last, size))
                if attached:
                    self.send_header("Content-Disposition", 'attachment; filename="%s"' % attached)
                self.send_header("Content-Length", str(last + 1 - first))
                self.end_headers()
                for at in range(first, last + 1, 20_000):
                    self.wfile.write(origin.content(size, 0, at, min(at + 20_000, last + 1)))
                    time.sleep(20_000 / site.rate)

        class Server(http.server.ThreadingHTTPServer):
            daemon_threads = True

            def handle_error(self, *_):
                pass  # clients hang up

        self.server = Server(("127.0.0.1", 0), Handler)
        threading.Thread(target=self.server.serve_forever, daemon=True).start()

    def url(self, path):
        return "http://127.0.0.1:%d%s" % (self.server.server_address[1], path)

    def requests_for(self, path):
        return [headers for _method, asked, headers in self.seen if asked == path]

    def close(self):
        self.server.shutdown()
        self.server.server_close()

"""Runs on the machine that machine.py makes: installs the packages, downloads as an ordinary user, removes them.
Prints "ok: WHAT" or "failed: WHAT: WHY" for each claim."""

import functools
import hashlib
import http.server
import json
import os
import ssl
import subprocess
import sys
import threading
import time

USER = 54321  # nobody has it
HOME = "/home/pellora-check"
UPPER = "/overlay/upper"
# The package manager's own records, and caches that its triggers renew.
OF_DPKG = ("var/lib/dpkg", "var/log", "var/cache", "usr/share/icons/hicolor/icon-theme.cache",
           "usr/share/applications/mimeinfo.cache", "etc/ld.so.cache")
CONTENT = bytes(range(256)) * 8192

# Of this machine, and not the packages': dpkg removes such a folder with the last package that has it.
EMPTY_FOLDERS = tuple(folder for folder in ("/etc/opt",) if os.path.isdir(folder) and not os.listdir(folder))

claims = []


def claim(what):
    def decorate(function):
        claims.append((what, function))
        return function
    return decorate


def run(*command, env=None, user=False, timeout=120):
    prefix = ["setpriv", "--reuid=%d" % USER, "--regid=%d" % USER, "--clear-groups", "--inh-caps=-all",
              "--bounding-set=-all"] if user else []
    result = subprocess.run([*prefix, *command], env=env, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                            stderr=subprocess.STDOUT, text=True, timeout=timeout, check=False)
    assert result.returncode == 0, "%s: %d\n%s" % (" ".join(command), result.returncode, result.stdout)
    return result.stdout


def added_files(below=UPPER):
    found = set()
    for folder, _, files in os.walk(below):
        for name in files:
            path = os.path.relpath(os.path.join(folder, name), below)
            if not path.startswith(OF_DPKG) and "/" + path not in EMPTY_FOLDERS:
                found.add(path)
    return found


class Files(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def do_GET(self):
        first, last = 0, len(CONTENT) - 1
        ranged = self.headers.get("Range")
        if ranged:
            begin, _, end = ranged.partition("=")[2].partition("-")
            first, last = int(begin), int(end or last)
        self.send_response(206 if ranged else 200)
        self.send_header("Content-Type", "application/octet-stream")
        self.send_header("Content-Length", str(last - first + 1))
        self.send_header("ETag", '"1"')
        self.send_header("Accept-Ranges", "bytes")
        if ranged:
            self.send_header("Content-Range", "bytes %d-%d/%d" % (first, last, len(CONTENT)))
        self.end_headers()
        try:
            self.wfile.write(CONTENT[first:last + 1])
        except (BrokenPipeError, ConnectionResetError):
            pass

    def log_message(self, *_):
        pass


@functools.lru_cache(None)
def server():
    """The address of an https server whose certificate the user has in a file of their own."""
    return serve_https("localhost", "DNS:localhost", HOME + "/server.pem", "/tmp/server.key")


def serve_https(host, alternative, certificate, key):
    run("openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-subj", "/CN=localhost", "-addext",
        "subjectAltName=" + alternative, "-keyout", key, "-out", certificate)
    os.chmod(certificate, 0o644)
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.load_cert_chain(certificate, key)
    listener = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Files)
    listener.daemon_threads = True
    listener.socket = context.wrap_socket(listener.socket, server_side=True)
    threading.Thread(target=listener.serve_forever, daemon=True).start()
    return "https://%s:%d" % (host, listener.server_address[1])


def plain_server():
    listener = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Files)
    listener.daemon_threads = True
    threading.Thread(target=listener.serve_forever, daemon=True).start()
    return "http://localhost:%d" % listener.server_address[1]


class User:
    """A home, a runtime folder and a session bus, which starts the program by its packaged service."""

    def __init__(self):
        runtime = "/run/pellora-check"
        for folder in (HOME, runtime, HOME + "/.config", HOME + "/.config/pellora"):
            os.mkdir(folder, 0o700)
            os.chown(folder, USER, USER)
        self.env = {"HOME": HOME, "PATH": "/usr/bin:/bin", "XDG_RUNTIME_DIR": runtime, "LANG": "C.UTF-8",
                    "DBUS_SESSION_BUS_ADDRESS": "unix:path=%s/bus" % runtime}
        self.bus = None

    def log_in(self):
        with open(HOME + "/.config/pellora/Pellora.ini", "w", encoding="utf-8") as f:
            f.write("[Options]\nExtraCertificates=%s/server.pem\n" % HOME)
        os.chown(f.name, USER, USER)
        command = ["setpriv", "--reuid=%d" % USER, "--regid=%d" % USER, "--clear-groups", "dbus-daemon", "--session",
                   "--nofork", "--nopidfile", "--address=" + self.env["DBUS_SESSION_BUS_ADDRESS"]]
        self.bus = subprocess.Popen(command, env=self.env, stdin=subprocess.DEVNULL, cwd="/")
        for _ in range(200):
            if os.path.exists(self.env["XDG_RUNTIME_DIR"] + "/bus"):
                return
            time.sleep(0.05)
        raise AssertionError("the bus did not start")

    def run(self, *command):
        return run(*command, env=self.env, user=True)

    def downloads(self):
        return [json.loads(line) for line in self.run("pelloractl", "list", "--json").split("\n") if line]

    def log_out(self):
        if self.bus:
            self.bus.terminate()
            self.bus.wait(20)


user = None
packages = []
before = set()


@claim("both packages install")
def _():
    run("dpkg", "--install", *packages, env={"PATH": os.environ["PATH"], "DEBIAN_FRONTEND": "noninteractive"})


@claim("their data of desktop and software centre is valid on the installed system")
def _():
    run("desktop-file-validate", "/usr/share/applications/org.pelloraproject.pellora.desktop")
    run("appstreamcli", "validate", "--strict", "--no-net",
        "/usr/share/metainfo/org.pelloraproject.pellora.metainfo.xml")


@claim("the browsers' files name programs and folders that exist")
def _():
    for path in ("/etc/chromium/native-messaging-hosts", "/etc/opt/chrome/native-messaging-hosts",
                 "/usr/lib/mozilla/native-messaging-hosts"):
        with open(path + "/pelloraproject.pellora.json", encoding="utf-8") as f:
            assert os.access(json.load(f)["path"], os.X_OK), path
    extension = "/usr/share/mozilla/extensions/{ec8030f7-c20a-464f-9b0e-13a3a9e97384}/pellora@pellora.example"
    assert os.path.exists(extension + "/manifest.json")


@claim("Chromium loads the extension beside those of other packages")
def _():
    own = "/usr/share/pellora/browser"
    for given, wanted in (("", "--load-extension=%s" % own),
                          ("--a --load-extension=", "--load-extension=%s" % own),
                          ("--load-extension=/x/a, /x/b --b", "--load-extension=%s,/x/a,/x/b" % own)):
        flags = run("sh", "-eu", "-c", ". /etc/chromium.d/pellora; printf %s \"$CHROMIUM_FLAGS\"",
                    env={"PATH": os.environ["PATH"], "CHROMIUM_FLAGS": given}).split()
        lists = [flag for flag in flags if flag.startswith("--load-extension")]
        assert lists[-1] == wanted, flags  # the last one counts


@claim("an ordinary user downloads over https with the program that the bus starts")
def _():
    url = server() + "/a.bin"
    user.log_in()
    user.run("pelloractl", "add", url)
    user.run("pelloractl", "wait", "--timeout", "60", url)
    [download] = user.downloads()
    with open(download["path"], "rb") as f:
        assert hashlib.sha256(f.read()).digest() == hashlib.sha256(CONTENT).digest()


@claim("http goes to the web engine too, as the package's settings say")
def _():
    url = plain_server() + "/b.bin"
    user.run("pelloractl", "add", url)
    user.run("pelloractl", "wait", "--timeout", "60", url)
    with open(HOME + "/.local/share/pellora/Pellora.fetch", encoding="utf-8", errors="replace") as f:
        assert url in f.read()


@claim("the list, its journal and its lock lie in the user's data folder")
def _():
    user.run("pelloractl", "quit")
    names = set(os.listdir(HOME + "/.local/share/pellora"))
    assert {"Pellora.dat", "Pellora.fetch", "pellora.lock"} <= names, names
    assert os.path.getsize(HOME + "/.local/share/pellora/Pellora.dat") > 98


@claim("the program has registered nothing for the user")
def _():
    found = [path for path in added_files(HOME) if path.endswith((".service", ".desktop", ".json", ".png"))]
    assert not found, found


@claim("the list is there at the next start")
def _():
    user.run("pelloractl", "add", "--later", server() + "/c.bin")
    assert len(user.downloads()) == 3
    user.run("pelloractl", "quit")


@claim("removal leaves nothing but the user's files")
def _():
    user.log_out()
    run("dpkg", "--purge", "pellora-browser", "pellora")
    left = [path for path in added_files() - before if not path.startswith(HOME[1:] + "/")]
    assert not left, left
    assert os.path.exists(HOME + "/.local/share/pellora/Pellora.dat")


def main():
    global user
    packages.extend(sys.argv[1:])
    with open("/etc/passwd", "a", encoding="utf-8") as f:
        f.write("pellora-check:x:%d:%d::%s:/bin/sh\n" % (USER, USER, HOME))
    user = User()
    before.update(added_files())
    stopped = False
    for what, check in claims:
        if stopped:
            print("failed: %s: not tried" % what)
            continue
        try:
            check()
            print("ok: " + what, flush=True)
        except Exception as error:  # the others are to be heard of too
            print("failed: %s: %s" % (what, error), flush=True)
            stopped = what.startswith("both packages")
    user.log_out()


if __name__ == "__main__":
    main()

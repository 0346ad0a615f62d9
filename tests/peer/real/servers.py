"""nginx and tinyproxy on loopback, each with its own configuration in a folder of the run."""

import os
import socket
import subprocess
import threading
import time

import harness
import origin


def free_port():
    listener = origin.listen_low()
    port = listener.getsockname()[1]
    listener.close()
    return port


def wait_port(port, process, address="127.0.0.1"):
    end = time.monotonic() + 10
    while time.monotonic() < end:
        if process.poll() is not None:
            break
        try:
            socket.create_connection((address, port), 0.5).close()
            return
        except OSError:
            time.sleep(0.05)
    raise RuntimeError("no server started on port %d" % port)


NGINX = """
daemon off;
master_process off;
worker_processes 1;
pid {folder}/nginx.pid;
error_log {folder}/error.log;
events {{ worker_connections 2048; }}
http {{
  access_log {folder}/access.log;
  client_body_temp_path {folder}/body;
  proxy_temp_path {folder}/proxy;
  fastcgi_temp_path {folder}/fastcgi;
  uwsgi_temp_path {folder}/uwsgi;
  scgi_temp_path {folder}/scgi;
  default_type application/octet-stream;
  sendfile on;
  limit_conn_zone $server_port zone=each:1m;
  root {folder}/files;
  {servers}
}}
"""


class Nginx:
    """Servers for the same files. Each has its port as an attribute: `plain` with ranges, `whole` without, `slow` at
    400 KiB/s for each connection, and `crowded`, which serves two connections at a time and replies 503 to more."""

    address = "127.0.0.1"
    prefix = ()  # a command that runs nginx elsewhere
    rules = {"plain": "", "whole": "max_ranges 0;", "slow": "limit_rate 400k;",
             "crowded": "limit_conn each 2; limit_rate 400k;"}

    def __init__(self):
        self.folder = harness.Stage.get().new_folder("nginx")
        os.chmod(harness.Stage.get().folder, 0o755)
        self.files = os.path.join(self.folder, "files")
        os.mkdir(self.files)
        lines = []
        for name in self.rules:
            self.port = free_port()
            setattr(self, name, self.port)
            lines.append("server { listen %s:%d; %s }" % (self.address, self.port, self.rules_of(name)))
        with open(os.path.join(self.folder, "nginx.conf"), "w", encoding="ascii") as f:
            f.write(NGINX.format(folder=self.folder, servers="\n  ".join(lines)))
        self.start()

    def rules_of(self, name):
        return self.rules[name]

    def start(self):
        with open(os.path.join(self.folder, "stderr.log"), "ab") as log:
            self.process = subprocess.Popen(
                [*self.prefix, "/usr/sbin/nginx", "-p", self.folder, "-c", os.path.join(self.folder, "nginx.conf"), "-e",
                 os.path.join(self.folder, "start.log")], stdin=subprocess.DEVNULL, stdout=log, stderr=log)
        wait_port(self.port, self.process, self.address)

    def put(self, name, data):
        with open(os.path.join(self.files, name), "wb") as f:
            f.write(data)

    def url(self, port, name):
        return "http://%s:%d/%s" % (self.address, port, name)

    def close(self):
        harness.end_process(self.process)


class WholeHeaders(origin.Server):
    """A relay to a server on loopback that delays a reply until its headers are complete. A server may write them line
    by line, so whether they arrive in one piece is random, and the program judges a reply by its first piece."""

    def __init__(self, port, address="127.0.0.1"):
        self.to = (address, port)
        super().__init__()

    def serve(self, client):
        server = socket.create_connection(self.to)
        threading.Thread(target=self._relay, args=(client, server, b""), daemon=True).start()
        self._relay(server, client, b"\r\n\r\n")

    @staticmethod
    def _relay(source, sink, until):
        held = b""
        try:
            while True:
                data = source.recv(1 << 16)
                if not data:
                    break
                held += data
                if until in held:
                    sink.sendall(held)
                    held, until = b"", b""
        except OSError:
            pass  # one of the ends was closed
        for end in (source, sink):
            try:
                end.shutdown(socket.SHUT_RDWR)
            except OSError:
                pass


class Tinyproxy:
    address = "127.0.0.1"
    prefix = ()  # a command that runs the proxy elsewhere

    def __init__(self, login=None):
        """`login`: user and password that it demands."""
        self.folder = harness.Stage.get().new_folder("tinyproxy")
        self.port = free_port()
        self.log = os.path.join(self.folder, "tinyproxy.log")
        config = os.path.join(self.folder, "tinyproxy.conf")
        with open(config, "w", encoding="ascii") as f:
            f.write("Port %d\nListen %s\nTimeout 60\nMaxClients 50\nLogLevel Connect\n"
                    "LogFile \"%s\"\nPidFile \"%s/tinyproxy.pid\"\n" % (self.port, self.address, self.log, self.folder))
            if login:
                f.write("BasicAuth %s %s\n" % login)
        self.process = subprocess.Popen([*self.prefix, "tinyproxy", "-d", "-c", config], stdin=subprocess.DEVNULL,
                                        stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        wait_port(self.port, self.process, self.address)

    def log_text(self):
        with open(self.log, encoding="utf-8", errors="replace") as f:
            return f.read()

    def close(self):
        harness.end_process(self.process)

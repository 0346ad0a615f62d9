"""What lies between the programs that are compared and their server: relays, and a long line with losses."""

import ctypes
import os
import socket
import subprocess
import threading
import time

import harness

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
CLONE_NEWNET = 0x40000000


class Line:
    """A relay on loopback to a port, with so many bytes a second (0: any) to the client over all connections."""

    BLOCK = 16 << 10

    def __init__(self, port, rate=0):
        self.to, self.rate = port, rate
        self.carried = 0  # bytes to the client
        self.free_at = 0.0
        self.lock = threading.Lock()
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.port = self.listener.getsockname()[1]
        threading.Thread(target=self.accept, daemon=True).start()

    def accept(self):
        number = 0
        while True:
            try:
                client, _ = self.listener.accept()
            except OSError:
                return
            number += 1
            server = socket.create_connection(("127.0.0.1", self.to))
            for each in client, server:
                each.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
            for source, sink, down in (client, server, False), (server, client, True):
                most = self.most_of(number) if down else None
                threading.Thread(target=self.carry, args=(source, sink, down, most), daemon=True).start()

    def most_of(self, _number):
        """How many bytes the connection of this number lives for; None for any."""
        return None

    def new_pace(self):
        """A function of a length that waits until the connection may send so many bytes."""
        return self.wait

    def wait(self, length):
        with self.lock:
            self.carried += length
            if not self.rate:
                return
            self.free_at = max(self.free_at, time.monotonic()) + length / self.rate
            left = self.free_at - time.monotonic()
        if left > 0.001:
            time.sleep(left)

    def carry(self, source, sink, down, most):
        carried = 0
        pace = self.new_pace() if down else None
        try:
            while (most is None or carried < most) and (data := source.recv(self.BLOCK)):
                carried += len(data)
                if down:
                    pace(len(data))
                sink.sendall(data)
        except OSError:
            pass
        for each in source, sink:
            try:
                each.shutdown(socket.SHUT_RDWR)
            except OSError:
                pass

    def close(self):
        self.listener.close()


class DyingLine(Line):
    """Its second connection ends after 5 MiB."""

    BLOCK = 256 << 10

    def most_of(self, number):
        return 5 << 20 if number == 2 else None


class PacedLine(Line):
    """Its rate is that of each connection. nginx's own limit counts in whole seconds, too coarse for a download of a
    few."""

    BLOCK = 64 << 10
    SLACK = 0.05  # seconds that a connection may catch up, since sleeps are late

    def new_pace(self):
        free_at = time.monotonic()

        def wait(length):
            nonlocal free_at
            free_at = max(free_at, time.monotonic() - self.SLACK) + length / self.rate
            if (left := free_at - time.monotonic()) > 0.001:
                time.sleep(left)
        return wait


class LongLine:
    """50 ms there and back, 20 MB/s, of 1,000 packets one is lost. While it exists, this process and what it starts are
    in a network with just this line, at whose other end `prefix` runs a command. Only for root."""

    NEAR, FAR = "10.78.0.1", "10.78.0.2"

    def __init__(self):
        self.own = os.open("/proc/self/ns/net", os.O_RDONLY)
        self.libc = ctypes.CDLL(None, use_errno=True)
        self.check(self.libc.unshare(CLONE_NEWNET))
        self.process, _ = harness.start_with_answer(
            [os.path.join(ROOT, "build/bench/bench/longline"), "25", "20e6", "1000", "{fd}"], None)
        self.prefix = ("nsenter", "--net=/proc/%d/ns/net" % self.process.pid)
        for prefix, name, address in ((), "near", self.NEAR), (self.prefix, "far", self.FAR):
            for words in (("link", "set", "lo", "up"), ("address", "add", address + "/24", "dev", name),
                          ("link", "set", name, "txqueuelen", "10000"), ("link", "set", name, "up")):
                subprocess.run([*prefix, "ip", *words], check=True, stdin=subprocess.DEVNULL)

    @staticmethod
    def check(result):
        if result != 0:
            error = ctypes.get_errno()
            raise OSError(error, "the network: " + os.strerror(error))

    def close(self):
        harness.end_process(self.process)
        self.check(self.libc.setns(self.own, CLONE_NEWNET))
        os.close(self.own)

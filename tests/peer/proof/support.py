"""Shared by the proofs, which use the harness of tests/peer/real."""

import argparse
import os
import struct
import subprocess
import sys
import threading
import time

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(os.path.dirname(HERE), "real"))

import harness  # noqa: E402
import listfile  # noqa: E402
import origin  # noqa: E402
import run as runner  # noqa: E402

# Parallel sessions share one keyboard.
KEYBOARD = threading.Lock()


def heap_bytes(pid):
    """How much of the allocator's first arena is resident."""
    inside = False
    with open("/proc/%d/smaps" % pid, encoding="utf-8", errors="replace") as f:
        for line in f:
            words = line.split()
            if not words[0].endswith(":"):
                inside = words[-1] == "[heap]"
            elif inside and words[0] == "Rss:":
                return int(words[1]) * 1024
    return 0


def wait_log(path, text, timeout=10):
    """The log of a tracer once it contains the text."""
    def written():
        with open(path, encoding="utf-8", errors="replace") as f:
            return f.read()
    try:
        harness.wait_until(lambda: text in written(), timeout, text)
    except (TimeoutError, FileNotFoundError):
        pass
    return written() if os.path.exists(path) else ""


class GatedOrigin(origin.Origin):
    """Sends each range in `blocks` pieces; the pieces after the first half only once the gate is open."""

    def __init__(self):
        super().__init__()
        self.gate = threading.Event()

    def serve_gated(self, path, size, seed=0, blocks=4, pause=0.05):
        def reply(connection, request):
            first, last = request.range() or (0, size - 1)
            head = "HTTP/1.1 %s\r\nContent-Type: application/octet-stream\r\nContent-Length: %d\r\n\r\n" % (
                "206 Partial Content" if request.range() else "200 OK", last - first + 1)
            connection.sendall(head.encode())
            if not request.range():
                return  # the probe closes its connection after the first block
            step = (last - first + blocks) // blocks
            for number, start in enumerate(range(first, last + 1, step)):
                if number * 2 >= blocks:
                    self.gate.wait(60)
                connection.sendall(origin.content(size, seed, start, min(start + step, last + 1)))
                time.sleep(pause)

        self.replies[path] = reply

    def close(self):
        self.gate.set()
        super().close()


def stored(session):
    """The records of the list file; empty before the first save, None if it cannot be read completely."""
    try:
        return listfile.read(session.list_file) if os.path.getsize(session.list_file) else []
    except FileNotFoundError:
        return []
    except (ValueError, struct.error):
        return None


def _enter(arguments, *kinds):
    """Restarts the script in its own namespaces, which end with it."""
    if os.environ.get("PELLORA_INSIDE") == " ".join(kinds):
        return
    if os.geteuid() != 0:
        sys.exit("this needs root: it mounts folders, and makes networks, in its own namespaces")
    os.environ["PELLORA_INSIDE"] = " ".join(kinds)
    os.execvp("unshare", ["unshare", *kinds, sys.executable, *arguments])


def own_mounts(arguments):
    _enter(arguments, "--mount", "--propagation=private")


def own_network(arguments):
    _enter(arguments, "--net")
    subprocess.run(["ip", "link", "set", "lo", "up"], check=True)


def run():
    """Runs the tests of the script like tests/peer/real/run.py."""
    parser = argparse.ArgumentParser()
    parser.add_argument("-k", action="append", default=[], metavar="PATTERN", help="only tests whose name contains it")
    passed, failed = runner.run_here(parser.parse_args().k, None, "__main__")
    print("%d passed, %d failed" % (passed, failed))
    sys.exit(1 if failed or not passed else 0)

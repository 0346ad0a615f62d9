"""Access to a running Pellora for scripts, through its command-line companion only."""

import dataclasses
import subprocess
import time


@dataclasses.dataclass
class Download:
    index: int
    state: str
    percent: float
    received: int
    size: int
    url: str
    saved_path: str
    id: str
    silence: str  # "no byte for N s", or empty
    reason: str = ""  # why it has failed or waits, or empty

    @property
    def finished(self):
        return self.state == "finished"


class Companion:
    """pelloractl, run in the environment of the program's session."""

    def __init__(self, path, env=None, slowness=1):
        self.path = path
        self.env = env
        self.slowness = slowness  # factor for all time-outs

    def run(self, *arguments, timeout=60, given=b""):
        """`given` is its standard input."""
        return subprocess.run([self.path, *arguments], env=self.env, input=given, capture_output=True, timeout=timeout,
                              check=False)

    def add(self, *urls):
        """The ids of the downloads."""
        result = self.run("add", *urls)
        if result.returncode != 0:
            raise RuntimeError("pelloractl add: " + result.stderr.decode(errors="replace").strip())
        return result.stdout.decode().split()

    def downloads(self):
        """All listed records, in record order. Each is one line of fields separated by tabs."""
        result = self.run("list")
        if result.returncode != 0:
            raise RuntimeError("pelloractl list: " + result.stderr.decode(errors="replace").strip())
        found = []
        for line in result.stdout.decode(errors="surrogateescape").split("\n"):
            if not line:
                continue
            index, state, percent, received, size, *texts = line.split("\t")
            found.append(Download(int(index), state, float(percent.rstrip("%")), int(received), int(size), *texts))
        return found

    def find(self, url):
        for download in self.downloads():
            if download.url == url:
                return download
        return None

    def wait_finished(self, urls, timeout):
        """The finished records of these URLs; TimeoutError with the list if one is not finished."""
        end = time.monotonic() + timeout * self.slowness
        while True:
            found = {d.url: d for d in self.downloads()}
            if all(url in found and found[url].finished for url in urls):
                return [found[url] for url in urls]
            if time.monotonic() > end:
                raise TimeoutError("not finished in %s s: %s" % (timeout, list(found.values())))
            time.sleep(0.1)

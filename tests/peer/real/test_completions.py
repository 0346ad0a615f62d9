"""The completions of bash, zsh and fish, in the real shells."""

import contextlib
import os
import pty
import re
import select
import subprocess
import termios
import time
import unittest

import harness
from case import Case

FOLDER = os.path.join(harness.ROOT, "assets/desktop/completions")
CODES = re.compile(r"\x1b(\[[0-9;?]*[a-zA-Z]|[=>])|[\0\r\x07]")
READY = "ready for a line"
ECHO = b"echo ready'' for a line\n"


def read_until(terminal, text):
    """What the terminal shows until it shows the text."""
    data = b""
    end = time.monotonic() + 20 * harness.SLOWNESS
    while text.encode() not in data and time.monotonic() < end:
        if select.select([terminal], [], [], 0.1)[0]:
            with contextlib.suppress(OSError):
                data += os.read(terminal, 65536)
    return CODES.sub(" ", data.decode(errors="replace"))


@contextlib.contextmanager
def shell(env, *command):
    """The terminal of an interactive shell. Ctrl+U is for the shell alone: while it runs a command, the terminal would
    take it, and forget the line before it."""
    terminal, inside = pty.openpty()
    modes = termios.tcgetattr(inside)
    modes[6][termios.VKILL] = os.fpathconf(inside, "PC_VDISABLE").to_bytes(1, "little")
    termios.tcsetattr(inside, termios.TCSANOW, modes)
    process = subprocess.Popen(command, env=env, stdin=inside, stdout=inside, stderr=inside, start_new_session=True)
    os.close(inside)
    try:
        yield terminal
    finally:
        process.kill()
        process.wait()
        os.close(terminal)


class Shell(Case):
    """What a shell offers after a line."""

    def setUp(self):
        super().setUp()
        self.session.env.update(PATH=self.session.program + ":/usr/bin:/bin", TERM="xterm", COLUMNS="200", LINES="80")

    def offered(self, terminal, line, keys):
        """Types a line, the keys that list what may follow, and Ctrl+U. Returns what the terminal shows until the shell
        has run the next command."""
        shown = ""
        for _ in range(3):  # a busy shell may take Ctrl+U for a key of its list
            os.write(terminal, line.encode() + keys + b"\x15" + ECHO)
            shown = read_until(terminal, READY)
            if READY in shown:
                return shown
            os.write(terminal, b"\x03")
        self.fail(shown)
        return None

    def options_of(self, command):
        words = [*command.split(), "--help"]
        text = subprocess.run([os.path.join(self.session.program, words[0]), *words[1:]], env=self.session.env,
                              stdin=subprocess.DEVNULL, capture_output=True, text=True, check=True).stdout
        return set(re.findall(r"(?<![\w-])--[a-z-]+", text))

    def check(self, offered):
        """`offered` returns what a shell shows for a line."""
        help_text = subprocess.run([self.session.companion.path, "--help"], env=self.session.env, stdin=subprocess.DEVNULL,
                                   capture_output=True, text=True, check=True).stdout
        commands = re.findall(r"^  (?:pelloractl )?([a-z]+)\b", help_text, re.MULTILINE)
        self.assertIn("add", commands)
        self.assertIn("quit", commands)
        self.assertEqual(self.missing(offered("pelloractl "), set(commands)), set())
        for command in dict.fromkeys(commands):
            line = "pelloractl %s" % command
            self.assertEqual(self.missing(offered(line + " --"), self.options_of(line)), set(), command)
        self.assertEqual(self.missing(offered("pellora --"), self.options_of("Pellora")), set())
        self.assertEqual(self.missing(offered("pelloractl zip "), {"list", "get"}), set())
        ids = self.ids()
        self.assertEqual(self.missing(offered("pelloractl pause "), ids), set())

    @staticmethod
    def missing(shown, words):
        return words - set(re.findall(r"[\w-]+", shown))

    def ids(self):
        """Two downloads, so that a shell has a choice."""
        self.session.arguments = ["--headless"]
        self.session.start()
        for name in ("/a.bin", "/b.bin"):
            added = self.session.companion.run("add", "--later", self.serve(name))
            self.assertEqual(added.returncode, 0, added.stderr)
        return {each.id for each in self.session.companion.downloads()}

    def test_bash_offers_commands_options_and_downloads(self):
        with shell(self.session.env, "bash", "--norc", "--noprofile", "-i") as terminal:
            files = " ".join(os.path.join(FOLDER, name + ".bash") for name in ("pellora", "pelloractl"))
            os.write(terminal, ("bind 'set enable-bracketed-paste off'; bind 'set page-completions off'; PS1=; "
                                "for f in %s; do . $f; done; " % files).encode() + ECHO)
            self.assertIn(READY, read_until(terminal, READY))
            self.check(lambda line: self.offered(terminal, line, b"\x1b?"))

    def test_zsh_offers_commands_options_and_downloads(self):
        with shell(self.session.env, "zsh", "-f", "-i") as terminal:
            os.write(terminal, ("unsetopt zle_bracketed_paste; PROMPT=; fpath=(%s $fpath); autoload -Uz compinit; "
                                "compinit -u -D; LISTMAX=1000; " % FOLDER).encode() + ECHO)
            self.assertIn(READY, read_until(terminal, READY))
            self.check(lambda line: self.offered(terminal, line, b"\x04"))

    def test_fish_offers_commands_options_and_downloads(self):
        def offered(line):
            script = "; ".join("source " + os.path.join(FOLDER, name + ".fish") for name in ("pellora", "pelloractl"))
            result = subprocess.run(["fish", "--no-config", "-c", script + '; complete -C "%s"' % line],
                                    env=self.session.env, stdin=subprocess.DEVNULL, capture_output=True, text=True,
                                    timeout=60, check=True)
            self.assertEqual(result.stderr, "")
            return "\n".join(each.split("\t")[0] for each in result.stdout.splitlines())
        self.check(offered)


if __name__ == "__main__":
    unittest.main()

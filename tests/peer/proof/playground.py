"""Where the monkey plays: servers, good and bad, and a machine that it cannot harm."""

import io
import os
import re
import subprocess
import zipfile

import support  # noqa: F401, it finds the harness
import harness
import origin
import webservers

SIZES = (30000, 400000, 3000000)
HONEST = re.compile(r"^\S+:\d+/d/\d+-(\d+)\.bin$")
# A window manager without menus, which start programs.
OPENBOX = """<openbox_config xmlns="http://openbox.org/3.4/rc"><mouse><context name="Client">
<mousebind button="Left" action="Press"><action name="Focus"/><action name="Raise"/></mousebind>
</context></mouse></openbox_config>"""


class Servers(webservers.TlsNginx):
    """Files under any number of names, /d/NUMBER-SIZE.bin, and a server that answers badly."""

    def __init__(self):
        super().__init__()
        for size in SIZES:
            self.put("%d.bin" % size, origin.content(size, seed=size))
        packed = io.BytesIO()
        with zipfile.ZipFile(packed, "w", zipfile.ZIP_DEFLATED) as archive:
            for number in range(200):
                archive.writestr("folder %d/file %d.txt" % (number % 7, number), "text %d\n" % number * 99)
        self.put("archive.zip", packed.getvalue())
        self.archive = self.url(self.plain, "archive.zip")
        self.odd = origin.Origin()
        head = b"HTTP/1.1 %s\r\nContent-Type: a/b\r\nContent-Length: %d\r\n"
        for path, reply in {
                "/no.bin": b"", "/rubbish.bin": b"\0\xff" * 999, "/500.bin": head % (b"500 Error", 0) + b"\r\n",
                "/cut.bin": head % (b"200 OK", 99999) + b"\r\ncut",
                "/page.bin": head.replace(b"a/b", b"text/html") % (b"200 OK", 3) + b"\r\nabc",
                "/login.bin": head % (b"401 No", 0) + b"WWW-Authenticate: Digest realm=\"\xff\", nonce=\"n\"\r\n\r\n",
        }.items():
            self.odd.serve_bytes(path, reply)
        self.odd.serve_redirect("/away.bin", self.url(self.clear, "d/900-30000.bin"))
        self.odd.serve_file("/drip.bin", 900000, rate=2000)

    def rules_of(self, name):
        rate = "300k" if name in ("slow", "clear") else "0"
        return super().rules_of(name) + r" location /d/ { rewrite -(\d+\.bin)$ /$1 break; limit_rate %s; }" % rate

    def honest(self, rand):
        port = rand.choice((self.plain, self.slow, self.clear, self.clear, self.whole))
        return self.url(port, "d/%d-%d.bin" % (rand.randrange(10**6), rand.choice(SIZES)))

    def any(self, rand):
        number = rand.randrange(999)
        return rand.choice((
            self.honest(rand), "\n".join(self.honest(rand) for _ in range(rand.choice((2, 30)))),
            self.odd.url(rand.choice(list(self.odd.replies))), self.url(self.plain, "private/30000.bin?%d" % number),
            self.url(rand.choice((self.expired, self.other_host, self.self_signed)), "30000.bin?%d" % number),
            self.url(rand.choice((self.plain, self.clear)), "archive.zip?%d" % number),
            self.url(self.plain, "download.php"),
            self.url(self.plain, "to/http/%d/d/%d-30000.bin" % (self.clear, number)), self.url(self.clear, "long" * 900),
            rand.choice(("ftp://127.0.0.1:1/a.bin", "sftp://u@127.0.0.1:1/a", "http://", "rubbish", "https://\u00e4/"))))

    def close(self):
        super().close()
        self.odd.close()


def prepare(pictures):
    """Makes all but a new /tmp and the folder of pictures read-only. Returns the servers."""
    bound = [("--bind", pictures, pictures)] if pictures else []
    for words in bound + [("-t", "tmpfs", "none", "/tmp"), ("-o", "remount,ro,bind", "/")]:
        subprocess.run(["mount", *words], check=True, stdin=subprocess.DEVNULL)
    os.environ["XDG_CONFIG_HOME"] = "/tmp/config"
    os.makedirs("/tmp/config/openbox")
    os.mkdir("/tmp/commands")
    with open("/tmp/config/openbox/rc.xml", "w", encoding="ascii") as f:
        f.write(OPENBOX)
    harness.write_script("/tmp/commands/xdg-open", "exit 0")  # opens nothing
    servers = Servers()
    servers.commands = "/tmp/commands"
    return servers

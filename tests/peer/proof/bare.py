#!/usr/bin/env python3
"""The package on a bare system, which mmdebstrap fetches: everything that the program needs is in Depends. Some 2 min,
as root.

    bare.py [PACKAGE]    by default the package of what build/release holds
"""

import glob
import hashlib
import os
import subprocess
import sys
import tempfile

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(os.path.dirname(os.path.dirname(HERE)))
sys.path[:0] = [os.path.join(ROOT, "tests/peer/package")]

import inside  # noqa: E402

SOURCES = "/etc/apt/sources.list.d/debian.sources"
INSTALL = 'chroot "$1" sh -c "apt-get install -y --no-install-recommends /root/*.deb dbus-daemon"'
SESSION = """set -eu
pelloractl add "$1"
pelloractl wait --timeout 60 "$1"
pelloractl quit"""


def run(*command, **options):
    return subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                          check=False, **options)


def make_system(folder, package):
    sources = [SOURCES] if os.path.exists(SOURCES) else []
    return run("mmdebstrap", "--mode=root", "--variant=apt", "--format=directory",
               "--customize-hook=copy-in %s /root" % package, "--customize-hook=" + INSTALL, "bookworm", folder, *sources)


def add_user(folder, certificate):
    """With a file that names the certificate to trust."""
    home = folder + inside.HOME
    settings = home + "/.config/pellora"
    os.makedirs(settings)
    with open(folder + "/etc/passwd", "a", encoding="utf-8") as f:
        f.write("someone:x:%d:%d::%s:/bin/sh\n" % (inside.USER, inside.USER, inside.HOME))
    with open(settings + "/Pellora.ini", "w", encoding="utf-8") as f:
        f.write("[Options]\nExtraCertificates=%s/server.pem\n" % inside.HOME)
    with open(certificate, "rb") as source, open(home + "/server.pem", "wb") as target:
        target.write(source.read())
    for path in [home] + [found for found in glob.glob(home + "/**", recursive=True, include_hidden=True)]:
        os.chown(path, inside.USER, inside.USER)


def download(folder, url):
    """In a mount namespace of its own, where the system has its /proc."""
    command = 'mount -t proc proc "$0/proc" && exec chroot --userspec=%d:%d "$0" env -i HOME=%s PATH=/usr/bin:/bin ' \
              'dbus-run-session -- sh -c "$1" sh "$2"' % (inside.USER, inside.USER, inside.HOME)
    return run("unshare", "--mount", "sh", "-c", command, folder, SESSION, url, timeout=180)


def main():
    with tempfile.TemporaryDirectory(prefix="pellora-bare.") as scratch:
        os.chmod(scratch, 0o755)
        package = sys.argv[1] if len(sys.argv) > 1 else None
        if package is None:
            built = run(sys.executable, os.path.join(ROOT, "scripts/package.py"), scratch + "/packages", "--built",
                        os.path.join(ROOT, "build/release"))
            found = glob.glob(scratch + "/packages/pellora_*.deb")
            if not found:
                print(built.stdout)
                return 1
            package = found[0]
        folder = os.path.join(scratch, "system")
        made = make_system(folder, os.path.abspath(package))
        good = made.returncode == 0
        print("%s: it installs on a bare system" % ("ok" if good else "FAIL\n" + made.stdout[-4000:]), flush=True)
        done = False
        if good:
            certificate = scratch + "/server.pem"
            url = inside.serve_https("127.0.0.1", "IP:127.0.0.1", certificate, scratch + "/server.key") + "/a.bin"
            add_user(folder, certificate)
            result = download(folder, url)
            saved = glob.glob(folder + inside.HOME + "/**/a.bin", recursive=True)
            done = result.returncode == 0 and len(saved) == 1
            if done:
                with open(saved[0], "rb") as f:
                    done = hashlib.sha256(f.read()).digest() == hashlib.sha256(inside.CONTENT).digest()
            print("%s: an ordinary user downloads over https there" % ("ok" if done else "FAIL\n" + result.stdout))
    print("%d passed, %d failed" % (good + done, 2 - good - done))
    return not (good and done)


if __name__ == "__main__":
    sys.exit(main())

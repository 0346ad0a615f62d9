"""A machine to install packages on: an overlay over this one, in a mount namespace that ends with the process, so that
nothing is installed here. Needs root.

    machine.py SCRIPT FOLDER ARGUMENT...    runs the Python script in the overlay, whose upper side is in FOLDER

The script finds the files that differ from this machine in the folder /overlay/upper.
"""

import ctypes
import os
import subprocess
import sys

CLONE_NEWNS = 0x00020000


def mount(*arguments):
    subprocess.run(["mount", *arguments], check=True, stdin=subprocess.DEVNULL)


def enter(folder):
    """Makes the overlay the root of this process. Packages given later by name must be in /tmp."""
    if ctypes.CDLL(None, use_errno=True).unshare(CLONE_NEWNS) != 0:
        raise OSError(ctypes.get_errno(), "unshare")
    mount("--make-rprivate", "/")
    mount("-t", "tmpfs", "-o", "mode=755", "tmpfs", folder)
    upper, work, root = (os.path.join(folder, name) for name in ("upper", "work", "root"))
    for name in (upper, work, root):
        os.mkdir(name)
    mount("-t", "overlay", "-o", "lowerdir=/,upperdir=%s,workdir=%s" % (upper, work), "overlay", root)
    for name in ("proc", "sys", "dev"):
        mount("--rbind", "/" + name, os.path.join(root, name))
    for name in ("run", "tmp"):
        mount("-t", "tmpfs", "-o", "mode=1777", "tmpfs", os.path.join(root, name))
    os.mkdir(os.path.join(root, "overlay"))
    mount("--rbind", folder, os.path.join(root, "overlay"))
    return root


def main():
    script, folder, *arguments = sys.argv[1:]
    root = enter(folder)
    for name in arguments:
        subprocess.run(["cp", name, os.path.join(root, "tmp")], check=True)
    subprocess.run(["cp", script, os.path.join(root, "tmp/script.py")], check=True)
    os.chroot(root)
    os.chdir("/")
    os.execv(sys.executable, [sys.executable, "/tmp/script.py",
                              *["/tmp/" + os.path.basename(name) for name in arguments]])


if __name__ == "__main__":
    main()
